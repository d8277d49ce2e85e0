// Steps of tracking by themselves: valleys, what is far off, ways through time, and texels.
#include "Authoring/Track/KeyFitness.h"
#include "Authoring/Track/OutlierFit.h"
#include "Authoring/Track/TexelFit.h"
#include "Authoring/Track/TrajectorySmoother.h"

#include <gtest/gtest.h>
#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace Nimb::Authoring;

/// A sheet of 5 mm squares, `rows` along y, as far as `columns` along x; its right half is turned up by `fold`.
Mesh Sheet(UINT32 rows, UINT32 columns, double fold = 0) {
    Mesh mesh;
    for (UINT32 y = 0; y <= rows; ++y) {
        for (UINT32 x = 0; x <= columns; ++x) {
            const double beyond = std::max(0.005 * (x - columns / 2.0), 0.0);
            mesh.positions.push_back({static_cast<float>(0.005 * x - beyond * (1 - std::cos(fold))),
                                      0.005F * static_cast<float>(y), static_cast<float>(beyond * std::sin(fold))});
            mesh.texCoords.push_back({0, 0});
        }
    }
    for (UINT32 y = 0; y < rows; ++y) {
        for (UINT32 x = 0; x < columns; ++x) {
            const UINT32 a = y * (columns + 1) + x, b = a + columns + 1;
            mesh.faces.push_back({{a, a + 1, b}});
            mesh.faces.push_back({{a + 1, b + 1, b}});
        }
    }
    return mesh;
}

TEST(KeyFitness, ValleysCountAndRidgesDoNot) {
    const auto length = [](double fold) { return CreaseLength(WeldByPlace(Sheet(20, 20, fold))); };
    EXPECT_NEAR(length(1.3), 0.1, 1e-6);
    EXPECT_EQ(length(0.8), 0);
    EXPECT_EQ(length(-1.3), 0);
    EXPECT_GT(KeyFitness(WeldByPlace(Sheet(20, 20))), KeyFitness(WeldByPlace(Sheet(20, 20, 1.3))));
    Mesh large = Sheet(20, 20, 1.3);
    for (Vec3& p : large.positions) {
        p = {100 * p.x, 100 * p.y, 100 * p.z};
    }
    EXPECT_NEAR(KeyFitness(WeldByPlace(large)), KeyFitness(WeldByPlace(Sheet(20, 20, 1.3))), 1e-3);
}

TEST(FitOutliers, WhatIsOutsideComesToTheSurfaceAndTheRestStays) {
    const Mesh mesh = Sheet(40, 40);
    const KeySurface key(mesh);
    const TargetSurface target(mesh);
    Points positions = key.surface.positions;
    const auto at = [](UINT32 x, UINT32 y) { return y * 41 + x; };
    positions[at(20, 20)].z += 0.006;  // alone
    for (UINT32 x = 8; x < 12; ++x) {  // a patch
        for (UINT32 y = 8; y < 12; ++y) {
            positions[at(x, y)].z += 0.006;
        }
    }
    positions[at(38, 38)].z += 0.2;  // lost
    ClosestPoint closest(mesh.positions, mesh.faces);
    FitOutliers(key, target, closest, positions);
    EXPECT_GT(positions[at(38, 38)].z, 0.15);
    EXPECT_LT(std::abs(positions[at(20, 20)].z), 0.003);
    EXPECT_LT(std::abs(positions[at(10, 10)].z), 0.002);
    EXPECT_LT(glm::distance(positions[at(15, 30)], key.surface.positions[at(15, 30)]), 1e-5);
}

/// A spike of the frame between vertices of the key, all of which are on the frame's surface.
TEST(FitOutliers, TheFramesPlacesAskForWhatTheKeysDoNotSee) {
    const Mesh mesh = Sheet(40, 40);
    const KeySurface key(mesh);
    Mesh spiked = mesh;
    const TarnMeshFace face = mesh.faces[2 * (20 * 40 + 20)];
    const auto tip = static_cast<UINT32>(spiked.positions.size());
    const Vec3& corner = mesh.positions[face.v[0]];
    spiked.positions.push_back({corner.x + 0.0015F, corner.y + 0.0015F, 0.004F});
    spiked.texCoords.push_back({0, 0});
    spiked.faces[2 * (20 * 40 + 20)] = {{face.v[0], face.v[1], tip}};
    spiked.faces.push_back({{face.v[1], face.v[2], tip}});
    spiked.faces.push_back({{face.v[2], face.v[0], tip}});
    Points positions = key.surface.positions;
    ClosestPoint closest(mesh.positions, mesh.faces);
    FitOutliers(key, TargetSurface(spiked), closest, positions);
    EXPECT_GT(positions[face.v[0]].z, 0.001);
}

/// What touched in the key frame and is apart now: corners on either sheet, and a web of large faces between them.
TEST(FitOutliers, AWebBetweenTwoSheetsIsDrawnToOne) {
    const Mesh mesh = Sheet(40, 40);
    const KeySurface key(mesh);
    Mesh sheets = mesh;
    const auto above = static_cast<UINT32>(mesh.positions.size());
    for (const Vec3& p : mesh.positions) {
        sheets.positions.push_back({p.x, p.y, p.z + 0.01F});
        sheets.texCoords.push_back({0, 0});
    }
    for (const TarnMeshFace& face : mesh.faces) {
        sheets.faces.push_back({{face.v[0] + above, face.v[1] + above, face.v[2] + above}});
    }
    Points positions = key.surface.positions;
    for (glm::dvec3& p : positions) {
        p.z = p.x > 0.1001 ? 0.01 : 0;
    }
    const glm::dvec3 before = positions[20 * 41 + 21];
    ClosestPoint closest(mesh.positions, mesh.faces);
    FitOutliers(key, TargetSurface(sheets), closest, positions);
    EXPECT_LT(positions[20 * 41 + 21].z, before.z - 0.001);
}

TEST(TrajectorySmoother, TakesNoiseFromAMotionAndKeepsItsLimit) {
    constexpr std::size_t count = 60;
    std::mt19937 random(7);
    std::normal_distribution<double> normal(0, 0.0003);
    Points truth, noisy, normals(count, glm::dvec3(0, 0, 1));
    for (std::size_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / 30;
        truth.emplace_back(0.3 * std::sin(2 * t), 0.3 * std::cos(2 * t), 0.5 * t - 4.9 * t * t);
        noisy.push_back(truth.back() + glm::dvec3(normal(random), normal(random), normal(random)));
    }
    const auto off = [&](const Points& way) {
        double sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
            sum += glm::dot(way[i] - truth[i], way[i] - truth[i]);
        }
        return std::sqrt(sum / count);
    };
    TrajectorySmoother smoother(count);
    EXPECT_LT(off(smoother.Smooth(noisy, normals, 0.001)), 0.65 * off(noisy));
    EXPECT_LT(off(smoother.Smooth(truth, normals, 0.001)), 2e-5);

    Points jump = truth;
    for (std::size_t i = 30; i < count; ++i) {
        jump[i].z += 0.05;
    }
    const Points smooth = smoother.Smooth(jump, normals, 0.0003);
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_LT(std::abs(smooth[i].z - jump[i].z), 0.0006) << i;
    }
    TrajectorySmoother three(3);
    const Points few(noisy.begin(), noisy.begin() + 3);
    EXPECT_LT(glm::distance(three.Smooth(few, normals, 0.001)[1], few[1]), 1e-12);
}

/// Stripes of six texels, in a block that ends inside the picture and with it.
TEST(TexelFit, TexelsAtTheRimAreFittedToo) {
    constexpr std::size_t size = 24, first = 4;
    const auto stripe = [](double y) { return static_cast<float>(127.5 + 100 * std::cos(y * 6.2831853 / 6)); };
    TexelFit fit({size, size});
    for (std::size_t y = first; y < size; ++y) {
        for (std::size_t x = first; x < size; ++x) {
            TexelFit::Colours colours;
            for (std::size_t i = 0; i < colours.size(); ++i) {
                colours[i] = glm::vec4(stripe(static_cast<double>(y) + 0.5 + c_FittedPlaces[i].y));
            }
            fit.Add(y * size + x, colours);
        }
    }
    const Image picture = fit.Solve();
    const auto crest = [&](std::size_t x) { return static_cast<int>(picture.Pixel(x, 12)[0]); };
    const auto mean = static_cast<int>(stripe(12.5 + c_GaussPlace) + stripe(12.5 - c_GaussPlace)) / 2;
    EXPECT_GT(crest(12), mean + 6);
    EXPECT_GT(crest(first), mean + 6);
    EXPECT_GT(crest(first), crest(12) - 6);
}

}  // namespace
