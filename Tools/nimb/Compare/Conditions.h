// What `--fail-if` asks for: conditions on figures, such as p99>2mm.
#pragma once

#include "Tools/nimb/Compare/FrameResult.h"
#include "Tools/nimb/Compare/SoundFigures.h"

#include <optional>
#include <string>
#include <vector>

namespace Nimb::Tool {

struct Condition {
    std::string text;                ///< as it was given
    const Figure* figure = nullptr;  ///< null: the sound's offset, whose sign does not matter
    bool isAverage = false;          ///< over the clip; else of the worst frame
    bool isAbove = false;            ///< holds above the limit; else below it
    bool includesLimit = false;
    double limit = 0;  ///< metres, dB, shares, levels; seconds of the sound's offset

    bool Holds(double value) const;
};

/// "p99>2mm,psnr<38": figures by their names, average- before them for the average over the clip; >, >=, < or <=; a
/// number with its unit. Throws UsageError, naming the part.
std::vector<Condition> ParseConditions(const std::string& text);

/// Says where a condition holds, as in "p99>2mm: 2.310 mm in frame 17"; nothing for one that does not.
std::optional<std::string> Check(const Condition& condition, const std::vector<FigureSummary>& summaries,
                                 const std::optional<SoundFigures>& sound);

}  // namespace Nimb::Tool
