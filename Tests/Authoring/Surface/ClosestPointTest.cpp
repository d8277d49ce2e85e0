// Searches for nearest points, against a look at all triangles.
#include "Authoring/Surface/ClosestPoint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <stdexcept>

namespace NimbTest {
namespace {

using namespace Nimb::Authoring;

/// Neighbours share corners, so that many points have several triangles that are as near.
Mesh RoughSheet(UINT32 side, std::mt19937& random) {
    std::uniform_real_distribution<float> height(0, 2);
    Mesh mesh;
    for (UINT32 i = 0; i < (side + 1) * (side + 1); ++i) {
        mesh.positions.push_back(
            {static_cast<float>(i % (side + 1)), static_cast<float>(i / (side + 1)), height(random)});
    }
    for (UINT32 i = 0; i < side * side; ++i) {
        const UINT32 a = i / side * (side + 1) + i % side, b = a + side + 1;
        mesh.faces.push_back({{a, a + 1, b}});
        mesh.faces.push_back({{a + 1, b + 1, b}});
    }
    return mesh;
}

SurfacePoint First(const glm::dvec3& point, const Mesh& mesh, const glm::dvec3* facing) {
    SurfacePoint best;
    for (UINT32 f = 0; f < mesh.faces.size(); ++f) {
        const TriangleCorners corners = TriangleOf(mesh.positions, mesh.faces[f]);
        SurfacePoint found = ClosestPointOfTriangle(point, corners);
        if (found.squaredDistance < best.squaredDistance &&
            (facing == nullptr || glm::dot(AreaVector(corners), *facing) > 0)) {
            best = found;
            best.face = f;
        }
    }
    return best;
}

void ExpectFirst(const ClosestPoint& tree, const Mesh& mesh, std::mt19937& random) {
    std::uniform_real_distribution<double> place(-2, 12), direction(-1, 1);
    for (int i = 0; i < 300; ++i) {
        const glm::dvec3 point{place(random), place(random), place(random)};
        const glm::dvec3 normal{direction(random), direction(random), direction(random)};
        const SurfacePoint found = tree.To(point), expected = First(point, mesh, nullptr);
        EXPECT_EQ(found.squaredDistance, expected.squaredDistance);
        EXPECT_EQ(found.face, expected.face);
        EXPECT_EQ(tree.Facing(point, normal).face, First(point, mesh, &normal).face);
        EXPECT_FALSE(tree.To(point, 0.99 * std::sqrt(expected.squaredDistance)));
    }
}

TEST(ClosestPoint, TheFirstOfTheNearestTrianglesIsFoundAlsoAfterAMove) {
    std::mt19937 random(3);
    for (const UINT32 side : {1U, 2U, 10U}) {
        Mesh mesh = RoughSheet(side, random);
        ClosestPoint tree(mesh.positions, mesh.faces);
        ExpectFirst(tree, mesh, random);
        mesh.positions = RoughSheet(side, random).positions;
        tree.Move(mesh.positions, mesh.faces);
        ExpectFirst(tree, mesh, random);
        mesh.faces.resize(1);
        EXPECT_THROW(tree.Move(mesh.positions, mesh.faces), std::invalid_argument);
        ExpectFirst(ClosestPoint(mesh.positions, mesh.faces), mesh, random);
    }
}

TEST(ClosestPoint, WhatIsAsFarAwayAsTheLimitIsNotFound) {
    const ClosestPoint tree({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}});
    EXPECT_FALSE(tree.To({0, 0, 2}, 2));
    EXPECT_TRUE(tree.To({0, 0, 2}, 2.001));
    EXPECT_FALSE(tree.To({0, 0, 0}, 0));
}

}  // namespace
}  // namespace NimbTest
