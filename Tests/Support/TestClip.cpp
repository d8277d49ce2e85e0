#include "Tests/Support/TestClip.h"

#include "Clip/Write/Mp4Writer.h"
#include "Tests/Support/CounterFrame.h"

#include <algorithm>
#include <cmath>

namespace ClipTest {
namespace {

using Nimb::Authoring::EncodedFrame;

/// Meshes of consecutive frames in the recipe's codings, and what the file says about them.
class MeshTrack {
public:
    explicit MeshTrack(const ClipRecipe& recipe) : m_Recipe(recipe) {
        m_Key.indices = recipe.indices;
        m_Key.normals = recipe.storeNormals;
        m_Delta.normals = recipe.storeNormals;
        m_Delta.coding = recipe.delta.value_or(Nimb::Authoring::DeltaCoding::Plain);
        m_Delta.maxError = 0.002;
        m_Attributes.hasVertexNormals = recipe.storeNormals ? 1 : 0;
    }

    Nimb::Authoring::Bytes Encode(int number) {
        const bool isKey = !m_Recipe.delta || number % m_Recipe.meshKeyInterval == 0;
        const Nimb::Authoring::Mesh mesh = MakeNumberedMesh(number, m_Recipe.meshColumns, m_Recipe.meshRows);
        EncodedFrame frame = isKey ? m_Encoder.KeyFrame(mesh, m_Key) : m_Encoder.DeltaFrame(mesh, m_Delta);
        Count(frame);
        return std::move(frame.bytes);
    }

    const Nimb::Authoring::FileAttributes& Attributes() const { return m_Attributes; }

private:
    void Count(const EncodedFrame& frame) {
        m_Box = m_Attributes.frameCount == 0 ? frame.box : Nimb::Authoring::Union(m_Box, frame.box);
        ++m_Attributes.frameCount;
        m_Attributes.maxVertexCount = std::max(m_Attributes.maxVertexCount, frame.numVertices);
        m_Attributes.maxIndexCount = std::max(m_Attributes.maxIndexCount, frame.numIndices);
        m_Attributes.bboxMin = {m_Box.min.x, m_Box.min.y, m_Box.min.z};
        m_Attributes.bboxMax = {m_Box.max.x, m_Box.max.y, m_Box.max.z};
    }

    const ClipRecipe& m_Recipe;
    Nimb::Authoring::FrameEncoder m_Encoder;
    Nimb::Authoring::KeyFrameOptions m_Key;
    Nimb::Authoring::DeltaFrameOptions m_Delta;
    Nimb::Authoring::FileAttributes m_Attributes;
    Nimb::Authoring::Box m_Box;
};

std::vector<float> MakeTone(double seconds) {
    std::vector<float> samples;
    const auto frames = static_cast<std::size_t>(seconds * 48000);
    for (std::size_t i = 0; i < frames; ++i) {
        const auto value = static_cast<float>(0.1 * std::sin(static_cast<double>(i) * 2 * 3.14159265 * 440 / 48000));
        samples.insert(samples.end(), {value, value});
    }
    return samples;
}

}  // namespace

void MakeClip(const std::string& path, const ClipRecipe& recipe) {
    Nimb::Authoring::VideoTrackOptions video;
    video.width = recipe.width;
    video.height = recipe.height;
    video.frameRateNumerator = recipe.frameRate;
    video.keyFrameInterval = recipe.pictureKeyInterval;
    video.preset = "veryfast";
    std::optional<Nimb::Authoring::AudioTrackOptions> audio;
    if (recipe.audioSeconds > 0) {
        audio.emplace();
    }
    Nimb::Authoring::Mp4Writer writer(path, video, audio);
    MeshTrack meshes(recipe);
    for (int number = 0; number < recipe.frameCount; ++number) {
        Nimb::Authoring::Bytes mesh = meshes.Encode(number);
        if (recipe.damage) {
            recipe.damage(number, mesh);
        }
        const std::vector<std::uint8_t> pixels = PaintNumber(number, recipe.width, recipe.height);
        writer.AddFrame(pixels.data(), static_cast<std::size_t>(recipe.width) * 4, mesh);
    }
    if (audio) {
        const std::vector<float> tone = MakeTone(recipe.audioSeconds);
        writer.AddAudio(tone.data(), tone.size() / 2);
    }
    writer.Finish(recipe.hasAttributes ? std::optional(meshes.Attributes()) : std::nullopt);
}

}  // namespace ClipTest
