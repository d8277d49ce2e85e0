// What `nimb info --decode` says of how long meshes take to decode.
#pragma once

#include "Clip/Read/DecodeTimes.h"

#include <nlohmann/json.hpp>

namespace Nimb::Tool {

void PrintDecoding(const std::vector<Authoring::FrameTime>& times);

nlohmann::ordered_json DecodingJson(const std::vector<Authoring::FrameTime>& times);

}  // namespace Nimb::Tool
