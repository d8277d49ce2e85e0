// What tracking made of a clip's frames, said in lines and in JSON.
#pragma once

#include "Clip/Write/TrackNote.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace Nimb::Tool {

/// "118 of 120 frames in 5 runs, ..."; how far surfaces are off, and what baking lost. `notes`: of all frames that were
/// to be tracked.
std::string TrackText(const std::vector<Authoring::TrackNote>& notes);

/// The same numbers, and a list of the runs. Distances in metres.
nlohmann::ordered_json ToJson(const std::vector<Authoring::TrackNote>& notes);

}  // namespace Nimb::Tool
