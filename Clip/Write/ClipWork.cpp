#include "Clip/Write/ClipWork.h"

#include "Clip/Write/BitRatePlan.h"
#include "Clip/Write/OrderedTasks.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
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

bool WantsStrips(const EncodeOptions& options) {
    return options.indices == IndexCoding::Strips1 || options.indices == IndexCoding::Strips2;
}

const EncodeOptions& Checked(const EncodeOptions& options) {
    if (options.keyFrameInterval < 1) {
        throw std::invalid_argument("the key frame interval must be at least 1");
    }
    if (WantsStrips(options) && options.normals) {
        throw std::invalid_argument("strip frames cannot store normals");
    }
    if (options.track && options.normals) {
        throw std::invalid_argument("frames that are tracked cannot store normals");
    }
    if (options.track && !options.deltaFrames) {
        throw std::invalid_argument("tracking is of no use with key frames alone");
    }
    if (options.track && !(options.track->p95 > 0 && options.track->p95 <= options.track->largest)) {
        throw std::invalid_argument("of tracking's limits, the first must be above 0 and no larger than the second");
    }
    return options;
}

std::size_t ThreadsOf(const EncodeOptions& options) {
    return options.threads == 0 ? DefaultThreads() : options.threads;
}

PlanOptions PlanOptionsOf(const EncodeOptions& options) {
    return {options.deltaFrames ? options.keyFrameInterval : 1,
            options.segmentFrames,
            options.track,
            options.maxError,
            ThreadsOf(options),
            options.pWarnings,
            options.onLoaded};
}

double ErrorLimitOf(const MeshSegment& segment, const ClipPlan& plan, const EncodeOptions& options) {
    return segment.track && !options.maxError ? std::max(plan.errorLimit, options.track->CodingError())
                                              : plan.errorLimit;
}

const std::vector<std::size_t>& CheckedSubMeshes(const ClipPlan& plan, const EncodeOptions& options) {
    if (WantsStrips(options) && plan.subMeshes.size() > 1) {
        throw std::invalid_argument("strips work with a single texture only; this clip has " +
                                    std::to_string(plan.subMeshes.size()));
    }
    return plan.subMeshes;
}

}  // namespace

VideoTrackOptions PictureOptions(const EncodeOptions& options, const PictureSize& size, const FrameRate& rate) {
    VideoTrackOptions video = options.video;
    video.width = static_cast<int>(size.width);
    video.height = static_cast<int>(size.height);
    video.frameRateNumerator = rate.numerator;
    video.frameRateDenominator = rate.denominator;
    video.threads = 1;           // what comes out depends on their number
    video.keyFrameInterval = 0;  // the segment says where
    video.bitRate = 0;           // likewise, by the quality
    return video;
}

ClipExamination ExaminationOf(const ClipPlan& plan, const EncodeOptions& options, const PictureSize& atlas,
                              double frameRate) {
    const ClipSegment& last = plan.segments.back();
    ClipExamination clip{last.first + last.count,
                         frameRate,
                         plan.subMeshes.size(),
                         plan.maxFaces,
                         plan.maxWelded,
                         0,
                         {},
                         atlas,
                         plan.box,
                         plan.errorLimit,
                         std::nullopt};
    for (const ClipSegment& segment : plan.segments) {
        for (const MeshSegment& meshes : segment.meshes) {
            clip.keyFrames.push_back({meshes.first, meshes.reason});
            if (meshes.track) {
                clip.toTrack += meshes.count;
                clip.trackedErrorLimit = ErrorLimitOf(meshes, plan, options);
            }
        }
    }
    return clip;
}

ClipWork::ClipWork(const MeshSource& source, const EncodeOptions& encodeOptions, const EncodeProgress& progress)
    : options(Checked(encodeOptions)),
      rate(RateOf(source)),
      threads(ThreadsOf(options)),
      subMeshes(source, options.normals),
      plan(PlanClip(subMeshes, PlanOptionsOf(options),
                    [&progress](std::size_t done) { progress(EncodeStep::Examine, done); })),
      pictures(subMeshes, CheckedSubMeshes(plan, options), options.atlasLimit) {
    if (options.video.bitRate > 0) {
        PlanPictureBytes(
            pictures, VideoOptions(), PictureInterval(),
            static_cast<double>(options.video.bitRate) / 8 * static_cast<double>(source.FrameCount()) / rate.Value(),
            threads, plan.segments, [&progress](std::size_t done) { progress(EncodeStep::ExaminePictures, done); });
    }
}

ClipWork::ClipWork(const MeshSource& source, const EncodeOptions& encodeOptions, ClipPlan madeBefore)
    : options(Checked(encodeOptions)),
      rate(RateOf(source)),
      threads(ThreadsOf(options)),
      subMeshes(source, options.normals),
      plan(std::move(madeBefore)),
      pictures(subMeshes, CheckedSubMeshes(plan, options), options.atlasLimit) {}

CodingOptions ClipWork::MeshOptions(const MeshSegment& segment) const {
    CodingOptions out;
    out.frame.normals = options.normals;
    out.indices = options.indices;
    out.delta = options.delta;
    out.maxError = ErrorLimitOf(segment, plan, options);
    out.keyFrameInterval = options.deltaFrames ? options.keyFrameInterval : 1;
    return out;
}

std::size_t ClipWork::PictureInterval() const {
    return options.keyPictureInterval > 0
               ? options.keyPictureInterval
               : std::max<std::size_t>(static_cast<std::size_t>(std::lround(rate.Value())), 1);
}

}  // namespace Nimb::Authoring
