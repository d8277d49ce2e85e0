#include "Clip/Write/ClipSegment.h"

#include "Authoring/Codec/MeshPayload.h"
#include "Clip/Write/BitRatePlan.h"
#include "Clip/Write/KeyPictures.h"
#include "Clip/Write/MeshSegment.h"
#include "Clip/Write/OrderedTasks.h"
#include "Clip/Write/PictureConverter.h"
#include "Clip/Write/SegmentTracks.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace Nimb::Authoring {
namespace {

std::vector<PlacedSubMesh> PlaceSubMeshes(const ClipWork& work) {
    const AtlasLayout& layout = work.pictures.Layout();
    std::vector<PlacedSubMesh> placed;
    for (std::size_t i = 0; i < work.plan.subMeshes.size(); ++i) {
        placed.push_back({work.plan.subMeshes[i], std::nullopt});
        if (!layout.IsWhole()) {
            placed.back().textureTransform = SlotTransform(layout, i);
        }
    }
    return placed;
}

void Check(const std::atomic<bool>& stop) {
    if (stop) {
        throw Stopped();
    }
}

/// The frames' pictures in order, prepared a few ahead.
using Pictures = OrderedTasks<std::shared_ptr<const Image>>;

std::shared_ptr<TrackedStretch> Track(const ClipWork& work, const MeshSegment& mesh, std::size_t threads,
                                      SegmentProgress& progress, const std::atomic<bool>& stop) {
    std::atomic<std::size_t> told{0};
    const auto tell = [&](std::size_t done) {
        const std::size_t before = told.exchange(done);
        progress.tracked += done - before;  // also backwards: unsigned numbers wrap
    };
    auto stretch = std::make_shared<TrackedStretch>(work.subMeshes, mesh, *work.options.track, threads, stop, tell);
    tell(mesh.count);
    return stretch;
}

/// The meshes of a segment's frames, which are encoded ahead of the pictures.
class Meshes {
public:
    Meshes(const ClipWork& work, const ClipSegment& segment, SegmentTracks& tracks, std::size_t threads,
           SegmentProgress& progress, const std::atomic<bool>& stop)
        : m_Stop(stop),
          m_Placed(PlaceSubMeshes(work)),
          m_Options{work.options.match,
                    work.plan.surfaceLimit,
                    {},
                    std::max<std::size_t>(threads / segment.meshes.size(), 1)},
          m_Tasks("nimb mesh", segment.meshes.size(), std::min(threads, segment.meshes.size()), threads + 2,
                  [this, &work, &segment, &tracks, &progress](std::size_t i, const std::atomic<bool>& stopTask) {
                      const MeshSegment& mesh = segment.meshes[i];
                      const TrackedStretch* const pTracked =
                          mesh.track ? &tracks.Make(
                                           i, [&] { return Track(work, mesh, m_Options.threads, progress, stopTask); })
                                     : nullptr;
                      SegmentOptions options = m_Options;
                      options.coding = work.MeshOptions(mesh);
                      std::vector<SegmentFrame> frames =
                          EncodeMeshSegment(work.subMeshes, m_Placed, mesh, pTracked, options, stopTask);
                      progress.meshes += frames.size();
                      return frames;
                  }) {}

    SegmentFrame Next() {
        if (m_Next == m_Frames.size()) {
            m_Frames = m_Tasks.Next([this] { Check(m_Stop); });
            m_Next = 0;
        }
        return std::move(m_Frames.at(m_Next++));
    }

private:
    const std::atomic<bool>& m_Stop;
    const std::vector<PlacedSubMesh> m_Placed;
    const SegmentOptions m_Options;
    std::vector<SegmentFrame> m_Frames;
    std::size_t m_Next = 0;
    OrderedTasks<std::vector<SegmentFrame>> m_Tasks;
};

/// A mesh as it waits for its picture.
struct MeshOfFrame {
    Bytes unit;
    bool isKeyFrame = false;
};

/// Encodes the pictures of a segment once. `meshOf` gives the mesh of each frame, in order.
template <class MeshOf>
std::vector<VideoSample> EncodePictures(const ClipWork& work, const ClipSegment& segment, const SegmentTracks& tracks,
                                        const VideoTrackOptions& options, const SegmentThreads& threads,
                                        const std::atomic<bool>& stop, MeshOf&& meshOf) {
    constexpr std::size_t memory = std::size_t{1} << 30;
    const std::size_t loaders = std::min<std::size_t>(threads.pictures, 4);
    Pictures pictures("nimb atlas", segment.count, loaders, loaders + 1,
                      [&work, &segment, &tracks](std::size_t i, const std::atomic<bool>& stopTask) {
                          const std::size_t frame = segment.first + i;
                          TrackedStretch* const pTracked = tracks.Of(frame, stopTask);
                          return pTracked == nullptr
                                     ? work.pictures.Picture(frame)
                                     : work.pictures.Compose(pTracked->Textures(frame, work.plan.subMeshes));
                      });
    PictureConverter converter(options.width, options.height);
    KeyPictures keys(work.PictureInterval());
    VideoParts parts(options, threads.pictures, memory / threads.segments, stop);
    std::shared_ptr<const Image> last;
    std::shared_ptr<const AVFrame> converted;
    for (std::size_t i = 0; i < segment.count; ++i) {
        MeshOfFrame mesh = meshOf(i);
        const std::shared_ptr<const Image> picture = pictures.Next([&stop] { Check(stop); });
        Check(stop);
        if (picture != last) {
            converted = converter.Convert(picture->rgba.data(), picture->width * 4);
            last = picture;
        }
        parts.Add(converted, std::move(mesh.unit), keys.Next(mesh.isKeyFrame, picture));
    }
    return parts.Finish();
}

/// The same, so that all pictures together have as many bytes as the plan gives them: with another quality until that
/// is so.
std::vector<VideoSample> EncodePicturesToSize(const ClipWork& work, const ClipSegment& segment,
                                              const SegmentTracks& tracks, const SegmentThreads& threads,
                                              const std::atomic<bool>& stop, const std::vector<MeshOfFrame>& meshes) {
    std::size_t meshBytes = 0;
    for (const MeshOfFrame& mesh : meshes) {
        meshBytes += mesh.unit.empty() ? 0 : mesh.unit.size() + 4;  // with its length
    }
    QualitySearch search(segment.pictureBytes);
    std::vector<VideoSample> best;
    while (const std::optional<double> quality = search.Next()) {
        VideoTrackOptions options = work.VideoOptions();
        options.quality = *quality;
        std::vector<VideoSample> samples = EncodePictures(work, segment, tracks, options, threads, stop,
                                                          [&meshes](std::size_t i) { return meshes[i]; });
        std::size_t bytes = 0;
        for (const VideoSample& sample : samples) {
            bytes += sample.bytes.size();
        }
        if (search.Tell(static_cast<double>(bytes - meshBytes))) {
            best = std::move(samples);
        }
    }
    return best;
}

}  // namespace

SegmentThreads ShareThreads(const ClipWork& work, std::size_t segments) {
    // Meshes: the frames of a segment are in memory, in each a position for every vertex.
    constexpr std::size_t meshMemory = std::size_t{1} << 30;
    constexpr std::size_t bytesForFace = 16;  // a face has half a vertex, and seams repeat vertices
    // Pictures: an encoder looks ahead by many, and keeps them in several forms.
    constexpr std::size_t pictureMemory = std::size_t{3} << 30;
    constexpr std::size_t lookAhead = 60;
    std::size_t longest = 1;
    for (const ClipSegment& segment : work.plan.segments) {
        longest = std::max(longest, segment.count);
    }
    const PictureSize& size = work.pictures.Layout().size;
    const std::size_t byMeshes = meshMemory / (longest * work.plan.maxFaces * bytesForFace + 1);
    const std::size_t encoders =
        std::clamp<std::size_t>(pictureMemory / (size.width * size.height * 3 / 2 * lookAhead), 1, work.threads);
    const std::size_t most = std::min({work.threads, segments, encoders});
    SegmentThreads threads;
    threads.segments = std::clamp<std::size_t>(byMeshes, 1, most);
    threads.meshes = (work.threads + threads.segments - 1) / threads.segments;
    threads.pictures = std::max<std::size_t>(encoders / threads.segments, 1);
    return threads;
}

EncodedSegment EncodeClipSegment(const ClipWork& work, const ClipSegment& segment, const SegmentThreads& threads,
                                 SegmentProgress& progress, const std::atomic<bool>& stop) {
    EncodedSegment encoded;
    SegmentTracks tracks(segment);
    Meshes meshes(work, segment, tracks, threads.meshes, progress, stop);
    const auto nextMesh = [&](std::size_t) {
        SegmentFrame frame = meshes.Next();
        encoded.frames.push_back(
            {frame.encoded.numVertices, frame.encoded.numIndices, frame.surfaceError, frame.keyReason, {}});
        const Bytes& bytes = frame.encoded.bytes;
        return MeshOfFrame{bytes.empty() ? Bytes() : WriteMeshNalUnit(bytes.data(), bytes.size(), NalFraming::Bare),
                           frame.encoded.isKeyFrame};
    };
    if (segment.pictureBytes > 0) {
        std::vector<MeshOfFrame> all;
        for (std::size_t i = 0; i < segment.count; ++i) {
            all.push_back(nextMesh(i));
        }
        encoded.samples = EncodePicturesToSize(work, segment, tracks, threads, stop, all);
        progress.pictures += segment.count;
    } else {
        encoded.samples = EncodePictures(work, segment, tracks, work.VideoOptions(), threads, stop, [&](std::size_t i) {
            ++progress.pictures;
            return nextMesh(i);
        });
    }
    for (std::size_t i = 0; i < segment.count; ++i) {
        if (const TrackedStretch* const pTracked = tracks.Of(segment.first + i, stop)) {
            encoded.frames[i].track = pTracked->Note(segment.first + i);
        }
    }
    return encoded;
}

}  // namespace Nimb::Authoring
