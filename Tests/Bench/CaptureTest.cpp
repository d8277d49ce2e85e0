// Captures that were tracked over runs, published in Draco files and numbered anew in every frame: which frames join a
// run, and that what the run shows for them is what they show.
#include "Authoring/Frame/FrameEncoder.h"
#include "Authoring/Scene/SurfaceRun.h"
#include "Bench/BodyMesh.h"
#include "Bench/CapturedClip.h"
#include "Tests/Support/Places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

using namespace Nimb::Authoring;

namespace {

constexpr double c_Limit = 1e-4;

const std::vector<Mesh>& Capture() {
    static const std::vector<Mesh> s_Capture = Bench::SimulateCapture(Bench::MakeBodyClip(30), 7);
    return s_Capture;
}

using Triangle = std::array<std::array<float, 5>, 3>;

/// The triangles that have an area, with their texture coordinates, each with its smallest corner first.
std::multiset<Triangle> Triangles(const std::vector<Vec3>& positions, const Mesh& mesh) {
    std::multiset<Triangle> triangles;
    for (const TarnMeshFace& face : mesh.faces) {
        Triangle corners;
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec3& p = positions[face.v[i]];
            const Vec2& t = mesh.texCoords[face.v[i]];
            corners[i] = {p.x, p.y, p.z, t.u, t.v};
        }
        if (corners[0] != corners[1] && corners[1] != corners[2] && corners[2] != corners[0]) {
            std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
            triangles.insert(corners);
        }
    }
    return triangles;
}

void ExpectShows(const SurfaceRun& run, std::size_t frame, const Mesh& source) {
    EXPECT_EQ(Triangles(run.Poses()[frame].positions, run.Topology()), Triangles(source.positions, source))
        << "frame " << frame;
}

/// Both in one mesh.
Mesh Together(const Mesh& a, const Mesh& b) {
    Mesh both = a;
    const auto base = static_cast<UINT32>(a.positions.size());
    both.positions.insert(both.positions.end(), b.positions.begin(), b.positions.end());
    both.texCoords.insert(both.texCoords.end(), b.texCoords.begin(), b.texCoords.end());
    for (const TarnMeshFace& face : b.faces) {
        both.faces.push_back({{face.v[0] + base, face.v[1] + base, face.v[2] + base}});
    }
    return both;
}

Mesh Mirrored(Mesh mesh, float offset) {
    for (Vec3& p : mesh.positions) {
        p.x = offset - p.x;
    }
    for (TarnMeshFace& face : mesh.faces) {
        std::swap(face.v[1], face.v[2]);
    }
    return mesh;
}

Mesh Moved(Mesh mesh, float x) {
    for (Vec3& p : mesh.positions) {
        p.x += x;
    }
    return mesh;
}

TEST(CaptureTest, ARunIsFoundWholeAndShownExactly) {
    SurfaceRun run(Capture().front());
    for (std::size_t i = 1; i < Bench::c_RunFrames; ++i) {
        EXPECT_TRUE(run.Add(Capture()[i], c_Limit).joined) << "frame " << i;
        EXPECT_LT(CompareFaces(Capture()[i - 1], Capture()[i]).Share(), 0.01) << "frame " << i;
    }
    const SurfaceMatch next = run.Add(Capture()[Bench::c_RunFrames], c_Limit);
    EXPECT_FALSE(next.joined) << "its charts are cut anew";
    EXPECT_GT(next.difference.Share(), 0.5);
    EXPECT_GT(CompareFaces(Capture()[Bench::c_RunFrames - 1], Capture()[Bench::c_RunFrames]).Share(), 0.5);
    run.Finish();
    ASSERT_EQ(run.Poses().size(), Bench::c_RunFrames);
    for (std::size_t i = 0; i < Bench::c_RunFrames; ++i) {
        ExpectShows(run, i, Capture()[i]);
    }
    EXPECT_LT(run.Topology().positions.size(), Capture().front().positions.size() * 101 / 100);

    SurfaceRun exact(Capture()[0], MatchRule::Exact);
    EXPECT_FALSE(exact.Add(Capture()[1], c_Limit).joined) << "slivers differ";
}

TEST(CaptureTest, EncodedSurfacesDoNotCrackBetweenCharts) {
    SurfaceRun run(Capture().front());
    for (std::size_t i = 1; i < Bench::c_RunFrames; ++i) {
        ASSERT_TRUE(run.Add(Capture()[i], c_Limit).joined);
    }
    run.Finish();
    FrameEncoder encoder;
    NimbTest::FrameReader reader(13);
    NimbTest::PlaceWatch watch;
    CodingOptions options;
    options.maxError = 4 * c_Limit;
    options.indices = IndexCoding::EdgeBreaker;
    Mesh mesh = run.Topology();
    for (std::size_t i = 0; i < run.Poses().size(); ++i) {
        mesh.positions = run.Poses()[i].positions;
        const EncodedFrame encoded = encoder.NextFrame(mesh, options);
        ASSERT_EQ(encoded.isKeyFrame, i == 0);
        EXPECT_EQ(watch.Apart(mesh.positions, encoder.VertexOrder(), reader.Decode(encoded.bytes)), 0U)
            << "frame " << i;
        EXPECT_GT(watch.Shared(), 1000U);
        for (std::size_t later = 0; i == 0 && later < run.Poses().size(); ++later) {
            mesh.positions = run.Poses()[later].positions;
            encoder.LookAhead(mesh);
        }
    }
}

TEST(CaptureTest, WhatIsAnotherSurfaceDoesNotJoin) {
    const Mesh& frame = Capture()[1];
    Mesh armless = frame;
    const Box box = BoundingBox(frame.positions);
    const float edge = box.max.x - (box.max.x - box.min.x) * 0.1F;
    armless.faces.erase(std::remove_if(armless.faces.begin(), armless.faces.end(),
                                       [&](const TarnMeshFace& f) { return frame.positions[f.v[0]].x > edge; }),
                        armless.faces.end());
    ASSERT_LT(armless.faces.size(), frame.faces.size());
    EXPECT_FALSE(SurfaceRun(Capture()[0]).Add(armless, c_Limit).joined);
    EXPECT_FALSE(SurfaceRun(armless).Add(Capture()[0], c_Limit).joined);
    EXPECT_FALSE(SurfaceRun(Capture()[0]).Add(Mirrored(frame, 0), c_Limit).joined) << "inside out in the texture";
    EXPECT_FALSE(SurfaceRun(Capture()[0]).Add(Together(frame, Moved(frame, 2)), c_Limit).joined);
}

TEST(CaptureTest, CopiesAtTheSameTextureCoordinatesAreToldApart) {
    for (const auto& copy : {Moved, Mirrored}) {
        SurfaceRun run(Together(Capture()[0], copy(Capture()[0], 1.5F)));
        std::vector<Mesh> frames{Together(Capture()[0], copy(Capture()[0], 1.5F))};
        for (std::size_t i = 1; i < 4; ++i) {
            frames.push_back(Together(Capture()[i], copy(Capture()[i], 1.5F)));
            EXPECT_TRUE(run.Add(frames.back(), c_Limit).joined) << "frame " << i;
        }
        run.Finish();
        for (std::size_t i = 0; i < run.Poses().size(); ++i) {
            ExpectShows(run, i, frames[i]);
        }
    }
}

}  // namespace
