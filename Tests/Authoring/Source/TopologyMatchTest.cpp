#include "Authoring/Scene/TopologyMatch.h"
#include "Tests/Support/Meshes.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <ctime>
#include <numeric>
#include <random>

using namespace Nimb::Authoring;
using NimbTest::Shuffled;

namespace {

/// n x n vertices in [0, 1]^2 with their texture coordinates, as a wavy height field of a moment.
Mesh Grid(UINT32 n, float moment) {
    Mesh mesh;
    for (UINT32 i = 0; i < n * n; ++i) {
        const float u = static_cast<float>(i % n) / static_cast<float>(n - 1);
        const float v = static_cast<float>(i / n) / static_cast<float>(n - 1);
        mesh.positions.push_back({u, v, std::sin(7 * u + moment) * std::cos(5 * v)});
        mesh.texCoords.push_back({u, v});
    }
    mesh.faces = NimbTest::SheetFaces(n, n);
    return mesh;
}

/// Every face gets vertices of its own.
Mesh Split(const Mesh& mesh) {
    Mesh split;
    for (const TarnMeshFace& face : mesh.faces) {
        const auto base = static_cast<UINT32>(split.positions.size());
        for (const UINT32 v : face.v) {
            split.positions.push_back(mesh.positions[v]);
            split.texCoords.push_back(mesh.texCoords[v]);
        }
        split.faces.push_back({{base, base + 1, base + 2}});
    }
    return split;
}

/// A second copy behind the first, with the same texture coordinates; turned over it is a mirror image.
Mesh WithCopy(const Mesh& mesh, bool isMirrored) {
    Mesh both = mesh;
    const auto base = static_cast<UINT32>(mesh.positions.size());
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        both.positions.push_back({mesh.positions[i].x, mesh.positions[i].y, -3 - mesh.positions[i].z});
        both.texCoords.push_back(mesh.texCoords[i]);
    }
    for (const TarnMeshFace& face : mesh.faces) {
        const UINT32 a = base + face.v[0], b = base + face.v[1], c = base + face.v[2];
        both.faces.push_back(isMirrored ? TarnMeshFace{{a, c, b}} : TarnMeshFace{{a, b, c}});
    }
    return both;
}

/// Whether `mesh` in the topology of `reference` is `expected`.
testing::AssertionResult Matches(const Mesh& reference, const Mesh& mesh, const Mesh& expected) {
    const std::optional<Mesh> found = InTopologyOf(reference, mesh);
    if (!found) {
        return testing::AssertionFailure() << "refused";
    }
    for (std::size_t i = 0; i < expected.positions.size(); ++i) {
        const Vec3 &a = found->positions.at(i), &b = expected.positions[i];
        if (a.x != b.x || a.y != b.y || a.z != b.z) {
            return testing::AssertionFailure() << "vertex " << i << " is another one";
        }
    }
    const auto isSame = [](const TarnMeshFace& f, const TarnMeshFace& g) { return std::equal(f.v, f.v + 3, g.v); };
    const bool hasFaces =
        found->positions.size() == reference.positions.size() &&
        std::equal(found->faces.begin(), found->faces.end(), reference.faces.begin(), reference.faces.end(), isSame);
    return hasFaces ? testing::AssertionSuccess() : testing::AssertionFailure() << "not the reference's faces";
}

}  // namespace

TEST(TopologyMatchTest, FindsVerticesInAnyOrderMergedOrSplit) {
    const Mesh reference = Grid(20, 0), moved = Grid(20, 1);
    EXPECT_TRUE(Matches(reference, moved, moved)) << "the same order";
    EXPECT_TRUE(Matches(reference, Shuffled(moved, 1), moved));
    EXPECT_TRUE(Matches(reference, Shuffled(Split(moved), 2), moved)) << "an exporter that splits";
    EXPECT_TRUE(Matches(Split(reference), Shuffled(moved, 3), Split(moved))) << "one that merges";
    Mesh rounded = Shuffled(moved, 4);
    for (Vec2& uv : rounded.texCoords) {
        uv = {std::round(uv.u * 65535) / 65535, std::round(uv.v * 65535) / 65535};
    }
    EXPECT_TRUE(Matches(reference, rounded, moved)) << "texture coordinates printed with fewer digits";
    const std::optional<Mesh> found = InTopologyOf(reference, rounded);
    EXPECT_EQ(found->texCoords[21].u, reference.texCoords[21].u) << "and those of the reference stay";
}

TEST(TopologyMatchTest, NormalsComeAlongAndTheirMeanWhereVerticesAreMerged) {
    Mesh reference = Grid(3, 0);
    reference.normals.assign(9, Vec3{0, 0, 1});
    EXPECT_FALSE(InTopologyOf(reference, Grid(3, 1))) << "with and without normals are two layouts";
    Mesh moved = Grid(3, 1);
    moved.normals.assign(9, Vec3{0.1F, 0, 0.9F});
    EXPECT_EQ(InTopologyOf(reference, Shuffled(moved, 1))->normals.at(4).x, 0.1F) << "as it stands";
    Mesh split = Split(moved);
    split.normals.assign(split.positions.size(), Vec3{0, 0, 1});
    split.normals[0] = {1, 0, 0};  // The first grid vertex has this corner alone, the second is in two more faces.
    split.normals[1] = {1, 0, 0};
    const std::optional<Mesh> merged = InTopologyOf(reference, split);
    ASSERT_TRUE(merged);
    EXPECT_EQ(merged->normals[0].x, 1.0F);
    EXPECT_GT(merged->normals[1].x, 0.3F);
    EXPECT_GT(merged->normals[1].z, 0.3F);
}

TEST(TopologyMatchTest, SharedTextureIsToldApartByConnectivityOrRefused) {
    // Two layers that share the texture, the second one mirrored: windings tell them apart.
    const Mesh mirrored = WithCopy(Grid(8, 0), true), mirroredMoved = WithCopy(Grid(8, 1), true);
    EXPECT_TRUE(Matches(mirrored, Shuffled(mirroredMoved, 1), mirroredMoved));
    // Two equal layers: nothing says which is which, unless each hangs on something that is there once.
    const Mesh equal = WithCopy(Grid(8, 0), false), equalMoved = WithCopy(Grid(8, 1), false);
    EXPECT_FALSE(InTopologyOf(equal, Shuffled(equalMoved, 2)));
    EXPECT_TRUE(Matches(equal, equalMoved, equalMoved)) << "the same face list needs no search";
    const auto tag = [](Mesh mesh) {
        for (const UINT32 corner : {5U, 64U + 5U}) {
            const auto base = static_cast<UINT32>(mesh.positions.size());
            const float offset = corner < 64 ? 0.301F : 0.601F;
            mesh.positions.insert(mesh.positions.end(), {{9, 9, offset}, {9, 8, offset}});
            mesh.texCoords.insert(mesh.texCoords.end(), {{offset, 0.013F}, {offset, 0.027F}});
            mesh.faces.push_back({{corner, base, base + 1}});
        }
        return mesh;
    };
    EXPECT_TRUE(Matches(tag(equal), Shuffled(tag(equalMoved), 3), tag(equalMoved)));
}

TEST(TopologyMatchTest, OtherSurfacesAreRefused) {
    const Mesh reference = Grid(6, 0);
    Mesh other = Shuffled(Grid(6, 1), 1);
    std::swap(other.faces[3].v[0], other.faces[3].v[1]);
    EXPECT_FALSE(InTopologyOf(reference, other)) << "a face turned over";
    other = Shuffled(Grid(6, 1), 1);
    other.faces.pop_back();
    EXPECT_FALSE(InTopologyOf(reference, other)) << "a face less";
    EXPECT_FALSE(InTopologyOf(other, Shuffled(Grid(6, 1), 2))) << "a face more";
    other = Shuffled(Grid(6, 1), 1);
    other.texCoords[7].u += 0.01F;
    EXPECT_FALSE(InTopologyOf(reference, other)) << "a vertex elsewhere in the texture";
    other = Grid(6, 1);
    other.texCoords[7].u += 0.01F;
    EXPECT_FALSE(InTopologyOf(reference, other)) << "likewise with equal faces";
    // A quad whose diagonal runs the other way.
    other = Shuffled(Grid(6, 1), 1);
    Mesh straight = Grid(6, 1);
    straight.faces[0] = {{0, 1, 7}};
    straight.faces[1] = {{0, 7, 6}};
    EXPECT_FALSE(InTopologyOf(reference, Shuffled(straight, 5)));
    // Split vertices that moved apart: the surface has a hole now.
    other = Split(Grid(6, 1));
    other.positions[4].z += 1;
    EXPECT_FALSE(InTopologyOf(reference, other));
    other.faces[0].v[0] = 1000000;
    EXPECT_THROW(InTopologyOf(reference, other), std::invalid_argument);
}

TEST(TopologyMatchTest, LargeAndDegenerateMeshesTakeLittleTime) {
    const auto seconds = [](const Mesh& reference, const Mesh& mesh, bool isSame) {
        const std::clock_t start = std::clock();  // the processor's time, which others do not use up
        EXPECT_EQ(InTopologyOf(reference, mesh).has_value(), isSame);
        return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    };
    const Mesh grid = Grid(320, 0);  // about 100000 vertices
    const double large = seconds(grid, Shuffled(grid, 1), true);
    Mesh flat = grid;
    flat.texCoords.assign(flat.positions.size(), Vec2{0.5F, 0.5F});
    flat.texCoords[0] = {0, 0};
    flat.texCoords[1] = {1, 0};
    const double allInOnePlace = seconds(flat, Shuffled(flat, 2), false);
    RecordProperty("large_ms", static_cast<int>(large * 1000));
    // Far above what they take, far below anything quadratic, also under sanitizers.
    EXPECT_LT(large, 20);
    EXPECT_LT(allInOnePlace, 20);
}
