// Several players on one clock, in real time: nimb_clock_bench CLIP.mp4 [PLAYERS [SECONDS]]. Tells in how many engine
// frames all of them showed the same frame of the clip, and how many frames each dropped. Reports and judges nothing.
#include "EngineStandIn/Player.h"
#include "EngineStandIn/RenderThread.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace Nimb::EngineStandIn;

constexpr std::chrono::microseconds c_EventInterval{16667};

struct Member {
    Member(const PluginLibrary& plugin, RenderThread& renderThread, const std::string& path)
        : player(plugin, renderThread) {
        if (!player.Open(path)) {
            throw std::runtime_error(path + ": the player cannot open it");
        }
        player.CreateBuffers();
        player.SetPlayRange(0, static_cast<std::int64_t>(player.FileInfo().frameCount) - 1, true);
    }

    Player player;
    std::int64_t time = -1;  // of the frame that is shown, 100-nanosecond units
    int shown = 0;
    std::int64_t dropped = 0;
    Clock::time_point since{};
    Clock::duration longest{};
};

/// `frameTime`: how long a frame is shown, 100-nanosecond units.
void Look(Member& member, double frameTime) {
    const NimbFrameInfo info = member.player.FrameInfo();
    if (info.vertexCount == 0 || info.timestamp == member.time) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (member.shown > 0) {
        const double frames = static_cast<double>(info.timestamp - member.time) / frameTime;
        member.dropped += std::max(0, static_cast<int>(frames + 0.5) - 1);
        member.longest = std::max(member.longest, now - member.since);
    }
    member.time = info.timestamp;
    member.since = now;
    ++member.shown;
}

int Run(const std::string& path, int playerCount, int seconds) {
    const PluginLibrary plugin(NIMB_PLUGIN_FILE);
    if (!plugin.Has(NimbFeature_Clock)) {
        throw std::runtime_error("the plug-in has no clocks that players share");
    }
    RenderThread renderThread(MakeSurfacelessContext);
    StartPlugin(plugin, renderThread);
    const int clock = plugin->CreatePlayerClock();
    std::vector<std::unique_ptr<Member>> members;
    for (int i = 0; i < playerCount; ++i) {
        members.push_back(std::make_unique<Member>(plugin, renderThread, path));
        plugin->JoinPlayerClock(clock, members.back()->player.Id());
    }
    const NimbFileInfo file = members.front()->player.FileInfo();
    const double frameTime = static_cast<double>(file.duration) / file.frameCount;
    plugin->PlayPlayerClock(clock);

    std::int64_t ticks = 0, agreeing = 0;
    const Clock::time_point start = Clock::now();
    for (Clock::time_point next = start; next - start < std::chrono::seconds(seconds);) {
        renderThread.Run([&] {
            for (const auto& member : members) {
                member->player.OnRender();
            }
        });
        for (const auto& member : members) {
            Look(*member, frameTime);
        }
        if (std::all_of(members.begin(), members.end(), [](const auto& member) { return member->shown > 0; })) {
            ++ticks;
            agreeing += std::all_of(members.begin(), members.end(),
                                    [&](const auto& member) { return member->time == members.front()->time; })
                            ? 1
                            : 0;
        }
        next = std::max(next + c_EventInterval, Clock::now());
        std::this_thread::sleep_until(next);
    }
    std::printf("engine frames %lld, %.1f a second; in %.2f %% of them all players show the same frame\n\n",
                static_cast<long long>(ticks), static_cast<double>(ticks) / seconds,
                100.0 * static_cast<double>(agreeing) / static_cast<double>(std::max<std::int64_t>(ticks, 1)));
    std::printf("| player | shown | dropped | longest gap, ms |\n|---|---|---|---|\n");
    for (const auto& member : members) {
        std::printf("| %d | %d | %lld | %.1f |\n", member->player.Id(), member->shown,
                    static_cast<long long>(member->dropped),
                    std::chrono::duration<double, std::milli>(member->longest).count());
    }
    plugin->DestroyPlayerClock(clock);
    return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount < 2) {
        std::fprintf(stderr, "usage: nimb_clock_bench CLIP.mp4 [PLAYERS [SECONDS]]\n");
        return 2;
    }
    try {
        return Run(arguments[1], argumentCount > 2 ? std::atoi(arguments[2]) : 4,
                   argumentCount > 3 ? std::atoi(arguments[3]) : 30);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "nimb_clock_bench: %s\n", error.what());
        return 1;
    }
}
