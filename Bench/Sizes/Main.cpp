// Prints, as Markdown, how large clips are in every choice of codings and with other mesh compressors, and how long the
// automatic choice takes. An argument names a glTF file with an animated figure to add to the procedural body.
#include "Authoring/Frame/SegmentEncoder.h"
#include "Bench/BodyMesh.h"
#include "Bench/EncodedClip.h"
#include "Bench/FigureClip.h"
#include "Bench/Peers.h"
#include "Bench/Sizes/Captures.h"
#include "Bench/Sizes/Measure.h"

#include <algorithm>
#include <cstdio>
#include <exception>

namespace {

using namespace Nimb::Authoring;

using Bench::c_KeyInterval;

constexpr std::size_t c_BodyFrames = 300;
constexpr std::size_t c_CodingFrames = 60;  ///< in the table of all codings
constexpr std::size_t c_CaptureFrames = 100;
constexpr int c_Repetitions = 3;

struct Outcome {
    double bytesPerFrame = 0;
    double largestError = 0;
    std::size_t keyFrames = 0;
};

Outcome EncodeAll(const std::vector<Mesh>& clip, const CodingOptions& options) {
    Outcome outcome;
    for (std::size_t first = 0; first < clip.size(); first += c_KeyInterval) {
        std::vector<Moment> moments;
        for (std::size_t i = first; i < std::min(clip.size(), first + c_KeyInterval); ++i) {
            moments.push_back({{&clip[i], 0, std::nullopt, false}});
        }
        for (const EncodedFrame& frame : EncodeSegment(moments, options)) {
            outcome.bytesPerFrame += static_cast<double>(frame.bytes.size()) / static_cast<double>(clip.size());
            outcome.largestError = std::max(outcome.largestError, frame.maxError);
            outcome.keyFrames += frame.isKeyFrame ? 1 : 0;
        }
    }
    return outcome;
}

double MeshoptimizerBytes(const std::vector<Mesh>& clip) {
    double bytes = 0;
    for (const Mesh& mesh : clip) {
        const Bench::OptimisedMesh optimised = Bench::OptimiseForMeshoptimizer(mesh);
        bytes += static_cast<double>(Bench::EncodeVertices(optimised).size() + Bench::EncodeIndices(optimised).size());
    }
    return bytes / static_cast<double>(clip.size());
}

/// The least time of a few runs, in milliseconds a frame.
template <class Work>
double Time(std::size_t numFrames, Work work) {
    double best = 0;
    for (int i = 0; i < c_Repetitions; ++i) {
        const double start = Bench::ProcessorMilliseconds();
        work();
        const double time = (Bench::ProcessorMilliseconds() - start) / static_cast<double>(numFrames);
        best = i == 0 ? time : std::min(best, time);
    }
    return best;
}

std::vector<Mesh> Begin(const std::vector<Mesh>& clip, std::size_t frames) {
    return {clip.begin(), clip.begin() + static_cast<std::ptrdiff_t>(std::min(frames, clip.size()))};
}

void PrintClip(const char* name, const std::vector<Mesh>& clip) {
    CodingOptions options;
    options.maxError = Bench::PeerPositionError(clip.front());
    options.keyFrameInterval = c_KeyInterval;
    const Outcome automatic = EncodeAll(clip, options);
    const std::vector<Mesh> shorter = Begin(clip, c_CodingFrames);
    const Outcome shorterAutomatic = EncodeAll(shorter, options);
    const double draco = Bench::DracoBytes(clip, options.maxError);
    std::printf("### %s: %zu vertices, %zu triangles, error at most %.3g of its height\n\n", name,
                clip.front().positions.size(), clip.front().faces.size(), 0.5 / ((1 << Bench::c_PeerPositionBits) - 1));
    std::printf("The first %zu frames:\n\n", shorter.size());
    const auto deltaCodings = Bench::DeltaCodings();
    std::string titles = "| Bytes a frame |", rule = "|---|";
    for (const auto& [deltaName, delta] : deltaCodings) {
        titles += " " + deltaName + " |";
        rule += "--:|";
    }
    std::printf("%s\n%s\n", titles.c_str(), rule.c_str());
    for (const auto& [indexName, indices] : Bench::c_IndexCodings) {
        std::printf("| %s |", indexName);
        for (const auto& [deltaName, delta] : deltaCodings) {
            CodingOptions fixed = options;
            fixed.indices = indices;
            fixed.delta = delta;
            const Outcome outcome = EncodeAll(shorter, fixed);
            std::printf(" %.0f%s |", outcome.bytesPerFrame, outcome.keyFrames > shorterAutomatic.keyFrames ? " *" : "");
        }
        std::printf("\n");
    }
    const double meshoptimizer = MeshoptimizerBytes(clip);
    const auto& mesh = Bench::MakeDracoMesh(clip.front());
    const double time = Time(clip.size(), [&] { EncodeAll(clip, options); });
    const double dracoTime = Time(1, [&] { Bench::EncodeWithDraco(*mesh, Bench::c_DracoDefaultSpeed); });
    std::printf("\nAll %zu frames:\n", clip.size());
    std::printf("\n| | Bytes a frame | Share of Draco's | Encoding, ms a frame |\n|---|--:|--:|--:|\n");
    std::printf("| Automatic | %.0f | %.3f | %.2f |\n", automatic.bytesPerFrame, automatic.bytesPerFrame / draco, time);
    std::printf("| Draco | %.0f | 1 | %.2f |\n", draco, dracoTime);
    std::printf("| meshoptimizer | %.0f | %.3f | |\n\n", meshoptimizer, meshoptimizer / draco);
}

void Print(const char* name, const std::vector<Mesh>& clip) {
    PrintClip(name, clip);
    Bench::PrintCaptures(name, Begin(clip, c_CaptureFrames));
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Print("Body", Bench::MakeBodyClip(c_BodyFrames));
        if (argc > 1) {
            Print("Figure", Bench::LoadFigureClip(argv[1]));
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
