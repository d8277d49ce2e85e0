// Prints, as Markdown, what tracking makes of a capture whose surface is known: sizes next to those of the frames as
// they are and of Draco, distances to the capture and to the truth, lengths of runs, time and memory.
//
// nimb_track_bench [FRAMES [VERTICES [NOISE, mm [HOLES [TEMPO]]]]]
#include "Authoring/Surface/SurfaceComparison.h"
#include "Authoring/Track/TrackFrames.h"
#include "Bench/Sizes/Measure.h"
#include "Bench/Track/Ways.h"
#include "Demo/Capture/CaptureSource.h"
#include "Demo/Capture/Dancer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>

namespace {

using namespace Nimb::Authoring;
using Bench::Outcome;

constexpr std::size_t c_Every = 4;  ///< of so many frames one is measured

struct Known {
    std::vector<Mesh> capture;
    std::vector<Mesh> truth;  ///< of every c_Every-th frame
};

Known Load(std::size_t frames, double tempo, const Capture::CaptureOptions& options) {
    const Capture::CaptureSource source(std::make_shared<Capture::Dancer>(frames, tempo), options);
    Known known;
    for (std::size_t i = 0; i < frames; ++i) {
        known.capture.push_back(source.Frame(i).meshes.front().mesh);
        if (i % c_Every == 0) {
            known.truth.push_back(source.Truth(i));
        }
    }
    return known;
}

/// Over frames: means of all figures but the largest distance.
class Distances {
public:
    void Add(const Mesh& source, const Mesh& decoded) {
        const DistanceFigures frame =
            CompareSurfaces({source.positions, source.faces}, {decoded.positions, decoded.faces}).distance;
        m_Sum.mean += frame.mean;
        m_Sum.percentile95 += frame.percentile95;
        m_Sum.percentile99 += frame.percentile99;
        m_Sum.largest = std::max(m_Sum.largest, frame.largest);
        ++m_Count;
    }

    DistanceFigures Mean() const {
        DistanceFigures figures = m_Sum;
        for (double* const sum : {&figures.mean, &figures.percentile95, &figures.percentile99}) {
            *sum /= m_Count;
        }
        return figures;
    }

private:
    DistanceFigures m_Sum;
    int m_Count = 0;
};

DistanceFigures ToCapture(const Known& known, const Outcome& outcome) {
    Distances distances;
    for (std::size_t i = 0; i < known.capture.size(); i += c_Every) {
        distances.Add(known.capture[i], outcome.decoded[i]);
    }
    return distances.Mean();
}

DistanceFigures ToTruth(const Known& known, const Outcome& outcome) {
    Distances distances;
    for (std::size_t i = 0; i < known.truth.size(); ++i) {
        distances.Add(known.truth[i], outcome.decoded[i * c_Every]);
    }
    return distances.Mean();
}

/// The coarsest step that keeps Draco as close to the capture as `p95`, over a few frames.
double StepFor(const Known& known, double p95) {
    std::vector<Mesh> few;
    for (std::size_t i = 0; i < 4; ++i) {
        few.push_back(known.capture[known.capture.size() * i / 4]);
    }
    double low = 5e-5, high = 2e-2;
    for (int i = 0; i < 8; ++i) {
        const double middle = std::sqrt(low * high);
        const Outcome outcome = Bench::EncodeAllWithDraco(few, middle);
        Distances distances;
        for (std::size_t k = 0; k < few.size(); ++k) {
            distances.Add(few[k], outcome.decoded[k]);
        }
        (distances.Mean().percentile95 <= p95 ? low : high) = middle;
    }
    return low;
}

void PrintDistance(const char* name, const DistanceFigures& figures) {
    std::printf("| %s | %.3f | %.3f | %.3f | %.2f |\n", name, 1e3 * figures.mean, 1e3 * figures.percentile95,
                1e3 * figures.percentile99, 1e3 * figures.largest);
}

void PrintSize(const char* name, double bytes, double untracked, double draco) {
    std::printf("| %s | %.0f | %.3f | %.3f |\n", name, bytes, bytes / untracked, bytes / draco);
}

void PrintRuns(const Outcome& tracked) {
    std::vector<std::size_t> runs = tracked.runs;
    std::sort(runs.begin(), runs.end());
    const auto single = std::count(runs.begin(), runs.end(), 1U);
    std::puts("| Runs | Mean length | Median | Shortest | Longest | Of one frame | Time, s a frame | Memory, MB |");
    std::puts("|--:|--:|--:|--:|--:|--:|--:|--:|");
    std::printf("| %zu | %.1f | %zu | %zu | %zu | %td | %.2f | %.0f |\n\n", runs.size(),
                static_cast<double>(tracked.decoded.size()) / static_cast<double>(runs.size()), runs[runs.size() / 2],
                runs.front(), runs.back(), single, tracked.seconds, tracked.megabytes);
    std::printf("Lengths in order:");
    for (const std::size_t length : tracked.runs) {
        std::printf(" %zu", length);
    }
    std::puts("\n");
}

void Print(std::size_t frames, double tempo, const Capture::CaptureOptions& options) {
    const Known known = Load(frames, tempo, options);
    double vertices = 0, faces = 0;
    for (const Mesh& mesh : known.capture) {
        vertices += static_cast<double>(mesh.positions.size()) / static_cast<double>(frames);
        faces += static_cast<double>(mesh.faces.size()) / static_cast<double>(frames);
    }
    const double maxError = TrackOptions().CodingError();
    std::printf("### Dancer at tempo %.2g, %zu frames: %.0f vertices, %.0f triangles, noise %.2g mm, %zu holes\n\n",
                tempo, frames, vertices, faces, 1e3 * options.noise, options.holes);

    const Outcome tracked = Bench::EncodeTracked(known.capture, maxError);
    PrintRuns(tracked);
    std::fflush(stdout);
    const DistanceFigures distance = ToCapture(known, tracked);
    const Outcome untracked = Bench::EncodeUntracked(known.capture);
    const double step = StepFor(known, distance.percentile95);
    const Outcome draco = Bench::EncodeAllWithDraco(known.capture, step);
    const Outcome fine = Bench::EncodeAllWithDraco(known.capture, 2 * maxError / std::sqrt(3.0));

    std::puts("| | Bytes a frame | Share of untracked | Share of Draco's at equal distance |\n|---|--:|--:|--:|");
    PrintSize("untracked", untracked.bytes, untracked.bytes, draco.bytes);
    PrintSize("Draco, as fine as deltas are coded", fine.bytes, untracked.bytes, draco.bytes);
    PrintSize("Draco, as far from the capture as tracked", draco.bytes, untracked.bytes, draco.bytes);
    PrintSize("tracked", tracked.bytes, untracked.bytes, draco.bytes);
    std::printf("\nDraco's step at equal distance: %.2f mm; coding error of tracked frames at most %.2f mm.\n\n",
                1e3 * step, 1e3 * maxError);

    std::puts("| Distance, mm | Mean | 95th of 100 | 99th | Largest |\n|---|--:|--:|--:|--:|");
    PrintDistance("untracked to the truth", ToTruth(known, untracked));
    PrintDistance("Draco to the capture", ToCapture(known, draco));
    PrintDistance("Draco to the truth", ToTruth(known, draco));
    PrintDistance("tracked to the capture", distance);
    PrintDistance("tracked to the truth", ToTruth(known, tracked));
    std::puts("");
}

}  // namespace

int main(int argc, char** argv) {
    const auto argument = [&](int i, double otherwise) { return argc > i ? std::atof(argv[i]) : otherwise; };
    try {
        Capture::CaptureOptions options;
        const auto frames = static_cast<std::size_t>(argument(1, 120));
        options.vertices = static_cast<std::size_t>(argument(2, 20000));
        options.noise = argument(3, 0.5) / 1000;
        options.holes = static_cast<std::size_t>(argument(4, 0));
        if (frames == 0) {
            throw std::invalid_argument("the number of frames must be above 0");
        }
        Print(frames, argument(5, 1), options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
