#include "Clip/Write/ClipPlan.h"

#include "Authoring/Scene/SurfaceRun.h"
#include "Clip/Write/OrderedTasks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace Nimb::Authoring {
namespace {

/// Frames that one task looks at. Each task loads one more, the one before its first.
constexpr std::size_t c_BlockFrames = 16;

/// A frame with more triangles of another topology than this share begins a segment. What differs less may still go on
/// with the run that its segment has grown by then, or become a key frame inside the segment.
constexpr double c_ClearlyDiffering = 1.0 / 64;

struct ExaminedFrame {
    std::vector<bool> present;  // by sub-mesh
    std::optional<Box> box;     // none: the frame is empty
    double keyFrameError = 0;   // at most, of any sub-mesh
    double trackedError = 0;    // likewise, of a tracked surface
    std::size_t faces = 0;
    std::size_t welded = 0;

    std::optional<FaceDifference> difference;  // from the frame before, of the sub-mesh with the smallest share
};

double Diagonal(const Box& box) {
    return std::hypot(static_cast<double>(box.max.x) - box.min.x, static_cast<double>(box.max.y) - box.min.y,
                      static_cast<double>(box.max.z) - box.min.z);
}

double DefaultLimit(const Box& box) {
    return std::max(Diagonal(box) / 10000, 1e-12);
}

/// Half a 16-bit step on each axis, plus the rounding of single precision in the decoder.
double KeyFrameError(const Box& box) {
    const auto axis = [](double min, double max) {
        constexpr double rounding = 4.0 / (1 << 24);
        return (max - min) / (2 * 65535) + std::max(std::abs(min), std::abs(max)) * rounding;
    };
    return std::hypot(axis(box.min.x, box.max.x), axis(box.min.y, box.max.y), axis(box.min.z, box.max.z));
}

Box Widened(const Box& box, double by) {
    const auto f = static_cast<float>(by);
    return {{box.min.x - f, box.min.y - f, box.min.z - f}, {box.max.x + f, box.max.y + f, box.max.z + f}};
}

ExaminedFrame Examine(const std::vector<Mesh>& meshes, const std::vector<Mesh>& before,
                      const std::optional<TrackOptions>& track) {
    ExaminedFrame examined;
    examined.present.resize(meshes.size());
    for (std::size_t i = 0; i < meshes.size(); ++i) {
        if (meshes[i].faces.empty()) {
            continue;
        }
        const Box box = BoundingBox(meshes[i].positions);
        examined.present[i] = true;
        examined.faces += meshes[i].faces.size();
        examined.box = examined.box ? Union(*examined.box, box) : box;
        examined.keyFrameError = std::max(examined.keyFrameError, KeyFrameError(box));
        if (track) {
            examined.trackedError = std::max(examined.trackedError, KeyFrameError(Widened(box, track->largest)));
        }
        if (!before.empty() && !before[i].faces.empty()) {
            const FaceDifference difference = CompareFaces(before[i], meshes[i]);
            if (!examined.difference || difference.Share() < examined.difference->Share()) {
                examined.difference = difference;
            }
        }
    }
    return examined;
}

std::vector<ExaminedFrame> ExamineBlock(const SubMeshSource& subMeshes, std::size_t block, const PlanOptions& options,
                                        const std::atomic<bool>& stop) {
    const std::size_t first = block * c_BlockFrames;
    const std::size_t end = std::min(first + c_BlockFrames, subMeshes.Source().FrameCount());
    std::vector<ExaminedFrame> frames;
    std::vector<Mesh> before = first == 0 ? std::vector<Mesh>() : subMeshes.Load(first - 1);
    for (std::size_t frame = first; frame < end && !stop; ++frame) {
        std::size_t welded = 0;
        std::vector<Mesh> meshes = subMeshes.Load(frame, &welded);
        frames.push_back(Examine(meshes, before, options.track));
        frames.back().welded = welded;
        if (options.onLoaded) {
            options.onLoaded(frame);
        }
        before = std::move(meshes);
    }
    return frames;
}

/// A number with three digits, rounded up so that the limit can still be kept.
std::string RoundedUp(double value) {
    const double unit = std::pow(10.0, std::floor(std::log10(value)) - 2);
    char text[32];
    std::snprintf(text, sizeof(text), "%.3g", std::ceil(value / unit) * unit);
    return text;
}

double ChooseLimit(const PlanOptions& options, double usual, double possible, const std::string& worstFrame) {
    char text[160];
    if (!options.errorLimit) {
        if (usual < possible && options.pWarnings != nullptr) {
            std::snprintf(text, sizeof(text),
                          "positions are so far from the origin that single precision cannot keep the usual error "
                          "limit of %.3g; the limit is %s instead",
                          usual, RoundedUp(possible).c_str());
            options.pWarnings->Add(text, worstFrame);
        }
        return std::max(usual, possible);
    }
    if (*options.errorLimit < possible) {
        std::snprintf(text, sizeof(text), "%g", *options.errorLimit);
        throw std::invalid_argument(std::string("an error limit of ") + text +
                                    " cannot be kept: key frames store positions in 16 bits, which allows " +
                                    RoundedUp(possible) + " (" + worstFrame + ")");
    }
    return *options.errorLimit;
}

std::vector<MeshSegment> CutIntoSegments(const std::vector<ExaminedFrame>& frames, std::size_t interval) {
    using Cause = KeyFrameReason::Cause;
    std::vector<MeshSegment> segments;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::optional<FaceDifference>& difference = frames[i].difference;
        if (i == 0) {
            segments.push_back({i, 0, {Cause::First, {}, {}}});
        } else if (!difference || difference->Share() > c_ClearlyDiffering) {
            segments.push_back({i, 0, {Cause::NewTopology, difference.value_or(FaceDifference()), {}}});
        } else if (segments.back().count == interval) {
            segments.push_back({i, 0, {Cause::Interval, {}, {}}});
        }
        ++segments.back().count;
    }
    return segments;
}

/// Puts neighbouring frames into stretches that are to be tracked, at most so many into one, where each would be a
/// segment of its own otherwise.
std::vector<MeshSegment> PutIntoStretches(const std::vector<MeshSegment>& segments,
                                          const std::vector<ExaminedFrame>& frames, std::size_t most) {
    const auto isAlone = [&](const MeshSegment& segment) { return segment.count == 1 && frames[segment.first].box; };
    std::vector<MeshSegment> stretches;
    bool goesOn = false;  // the last one is of frames that are alone
    for (const MeshSegment& segment : segments) {
        if (most > 1 && goesOn && isAlone(segment) &&
            frames[segment.first].present == frames[segment.first - 1].present) {
            if (stretches.back().count < most) {
                ++stretches.back().count;
                stretches.back().track = true;
                continue;
            }
            stretches.push_back({segment.first, 1, {KeyFrameReason::Cause::Interval, {}, {}}});
        } else {
            stretches.push_back(segment);
            goesOn = isAlone(segment);
        }
    }
    return stretches;
}

/// Makes room for tracked surfaces, which may leave the source's a little. Returns what their key frames can keep.
double MakeRoom(const std::vector<MeshSegment>& segments, const std::vector<ExaminedFrame>& frames, double largest,
                Box& box) {
    double possible = 0;
    for (const MeshSegment& segment : segments) {
        for (std::size_t i = segment.first; segment.track && i < segment.first + segment.count; ++i) {
            possible = std::max(possible, frames[i].trackedError);
        }
    }
    box = possible > 0 ? Widened(box, largest) : box;
    return possible;
}

/// A segment of one frame would let two key pictures of different encoders meet, which H.264 wants told apart.
std::vector<ClipSegment> PutTogether(const std::vector<MeshSegment>& meshes, std::size_t most) {
    std::vector<ClipSegment> segments;
    for (const MeshSegment& mesh : meshes) {
        if (segments.empty() || (segments.back().count + mesh.count > most && segments.back().count > 1)) {
            segments.push_back({mesh.first, 0, {}, 0});
        }
        segments.back().count += mesh.count;
        segments.back().meshes.push_back(mesh);
    }
    if (segments.size() > 1 && segments.back().count == 1) {
        ClipSegment& before = segments[segments.size() - 2];
        before.meshes.push_back(segments.back().meshes.front());
        ++before.count;
        segments.pop_back();
    }
    return segments;
}

}  // namespace

ClipPlan PlanClip(const SubMeshSource& subMeshes, const PlanOptions& options,
                  const std::function<void(std::size_t)>& progress) {
    const std::size_t frameCount = subMeshes.Source().FrameCount();
    const std::size_t blocks = (frameCount + c_BlockFrames - 1) / c_BlockFrames;
    OrderedTasks<std::vector<ExaminedFrame>> tasks("nimb examine", blocks, options.threads, 2 * options.threads,
                                                   [&](std::size_t block, const std::atomic<bool>& stop) {
                                                       return ExamineBlock(subMeshes, block, options, stop);
                                                   });
    ClipPlan plan;
    std::vector<ExaminedFrame> frames;
    std::optional<Box> box;
    std::vector<bool> present(subMeshes.Count());
    double possible = 0;
    std::size_t worst = 0;
    std::size_t frame = 0;
    for (std::size_t block = 0; block < blocks; ++block) {
        for (ExaminedFrame& examined : tasks.Next([&] { progress(frame); })) {
            for (std::size_t i = 0; i < present.size(); ++i) {
                present[i] = present[i] || examined.present[i];
            }
            if (examined.box) {
                box = box ? Union(*box, *examined.box) : *examined.box;
            }
            plan.maxFaces = std::max(plan.maxFaces, examined.faces);
            plan.maxWelded = std::max(plan.maxWelded, examined.welded);
            if (examined.keyFrameError > possible) {
                possible = examined.keyFrameError;
                worst = frame;
            }
            frames.push_back(std::move(examined));
            ++frame;
        }
        progress(frame);
    }
    if (!box) {
        throw InputError(subMeshes.Source().FrameName(0) + ": neither this frame nor any other has a triangle");
    }
    plan.box = *box;
    for (std::size_t i = 0; i < present.size(); ++i) {
        if (present[i]) {
            plan.subMeshes.push_back(i);
        }
    }
    std::vector<MeshSegment> meshes = CutIntoSegments(frames, options.keyFrameInterval);
    const double usual = DefaultLimit(plan.box);
    if (options.track) {
        meshes = PutIntoStretches(meshes, frames, std::min(options.keyFrameInterval, options.segmentFrames));
        possible = std::max(possible, MakeRoom(meshes, frames, options.track->largest, plan.box));
    }
    plan.errorLimit = ChooseLimit(options, usual, possible, subMeshes.Source().FrameName(worst));
    plan.surfaceLimit = std::min(plan.errorLimit / 2, plan.errorLimit - possible);
    plan.segments = PutTogether(meshes, options.segmentFrames);
    return plan;
}

}  // namespace Nimb::Authoring
