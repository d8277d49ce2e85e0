// The codings of vertices, one row each: what a reader, or a program that skips sections, has to know about them.
// Authoring/Frame/DeltaCodings.cpp has the encoder's rows.
#pragma once

#include "NimbCore/NimbMeshReader.h"

namespace Nimb {

/// Decodes the section that the stream stands at, and the normals behind it. Of a delta coding, into a context with a
/// previous frame.
using VertexDecoder = decltype(&CNimbMeshReader::ReadVertices);

/// What a vertex section consists of, in this order: `leadBytes`, a 32-bit number of bits for each of `numCodeStreams`
/// streams, and then in any order `fixedBytes`, `vertexBytes` for each vertex and the streams' code words; or behind
/// `leadBytes` a number of bytes, seven bits in each of its own, and as many bytes.
struct VertexSectionLayout {
    UINT32 leadBytes;
    UINT32 numCodeStreams;
    UINT32 fixedBytes;
    UINT32 vertexBytes;
    UINT32 normalBytes;       ///< more for each vertex where the frame has normals; 0: they follow the section
    bool statesSize = false;  ///< the second form

    /// What a section has before there is any vertex.
    constexpr std::size_t EmptyBytes() const noexcept {
        return leadBytes + 4 * numCodeStreams + fixedBytes + (statesSize ? 1 : 0);
    }
};

struct VertexCoding {
    BYTE version;
    const char* name;
    VertexDecoder decode;
    VertexSectionLayout layout;
};

namespace Codings {

constexpr UINT32 c_CorrectionBox = 24;        // six floats
constexpr UINT32 c_GolombParameters = 6;      // a centre and a parameter an axis
constexpr UINT32 c_HuffmanTables = 3 * 1024;  // 256 frequencies an axis
constexpr UINT32 c_VertexCount = 4;

}  // namespace Codings

inline constexpr VertexCoding c_VertexCodings[] = {
    {NTarnStudioVertexVersion::c_UnwrappedXYZUV, "records", &CNimbMeshReader::ReadVertices, {0, 0, 0, 12, 8}},
    {NTarnStudioVertexVersion::c_CompressedDeltas,
     "plain",
     &CNimbMeshReader::ReadCompressedVertices,
     {0, 0, Codings::c_CorrectionBox, 3, 0}},
    {NTarnStudioVertexVersion::c_GolombDeltas,
     "Golomb",
     &CNimbMeshReader::ReadGolombCodedVertices,
     {Codings::c_CorrectionBox + Codings::c_GolombParameters, 3, 0, 0, 0}},
    {NTarnStudioVertexVersion::c_TransformDeltas,
     "transform",
     &CNimbMeshReader::ReadTransformDeltaVertices,
     {Codings::c_VertexCount, 0, 0, 0, 0, true}},
    {NTarnStudioVertexVersion::c_HuffmanDeltas,
     "Huffman",
     &CNimbMeshReader::ReadHuffmanCodedVertices,
     {Codings::c_CorrectionBox, 3, Codings::c_HuffmanTables, 0, 0}},
};

/// Null for versions that are not in the table.
constexpr const VertexCoding* FindVertexCoding(BYTE version) noexcept {
    for (const VertexCoding& coding : c_VertexCodings) {
        if (coding.version == version) {
            return &coding;
        }
    }
    return nullptr;
}

}  // namespace Nimb
