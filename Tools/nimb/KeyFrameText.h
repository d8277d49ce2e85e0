// Why the key frames of a clip are key frames, said in lines and in JSON.
#pragma once

#include "Clip/Write/KeyFrameReason.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace Nimb::Tool {

/// How many there are for each reason: "4: the first, 1 for the interval, 2 for a new topology (...)".
std::string KeyFrameText(const std::vector<Authoring::KeyFrameNote>& keyFrames, std::size_t frames);

/// A list with frame, reason ("first", "interval", "topology", "error", "track"), of
/// new topologies the triangles, and of lost tracks how far surfaces would be apart, in metres.
nlohmann::ordered_json ToJson(const std::vector<Authoring::KeyFrameNote>& keyFrames);

}  // namespace Nimb::Tool
