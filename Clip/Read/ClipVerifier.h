// Decodes all of a clip and names what is wrong with it.
#pragma once

#include "Clip/Read/ClipReader.h"

#include <functional>
#include <optional>
#include <string>

namespace Nimb::Authoring {

struct ClipProblem {
    std::string kind;                  ///< one of the names that Docs/inspecting.md lists
    std::optional<std::size_t> frame;  ///< number of the frame, from 0; none: of the file, or of its sound
    std::optional<UINT64> offset;      ///< in the file: of the mesh unit, the sample or the box that the problem is in
    std::string text;
};

struct VerifyResult {
    std::size_t frames = 0;
    std::size_t problems = 0;
};

/// Problems are reported as they are found; `onProgress` gets the number of frames done. Throws InputError when the
/// file cannot be opened, or has no video. Memory is bounded by the index and the largest frame.
VerifyResult VerifyClip(const std::string& path, const std::function<void(const ClipProblem&)>& onProblem,
                        const std::function<void(std::size_t)>& onProgress);

}  // namespace Nimb::Authoring
