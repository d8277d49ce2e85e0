#include "Authoring/Track/TrackFrames.h"

#include "Authoring/Codec/Vectors.h"
#include "Authoring/Scene/MeshComparison.h"
#include "Authoring/Track/KeyFitness.h"
#include "Authoring/Track/SurfaceTracker.h"
#include "Authoring/Track/TrackMeasure.h"
#include "Authoring/Track/TrajectorySmoother.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <mutex>
#include <optional>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// Of a vertex, what is left over in many frames is noise of the key frame, which all of them would repeat; with fewer
/// observations than this it may be theirs.
constexpr double c_DoubtfulObservations = 2;

constexpr std::size_t c_FramesAroundKey = 4;  // on either side

// Of frames that serve equally well as a key, the one in the middle keeps the way to all others short. Units of fitness
// for each frame off it.
constexpr double c_CostOfFrame = 0.04;

// How far smoothing in time may take a vertex, as a share of the limit of the 95th percentile.
constexpr double c_LargestSmoothing = 0.3;

constexpr float c_LargestCorrection = 2;  // times the limit of the 95th percentile

/// A key surface in a frame.
struct TrackedFrame {
    Points positions;
    std::vector<Vec3> normals;
    std::vector<float> offset, leftOver;  ///< see FittedFrame
};

Mesh Checked(Mesh mesh) {
    CheckArrays(mesh);
    return mesh;
}

struct Followed {
    std::vector<TrackedFrame> frames;
    std::optional<TrackQuality> lost;  ///< of the frame after them, which was tried in vain
};

class Stretch {
public:
    Stretch(std::size_t count, const std::function<Mesh(std::size_t)>& load, const TrackOptions& options,
            const std::atomic<bool>& stop, const std::function<void(std::size_t)>& onTracked)
        : m_Load(load), m_Options(options), m_Stop(stop), m_OnTracked(onTracked), m_Fitness(count) {}

    std::vector<TrackedRun> Run(std::size_t threads) {
        ForEach(m_Fitness.size(), threads,
                [this](std::size_t frame) { m_Fitness[frame] = KeyFitness(WeldByPlace(Load(frame))); });
        return Track(0, m_Fitness.size(), threads);
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

    std::size_t ChooseKey(std::size_t begin, std::size_t end) const {
        const std::size_t middle = begin + (end - begin) / 2;
        const auto value = [&](std::size_t frame) {
            return m_Fitness[frame] -
                   c_CostOfFrame * static_cast<double>(std::max(frame, middle) - std::min(frame, middle));
        };
        std::size_t best = begin;
        for (std::size_t frame = begin; frame < end; ++frame) {
            if (value(frame) > value(best)) {
                best = frame;
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
            Correct(backwards.frames.size(), frames);
        }
        TakePoses(key, frames, threads, run);
        TellOne();
        return run;
    }

    /// The frames after the key frame, as far as its surface can be tracked.
    template <class FrameAt>
    Followed Follow(const KeySurface& key, std::size_t most, const FrameAt& frameAt) {
        Followed followed;
        std::vector<TrackedFrame>& frames = followed.frames;
        SurfaceTracker tracker(key);
        while (frames.size() < most && !m_Stop) {
            const TargetSurface target(Load(frameAt(frames.size())));
            FittedFrame fitted = tracker.Next(target);
            const TrackQuality quality = MeasureTrack(key, fitted.positions, target, m_Options);
            if (!IsTracked(quality)) {
                followed.lost = quality;
                break;
            }
            TrackedFrame& frame = frames.emplace_back();
            frame.positions = std::move(fitted.positions);
            frame.normals = PlainOf(fitted.normals);
            frame.offset.assign(fitted.offset.begin(), fitted.offset.end());
            frame.leftOver.assign(fitted.leftOver.begin(), fitted.leftOver.end());
            TellOne();
        }
        return followed;
    }

    static TrackedFrame RestingFrame(const KeySurface& key) {
        TrackedFrame frame;
        frame.positions = key.surface.positions;
        frame.normals = PlainOf(key.normals.OfVertices());
        frame.offset.assign(frame.positions.size(), 0);
        frame.leftOver.assign(frame.positions.size(), 0);
        return frame;
    }

    /// Takes the key frame's noise out of all frames: what all of them are off by, on average. The key frame itself is
    /// off by what the frames around it were moved by, too.
    void Correct(std::size_t key, std::vector<TrackedFrame>& frames) const {
        const float most = c_LargestCorrection * static_cast<float>(m_Options.p95);
        const std::size_t begin = key - std::min(key, c_FramesAroundKey);
        const std::size_t end = std::min(key + c_FramesAroundKey + 1, frames.size());
        for (std::size_t v = 0; v < frames.front().positions.size(); ++v) {
            double left = 0, seen = c_DoubtfulObservations;
            for (const TrackedFrame& frame : frames) {
                if (!std::isnan(frame.leftOver[v])) {
                    left += static_cast<double>(std::clamp(frame.leftOver[v], -most, most));
                    ++seen;
                }
            }
            double around = 0;
            for (std::size_t i = begin; i < end; ++i) {
                around += static_cast<double>(std::clamp(frames[i].offset[v], -most, most));
            }
            frames[key].positions[v] += around / static_cast<double>(end - begin) * VectorOf(frames[key].normals[v]);
            for (TrackedFrame& frame : frames) {
                frame.positions[v] += left / seen * VectorOf(frame.normals[v]);
            }
        }
    }

    /// The frames' positions without what no motion has.
    std::vector<Points> Smoothed(const std::vector<TrackedFrame>& frames, std::size_t threads) const {
        const std::size_t vertices = frames.front().positions.size();
        std::vector<Points> smoothed(frames.size(), Points(vertices));
        ForEach(threads, threads, [&](std::size_t part) {
            TrajectorySmoother smoother(frames.size());
            Points way(frames.size()), normals(frames.size());
            for (std::size_t v = vertices * part / threads; v < vertices * (part + 1) / threads; ++v) {
                for (std::size_t i = 0; i < frames.size(); ++i) {
                    way[i] = frames[i].positions[v];
                    normals[i] = VectorOf(frames[i].normals[v]);
                }
                const Points& smooth = smoother.Smooth(way, normals, c_LargestSmoothing * m_Options.p95);
                for (std::size_t i = 0; i < frames.size(); ++i) {
                    smoothed[i][v] = smooth[i];
                }
            }
        });
        return smoothed;
    }

    void TakePoses(const KeySurface& key, const std::vector<TrackedFrame>& frames, std::size_t threads,
                   TrackedRun& run) const {
        run.poses.resize(frames.size());
        run.qualities.resize(frames.size());
        const std::vector<Points> smoothed = Smoothed(frames, threads);
        ForEach(frames.size(), threads, [&](std::size_t i) {
            const Points* positions = &smoothed[i];
            if (frames.size() > 1) {
                const TargetSurface target(Load(run.first + i));
                run.qualities[i] = MeasureTrack(key, *positions, target, m_Options);
                if (!IsTracked(run.qualities[i])) {
                    positions = &frames[i].positions;
                    run.qualities[i] = MeasureTrack(key, *positions, target, m_Options);
                }
            }
            for (const UINT32 v : key.surface.vertexOf) {
                run.poses[i].positions.push_back(PlainOf((*positions)[v]));
            }
        });
        run.topology.positions = run.poses[run.key - run.first].positions;
    }

    bool IsTracked(const TrackQuality& quality) const {
        return quality.p95 <= m_Options.p95 && quality.patch <= m_Options.largest;
    }

    void TellOne() {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_OnTracked(++m_Done);
    }

    const std::function<Mesh(std::size_t)>& m_Load;
    const TrackOptions m_Options;
    const std::atomic<bool>& m_Stop;
    const std::function<void(std::size_t)>& m_OnTracked;
    std::vector<double> m_Fitness;  // of each frame, see KeyFitness
    std::mutex m_Mutex;
    std::size_t m_Done = 0;
};

}  // namespace

std::vector<TrackedRun> TrackFrames(std::size_t count, const std::function<Mesh(std::size_t)>& load,
                                    const TrackOptions& options, std::size_t threads, const std::atomic<bool>& stop,
                                    const std::function<void(std::size_t done)>& onTracked) {
    return Stretch(count, load, options, stop, onTracked).Run(std::max<std::size_t>(threads, 1));
}

}  // namespace Nimb::Authoring
