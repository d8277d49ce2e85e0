// How a NAL unit with a mesh begins. Docs/format.md has all of it.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <cstring>

namespace NimbCrossPlatform {

constexpr char c_MeshUnitMagic[] = {'T', 'A', 'R', 'N'};

inline bool IsMeshNalHeader(BYTE header) noexcept {
    return header == 0x18 || header == 0x15;
}

/// `unit` begins with its NAL header, behind a start code or a length.
inline bool IsMeshNalUnit(const BYTE* unit, std::size_t size) noexcept {
    return size > sizeof(c_MeshUnitMagic) && IsMeshNalHeader(unit[0]) &&
           std::memcmp(unit + 1, c_MeshUnitMagic, sizeof(c_MeshUnitMagic)) == 0;
}

}  // namespace NimbCrossPlatform
