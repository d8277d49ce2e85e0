#include "Tests/Authoring/Source/SourceTest.h"

#include "Authoring/Source/ImageFile.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

using namespace Nimb::Authoring;

std::string SourceTest::Write(const std::string& name, const std::string& content) const {
    const std::filesystem::path path = PathOf(name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
}

std::string SourceTest::WritePicture(const std::string& name, std::size_t size, BYTE red) const {
    Image image(size, size);
    for (std::size_t i = 0; i < image.rgba.size(); i += 4) {
        image.rgba[i] = red;
        image.rgba[i + 3] = 255;
    }
    WritePng(Write(name, ""), image);
    return PathOf(name);
}

SourceOptions SourceTest::Options(const std::string& name, const std::string& texture) const {
    SourceOptions options;
    options.input = PathOf(name);
    options.texture = texture.empty() ? "" : PathOf(texture);
    return options;
}

std::string SourceTest::ErrorOf(const SourceOptions& options) {
    try {
        const std::unique_ptr<MeshSource> source = OpenMeshSource(options);
        for (std::size_t frame = 0; frame < source->FrameCount(); ++frame) {
            source->Frame(frame);
            for (std::size_t material = 0; material < source->MaterialCount(); ++material) {
                source->Texture(frame, material);
            }
        }
    } catch (const InputError& e) {
        return e.what();
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "";
}

Mesh OnlyMesh(const SourceOptions& options, std::size_t frame) {
    SourceFrame loaded = OpenMeshSource(options)->Frame(frame);
    EXPECT_EQ(loaded.meshes.size(), 1U);
    return loaded.meshes.at(0).mesh;
}

std::string CornersOf(const Mesh& mesh, bool withTexCoords) {
    std::ostringstream text;
    const auto print = [&](float value) { text << std::round(value * 1000) / 1000 + 0.0F; };
    for (const TarnMeshFace& face : mesh.faces) {
        for (const UINT32 v : face.v) {
            text << "(";
            print(mesh.positions.at(v).x);
            text << " ";
            print(mesh.positions.at(v).y);
            text << " ";
            print(mesh.positions.at(v).z);
            if (withTexCoords) {
                text << "|";
                print(mesh.texCoords.at(v).u);
                text << " ";
                print(mesh.texCoords.at(v).v);
            }
            text << ")";
        }
        text << " ";
    }
    return text.str();
}

void ExpectContains(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << "'" << part << "' is not in '" << text << "'";
}
