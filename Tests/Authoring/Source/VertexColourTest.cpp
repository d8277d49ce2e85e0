// Surfaces whose colours are given at their vertices.
#include "Authoring/Source/PictureStore.h"
#include "Tests/Authoring/Source/GltfBuilder.h"
#include "Tests/Authoring/Source/SourceTest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

using namespace Nimb::Authoring;

namespace {

using Rgb = std::array<int, 3>;

/// A closed surface around the z axis with vertices of many degrees, and a colour of its own at each.
struct Shape {
    std::vector<Vec3> positions;
    std::vector<Rgb> colours;
    std::vector<std::array<int, 3>> faces;
};

Shape MakeShape(int rings, int sides, unsigned seed) {
    Shape shape;
    const auto add = [&](double x, double y, double z) {
        shape.positions.push_back({static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)});
        Rgb colour{};
        for (int& value : colour) {
            seed = seed * 1664525 + 1013904223;
            value = static_cast<int>(seed >> 24);
        }
        shape.colours.push_back(colour);
        return static_cast<int>(shape.positions.size()) - 1;
    };
    const int bottom = add(0, 0, -1), top = add(0, 0, rings);
    for (int ring = 0; ring < rings; ++ring) {
        for (int side = 0; side < sides; ++side) {
            add(std::cos(6.2832 * side / sides), std::sin(6.2832 * side / sides), ring);
        }
    }
    const auto at = [&](int ring, int side) { return 2 + ring * sides + side % sides; };
    for (int side = 0; side < sides; ++side) {
        shape.faces.push_back({bottom, at(0, side + 1), at(0, side)});
        shape.faces.push_back({top, at(rings - 1, side), at(rings - 1, side + 1)});
        for (int ring = 0; ring + 1 < rings; ++ring) {
            const int a = at(ring, side), b = at(ring, side + 1), c = at(ring + 1, side + 1), d = at(ring + 1, side);
            if ((ring * 7 + side * 5) % 3 == 0) {
                shape.faces.push_back({a, b, d});
                shape.faces.push_back({b, c, d});
            } else {
                shape.faces.push_back({a, b, c});
                shape.faces.push_back({a, c, d});
            }
        }
    }
    return shape;
}

/// `full`: what a colour of 255 becomes.
std::string ObjText(const Shape& shape, double lift = 0, double full = 1) {
    std::string text;
    for (std::size_t i = 0; i < shape.positions.size(); ++i) {
        const Vec3& p = shape.positions[i];
        text += "v " + std::to_string(p.x) + " " + std::to_string(p.y) + " " + std::to_string(double{p.z} + lift);
        for (const int value : shape.colours[i]) {
            text += " " + std::to_string(value * full / 255);
        }
        text += "\n";
    }
    for (const auto& f : shape.faces) {
        text +=
            "f " + std::to_string(f[0] + 1) + " " + std::to_string(f[1] + 1) + " " + std::to_string(f[2] + 1) + "\n";
    }
    return text;
}

std::string PlyText(const Shape& shape, const std::string& type, const std::string& alpha = "") {
    std::string text = "ply\nformat ascii 1.0\nelement vertex " + std::to_string(shape.positions.size()) +
                       "\nproperty float x\nproperty float y\nproperty float z\n";
    for (const char* const name : {"red", "green", "blue"}) {
        text += "property " + type + " " + name + "\n";
    }
    text += (alpha.empty() ? "" : "property " + type + " alpha\n") + "element face " +
            std::to_string(shape.faces.size()) + "\nproperty list uchar int vertex_indices\nend_header\n";
    for (std::size_t i = 0; i < shape.positions.size(); ++i) {
        const Vec3& p = shape.positions[i];
        text += std::to_string(p.x) + " " + std::to_string(p.y) + " " + std::to_string(p.z);
        for (const int value : shape.colours[i]) {
            text += " " + (type == "uchar" ? std::to_string(value) : std::to_string(value / 255.0));
        }
        text += alpha + "\n";
    }
    for (const auto& f : shape.faces) {
        text += "3 " + std::to_string(f[0]) + " " + std::to_string(f[1]) + " " + std::to_string(f[2]) + "\n";
    }
    return text;
}

enum class Component { Float = 5126, Byte = 5121, Short = 5123 };

/// A scene whose colours are in linear light and have an alpha or not; returns the mesh.
std::size_t AddMesh(GltfBuilder& builder, const Shape& shape, Component component, bool hasAlpha) {
    std::vector<float> positions, floats;
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint16_t> shorts, indices;
    for (std::size_t i = 0; i < shape.positions.size(); ++i) {
        const Vec3& p = shape.positions[i];
        positions.insert(positions.end(), {p.x, p.y, p.z});
        for (int c = 0; c < (hasAlpha ? 4 : 3); ++c) {
            const int value = c == 3 ? 128 : shape.colours[i][static_cast<std::size_t>(c)];
            floats.push_back(static_cast<float>(value) / 255);
            bytes.push_back(static_cast<std::uint8_t>(value));
            shorts.push_back(static_cast<std::uint16_t>(value * 257));
        }
        bytes.resize((bytes.size() + 3) / 4 * 4);
        shorts.resize((shorts.size() + 3) / 4 * 4);
    }
    for (const auto& f : shape.faces) {
        for (const int v : f) {
            indices.push_back(static_cast<std::uint16_t>(v));
        }
    }
    // Integers are padded to four a vertex: as VEC3 they need a stride.
    const std::string type = hasAlpha ? "VEC4" : "VEC3";
    const std::size_t colours = component == Component::Float  ? builder.Floats(type, floats)
                                : component == Component::Byte ? builder.Bytes("VEC4", bytes)
                                                               : builder.Shorts("VEC4", shorts);
    GltfBuilder::Json& accessor = builder.root["accessors"][colours];
    accessor["type"] = type;
    if (component != Component::Float) {
        accessor["normalized"] = true;
        builder.root["bufferViews"][accessor["bufferView"].get<std::size_t>()]["byteStride"] =
            component == Component::Byte ? 4 : 8;
    }
    const GltfBuilder::Json attributes = {{"POSITION", builder.Floats("VEC3", positions)}, {"COLOR_0", colours}};
    const std::size_t mesh = builder.Append(
        "meshes", {{"primitives", {{{"attributes", attributes}, {"indices", builder.Shorts("SCALAR", indices)}}}}});
    builder.Append("nodes", {{"mesh", mesh}});
    return mesh;
}

/// What a file's colour is in linear light.
float FromSrgb(int value) {
    return LinearOf(static_cast<float>(value) / 255);
}

float FromLinear(int value) {
    return static_cast<float>(value) / 255;
}

/// Every triangle of the shape once, and in the picture everywhere the mixture of its corners' colours.
void ExpectColours(const MeshSource& source, std::size_t frame, const Shape& shape, float (*linear)(int)) {
    const SourceFrame loaded = source.Frame(frame);
    ASSERT_EQ(loaded.meshes.size(), 1U);
    const Mesh& mesh = loaded.meshes[0].mesh;
    const Image& image = *source.Texture(frame, 0);
    ASSERT_EQ(mesh.faces.size(), shape.faces.size());
    EXPECT_LT(mesh.positions.size(), shape.faces.size() * 5 / 4) << "triangles share vertices where they can";
    int worst = 0;
    std::vector<std::array<int, 3>> faces;
    for (const TarnMeshFace& face : mesh.faces) {
        std::array<int, 3>& corners = faces.emplace_back();
        std::array<std::array<float, 3>, 3> colours{};
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec3& p = mesh.positions[face.v[k]];
            const auto found = std::find_if(shape.positions.begin(), shape.positions.end(), [&](const Vec3& q) {
                return std::hypot(p.x - q.x, p.y - q.y) < 1e-3F && std::abs(std::remainder(p.z - q.z, 100)) < 1e-3F;
            });
            ASSERT_NE(found, shape.positions.end());
            corners[k] = static_cast<int>(found - shape.positions.begin());
            const Rgb& rgb = shape.colours[static_cast<std::size_t>(corners[k])];
            std::transform(rgb.begin(), rgb.end(), colours[k].begin(), linear);
        }
        constexpr int steps = 8;  // at each of these there is the middle of a pixel
        for (int i = 0; i <= steps; ++i) {
            for (int j = 0; i + j <= steps; ++j) {
                const std::array<float, 3> weights = {static_cast<float>(i) / steps, static_cast<float>(j) / steps,
                                                      static_cast<float>(steps - i - j) / steps};
                float u = 0, v = 0;
                std::array<float, 3> wanted{};
                for (std::size_t k = 0; k < 3; ++k) {
                    u += weights[k] * mesh.texCoords[face.v[k]].u;
                    v += weights[k] * mesh.texCoords[face.v[k]].v;
                    for (std::size_t c = 0; c < 3; ++c) {
                        wanted[c] += weights[k] * colours[k][c];
                    }
                }
                const BYTE* const pixel = image.Pixel(static_cast<std::size_t>(u * static_cast<float>(image.width)),
                                                      static_cast<std::size_t>(v * static_cast<float>(image.height)));
                for (std::size_t c = 0; c < 3; ++c) {
                    worst =
                        std::max(worst, std::abs(static_cast<int>(std::lround(EncodedOf(wanted[c]) * 255)) - pixel[c]));
                }
            }
        }
    }
    EXPECT_LE(worst, 1);
    std::vector<std::array<int, 3>> wanted = shape.faces;
    for (std::vector<std::array<int, 3>>* const list : {&faces, &wanted}) {
        for (std::array<int, 3>& corners : *list) {
            std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
        }
        std::sort(list->begin(), list->end());
    }
    EXPECT_EQ(faces, wanted);
}

class VertexColourTest : public SourceTest {
protected:
    std::vector<std::string> WarningsOf(const SourceOptions& options) const {
        Warnings warnings;
        SourceOptions told = options;
        told.pWarnings = &warnings;
        EXPECT_EQ(ErrorOf(told), "");
        return warnings.TakeNew();
    }
};

}  // namespace

TEST_F(VertexColourTest, EveryFormatShowsThemAsItsViewersDo) {
    const Shape shape = MakeShape(12, 9, 1);
    Write("fractions.obj", ObjText(shape));
    Write("whole.obj", ObjText(shape, 0, 255));
    Write("bytes.ply", PlyText(shape, "uchar"));
    Write("floats.ply", PlyText(shape, "float"));
    for (const char* const name : {"fractions.obj", "whole.obj", "bytes.ply", "floats.ply"}) {
        SCOPED_TRACE(name);
        ExpectColours(*OpenMeshSource(Options(name)), 0, shape, FromSrgb);
    }
    for (const Component component : {Component::Float, Component::Byte, Component::Short}) {
        for (const bool hasAlpha : {false, true}) {
            SCOPED_TRACE(static_cast<int>(component));
            GltfBuilder builder;
            AddMesh(builder, shape, component, hasAlpha);
            Write("a.glb", builder.Glb());
            ExpectColours(*OpenMeshSource(Options("a.glb")), 0, shape, FromLinear);
        }
    }
}

TEST_F(VertexColourTest, AMovingSurfaceKeepsItsChartsAndOthersFitThePicture) {
    Shape shape = MakeShape(12, 9, 1);
    Write("f0.obj", ObjText(shape));
    Write("f1.obj", ObjText(shape, 100));
    const Shape larger = MakeShape(19, 11, 3);
    Write("f2.obj", ObjText(larger));
    const std::unique_ptr<MeshSource> source = OpenMeshSource(Options("f%d.obj"));
    const Mesh first = source->Frame(0).meshes[0].mesh, moved = source->Frame(1).meshes[0].mesh;
    ASSERT_EQ(first.texCoords.size(), moved.texCoords.size());
    EXPECT_EQ(std::memcmp(first.texCoords.data(), moved.texCoords.data(), first.texCoords.size() * sizeof(Vec2)), 0);
    EXPECT_EQ(std::memcmp(first.faces.data(), moved.faces.data(), first.faces.size() * sizeof(TarnMeshFace)), 0);
    EXPECT_EQ(source->Texture(0, 0), source->Texture(1, 0)) << "the same colours are the same picture";
    EXPECT_EQ(source->Texture(2, 0)->width, source->Texture(0, 0)->width);
    EXPECT_EQ(source->Frame(2).meshes[0].mesh.faces.size(), larger.faces.size());

    shape.colours.assign(shape.colours.size(), {200, 0, 0});
    Write("red.obj", ObjText(shape));
    EXPECT_EQ(OnlyMesh(Options("red.obj")).positions.size(), shape.positions.size()) << "one colour needs no cuts";
    EXPECT_EQ(OpenMeshSource(Options("red.obj"))->Texture(0, 0)->rgba[0], 200);
    Write("g1.obj", "mtllib m.mtl\nusemtl m\nv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    Write("g2.obj", "mtllib m.mtl\nusemtl m\nv 0 0 0 1 0 0\nv 1 0 0 0 1 0\nv 0 1 0 0 0 1\nf 1 2 3\n");
    Write("m.mtl", "newmtl m\nKd 0 1 0\n");
    ExpectContains(ErrorOf(Options("g%d.obj")), "g2.obj: has vertex colours, unlike the first frame");
}

TEST_F(VertexColourTest, ChartsKeepTheirDistance) {
    Shape both = MakeShape(5, 7, 1);
    both.colours.assign(both.colours.size(), {255, 0, 0});
    const auto count = static_cast<int>(both.positions.size());
    for (int i = 0; i < count; ++i) {
        const Vec3 p = both.positions[static_cast<std::size_t>(i)];
        both.positions.push_back({p.x, p.y, p.z + 50});
        both.colours.push_back({0, 0, 255});
    }
    for (std::size_t i = 0, faces = both.faces.size(); i < faces; ++i) {
        const std::array<int, 3> f = both.faces[i];
        both.faces.push_back({f[0] + count, f[1] + count, f[2] + count});
    }
    Write("a.obj", ObjText(both));
    const Mesh mesh = OnlyMesh(Options("a.obj"));
    const std::shared_ptr<const Image> image = OpenMeshSource(Options("a.obj"))->Texture(0, 0);
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        const int x = static_cast<int>(mesh.texCoords[i].u * static_cast<float>(image->width));
        const int y = static_cast<int>(mesh.texCoords[i].v * static_cast<float>(image->height));
        for (int at = 0; at < 25; ++at) {
            const BYTE* const pixel =
                image->Pixel(static_cast<std::size_t>(x + at % 5 - 2), static_cast<std::size_t>(y + at / 5 - 2));
            ASSERT_EQ(pixel[mesh.positions[i].z > 25 ? 2 : 0], 255) << "beside vertex " << i;
        }
    }
}

TEST_F(VertexColourTest, WhatIsDroppedIsSaidOnce) {
    WritePicture("t.png", 4, 9);
    const std::string face = "vt 0 0\nf 1/1 2/1 3/1\n";
    for (const int i : {8, 9, 10}) {
        Write("f" + std::to_string(i) + ".obj", "v 0 0 0 1 1 1\nv 1 0 0 0 1 0\nv 0 1 0 0 0 1\n" + face);
    }
    EXPECT_EQ(WarningsOf(Options("f%d.obj", "t.png")),
              std::vector<std::string>{PathOf("f8.obj") +
                                       " and 2 more: vertex colours are ignored, since there is a texture"});
    Write("white.obj", "v 0 0 0 1 1 1\nv 1 0 0 1 1 1\nv 0 1 0\n" + face);
    EXPECT_TRUE(WarningsOf(Options("white.obj", "t.png")).empty()) << "white changes nothing";

    const Shape shape = MakeShape(2, 3, 1);
    Write("a.ply", PlyText(shape, "uchar", " 254"));
    EXPECT_EQ(WarningsOf(Options("a.ply")).size(), 1U) << "transparency";
    Write("b.ply", PlyText(shape, "uchar", " 255"));
    EXPECT_TRUE(WarningsOf(Options("b.ply")).empty());
    Write("m.mtl", "newmtl glass\nd 0.5\nKd 1 1 1\nnewmtl solid\nd 1\nTr 0\n");
    for (const char* const name : {"glass", "solid"}) {
        Write("g.obj", std::string("mtllib m.mtl\nusemtl ") + name + "\nv 0 0 0\nv 1 0 0\nv 0 1 0\n" + face);
        EXPECT_EQ(WarningsOf(Options("g.obj")).size(), name == std::string("glass") ? 1U : 0U) << name;
    }
    GltfBuilder builder;
    AddMesh(builder, shape, Component::Byte, true);
    builder.Primitive(0)["material"] = 0;
    builder.Append("materials", {{"name", "leaf"}});
    for (const char* const mode : {"OPAQUE", "MASK"}) {
        builder.root["materials"][0]["alphaMode"] = mode;
        Write("a.glb", builder.Glb());
        const std::vector<std::string> warnings = WarningsOf(Options("a.glb"));
        ASSERT_EQ(warnings.size(), mode == std::string("MASK") ? 1U : 0U) << mode;
        if (!warnings.empty()) {
            EXPECT_EQ(warnings[0], PathOf("a.glb") + ": material leaf: transparency is not stored");
        }
    }
}
