// The exported functions that go to frames.
#include "NimbUnityPluginML/PlayerCall.h"

#include <cstddef>

static_assert(sizeof(NimbSeekEnd) == 32);
static_assert(offsetof(NimbSeekEnd, frame) == 8);
static_assert(offsetof(NimbSeekEnd, time) == 16);
static_assert(offsetof(NimbSeekEnd, result) == 24);
static_assert(offsetof(NimbSeekEnd, reason) == 28);

using namespace Nimb::Plugin;

extern "C" {

uint32_t getPlayerFeatures(void) {
    return NimbFeature_Seek | NimbFeature_PlayRange | NimbFeature_Clock | NimbFeature_Device | NimbFeature_ShownFrame |
           NimbFeature_Trouble;
}

int64_t SeekQuorObject(int id, int64_t frame, uint32_t options) {
    return CallPlayer(id, "SeekQuorObject", std::int64_t{0},
                      [=](QuorObject& player) { return player.Seek(frame, options); });
}

int64_t SeekQuorObjectToTime(int id, int64_t time, uint32_t options) {
    return CallPlayer(id, "SeekQuorObjectToTime", std::int64_t{0},
                      [=](QuorObject& player) { return player.SeekToTime(time, options); });
}

int64_t StepQuorObject(int id, int frames) {
    return CallPlayer(id, "StepQuorObject", std::int64_t{0}, [=](QuorObject& player) { return player.Step(frames); });
}

uint8_t TakeSeekEnd(int id, NimbSeekEnd* end) {
    return CallSilently(id, "TakeSeekEnd", false, [=](QuorObject& player) { return player.TakeSeekEnd(end); });
}

uint8_t SetPlayRange(int id, int64_t first, int64_t last, uint8_t loop) {
    return CallPlayer(id, "SetPlayRange", false,
                      [=](QuorObject& player) { return player.SetPlayRange(first, last, loop != 0); });
}

}  // extern "C"
