// The bits of a transform-delta section. NimbCore/TransformDeltas.cpp reads them.
#pragma once

#include "Authoring/Codec/BitWriter.h"
#include "Authoring/Codec/MotionParts.h"
#include "NimbCore/TransformDeltas.h"

#include <vector>

namespace Nimb::Authoring {

/// What a section says. Without transforms all parts stand still; `parts` are written when they are not kept and there
/// are at least two transforms, and are smaller than the number of transforms then.
struct TransformSection {
    float step;               ///< of corrections
    bool partsKept;           ///< the decoder knows the parts from an earlier frame
    UINT32 translationShift;  ///< translations are in units of step x 2^-translationShift; at most 15
    std::vector<Nimb::TransformDeltas::Transform> transforms;
    PartMap parts;
    std::vector<Nimb::TransformDeltas::Correction> corrections;  ///< one a vertex, at least one
};

struct WrittenTransformSection {
    Bytes bytes;
    UINT32 numBits;    ///< of both streams
    UINT32 partsBits;  ///< the share of them that the parts take
};

WrittenTransformSection WriteTransformSection(const TransformSection& section);

/// The bytes of a section with these streams.
Bytes AssembleTransformSection(UINT32 numVertices, const BitWriter& forward, const BitWriter& backward);

}  // namespace Nimb::Authoring
