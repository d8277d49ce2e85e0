// A clip that many make together: one plans it, each encodes some of its segments, one joins them. The clip is byte for
// byte the one that EncodeClip writes.
//
// The job's folder holds plan.json, and a file for each segment that is done. Nothing else is shared, and nobody waits
// for anybody: a segment that two encode at a time comes out the same.
#pragma once

#include "Clip/Job/JobPlan.h"
#include "Clip/Write/ClipEncoder.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// Examines the source as EncodeClip does, and throws the same exceptions. The plan is not written yet. `tool`: see
/// ToolIdentity.
JobPlan PlanJob(const JobOrder& order, const std::string& tool, Warnings& warnings, std::size_t threads,
                const EncodeProgress& progress);

/// Encodes those of the segments that are not done yet, or whose file is damaged. Throws what EncodeClip throws, and
/// InputError when an input is not what it was, or when `tool` is not the plan's. Returns how many were encoded.
std::size_t EncodeJobSegments(const std::string& folder, const JobPlan& plan, const std::vector<std::size_t>& segments,
                              const std::string& tool, Warnings& warnings, std::size_t threads,
                              const EncodeProgress& progress);

/// Checks all segments and all inputs, and writes the clip to `path`; see EncodeClip. Throws InputError that names all
/// that is wrong, each in a line of its own. `audio` is the plan's; null if it has none.
EncodeReport JoinJob(const std::string& folder, const JobPlan& plan, const std::string& path, SoundSource* audio,
                     const std::string& tool, std::size_t threads, const EncodeProgress& progress);

}  // namespace Nimb::Authoring
