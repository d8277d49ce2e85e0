// Delta frames with Golomb-coded bytes (vertex version 4). NimbCore/GolombVertices.cpp reads them.
#pragma once

#include "Authoring/Codec/DeltaVertices.h"

namespace Nimb::Authoring {

constexpr std::size_t c_GolombPrologueBytes = 24 + 3 * 6;  ///< in front of the codes

/// The vertex section of one frame, without normals.
Bytes WriteGolombDeltas(const DeltaCorrections& corrections);

}  // namespace Nimb::Authoring
