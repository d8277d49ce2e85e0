// Runs the benchmarks. Beyond Google Benchmark's own flags: --figure=PATH, or NIMB_BENCH_FIGURE in the environment,
// names a glTF file with an animated figure; without one only the procedural body is measured.
#include "Bench/BodyMesh.h"
#include "Bench/CapturedClip.h"
#include "Bench/EncodedClip.h"
#include "Bench/FigureClip.h"
#include "Bench/Subject.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace Bench {

namespace {

constexpr std::size_t c_BodyFrames = 16;
constexpr unsigned c_CaptureSeed = 7;

/// Takes --figure=PATH out of the arguments, so that the rest can go to Google Benchmark.
std::string TakeFigurePath(int& argc, char** argv) {
    constexpr const char* flag = "--figure=";
    const char* const environment = std::getenv("NIMB_BENCH_FIGURE");
    std::string path = environment != nullptr ? environment : "";
    int kept = 0;
    for (int i = 0; i < argc; ++i) {
        if (std::strncmp(argv[i], flag, std::strlen(flag)) == 0) {
            path = argv[i] + std::strlen(flag);
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    return path;
}

/// What the tables made from a run say about it.
void DescribeMachine() {
#if defined(__aarch64__)
    benchmark::AddCustomContext("machine", "aarch64");
#else
    benchmark::AddCustomContext("machine", "x86-64");
#endif
#if defined(__clang__)
    benchmark::AddCustomContext("compiler", "Clang " __clang_version__);
#else
    benchmark::AddCustomContext("compiler", "g++ " __VERSION__);
#endif
}

void RegisterAll(const Subject& subject) {
    const std::string description = std::to_string(subject.Vertices()) + " vertices, " +
                                    std::to_string(subject.Faces()) + " triangles, " +
                                    std::to_string(subject.frames.size()) + " frames";
    benchmark::AddCustomContext(subject.name, description);
    RegisterFrameBenchmarks(subject);
    RegisterCodecBenchmarks(subject);
    RegisterEncodeBenchmarks(subject);
    RegisterPeerBenchmarks(subject);
}

/// Positions as exact as those of the peers.
Subject MakeSubject(const char* name, std::vector<Nimb::Authoring::Mesh> frames) {
    const double maxError = PeerPositionError(frames.front());
    return {name, std::move(frames), maxError};
}

/// The clip as a capture, with the error limit that `nimb encode` has by default, which is finer than the grid that the
/// capture's positions are on: most vertices have a correction in every frame.
Subject MakeCapture(const Subject& clip) {
    const Nimb::Authoring::Box box = Nimb::Authoring::BoundingBox(clip.frames.front().positions);
    const double maxError = std::hypot(box.max.x - box.min.x, box.max.y - box.min.y, box.max.z - box.min.z) / 10000;
    return {"Capture", TrackCapture(SimulateCapture(clip.frames, c_CaptureSeed), maxError), maxError};
}

int Run(int argc, char** argv) {
    const std::string figurePath = TakeFigurePath(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    DescribeMachine();
    const Subject body = MakeSubject("Body", MakeBodyClip(c_BodyFrames));
    RegisterAll(body);
    const Subject capture = MakeCapture(body);
    RegisterAll(capture);
    Subject figure;
    if (figurePath.empty()) {
        std::fprintf(stderr, "Figure: skipped, neither --figure=PATH nor NIMB_BENCH_FIGURE names a glTF file\n");
    } else {
        figure = MakeSubject("Figure", LoadFigureClip(figurePath));
        RegisterAll(figure);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    try {
        return Bench::Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
