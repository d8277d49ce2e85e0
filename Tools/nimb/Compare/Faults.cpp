#include "Tools/nimb/Compare/Faults.h"

#include "Tools/nimb/Compare/SwappedFrames.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace Nimb::Tool {
namespace {

/// Of the clip's area.
constexpr double c_LeastFlipped = 0.002;
/// Seconds: less is within what an encoder of sound does, and nobody notices it.
constexpr double c_LeastOffset = 0.02;
/// Sounds that correlate less are not the same.
constexpr double c_LeastLikeness = 0.3;

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...) {
    char text[400];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string PointText(const glm::dvec3& p) {
    return Format("(%.2f, %.2f, %.2f) m", p.x, p.y, p.z);
}

/// A fault of one frame, and how bad it is: of a run of frames with the same fault, the worst one's text stays.
struct Find {
    std::string kind;
    std::string text;
    double weight = 0;
    std::ptrdiff_t step = 0;  ///< faults of one kind that differ in this are different
};

Find LoneFind(const char* kind, const char* whose, const char* what, const LonePart& part) {
    return {kind,
            Format("%.1f %% of the %s's surface %s, around %s, up to %.1f mm away", part.share * 100, whose, what,
                   PointText(part.centre).c_str(), part.reach * 1000),
            part.share};
}

std::vector<Find> SurfaceFinds(const FrameResult& r) {
    std::vector<Find> finds;
    if (r.parts.IsMissing()) {
        finds.push_back(LoneFind("missing", "source", "is missing", r.parts.missing));
    } else if (r.parts.IsExtra()) {
        finds.push_back(LoneFind("extra", "clip", "is not the source's", r.parts.extra));
    } else if (r.parts.IsMisplaced()) {
        finds.push_back(LoneFind("misplaced", "clip", "is out of place", r.parts.extra));
    }
    if (r.shift.IsFault(r.peak)) {
        const glm::dvec3 mm = r.shift.offset * 1000.0;
        finds.push_back(
            {"shifted",
             Format("the whole surface is %.2f mm off, by (%.2f, %.2f, %.2f) mm", glm::length(mm), mm.x, mm.y, mm.z),
             glm::length(mm)});
    }
    if (r.flippedShare >= c_LeastFlipped && !r.parts.IsMisplaced()) {
        finds.push_back({"flipped",
                         Format("%.1f %% of the surface looks the other way: faces are flipped", r.flippedShare * 100),
                         r.flippedShare});
    }
    return finds;
}

std::vector<Find> FindsOf(const FrameResult& r, const std::map<std::size_t, std::size_t>& swapped) {
    if (!r.problem.empty()) {
        return {{"unreadable", r.problem}};
    }
    if (std::isinf(r.distance.mean)) {
        return {{"no-mesh", r.fromSource.mean > r.fromClip.mean ? "the clip has no surface here, the source has one"
                                                                : "the clip has a surface here, the source has none"}};
    }
    const auto found = swapped.find(r.number);
    if (found != swapped.end()) {
        const std::size_t shows = found->second;
        const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(shows) - static_cast<std::ptrdiff_t>(r.number);
        return {{"swapped",
                 Format("shows frame %zu of the source, %td %s its own", shows, std::abs(step),
                        step < 0 ? "before" : "after"),
                 r.distance.mean, step}};
    }
    std::vector<Find> finds = SurfaceFinds(r);
    if (r.texture.IsFault()) {
        finds.push_back({"texture-shift",
                         Format("the texture is shifted by (%d, %d) texels: without that, the difference on the "
                                "surface is %.1f levels of luma instead of %.1f",
                                r.texture.x, r.texture.y, std::sqrt(r.texture.after), std::sqrt(r.texture.before)),
                         r.texture.before, 16 * r.texture.y + r.texture.x});
    }
    return finds;
}

/// Runs of frames with the same fault become one.
class Runs {
public:
    void Add(std::size_t frame, const Find& find) {
        const auto same = std::find_if(m_Open.rbegin(), m_Open.rend(), [&](const Run& run) {
            return run.find.kind == find.kind && run.find.step == find.step && run.last + 1 == frame;
        });
        if (same == m_Open.rend()) {
            m_Open.push_back({find, frame, frame, frame});
            return;
        }
        same->last = frame;
        if (find.weight > same->find.weight) {
            same->find = find;
            same->worst = frame;
        }
    }

    std::vector<Fault> Faults() const {
        std::vector<Fault> faults;
        for (const Run& run : m_Open) {
            const std::string worst =
                run.first == run.last ? "" : " (worst in frame " + std::to_string(run.worst) + ")";
            faults.push_back({run.find.kind, run.first, run.last, run.find.text + worst});
        }
        return faults;
    }

private:
    struct Run {
        Find find;
        std::size_t first, last, worst;
    };
    std::vector<Run> m_Open;
};

std::optional<Fault> SoundFault(const SoundResult& sound) {
    if (!sound.isAsked) {
        return std::nullopt;
    }
    if (!sound.hasClipSound) {
        return Fault{"sound-missing", {}, {}, "the clip has no sound"};
    }
    if (!sound.figures) {
        return Fault{"sound-missing", {}, {}, "the clip, or the source, is silent"};
    }
    const double milliseconds = sound.figures->offset * 1000;
    if (sound.figures->likeness < c_LeastLikeness) {
        return Fault{"sound-other",
                     {},
                     {},
                     Format("the clip's sound is not the source's: they correlate by %.2f at most, within half a "
                            "second",
                            sound.figures->likeness)};
    }
    if (std::fabs(sound.figures->offset) < c_LeastOffset) {
        return std::nullopt;
    }
    return Fault{milliseconds > 0 ? "sound-late" : "sound-early",
                 {},
                 {},
                 Format("the sound is %.1f ms %s", std::fabs(milliseconds), milliseconds > 0 ? "late" : "early")};
}

}  // namespace

std::string PlaceOf(const Fault& fault) {
    if (!fault.first) {
        return "";
    }
    return *fault.first == *fault.last ? Format("frame %zu", *fault.first)
                                       : Format("frames %zu to %zu", *fault.first, *fault.last);
}

std::vector<Fault> FindFaults(const std::vector<FrameResult>& results, std::size_t sourceFrames, std::size_t clipFrames,
                              const SoundResult& sound) {
    std::vector<Fault> faults;
    if (sourceFrames != clipFrames) {
        faults.push_back({"frame-count",
                          {},
                          {},
                          Format("the clip has %zu frames, the source %zu; those that both have are compared",
                                 clipFrames, sourceFrames)});
    }
    std::map<std::size_t, std::size_t> swapped;
    for (const SwappedFrame& frame : FindSwapped(results)) {
        swapped[frame.frame] = frame.shows;
    }
    Runs runs;
    for (const FrameResult& result : results) {
        for (const Find& find : FindsOf(result, swapped)) {
            runs.Add(result.number, find);
        }
    }
    for (Fault& fault : runs.Faults()) {
        faults.push_back(std::move(fault));
    }
    if (std::optional<Fault> fault = SoundFault(sound)) {
        faults.push_back(std::move(*fault));
    }
    return faults;
}

}  // namespace Nimb::Tool
