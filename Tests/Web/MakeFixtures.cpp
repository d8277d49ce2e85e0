// Writes the clips that the tests of the web player play, and golden.json: what their meshes decode to.
//
// A counter clip carries the number of each frame twice, once in the picture and once in the mesh, such that one look
// at what was drawn gives both. The picture is eight columns of which a bit of the number each makes bright or grey; in
// the mesh each column is a quad that shows the column's middle, and that a bit of the number lifts to the upper row
// or leaves in the lower one. The eighth bit is always set. A small mark in each corner keeps the box the same.
#include "NimbClip/nimb_clip.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/GoldenClips.h"
#include "Tests/Support/TestClip.h"
#include "Tests/Support/TinyMp4.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace Nimb::Authoring;
using ClipTest::ReadFile;
using ClipTest::WriteFile;

namespace {

constexpr int c_Columns = 8;
constexpr int c_Width = 128, c_Height = 64;

bool IsSet(int number, int column) {
    return column == c_Columns - 1 || (number >> column & 1) != 0;
}

/// Bright or grey columns; the lower half is black, so that texture coordinates upside down show.
std::vector<std::uint8_t> PaintColumns(int number) {
    std::vector<std::uint8_t> pixels;
    for (int y = 0; y < c_Height; ++y) {
        for (int x = 0; x < c_Width; ++x) {
            const bool isBright = IsSet(number, x * c_Columns / c_Width);
            const std::uint8_t value = y >= c_Height / 2 ? 0 : isBright ? 235 : 110;
            pixels.insert(pixels.end(), {value, value, value, 255});
        }
    }
    return pixels;
}

/// A square of cells x cells around (x, y), that shows the middle of a column.
void AddQuad(Mesh& mesh, float x, float y, float halfSize, int column, UINT32 cells) {
    const auto first = static_cast<UINT32>(mesh.positions.size());
    for (UINT32 row = 0; row <= cells; ++row) {
        for (UINT32 place = 0; place <= cells; ++place) {
            const float across = static_cast<float>(place) / static_cast<float>(cells);
            const float up = static_cast<float>(row) / static_cast<float>(cells);
            mesh.positions.push_back({x + (2 * across - 1) * halfSize, y + (2 * up - 1) * halfSize, 0});
            mesh.texCoords.push_back({(static_cast<float>(column) + 0.25f + across / 2) / c_Columns, 0.4f - 0.3f * up});
            mesh.normals.push_back({0.6f, 0, 0.8f});
        }
    }
    for (TarnMeshFace face : NimbTest::SheetFaces(cells + 1, cells + 1)) {
        std::for_each(face.v, face.v + 3, [&](UINT32& index) { index += first; });
        mesh.faces.push_back(face);
    }
}

/// The box is 2 x 1 x 0, around the origin.
Mesh MakeColumns(int number, UINT32 cells) {
    Mesh mesh;
    for (int column = 0; column < c_Columns; ++column) {
        const float x = (static_cast<float>(column) - 3.5f) / 4;
        AddQuad(mesh, x, IsSet(number, column) ? 0.25f : -0.25f, 0.1f, column, cells);
    }
    for (const float x : {-1.0f, 1.0f}) {
        for (const float y : {-0.5f, 0.5f}) {
            AddQuad(mesh, x * 0.96f, y * 0.92f, 0.04f, c_Columns - 1, 1);
        }
    }
    return mesh;
}

struct Counter {
    const char* name;
    int frameCount;
    int frameRate = 30;
    int pictureKeys = 15;
    int meshKeys = 10;
    bool hasSound = false;
    bool hasNormals = false;
    IndexCoding indices = IndexCoding::EdgeBreaker;
    std::function<UINT32(int number)> cells = [](int) { return 1; };  ///< of each quad, in each direction
    std::function<bool(int number)> hasMesh = [](int) { return true; };
    int damaged = -1;  ///< the frame whose mesh is cut off after encoding
};

/// A tone that says by its pitch at what time of the clip it is: 500 Hz, and 1000 Hz more each second.
std::vector<float> MakeSweep(double seconds) {
    std::vector<float> samples;
    for (int i = 0; i < static_cast<int>(seconds * 48000); ++i) {
        const double time = i / 48000.0;
        const auto value = static_cast<float>(0.25 * std::sin(2 * 3.14159265358979 * (500 * time + 500 * time * time)));
        samples.insert(samples.end(), {value, value});
    }
    return samples;
}

std::vector<EncodedFrame> EncodeColumns(const Counter& counter) {
    KeyFrameOptions key;
    key.indices = counter.indices;
    key.normals = counter.hasNormals;
    DeltaFrameOptions delta;
    delta.coding = DeltaCoding::Golomb;
    delta.normals = counter.hasNormals;
    FrameEncoder encoder;
    std::vector<EncodedFrame> frames;
    for (int number = 0; number < counter.frameCount; ++number) {
        const Mesh mesh = MakeColumns(number, counter.cells(number));
        const bool isKey = number % counter.meshKeys == 0;
        frames.push_back(!counter.hasMesh(number) ? EncodedFrame()
                         : isKey                  ? encoder.KeyFrame(mesh, key)
                                                  : encoder.DeltaFrame(mesh, delta));
    }
    return frames;
}

void WriteCounter(const std::string& path, const Counter& counter) {
    std::vector<EncodedFrame> frames = EncodeColumns(counter);
    FileAttributes attributes = ClipTest::AttributesOf(frames);
    attributes.hasVertexNormals = counter.hasNormals ? 1 : 0;
    if (counter.damaged >= 0) {
        Bytes& mesh = frames[static_cast<std::size_t>(counter.damaged)].bytes;
        mesh.resize(mesh.size() / 2);
    }
    VideoTrackOptions video = ClipTest::ClipTracks::SmallVideo(c_Width, c_Height);
    video.frameRateNumerator = counter.frameRate;
    video.keyFrameInterval = counter.pictureKeys;
    Mp4Writer writer(path, video, counter.hasSound ? std::optional(AudioTrackOptions{64000}) : std::nullopt);
    for (int number = 0; number < counter.frameCount; ++number) {
        writer.AddFrame(PaintColumns(number).data(), c_Width * 4, frames[static_cast<std::size_t>(number)].bytes);
    }
    if (counter.hasSound) {
        const std::vector<float> sweep = MakeSweep(static_cast<double>(counter.frameCount) / counter.frameRate);
        writer.AddAudio(sweep.data(), sweep.size() / 2);
    }
    writer.Finish(attributes.maxVertexCount > 0 ? std::optional(attributes) : std::nullopt);
}

std::vector<Counter> Counters() {
    Counter counter{"counter", 90};
    counter.hasSound = true;
    counter.cells = [](int number) { return number < 40 ? 1 : 2; };

    Counter normals{"normals", 40, 25, 12, 8};
    normals.hasNormals = true;

    Counter damaged{"damaged", 30, 30, 15, 5};
    damaged.damaged = 13;  // 14 builds on it

    Counter gaps{"gaps", 30, 30, 15, 5};
    gaps.hasMesh = [](int number) { return number % 7 != 3; };

    Counter untracked{"untracked", 24, 30, 24, 1};
    untracked.indices = IndexCoding::Strips1;
    untracked.cells = [](int number) { return 1 + static_cast<UINT32>(number) % 3; };

    Counter video{"video", 30};
    video.hasMesh = [](int) { return false; };
    return {counter, normals, damaged, gaps, untracked, video};
}

void WriteClips(const std::string& folder) {
    for (const Counter& counter : Counters()) {
        WriteCounter(folder + "/" + counter.name + ".mp4", counter);
    }
    bool isIndexFirst = false;
    for (const NimbTest::GoldenClip& clip : NimbTest::MakeGoldenClips()) {
        isIndexFirst = !isIndexFirst;
        const NimbTest::TinyMp4 form{isIndexFirst, !isIndexFirst, 0, 100};
        WriteFile(folder + "/" + clip.name + ".mp4", form.Make(clip.frames));
    }
}

std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const Counter& counter : Counters()) {
        names.emplace_back(counter.name);
    }
    for (const NimbTest::GoldenClip& clip : NimbTest::MakeGoldenClips()) {
        names.emplace_back(clip.name);
    }
    return names;
}

UINT64 Hash(UINT64 value, const void* data, std::size_t size) {
    const BYTE* const bytes = static_cast<const BYTE*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        value = (value ^ bytes[i]) * 0x100000001B3ull;  // FNV-1a
    }
    return value;
}

/// One line for each frame: status, then vertices and indices hashed in each layout.
std::string HashesOf(const std::string& path) {
    const std::vector<unsigned char> file = ReadFile(path);
    nimb_clip* opened = nullptr;
    nimb_clip_error error = {};
    if (nimb_clip_open_memory(file.data(), file.size(), &opened, &error) != NIMB_CLIP_OK) {
        throw std::runtime_error(path + ": " + error.text);
    }
    const std::unique_ptr<nimb_clip, void (*)(nimb_clip*)> clip(opened, nimb_clip_close);
    std::string text;
    const std::uint32_t count = nimb_clip_sample_count(opened, NIMB_CLIP_PICTURES);
    for (std::uint32_t frame = 0; frame < count; ++frame) {
        text += "\n    [";
        for (const auto layout : {NIMB_CLIP_INT16, NIMB_CLIP_INT16_NORMALS, NIMB_CLIP_FLOAT, NIMB_CLIP_FLOAT_NORMALS}) {
            nimb_clip_mesh mesh = {};
            const nimb_clip_status status = nimb_clip_decode(opened, frame, layout, &mesh, nullptr);
            text += layout == NIMB_CLIP_INT16 ? std::to_string(static_cast<int>(status)) : "";
            if (status == NIMB_CLIP_OK) {
                UINT64 hash = Hash(0xCBF29CE484222325ull, mesh.vertices, std::size_t{mesh.vertex_count} * mesh.stride);
                hash = Hash(hash, mesh.indices, std::size_t{mesh.index_count} * sizeof(std::uint32_t));
                char digits[24];
                std::snprintf(digits, sizeof(digits), ", \"%016" PRIx64 "\"", hash);
                text += digits;
            }
        }
        text += frame + 1 < count ? "]," : "]";
    }
    return text;
}

std::string GoldenText(const std::string& folder) {
    std::string text;
    for (const std::string& name : Names()) {
        text +=
            (text.empty() ? "{\n  \"" : ",\n  \"") + name + "\": [" + HashesOf(folder + "/" + name + ".mp4") + "\n  ]";
    }
    return text + "\n}\n";
}

std::string ReadText(const std::string& path) {
    const std::vector<unsigned char> bytes = ReadFile(path);
    return {bytes.begin(), bytes.end()};
}

/// Pictures and sound are not compared: other versions of their encoders may write other bytes.
int Check(const std::string& folder) {
    const ClipTest::TemporaryFolder fresh;
    WriteClips(fresh / "");
    const std::string kept = ReadText(folder + "/golden.json");
    const bool isDecoded = GoldenText(folder) == kept, isWritten = GoldenText(fresh / "") == kept;
    std::printf("The clips %s golden.json says.\n", isDecoded ? "decode to what" : "DO NOT decode to what");
    std::printf("This program %s golden.json says.\n", isWritten ? "writes what" : "DOES NOT write what");
    return isDecoded && isWritten ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string folder = argv[argc - 1];
    try {
        if (argc == 3 && std::string(argv[1]) == "--check") {
            return Check(folder);
        }
        if (argc != 2) {
            std::printf("Usage: nimb_web_fixtures [--check] FOLDER\n");
            return 2;
        }
        WriteClips(folder);
        const std::string golden = GoldenText(folder);
        WriteFile(folder + "/golden.json", {golden.begin(), golden.end()});
        return 0;
    } catch (const std::exception& fault) {
        std::printf("%s\n", fault.what());
        return 1;
    }
}
