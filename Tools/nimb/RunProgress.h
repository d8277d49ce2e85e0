// Progress, warnings and Ctrl-C of a run of the encoder.
#pragma once

#include "Clip/Write/ClipEncoder.h"
#include "Tools/nimb/Progress.h"

#include <cstddef>
#include <optional>

namespace Nimb::Tool {

/// What a run reports.
enum class RunOutput {
    Text,   ///< progress on standard error, a summary on standard output
    Json,   ///< the same summary as JSON
    Quiet,  ///< neither
};

/// The steps of a run call it to report progress and to learn of Ctrl-C. Throws Interrupted, and InputError for
/// warnings where `strict` makes them errors.
class RunProgress {
public:
    /// `frames`: in all. `pWarnings` and `pSound` may be null.
    RunProgress(std::size_t frames, Authoring::Warnings* pWarnings, const Authoring::SoundSource* pSound,
                RunOutput output, bool strict)
        : m_Frames(frames),
          m_pWarnings(pWarnings),
          m_pSound(pSound),
          m_IsShown(output != RunOutput::Quiet),
          m_IsStrict(strict) {}

    void operator()(Authoring::EncodeStep step, std::size_t framesDone);

    /// Prints the warnings that have not been printed yet.
    void Warn();

private:
    const std::size_t m_Frames;
    Authoring::Warnings* const m_pWarnings;
    const Authoring::SoundSource* const m_pSound;
    const bool m_IsShown;
    const bool m_IsStrict;
    std::optional<Authoring::EncodeStep> m_Step;
    std::optional<Progress> m_Progress;
};

}  // namespace Nimb::Tool
