#include "Authoring/Track/TrackFrames.h"

#include "Authoring/Codec/Vectors.h"
#include "Authoring/Surface/ClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <mutex>
#include <optional>
#include <utility>

namespace Nimb::Authoring {
namespace {

std::vector<double> DistancesOf(const std::vector<Vec3>& positions, const ClosestPoint& surface) {
    std::vector<double> distances;
    for (const Vec3& p : positions) {
        distances.push_back(std::sqrt(surface.To(VectorOf(p)).squaredDistance));
    }
    return distances;
}

TrackQuality QualityOf(const Mesh& topology, const Pose& pose, const Mesh& source, const ClosestPoint& surface) {
    std::vector<double> distances = DistancesOf(pose.positions, surface);
    const std::vector<double> back = DistancesOf(source.positions, ClosestPoint(pose.positions, topology.faces));
    distances.insert(distances.end(), back.begin(), back.end());
    std::sort(distances.begin(), distances.end());
    TrackQuality quality;
    for (const double distance : distances) {
        quality.mean += distance / static_cast<double>(distances.size());
    }
    quality.p95 = distances[distances.size() * 95 / 100];
    quality.largest = distances.back();
    return quality;
}

struct Followed {
    std::vector<TrackedFrame> frames;
    std::optional<TrackQuality> lost;  ///< of the frame after them, which was tried in vain
};

class Stretch {
public:
    Stretch(std::size_t count, const std::function<Mesh(std::size_t)>& load, const TrackOptions& options,
            const std::atomic<bool>& stop, const std::function<void(std::size_t)>& onTracked)
        : m_Load(load), m_Options(options), m_Stop(stop), m_OnTracked(onTracked), m_Apartness(count) {}

    std::vector<TrackedRun> Run(std::size_t threads) {
        ForEach(m_Apartness.size(), threads,
                [this](std::size_t frame) { m_Apartness[frame] = Authoring::Apartness(WeldByPlace(Load(frame))); });
        return Track(0, m_Apartness.size(), threads);
    }

private:
    Mesh Load(std::size_t frame) const { return Checked(m_Load(frame)); }

    template <class Task>
    void ForEach(std::size_t count, std::size_t threads, const Task& task) const {
        std::atomic<std::size_t> next{0};
        const auto work = [&] {
            for (std::size_t i = next++; i < count && !m_Stop; i = next++) {
                task(i);
            }
        };
        std::vector<std::future<void>> helpers;
        for (std::size_t i = 1; i < std::min(threads, count); ++i) {
            helpers.push_back(std::async(std::launch::async, work));
        }
        work();
        for (std::future<void>& helper : helpers) {
            helper.get();
        }
    }

    /// Calls both, the second on a thread of its own if there is one.
    template <class A, class B>
    static void Both(std::size_t threads, const A& a, const B& b) {
        if (threads < 2) {
            a();
            b();
            return;
        }
        std::future<void> second = std::async(std::launch::async, b);
        a();
        second.get();
    }

    /// In the middle half of the frames one in which as much as possible is apart, and the nearest such to the middle.
    std::size_t ChooseKey(std::size_t begin, std::size_t end) const {
        const std::size_t count = end - begin;
        const std::size_t middle = begin + count / 2;
        std::size_t best = middle;
        for (std::size_t distance = 1; distance <= count / 4; ++distance) {
            for (const std::size_t frame : {middle - distance, middle + distance}) {
                if (frame < end && m_Apartness[frame] > m_Apartness[best]) {
                    best = frame;
                }
            }
        }
        return best;
    }

    std::vector<TrackedRun> Track(std::size_t begin, std::size_t end, std::size_t threads) {
        std::vector<TrackedRun> runs;
        if (begin == end || m_Stop) {
            return runs;
        }
        TrackedRun run = RunAround(ChooseKey(begin, end), begin, end, threads);
        const std::size_t runEnd = run.first + run.poses.size();
        std::vector<TrackedRun> before, after;
        Both(
            threads, [&] { before = Track(begin, run.first, std::max<std::size_t>(threads / 2, 1)); },
            [&, first = runEnd] { after = Track(first, end, std::max<std::size_t>(threads / 2, 1)); });
        std::move(before.begin(), before.end(), std::back_inserter(runs));
        runs.push_back(std::move(run));
        std::move(after.begin(), after.end(), std::back_inserter(runs));
        return runs;
    }

    TrackedRun RunAround(std::size_t keyFrame, std::size_t begin, std::size_t end, std::size_t threads) {
        TrackedRun run;
        run.key = keyFrame;
        run.topology = Load(keyFrame);
        run.topology.normals.clear();
        const KeySurface key(run.topology);
        Followed forwards, backwards;
        Both(
            threads,
            [&] { forwards = Follow(key, end - keyFrame - 1, [&](std::size_t i) { return keyFrame + 1 + i; }); },
            [&] { backwards = Follow(key, keyFrame - begin, [&](std::size_t i) { return keyFrame - 1 - i; }); });
        run.first = keyFrame - backwards.frames.size();
        run.before = backwards.lost;
        run.after = forwards.lost;
        std::vector<TrackedFrame> frames(std::make_move_iterator(backwards.frames.rbegin()),
                                         std::make_move_iterator(backwards.frames.rend()));
        frames.push_back(RestingFrame(key));
        std::move(forwards.frames.begin(), forwards.frames.end(), std::back_inserter(frames));
        if (frames.size() > 1) {
            Correct(frames);
        }
        TakePoses(key, frames, threads, run);
        Tell(frames.size());
        return run;
    }

    /// The frames after the key frame, as far as its surface can be tracked.
    template <class FrameAt>
    Followed Follow(const KeySurface& key, std::size_t most, const FrameAt& frameAt) const {
        Followed followed;
        std::vector<TrackedFrame>& frames = followed.frames;
        SurfaceTracker tracker(key);
        while (frames.size() < most && !m_Stop) {
            const TargetSurface target(Load(frameAt(frames.size())));
            FittedFrame fitted = tracker.Next(target);
            const TrackQuality quality = MeasureTrack(key, fitted.positions, target, m_Options);
            if (getenv("NIMB_TRACK_DEBUG"))
                fprintf(stderr, "key ? frame %zu mean %.3f p95 %.3f max %.3f\n", frameAt(frames.size()),
                        quality.mean * 1e3, quality.p95 * 1e3, quality.largest * 1e3);
            if (quality.p95 > m_Options.p95 || quality.largest > m_Options.largest) {
                followed.lost = quality;
                break;
            }
            TrackedFrame& frame = frames.emplace_back();
            frame.positions = std::move(fitted.positions);
            std::transform(fitted.normals.begin(), fitted.normals.end(), std::back_inserter(frame.normals), PlainOf);
            frame.leftOver.assign(fitted.leftOver.begin(), fitted.leftOver.end());
        }
        return followed;
    }

    static TrackedFrame RestingFrame(const KeySurface& key) {
        TrackedFrame frame;
        frame.positions = key.surface.positions;
        std::transform(key.normals.begin(), key.normals.end(), std::back_inserter(frame.normals), PlainOf);
        frame.leftOver.assign(frame.positions.size(), 0);
        return frame;
    }

    /// Takes the key frame's noise out of all frames: what all of them are off by, on average.
    void Correct(std::vector<TrackedFrame>& frames) const {
        const float most = c_LargestCorrection * static_cast<float>(m_Options.p95);
        for (std::size_t v = 0; v < frames.front().positions.size(); ++v) {
            double sum = 0, count = c_DoubtfulObservations;
            for (const TrackedFrame& frame : frames) {
                if (!std::isnan(frame.leftOver[v])) {
                    sum += static_cast<double>(std::clamp(frame.leftOver[v], -most, most));
                    ++count;
                }
            }
            for (TrackedFrame& frame : frames) {
                frame.positions[v] += sum / count * VectorOf(frame.normals[v]);
            }
        }
    }

    void TakePoses(const KeySurface& key, const std::vector<TrackedFrame>& frames, std::size_t threads,
                   TrackedRun& run) const {
        run.poses.resize(frames.size());
        run.qualities.resize(frames.size());
        ForEach(frames.size(), threads, [&](std::size_t i) {
            for (const UINT32 v : key.surface.vertexOf) {
                run.poses[i].positions.push_back(PlainOf(frames[i].positions[v]));
            }
            if (frames.size() > 1) {
                const TargetSurface target(Load(run.first + i));
                run.qualities[i] = MeasureTrack(key, frames[i].positions, target, m_Options);
            }
        });
        run.topology.positions = run.poses[run.key - run.first].positions;
    }

    void Tell(std::size_t tracked) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Done += tracked;
        m_OnTracked(m_Done);
    }

    const std::function<Mesh(std::size_t)>& m_Load;
    const TrackOptions m_Options;
    const std::atomic<bool>& m_Stop;
    const std::function<void(std::size_t)>& m_OnTracked;
    std::vector<int> m_Apartness;  // of each frame
    std::mutex m_Mutex;
    std::size_t m_Done = 0;
};

}  // namespace

std::vector<TrackedRun> TrackFrames(std::size_t count, const std::function<Mesh(std::size_t)>& load,
                                    const TrackOptions& options, std::size_t, const std::atomic<bool>& stop,
                                    const std::function<void(std::size_t done)>& onTracked) {
    std::vector<TrackedRun> runs;
    for (std::size_t frame = 0; frame < count && !stop; ++frame) {
        Mesh mesh = load(frame);
        if (!runs.empty()) {
            TrackedRun& run = runs.back();
            const ClosestPoint surface(mesh.positions, mesh.faces);
            Pose pose = run.poses.back();
            for (Vec3& p : pose.positions) {
                const glm::dvec3 nearest = surface.To(VectorOf(p)).position;
                p = {static_cast<float>(nearest.x), static_cast<float>(nearest.y), static_cast<float>(nearest.z)};
            }
            const TrackQuality quality = QualityOf(run.topology, pose, mesh, surface);
            if (quality.p95 <= options.p95 && quality.largest <= options.largest) {
                run.poses.push_back(std::move(pose));
                run.qualities.push_back(quality);
                onTracked(frame + 1);
                continue;
            }
        }
        TrackedRun& run = runs.emplace_back();
        run.first = run.key = frame;
        run.poses.push_back({mesh.positions, {}});
        run.qualities.emplace_back();
        run.topology = std::move(mesh);
        onTracked(frame + 1);
    }
    return runs;
}

}  // namespace Nimb::Authoring
