// EdgeBreaker connectivity coding (index version 4): one prefix code per triangle, about two bits each. J. Rossignac,
// "Edgebreaker: connectivity compression for triangle meshes", 1999.
//
// A mesh is cut into pieces, each a disk whose border is one closed loop of vertices. A piece is eaten triangle by
// triangle from its border; every triangle sits on the current border edge, the gate (a -> b), and its third vertex v
// says which operation it is (double lines are border that the triangle takes away with it):
//
//   C  v is new            L  v precedes a        R  v follows b         E  last triangle      S  v elsewhere on the
//      v                      v                         v                  v                      border: two borders
//     / \                   //  \                      /  \\             //  \\                  v   (left first)
//    /   \                 //    \                    /    \\           //    \\                / \  .
//   a --> b                a ---> b                  a ---> b          a ----> b               a-->b
//
// Docs/format.md has the traversal, the vertex numbering and the framing in full. Decoder and encoder share this class
// so that they stay comparable; the player only ever decodes.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <vector>

/// One triangle as three vertex indices, counter-clockwise as stored.
struct TarnMeshFace {
    UINT32 v[3];
};
static_assert(sizeof(TarnMeshFace) == 12, "faces are copied into index buffers as they stand");

namespace EdgeBreaker {

enum EEdgeCode : BYTE {
    EdgeCode_C = 0,
    EdgeCode_L = 1,
    EdgeCode_R = 2,
    EdgeCode_E = 3,
    EdgeCode_S = 4,
    EdgeCode_Terminator = 5,
};

/// The most triangles that a stream may hold: as many as fit an index buffer of 256 MiB.
constexpr std::size_t c_MaxFaces = (std::size_t{256} << 20) / sizeof(TarnMeshFace);

/// Decodes and encodes code streams. An instance serves one thread at a time and may be used again, also after a
/// failure.
///
/// A stream that breaks the format is an assertion: in report mode the operations throw Nimb::AssertionFailure.
/// std::bad_alloc passes through. The work is linear in the size of the input, whatever the input.
class CEdgeBreaker {
public:
    /// Appends the triangles of a whole stream to `faces`. Vertices are numbered from 0, piece by piece. Bytes behind
    /// the closing pair of terminators are ignored. After a failure `faces` holds the pieces before the faulty one.
    void Decompress(std::vector<BYTE>& compressedIndices, std::vector<TarnMeshFace>* faces);

    /// Appends the triangles of one piece, given as `codeLen` codes of which the last is the terminator, and advances
    /// `vertexCounter`, the number of the next new vertex, by the vertices of the piece. Either the whole piece is
    /// decoded, or the call fails and nothing has changed.
    void DecompressSubmesh(EEdgeCode* codes, int codeLen, std::vector<TarnMeshFace>* faces, int& vertexCounter);

    /// Encodes any list of at most c_MaxFaces triangles: any number of components, borders and handles, faces that
    /// repeat or degenerate, more than two faces at an edge, neighbours that disagree on the winding; any 32-bit
    /// indices.
    ///
    /// Replaces the contents of the outputs:
    ///   `compressedIndices`  the stream, closing pair included;
    ///   `vertexOrder`        for each vertex of the decoded mesh, in order, the input vertex that it is a copy of.
    ///                        Vertices on cuts occur more than once, vertices that no face uses do not occur;
    ///   `faceOrder`          (may be null) for each decoded face, in order, the position of its input face.
    /// Decoded face i, its indices mapped through `vertexOrder`, is faces[faceOrder[i]], possibly rotated, never
    /// flipped. The same input gives the same output on every platform.
    void Compress(const std::vector<TarnMeshFace>& faces, std::vector<BYTE>* compressedIndices,
                  std::vector<UINT32>* vertexOrder, std::vector<UINT32>* faceOrder = nullptr);

    /// Length of a code in bits.
    static int BitsInCode(EEdgeCode code);

private:
    // Decoder.
    int MeasureBorders(const EEdgeCode* codes, int numCodes);
    void RebuildFaces(const EEdgeCode* codes, int numCodes, UINT32 firstVertex, int borderLength,
                      std::vector<TarnMeshFace>* faces);

    /// A border loop that waits for its left neighbour: the places of its two ends in m_Border.
    struct PendingLoop {
        std::size_t front;
        std::size_t back;
    };
    std::vector<int> m_LoopLengths;  // pass 1: loops that are still open, walking backwards
    std::vector<int> m_LeftLengths;  // pass 1 to pass 2: length of the left loop of each S, last S first
    std::vector<UINT32> m_Border;    // pass 2: the loops, innermost on top, each sharing one vertex with the one below
    std::vector<PendingLoop> m_Pending;  // pass 2: right loops whose left neighbour is still being eaten

    // Encoder, in the order of its stages.
    struct Surface;
    struct Component;
    class Cutter;
    class Emitter;
    static void BuildHalfEdge(const std::vector<TarnMeshFace>& faces, Surface& surface);
    static void FindOpposite(Surface& surface);
    static void MergeBoundary(const Component& component, Surface& surface, Cutter& cutter);
    static void FindGates(Surface& surface);
    static void ProcessGates(Surface& surface, Emitter& emitter);
    static void ProcessComponent(UINT32 gate, Surface& surface, std::vector<bool>& fanDone, Emitter& emitter);
};

}  // namespace EdgeBreaker
