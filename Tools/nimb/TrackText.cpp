#include "Tools/nimb/TrackText.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace Nimb::Tool {
namespace {

using Authoring::TrackNote;
using Json = nlohmann::ordered_json;

/// Frames on one topology, or a single one that nothing goes on with. With one frame's numbers, or with the means.
struct TrackRun {
    std::size_t first = 0;
    std::size_t frames = 0;
    Authoring::TrackQuality distance;  // of `largest` and `patch`, the largest
    std::size_t worst = 0;             // the frame with that patch
    double lumaError = 0;
    double unseenTexels = 0;

    /// Sums up, until MakeMeans.
    void Add(const TrackNote& note) {
        ++frames;
        distance.mean += note.distance.mean;
        distance.p95 += note.distance.p95;
        lumaError += note.lumaError;
        unseenTexels += note.unseenTexels;
        distance.largest = std::max(distance.largest, note.distance.largest);
        if (note.distance.patch >= distance.patch) {
            distance.patch = note.distance.patch;
            worst = note.frame;
        }
    }

    void MakeMeans() {
        const double count = static_cast<double>(std::max<std::size_t>(frames, 1));
        for (double* value : {&distance.mean, &distance.p95, &lumaError, &unseenTexels}) {
            *value /= count;
        }
    }

    /// Decibels; 100 where nothing differs.
    double Psnr() const { return lumaError > 0 ? std::min(10 * std::log10(255.0 * 255 / lumaError), 100.0) : 100.0; }
};

std::vector<TrackRun> RunsOf(const std::vector<TrackNote>& notes) {
    std::vector<TrackRun> runs;
    for (const TrackNote& note : notes) {
        if (note.beginsRun) {
            runs.emplace_back().first = note.frame;
        }
        runs.back().Add(note);
    }
    for (TrackRun& run : runs) {
        run.MakeMeans();
    }
    return runs;
}

struct Totals {
    TrackRun all;          // of the frames in runs of at least two
    std::size_t runs = 0;  // such
};

Totals TotalsOf(const std::vector<TrackNote>& notes) {
    Totals totals;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const bool goesOn = i + 1 < notes.size() && !notes[i + 1].beginsRun;
        if (!notes[i].beginsRun || goesOn) {
            totals.all.Add(notes[i]);
            totals.runs += notes[i].beginsRun ? 1 : 0;
        }
    }
    totals.all.MakeMeans();
    return totals;
}

Json NumbersOf(const TrackRun& run) {
    return {{"mean", run.distance.mean},       {"p95", run.distance.p95}, {"max", run.distance.largest},
            {"patch", run.distance.patch},     {"patchFrame", run.worst}, {"psnr", run.Psnr()},
            {"unseenTexels", run.unseenTexels}};
}

}  // namespace

std::string TrackText(const std::vector<TrackNote>& notes) {
    if (notes.empty()) {
        return "nothing: no two neighbouring frames have both a topology of their own";
    }
    const Totals totals = TotalsOf(notes);
    char text[400];
    int length = std::snprintf(text, sizeof text, "%zu of %zu frames in %zu run%s", totals.all.frames, notes.size(),
                               totals.runs, totals.runs == 1 ? "" : "s");
    if (totals.runs > 0) {
        const Authoring::TrackQuality& d = totals.all.distance;
        std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length),
                      ", mean %.3g; surfaces %.2g mm apart on average, %.2g mm at the 95th of 100, patches %.2g mm "
                      "at most (frame %zu); baking: luma PSNR %.1f dB, %.3g %% of the texels see nothing",
                      static_cast<double>(totals.all.frames) / static_cast<double>(totals.runs), d.mean * 1000,
                      d.p95 * 1000, d.patch * 1000, totals.all.worst, totals.all.Psnr(), totals.all.unseenTexels * 100);
    }
    return text;
}

Json ToJson(const std::vector<TrackNote>& notes) {
    const Totals totals = TotalsOf(notes);
    Json json{{"frames", notes.size()}, {"inRuns", totals.all.frames}, {"runs", totals.runs}};
    json.update(NumbersOf(totals.all));
    json["list"] = Json::array();
    for (const TrackRun& run : RunsOf(notes)) {
        Json entry{{"first", run.first}, {"frames", run.frames}};
        entry.update(NumbersOf(run));
        json["list"].push_back(std::move(entry));
    }
    return json;
}

}  // namespace Nimb::Tool
