#include "Tools/nimb/Viewer/Capture.h"

#include <stdexcept>
#include <thread>

namespace Nimb::Tool {
namespace {

using Clock = std::chrono::steady_clock;

/// How fast the clip is played, and how long the player may decode ahead first. It holds eight frames and decodes the
/// next one when one is taken: with eight meshes ready, only a very slow machine is late.
struct Pace {
    float speed;  // a power of two: times stay exact
    std::chrono::milliseconds start;
};
constexpr Pace c_Paces[] = {
    {16, std::chrono::milliseconds(80)}, {4, std::chrono::milliseconds(300)}, {1, std::chrono::milliseconds(1000)}};

/// After this long without a new frame, the player waits for one that never comes.
constexpr std::chrono::seconds c_Patience{10};

class Capture {
public:
    Capture(const std::vector<int>& wanted, const std::function<void(const Playback&, int)>& take,
            const std::function<void(int)>& miss)
        : m_Wanted(wanted), m_Take(take), m_Miss(miss) {}

    bool IsDone() const { return m_Next == m_Wanted.size(); }

    /// Plays until all wanted frames came, or the clip is over; unless this is the last try, also until one was passed
    /// over.
    void RunPass(Playback& playback, const Pace& pace, bool isLastTry) {
        playback.Play();
        std::this_thread::sleep_for(pace.start);
        auto lastFrame = Clock::now();
        while (!IsDone() && !playback.HasEnded() && Clock::now() - lastFrame < c_Patience) {
            const std::optional<ShownFrame> shown = playback.Step();
            if (!shown) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            lastFrame = Clock::now();
            if (!shown->number) {
                throw std::runtime_error("the player shows a frame at a time that no frame of the clip has");
            }
            if (!OnFrame(playback, *shown->number, isLastTry)) {
                return;
            }
        }
        while (isLastTry && !IsDone()) {
            m_Miss(m_Wanted[m_Next++]);
        }
    }

private:
    bool OnFrame(const Playback& playback, int number, bool isLastTry) {
        for (; !IsDone() && m_Wanted[m_Next] < number; ++m_Next) {
            if (!isLastTry) {
                return false;
            }
            m_Miss(m_Wanted[m_Next]);
        }
        if (!IsDone() && m_Wanted[m_Next] == number) {
            m_Take(playback, number);
            ++m_Next;
        }
        return true;
    }

    const std::vector<int>& m_Wanted;
    const std::function<void(const Playback&, int)>& m_Take;
    const std::function<void(int)>& m_Miss;
    std::size_t m_Next = 0;
};

}  // namespace

void CaptureFrames(const OpenClip& open, const std::vector<int>& wanted,
                   const std::function<void(const Playback&, int)>& take, const std::function<void(int)>& miss) {
    Capture capture(wanted, take, miss);
    for (const Pace& pace : c_Paces) {
        if (capture.IsDone()) {
            return;
        }
        capture.RunPass(*open(pace.speed), pace, &pace == &c_Paces[std::size(c_Paces) - 1]);
    }
}

}  // namespace Nimb::Tool
