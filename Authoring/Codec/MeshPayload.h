// The mesh NAL unit: how a compressed mesh frame travels inside a video sample. NimbCore/MeshPayload.cpp reads it.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

enum class NalFraming {
    AnnexB,  ///< begins with the start code 00 00 01
    Bare,    ///< begins with the NAL header byte: for samples that put a length before each unit
};

/// Wraps the `size` bytes of one encoded mesh frame into a complete NAL unit. No start code arises behind the unit's
/// own and it never ends in a zero byte, so it survives every rewriting between the two framings. Throws
/// std::length_error when the escaped payload does not fit the unit's signed 32-bit size field.
std::vector<BYTE> WriteMeshNalUnit(const BYTE* meshFrame, std::size_t size, NalFraming framing);

}  // namespace Nimb::Authoring
