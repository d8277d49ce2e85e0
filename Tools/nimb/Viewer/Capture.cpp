#include "Tools/nimb/Viewer/Capture.h"

#include "Authoring/Scene/MeshSource.h"

#include <stdexcept>
#include <thread>

namespace Nimb::Tool {
namespace {

using Clock = std::chrono::steady_clock;

/// No frame takes this long, even on a slow machine.
constexpr std::chrono::seconds c_Patience{60};

/// Issues render events until the request has ended.
const NimbSeekEnd& AwaitEnd(Playback& playback) {
    const auto deadline = Clock::now() + c_Patience;
    for (;;) {
        playback.Render();
        if (!playback.IsSeeking()) {
            return playback.SeekEnd();
        }
        if (Clock::now() > deadline) {
            throw std::runtime_error("the player does not come to the frame that it was asked for");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace

void CaptureFrames(Playback& playback, const std::vector<int>& wanted, const std::function<void(int)>& take,
                   const std::function<void(int, const std::string&)>& miss) {
    if (!playback.CanSeek()) {
        throw Authoring::InputError(FindPlugin() +
                                    ": this plug-in cannot go to frames, as pictures and videos need it");
    }
    int previous = -1;
    for (const int number : wanted) {
        if (previous >= 0 && number == previous + 1) {
            playback.StepBy(1);
        } else {
            playback.Seek(number, NimbSeekOption_Pause);
        }
        const NimbSeekEnd& end = AwaitEnd(playback);
        if (end.reason == NimbSeekReason_NoIndex) {
            throw Authoring::InputError(
                "the player cannot go to frames in this file, since its index cannot be read; `nimb remux` writes the "
                "file anew");
        }
        if (end.result == NimbSeekResult_Done && end.frame != number) {
            throw std::runtime_error("the player went to another frame than the one that it was asked for");
        }
        if (end.result == NimbSeekResult_Done) {
            take(number);
            previous = number;
        } else {
            miss(number, SeekReasonText(end.reason));
            previous = -1;
        }
    }
}

}  // namespace Nimb::Tool
