// The figures of a comparison of two surfaces, against brute force and against what is known of them.
#include "Authoring/Codec/Vectors.h"
#include "Authoring/Surface/SurfaceComparison.h"
#include "Tests/Support/Meshes.h"

#include <gtest/gtest.h>

#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace NimbTest {
namespace {

using namespace Nimb::Authoring;

SurfaceView ViewOf(const Mesh& mesh) {
    return {mesh.positions, mesh.faces};
}

Mesh Shifted(Mesh mesh, const Vec3& by) {
    for (Vec3& p : mesh.positions) {
        p = {p.x + by.x, p.y + by.y, p.z + by.z};
    }
    return mesh;
}

double BruteDistance(const glm::dvec3& p, const Mesh& to) {
    double nearest = std::numeric_limits<double>::infinity();
    for (const TarnMeshFace& face : to.faces) {
        const auto corner = [&](int i) { return VectorOf(to.positions[face.v[i]]); };
        nearest = std::min(nearest, ClosestPointOfTriangle(p, {corner(0), corner(1), corner(2)}).squaredDistance);
    }
    return std::sqrt(nearest);
}

/// By a grid of points in each triangle, weighted by its area: none of what is tested is in it.
DistanceFigures BruteForce(const Mesh& from, const Mesh& to, int steps) {
    std::vector<std::pair<double, double>> distances;  // and the area that each stands for
    double total = 0, sum = 0, squares = 0;
    for (const TarnMeshFace& face : from.faces) {
        const glm::dvec3 a = VectorOf(from.positions[face.v[0]]), ab = VectorOf(from.positions[face.v[1]]) - a,
                         ac = VectorOf(from.positions[face.v[2]]) - a;
        const double area = glm::length(glm::cross(ab, ac)) / (steps * steps);
        for (int i = 0; i < steps; ++i) {
            for (int j = 0; j < 2 * (steps - i) - 1; ++j) {  // small triangles, upright and upside down
                const double third = j % 2 == 0 ? 1.0 / 3 : 2.0 / 3;
                const double distance =
                    BruteDistance(a + ab * ((i + third) / steps) + ac * ((j / 2 + third) / steps), to);
                distances.emplace_back(distance, area);
                total += area;
                sum += area * distance;
                squares += area * distance * distance;
            }
        }
    }
    std::sort(distances.begin(), distances.end());
    const auto percentile = [&](double share) {
        double passed = 0;
        for (const auto& [distance, area] : distances) {
            passed += area;
            if (passed >= share * total) {
                return distance;
            }
        }
        return distances.back().first;
    };
    DistanceFigures figures{sum / total, std::sqrt(squares / total), percentile(0.95), percentile(0.99), 0};
    for (const TarnMeshFace& face : from.faces) {  // the largest is on an edge
        for (int edge = 0; edge < 3; ++edge) {
            const glm::dvec3 a = VectorOf(from.positions[face.v[edge]]),
                             b = VectorOf(from.positions[face.v[(edge + 1) % 3]]);
            for (int i = 0; i <= 500; ++i) {
                figures.largest = std::max(figures.largest, BruteDistance(a + (b - a) * (i / 500.0), to));
            }
        }
    }
    figures.largest = std::max(figures.largest, distances.back().first);
    return figures;
}

void ExpectNear(const DistanceFigures& a, const DistanceFigures& b) {
    EXPECT_NEAR(a.mean / b.mean, 1, 1e-3);
    EXPECT_NEAR(a.rms / b.rms, 1, 1e-3);
    EXPECT_NEAR(a.percentile95 / b.percentile95, 1, 1e-3);
    EXPECT_NEAR(a.percentile99 / b.percentile99, 1, 1e-3);
    EXPECT_NEAR(a.largest / b.largest, 1, 1e-3);
}

TEST(SurfaceComparison, FiguresAgreeWithBruteForceToAThousandth) {
    const Mesh source = MakeSheet(4, 3), other = Shifted(MakeSheet(3, 4, 2), {0.02f, -0.01f, 0.05f});
    const SurfaceComparison comparison = CompareSurfaces(ViewOf(source), ViewOf(other));
    const DistanceFigures forth = BruteForce(source, other, 40), back = BruteForce(other, source, 40);
    ExpectNear(comparison.fromSource.distance, forth);
    ExpectNear(comparison.fromOther.distance, back);
    EXPECT_EQ(comparison.distance.mean,
              std::max(comparison.fromSource.distance.mean, comparison.fromOther.distance.mean));
    const double rms = std::max(forth.rms, back.rms);
    EXPECT_NEAR(comparison.pointPsnr, 20 * std::log10(comparison.peak / rms), 0.01);
    EXPECT_GE(comparison.planePsnr, comparison.pointPsnr);
    ASSERT_EQ(comparison.fromSource.vertexDistances.size(), source.positions.size());
    for (std::size_t i = 0; i < source.positions.size(); ++i) {
        EXPECT_NEAR(comparison.fromSource.vertexDistances[i], BruteDistance(VectorOf(source.positions[i]), other),
                    1e-6);
    }
}

TEST(SurfaceComparison, AFlatSheetThatMovesOnlyAlongItselfHasNoErrorInItsPlane) {
    Mesh sheet = MakeSheet(9, 9);
    for (Vec3& p : sheet.positions) {
        p.z = 0;
    }
    const SurfaceComparison along = CompareSurfaces(ViewOf(sheet), ViewOf(Shifted(sheet, {0.25f, 0, 0})));
    EXPECT_GT(along.distance.largest, 0.2);
    EXPECT_TRUE(std::isinf(along.planePsnr));
    EXPECT_FALSE(std::isinf(along.pointPsnr));
    // A unit square that is 1/100 away: the peak is its diagonal.
    const SurfaceComparison across = CompareSurfaces(ViewOf(sheet), ViewOf(Shifted(sheet, {0, 0, 0.01f})));
    EXPECT_NEAR(across.distance.mean, 0.01, 1e-8);
    EXPECT_NEAR(across.pointPsnr, 10 * std::log10(2 / 1e-4), 1e-4);
    EXPECT_NEAR(across.planePsnr, across.pointPsnr, 1e-4);
    EXPECT_TRUE(std::isinf(CompareSurfaces(ViewOf(sheet), ViewOf(Shuffled(sheet, 3))).pointPsnr));
    // A small plane at an angle over the sheet: the nearest points of the sheet are straight below, along its normal.
    Mesh tilted = Shifted(sheet, {-0.5f, -0.5f, 0});
    for (Vec3& p : tilted.positions) {
        p = {p.x / 4 + 0.5f, p.y / 4 + 0.5f, 0.5f + p.x / 4};
    }
    const SurfaceDirection down = CompareSurfaces(ViewOf(sheet), ViewOf(tilted)).fromOther;
    EXPECT_NEAR(down.planeRms, down.distance.rms, 1e-6);
}

TEST(SurfaceComparison, OnlyFacesThatLookTheOtherWayAreFlipped) {
    // Two layers, closer than what counts as about as near, each with an outside.
    Mesh source = MakeSheet(9, 9);
    const Mesh back = Shifted(source, {0, 0, -0.002f});
    const auto first = static_cast<UINT32>(source.positions.size());
    source.positions.insert(source.positions.end(), back.positions.begin(), back.positions.end());
    for (const TarnMeshFace& face : back.faces) {
        source.faces.push_back({{face.v[0] + first, face.v[2] + first, face.v[1] + first}});
    }
    EXPECT_EQ(CompareSurfaces(ViewOf(source), ViewOf(Shifted(source, {0, 0, 0.0015f}))).fromOther.flippedShare, 0);
    Mesh flipped = MakeSheet(9, 9);
    const std::size_t quarter = flipped.faces.size() / 4;
    for (std::size_t i = 0; i < quarter; ++i) {
        std::swap(flipped.faces[i].v[0], flipped.faces[i].v[1]);
    }
    const double share = CompareSurfaces(ViewOf(MakeSheet(9, 9)), ViewOf(flipped)).fromOther.flippedShare;
    EXPECT_NEAR(share, 0.25, 0.03);  // by area
}

TEST(SurfaceComparison, WhatIsMissingIsInfinitelyFarAway) {
    const Mesh sheet = MakeSheet(4, 4), nothing;
    const SurfaceComparison lost = CompareSurfaces(ViewOf(sheet), ViewOf(nothing));
    EXPECT_TRUE(std::isinf(lost.distance.mean));
    EXPECT_TRUE(std::isinf(lost.distance.percentile95));
    EXPECT_EQ(lost.fromOther.distance.largest, 0);
    EXPECT_EQ(lost.pointPsnr, -std::numeric_limits<double>::infinity());
    EXPECT_EQ(CompareSurfaces(ViewOf(nothing), ViewOf(nothing)).distance.largest, 0);

    // Triangles without an area are measured by their corners.
    Mesh line;
    line.positions = {{0, 0, 1}, {0.1f, 0, 1}, {0.2f, 0, 1}};
    line.faces = {{{0, 1, 2}}};
    EXPECT_NEAR(CompareSurfaces(ViewOf(line), ViewOf(Shifted(line, {0, 1, 0}))).distance.mean, 1, 1e-6);

    Mesh broken = sheet;
    broken.faces[3].v[1] = 1000;
    EXPECT_THROW(CompareSurfaces(ViewOf(sheet), ViewOf(broken)), std::invalid_argument);
    broken = sheet;
    broken.positions[5].y = std::numeric_limits<float>::quiet_NaN();
    EXPECT_THROW(CompareSurfaces(ViewOf(broken), ViewOf(sheet)), std::invalid_argument);
}

}  // namespace
}  // namespace NimbTest
