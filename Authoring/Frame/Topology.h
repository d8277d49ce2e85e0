// The index section of a key frame, and what it does to the vertices.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/Mesh.h"
#include "Authoring/Frame/FrameOptions.h"

#include <optional>
#include <vector>

namespace Nimb::Authoring {

struct Topology {
    IndexCoding coding = IndexCoding::List1;
    Bytes section;
    std::vector<UINT32> vertexOrder;  ///< decoded vertex i is the mesh's vertex vertexOrder[i]
    std::size_t numIndices = 0;

    BYTE IndexVersion() const;
    BYTE Flags() const;  ///< triangle list or strips
};

bool IsStrips(IndexCoding coding);

/// What a key frame's coding is chosen from, and by what.
struct TopologyChoice {
    std::optional<IndexCoding> coding;  ///< none: the smallest that leaves all triangles as they are
    bool mayBeStrips = false;
    bool keepVertexOrder = false;
    std::size_t recordBytes = 12;  ///< what a vertex costs, as EdgeBreaker repeats some and drops what no face uses

    bool operator==(const TopologyChoice& o) const {
        return coding == o.coding && mayBeStrips == o.mayBeStrips && keepVertexOrder == o.keepVertexOrder &&
               recordBytes == o.recordBytes;
    }
};

/// Every coding takes every mesh, but strips leave out triangles without area and so are chosen only where there are
/// none.
Topology ChooseTopology(const Mesh& mesh, const TopologyChoice& choice);

}  // namespace Nimb::Authoring
