#include "Authoring/Frame/Topology.h"

#include "Authoring/Codec/IndexStreams.h"
#include "NimbCore/NimbMeshReader.h"

#include <algorithm>
#include <numeric>

namespace Nimb::Authoring {

bool IsStrips(IndexCoding coding) {
    return coding == IndexCoding::Strips1 || coding == IndexCoding::Strips2;
}

BYTE Topology::IndexVersion() const {
    namespace Version = NTarnStudioIndexVersion;
    switch (coding) {
        case IndexCoding::List1:
        case IndexCoding::Strips1:
            return Version::c_UncompressedIndices;
        case IndexCoding::EdgeBreaker:
            return Version::c_EdgeBreakerIndices;
        case IndexCoding::List2:
        case IndexCoding::Strips2:
            break;
    }
    return Version::c_FixedByteDeltaEncodedIndices;
}

BYTE Topology::Flags() const {
    return IsStrips(coding) ? NTarnStudioFormatFlags::c_TriStrips : NTarnStudioFormatFlags::c_TriList;
}

namespace {

Topology EncodeTopology(const Mesh& mesh, IndexCoding coding) {
    Topology out;
    out.coding = coding;
    out.numIndices = 3 * mesh.faces.size();
    switch (coding) {
        case IndexCoding::List1:
            out.section = WriteRawIndices(FlattenFaces(mesh.faces));
            break;
        case IndexCoding::List2:
            out.section = WriteListDeltas(RotateForListDeltas(mesh.faces));
            break;
        case IndexCoding::EdgeBreaker: {
            EdgeBreakerIndices indices = WriteEdgeBreaker(mesh.faces);
            out.section = std::move(indices.section);
            out.vertexOrder = std::move(indices.vertexOrder);
            return out;
        }
        case IndexCoding::Strips1:
        case IndexCoding::Strips2: {
            const std::vector<UINT32> strip = MakeStrip(mesh.faces);
            out.section = coding == IndexCoding::Strips1 ? WriteRawIndices(strip) : WriteStripDeltas(strip);
            out.numIndices = strip.size();
            break;
        }
    }
    out.vertexOrder.resize(mesh.positions.size());
    std::iota(out.vertexOrder.begin(), out.vertexOrder.end(), 0u);
    return out;
}

bool HasArea(const TarnMeshFace& face) {
    return face.v[0] != face.v[1] && face.v[1] != face.v[2] && face.v[2] != face.v[0];
}

/// What a section of the coding has at least, so that hopeless ones need not be made.
std::size_t LeastSectionBytes(IndexCoding coding, std::size_t numFaces) {
    switch (coding) {
        case IndexCoding::List1:
            return 12 * numFaces;
        case IndexCoding::List2:
            return 8 + 4 * numFaces;
        case IndexCoding::Strips1:
            return numFaces == 0 ? 0 : 4 * (numFaces + 2);
        case IndexCoding::Strips2:
            return numFaces == 0 ? 12 : 12 + 2 * (numFaces + 2);
        case IndexCoding::EdgeBreaker:
            break;
    }
    return 0;
}

}  // namespace

Topology ChooseTopology(const Mesh& mesh, const TopologyChoice& choice) {
    if (choice.coding) {
        return EncodeTopology(mesh, *choice.coding);
    }
    const auto cost = [&](const Topology& t) { return t.section.size() + choice.recordBytes * t.vertexOrder.size(); };
    const bool strips = choice.mayBeStrips && std::all_of(mesh.faces.begin(), mesh.faces.end(), HasArea);
    Topology best = EncodeTopology(mesh, choice.keepVertexOrder ? IndexCoding::List2 : IndexCoding::EdgeBreaker);
    for (const IndexCoding coding :
         {IndexCoding::List2, IndexCoding::List1, IndexCoding::Strips2, IndexCoding::Strips1}) {
        const std::size_t least =
            LeastSectionBytes(coding, mesh.faces.size()) + choice.recordBytes * mesh.positions.size();
        if (coding == best.coding || least >= cost(best) || (IsStrips(coding) && !strips)) {
            continue;
        }
        Topology candidate = EncodeTopology(mesh, coding);
        if (cost(candidate) < cost(best)) {
            best = std::move(candidate);
        }
    }
    return best;
}

}  // namespace Nimb::Authoring
