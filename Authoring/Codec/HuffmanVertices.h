// Delta frames with Huffman-coded bytes (vertex version 7): D. A. Huffman, "A method for the construction of
// minimum-redundancy codes", 1952. NimbCore/HuffmanVertices.cpp reads them.
#pragma once

#include "Authoring/Codec/DeltaVertices.h"

namespace Nimb::Authoring {

constexpr std::size_t c_HuffmanPrologueBytes = 24 + 3 * (4 + 1024);  ///< all but the codes, the three tables included

/// The vertex section of one frame, without normals.
Bytes WriteHuffmanDeltas(const DeltaCorrections& corrections);

}  // namespace Nimb::Authoring
