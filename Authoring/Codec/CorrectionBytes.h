// What the storages of correction bytes have in common.
#pragma once

#include "Authoring/Codec/DeltaVertices.h"

#include <array>
#include <vector>

namespace Nimb::Authoring {

/// The corrections that the 256 bytes of one axis stand for, as the decoder computes them.
std::array<float, 256> CorrectionsOfBytes(float min, float max);

std::vector<BYTE> AxisBytes(const DeltaCorrections& corrections, std::size_t axis);
std::array<std::size_t, 256> CountBytes(const std::vector<BYTE>& bytes);

/// Appends the six bounds that every section begins with.
void WriteCorrectionRange(const DeltaCorrections& corrections, ByteWriter& out);

}  // namespace Nimb::Authoring
