// The plan of a clip that many make together: everything that is decided before the first frame is encoded, as a file
// in the job's folder.
#pragma once

#include "Authoring/Source/InputWatch.h"
#include "Authoring/Source/MeshSources.h"
#include "Clip/Write/ClipEncoder.h"
#include "Clip/Write/ClipPlan.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// What a clip is made of, and how. Paths are absolute, since others read them from elsewhere.
struct JobOrder {
    SourceOptions source;
    EncodeOptions encode;   ///< threads, warnings and callbacks are not part of it
    std::string audio;      ///< a file; empty: none
    double audioStart = 0;  ///< seconds
    bool isStrict = false;  ///< warnings are errors
};

struct JobPlan {
    std::string tool;  ///< which build made it: what it is encoded with has to be the same
    JobOrder order;
    std::vector<InputFile> files;  ///< all that the clip is made of
    ClipPlan clip;
    PictureSize atlas;
    double frameRate = 0;
    std::string id;  ///< of all of the above; segments carry it
};

/// This build: its version, and that of the libraries that make the bytes.
std::string ToolIdentity(const std::string& version);

/// `folder`/plan.json, and a folder for the segments. Fills in the id. Throws ClipError; InputError for names of inputs
/// that are no text.
void WriteJobPlan(const std::string& folder, JobPlan& plan);

/// The plan, its segments, and what was left of either by somebody who was killed. Nothing else, and nothing where
/// there is no plan. Throws ClipError.
void RemoveJob(const std::string& folder);

/// Throws InputError when there is none, or when it is damaged or was changed by hand.
JobPlan ReadJobPlan(const std::string& folder);

bool HasJobPlan(const std::string& folder);

/// Whether two orders make the same clip of the same files.
bool IsSameOrder(const JobOrder& a, const JobOrder& b);

/// Writes a file beside its name and then gives it the name, so that whoever sees it sees all of it. Throws ClipError.
void WriteWhole(const std::string& path, const std::vector<std::string>& pieces);

}  // namespace Nimb::Authoring
