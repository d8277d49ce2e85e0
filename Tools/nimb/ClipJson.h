// What `nimb info --json` prints; Docs/inspecting.md lists the keys.
#pragma once

#include "Authoring/Clip/ClipAttributes.h"
#include "Authoring/Clip/ClipInspection.h"

#include <nlohmann/json.hpp>

namespace NimbTool {

nlohmann::ordered_json ToJson(const Authoring::ClipTrack& track);
nlohmann::ordered_json ToJson(const Authoring::ClipAttributes& attributes);
nlohmann::ordered_json ToJson(const Authoring::FrameFacts& frame);
nlohmann::ordered_json ToJson(const Authoring::ClipSummary& summary);

}  // namespace NimbTool
