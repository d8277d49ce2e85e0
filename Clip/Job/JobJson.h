// The values of a job as JSON, and back. Numbers keep every digit.
#pragma once

#include "Authoring/Source/InputWatch.h"
#include "Authoring/Source/MeshSources.h"
#include "Clip/Write/ClipEncoder.h"
#include "Clip/Write/ClipPlan.h"
#include "Clip/Write/KeyFrameReason.h"
#include "Clip/Write/TrackNote.h"

#include <nlohmann/json.hpp>

namespace Nimb::Authoring {

using Json = nlohmann::ordered_json;

Json JsonOf(const SourceOptions& options);
Json JsonOf(const EncodeOptions& options);
Json JsonOf(const ClipPlan& plan);
Json JsonOf(const KeyFrameReason& reason);
Json JsonOf(const TrackNote& note);
Json JsonOf(const InputFile& file);

// Throw Json::exception for what is missing or of another type.
SourceOptions SourceOptionsFrom(const Json& json);
EncodeOptions EncodeOptionsFrom(const Json& json);
ClipPlan ClipPlanFrom(const Json& json);
KeyFrameReason KeyFrameReasonFrom(const Json& json);
TrackNote TrackNoteFrom(const Json& json);
InputFile InputFileFrom(const Json& json);

}  // namespace Nimb::Authoring
