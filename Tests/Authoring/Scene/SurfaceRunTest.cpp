// Frames that lack a sliver or have one more, and meshes made to take long. (Whole captures: CaptureTest.)
#include "Authoring/Scene/SurfaceDistance.h"
#include "Authoring/Scene/SurfaceRun.h"
#include "Tests/Support/Meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

using namespace Nimb::Authoring;
using NimbTest::Shuffled;

namespace {

constexpr UINT32 c_Columns = 8;
constexpr double c_Limit = 1e-3;

/// The corner vertex 0 and its one face stand out from the straight edge behind them by `height`.
Mesh SheetWithSliver(float height) {
    Mesh mesh = NimbTest::MakeSheet(c_Columns, c_Columns);
    const Vec3 &a = mesh.positions[1], &b = mesh.positions[c_Columns];
    mesh.positions[0] = {(a.x + b.x) / 2 - height, (a.y + b.y) / 2 - height, (a.z + b.z) / 2};
    return mesh;
}

Mesh WithoutFirst(Mesh mesh) {
    mesh.positions.erase(mesh.positions.begin());
    mesh.texCoords.erase(mesh.texCoords.begin());
    mesh.normals.erase(mesh.normals.begin());
    mesh.faces.erase(mesh.faces.begin());
    for (TarnMeshFace& face : mesh.faces) {
        face = {{face.v[0] - 1, face.v[1] - 1, face.v[2] - 1}};
    }
    return mesh;
}

Mesh Shifted(Mesh mesh) {
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        mesh.positions[i].x += 0.5F;
        mesh.normals[i].y += 1;
    }
    return mesh;
}

TEST(SurfaceRunTest, ASliverMoreOrLessJoinsAsLongAsItKeepsTheLimit) {
    const Mesh reference = SheetWithSliver(5e-4F), later = Shifted(reference);
    SurfaceRun run(reference);
    const SurfaceMatch match = run.Add(Shuffled(WithoutFirst(later), 3), c_Limit);
    ASSERT_TRUE(match.joined);
    EXPECT_EQ(match.difference.differing, 1U);
    EXPECT_GT(match.distance, 5e-4) << "the height, along the diagonal";
    EXPECT_LE(match.distance, c_Limit);
    run.Finish();
    const Pose& pose = run.Poses().back();
    for (std::size_t i = 0; i < pose.positions.size(); ++i) {
        EXPECT_NEAR(pose.positions[i].x, later.positions[i].x, 1e-6) << "what is missing moves with its neighbours";
        EXPECT_EQ(pose.normals[i].y, (i == 0 ? reference : later).normals[i].y) << i;
    }
    EXPECT_TRUE(SurfaceRun(WithoutFirst(reference)).Add(Shuffled(later, 4), c_Limit).joined);

    const Mesh high = SheetWithSliver(2e-3F);
    EXPECT_FALSE(SurfaceRun(high).Add(Shuffled(WithoutFirst(high), 3), c_Limit).joined);
    EXPECT_FALSE(SurfaceRun(WithoutFirst(high)).Add(Shuffled(high, 3), c_Limit).joined);
}

TEST(SurfaceRunTest, NormalsOfVerticesThatCoincideAreAveraged) {
    const Mesh reference = NimbTest::MakeSheet(c_Columns, c_Columns);
    Mesh split = reference;
    split.positions.push_back(split.positions[9]);
    split.texCoords.push_back(split.texCoords[9]);
    split.normals[9] = {1, 0, 0};
    split.normals.push_back({0, 1, 0});
    split.faces[0].v[0] = split.faces[0].v[0] == 9 ? 64U : split.faces[0].v[0];
    SurfaceRun run(reference);
    ASSERT_TRUE(run.Add(Shuffled(split, 1), c_Limit).joined);
    run.Finish();
    EXPECT_NEAR(run.Poses()[1].normals[9].x, std::sqrt(0.5), 1e-6);
    EXPECT_NEAR(run.Poses()[1].normals[9].y, std::sqrt(0.5), 1e-6);
    EXPECT_EQ(run.Poses()[1].normals[10].x, reference.normals[10].x) << "as it stands";
}

/// Fans around two hubs with the same texture coordinates, so that hubs are told apart by their neighbours alone. All
/// of the rim lies in one place if it is `folded`.
Mesh Fans(UINT32 rim, bool isFolded) {
    Mesh mesh;
    for (const float side : {0.0F, 1.0F}) {
        const auto hub = static_cast<UINT32>(mesh.positions.size());
        mesh.positions.push_back({side, side, 1});
        mesh.texCoords.push_back({0.5F, 0.5F});
        for (UINT32 i = 0; i < rim; ++i) {
            mesh.positions.push_back({side, isFolded ? 0 : static_cast<float>(i), 0});
            mesh.texCoords.push_back(
                {static_cast<float>(i % 600) / 600, static_cast<float>(i / 600) / 600 + side / 1200});
            if (i > 0) {
                mesh.faces.push_back({{hub, hub + i, hub + i + 1}});
            }
        }
    }
    return mesh;
}

// Without bounds each would take minutes or for ever; the time limit of the test program is what they are held to.
TEST(SurfaceRunTest, MeshesMadeToTakeLongAreDealtWithInTime) {
    for (const bool isFolded : {false, true}) {
        const Mesh fans = Fans(100000, isFolded);
        EXPECT_TRUE(SurfaceRun(fans).Add(Shuffled(fans, 1), c_Limit).joined || isFolded);
    }
    Mesh stacked = Fans(100000, true);
    stacked.texCoords.assign(stacked.texCoords.size(), {0.25F, 0.25F});
    EXPECT_FALSE(SurfaceRun(stacked).Add(Shuffled(stacked, 1), c_Limit).joined);
    std::vector<TarnMeshFace> same(100000, TarnMeshFace{{0, 1, 2}});
    Mesh repeated = NimbTest::MakeSheet(3, 3);
    repeated.faces = same;
    EXPECT_FALSE(SurfaceRun(repeated).Add(Shuffled(repeated, 1), c_Limit).joined);

    const std::vector<Vec3> positions{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0.25F, 0.75F, 0}};
    const std::vector<TarnMeshFace> whole(2000, TarnMeshFace{{0, 1, 2}});
    std::vector<UINT32> all(whole.size());
    std::iota(all.begin(), all.end(), 0U);
    EXPECT_EQ(LargestDistance({positions, whole}, all, {positions, whole}, 1e-9), std::nullopt) << "too many";
    // Pieces that lie across the seam between the halves are never near one of them alone.
    const std::vector<TarnMeshFace> halves{{{0, 1, 3}}, {{0, 3, 2}}};
    EXPECT_EQ(LargestDistance({positions, whole}, {0}, {positions, halves}, 1e-9), std::nullopt) << "too small a limit";
    EXPECT_NEAR(LargestDistance({positions, whole}, {0}, {positions, halves}, 1e-2).value_or(1), 0, 1e-9);
}

}  // namespace
