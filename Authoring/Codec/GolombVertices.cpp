#include "Authoring/Codec/GolombVertices.h"

#include "Authoring/Codec/CorrectionBytes.h"
#include "Authoring/Codec/Golomb.h"
#include "NimbCore/Codings.h"

namespace Nimb::Authoring {

Bytes WriteGolombDeltas(const DeltaCorrections& corrections) {
    GolombParameters parameters[3];
    BitWriter codes[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::vector<BYTE> bytes = AxisBytes(corrections, axis);
        parameters[axis] = ChooseGolombParameters(CountBytes(bytes));
        WriteGolombBytes(bytes, parameters[axis], codes[axis]);
    }
    ByteWriter out;
    WriteCorrectionRange(corrections, out);
    for (const GolombParameters& p : parameters) {
        out.U8(p.center);
    }
    for (const GolombParameters& p : parameters) {
        out.U8(p.m);
    }
    for (const BitWriter& axis : codes) {
        out.U32(axis.NumBits());
    }
    for (const BitWriter& axis : codes) {
        axis.AppendTo(out);
    }
    return out.Take();
}

std::size_t LeastGolombBytes(std::size_t numVertices, std::size_t) {
    constexpr std::size_t empty = FindVertexCoding(NTarnStudioVertexVersion::c_GolombDeltas)->layout.EmptyBytes();
    return empty + 3 * 4 * ((2 * numVertices + 31) / 32);
}

}  // namespace Nimb::Authoring
