#include "Clip/Write/ClipEncoder.h"

#include "Clip/Write/ClipAssembly.h"
#include "Clip/Write/ClipSegment.h"
#include "Clip/Write/ClipWork.h"
#include "Clip/Write/OrderedTasks.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace Nimb::Authoring {

ClipExamination ExamineClip(const MeshSource& source, const EncodeOptions& options, const EncodeProgress& progress) {
    const ClipWork work(source, options, progress);
    const std::size_t threads = std::min<std::size_t>(work.threads, 4);
    OrderedTasks<std::shared_ptr<const Image>> pictures(
        "nimb atlas", source.FrameCount(), threads, threads + 1,
        [&work](std::size_t frame, const std::atomic<bool>&) { return work.pictures.Picture(frame); });
    for (std::size_t frame = 0; frame < source.FrameCount(); ++frame) {
        pictures.Next([&] { progress(EncodeStep::ExaminePictures, frame); });
    }
    return work.Examination();
}

EncodeReport EncodeClip(const MeshSource& source, SoundSource* audio, const std::string& path,
                        const EncodeOptions& options, const EncodeProgress& progress) {
    const ClipWork work(source, options, progress);
    const std::vector<ClipSegment>& segments = work.plan.segments;
    ClipAssembly clip(path, options, work.Examination(), audio);
    SegmentProgress done;
    const SegmentThreads threads = ShareThreads(work, segments.size());
    OrderedTasks<EncodedSegment> tasks("nimb segment", segments.size(), threads.segments, threads.segments + 1,
                                       [&](std::size_t i, const std::atomic<bool>& stop) {
                                           return EncodeClipSegment(work, segments[i], threads, done, stop);
                                       });
    const std::size_t toTrack = work.Examination().toTrack;
    const auto tell = [&] { done.Tell(source.FrameCount(), toTrack, progress); };
    for (std::size_t i = 0; i < segments.size(); ++i) {
        clip.Add(tasks.Next(tell));
        tell();
    }
    return clip.Finish();
}

}  // namespace Nimb::Authoring
