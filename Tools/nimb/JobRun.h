// Jobs as the shell sees them: a plan, a share of the segments, the clip.
#pragma once

#include "Clip/Job/ClipJob.h"
#include "Tools/nimb/EncodeArguments.h"
#include "Tools/nimb/RunProgress.h"

#include <cstddef>
#include <string>

namespace Nimb::Tool {

// Each runs within an InterruptGuard. `threads`: 0 for one for each core.

/// What resolved arguments ask for, with absolute paths.
Authoring::JobOrder OrderOf(const EncodeArguments& a);

/// Makes the folder if need be. UsageError when it has a plan and `overwrite` is not set; then its segments go.
Authoring::JobPlan RunPlan(const Authoring::JobOrder& order, const std::string& folder, bool overwrite,
                           std::size_t threads, RunOutput output);

/// `segments`: "3", "3-5", "0,3-5"; UsageError for others and for those that the plan does not have.
void RunSegments(const std::string& folder, const std::string& segments, std::size_t threads, RunOutput output);

void RunJoin(const std::string& folder, const std::string& clip, std::size_t threads, RunOutput output);

/// Plan, segments and join, in the folder CLIP.job, which is there until the clip is complete.
void RunResumable(const Authoring::JobOrder& order, const std::string& clip, std::size_t threads, RunOutput output);

}  // namespace Nimb::Tool
