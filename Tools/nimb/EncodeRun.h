// An encoder run as the shell sees it: progress, Ctrl-C, and what came out.
#pragma once

#include "Authoring/Clip/ClipEncoder.h"

#include <string>

namespace NimbTool {

/// EncodeClip, with progress on standard error and a summary on standard output. Throws what EncodeClip throws, and
/// Interrupted; nothing is left of the file then. `pSound` may be null.
Authoring::EncodeReport RunEncoder(const Authoring::MeshSource& source, Authoring::SoundSource* pSound,
                                   const std::string& output, const Authoring::EncodeOptions& options);

}  // namespace NimbTool
