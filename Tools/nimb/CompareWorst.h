// The worst frames of a comparison, for people to look at: pictures of both sides, and surfaces with the error on them.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Tools/nimb/CompareRun.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Nimb::Tool {

/// Pictures have all views beside each other.
struct WorstFrame {
    std::size_t number = 0;
    double scale = 0;  ///< metres: the distance that gets the last colour, above that of 99 of 100 points
    Authoring::Image source, clip;
    Authoring::Image difference;  ///< of luma, over grey
    Authoring::Image error;
    Authoring::Mesh clipErrors, sourceErrors;  ///< PaintErrors
};

/// Those in which a figure is worst, and those with faults, at most eight, ascending. None without comparable frames.
std::vector<std::size_t> ChooseWorst(const ComparisonResult& result);

/// Goes to the frames once more.
std::vector<WorstFrame> LookAtWorst(CompareStage& stage, const Authoring::MeshSource& source,
                                    const std::vector<std::size_t>& frames);

/// A clip of the surfaces, for the web player: of each frame the clip's, then the source's; `rate` frames a second.
/// Returns the file's bytes. Throws what EncodeClip throws.
std::string EncodeErrors(const std::vector<WorstFrame>& frames, double rate);

}  // namespace Nimb::Tool
