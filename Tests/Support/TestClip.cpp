#include "Tests/Support/TestClip.h"

#include "Tests/Support/CounterFrame.h"
#include "Tests/Support/Frames.h"

#include <algorithm>
#include <cmath>

namespace ClipTest {

using Nimb::Authoring::EncodedFrame;

namespace {

/// Numbered sheets in the recipe's codings.
std::vector<EncodedFrame> EncodeSheets(const ClipRecipe& recipe) {
    Nimb::Authoring::KeyFrameOptions key;
    key.indices = recipe.indices;
    key.normals = recipe.storeNormals;
    Nimb::Authoring::DeltaFrameOptions delta;
    delta.normals = recipe.storeNormals;
    delta.coding = recipe.delta.value_or(Nimb::Authoring::DeltaCoding::Plain);
    delta.maxError = 0.002;
    Nimb::Authoring::FrameEncoder encoder;
    std::vector<EncodedFrame> frames;
    for (int number = 0; number < recipe.frameCount; ++number) {
        const bool isKey = !recipe.delta || number % recipe.meshKeyInterval == 0;
        const int further = recipe.changesTopology ? number / recipe.meshKeyInterval % 2 : 0;
        const Nimb::Authoring::Mesh mesh = MakeNumberedMesh(number, recipe.meshColumns + further, recipe.meshRows);
        frames.push_back(isKey ? encoder.KeyFrame(mesh, key) : encoder.DeltaFrame(mesh, delta));
    }
    return frames;
}

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
    std::vector<EncodedFrame> frames = EncodeSheets(recipe);
    Nimb::Authoring::FileAttributes attributes = AttributesOf(frames);
    attributes.hasVertexNormals = recipe.storeNormals ? 1 : 0;
    for (int number = 0; recipe.damage && number < recipe.frameCount; ++number) {
        recipe.damage(number, frames[static_cast<std::size_t>(number)].bytes);
    }
    ClipTracks tracks{ClipTracks::SmallVideo(recipe.width, recipe.height), {}, recipe.audioSeconds};
    tracks.video.frameRateNumerator = recipe.frameRate;
    tracks.video.keyFrameInterval = recipe.pictureKeyInterval;
    WriteClip(path, frames, recipe.hasAttributes ? std::optional(attributes) : std::nullopt, tracks);
}

EncodedFrame EncodeTemporal(Nimb::Authoring::FrameEncoder& encoder, int number, bool isDelta) {
    constexpr auto plain = Nimb::Authoring::DeltaCoding::Plain;
    const NimbTest::TwoSubMeshes how{{1, 2}, {}, {plain, plain}};
    return how.Encode(encoder, MakeNumberedMesh(number), MakeNumberedMesh(number, 5, 4), isDelta);
}

Nimb::Authoring::FileAttributes AttributesOf(const std::vector<EncodedFrame>& frames) {
    Nimb::Authoring::FileAttributes attributes;
    Nimb::Authoring::Box box = frames.front().box;
    for (const EncodedFrame& frame : frames) {
        box = Nimb::Authoring::Union(box, frame.box);
        attributes.maxVertexCount = std::max(attributes.maxVertexCount, frame.numVertices);
        attributes.maxIndexCount = std::max(attributes.maxIndexCount, frame.numIndices);
    }
    attributes.frameCount = static_cast<UINT32>(frames.size());
    attributes.bboxMin = {box.min.x, box.min.y, box.min.z};
    attributes.bboxMax = {box.max.x, box.max.y, box.max.z};
    return attributes;
}

Nimb::Authoring::VideoTrackOptions ClipTracks::SmallVideo(int width, int height) {
    Nimb::Authoring::VideoTrackOptions video;
    video.width = width;
    video.height = height;
    video.preset = "veryfast";
    return video;
}

void WriteClip(const std::string& path, const std::vector<EncodedFrame>& frames,
               const std::optional<Nimb::Authoring::FileAttributes>& attributes, const ClipTracks& tracks) {
    const int width = tracks.video.width, height = tracks.video.height;
    std::optional<Nimb::Authoring::AudioTrackOptions> audio;
    if (tracks.audioSeconds > 0) {
        audio.emplace();
    }
    Nimb::Authoring::Mp4Writer writer(path, tracks.video, audio);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const int number = static_cast<int>(i);
        const auto pixels = tracks.paint ? tracks.paint(number) : PaintNumber(number, width, height);
        writer.AddFrame(pixels.data(), static_cast<std::size_t>(width) * 4, frames[i].bytes);
    }
    if (audio) {
        const std::vector<float> tone = MakeTone(tracks.audioSeconds);
        writer.AddAudio(tone.data(), tone.size() / 2);
    }
    writer.Finish(attributes);
}

}  // namespace ClipTest
