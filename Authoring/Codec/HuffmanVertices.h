// Delta frames with Huffman-coded bytes (vertex version 7): D. A. Huffman, "A method for the construction of
// minimum-redundancy codes", 1952. NimbCore/HuffmanVertices.cpp reads them.
#pragma once

#include "Authoring/Codec/DeltaVertices.h"

namespace Nimb::Authoring {

/// The vertex section of one frame, without normals.
Bytes WriteHuffmanDeltas(const DeltaCorrections& corrections);

/// No section of so many vertices is smaller: a bit for each on axes where bytes differ, and tables on all.
std::size_t LeastHuffmanBytes(std::size_t numVertices, std::size_t numVaryingAxes);

}  // namespace Nimb::Authoring
