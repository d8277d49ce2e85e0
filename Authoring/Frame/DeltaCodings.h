// The codings of delta frames, one row each: what the encoder needs to know about them beyond NimbCore/Codings.h.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// Values are vertex versions.
enum class DeltaCoding : BYTE {
    Smallest = 0,   ///< whichever of the automatic codings is smallest for the frame
    Quantised = 2,  ///< whole records, texture coordinates included
    Plain = 3,
    Golomb = 4,
    Transform = 5,
    Huffman = 7,
};

class DeltaInput;
struct DeltaSection;

struct DeltaCoder {
    DeltaCoding coding;
    const char* name;  ///< on command lines

    /// Fills in all but the version. std::range_error for motion that is too large for the coding.
    DeltaSection (*encode)(const DeltaInput& input);

    /// The least size of a section of so many vertices whose correction bytes differ on so many axes.
    std::size_t (*leastBytes)(std::size_t numVertices, std::size_t numVaryingAxes);

    bool isAutomatic;  ///< DeltaCoding::Smallest may choose it

    /// Fits motions to the vertices: there must be some, and an error limit. Frames shown in advance make it better,
    /// and it takes far longer than the others.
    bool fitsMotions;
};

/// All of them. The automatic ones are in the order in which they are tried; of equally small sections the first wins.
const std::vector<DeltaCoder>& DeltaCoders();

/// std::logic_error for a coding without a row, as Smallest is.
const DeltaCoder& CoderOf(DeltaCoding coding);

}  // namespace Nimb::Authoring
