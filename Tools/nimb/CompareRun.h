// A clip compared with its source: frame by frame on all cores, and the sound.
#pragma once

#include "Tools/nimb/Compare/Faults.h"
#include "Tools/nimb/CompareStage.h"
#include "Tools/nimb/EncodeArguments.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Nimb::Tool {

struct ComparisonResult {
    std::size_t sourceFrames = 0;
    std::size_t clipFrames = 0;
    double frameRate = 0;
    std::vector<FrameResult> frames;
    std::vector<FigureSummary> summary;
    SoundResult sound;
    std::vector<Fault> faults;
};

/// Within an InterruptGuard. Shows progress. Throws Authoring::InputError for what is wrong with the source, and for a
/// clip that cannot be opened; frames of a clip that cannot be shown are faults. `samples`: on each surface.
ComparisonResult CompareClip(CompareStage& stage, const Authoring::MeshSource& source, const std::string& clip,
                             const EncodeArguments& arguments, std::size_t samples);

}  // namespace Nimb::Tool
