// What `nimb info --json` prints, some of which other commands print, too; Docs/inspecting.md lists the keys.
#pragma once

#include "Clip/Read/ClipAttributes.h"
#include "Clip/Read/ClipInspection.h"

#include <nlohmann/json.hpp>

namespace Nimb::Tool {

nlohmann::ordered_json ToJson(const Authoring::ClipTrack& track);
nlohmann::ordered_json ToJson(const Authoring::ClipAttributes& attributes);
nlohmann::ordered_json ToJson(const Authoring::FrameFacts& frame);
nlohmann::ordered_json ToJson(const Authoring::ClipSummary& summary);
nlohmann::ordered_json ToJson(const Authoring::Box& box);

/// The file, its tracks and its attributes.
nlohmann::ordered_json ToJson(const Authoring::ClipReader& reader, const Authoring::ClipAttributes& attributes);

/// To standard output.
void Print(const nlohmann::ordered_json& json);

}  // namespace Nimb::Tool
