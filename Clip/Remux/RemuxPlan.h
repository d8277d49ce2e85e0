// What of which input goes into the new clip, and when.
#pragma once

#include "Clip/Remux/ClipRemuxer.h"
#include "Clip/Remux/RemuxInput.h"

namespace Nimb::Authoring {

/// The frames of one input that are kept.
struct RemuxExcerpt {
    const RemuxInput* pInput = nullptr;
    std::size_t first = 0;
    std::size_t end = 0;      ///< behind the last
    double beginSeconds = 0;  ///< in the new clip
    double seconds = 0;

    bool IsCutAtEnd() const { return end < pInput->frames.size(); }
};

struct RemuxPlan {
    std::vector<RemuxExcerpt> excerpts;  ///< at least one
    std::vector<std::int64_t> times;  ///< of all frames that are kept, and the end of the last, in units of `timeBase`
    AVRational timeBase{};
    FileAttributes attributes;
    RemuxReport report;

    double Seconds() const { return excerpts.back().beginSeconds + excerpts.back().seconds; }
};

/// `inputs` must outlive the plan. Throws InputError when they do not go together, std::invalid_argument for a range
/// without frames.
RemuxPlan PlanRemux(const std::vector<RemuxInput>& inputs, const RemuxOptions& options, const RemuxWarning& warn);

}  // namespace Nimb::Authoring
