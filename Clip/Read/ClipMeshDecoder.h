// Meshes of a clip, decoded with the core in the layout of the player: floats, with normals.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "NimbCore/NimbMeshReader.h"

#include <string>

namespace Nimb::Authoring {

struct DecodedVertex {
    float position[3];
    float normal[3];  ///< not filled in where the frame stores none
    float texCoord[2];
};

/// Views into buffers that it keeps alive.
struct DecodedMesh {
    std::string error;        ///< why there is no mesh, in the core's words where it has some; empty: there is one
    UINT64 missingBytes = 0;  ///< by which the frame ended too early; the decoder took zeros for them
    UINT64 unusedBytes = 0;   ///< left over after the frame's end
    const DecodedVertex* vertices = nullptr;
    std::size_t vertexCount = 0;
    const UINT32* indices = nullptr;
    std::size_t indexCount = 0;

    NIMBCORE::CComPtr<INimbBuffer> vertexBuffer;
    NIMBCORE::CComPtr<INimbBuffer> indexBuffer;
};

/// Belongs to one thread. Needs the core in its reporting mode; otherwise damage ends the process.
class ClipMeshDecoder {
public:
    ClipMeshDecoder();

    /// The next frame of the clip. `time`: in units of 100 ns.
    DecodedMesh Decode(const Bytes& frame, std::int64_t time);

private:
    Nimb::CNimbMeshReader m_Reader;
};

}  // namespace Nimb::Authoring
