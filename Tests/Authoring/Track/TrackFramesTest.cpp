// Limbs that bend, meshed anew in every frame, and what becomes of them in one topology.
#include "Authoring/Track/TrackFrames.h"

#include "Authoring/Surface/ClosestPoint.h"
#include "Authoring/Track/KeyFitness.h"
#include "Authoring/Track/TrackMeasure.h"
#include "Authoring/Track/TrackedSurface.h"
#include "Tests/Support/Meshes.h"

#include <gtest/gtest.h>
#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

using namespace Nimb::Authoring;

constexpr double c_Pi = 3.14159265358979;
constexpr double c_Length = 0.8, c_Radius = 0.05;

/// A tube with round ends along an arc of `bend` radians, cut into `along` rings of `around` corners, turned by
/// `phase` of a corner.
Mesh Limb(double bend, UINT32 along, UINT32 around, double phase) {
    const auto centre = [bend](double s) {
        const double radius = c_Length / bend;
        return glm::dvec3(radius * std::sin(s * bend), radius * (1 - std::cos(s * bend)), 0);
    };
    Mesh mesh;
    const auto add = [&mesh](const glm::dvec3& p) {
        mesh.positions.push_back({static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)});
        mesh.texCoords.push_back({0.5F, 0.5F});
    };
    add(centre(0) - c_Radius * glm::dvec3(1, 0, 0));
    for (UINT32 i = 1; i < along; ++i) {
        // Ends are half spheres: the first and the last radius of the way.
        const double way = static_cast<double>(i) / along * (c_Length + 2 * c_Radius) - c_Radius;
        const double s = std::clamp(way, 0.0, c_Length) / c_Length;
        const double beyond = way - s * c_Length;
        const double radius = std::sqrt(c_Radius * c_Radius - beyond * beyond);
        const glm::dvec3 tangent(std::cos(s * bend), std::sin(s * bend), 0), side(-tangent.y, tangent.x, 0);
        for (UINT32 k = 0; k < around; ++k) {
            const double angle = (k + phase) / around * 2 * c_Pi;
            add(centre(s) + tangent * beyond +
                radius * (std::cos(angle) * side + std::sin(angle) * glm::dvec3(0, 0, 1)));
        }
    }
    add(centre(1) + c_Radius * glm::dvec3(std::cos(bend), std::sin(bend), 0));
    const auto last = static_cast<UINT32>(mesh.positions.size() - 1);
    for (UINT32 k = 0; k < around; ++k) {
        const UINT32 next = (k + 1) % around;
        mesh.faces.push_back({{0, 1 + next, 1 + k}});
        mesh.faces.push_back({{last, last - around + k, last - around + next}});
        for (UINT32 i = 0; i + 2 < along; ++i) {
            const UINT32 a = 1 + i * around;
            mesh.faces.push_back({{a + k, a + next, a + around + k}});
            mesh.faces.push_back({{a + next, a + around + next, a + around + k}});
        }
    }
    return mesh;
}

/// No two with the same number of rings, or turned alike.
Mesh LimbOfFrame(std::size_t frame) {
    const auto n = static_cast<UINT32>(frame);
    return Limb(0.4 + 0.05 * n, 61 + n % 5, 22 + n % 3, 0.37 * n);
}

std::vector<TrackedRun> TrackLimbs(std::size_t count, const std::function<Mesh(std::size_t)>& load,
                                   std::size_t threads = 2, double p95 = 0.001) {
    const std::atomic<bool> stop{false};
    return TrackFrames(count, load, {p95, 0.005}, threads, stop, [](std::size_t) {});
}

TEST(TrackFrames, ABendingLimbIsOneRunThatShowsEachFrame) {
    const std::vector<TrackedRun> runs = TrackLimbs(9, LimbOfFrame);
    ASSERT_EQ(runs.size(), 1U);
    const TrackedRun& run = runs.front();
    EXPECT_EQ(run.key, 4U);
    ASSERT_EQ(run.poses.size(), 9U);
    for (std::size_t i = 0; i < run.poses.size(); ++i) {
        ASSERT_EQ(run.poses[i].positions.size(), run.topology.texCoords.size());
        EXPECT_LT(run.qualities[i].p95, 0.001) << i;
        // By another yardstick, too: the middles of the tracked triangles on a fine mesh of the frame, and its ends.
        const Mesh fine = Limb(0.4 + 0.05 * static_cast<double>(i), 200, 96, 0);
        const ClosestPoint truth(fine.positions, fine.faces), tracked(run.poses[i].positions, run.topology.faces);
        for (const Vec3& p : run.poses[i].positions) {
            EXPECT_LT(truth.To({p.x, p.y, p.z}).squaredDistance, 0.002 * 0.002) << i;
        }
        for (const Vec3& p : {fine.positions.front(), fine.positions.back()}) {
            EXPECT_LT(tracked.To({p.x, p.y, p.z}).squaredDistance, 0.002 * 0.002) << i;
        }
    }
}

TEST(TrackFrames, AForeignFrameIsARunOfItsOwn) {
    const auto load = [](std::size_t frame) {
        Mesh mesh = LimbOfFrame(frame);
        if (frame == 5) {
            for (Vec3& p : mesh.positions) {
                p = {p.x * 0.8F, p.z, p.y * 1.3F};
            }
        }
        return mesh;
    };
    std::vector<std::array<std::size_t, 2>> ranges;
    for (const TrackedRun& run : TrackLimbs(9, load)) {
        ranges.push_back({run.first, run.poses.size()});
    }
    EXPECT_EQ(ranges, (std::vector<std::array<std::size_t, 2>>{{0, 5}, {5, 1}, {6, 3}}));
}

TEST(TrackFrames, ALimbIsFollowedAsItTurnsFasterAndFaster) {
    // Away from the key frame, four, its end moves by 16 cm in the first frame, by 40 in the last.
    constexpr std::size_t key = 4;
    const auto load = [](std::size_t frame) {
        Mesh mesh = Limb(0.3, 61 + static_cast<UINT32>(frame) % 5, 22 + static_cast<UINT32>(frame) % 3,
                         0.37 * static_cast<double>(frame));
        const auto away = static_cast<double>(frame < key ? key - frame : frame - key);
        const double turn = (frame < key ? -1 : 1) * (0.2 * away + 0.05 * away * (away - 1));
        for (Vec3& p : mesh.positions) {
            const double x = p.x, y = p.y;
            p.x = static_cast<float>(std::cos(turn) * x - std::sin(turn) * y);
            p.y = static_cast<float>(std::sin(turn) * x + std::cos(turn) * y);
        }
        return mesh;
    };
    const std::vector<TrackedRun> runs = TrackLimbs(9, load);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs.front().key, key);
    EXPECT_LT(runs.front().qualities.front().p95, 0.001);
    EXPECT_LT(runs.front().qualities.back().p95, 0.001);
}

/// Two limbs side by side; joined by a tube of six faces, or not.
Mesh TwoLimbs(double bend, bool areJoined) {
    Mesh two = Limb(bend, 41, 22, 0);
    const std::vector<TarnMeshFace> faces = two.faces;
    const auto base = static_cast<UINT32>(two.positions.size());
    for (UINT32 v = 0; v < base; ++v) {
        two.positions.push_back({two.positions[v].x, two.positions[v].y, two.positions[v].z + 0.13F});
        two.texCoords.push_back(two.texCoords[v]);
    }
    for (const TarnMeshFace& face : faces) {
        two.faces.push_back({{face.v[0] + base, face.v[1] + base, face.v[2] + base}});
    }
    if (areJoined) {
        const std::size_t from = 500, to = faces.size() + 540;
        const TarnMeshFace a = two.faces[from], b = two.faces[to];
        for (std::size_t i = 0; i < 3; ++i) {
            const UINT32 a0 = a.v[i], a1 = a.v[(i + 1) % 3], b0 = b.v[(3 - i) % 3], b1 = b.v[(5 - i) % 3];
            two.faces.push_back({{a0, a1, b0}});
            two.faces.push_back({{a1, b1, b0}});
        }
        two.faces.erase(two.faces.begin() + static_cast<std::ptrdiff_t>(to));
        two.faces.erase(two.faces.begin() + static_cast<std::ptrdiff_t>(from));
    }
    return two;
}

TEST(TrackFrames, TheKeyFrameIsOneInWhichLimbsAreApart) {
    const std::vector<TrackedRun> runs =
        TrackLimbs(5, [](std::size_t frame) { return TwoLimbs(0.3 + 0.02 * static_cast<double>(frame), frame != 1); });
    const auto has = [](const TrackedRun& run) { return run.first <= 1 && 1 < run.first + run.poses.size(); };
    const auto found = std::find_if(runs.begin(), runs.end(), has);
    ASSERT_NE(found, runs.end());
    EXPECT_EQ(found->key, 1U);
    EXPECT_GT(found->poses.size(), 1U);
}

TEST(MeasureTrack, WhatIsLostOrTornCountsAndHolesDoNot) {
    const TrackOptions options;
    const Mesh limb = Limb(0.3, 41, 22, 0);
    const KeySurface key(limb);
    const auto patch = [&](const Points& positions, const Mesh& frame) {
        return MeasureTrack(key, positions, TargetSurface(frame), options).patch;
    };
    EXPECT_LT(patch(key.surface.positions, limb), 1e-6);
    EXPECT_GT(patch(key.surface.positions, TwoLimbs(0.3, false)), 0.1) << "a limb that the key frame does not have";

    Mesh holed = limb;
    holed.faces.erase(holed.faces.begin() + 400, holed.faces.begin() + 404);
    EXPECT_LT(patch(key.surface.positions, holed), 1e-6);

    // Torn apart in the frame: the key frame's faces between the halves become a web.
    Mesh torn = limb;
    const auto isFar = [&](UINT32 v) { return v > limb.positions.size() / 2; };
    for (UINT32 v = 0; v < torn.positions.size(); ++v) {
        torn.positions[v].z += isFar(v) ? 0.3F : 0;
    }
    const Points moved = WeldByPlace(torn).positions;
    torn.faces.erase(std::remove_if(torn.faces.begin(), torn.faces.end(),
                                    [&](const TarnMeshFace& f) {
                                        return isFar(f.v[0]) != isFar(f.v[1]) || isFar(f.v[0]) != isFar(f.v[2]);
                                    }),
                     torn.faces.end());
    EXPECT_GT(patch(moved, torn), 0.04);

    // All in one place, on either side: nothing is as far away as it gets.
    Mesh point = limb;
    point.positions.assign(limb.positions.size(), Vec3{});
    EXPECT_TRUE(std::isinf(patch(key.surface.positions, point)));
    const KeySurface none(point);
    EXPECT_TRUE(std::isinf(MeasureTrack(none, none.surface.positions, TargetSurface(limb), options).patch));
}

TEST(TrackFrames, TheNumberOfThreadsDoesNotMatter) {
    const std::vector<TrackedRun> one = TrackLimbs(4, LimbOfFrame, 1), many = TrackLimbs(4, LimbOfFrame, 5);
    ASSERT_EQ(one.size(), many.size());
    for (std::size_t r = 0; r < one.size(); ++r) {
        for (std::size_t i = 0; i < one[r].poses.size(); ++i) {
            const auto isSame = [](const Vec3& a, const Vec3& b) { return a.x == b.x && a.y == b.y && a.z == b.z; };
            EXPECT_TRUE(std::equal(one[r].poses[i].positions.begin(), one[r].poses[i].positions.end(),
                                   many[r].poses[i].positions.begin(), many[r].poses[i].positions.end(), isSame));
        }
    }
}

TEST(TrackFrames, NoiseOfTheKeyFrameIsNotRepeated) {
    // With noise of its own in every frame; the tracked surface has to be nearer to the limb than any frame is.
    constexpr float noise = 0.0004F;
    const auto load = [](std::size_t frame) {
        Mesh mesh = LimbOfFrame(frame);
        NimbTest::Random random(static_cast<UINT32>(frame));
        for (Vec3& p : mesh.positions) {
            p = {p.x + noise * random.Signed(), p.y + noise * random.Signed(), p.z + noise * random.Signed()};
        }
        return mesh;
    };
    const auto meanDistance = [](const std::vector<Vec3>& positions, const ClosestPoint& truth) {
        double sum = 0;
        for (const Vec3& p : positions) {
            sum += std::sqrt(truth.To({p.x, p.y, p.z}).squaredDistance);
        }
        return sum / static_cast<double>(positions.size());
    };
    const std::vector<TrackedRun> runs = TrackLimbs(9, load, 2, 0.002);
    ASSERT_EQ(runs.size(), 1U);
    for (const std::size_t frame : {std::size_t{0}, runs.front().key, std::size_t{8}}) {
        const Mesh fine = Limb(0.4 + 0.05 * static_cast<double>(frame), 400, 200, 0);
        const ClosestPoint truth(fine.positions, fine.faces);
        EXPECT_LT(meanDistance(runs.front().poses[frame].positions, truth),
                  0.7 * meanDistance(load(frame).positions, truth))
            << frame;
    }
}

TEST(KeyFitness, ApartnessCountsPartsAndHandlesButNotHoles) {
    Mesh limb = Limb(0.5, 20, 12, 0);
    EXPECT_EQ(Apartness(WeldByPlace(limb)), 2);
    Mesh two = limb;
    const auto base = static_cast<UINT32>(limb.positions.size());
    for (const Vec3& p : limb.positions) {
        two.positions.push_back({p.x, p.y, p.z + 1});
    }
    for (const TarnMeshFace& face : limb.faces) {
        two.faces.push_back({{face.v[0] + base, face.v[1] + base, face.v[2] + base}});
    }
    EXPECT_EQ(Apartness(WeldByPlace(two)), 4);
    EXPECT_GT(KeyFitness(WeldByPlace(two)), KeyFitness(WeldByPlace(limb)) + 1);
    limb.faces.erase(limb.faces.begin() + 30);
    EXPECT_EQ(Apartness(WeldByPlace(limb)), 2);

    // Both ends open and joined: a ring.
    Mesh ring;
    constexpr UINT32 n = 8;
    for (UINT32 i = 0; i < n; ++i) {
        for (UINT32 k = 0; k < n; ++k) {
            const float a = static_cast<float>(i) / n * 6.2831853F, b = static_cast<float>(k) / n * 6.2831853F;
            ring.positions.push_back({(2 + std::cos(b)) * std::cos(a), std::sin(b), (2 + std::cos(b)) * std::sin(a)});
            const UINT32 i1 = (i + 1) % n, k1 = (k + 1) % n;
            ring.faces.push_back({{i * n + k, i * n + k1, i1 * n + k}});
            ring.faces.push_back({{i * n + k1, i1 * n + k1, i1 * n + k}});
        }
    }
    EXPECT_EQ(Apartness(WeldByPlace(ring)), 0);
}

}  // namespace
