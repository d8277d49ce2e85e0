// The attribute atom of a clip, found and read as the player does.
#pragma once

#include "Authoring/Codec/XtraAttributes.h"

#include <optional>
#include <string>

namespace Nimb::Authoring {

struct ClipAttributes {
    std::optional<FileAttributes> values;  ///< none: players know nothing of the file
    std::string problem;                   ///< why there are none, in the core's words where it has some
    UINT64 offset = 0;                     ///< of the atom in the file, or of the bytes in which players look for it
};

/// Throws InputError when the file cannot be read.
ClipAttributes ReadClipAttributes(const std::string& path);

}  // namespace Nimb::Authoring
