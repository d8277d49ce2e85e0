#include "Authoring/Clip/ClipEncoder.h"

#include "Authoring/Clip/AtlasPictures.h"
#include "Authoring/Clip/AudioEncoder.h"
#include "Authoring/Clip/ClipPlan.h"
#include "Authoring/Clip/ClipSegment.h"
#include "Authoring/Clip/FrameRate.h"
#include "Authoring/Clip/Mp4Writer.h"
#include "Authoring/Clip/OrderedTasks.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace Authoring {
namespace {

FrameRate RateOf(const MeshSource& source) {
    const double rate = source.FrameRate();
    if (!(rate > 0 && rate <= 1000)) {
        throw std::invalid_argument("a frame rate is above 0 and at most 1000");
    }
    return ExactFrameRate(rate);
}

std::vector<PlacedSubMesh> PlaceSubMeshes(const std::vector<std::size_t>& subMeshes, const AtlasLayout& layout) {
    std::vector<PlacedSubMesh> placed;
    for (std::size_t i = 0; i < subMeshes.size(); ++i) {
        placed.push_back({subMeshes[i], std::nullopt});
        if (!layout.IsWhole()) {
            placed.back().transform = SlotTransform(layout, i);
        }
    }
    return placed;
}

bool WantsStrips(const EncodeOptions& options) {
    return options.indices == IndexCoding::Strips1 || options.indices == IndexCoding::Strips2;
}

void CheckOptions(const EncodeOptions& options) {
    if (options.video.keyFrameInterval < 1) {
        throw std::invalid_argument("a key frame interval is at least 1");
    }
    if (WantsStrips(options) && options.normals) {
        throw std::invalid_argument("strip frames have no room for normals");
    }
}

ClipOptions MeshOptions(const EncodeOptions& options, double errorLimit) {
    ClipOptions out;
    out.frame.normals = options.normals;
    out.indices = options.indices;
    out.delta = options.delta;
    out.maxError = errorLimit;
    out.keyFrameInterval = options.deltaFrames ? static_cast<std::size_t>(options.video.keyFrameInterval) : 1;
    return out;
}

/// Gives the writer as much sound as there are frames.
class SoundTrack {
public:
    SoundTrack(SoundSource* reader, double frameRate) : m_Reader(reader), m_FrameRate(frameRate) {}

    void AddUpTo(std::size_t frames, Mp4Writer& writer) {
        if (m_Reader == nullptr) {
            return;
        }
        const auto end =
            static_cast<std::size_t>(std::llround(static_cast<double>(frames) / m_FrameRate * c_ClipSampleRate));
        const std::size_t count = end - m_Written;
        std::vector<float> samples(count * c_ClipChannels);  // silence where the sound has ended
        m_Reader->Read(samples.data(), count);
        writer.AddAudio(samples.data(), count);
        m_Written = end;
    }

private:
    SoundSource* const m_Reader;
    const double m_FrameRate;
    std::size_t m_Written = 0;
};

void Count(const EncodedFrame& frame, EncodeReport& report) {
    report.keyFrames += frame.isKeyFrame ? 1 : 0;
    report.maxVertices = std::max(report.maxVertices, frame.numVertices);
    report.maxIndices = std::max(report.maxIndices, frame.numIndices);
    report.meshBytes += frame.bytes.size();
    if (frame.maxError > report.maxError) {
        report.maxError = frame.maxError;
        report.maxErrorFrame = report.frames;
    }
    ++report.frames;
}

ClipVideoOptions VideoOptions(const EncodeOptions& options, const PictureSize& size, const FrameRate& rate) {
    ClipVideoOptions video = options.video;
    video.width = static_cast<int>(size.width);
    video.height = static_cast<int>(size.height);
    video.frameRateNumerator = rate.numerator;
    video.frameRateDenominator = rate.denominator;
    video.threads = static_cast<int>(options.threads);
    return video;
}

FileAttributes AttributesOf(const ClipPlan& plan, const EncodeReport& report, bool normals) {
    FileAttributes attributes;
    attributes.frameCount = static_cast<UINT32>(report.frames);
    attributes.maxVertexCount = report.maxVertices;
    attributes.maxIndexCount = report.maxIndices;
    attributes.bboxMin = {plan.box.min.x, plan.box.min.y, plan.box.min.z};
    attributes.bboxMax = {plan.box.max.x, plan.box.max.y, plan.box.max.z};
    attributes.hasVertexNormals = normals ? 1u : 0u;
    return attributes;
}

/// What the threads work on.
struct Work {
    const SubMeshes& subMeshes;
    const ClipPlan& plan;
    const AtlasPictures& pictures;
    std::vector<PlacedSubMesh> placed;
    ClipOptions meshOptions;
    std::size_t threads;
};

/// Encodes all frames and hands them to the writer in order.
void WriteFrames(const Work& work, SoundTrack& sound, Mp4Writer& writer, EncodeReport& report,
                 const EncodeProgress& progress) {
    const std::vector<Segment>& segments = work.plan.segments;
    std::atomic<std::size_t> meshesDone{0};
    OrderedTasks<std::vector<EncodedFrame>> meshes("nimb mesh", segments.size(), work.threads, work.threads + 2,
                                                   [&](std::size_t i, const std::atomic<bool>& stop) {
                                                       std::vector<EncodedFrame> frames =
                                                           EncodeClipSegment(work.subMeshes, work.placed, segments[i],
                                                                             work.meshOptions, stop);
                                                       meshesDone += frames.size();
                                                       return frames;
                                                   });
    const std::size_t pictureThreads = std::min<std::size_t>(work.threads, 4);
    OrderedTasks<std::shared_ptr<const Image>> pictures(
        "nimb atlas", work.subMeshes.Source().FrameCount(), pictureThreads, pictureThreads + 1,
        [&](std::size_t frame, const std::atomic<bool>&) { return work.pictures.Picture(frame); });
    // A frame is half done when its mesh is encoded.
    const auto tell = [&] { progress(EncodeStep::Encode, (meshesDone + report.frames) / 2); };
    for (std::size_t i = 0; i < segments.size(); ++i) {
        for (const EncodedFrame& frame : meshes.Next(tell)) {
            const std::shared_ptr<const Image> picture = pictures.Next(tell);
            writer.AddFrame(picture->rgba.data(), picture->width * 4, frame.bytes);
            Count(frame, report);
            sound.AddUpTo(report.frames, writer);
            tell();
        }
    }
}

}  // namespace

EncodeReport EncodeClip(const MeshSource& source, SoundSource* audio, const std::string& path,
                        const EncodeOptions& options, const EncodeProgress& progress) {
    CheckOptions(options);
    const FrameRate rate = RateOf(source);
    const std::size_t threads = options.threads == 0 ? DefaultThreads() : options.threads;
    const auto interval = static_cast<std::size_t>(options.video.keyFrameInterval);
    const SubMeshes subMeshes(source, options.normals);
    const ClipPlan plan = PlanClip(subMeshes, {interval, options.maxError, threads},
                                   [&progress](std::size_t done) { progress(EncodeStep::Examine, done); });
    if (WantsStrips(options) && plan.subMeshes.size() > 1) {
        throw std::invalid_argument("strips are for clips of one texture; this one has " +
                                    std::to_string(plan.subMeshes.size()));
    }
    const AtlasPictures pictures(subMeshes, plan.subMeshes, options.atlasLimit);

    EncodeReport report;
    report.subMeshes = plan.subMeshes.size();
    report.atlas = pictures.Layout().size;
    report.frameRate = rate.Value();
    report.errorLimit = plan.errorLimit;
    report.maxFaces = plan.maxFaces;
    Mp4Writer writer(path, VideoOptions(options, report.atlas, rate),
                     audio != nullptr ? std::optional(options.audio) : std::nullopt);
    SoundTrack sound(audio, report.frameRate);
    const Work work = {subMeshes,
                       plan,
                       pictures,
                       PlaceSubMeshes(plan.subMeshes, pictures.Layout()),
                       MeshOptions(options, plan.errorLimit),
                       threads};
    WriteFrames(work, sound, writer, report, progress);
    writer.Finish(AttributesOf(plan, report, options.normals));

    std::error_code ignored;
    report.fileBytes = std::filesystem::file_size(path, ignored);
    report.videoBytes = writer.VideoBytes();
    report.damagedAudioPackets = audio != nullptr ? audio->DamagedPackets() : 0;
    return report;
}

}  // namespace Authoring
