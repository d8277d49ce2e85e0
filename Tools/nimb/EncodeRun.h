// An encoder run as the shell sees it: progress, Ctrl-C, and what came out.
#pragma once

#include "Clip/Write/ClipEncoder.h"
#include "Tools/nimb/RunProgress.h"

#include <chrono>
#include <string>

namespace Nimb::Tool {

/// EncodeClip, within an InterruptGuard. Throws what EncodeClip throws, and Interrupted; nothing is left of the file
/// then. `pSound` may be null. Prints the warnings that `options` collects, however quiet the run; with `strict` they
/// are an InputError, and so are damaged packets of sound.
Authoring::EncodeReport RunEncoder(const Authoring::MeshSource& source, Authoring::SoundSource* pSound,
                                   const std::string& clip, const Authoring::EncodeOptions& options, RunOutput output,
                                   bool strict = false);

/// Says on standard error what was left out of the sound, if anything was. `audio`: its file.
void TellDamagedSound(const std::string& audio, const Authoring::EncodeReport& report);

/// ExamineClip, likewise. `input`: what to call it.
void RunExamination(const Authoring::MeshSource& source, const std::string& input,
                    const Authoring::EncodeOptions& options, RunOutput output, bool strict);

/// What came out, as far as `output` wants to know. The numbers are those that `nimb info` finds in the file.
void PrintSummary(const std::string& clip, const Authoring::EncodeReport& report, std::chrono::duration<double> elapsed,
                  RunOutput output);

}  // namespace Nimb::Tool
