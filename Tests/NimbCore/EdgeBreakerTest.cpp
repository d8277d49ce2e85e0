// EdgeBreaker: the stream's exact bytes, every way in which it can be malformed, and round trips over surfaces of all
// kinds with the number of vertices that their cuts repeat.
#include "NimbCore/EdgeBreaker.h"

#include "NimbCore/NimbMeshReader.h"
#include "Tests/Support/EdgeBreakerModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>

namespace {

using EdgeBreaker::CEdgeBreaker;
using EdgeBreaker::EEdgeCode;
using NimbTest::c_EndOfData;
using NimbTest::Decode;
using NimbTest::Faces;
using NimbTest::RoundTrip;

static_assert(EdgeBreaker::c_MaxFaces * sizeof(TarnMeshFace) <= Nimb::c_MaxBufferBytes,
              "what decodes must fit an index buffer");

/// Bytes from '0' and '1', the last one filled with zeros.
std::vector<BYTE> Bits(const std::string& text) {
    std::vector<BYTE> bytes;
    int used = 8;
    for (const char c : text) {
        if (c == ' ') {
            continue;
        }
        if (used == 8) {
            bytes.push_back(0);
            used = 0;
        }
        bytes.back() = static_cast<BYTE>(bytes.back() | (c - '0') << (7 - used++));
    }
    return bytes;
}

std::vector<std::vector<UINT32>> Lists(const Faces& faces) {
    std::vector<std::vector<UINT32>> lists;
    for (const TarnMeshFace& face : faces) {
        lists.emplace_back(face.v, face.v + 3);
    }
    return lists;
}

/// w x h quads, vertex(x, y) naming their corners: what it identifies is glued.
template <class Vertex>
Faces Quads(UINT32 w, UINT32 h, Vertex vertex) {
    Faces faces;
    for (UINT32 y = 0; y < h; ++y) {
        for (UINT32 x = 0; x < w; ++x) {
            const UINT32 a = vertex(x, y), b = vertex(x + 1, y), c = vertex(x, y + 1), d = vertex(x + 1, y + 1);
            faces.push_back({{a, b, d}});
            faces.push_back({{a, d, c}});
        }
    }
    return faces;
}

Faces Grid(UINT32 w, UINT32 h) {
    return Quads(w, h, [w](UINT32 x, UINT32 y) { return y * (w + 1) + x; });
}

Faces Annulus(UINT32 around, UINT32 height) {
    return Quads(around, height, [=](UINT32 x, UINT32 y) { return y * around + x % around; });
}

Faces Torus(UINT32 w, UINT32 h) {
    return Quads(w, h, [=](UINT32 x, UINT32 y) { return y % h * w + x % w; });
}

/// An annulus whose two borders have closed to a point each.
Faces Sphere(UINT32 around, UINT32 height) {
    Faces faces = Quads(around, height, [=](UINT32 x, UINT32 y) {
        return y == 0 ? 0 : y == height ? 1 : 2 + (y - 1) * around + x % around;
    });
    Faces round;
    for (const TarnMeshFace& face : faces) {
        if (face.v[0] != face.v[1] && face.v[1] != face.v[2] && face.v[2] != face.v[0]) {
            round.push_back(face);
        }
    }
    return round;
}

/// Two tori, each without one quad, sewn together along the border of the hole.
Faces DoubleTorus(UINT32 size) {
    Faces left = Torus(size, size);
    left.erase(left.begin(), left.begin() + 2);
    Faces both = left;
    for (const TarnMeshFace& face : left) {
        TarnMeshFace mirrored{{face.v[0], face.v[2], face.v[1]}};
        for (UINT32& vertex : mirrored.v) {
            const bool onHole = vertex == 0 || vertex == 1 || vertex == size || vertex == size + 1;
            vertex += onHole ? 0 : size * size;
        }
        both.push_back(mirrored);
    }
    return both;
}

Faces Punch(Faces faces, std::initializer_list<std::size_t> quads) {
    Faces kept;
    for (std::size_t i = 0; i < faces.size(); ++i) {
        if (std::find(quads.begin(), quads.end(), i / 2) == quads.end()) {
            kept.push_back(faces[i]);
        }
    }
    return kept;
}

Faces Joined(Faces a, const Faces& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Faces Flipped(Faces faces, std::size_t every) {
    for (std::size_t i = 0; i < faces.size(); i += every) {
        std::swap(faces[i].v[1], faces[i].v[2]);
    }
    return faces;
}

Faces Soup(UINT32 seed, std::size_t numFaces, UINT32 numVertices) {
    std::mt19937 random(seed);
    Faces faces(numFaces);
    for (TarnMeshFace& face : faces) {
        for (UINT32& vertex : face.v) {
            vertex = static_cast<UINT32>(random() % numVertices);
        }
    }
    return faces;
}

// A pentagon with an S, then a square around an inner vertex: every operation and both numbering rules, worked out by
// hand. The encoder finds the same gates, so it gives the same bytes.
TEST(EdgeBreaker, GoldenStream) {
    // S E E terminator, C R L E terminator, terminator: 1000 111 111 1001, 0 101 110 111 1001, 1001.
    const std::vector<BYTE> golden{0x8F, 0xE5, 0x77, 0x99};
    const std::vector<std::vector<UINT32>> expected = {{4, 0, 2}, {4, 2, 3}, {2, 0, 1}, {8, 5, 9},
                                                       {9, 5, 6}, {9, 6, 8}, {8, 6, 7}};
    Faces faces;
    ASSERT_EQ(Decode(golden, &faces), "");
    EXPECT_EQ(Lists(faces), expected);

    std::vector<BYTE> bytes;
    std::vector<UINT32> vertexOrder;
    CEdgeBreaker().Compress(faces, &bytes, &vertexOrder);
    EXPECT_EQ(bytes, golden);
    EXPECT_EQ(vertexOrder, (std::vector<UINT32>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(EdgeBreaker, StreamWithoutTriangles) {
    Faces faces{{{7, 8, 9}}};  // decoding appends
    EXPECT_EQ(Decode({0x99}, &faces), "");
    EXPECT_EQ(Decode({0x99, 0xFF, 0x12}, &faces), "") << "bytes behind the closing pair are not looked at";
    EXPECT_EQ(faces.size(), 1u);

    std::vector<BYTE> bytes{1, 2, 3};
    std::vector<UINT32> vertexOrder{4};
    CEdgeBreaker().Compress({}, &bytes, &vertexOrder);
    EXPECT_EQ(bytes, std::vector<BYTE>{0x99});
    EXPECT_TRUE(vertexOrder.empty());

    // A leading terminator is a sub-mesh of its own; the triangle behind it still starts at vertex 0.
    faces.clear();
    EXPECT_EQ(Decode(Bits("1001 111 1001 1001"), &faces), "");
    EXPECT_EQ(Lists(faces), (std::vector<std::vector<UINT32>>{{2, 0, 1}}));
}

TEST(EdgeBreaker, MalformedStreams) {
    const char* const left = "EdgeBreaker: codes left after the last triangle of a sub-mesh";
    const char* const tooShort = "EdgeBreaker: border of fewer than two vertices";
    const struct {
        const char* bits;
        const char* text;
    } cases[] = {
        {"", c_EndOfData},
        {"1001", c_EndOfData},            // the rest of the byte are Cs
        {"0 111 1001", c_EndOfData},      // ends on the last bit, but not with a pair
        {"0 111 1001 100", c_EndOfData},  // the closing terminator lacks its last bit
        {"0 0 0 0 0 111 1001 100", c_EndOfData},
        {"0 1001 1001", "codeIndex < codeLen"},
        {"110 1001 1001", "codeIndex < codeLen"},
        {"1000 1001 1001", "codeIndex < codeLen"},
        {"1000 111 1001 1001", "codeIndex < codeLen"},
        {"111 101 1001 1001", "codeIndex < codeLen"},
        {"111 111 1001 1001", left},
        {"110 111 101 111 1001 1001", left},
        {"0 0 111 1001 1001", tooShort},
        {"1000 0 0 111 111 1001 1001", tooShort},
    };
    for (const auto& c : cases) {
        Faces faces;
        EXPECT_EQ(Decode(Bits(c.bits), &faces), c.text) << c.bits;
        EXPECT_TRUE(faces.empty()) << c.bits;
    }
}

TEST(EdgeBreaker, NoMoreTrianglesThanAnIndexBufferHolds) {
    const char* const text = "EdgeBreaker: more triangles than an index buffer holds";
    Faces faces;
    EXPECT_EQ(Decode(std::vector<BYTE>(EdgeBreaker::c_MaxFaces / 4 + 64, 0), &faces), text);
    std::vector<BYTE> twoSubMeshes(EdgeBreaker::c_MaxFaces / 8 + 2, 0);  // each of them within the limit
    twoSubMeshes[twoSubMeshes.size() / 2] = 0x90;
    twoSubMeshes.push_back(0x99);
    EXPECT_EQ(Decode(twoSubMeshes, &faces), text);
}

// The sub-mesh decoder is public: what Decompress never hands to it must fail as well, and change nothing.
TEST(EdgeBreaker, MalformedSubMeshes) {
    const struct {
        std::vector<int> codes;
        int vertexCounter;
        const char* text;
    } cases[] = {
        {{6, 3, 5}, 0, "false"},
        {{255, 5}, 0, "false"},
        {{3, 5, 3, 5}, 0, "EdgeBreaker: terminator inside a sub-mesh"},
        {{3}, 0, "codeIndex < codeLen"},
        {{}, 0, "codeIndex < codeLen"},
        {{3, 5}, INT_MAX - 2, "EdgeBreaker: vertex counter out of range"},
        {{3, 5}, -1, "EdgeBreaker: vertex counter out of range"},
    };
    CEdgeBreaker decoder;
    for (const auto& c : cases) {
        std::vector<EEdgeCode> codes{EdgeBreaker::EdgeCode_C};
        codes.clear();  // keeps storage, so that data() is a pointer to no codes
        for (const int code : c.codes) {
            codes.push_back(static_cast<EEdgeCode>(code));
        }
        Faces faces;
        int vertexCounter = c.vertexCounter;
        try {
            decoder.DecompressSubmesh(codes.data(), static_cast<int>(codes.size()), &faces, vertexCounter);
            ADD_FAILURE() << "no failure: " << c.text;
        } catch (const Nimb::AssertionFailure& failure) {
            EXPECT_STREQ(failure.Info().text, c.text);
        }
        EXPECT_TRUE(faces.empty());
        EXPECT_EQ(vertexCounter, c.vertexCounter);
    }
    // The same object decodes the next piece, up to the last vertex number there is.
    EEdgeCode triangle[] = {EdgeBreaker::EdgeCode_E, EdgeBreaker::EdgeCode_Terminator};
    Faces faces;
    int vertexCounter = INT_MAX - 3;
    decoder.DecompressSubmesh(triangle, 2, &faces, vertexCounter);
    EXPECT_EQ(vertexCounter, INT_MAX);
    EXPECT_EQ(Lists(faces), (std::vector<std::vector<UINT32>>{{INT_MAX - 1u, INT_MAX - 3u, INT_MAX - 2u}}));
}

// Surfaces with the vertices that their cuts must repeat and the pieces that they fall into.
TEST(EdgeBreaker, ShapesAndTheirCuts) {
    const Faces tetrahedron{{{0, 1, 2}}, {{0, 3, 1}}, {{1, 3, 2}}, {{2, 3, 0}}};
    Faces elsewhere = tetrahedron;  // shares vertex 3 alone
    for (TarnMeshFace& face : elsewhere) {
        for (UINT32& vertex : face.v) {
            vertex += 3;
        }
    }
    const Faces plate = Grid(20, 20);
    const struct {
        const char* name;
        Faces faces;
        std::size_t repeats;
        std::size_t pieces;
    } shapes[] = {
        {"triangle", {{{5, 9, 2}}}, 0, 1},
        {"tetrahedron", tetrahedron, 0, 1},
        {"grid", Grid(17, 11), 0, 1},
        {"strip", Grid(40, 1), 0, 1},
        {"sphere", Sphere(20, 12), 0, 1},
        {"two sides of a triangle", {{{0, 1, 2}}, {{2, 1, 0}}}, 0, 1},
        {"two sides of a grid", Joined(Grid(6, 6), Flipped(Grid(6, 6), 1)), 25, 1},  // inner vertices are two
        {"annulus", Annulus(30, 7), 8, 1},                                           // one cut of 7 edges
        {"long tube", Annulus(3, 50), 51, 1},
        {"plate with a hole near its edge", Punch(plate, {20 * 2 + 10}), 3, 1},
        {"plate with two holes near each other", Punch(plate, {20 * 10 + 2, 20 * 10 + 4}), 5, 1},
        {"torus", Torus(12, 9), 11 + 8 + 3, 1},  // loops of 12 and 9; where they cross, one vertex becomes four
        {"two components", Joined(tetrahedron, Faces{{{10, 11, 12}}}), 0, 2},
        {"tetrahedra that share a vertex", Joined(tetrahedron, elsewhere), 1, 2},
        {"bow-tie", {{{0, 1, 2}}, {{0, 3, 4}}}, 1, 2},
        {"grid of touching squares", Punch(Grid(4, 4), {1, 3, 4, 6, 9, 11, 12, 14}), 9, 8},
        {"three faces at an edge", {{{0, 1, 2}}, {{1, 0, 3}}, {{0, 1, 4}}}, 2, 2},
        {"neighbours of opposite winding", {{{0, 1, 2}}, {{0, 1, 3}}}, 2, 2},
        {"the same face three times", {{{0, 1, 2}}, {{0, 1, 2}}, {{1, 2, 0}}}, 6, 3},
        {"degenerate faces", {{{0, 0, 1}}, {{1, 0, 0}}, {{4, 4, 4}}, {{0, 1, 4}}}, 9, 4},
        {"largest indices", {{{0xFFFFFFFF, 0, 0x80000000}}, {{0, 0xFFFFFFFF, 0xFFFFFFFE}}}, 0, 1},
    };
    for (const auto& shape : shapes) {
        std::size_t repeats = 0;
        std::size_t pieces = 0;
        EXPECT_EQ(RoundTrip(shape.faces, &repeats, &pieces), "") << shape.name;
        EXPECT_EQ(repeats, shape.repeats) << shape.name;
        EXPECT_EQ(pieces, shape.pieces) << shape.name;
    }
}

// Shapes for which the best cut is not obvious: they come back, and the cut stays within reason.
TEST(EdgeBreaker, HandlesAndTwists) {
    const Faces moebius = Quads(30, 4, [](UINT32 x, UINT32 y) { return x < 30 ? y * 30 + x : (4 - y) * 30; });
    const Faces klein =
        Quads(12, 10, [](UINT32 x, UINT32 y) { return (x < 12 ? y % 10 : (10 - y) % 10) * 12 + x % 12; });
    const Faces plate = Punch(Grid(40, 40), {40 * 8 + 8, 40 * 8 + 30, 40 * 20 + 20, 40 * 30 + 9, 40 * 31 + 31});
    const struct {
        const char* name;
        Faces faces;
        std::size_t maxRepeats;
    } shapes[] = {
        {"double torus", DoubleTorus(10), 45},
        {"torus with a hole", Punch(Torus(12, 9), {40}), 21},
        {"plate with five holes", plate, 50},
        {"Moebius strip", moebius, 5},
        {"Klein bottle", klein, 25},
        {"every third face flipped", Flipped(Grid(20, 20), 3), 300},
        {"surface twice", Joined(Torus(7, 7), Torus(7, 7)), 49 + 2 * 15},
    };
    for (const auto& shape : shapes) {
        std::size_t repeats = 0;
        EXPECT_EQ(RoundTrip(shape.faces, &repeats), "") << shape.name;
        EXPECT_LE(repeats, shape.maxRepeats) << shape.name;
    }
}

// Any triangles at all. Few vertices make surfaces that touch and repeat themselves everywhere.
TEST(EdgeBreaker, TriangleSoups) {
    for (UINT32 seed = 0; seed < 200; ++seed) {
        EXPECT_EQ(RoundTrip(Soup(seed, 1 + seed % 90, 2 + seed % 23)), "") << "seed " << seed;
    }
    EXPECT_EQ(RoundTrip(Soup(1000, 20000, 40)), "");
    EXPECT_EQ(RoundTrip(Soup(1001, 20000, 5000)), "");
}

}  // namespace
