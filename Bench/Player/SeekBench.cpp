// Goes to frames of a clip, 1,000 times and in every way, and tells how long that takes and whether each was right:
// nimb_seek_bench CLIP.mp4 [REQUESTS]. Reports and judges nothing.
//
// Picture and mesh are read back from the engine's objects and compared with those of a first walk through the clip.
// All pictures and all meshes of the clip have to differ: how many do is told first.
#include "EngineStandIn/Player.h"
#include "EngineStandIn/RenderThread.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace Nimb::EngineStandIn;

constexpr std::chrono::milliseconds c_EventInterval{2};
constexpr std::chrono::seconds c_Patience{20};

/// What is in the engine's objects.
using Look = std::pair<std::size_t, std::size_t>;

class Subject {
public:
    Subject(const PluginLibrary& plugin, RenderThread& renderThread, const std::string& path)
        : m_RenderThread(renderThread), m_Player(plugin, renderThread) {
        if (!m_Player.Open(path, true)) {
            throw std::runtime_error(path + ": the player cannot open it");
        }
        m_Player.CreateBuffers();
    }

    Player& ThePlayer() { return m_Player; }
    void Event() {
        m_RenderThread.Run([this] { m_Player.OnRender(); });
    }

    Look Read() {
        return m_RenderThread.Run([this] {
            const auto hash = [](const void* data, std::size_t size) {
                return std::hash<std::string_view>()({static_cast<const char*>(data), size});
            };
            const std::vector<std::uint8_t> texture = m_Player.ReadTexture();
            const std::vector<Vertex> vertices = m_Player.ReadVertices();
            return Look(hash(texture.data(), texture.size()), hash(vertices.data(), vertices.size() * sizeof(Vertex)));
        });
    }

    /// Render events until the ticket has ended; false when it does not.
    bool Await(std::int64_t ticket, NimbSeekEnd* pEnd) {
        const Clock::time_point end = Clock::now() + c_Patience;
        for (; Clock::now() < end; Event(), std::this_thread::sleep_for(c_EventInterval)) {
            while (const std::optional<NimbSeekEnd> taken = m_Player.TakeSeekEnd()) {
                *pEnd = *taken;
                doubles += ended.insert(pEnd->ticket).second ? 0 : 1;
                if (pEnd->ticket == ticket) {
                    return true;
                }
            }
        }
        return false;
    }

    int doubles = 0;
    std::set<std::int64_t> ended;

private:
    RenderThread& m_RenderThread;
    Player m_Player;
};

void Print(const char* name, std::vector<double> times) {
    std::sort(times.begin(), times.end());
    const auto at = [&times](double part) {
        return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
    };
    std::printf("| %s | %.1f | %.1f | %.1f |\n", name, at(0.5), at(0.95), at(1));
}

/// The handle of a bar, dragged from end to end in five seconds: a request every 1/60 s.
void Drag(Subject& subject, std::int64_t frameCount, std::uint32_t options, const char* name) {
    constexpr int requests = 300;
    std::int64_t target = 0, lastShown = -1;
    int shown = 0;
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < requests; ++i) {
        target = frameCount * i / requests;
        subject.ThePlayer().Seek(target, NimbSeekOption_Pause | options);
        for (const auto until = start + (i + 1) * std::chrono::microseconds(16667); Clock::now() < until;) {
            subject.Event();
            while (const std::optional<NimbSeekEnd> end = subject.ThePlayer().TakeSeekEnd()) {
                shown += end->result == NimbSeekResult_Done && end->frame != lastShown ? 1 : 0;
                lastShown = end->result == NimbSeekResult_Done ? end->frame : lastShown;
            }
            std::this_thread::sleep_for(c_EventInterval);
        }
    }
    NimbSeekEnd end{};
    const bool hasEnded = subject.Await(subject.ThePlayer().Seek(target, NimbSeekOption_Pause), &end);
    std::printf("dragging %s: %.1f frames a second, %s\n", name, shown / 5.0,
                hasEnded && end.frame == target ? "and the last one is shown" : "and the last one is NOT shown");
}

/// The longest time between two frames where a loop begins again, and elsewhere. `first`: where the loop begins;
/// `length`: of a range in frames, 0 where the player begins with a new timeline. From `start` on, so often around.
void Loop(Subject& subject, std::int64_t first, std::int64_t length, std::int64_t start, int rounds, const char* name) {
    NimbSeekEnd end{};
    const auto now100ns = [&] { return subject.ThePlayer().FrameInfo().timestamp; };
    const auto frameTime = static_cast<double>(subject.ThePlayer().FileInfo().duration) /
                           static_cast<double>(subject.ThePlayer().FileInfo().frameCount);
    subject.Await(subject.ThePlayer().Seek(start, 0), &end);
    double seam = 0, elsewhere = 0;
    std::int64_t last = now100ns(), frame = start;
    Clock::time_point since = Clock::now();
    const Clock::time_point giveUp = since + c_Patience;
    while (rounds > 0 && Clock::now() < giveUp) {
        subject.Event();
        const std::int64_t time = now100ns();
        if (time != last) {
            const Clock::time_point now = Clock::now();
            const double gap = std::chrono::duration<double, std::milli>(now - since).count();
            frame += time > last ? static_cast<std::int64_t>(static_cast<double>(time - last) / frameTime + 0.5) : 0;
            const bool isNewRound = length == 0 ? time < last : frame >= first + length;
            frame = isNewRound ? first : frame;
            rounds -= isNewRound ? 1 : 0;
            double& longest = isNewRound ? seam : elsewhere;
            longest = std::max(longest, gap);
            last = time;
            since = now;
        }
        std::this_thread::sleep_for(c_EventInterval);
    }
    std::printf("| %s | %.1f | %.1f |%s\n", name, seam, elsewhere, rounds > 0 ? " it does not come round" : "");
}

int Run(const std::string& path, int requests) {
    const PluginLibrary plugin(NIMB_PLUGIN_FILE);
    RenderThread renderThread(MakeSurfacelessContext);
    StartPlugin(plugin, renderThread);
    Subject subject(plugin, renderThread, path);
    Player& player = subject.ThePlayer();
    const auto frameCount = static_cast<std::int64_t>(player.FileInfo().frameCount);

    std::map<std::size_t, std::int64_t> pictures, meshes;
    int lost = 0, wrong = 0, failed = 0;
    for (std::int64_t frame = 0; frame < frameCount; ++frame) {
        NimbSeekEnd end{};
        lost += subject.Await(player.Seek(frame, NimbSeekOption_Pause), &end) ? 0 : 1;
        failed += end.result == NimbSeekResult_Failed ? 1 : 0;
        const Look look = subject.Read();
        pictures.emplace(look.first, frame);
        meshes.emplace(look.second, frame);
    }
    std::printf("%lld frames; %zu different pictures, %zu different meshes\n\n", static_cast<long long>(frameCount),
                pictures.size(), meshes.size());

    std::mt19937 random(1);
    const auto anyFrame = [&] { return static_cast<std::int64_t>(random() % static_cast<unsigned>(frameCount)); };
    std::vector<double> exact, near, step;
    for (int i = 0; i < requests; ++i) {
        const Clock::time_point start = Clock::now();
        const int kind = i % 4;
        NimbSeekEnd end{};
        const std::int64_t ticket = kind == 0 ? player.Step(1)
                                    : kind == 1
                                        ? player.Seek(anyFrame(), NimbSeekOption_Pause | NimbSeekOption_NearestKey)
                                        : player.Seek(anyFrame(), kind == 2 ? std::uint32_t{NimbSeekOption_Pause} : 0);
        lost += subject.Await(ticket, &end) ? 0 : 1;
        failed += end.result == NimbSeekResult_Failed ? 1 : 0;
        (kind == 0   ? step
         : kind == 1 ? near
                     : exact)
            .push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        if (kind == 3) {
            plugin->PauseQuorObject(player.Id());
        }
        const Look look = subject.Read();
        const auto picture = pictures.find(look.first);
        const auto mesh = meshes.find(look.second);
        const std::int64_t pictureFrame = picture != pictures.end() ? picture->second : -1;
        const std::int64_t meshFrame = mesh != meshes.end() ? mesh->second : -1;
        if (pictureFrame != end.frame || meshFrame != end.frame) {
            ++wrong;
            std::printf("request %d: frame %lld, shown are picture %lld and mesh %lld\n", i,
                        static_cast<long long>(end.frame), static_cast<long long>(pictureFrame),
                        static_cast<long long>(meshFrame));
        }
        // What scripts do in between.
        switch (random() % 5) {
            case 0:
                plugin->PlayQuorObject(player.Id());
                for (int event = 0; event < 20; ++event, std::this_thread::sleep_for(c_EventInterval)) {
                    subject.Event();
                }
                break;
            case 1:
                plugin->RewindQuorObject(player.Id());
                break;
            case 2:
                player.SetPlayRange(frameCount / 3, random() % 2 == 0 ? frameCount / 2 : -1, true);
                plugin->PlayQuorObject(player.Id());
                break;
            default:
                break;
        }
    }
    std::printf("Milliseconds from request to end\n\n| | median | p95 | largest |\n|---|---|---|---|\n");
    Print("a frame anywhere", exact);
    Print("the nearest key picture", near);
    Print("one step", step);
    std::printf("\n%d requests: %d wrong, %d lost, %d ended twice, %d failed\n", requests, wrong, lost, subject.doubles,
                failed);

    std::printf("\nLongest gap in a loop, milliseconds\n\n| | where it begins again | elsewhere |\n|---|---|---|\n");
    player.SetPlayRange(0, -1, false);
    for (int round = 0; round < 5; ++round) {
        Loop(subject, 0, 0, frameCount - 10, 1, "autoLoop");
    }
    const auto range = [&](std::int64_t first, std::int64_t last, std::int64_t start, const char* name) {
        player.SetPlayRange(first, last, true);
        Loop(subject, first, last - first + 1, start, 5, name);
    };
    range(0, frameCount - 1, frameCount - 10, "the whole clip as a range");
    range(frameCount / 3, frameCount / 2, frameCount / 3, "the third to the half");
    range(frameCount / 2, frameCount * 3 / 4, frameCount / 2, "the half to three quarters");
    range(frameCount * 2 / 3 - 1, frameCount - 1, frameCount * 2 / 3 - 1, "two thirds, less one frame, to the end");
    player.SetPlayRange(0, -1, false);
    Drag(subject, frameCount, 0, "to the frames themselves");
    Drag(subject, frameCount, NimbSeekOption_NearestKey, "to the nearest key pictures");
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: nimb_seek_bench CLIP.mp4 [REQUESTS]\n");
        return EXIT_FAILURE;
    }
    try {
        return Run(argv[1], argc == 3 ? std::atoi(argv[2]) : 1000);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "nimb_seek_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
