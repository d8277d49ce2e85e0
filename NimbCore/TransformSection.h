// What a transform-delta section says, parsed to the end before any of it is used.
#pragma once

#include "NimbCore/TransformDeltas.h"

#include <array>
#include <vector>

namespace Nimb {
namespace TransformDeltas {

struct Section {
    float step = 0.0f;
    float translationUnit = 0.0f;
    bool partsKept = false;
    std::array<Transform, 256> transforms{};  // any part number finds one; the identity where the section has none
    UINT32 numTransforms = 0;
    std::vector<BYTE> parts;  // of each vertex, when not kept
    std::vector<Correction> corrections;
};

/// Reads a section behind its vertex count. `numKept`: how many vertices the context knows the parts of.
HRESULT ReadSection(IStream* pStream, std::size_t numVertices, std::size_t numKept, Section& section);

}  // namespace TransformDeltas
}  // namespace Nimb
