#include "Authoring/Source/ImageFile.h"
#include "Tests/Authoring/Source/GltfBuilder.h"
#include "Tests/Authoring/Source/SourceTest.h"

#include <cmath>
#include <fstream>
#include <iterator>

using namespace Nimb::Authoring;

namespace {

class GltfSourceTest : public SourceTest {
protected:
    SourceOptions WriteScene(const GltfBuilder& builder) const {
        Write("a.glb", builder.Glb());
        return Options("a.glb");
    }

    std::string ErrorOfScene(const GltfBuilder& builder) const { return ErrorOf(WriteScene(builder)); }

    /// x of the first corner in each frame, in thousandths.
    static std::string FirstX(const SourceOptions& options) {
        const std::unique_ptr<MeshSource> source = OpenMeshSource(options);
        std::string text;
        for (std::size_t i = 0; i < source->FrameCount(); ++i) {
            text += std::to_string(std::lround(source->Frame(i).meshes.at(0).mesh.positions.at(0).x * 1000)) + " ";
        }
        return text;
    }
};

using Json = GltfBuilder::Json;

}  // namespace

TEST_F(GltfSourceTest, InstancesOfAMaterialAreOnePartAndMirroredOnesKeepTheirOutside) {
    GltfBuilder builder;
    const std::size_t mesh = builder.Triangle();
    builder.Primitive(mesh)["attributes"]["NORMAL"] = builder.Floats("VEC3", {0, 0, 1, 0, 0, 1, 0, 0, 1});
    builder.Append("nodes", {{"children", {1, 2}}, {"translation", {10, 0, 0}}, {"scale", {2, 2, 2}}});
    builder.Append("nodes", {{"mesh", mesh}, {"rotation", {0, 0, 0.70710678, 0.70710678}}});
    builder.Append("nodes", {{"mesh", mesh}, {"matrix", {-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 3, 0, 1}}});
    builder.Append("nodes", {{"mesh", mesh}, {"name", "in no scene"}});
    builder.Append("scenes", {{"nodes", {0}}});
    const Mesh both = OnlyMesh(WriteScene(builder));
    EXPECT_EQ(CornersOf(both, true), "(10 0 0|0 0)(10 2 0|1 0)(8 0 0|0 1) (10 6 0|0 0)(10 8 0|0 1)(8 6 0|1 0) ")
        << "v grows downwards already; the mirrored triangle is turned over";
    for (const Vec3& n : both.normals) {
        EXPECT_FLOAT_EQ(n.z, 1.0F);
    }
    // The same with its buffer in another file, sub-meshes as strip and fan, and a line strip that does not count.
    builder.Primitive(mesh)["mode"] = 5;
    builder.root["meshes"][mesh]["primitives"].push_back(builder.Primitive(mesh));
    builder.root["meshes"][mesh]["primitives"][1]["mode"] = 6;
    builder.root["meshes"][mesh]["primitives"].push_back(builder.Primitive(mesh));
    builder.root["meshes"][mesh]["primitives"][2]["mode"] = 3;
    Write("sub/b.gltf", builder.Gltf("the%20buffer.bin"));
    ExpectContains(ErrorOf(Options("sub/b.gltf")), "the buffer.bin: buffer 0");
    Write("sub/the buffer.bin", builder.Buffer());
    EXPECT_EQ(OnlyMesh(Options("sub/b.gltf")).faces.size(), 4U);
}

TEST_F(GltfSourceTest, NodesMoveByStepLinearAndCubicKeys) {
    GltfBuilder builder;
    builder.Append("nodes", {{"mesh", builder.Triangle()}});
    builder.Animate(0, 0, "translation", "LINEAR", {0, 1}, "VEC3", {0, 0, 0, 4, 0, 0});
    builder.Animate(1, 0, "translation", "STEP", {0, 0.5F, 1}, "VEC3", {1, 0, 0, 2, 0, 0, 3, 0, 0});
    // From 0 to 1 with tangents 4 and -2: 2t^3 - 3t^2 + 1, t^3 - 2t^2 + t, ... by hand.
    builder.Animate(2, 0, "translation", "CUBICSPLINE", {0, 1}, "VEC3",
                    {9, 9, 9, 0, 0, 0, 4, 0, 0, -2, 0, 0, 1, 0, 0, 9, 9, 9});
    builder.Animate(3, 0, "rotation", "LINEAR", {0, 1}, "VEC4", {0, 0, 0, 1, 0, 0, -1, 0});
    builder.root["animations"][1]["name"] = "jump";
    SourceOptions options = WriteScene(builder);
    options.frameRate = 4;
    EXPECT_EQ(FirstX(options), "0 1000 2000 3000 ") << "the last key's moment is not a frame of its own";
    options.animation = "jump";
    EXPECT_EQ(FirstX(options), "1000 1000 2000 2000 ");
    options.animation = "2";
    EXPECT_EQ(FirstX(options), "0 813 1250 1313 ");
    options.animation = "3";
    EXPECT_EQ(CornersOf(OnlyMesh(options, 2)), "(0 0 0)(0 -1 0)(1 0 0) ") << "half of a half turn";
    options.firstFrame = 2;
    EXPECT_EQ(CornersOf(OnlyMesh(options, 0)), "(0 0 0)(0 -1 0)(1 0 0) ");
    EXPECT_EQ(OpenMeshSource(options)->FrameName(0), options.input + " at 0.500 s");
    options.animation = "fly";
    ExpectContains(ErrorOf(options), "no animation 'fly'; it has: 0, 1 'jump', 2, 3");
    options.animation = "";
    options.firstFrame = 4;
    ExpectContains(ErrorOf(options), "frames are 0 to 3");
}

TEST_F(GltfSourceTest, SkinsAndMorphTargetsDeformTheirVertices) {
    GltfBuilder builder;
    const std::size_t mesh = builder.Triangle();
    Json& primitive = builder.Primitive(mesh);
    // The third vertex follows both joints; weights need not add up to 1. The node of the mesh itself does not count.
    primitive["attributes"]["JOINTS_0"] = builder.Shorts("VEC4", {0, 1, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0});
    primitive["attributes"]["WEIGHTS_0"] = builder.Floats("VEC4", {1, 0, 0, 0, 2, 0, 0, 0, 0.5F, 0.5F, 0, 0});
    primitive["targets"] = {{{"POSITION", builder.Floats("VEC3", {0, 0, 0, 0, 0, 0, 0, 0, 8})}},
                            {{"POSITION", builder.Floats("VEC3", {0, 0, 4, 0, 0, 0, 0, 0, 0})}}};
    builder.root["meshes"][mesh]["weights"] = {0.5, 0};
    builder.Append("nodes", {{"mesh", mesh}, {"skin", 0}, {"translation", {100, 0, 0}}});
    builder.Append("nodes", {{"children", {2}}, {"translation", {0, 0, 1}}});
    builder.Append("nodes", {{"translation", {5, 0, 0}}});
    builder.Append("skins",
                   {{"joints", {1, 2}},
                    {"inverseBindMatrices", builder.Floats("MAT4", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0,  0, 0, 0, 1, 1,
                                                                    0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -5, 0, 0, 1})}});
    SourceOptions options = WriteScene(builder);
    EXPECT_EQ(CornersOf(OnlyMesh(options)), "(0 0 1)(1 0 1)(0 1 5) ") << "bind pose, moved by the root joint";
    builder.Animate(0, 2, "translation", "LINEAR", {0, 1}, "VEC3", {5, 0, 0, 5, 2, 0});
    builder.Animate(0, 0, "weights", "LINEAR", {0, 1}, "SCALAR", {0.5, 0, 0, 1});
    options = WriteScene(builder);
    options.frameRate = 2;
    EXPECT_EQ(CornersOf(OnlyMesh(options, 0)), "(0 0 1)(1 0 1)(0 1 5) ");
    EXPECT_EQ(CornersOf(OnlyMesh(options, 1)), "(0 0 3)(1 1 1)(0 1.5 3) ");
}

TEST_F(GltfSourceTest, VerticesThatAreEqualInEverythingStoredAreOne) {
    // A quad of two triangles without indices, and a third that joins a vertex to itself.
    const std::vector<float> corners = {0, 0, 0, 1, 0, 0, 1, 1, 0, -0.0F, 0, 0, 1, 1,
                                        0, 0, 1, 0, 0, 0, 0, 0, 0, 0,     1, 1, 0};
    const auto framesOf = [&](const char* attribute) {
        GltfBuilder builder;
        const std::size_t mesh = builder.Triangle();
        Json& primitive = builder.Primitive(mesh);
        primitive.erase("indices");
        std::vector<float> texCoords(18, 0.25F), normals(27, 1), weights(36, 0.25F), moved(27, 0), bent(27, 0);
        std::vector<std::uint8_t> joints(36, 1);
        // The fourth vertex, elsewhere equal to the first, is told apart by one attribute.
        const std::string apart = attribute;
        (apart == "uv"       ? texCoords[6]
         : apart == "normal" ? normals[9]
         : apart == "weight" ? weights[12]
                             : moved[9]) += apart == "" || apart == "joint" || apart == "bend" ? 0 : 0.5F;
        joints[12] = apart == "joint" ? 0 : 1;
        bent[9] = apart == "bend" ? 1 : 0;
        primitive["attributes"] = {
            {"POSITION", builder.Floats("VEC3", corners)},  {"TEXCOORD_0", builder.Floats("VEC2", texCoords)},
            {"NORMAL", builder.Floats("VEC3", normals)},    {"JOINTS_0", builder.Bytes("VEC4", joints)},
            {"WEIGHTS_0", builder.Floats("VEC4", weights)},
        };
        primitive["targets"] = {
            {{"POSITION", builder.Floats("VEC3", moved)}, {"NORMAL", builder.Floats("VEC3", bent)}}};
        builder.root["meshes"][mesh]["weights"] = {0};
        builder.Append("nodes", {{"mesh", mesh}, {"skin", 0}});
        builder.Append("nodes", {{"translation", {0, 0, 0}}});
        builder.Append("skins", {{"joints", {1, 1}}});
        builder.Animate(0, 0, "weights", "LINEAR", {0, 1}, "SCALAR", {0, 1});
        SourceOptions options = WriteScene(builder);
        options.frameRate = 2;
        std::string text;
        for (std::size_t i = 0; i < 2; ++i) {
            const SourceFrame frame = OpenMeshSource(options)->Frame(i);
            text += std::to_string(frame.meshes.at(0).mesh.positions.size()) + " of " +
                    std::to_string(frame.meshes.at(0).mesh.faces.size()) + ", " + std::to_string(frame.welded) + "; ";
        }
        return text;
    };
    EXPECT_EQ(framesOf(""), "4 of 2, 5; 4 of 2, 5; ");
    for (const char* const attribute : {"uv", "normal", "joint", "weight", "move", "bend"}) {
        EXPECT_EQ(framesOf(attribute), "5 of 2, 4; 5 of 2, 4; ") << attribute << ": also while it does not show";
    }
}

TEST_F(GltfSourceTest, MaterialsArePicturesAndColours) {
    std::ifstream file(WritePicture("t.png", 4, 255), std::ios::binary);
    const std::string png{std::istreambuf_iterator<char>(file), {}};
    GltfBuilder builder;
    builder.Append("images", {{"bufferView", builder.View(png)}, {"mimeType", "image/png"}});
    builder.Append("images", {{"uri", "t.png"}});
    builder.Append("textures", {{"source", 0}});
    builder.Append("textures", {{"source", 1}, {"sampler", 0}});
    builder.Append("samplers", {{"wrapS", 33648}, {"wrapT", 33071}});
    const auto textured = [](int texture, float red) {
        return Json{{"baseColorTexture", {{"index", texture}}}, {"baseColorFactor", {red, 1, 1, 1}}};
    };
    builder.Append("materials", {{"name", "colour"}, {"pbrMetallicRoughness", {{"baseColorFactor", {1, 0.5, 0, 1}}}}});
    builder.Append("materials", {{"name", "unused"}});
    builder.Append("materials", {{"name", "embedded"}, {"pbrMetallicRoughness", textured(0, 0.5)}});
    builder.Append("materials", {{"name", "moved"}, {"pbrMetallicRoughness", textured(1, 1)}});
    builder.root["materials"][3]["pbrMetallicRoughness"]["baseColorTexture"]["extensions"]["KHR_texture_transform"] = {
        {"offset", {1, 0.5}}, {"rotation", 1.57079633}, {"scale", {0.5, 1}}};
    for (const std::size_t material : {0U, 2U, 3U, 2U}) {
        const std::size_t mesh = builder.Triangle();
        builder.Primitive(mesh)["material"] = material;
        builder.Append("nodes", {{"mesh", mesh}});
    }
    const std::unique_ptr<MeshSource> source = OpenMeshSource(WriteScene(builder));
    ASSERT_EQ(source->MaterialCount(), 3U);
    EXPECT_EQ(source->MaterialName(1), "embedded");
    EXPECT_EQ(source->Texture(0, 0)->rgba[1], 188) << "half in linear light";
    EXPECT_EQ(source->Texture(0, 1)->width, 4U);
    EXPECT_EQ(source->Texture(0, 1)->rgba[0], 188) << "the picture times the colour";
    EXPECT_EQ(source->Texture(0, 2)->rgba[0], 255);
    const SourceFrame frame = source->Frame(0);
    ASSERT_EQ(frame.meshes.size(), 3U);
    EXPECT_EQ(frame.meshes[1].mesh.faces.size(), 2U);
    // A quarter turn: (u, v) becomes (1 + v, 0.5 - u / 2); u = 1 ... 2 is mirrored, and v stays inside.
    EXPECT_EQ(CornersOf(frame.meshes[2].mesh, true), "(0 0 0|1 0.5)(1 0 0|1 0)(0 1 0|0 0.5) ");

    SourceOptions named = Options("a.glb", "t.png");
    EXPECT_EQ(OpenMeshSource(named)->MaterialCount(), 1U) << "one picture for everything";
    EXPECT_EQ(OnlyMesh(named).faces.size(), 4U);
    builder.Primitive(1)["attributes"].erase("TEXCOORD_0");
    ExpectContains(ErrorOfScene(builder), "a.glb: mesh 1, primitive 0: no texture coordinates (TEXCOORD_0)");
    builder.Primitive(1)["material"] = 0;
    EXPECT_EQ(ErrorOfScene(builder), "") << "a colour needs none";
    builder.root["images"][0] = {{"bufferView", builder.View("not a picture")}};
    ExpectContains(ErrorOfScene(builder), "a.glb: image 0: not a picture that can be read");

    const std::string data = "data:image/x-tga;base64,AAACAAAAAAAAAAAAAQABABgA";
    builder.root["images"][0] = {{"uri", data + "AADI"}};
    EXPECT_EQ(OpenMeshSource(WriteScene(builder))->Texture(0, 1)->rgba[0], 146) << "a red of 200, times the colour";
    builder.root["images"][0] = {{"uri", data + "AA?I"}};
    ExpectContains(ErrorOfScene(builder), "a.glb: image 0 is not base64");
}

TEST_F(GltfSourceTest, PicturesAreStoredWithoutLoss) {
    for (const unsigned alpha : {255U, 254U}) {
        Image image(37, 5);
        for (std::size_t i = 0; i < image.rgba.size(); ++i) {
            image.rgba[i] = static_cast<BYTE>(i % 4 == 3 ? alpha : i * i / 7);
        }
        const std::vector<BYTE> png = EncodePng(image);
        EXPECT_EQ(DecodeImage(png.data(), png.size(), "").rgba, image.rgba);
        EXPECT_THROW(WritePng(PathOf("missing/a.png"), image), std::runtime_error);
    }
}

TEST_F(GltfSourceTest, AFileOfASequenceIsAFrameInItsRestPose) {
    for (const int i : {1, 2}) {
        GltfBuilder builder;
        builder.Append("nodes", {{"mesh", builder.Triangle()}, {"translation", {i, 0, 0}}});
        builder.Animate(0, 0, "translation", "LINEAR", {0, 1}, "VEC3", {9, 0, 0, 9, 0, 0});
        Write("s/f" + std::to_string(i) + ".glb", builder.Glb());
    }
    EXPECT_EQ(FirstX(Options("s/f%d.glb")), "1000 2000 ");
}

TEST_F(GltfSourceTest, WhatDoesNotChangeTheSurfaceIsSkippedWithAWarning) {
    GltfBuilder builder;
    const std::size_t mesh = builder.Triangle();
    builder.root["meshes"][mesh]["name"] = "body";
    builder.Append("nodes", {{"mesh", mesh}, {"children", {1}}, {"translation", {5, 0, 0}}});
    builder.Append("nodes", {{"mesh", mesh}, {"name", "prop"}});
    builder.Append("nodes", {{"extensions", {{"KHR_lights_punctual", {{"light", 0}}}}}});
    builder.Append("scenes", {{"nodes", {0, 1, 2}}});
    builder.root["extensionsRequired"] = {"KHR_lights_punctual", "KHR_materials_unlit"};
    Warnings warnings;
    SourceOptions options = WriteScene(builder);
    options.pWarnings = &warnings;
    EXPECT_EQ(CornersOf(OnlyMesh(options)), "(5 0 0)(6 0 0)(5 1 0) (5 0 0)(6 0 0)(5 1 0) ")
        << "once each, with the parent's transform";
    const std::string file = PathOf("a.glb");
    EXPECT_EQ(warnings.TakeNew(),
              (std::vector<std::string>{file + ": the glTF extension KHR_lights_punctual is ignored",
                                        file + ": node 1: a node with a parent is listed as a root of the scene; it "
                                               "stays with its parent"}));
    options.skipMeshes = {"prop"};
    EXPECT_EQ(OnlyMesh(options).faces.size(), 1U);
    options.skipMeshes = {"prop", "body"};
    ExpectContains(ErrorOf(options), "no triangles");
    options.skipMeshes = {"bodies"};
    ExpectContains(ErrorOf(options), "a.glb: has no mesh 'bodies' to skip; its meshes are 'body', 'prop'");
    builder.root["animations"] = {
        {{"channels",
          {{{"sampler", 0},
            {"target",
             {{"path", "pointer"},
              {"extensions", {{"KHR_animation_pointer", {{"pointer", "/nodes/0/translation"}}}}}}}}}},
         {"samplers", Json::array()}}};
    ExpectContains(ErrorOfScene(builder), "animation 0 moves nodes by");
    builder.root["extensionsRequired"] = {"KHR_draco_mesh_compression"};
    ExpectContains(ErrorOfScene(builder), "export the scene without mesh compression");

    WritePicture("t.png", 2, 0);
    Write("a.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\no body\nf 1/1 2/1 3/1\no floor\ng a b\nf 3/1 2/1 1/1\n");
    options = Options("a.obj", "t.png");
    for (const char* const name : {"floor", "b"}) {
        options.skipMeshes = {name};
        EXPECT_EQ(CornersOf(OnlyMesh(options)), "(0 0 0)(1 0 0)(0 1 0) ") << name;
    }
}

TEST_F(GltfSourceTest, BrokenScenesAreRefused) {
    GltfBuilder good;
    const std::size_t mesh = good.Triangle();
    good.Append("nodes", {{"mesh", mesh}});
    good.Append("nodes", {{"translation", {0, 0, 0}}});
    good.Animate(0, 0, "translation", "LINEAR", {0, 1}, "VEC3", {0, 0, 0, 1, 0, 0});
    EXPECT_EQ(ErrorOfScene(good), "");
    const std::pair<std::string, std::string> patches[] = {
        {R"([{"op":"replace","path":"/accessors/0/count","value":4}])", "accessor 0 reaches beyond its bufferView"},
        {R"([{"op":"replace","path":"/accessors/0/count","value":18446744073709551615}])", "accessor 0 is too large"},
        {R"([{"op":"replace","path":"/accessors/0/count","value":-1}])", "needs a whole number \"count\""},
        {R"([{"op":"replace","path":"/accessors/0/componentType","value":1}])", "unknown component type 1"},
        {R"([{"op":"replace","path":"/accessors/0/type","value":"VEC2"}])", "accessor 0 is of type VEC2"},
        {R"([{"op":"replace","path":"/bufferViews/0/byteLength","value":99999}])", "bufferView 0 reaches beyond"},
        {R"([{"op":"replace","path":"/bufferViews/0/byteOffset","value":18446744073709551615}])", "bufferView 0"},
        {R"([{"op":"replace","path":"/accessors/2/count","value":2}])", "no triangles in its scene"},
        {R"([{"op":"replace","path":"/meshes/0/primitives/0/attributes/POSITION","value":99}])", "element 99 of"},
        {R"([{"op":"replace","path":"/meshes/0/primitives/0/attributes/TEXCOORD_0","value":1.5}])", "TEXCOORD_0"},
        {R"([{"op":"replace","path":"/meshes/0/primitives","value":7}])", "a.glb"},
        {R"([{"op":"add","path":"/nodes/0/children","value":[0]}])", "its nodes form a circle"},
        {R"([{"op":"add","path":"/nodes/0/children","value":[1,1]}])", "node 1 has two parents"},
        {R"([{"op":"add","path":"/nodes/0/children","value":[7]}])", "there is no node 7"},
        {R"([{"op":"add","path":"/nodes/0/skin","value":0}])", "element 0 of \"skins\""},
        {R"([{"op":"add","path":"/nodes/0/rotation","value":[0,1]}])", "\"rotation\" needs 4 numbers"},
        {R"([{"op":"add","path":"/nodes/0/matrix","value":[1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1]}])",
         "channel 0: node 0 has a matrix"},
        {R"([{"op":"replace","path":"/animations/0/samplers/0/interpolation","value":"CUBICSPLINE"}])",
         "the number of its values does not fit"},
        {R"([{"op":"add","path":"/extensionsRequired","value":["EXT_unknown"]}])", "requires the glTF extension"},
        {R"([{"op":"replace","path":"/asset/version","value":"1.0"}])", "its glTF version is '1.0'"},
        {R"([{"op":"remove","path":"/nodes/0/mesh"}])", "no triangles in its scene"},
    };
    for (const auto& [patch, message] : patches) {
        GltfBuilder bad = good;
        bad.root = good.root.patch(Json::parse(patch));
        const std::string error = ErrorOfScene(bad);
        ExpectContains(error, message);
        ExpectContains(error, "a.glb: ");
    }
    GltfBuilder bad = good;
    bad.Primitive(mesh)["indices"] = bad.Shorts("SCALAR", {0, 1, 3});
    ExpectContains(ErrorOfScene(bad), "face index 3 is out of range: there are 3 vertices");
    bad.Primitive(mesh)["indices"] = good.Primitive(mesh)["indices"];
    bad.Primitive(mesh)["attributes"]["POSITION"] = bad.Floats("VEC3", {0, 0, 0, 1, 0, NAN, 0, 1, 0});
    ExpectContains(ErrorOfScene(bad), "element 1 is not a finite number");
    bad = good;
    bad.root["nodes"][0]["children"] = "deep";
    Write("nested.bin", bad.Buffer());
    std::string nested = bad.Gltf("nested.bin");
    nested.replace(nested.find("\"deep\""), 6, std::string(200000, '[') + std::string(200000, ']'));
    Write("nested.gltf", nested);
    ExpectContains(ErrorOf(Options("nested.gltf")), "nested.gltf: its JSON is nested more than 256 deep");
    const std::string file = good.Glb();
    for (std::size_t size = 0; size < file.size() - 3; ++size) {
        Write("cut.glb", file.substr(0, size));
        ExpectContains(ErrorOf(Options("cut.glb")), "cut.glb");
    }
}
