// The mesh reader: one frame's mesh payload in, a vertex buffer and an index buffer with their attributes out.
//
// The byte layout of everything read here is in Docs/format.md. NimbCore/*.cpp holds one stage a file: MeshHeader,
// MeshReader (frame assembly), Codings (which decoder reads what), MeshContexts, TemporalMesh, VertexStreams,
// DeltaVertices, HuffmanVertices, GolombVertices, TransformDeltas, IndexStreams and Huffman.
#pragma once

#include "Nimb/NimbInterfaces.h"
#include "NimbCore/NimbComPtr.h"

#include <map>
#include <memory>
#include <vector>

namespace NTarnStudioMeshHeaderVersion {
constexpr BYTE c_MeshHeaderVersion_KeyFrame = 5;    // counts are present
constexpr BYTE c_MeshHeaderVersion_DeltaFrame = 6;  // counts come from the sub-mesh's last key frame
constexpr BYTE c_MeshHeaderVersion_Temporal = 7;    // several sub-meshes, each with a texture transform
}  // namespace NTarnStudioMeshHeaderVersion

namespace NTarnStudioVertexVersion {
constexpr BYTE c_UnwrappedXYZUV = 2;
constexpr BYTE c_CompressedDeltas = 3;
constexpr BYTE c_GolombDeltas = 4;
constexpr BYTE c_TransformDeltas = 5;
constexpr BYTE c_HuffmanDeltas = 7;
constexpr BYTE c_Deprecated_UnwrappedVertexVersion = 19;
constexpr BYTE c_Deprecated_HiResMesh = 22;
constexpr BYTE c_Deprecated_DeltaLayout = 23;
}  // namespace NTarnStudioVertexVersion

namespace NTarnStudioIndexVersion {
constexpr BYTE c_UncompressedIndices = 1;
constexpr BYTE c_FixedByteDeltaEncodedIndices = 2;
constexpr BYTE c_Rejected = 3;  // has no decoder
constexpr BYTE c_EdgeBreakerIndices = 4;
}  // namespace NTarnStudioIndexVersion

/// Bits of the header's format flags.
namespace NTarnStudioFormatFlags {
constexpr BYTE c_TriList = 0x01;
constexpr BYTE c_TriStrips = 0x02;  // index streams only; the whole flags byte must equal this value
constexpr BYTE c_IndicesFirst = 0x04;
constexpr BYTE c_HasSubMeshId = 0x08;
constexpr BYTE c_HasFrameId = 0x10;
constexpr BYTE c_HasNormals = 0x20;
constexpr BYTE c_UnsignedUVs = 0x40;
}  // namespace NTarnStudioFormatFlags

/// Bits of the reader's output vertex format.
namespace NTarnOutputFormat {
constexpr UINT32 c_Normals = 0x02;  // records carry normals
constexpr UINT32 c_Float = 0x08;    // 32-bit floats; clear: 16-bit quantised
}  // namespace NTarnOutputFormat

/// Header of a mesh frame, and of every sub-mesh inside a temporal frame.
class CStreamingMeshHeader {
public:
    union Version {
        UINT32 word;
        struct {
            BYTE m_VertexVersion;
            BYTE m_FormatFlags;
            BYTE m_MeshHeaderVersion;
            BYTE m_IndexVersion;
        } v;
    };

    Version m_Version{};
    float m_BBoxMin[3]{};
    float m_BBoxMax[3]{};
    UINT32 m_numVertices = 0;
    UINT32 m_numFaces = 0;
    UINT32 m_numIndices = 0;
    UINT32 m_numTransforms = 0;  ///< temporal frames only
    UINT32 m_SubMeshId = 0;      ///< key of the decoding context
    UINT32 m_FrameId = 0;        ///< 0 when the exporter wrote none

    /// Reads the header and converts version words of older exports into current ones. A stream that ends early is a
    /// success that leaves the missing fields as they were; a version word that is not supported is an assertion.
    HRESULT Read(IStream* pStream);

private:
    HRESULT ReadChecked(IStream* pStream);
    bool ConvertOldVersion();
};

/// The code of one symbol.
struct HuffmanCode {
    INT32 numbits;  ///< code length
    UINT32 code;    ///< right-aligned, first bit most significant
};

/// Builds Huffman trees. The heap's tie behaviour is part of the format, so it is spelled out here rather than left to
/// the standard library. One builder serves one tree at a time: its nodes live until the next build.
class HuffmanEncoding {
public:
    struct TreeNode {
        INT32 freq;
        INT32 index;  ///< the symbol of a leaf, 0 in inner nodes
        TreeNode* left;
        TreeNode* right;
    };

    static constexpr std::size_t c_MaxUniqueDeltas = 257;
    static constexpr std::size_t c_PoolSize = 513;  // 257 leaves and 256 inner nodes

    /// Builds the tree of all symbols whose frequency is positive; stores its root (null when there is no such symbol)
    /// through `root` when that is not null. The nodes belong to the builder.
    void BuildTree(std::vector<int>& frequencies, TreeNode** root);

    /// Builds the tree and assigns codes, 0 for left and 1 for right. `codes` becomes 257 entries; entries of absent
    /// symbols keep their contents. Used by encoders.
    void BuildTable(std::vector<int>& frequencies, std::vector<HuffmanCode>& codes);

private:
    void Push(TreeNode* node);
    TreeNode* Pop();
    void AssignCodes(const TreeNode* root, std::vector<HuffmanCode>& codes);

    std::vector<TreeNode> m_Pool;
    std::vector<TreeNode*> m_Heap;
};

namespace Nimb {

/// No frame may make the reader allocate a buffer larger than this. A frame of 8 million float vertices fits.
constexpr UINT32 c_MaxBufferBytes = 256u << 20;

/// Nor may all sub-meshes together hold more than this, so that a stream of ever new ids cannot exhaust memory.
constexpr UINT64 c_MaxContextBytes = 1024ull << 20;

/// Affine map of the texture plane: u' = t0 u + t2 v + t4, v' = t1 u + t3 v + t5.
struct STransform {
    float t[6];
};

/// A position of the history. w has no meaning: stores of four lanes leave anything in it.
struct __vector4 {
    float x, y, z, w;
};

/// A vertex record of the last key frame: 16-bit quantised position and texture coordinates.
struct SQuantisedVertex {
    std::int16_t x, y, z, pad, u, v;
};

/// Texture coordinates as floats.
struct STexCoord {
    float u, v;
};
static_assert(sizeof(__vector4) == 16 && sizeof(SQuantisedVertex) == 12, "context records are packed");

/// What the reader remembers of one sub-mesh between frames. Owned by the reader, used by its thread only.
struct CNimbMeshReaderCtx {
    CNimbMeshReaderCtx() = default;
    CNimbMeshReaderCtx(const CNimbMeshReaderCtx&) = delete;
    CNimbMeshReaderCtx& operator=(const CNimbMeshReaderCtx&) = delete;

    // Counts of the last key frame.
    UINT32 m_numIndices = 0;
    UINT32 m_numVertices = 0;
    UINT32 m_numFaces = 0;

    /// Decoded since the last sweep of a temporal frame.
    bool m_InUse = false;

    // The three arrays have the same length: the vertex count of the newest vertex section of version 2, less the
    // vertices that are folded.
    std::vector<SQuantisedVertex> m_QuantisedVertices;  // texture coordinates of delta frames come from here
    std::vector<__vector4> m_Positions;
    std::vector<__vector4> m_HistoryPositions;

    /// Float form of the key frame's texture coordinates; empty until a delta frame needs it.
    std::vector<STexCoord> m_TexCoords;

    /// Positions of the newest frame and of the frame before it: two of the arrays above, swapped from frame to frame.
    /// The second is null when there is no frame before; then a delta frame predicts no motion.
    std::vector<__vector4>* m_pPrevMesh = nullptr;
    std::vector<__vector4>* m_pPrevPrevMesh = nullptr;

    /// Which transform each vertex follows (vertex version 5), kept until a frame replaces it or a key frame clears it.
    std::vector<BYTE> m_TransformIndices;

    /// Index buffer of the last key frame, handed out again for every delta frame, and how much of it is indices: an
    /// allocator may have given it more room.
    NIMBCORE::CComPtr<INimbBuffer> m_pIndexBuffer;
    UINT32 m_IndexBytes = 0;

    /// The newest vertex section of version 2 ended early. Its missing vertices are all alike, and between frames one
    /// stands for this many more.
    bool m_IsCutShort = false;
    std::size_t m_FoldedVertices = 0;

    /// What this context counts for in the reader's total (c_MaxContextBytes).
    UINT64 m_AccountedBytes = 0;
};

/// Decodes the frames of one clip in order. Belongs to one thread; the buffers that it hands out are complete.
///
/// Errors: a failing stream or allocator passes its status on, except where a decoder asserts that a read succeeds. A
/// structural violation is an assertion; in report mode the operation then returns E_UNEXPECTED, and the next key frame
/// decodes correctly. Of several faults the first in the order of decoding counts. Sizes beyond c_MaxBufferBytes or
/// c_MaxContextBytes, and code words or transforms that the stream does not deliver, are E_UNEXPECTED in both modes;
/// vertex records and raw indices that it does not deliver are zeros. std::bad_alloc passes through.
class CNimbMeshReader {
public:
    CNimbMeshReader() = default;
    CNimbMeshReader(const CNimbMeshReader&) = delete;
    CNimbMeshReader& operator=(const CNimbMeshReader&) = delete;

    /// Keeps a reference to the allocator. `vertexFormat`: NTarnOutputFormat bits; the player passes 13 (float) or 15
    /// (float with normals). May be called again; contexts survive it.
    HRESULT Initialize(INimbBufferAllocator* pBufferAllocator, UINT32 vertexFormat);

    /// Decodes one frame; a null stream stands for a frame without a mesh and yields a fixed quad. `time` is the
    /// frame's time stamp in 100-nanosecond units. On success each out-parameter receives a new reference, on failure
    /// null.
    HRESULT ReadMesh(IStream* pStream, LONGLONG time, INimbBuffer** ppVertexBuffer, INimbBuffer** ppIndexBuffer);

    /// Whether decoding can begin with this frame. A temporal one is decoded for that, in a reader of its own, as far
    /// as its first delta frame. False for a frame that is refused.
    static bool IsKeyFrame(IStream* pStream, INimbBufferAllocator* pBufferAllocator);

    /// What the reader remembers between two frames. Frames can go on from it any number of times, in any reader.
    class State;

    /// Throws std::bad_alloc.
    std::unique_ptr<const State> SaveState() const;

    /// Forgets everything else. Throws std::bad_alloc, and then has forgotten all.
    void RestoreState(const State& state);

    // The stages of ReadMesh, public for tests and fuzzers. Errors as above.
    HRESULT ReadVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream, CStreamingMeshHeader* pHeader,
                         INimbBuffer** ppBuffer);
    HRESULT ReadCompressedVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream, CStreamingMeshHeader* pHeader,
                                   INimbBuffer** ppBuffer);
    HRESULT ReadGolombCodedVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream, CStreamingMeshHeader* pHeader,
                                    INimbBuffer** ppBuffer);
    HRESULT ReadTransformDeltaVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream, CStreamingMeshHeader* pHeader,
                                       INimbBuffer** ppBuffer);
    HRESULT ReadHuffmanCodedVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream, CStreamingMeshHeader* pHeader,
                                     INimbBuffer** ppBuffer);
    HRESULT ReadNormals(IStream* pStream, CStreamingMeshHeader* pHeader, INimbBuffer* pBuffer);
    HRESULT ReadIndices(CNimbMeshReaderCtx* pCtx, IStream* pStream, CStreamingMeshHeader* pHeader,
                        INimbBuffer** ppBuffer);

    /// Turns three correction bytes a vertex into a vertex buffer and advances the context's history by one frame.
    /// Bytes 3i, 3i + 1, 3i + 2 belong to vertex i; min and max span the corrections (metres).
    HRESULT DecodeDeltas(CNimbMeshReaderCtx* pCtx, const CStreamingMeshHeader* pHeader, const BYTE* deltas,
                         UINT32 deltasLen, float minX, float minY, float minZ, float maxX, float maxY, float maxZ,
                         INimbBuffer** ppBuffer);

    /// Bytes of one output vertex record: 12, 20 or 32. Two of the four layouts share 20.
    static UINT32 VertexStride(UINT32 vertexFormat);

private:
    HRESULT ReadMeshChecked(IStream* pStream, LONGLONG time, INimbBuffer** ppVertexBuffer, INimbBuffer** ppIndexBuffer);
    HRESULT ReadSubMesh(IStream* pStream, CStreamingMeshHeader& header, INimbBuffer** ppVertexBuffer,
                        INimbBuffer** ppIndexBuffer, UINT32* pIndexBytes);
    HRESULT ReadKeyFrame(CNimbMeshReaderCtx& ctx, IStream* pStream, CStreamingMeshHeader& header,
                         INimbBuffer** ppVertexBuffer, INimbBuffer** ppIndexBuffer);
    HRESULT ReadDeltaFrame(CNimbMeshReaderCtx& ctx, IStream* pStream, CStreamingMeshHeader& header,
                           INimbBuffer** ppVertexBuffer, INimbBuffer** ppIndexBuffer);
    HRESULT ReadTemporalMesh(IStream* pStream, CStreamingMeshHeader& header, INimbBuffer** ppVertexBuffer,
                             INimbBuffer** ppIndexBuffer);
    HRESULT ReadTransforms(IStream* pStream, CStreamingMeshHeader& header, std::vector<STransform>* pTransforms);
    HRESULT BuildSingleQuadMesh(LONGLONG time, INimbBuffer** ppVertexBuffer, INimbBuffer** ppIndexBuffer);
    HRESULT SetAttributes(INimbBuffer* pBuffer, CStreamingMeshHeader* pHeader, bool hasNormals, LONGLONG time);

    using ContextMap = std::map<INT32, std::shared_ptr<CNimbMeshReaderCtx>>;
    bool MakeRoom(const CNimbMeshReaderCtx& ctx, UINT64 numVertices, UINT64 indexBytes);
    bool RestoreContext(CNimbMeshReaderCtx& ctx);
    void SettleContext(CNimbMeshReaderCtx& ctx) noexcept;
    ContextMap::iterator DropContext(ContextMap::iterator it);
    void SweepContexts();

    NIMBCORE::CComPtr<INimbBufferAllocator> m_pBufferAllocator;
    ContextMap m_Contexts;
    UINT32 m_VertexFormat = 5;
    UINT64 m_ContextBytes = 0;
    bool m_RefusesDeltas = false;  // of IsKeyFrame
};

class CNimbMeshReader::State {
public:
    std::size_t Bytes() const { return static_cast<std::size_t>(bytes); }  ///< of memory, about

private:
    friend class CNimbMeshReader;

    ContextMap contexts;
    UINT64 bytes = 0;
};

}  // namespace Nimb
