// EdgeBreaker decoding: bit stream -> codes (Decompress), codes of one piece -> triangles (DecompressSubmesh).
//
// A piece is decoded in two passes over its codes.
//
// Pass 1 (MeasureBorders) walks backwards. Seen from the end, an E leaves a loop of 3, the other operations change the
// length of the loop that they will find, and an S joins two loops that share a vertex; so the walk knows how long
// every loop is, validates the piece as a whole, and ends with the length of the border that everything starts from.
//
// Pass 2 (RebuildFaces) walks forwards and needs no checks any more. The border is x0..xm, the gate runs from xm to x0.
// An S at xk leaves the left loop xk..xm and the right loop x0..xk. As the left one is eaten first, both stay where
// they are in one array: the left loop on top, the right loop below it, xk shared by both.
#include "NimbCore/EdgeBreaker.h"

#include "Nimb/NimbAssert.h"
#include "NimbCore/BitReader.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>

namespace EdgeBreaker {
namespace {

// Texts of the violations that the format's own list has no text for.
constexpr char c_TooManyFaces[] = "EdgeBreaker: more triangles than an index buffer holds";
constexpr char c_TooManyVertices[] = "EdgeBreaker: vertex counter out of range";
constexpr char c_BorderTooShort[] = "EdgeBreaker: border of fewer than two vertices";
constexpr char c_CodesLeft[] = "EdgeBreaker: codes left after the last triangle of a sub-mesh";
constexpr char c_InnerTerminator[] = "EdgeBreaker: terminator inside a sub-mesh";

constexpr int c_CodeBits[] = {1, 3, 3, 3, 4, 4};

// The operation codes that start a window of c_WindowBits bits, up to c_CodesPerEntry of them. A terminator ends the
// entry, so an entry without codes means that a terminator comes next.
constexpr unsigned c_WindowBits = 11;
constexpr unsigned c_CodesPerEntry = 8;
constexpr unsigned c_TerminatorBits = 4;

struct WindowEntry {
    EEdgeCode codes[c_CodesPerEntry];
    BYTE numCodes;
    BYTE numBits;
};

constexpr bool BitOf(unsigned window, unsigned width, unsigned i) {
    return ((window >> (width - 1 - i)) & 1u) != 0;
}

constexpr EEdgeCode FirstCode(unsigned window, unsigned width) {
    if (!BitOf(window, width, 0)) {
        return EdgeCode_C;
    }
    if (BitOf(window, width, 1)) {
        return BitOf(window, width, 2) ? EdgeCode_E : EdgeCode_L;
    }
    if (BitOf(window, width, 2)) {
        return EdgeCode_R;
    }
    return BitOf(window, width, 3) ? EdgeCode_Terminator : EdgeCode_S;
}

// 20 kB that code which is downloaded makes at its start instead.
#ifdef NIMB_SMALL_CODE
#define NIMB_WINDOW_TABLE __attribute__((noinline))
#else
#define NIMB_WINDOW_TABLE constexpr
#endif

struct WindowTable {
    WindowEntry entries[1u << c_WindowBits];

    NIMB_WINDOW_TABLE WindowTable() : entries{} {
        for (unsigned window = 0; window < (1u << c_WindowBits); ++window) {
            WindowEntry& entry = entries[window];
            while (entry.numCodes < c_CodesPerEntry) {
                // Bits that slide in from behind are zeros; a code that would need one of them does not count.
                const unsigned rest = (window << entry.numBits) & ((1u << c_WindowBits) - 1);
                const EEdgeCode code = FirstCode(rest, c_WindowBits);
                const int numBits = entry.numBits + c_CodeBits[code];
                if (code == EdgeCode_Terminator || numBits > static_cast<int>(c_WindowBits)) {
                    break;
                }
                entry.codes[entry.numCodes++] = code;
                entry.numBits = static_cast<BYTE>(numBits);
            }
        }
    }
};
const WindowTable c_Windows;

/// The codes of a whole stream, terminators included, and the length of each sub-mesh.
struct CodeStream {
    std::unique_ptr<EEdgeCode[]> codes;
    std::vector<int> subMeshLengths;
    std::size_t numOperations = 0;
};

/// Splits a stream into codes.
///
/// The format tests for the end of the data after every code but the closing terminator. One test for each refill does
/// the same: zeros from behind the end never make up a terminator, so whatever is decoded between the end and the test
/// cannot close the stream, and the test fails where an earlier one would have.
CodeStream SplitCodes(const std::vector<BYTE>& compressedIndices) {
    constexpr std::size_t maxCodes = 2 * c_MaxFaces + 2;  // no two terminators meet before the end
    constexpr std::size_t slack = Nimb::ByteBitReader::c_PeekBits + c_CodesPerEntry;
    const std::size_t room = static_cast<std::size_t>(std::min<UINT64>(UINT64{8} * compressedIndices.size(), maxCodes));

    CodeStream stream;
    stream.codes.reset(new EEdgeCode[room + slack]);  // not cleared: every code read was written
    EEdgeCode* const begin = stream.codes.get();
    EEdgeCode* out = begin;
    EEdgeCode* subMesh = begin;
    Nimb::ByteBitReader bits(compressedIndices.data(), compressedIndices.size());
    for (;;) {
        NIMB_ASSERT_MSG(!bits.AtEnd(), "p <= &compressedIndices[compressedIndices.size() - 1]");
        NIMB_ASSERT_MSG(out - begin <= static_cast<std::ptrdiff_t>(room), c_TooManyFaces);
        UINT64 window = bits.Peek();
        unsigned used = 0;
        while (used <= Nimb::ByteBitReader::c_PeekBits - c_WindowBits) {
            const WindowEntry& entry = c_Windows.entries[window >> (64 - c_WindowBits)];
            std::memcpy(out, entry.codes, sizeof entry.codes);
            out += entry.numCodes;
            unsigned numBits = entry.numBits;
            if (__builtin_expect(entry.numCodes == 0, 0)) {
                const bool closing = out == subMesh;
                *out++ = EdgeCode_Terminator;
                stream.subMeshLengths.push_back(static_cast<int>(out - subMesh));
                stream.numOperations += static_cast<std::size_t>(out - subMesh - 1);
                NIMB_ASSERT_MSG(stream.numOperations <= c_MaxFaces, c_TooManyFaces);
                subMesh = out;
                // The stream ends with a terminator right behind another. A leading one has none before it.
                if (closing && stream.subMeshLengths.size() > 1) {
                    return stream;
                }
                numBits = c_TerminatorBits;
            }
            window <<= numBits;
            used += numBits;
        }
        bits.Skip(used);
    }
}

}  // namespace

void CEdgeBreaker::Decompress(std::vector<BYTE>& compressedIndices, std::vector<TarnMeshFace>* faces) {
    NIMB_ASSERT(faces != nullptr);
    const CodeStream stream = SplitCodes(compressedIndices);
    faces->reserve(faces->size() + stream.numOperations);

    int vertexCounter = 0;
    EEdgeCode* codes = stream.codes.get();
    for (const int length : stream.subMeshLengths) {
        DecompressSubmesh(codes, length, faces, vertexCounter);
        codes += length;
    }
}

void CEdgeBreaker::DecompressSubmesh(EEdgeCode* codes, int codeLen, std::vector<TarnMeshFace>* faces,
                                     int& vertexCounter) {
    NIMB_ASSERT(codes != nullptr && faces != nullptr);
    NIMB_ASSERT_MSG(codeLen > 0 && codes[codeLen - 1] == EdgeCode_Terminator, "codeIndex < codeLen");
    const int numCodes = codeLen - 1;
    if (numCodes == 0) {
        return;  // no triangle, no border, no vertex
    }
    NIMB_ASSERT_MSG(static_cast<std::size_t>(numCodes) <= c_MaxFaces, c_TooManyFaces);
    const int borderLength = MeasureBorders(codes, numCodes);

    // A disk of F triangles with M border vertices has (F + 2 - M) / 2 inner ones.
    const int numVertices = borderLength + (numCodes + 2 - borderLength) / 2;
    NIMB_ASSERT_MSG(vertexCounter >= 0 && vertexCounter <= INT_MAX - numVertices, c_TooManyVertices);
    const std::size_t needed = faces->size() + static_cast<std::size_t>(numCodes);
    if (needed > faces->capacity()) {
        faces->reserve(std::max(needed, 2 * faces->capacity()));
    }
    RebuildFaces(codes, numCodes, static_cast<UINT32>(vertexCounter), borderLength, faces);
    vertexCounter += numVertices;
}

int CEdgeBreaker::MeasureBorders(const EEdgeCode* codes, int numCodes) {
    // What C, L and R add to the length of the loop behind them to give the length of the loop before them.
    constexpr int c_Growth[] = {-1, 1, 1};

    m_LoopLengths.clear();
    m_LeftLengths.clear();
    // Only an E needs nothing behind it, so it comes last, and from here on there is always a loop.
    NIMB_ASSERT_MSG(codes[numCodes - 1] >= EdgeCode_E, "codeIndex < codeLen");
    int length = 0;    // of the loop in hand; the ones waiting are in m_LoopLengths, below a 0 that is none
    int tooShort = 0;  // negative once a loop had fewer than two vertices
    for (int i = numCodes - 1; i >= 0; --i) {
        const EEdgeCode code = codes[i];
        if (code < EdgeCode_E) {
            length += c_Growth[code];
            tooShort |= length - 2;
        } else if (code == EdgeCode_E) {
            m_LoopLengths.push_back(length);
            length = 3;
        } else if (code == EdgeCode_S) {
            NIMB_ASSERT_MSG(m_LoopLengths.size() > 1, "codeIndex < codeLen");
            m_LeftLengths.push_back(length);
            length += m_LoopLengths.back() - 1;
            m_LoopLengths.pop_back();
        } else {
            NIMB_ASSERT_MSG(code != EdgeCode_Terminator, c_InnerTerminator);
            NIMB_ASSERT_MSG(false, "false");
        }
    }
    NIMB_ASSERT_MSG(m_LoopLengths.size() == 1, c_CodesLeft);
    NIMB_ASSERT_MSG(tooShort >= 0, c_BorderTooShort);
    return length;
}

void CEdgeBreaker::RebuildFaces(const EEdgeCode* codes, int numCodes, UINT32 firstVertex, int borderLength,
                                std::vector<TarnMeshFace>* faces) {
    constexpr int c_FacesPerBlock = 256;  // goes through the first-level cache, so that `faces` is written once
    TarnMeshFace block[c_FacesPerBlock];

    // One place for each vertex, and one that is written ahead of the topmost.
    const std::size_t numBorder = static_cast<std::size_t>(borderLength);
    const std::size_t numPlaces = numBorder + (static_cast<std::size_t>(numCodes) + 2 - numBorder) / 2 + 1;
    if (m_Border.size() < numPlaces) {
        m_Border.resize(numPlaces);
    }
    m_Pending.clear();

    UINT32* const border = m_Border.data();
    for (std::size_t i = 0; i < numBorder; ++i) {
        border[i] = firstVertex + static_cast<UINT32>(i);
    }
    std::size_t front = 0;             // place of x0, the end of the gate
    std::size_t back = numBorder - 1;  // place of xm, its start
    UINT32 newVertex = firstVertex + static_cast<UINT32>(numBorder);

    while (numCodes > 0) {
        const int count = std::min(numCodes, c_FacesPerBlock);
        for (int i = 0; i < count; ++i) {
            const unsigned code = codes[i];
            TarnMeshFace& face = block[i];
            face.v[0] = border[back];
            face.v[1] = border[front];
            if (__builtin_expect(code < EdgeCode_E, 1)) {
                // Without branches, as C, L and R follow each other at random: C and L move the top up and down and
                // take what is there then, R moves the front up and takes that.
                border[back + 1] = newVertex;
                const std::size_t isR = code >> 1;
                const std::size_t step = std::size_t{1} - 2 * (code & 1);
                face.v[2] = border[back + ((front - back) & (0 - isR)) + step];
                newVertex += code == EdgeCode_C;
                front += isR;
                back += step - isR;
            } else if (code == EdgeCode_S) {
                const std::size_t shared = back + 1 - static_cast<std::size_t>(m_LeftLengths.back());
                m_LeftLengths.pop_back();
                m_Pending.push_back({front, shared});
                front = shared;
                face.v[2] = border[shared];
            } else {
                face.v[2] = border[front + 1];
                if (!m_Pending.empty()) {  // empty behind the last triangle alone
                    front = m_Pending.back().front;
                    back = m_Pending.back().back;
                    m_Pending.pop_back();
                }
            }
        }
        faces->insert(faces->end(), block, block + count);
        codes += count;
        numCodes -= count;
    }
}

int CEdgeBreaker::BitsInCode(EEdgeCode code) {
    NIMB_ASSERT_MSG(code <= EdgeCode_Terminator, "false");
    return c_CodeBits[code];
}

}  // namespace EdgeBreaker
