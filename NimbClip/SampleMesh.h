// The mesh of a video sample: found with the core's locator, as players do, and where in the sample it is.
#pragma once

#include "NimbClip/ByteSource.h"

#include <cstddef>
#include <cstdint>

namespace Nimb {
namespace Clip {

struct SampleMesh {
    bool isFound = false;            ///< false: players lose the frame
    Bytes frame;                     ///< what the locator finds
    std::size_t unitCount = 0;       ///< mesh units in the sample; the first one counts
    std::size_t offset = 0;          ///< of the first unit in the sample
    std::size_t storedBytes = 0;     ///< what the first unit takes in the sample, with the length before it
    std::uint32_t payloadBytes = 0;  ///< what its size field says
    bool isPayloadInUnit = false;    ///< the payload ends within the unit
    bool isBehindSlice = false;      ///< a slice of the coded picture comes before it

    Bytes byteStream;  ///< of the sample: what the mesh was looked for in
};

/// Replaces what is in `mesh`, whose memory is used again. `lengthSize`: as in ForEachUnit.
void FindMesh(const Bytes& sample, std::size_t lengthSize, SampleMesh& mesh);

}  // namespace Clip
}  // namespace Nimb
