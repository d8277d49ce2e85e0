#include "Authoring/Codec/HuffmanVertices.h"

#include "Authoring/Codec/BitWriter.h"
#include "Authoring/Codec/CorrectionBytes.h"
#include "NimbCore/Codings.h"

#include <algorithm>

namespace Nimb::Authoring {
namespace {

/// An axis on which all bytes agree has no code bits, and without bits a decoder takes every byte for 0: the range is
/// narrowed to the one correction, which byte 0 then stands for.
void NarrowUniformAxes(DeltaCorrections& corrections) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::vector<BYTE> bytes = AxisBytes(corrections, axis);
        if (bytes.empty() || std::count(bytes.begin(), bytes.end(), bytes.front()) != std::ptrdiff_t(bytes.size())) {
            continue;
        }
        const float correction = CorrectionsOfBytes(corrections.min[axis], corrections.max[axis])[bytes.front()];
        corrections.min[axis] = correction;
        corrections.max[axis] = correction;
        for (std::size_t i = axis; i < corrections.bytes.size(); i += 3) {
            corrections.bytes[i] = 0;
        }
    }
}

}  // namespace

Bytes WriteHuffmanDeltas(const DeltaCorrections& original) {
    DeltaCorrections corrections = original;
    NarrowUniformAxes(corrections);

    std::vector<int> frequencies[3];
    BitWriter codes[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::vector<BYTE> bytes = AxisBytes(corrections, axis);
        const auto counts = CountBytes(bytes);
        frequencies[axis].assign(counts.begin(), counts.end());
        std::vector<HuffmanCode> table;
        HuffmanEncoding().BuildTable(frequencies[axis], table);
        for (const BYTE byte : bytes) {
            codes[axis].Write(table[byte].code, static_cast<UINT32>(table[byte].numbits));
        }
    }
    ByteWriter out;
    WriteCorrectionRange(corrections, out);
    for (const BitWriter& axis : codes) {
        out.U32(axis.NumBits());
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (const int frequency : frequencies[axis]) {
            out.U32(static_cast<UINT32>(frequency));
        }
        codes[axis].AppendTo(out);
    }
    return out.Take();
}

std::size_t LeastHuffmanBytes(std::size_t numVertices, std::size_t numVaryingAxes) {
    constexpr std::size_t empty = FindVertexCoding(NTarnStudioVertexVersion::c_HuffmanDeltas)->layout.EmptyBytes();
    return empty + numVaryingAxes * 4 * ((numVertices + 31) / 32);
}

}  // namespace Nimb::Authoring
