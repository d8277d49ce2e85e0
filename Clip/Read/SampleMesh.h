// The mesh of a video sample: found with the core's locator, as the player does, and where it is in the file.
#pragma once

#include "Clip/Read/ClipReader.h"

namespace Nimb::Authoring {

struct SampleMesh {
    std::optional<Bytes> frame;    ///< what the core's locator finds; none: players lose the frame
    std::size_t unitCount = 0;     ///< mesh units in the sample; the first one counts
    UINT64 offset = 0;             ///< of the first unit in the file; of the sample when there is none
    std::size_t storedBytes = 0;   ///< what the first unit takes in the sample, with the length before it
    UINT32 payloadBytes = 0;       ///< what its size field says
    bool isPayloadInUnit = false;  ///< the payload ends within the unit
    bool isBehindSlice = false;    ///< a slice of the coded picture comes before it
};

SampleMesh FindMesh(const ClipSample& sample);

}  // namespace Nimb::Authoring
