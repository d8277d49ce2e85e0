// What a mesh frame consists of, without decoding it: its header, its sub-frames, and how large each section is.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "NimbCore/NimbMeshReader.h"

#include <map>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// One sub-frame of a temporal frame, or all of another frame.
struct SubFrameLayout {
    CStreamingMeshHeader header;  ///< of a delta frame with the counts of the key frame before it
    bool isDelta = false;
    bool hasKeyFrame = true;  ///< false: a delta frame of a sub-mesh that has had none
    bool isStrip = false;     ///< its indices, which may be those of the key frame before it
    bool hasNormals = false;
    UINT64 vertexBytes = 0;  ///< without the normals that follow deltas
    UINT64 normalBytes = 0;
    UINT64 indexBytes = 0;
};

struct MeshFrameLayout {
    CStreamingMeshHeader header;  ///< counts as those of SubFrameLayout::header
    bool isTemporal = false;
    std::vector<SubFrameLayout> subFrames;
    std::string problem;  ///< why the rest of the frame could not be told apart; empty: it could

    bool IsKeyFrame() const;  ///< nothing in it builds on earlier frames
    bool HasNormals() const;  ///< of any sub-frame
};

/// Keeps what delta frames take over from key frames, so it must see all frames in order. Belongs to one thread.
class MeshFrameScanner {
public:
    MeshFrameLayout Scan(const Bytes& frame);

private:
    struct SubMesh {
        UINT32 numVertices = 0;
        UINT32 numFaces = 0;
        UINT32 numIndices = 0;
        bool isStrip = false;
        bool isInUse = false;
    };
    class Cursor;

    bool ScanHeader(Cursor& cursor, CStreamingMeshHeader& header);
    bool ScanSubFrame(Cursor& cursor, const CStreamingMeshHeader& header, SubFrameLayout& sub);

    std::map<UINT32, SubMesh> m_SubMeshes;
};

/// As NimbCore/Codings.h has it: "records", "plain", "Golomb" ...; "unknown" for a version that is not there.
std::string VertexCodingName(BYTE vertexVersion);
/// "raw", "list deltas", "strip deltas", "EdgeBreaker".
std::string IndexCodingName(BYTE indexVersion, bool isStrip);

}  // namespace Nimb::Authoring
