// The exported functions of clocks that players share.
#include "NimbUnityPluginML/PlayerCall.h"
#include "NimbUnityPluginML/PlayerClocks.h"

#include <cstddef>

static_assert(sizeof(NimbClockInfo) == 24);
static_assert(offsetof(NimbClockInfo, speed) == 8);
static_assert(offsetof(NimbClockInfo, players) == 12);
static_assert(offsetof(NimbClockInfo, awaited) == 16);
static_assert(offsetof(NimbClockInfo, isPlaying) == 20);

using namespace Nimb::Plugin;

extern "C" {

int CreatePlayerClock(void) {
    return Guarded("CreatePlayerClock", -1, [] { return PlayerClocks::Instance().Create(); });
}

uint8_t DestroyPlayerClock(int clock) {
    return Guarded("DestroyPlayerClock", false, [=] { return PlayerClocks::Instance().Destroy(clock); });
}

uint8_t JoinPlayerClock(int clock, int id) {
    return Guarded("JoinPlayerClock", false, [=] { return PlayerClocks::Instance().Join(clock, id); });
}

uint8_t LeavePlayerClock(int id) {
    return CallPlayer(id, "LeavePlayerClock", false, [](QuorObject& player) {
        const bool hasClock = player.FollowedClock() != nullptr;
        player.Follow(nullptr);
        return hasClock;
    });
}

uint8_t PlayPlayerClock(int clock) {
    return Guarded("PlayPlayerClock", false, [=] { return PlayerClocks::Instance().Play(clock); });
}

uint8_t PausePlayerClock(int clock) {
    return Guarded("PausePlayerClock", false, [=] { return PlayerClocks::Instance().Pause(clock); });
}

int SeekPlayerClock(int clock, int64_t time, uint32_t options) {
    return Guarded("SeekPlayerClock", 0, [=] { return PlayerClocks::Instance().Seek(clock, time, options); });
}

uint8_t SetPlayerClockSpeed(int clock, float speed) {
    return Guarded("SetPlayerClockSpeed", false, [=] { return PlayerClocks::Instance().SetSpeed(clock, speed); });
}

uint8_t GetPlayerClockInfo(int clock, NimbClockInfo* info) {
    return Guarded("GetPlayerClockInfo", false, [=] { return PlayerClocks::Instance().Read(clock, info); });
}

}  // extern "C"
