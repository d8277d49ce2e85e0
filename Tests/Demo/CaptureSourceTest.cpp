// Captures of a figure whose surface is known: that they are what captures are, and that the truth is the truth.
#include "Demo/Capture/CaptureSource.h"

#include "Authoring/Codec/Vectors.h"
#include "Authoring/Surface/ClosestPoint.h"
#include "Demo/Capture/Bake.h"
#include "Demo/Capture/Dancer.h"
#include "Demo/Capture/Grid.h"
#include "Demo/Capture/MeshSubject.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <thread>

using namespace Nimb::Authoring;
using Nimb::Authoring::Capture::CaptureOptions;
using Nimb::Authoring::Capture::CaptureSource;
using Nimb::Authoring::Capture::Dancer;
using Nimb::Authoring::Capture::Point;

namespace {

CaptureOptions Small() {
    CaptureOptions options;
    options.vertices = 1200;
    options.textureSize = 128;
    return options;
}

CaptureSource DancerCapture(const CaptureOptions& options) {
    return {std::make_shared<Dancer>(120), options};
}

Mesh MeshOf(const MeshSource& source, std::size_t frame) {
    return source.Frame(frame).meshes.at(0).mesh;
}

using Place = std::array<float, 3>;

Place PlaceOf(const Vec3& p) {
    return {p.x, p.y, p.z};
}

struct Shape {
    std::size_t openEdges = 0;   // with a face on one side
    std::size_t wrongEdges = 0;  // with two on one side
    long euler = 0;              // 2 for a ball; 2 less with every hole through it
};

/// Vertices in the same place are one.
Shape ShapeOf(const Mesh& mesh) {
    std::set<Place> places;
    std::map<std::pair<Place, Place>, int> edges;
    for (const TarnMeshFace& face : mesh.faces) {
        for (std::size_t i = 0; i < 3; ++i) {
            const Place a = PlaceOf(mesh.positions[face.v[i]]), b = PlaceOf(mesh.positions[face.v[(i + 1) % 3]]);
            places.insert(a);
            ++edges[{a, b}];
        }
    }
    Shape shape;
    std::size_t sides = 0;
    for (const auto& [edge, count] : edges) {
        shape.wrongEdges += count > 1 ? 1 : 0;
        const bool isOpen = edges.count({edge.second, edge.first}) == 0;
        shape.openEdges += isOpen ? 1 : 0;
        sides += isOpen ? 2 : 1;
    }
    shape.euler =
        static_cast<long>(places.size()) - static_cast<long>(sides / 2) + static_cast<long>(mesh.faces.size());
    return shape;
}

bool AreEqual(const Mesh& a, const Mesh& b) {
    const auto equal = [](const auto& x, const auto& y) {
        return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(x[0])) == 0;
    };
    return equal(a.positions, b.positions) && equal(a.texCoords, b.texCoords) && equal(a.faces, b.faces);
}

double RmsTo(const Mesh& from, const Mesh& to) {
    const ClosestPoint surface(to.positions, to.faces);
    double sum = 0;
    for (const Vec3& p : from.positions) {
        sum += surface.To(VectorOf(p)).squaredDistance;
    }
    return std::sqrt(sum / static_cast<double>(from.positions.size()));
}

}  // namespace

TEST(CaptureSourceTest, TheSameFramesInAnyOrderOnAnyThreads) {
    CaptureOptions options = Small();
    options.vertices = 600;
    options.holes = 4;
    const CaptureSource one = DancerCapture(options), other = DancerCapture(options);
    constexpr std::size_t frames = 5;  // more than are kept
    std::array<Mesh, frames> meshes;
    std::array<std::shared_ptr<const Image>, frames> pictures;
    std::vector<std::thread> threads;
    for (std::size_t i = frames; i-- > 0;) {
        threads.emplace_back([&, i] {
            meshes[i] = MeshOf(one, i);
            pictures[i] = one.Texture(i, 0);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < frames; ++i) {
        EXPECT_TRUE(AreEqual(meshes[i], MeshOf(other, i))) << i;
        EXPECT_TRUE(*pictures[i] == *other.Texture(i, 0)) << i;
    }
    options.seed = 2;
    EXPECT_FALSE(AreEqual(meshes[0], MeshOf(DancerCapture(options), 0)));
}

TEST(CaptureSourceTest, EveryFrameIsClosedAndLikeNoOther) {
    const CaptureSource capture = DancerCapture(Small());
    std::set<std::pair<float, float>> texCoords;
    std::size_t vertices = 0;
    for (const std::size_t frame : {0U, 33U, 34U, 70U}) {
        const Mesh mesh = MeshOf(capture, frame);
        const Shape shape = ShapeOf(mesh);
        EXPECT_EQ(shape.openEdges, 0U) << frame;
        EXPECT_EQ(shape.wrongEdges, 0U) << frame;
        EXPECT_NEAR(static_cast<double>(mesh.faces.size()), 2400, 800) << frame;
        for (const Vec2& at : mesh.texCoords) {
            texCoords.insert({at.u, at.v});
        }
        vertices += mesh.texCoords.size();
    }
    EXPECT_GT(texCoords.size(), vertices * 99 / 100) << "frames share texture coordinates";
}

TEST(CaptureSourceTest, HandsMergeWithTheBodyAndPart) {
    const auto euler = [](std::size_t frame) {
        Capture::Lattice lattice;
        lattice.cell = 0.024;  // about 20,000 points
        const Capture::Surface surface = Capture::Polygonise(*Dancer(120).At(frame), lattice);
        return static_cast<long>(surface.points.size()) - static_cast<long>(surface.faces.size()) / 2;
    };
    EXPECT_EQ(euler(0), 2);    // nothing touches
    EXPECT_LE(euler(15), 0);   // one hand is on the hip
    EXPECT_LE(euler(33), -2);  // both are
    EXPECT_EQ(euler(42), 2);   // they have parted from it
    EXPECT_LE(euler(69), 0);   // they meet over the head
    EXPECT_EQ(euler(81), 2);
    EXPECT_LE(euler(99), 0);  // and before the chest
}

TEST(CaptureSourceTest, HolesHaveCleanBorders) {
    CaptureOptions options = Small();
    options.vertices = 6000;
    options.holes = 8;
    const CaptureSource capture = DancerCapture(options);
    const Mesh mesh = MeshOf(capture, 3);
    const Shape shape = ShapeOf(mesh);
    EXPECT_GT(shape.openEdges, 20U);
    EXPECT_EQ(shape.wrongEdges, 0U);
    std::map<Place, int> leaving;
    std::set<std::pair<Place, Place>> edges;
    for (const TarnMeshFace& face : mesh.faces) {
        for (std::size_t i = 0; i < 3; ++i) {
            edges.insert({PlaceOf(mesh.positions[face.v[i]]), PlaceOf(mesh.positions[face.v[(i + 1) % 3]])});
        }
    }
    for (const auto& [a, b] : edges) {
        leaving[a] += edges.count({b, a}) == 0 ? 1 : 0;
    }
    EXPECT_TRUE(std::all_of(leaving.begin(), leaving.end(), [](const auto& entry) { return entry.second <= 1; }));
}

TEST(CaptureSourceTest, NoiseIsWhatWasAskedForAndTheTruthIsWithoutIt) {
    CaptureOptions options = Small();
    options.vertices = 3000;
    options.truthDensity = 3;
    options.noise = 0;
    const CaptureSource clean = DancerCapture(options);
    options.noise = 0.003;
    const CaptureSource noisy = DancerCapture(options);
    const Mesh truth = clean.Truth(10);
    EXPECT_TRUE(AreEqual(truth, noisy.Truth(10)));
    EXPECT_EQ(ShapeOf(truth).openEdges, 0U);
    const double gap = RmsTo(MeshOf(clean, 10), truth);
    EXPECT_LT(gap, 0.0015);
    EXPECT_NEAR(RmsTo(MeshOf(noisy, 10), truth), 0.003, 0.0006);
    // The truth lies on the surface itself.
    const auto solid = Dancer(120).At(10);
    double sum = 0;
    for (const Vec3& p : truth.positions) {
        sum += std::pow(solid->Distance(VectorOf(p)), 2);
    }
    EXPECT_LT(std::sqrt(sum / static_cast<double>(truth.positions.size())), 0.0008);
}

TEST(CaptureSourceTest, ChartsDoNotOverlapAndShowTheirPlaceOnTheSurface) {
    CaptureOptions options = Small();
    options.noise = 0;
    options.shading = 0;
    options.textureSize = 512;
    const CaptureSource capture = DancerCapture(options);
    constexpr std::size_t frame = 12;
    const Mesh mesh = MeshOf(capture, frame);
    const std::shared_ptr<const Image> picture = capture.Texture(frame, 0);
    const auto solid = Dancer(120).At(frame);
    std::vector<int> owners(512 * 512);
    std::size_t texels = 0, overlaps = 0;
    double difference = 0;
    Image expected(1, 1);
    for (const TarnMeshFace& face : mesh.faces) {
        std::array<glm::dvec2, 3> t;
        std::array<Point, 3> p;
        for (std::size_t i = 0; i < 3; ++i) {
            t[i] = glm::dvec2(mesh.texCoords[face.v[i]].u, mesh.texCoords[face.v[i]].v) * 512.0;
            p[i] = VectorOf(mesh.positions[face.v[i]]);
        }
        const glm::dvec2 low = glm::floor(glm::min(t[0], glm::min(t[1], t[2])));
        const glm::dvec2 high = glm::max(t[0], glm::max(t[1], t[2]));
        ASSERT_TRUE(low.x >= 0 && low.y >= 0 && high.x <= 512 && high.y <= 512);
        const glm::dmat2 edges(t[1] - t[0], t[2] - t[0]);
        for (double y = low.y; y < high.y; ++y) {
            for (double x = low.x; x < high.x; ++x) {
                const glm::dvec2 w = glm::inverse(edges) * (glm::dvec2(x + 0.5, y + 0.5) - t[0]);
                constexpr double inside = 1e-3;  // edges belong to two
                if (w.x < inside || w.y < inside || w.x + w.y > 1 - inside) {
                    continue;
                }
                const auto u = static_cast<std::size_t>(x), v = static_cast<std::size_t>(y);
                overlaps += owners[v * 512 + u]++ > 0 ? 1 : 0;
                const Point at = p[0] + w.x * (p[1] - p[0]) + w.y * (p[2] - p[0]);
                Nimb::Authoring::Demo::SetPixel(expected, 0, 0, solid->ColourAt(at));
                difference += std::abs(expected.rgba[1] - picture->Pixel(u, v)[1]);
                ++texels;
            }
        }
    }
    EXPECT_EQ(overlaps, 0U);
    EXPECT_GT(texels, 512U * 512 / 4);
    EXPECT_LT(difference / static_cast<double>(texels), 1.5);  // of 255; edges of patterns fall on either side
}

namespace {

/// A cube of 0.4 m, without its upper side or with it, one half red and the other one blue.
std::shared_ptr<NimbTest::MemorySource> Cube(bool isClosed) {
    Mesh mesh;
    for (UINT32 i = 0; i < 8; ++i) {
        const auto at = [i](UINT32 bit) { return (i & bit) != 0 ? 0.2F : -0.2F; };
        mesh.positions.push_back({at(1), at(2), at(4)});
        mesh.texCoords.push_back({(i & 1) != 0 ? 1.0F : 0.0F, 0});
    }
    const auto side = [&](UINT32 a, UINT32 b, UINT32 c, UINT32 d) {
        mesh.faces.push_back({{a, b, c}});
        mesh.faces.push_back({{a, c, d}});
    };
    side(0, 2, 3, 1), side(4, 5, 7, 6), side(0, 1, 5, 4), side(0, 4, 6, 2), side(1, 3, 7, 5);
    if (isClosed) {
        side(2, 6, 7, 3);
    }
    auto image = std::make_shared<Image>(2, 1);
    image->rgba = {255, 0, 0, 255, 0, 0, 255, 255};
    auto source = std::make_shared<NimbTest::MemorySource>();
    source->frames.assign(3, {{{0, mesh}}, 0});
    source->textures = {{image}};
    return source;
}

}  // namespace

TEST(CaptureSourceTest, MeshesAreSolidWhereClosedAndShellsWhereOpen) {
    const auto at = [](bool isClosed) { return Capture::MeshSubject(Cube(isClosed), "box", 2).At(0); };
    const auto solid = at(true), shell = at(false);
    EXPECT_NEAR(solid->Distance({0, 0, 0}), -0.2, 1e-6);
    EXPECT_NEAR(solid->Distance({0.1, 0.15, 0}), -0.05, 1e-6);
    EXPECT_NEAR(solid->Distance({0.3, 0, 0}), 0.1, 1e-6);
    EXPECT_NEAR(solid->Distance({0.3, 0.3, 0.3}), std::sqrt(0.03), 1e-6);
    EXPECT_GT(shell->Distance({0, 0, 0}), 0.19);
    EXPECT_LT(shell->Distance({0.2, 0, 0}), 0);
    EXPECT_GT(solid->ColourAt({-0.2, 0.1, 0}).r, 0.9);
    EXPECT_GT(solid->ColourAt({0.2, 0.1, 0}).b, 0.9);

    const CaptureSource capture(std::make_shared<Capture::MeshSubject>(Cube(true), "box", 2), Small());
    EXPECT_EQ(capture.FrameCount(), 2U);
    const Shape shape = ShapeOf(MeshOf(capture, 1));
    EXPECT_EQ(shape.openEdges, 0U);
    EXPECT_EQ(shape.euler, 2);
}

TEST(CaptureSourceTest, ScenesWithoutASurfaceOrInOtherUnitsAreRefused) {
    const auto refusal = [](const std::shared_ptr<NimbTest::MemorySource>& source) -> std::string {
        try {
            Capture::MeshSubject(source, "box", 2).At(1);
        } catch (const InputError& error) {
            return error.what();
        }
        return "";
    };
    const auto flat = Cube(true), large = Cube(true), bare = Cube(true);
    for (Vec3& p : flat->frames[1].meshes[0].mesh.positions) {
        p = {};
    }
    for (Vec3& p : large->frames[1].meshes[0].mesh.positions) {
        p = {4500 * p.x, 4500 * p.y, 4500 * p.z};
    }
    bare->frames[1].meshes[0].mesh.texCoords.clear();
    EXPECT_EQ(refusal(flat), "frame1: there is no surface");
    EXPECT_EQ(refusal(large), "frame1: is 1800 m large; scenes must be in metres, and at most 20 m large");
    EXPECT_NE(refusal(bare).find("frame1: a mesh needs texture coordinates"), std::string::npos);
}

TEST(CaptureSourceTest, OptionsOutOfRange) {
    CaptureOptions options = Small();
    options.vertices = 99;
    EXPECT_THROW(DancerCapture(options), std::invalid_argument);
    options = Small();
    options.textureSize = 0;
    EXPECT_THROW(DancerCapture(options), std::invalid_argument);
    options = Small();
    options.noise = -1;
    EXPECT_THROW(DancerCapture(options), std::invalid_argument);
}
