#include "Clip/Write/ClipEncoder.h"

#include "Clip/Write/AtlasPictures.h"
#include "Clip/Write/AudioEncoder.h"
#include "Clip/Write/ClipPlan.h"
#include "Clip/Write/ClipSegment.h"
#include "Clip/Write/FrameRate.h"
#include "Clip/Write/Mp4Writer.h"
#include "Clip/Write/OrderedTasks.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <utility>

namespace Nimb::Authoring {
namespace {

FrameRate RateOf(const MeshSource& source) {
    const double rate = source.FrameRate();
    if (!(rate > 0 && rate <= 1000)) {
        throw std::invalid_argument("the frame rate must be above 0 and at most 1000");
    }
    return ExactFrameRate(rate);
}

std::vector<PlacedSubMesh> PlaceSubMeshes(const std::vector<std::size_t>& subMeshes, const AtlasLayout& layout) {
    std::vector<PlacedSubMesh> placed;
    for (std::size_t i = 0; i < subMeshes.size(); ++i) {
        placed.push_back({subMeshes[i], std::nullopt});
        if (!layout.IsWhole()) {
            placed.back().textureTransform = SlotTransform(layout, i);
        }
    }
    return placed;
}

bool WantsStrips(const EncodeOptions& options) {
    return options.indices == IndexCoding::Strips1 || options.indices == IndexCoding::Strips2;
}

void CheckOptions(const EncodeOptions& options) {
    if (options.keyFrameInterval < 1) {
        throw std::invalid_argument("the key frame interval must be at least 1");
    }
    if (WantsStrips(options) && options.normals) {
        throw std::invalid_argument("strip frames cannot store normals");
    }
}

CodingOptions MeshOptions(const EncodeOptions& options, double errorLimit) {
    CodingOptions out;
    out.frame.normals = options.normals;
    out.indices = options.indices;
    out.delta = options.delta;
    out.maxError = errorLimit;
    out.keyFrameInterval = options.deltaFrames ? options.keyFrameInterval : 1;
    return out;
}

/// Where the key pictures are. A mesh key frame falls on one, so that playback can begin there with both; but not each
/// of several in a row, as in a clip whose surface is another in every frame. Apart from that there is one whenever the
/// interval is over, unless the picture has been the same all along.
class KeyPictures {
public:
    explicit KeyPictures(std::size_t interval) : m_Interval(interval) {}

    KeyPicture Next(bool isKeyFrame, const std::shared_ptr<const Image>& picture) {
        m_HasChanged = m_HasChanged || picture != m_Last;
        const bool isDue = m_SinceKey >= m_Interval && m_HasChanged;
        const bool begins = isKeyFrame && !m_WasKeyFrame;
        m_WasKeyFrame = isKeyFrame;
        m_Last = picture;
        ++m_SinceKey;
        if (!isDue && !begins) {
            return KeyPicture::Open;
        }
        m_SinceKey = 1;
        m_HasChanged = false;
        return KeyPicture::Here;
    }

private:
    const std::size_t m_Interval;
    std::shared_ptr<const Image> m_Last;
    std::size_t m_SinceKey = 0;  // pictures from the last key picture on
    bool m_HasChanged = false;   // since the last key picture
    bool m_WasKeyFrame = false;
};

std::size_t PictureInterval(const EncodeOptions& options, const FrameRate& rate) {
    return options.keyPictureInterval > 0
               ? options.keyPictureInterval
               : std::max<std::size_t>(static_cast<std::size_t>(std::lround(rate.Value())), 1);
}

/// Segments that may be encoded at the same time: their frames are in memory, in each a position for every vertex.
std::size_t SegmentsAtOnce(const ClipPlan& plan, std::size_t threads) {
    constexpr std::size_t memory = std::size_t{1} << 30;
    constexpr std::size_t bytesForFace = 16;  // a face has half a vertex, and seams repeat vertices
    std::size_t longest = 1;
    for (const Segment& segment : plan.segments) {
        longest = std::max(longest, segment.count);
    }
    return std::clamp<std::size_t>(memory / (longest * plan.maxFaces * bytesForFace + 1), 1, threads);
}

/// Gives the writer sound up to the end of its frames.
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
        std::vector<float> samples(count * c_ClipChannels);  // stays silent where the sound has ended
        m_Reader->Read(samples.data(), count);
        writer.AddAudio(samples.data(), count);
        m_Written = end;
    }

private:
    SoundSource* const m_Reader;
    const double m_FrameRate;
    std::size_t m_Written = 0;
};

/// The sums over all frames so far.
struct Written {
    FileAttributes attributes;
    EncodeReport report;

    std::size_t Frames() const { return attributes.frameCount; }
    void Count(const SegmentFrame& frame) {
        attributes.maxVertexCount = std::max(attributes.maxVertexCount, frame.encoded.numVertices);
        attributes.maxIndexCount = std::max(attributes.maxIndexCount, frame.encoded.numIndices);
        if (frame.surfaceError > report.maxError) {
            report.maxError = frame.surfaceError;
            report.maxErrorFrame = Frames();
        }
        if (frame.keyReason) {
            report.keyFrames.push_back({Frames(), *frame.keyReason});
        }
        ++attributes.frameCount;
    }
};

VideoTrackOptions VideoOptions(const EncodeOptions& options, const PictureSize& size, const FrameRate& rate) {
    VideoTrackOptions video = options.video;
    video.width = static_cast<int>(size.width);
    video.height = static_cast<int>(size.height);
    video.frameRateNumerator = rate.numerator;
    video.frameRateDenominator = rate.denominator;
    video.threads = static_cast<int>(options.threads);
    video.keyFrameInterval = 0;  // KeyPictures says where
    return video;
}

std::size_t ThreadsOf(const EncodeOptions& options) {
    return options.threads == 0 ? DefaultThreads() : options.threads;
}

/// Everything that is decided before the first frame is encoded. Cannot be moved: its members refer to each other.
struct Work {
    Work(const MeshSource& source, const EncodeOptions& options, const EncodeProgress& progress)
        : rate(RateOf(source)),
          threads(ThreadsOf(options)),
          subMeshes(source, options.normals),
          plan(PlanClip(
              subMeshes,
              {options.deltaFrames ? options.keyFrameInterval : 1, options.maxError, threads, options.pWarnings},
              [&progress](std::size_t done) { progress(EncodeStep::Examine, done); })),
          pictures(subMeshes, CheckedSubMeshes(plan, options), options.atlasLimit) {}
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    ClipExamination Examination() const {
        ClipExamination clip{
            subMeshes.Source().FrameCount(), rate.Value(), plan.subMeshes.size(), plan.maxFaces, plan.maxWelded, {},
            pictures.Layout().size,          plan.box,     plan.errorLimit};
        for (const Segment& segment : plan.segments) {
            clip.keyFrames.push_back({segment.first, segment.reason});
        }
        return clip;
    }

    const FrameRate rate;
    const std::size_t threads;
    const SubMeshSource subMeshes;
    const ClipPlan plan;
    const AtlasPictures pictures;

private:
    static const std::vector<std::size_t>& CheckedSubMeshes(const ClipPlan& plan, const EncodeOptions& options) {
        if (WantsStrips(options) && plan.subMeshes.size() > 1) {
            throw std::invalid_argument("strips work with a single texture only; this clip has " +
                                        std::to_string(plan.subMeshes.size()));
        }
        return plan.subMeshes;
    }
};

/// The frames' pictures in order, prepared a few ahead.
using Pictures = OrderedTasks<std::shared_ptr<const Image>>;
std::unique_ptr<Pictures> StartPictures(const Work& work) {
    const std::size_t threads = std::min<std::size_t>(work.threads, 4);
    return std::make_unique<Pictures>(
        "nimb atlas", work.subMeshes.Source().FrameCount(), threads, threads + 1,
        [&work](std::size_t frame, const std::atomic<bool>&) { return work.pictures.Picture(frame); });
}

/// Encodes all frames and hands them to the writer in order.
void WriteFrames(const Work& work, const EncodeOptions& options, SoundTrack& sound, Mp4Writer& writer, Written& written,
                 const EncodeProgress& progress) {
    const std::vector<Segment>& segments = work.plan.segments;
    const std::vector<PlacedSubMesh> placed = PlaceSubMeshes(work.plan.subMeshes, work.pictures.Layout());
    std::atomic<std::size_t> meshesDone{0};
    const std::size_t threads = std::min(SegmentsAtOnce(work.plan, work.threads), segments.size());
    const SegmentOptions segmentOptions{options.match, work.plan.surfaceLimit,
                                        MeshOptions(options, work.plan.errorLimit), work.threads / threads};
    OrderedTasks<std::vector<SegmentFrame>> meshes(
        "nimb mesh", segments.size(), threads, threads + 2, [&](std::size_t i, const std::atomic<bool>& stop) {
            std::vector<SegmentFrame> frames =
                EncodeClipSegment(work.subMeshes, placed, segments[i], segmentOptions, stop);
            meshesDone += frames.size();
            return frames;
        });
    KeyPictures keyPictures(PictureInterval(options, work.rate));
    const std::unique_ptr<Pictures> pictures = StartPictures(work);
    // A frame is half done when its mesh is encoded.
    const auto tell = [&] { progress(EncodeStep::Encode, (meshesDone + written.Frames()) / 2); };
    for (std::size_t i = 0; i < segments.size(); ++i) {
        for (const SegmentFrame& frame : meshes.Next(tell)) {
            const std::shared_ptr<const Image> picture = pictures->Next(tell);
            writer.AddFrame(picture->rgba.data(), picture->width * 4, frame.encoded.bytes,
                            keyPictures.Next(frame.encoded.isKeyFrame, picture));
            written.Count(frame);
            sound.AddUpTo(written.Frames(), writer);
            tell();
        }
    }
}

}  // namespace

ClipExamination ExamineClip(const MeshSource& source, const EncodeOptions& options, const EncodeProgress& progress) {
    CheckOptions(options);
    const Work work(source, options, progress);
    const std::unique_ptr<Pictures> pictures = StartPictures(work);
    for (std::size_t frame = 0; frame < source.FrameCount(); ++frame) {
        pictures->Next([&] { progress(EncodeStep::ExaminePictures, frame); });
    }
    return work.Examination();
}

EncodeReport EncodeClip(const MeshSource& source, SoundSource* audio, const std::string& path,
                        const EncodeOptions& options, const EncodeProgress& progress) {
    CheckOptions(options);
    const Work work(source, options, progress);
    Mp4Writer writer(path, VideoOptions(options, work.pictures.Layout().size, work.rate),
                     audio != nullptr ? std::optional(options.audio) : std::nullopt);
    SoundTrack sound(audio, work.rate.Value());
    Written written;
    WriteFrames(work, options, sound, writer, written, progress);
    const Box& box = work.plan.box;
    written.attributes.bboxMin = {box.min.x, box.min.y, box.min.z};
    written.attributes.bboxMax = {box.max.x, box.max.y, box.max.z};
    written.attributes.hasVertexNormals = options.normals ? 1u : 0u;
    writer.Finish(written.attributes);
    written.report.clip = work.Examination();
    written.report.damagedAudioPackets = audio != nullptr ? audio->DamagedPackets() : 0;
    return written.report;
}

}  // namespace Nimb::Authoring
