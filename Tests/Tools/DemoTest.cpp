// The built-in clip: a figure that real players and encoders can be judged by must be without faults of its own.
#include "Demo/DemoClip.h"
#include "Demo/DemoSound.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>

namespace {

using Nimb::Authoring::Image;
using Nimb::Authoring::Mesh;
using Nimb::Authoring::Vec3;
using Nimb::Authoring::Demo::DemoClip;
using Nimb::Authoring::Demo::Point;
using Index = std::size_t;

const DemoClip& Clip() {
    static const DemoClip clip;
    return clip;
}

Point At(const Mesh& mesh, Index vertex) {
    const Vec3& p = mesh.positions[vertex];
    return {p.x, p.y, p.z};
}

/// For each vertex the first one at the same place.
std::vector<Index> MergedByPosition(const Mesh& mesh) {
    std::map<std::array<float, 3>, Index> first;
    std::vector<Index> merged;
    for (Index i = 0; i < mesh.positions.size(); ++i) {
        const Vec3& p = mesh.positions[i];
        merged.push_back(first.try_emplace({p.x, p.y, p.z}, i).first->second);
    }
    return merged;
}

/// Corners of a face, merged, and its normal as long as twice its area.
struct Triangle {
    std::array<Index, 3> corners;
    Point normal;
};

std::vector<Triangle> Triangles(const Mesh& mesh) {
    const std::vector<Index> merged = MergedByPosition(mesh);
    std::vector<Triangle> triangles;
    for (const auto& face : mesh.faces) {
        std::array<Index, 3> c{};
        for (Index i = 0; i < 3; ++i) {
            c[i] = merged.at(face.v[i]);
        }
        triangles.push_back({c, glm::cross(At(mesh, c[1]) - At(mesh, c[0]), At(mesh, c[2]) - At(mesh, c[0]))});
    }
    return triangles;
}

/// Six times the volume of each connected piece, by one of its vertices.
std::map<Index, double> Volumes(const Mesh& mesh, const std::vector<Triangle>& triangles) {
    std::vector<Index> parent(mesh.positions.size());
    std::iota(parent.begin(), parent.end(), Index{0});
    const auto root = [&parent](Index i) {
        while (parent[i] != i) {
            i = parent[i] = parent[parent[i]];
        }
        return i;
    };
    for (const Triangle& t : triangles) {
        parent[root(t.corners[1])] = root(t.corners[0]);
        parent[root(t.corners[2])] = root(t.corners[0]);
    }
    std::map<Index, double> volumes;
    for (const Triangle& t : triangles) {
        volumes[root(t.corners[0])] += glm::dot(At(mesh, t.corners[0]), t.normal);
    }
    return volumes;
}

void ExpectClosedAndFacingOutwards(const Mesh& mesh) {
    const std::vector<Triangle> triangles = Triangles(mesh);
    std::map<std::pair<Index, Index>, const Triangle*> edges;
    for (const Triangle& t : triangles) {
        ASSERT_GT(glm::length(t.normal), 1e-9);
        for (Index i = 0; i < 3; ++i) {
            ASSERT_TRUE(edges.emplace(std::pair(t.corners[i], t.corners[(i + 1) % 3]), &t).second) << "edge used twice";
        }
    }
    for (const auto& [edge, triangle] : edges) {
        const auto other = edges.find({edge.second, edge.first});
        ASSERT_NE(other, edges.end()) << "open edge";
        const double fold = glm::dot(glm::normalize(triangle->normal), glm::normalize(other->second->normal));
        ASSERT_GT(fold, -0.5) << "folded over at x " << At(mesh, edge.first).x << " y " << At(mesh, edge.first).y;
    }
    for (const auto& [vertex, volume] : Volumes(mesh, triangles)) {
        EXPECT_GT(volume, 1e-6) << "inside out at vertex " << vertex;
    }
}

/// The longest way of any vertex from one frame to another.
double LargestStep(std::size_t from, std::size_t to) {
    const auto a = Clip().Frame(from), b = Clip().Frame(to);
    double largest = 0;
    for (Index material = 0; material < a.meshes.size(); ++material) {
        for (Index i = 0; i < a.meshes[material].mesh.positions.size(); ++i) {
            largest = std::max(largest, glm::length(At(a.meshes[material].mesh, i) - At(b.meshes[material].mesh, i)));
        }
    }
    return largest;
}

/// Root of the mean square over the picture's values.
double Difference(const Image& a, const Image& b) {
    double sum = 0;
    for (Index i = 0; i < a.rgba.size(); ++i) {
        sum += std::pow(a.rgba[i] - b.rgba[i], 2);
    }
    return std::sqrt(sum / static_cast<double>(a.rgba.size()));
}

TEST(DemoFigure, IsClosedAndFacesOutwardsThroughoutTheDance) {
    for (std::size_t frame = 0; frame < Clip().FrameCount(); frame += 4) {
        SCOPED_TRACE(Clip().FrameName(frame));
        for (const auto& materialMesh : Clip().Frame(frame).meshes) {
            SCOPED_TRACE(Clip().MaterialName(materialMesh.material));
            ExpectClosedAndFacingOutwards(materialMesh.mesh);
        }
    }
}

TEST(DemoFigure, KeepsItsTopologyAndUnwrapsIntoItsTextures) {
    const auto first = Clip().Frame(0), last = Clip().Frame(89);
    ASSERT_EQ(Clip().FrameCount(), 90u);
    ASSERT_EQ(first.meshes.size(), Clip().MaterialCount());
    ASSERT_GE(first.meshes.size(), 4u);
    Index vertices = 0;
    for (Index i = 0; i < first.meshes.size(); ++i) {
        const Mesh &a = first.meshes[i].mesh, &b = last.meshes[i].mesh;
        EXPECT_EQ(first.meshes[i].material, i);
        vertices += a.positions.size();
        ASSERT_EQ(a.positions.size(), a.texCoords.size());
        ASSERT_EQ(a.positions.size(), b.positions.size());
        for (const auto& uv : a.texCoords) {
            EXPECT_TRUE(uv.u >= 0 && uv.u <= 1 && uv.v >= 0 && uv.v <= 1) << uv.u << ' ' << uv.v;
        }
        // Every texel that a vertex names has been painted.
        const auto picture = Clip().Texture(0, i);
        for (const auto& uv : a.texCoords) {
            const auto x = static_cast<Index>(uv.u * static_cast<float>(picture->width - 1));
            const auto y = static_cast<Index>(uv.v * static_cast<float>(picture->height - 1));
            ASSERT_EQ(picture->Pixel(x, y)[3], 255);
        }
    }
    EXPECT_GE(vertices, 5000u);
}

TEST(DemoFigure, LoopsWithoutAJump) {
    double largest = 0;
    for (std::size_t frame = 0; frame + 1 < 90; ++frame) {
        largest = std::max(largest, LargestStep(frame, frame + 1));
    }
    EXPECT_LE(LargestStep(89, 0), largest);
    EXPECT_GT(LargestStep(0, 1), 0.01);
    // The lights change most on a beat, and the loop begins with one.
    const auto change = [](std::size_t from, std::size_t to) {
        return Difference(*Clip().Texture(from, Nimb::Authoring::Demo::Stage),
                          *Clip().Texture(to, Nimb::Authoring::Demo::Stage));
    };
    EXPECT_LE(change(89, 0), 1.1 * change(44, 45));
}

TEST(DemoFigure, StandsOnTheGroundWithoutSliding) {
    const auto meshOf = [](std::size_t frame) { return Clip().Frame(frame).meshes[Nimb::Authoring::Demo::Shell].mesh; };
    Mesh previous = meshOf(89);
    for (std::size_t frame = 0; frame < 90; ++frame) {
        Mesh mesh = meshOf(frame);
        Index standing = 0;
        for (Index i = 0; i < mesh.positions.size(); ++i) {
            ASSERT_GT(mesh.positions[i].y, -1e-4) << "frame " << frame;
            if (mesh.positions[i].y < 1e-3 && previous.positions[i].y < 1e-3) {
                ++standing;
                ASSERT_LT(glm::length(At(mesh, i) - At(previous, i)), 2e-3) << "frame " << frame;
            }
        }
        EXPECT_GT(standing, 10u) << "nothing touches the ground in frame " << frame;
        previous = std::move(mesh);
    }
}

TEST(DemoFigure, PicturesAreTheSameEveryTimeAndFollowTheFrame) {
    const DemoClip again;
    for (Index material = 0; material < Clip().MaterialCount(); ++material) {
        SCOPED_TRACE(Clip().MaterialName(material));
        const auto a = Clip().Texture(20, material), b = Clip().Texture(21, material);
        const bool animated = material == Nimb::Authoring::Demo::Display || material == Nimb::Authoring::Demo::Stage;
        EXPECT_EQ(a == b, !animated);
        EXPECT_EQ(a->rgba == b->rgba, !animated);
        EXPECT_EQ(a, Clip().Texture(20, material));
        EXPECT_EQ(a->rgba, again.Texture(20, material)->rgba);
    }
}

TEST(DemoSound, IsAsLongAsTheClipAndLoopsWithoutAClick) {
    Nimb::Authoring::Demo::DemoSound sound;
    std::vector<float> samples(2 * 200000);
    ASSERT_EQ(sound.Read(samples.data(), 1000), 1000u);
    ASSERT_EQ(sound.Read(samples.data() + 2000, 199000), 143000u);
    EXPECT_EQ(sound.Read(samples.data(), 1), 0u);
    float peak = 0, step = 0;
    double power = 0;
    for (Index i = 0; i < 288000; ++i) {
        peak = std::max(peak, std::abs(samples[i]));
        power += samples[i] * samples[i] / 288000;
        step = i < 2 ? step : std::max(step, std::abs(samples[i] - samples[i - 2]));
    }
    EXPECT_NEAR(peak, 0.25, 1e-6);
    EXPECT_GT(power, 1e-4);
    EXPECT_LE(std::abs(samples[0] - samples[288000 - 2]), step / 4);
    EXPECT_LE(std::abs(samples[1] - samples[288000 - 1]), step / 4);
}

TEST(DemoCommand, WritesTheClipAndOverwritesOnlyWhenTold) {
    const ToolTest::TemporaryFolder folder;
    const std::string path = folder / "a.mp4";
    ToolTest::WriteText(path, "mine");
    const ToolTest::ToolResult refused = ToolTest::RunNimb("demo -o '" + path + "'");
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("-y"), std::string::npos) << refused.err;
    EXPECT_EQ(ToolTest::ReadFile(path).size(), 4u);
    EXPECT_EQ(ToolTest::RunNimb("demo -o '" + folder / "none/a.mp4" + "'").status, 4);

    const ToolTest::ToolResult made = ToolTest::RunNimb("demo -y -o '" + path + "'");
    ASSERT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(ToolTest::FilesIn(folder / ""), std::vector<std::string>{"a.mp4"});
    const ToolTest::ToolResult verified = ToolTest::RunNimb("verify '" + path + "'");
    EXPECT_EQ(verified.status, 0) << verified.out;
    EXPECT_NE(verified.out.find("90 frames"), std::string::npos) << verified.out;
}

}  // namespace
