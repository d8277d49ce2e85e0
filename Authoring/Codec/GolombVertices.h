// Delta frames with Golomb-coded bytes (vertex version 4). NimbCore/GolombVertices.cpp reads them.
#pragma once

#include "Authoring/Codec/DeltaVertices.h"

namespace Nimb::Authoring {

/// The vertex section of one frame, without normals.
Bytes WriteGolombDeltas(const DeltaCorrections& corrections);

/// No section of so many vertices is smaller: no code has fewer than two bits, wherever bytes differ.
std::size_t LeastGolombBytes(std::size_t numVertices, std::size_t numVaryingAxes);

}  // namespace Nimb::Authoring
