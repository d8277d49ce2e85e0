// The file attribute atom "Xtra": facts about a whole volumetric file. NimbCore/XtraAttributes.cpp reads it.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// What a player reports about a file before it has decoded any frame of it.
struct FileAttributes {
    UINT32 frameCount = 0;
    UINT32 maxVertexCount = 0;  ///< of any one frame
    UINT32 maxIndexCount = 0;   ///< of any one frame
    std::array<double, 3> bboxMin{};
    std::array<double, 3> bboxMax{};
    std::optional<UINT32> hasVertexNormals;  ///< 0 or 1; the one value that a file may leave out
};

enum class AtomForm {
    Plain,    ///< each value directly under its type
    Wrapped,  ///< each value inside a blob
};

/// The complete box, size and type included. It fits into a file's tail (NimbCore/FileTail.h) and has to come last.
std::vector<BYTE> WriteAttributeAtom(const FileAttributes& attributes, AtomForm form = AtomForm::Plain);

}  // namespace Nimb::Authoring
