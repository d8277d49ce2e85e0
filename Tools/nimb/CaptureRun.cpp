#include "Tools/nimb/CaptureRun.h"

#include "Authoring/Source/MeshSources.h"
#include "Clip/Write/OrderedTasks.h"
#include "Demo/Capture/Dancer.h"
#include "Demo/Capture/MeshSubject.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/FrameFiles.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/OutputFile.h"
#include "Tools/nimb/Progress.h"
#include "Tools/nimb/StandardStreams.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <utility>

namespace Nimb::Tool {
namespace {

namespace fs = std::filesystem;
using namespace Authoring;

struct FrameOutput {
    std::vector<ExportedFile> files;
    std::vector<ExportedFile> truth;
};

std::string TruthFolder(const CaptureArguments& arguments) {
    return (fs::path(arguments.folder) / "truth").string();
}

std::string TruthName(std::size_t frame) {
    return StemOf(frame) + ".ply";
}

FrameOutput Make(const CaptureArguments& arguments, const Capture::CaptureSource& source, std::size_t frame) {
    FrameOutput out;
    const SourceFrame captured = source.Frame(frame);
    out.files = ExportMesh(c_MeshFormats.at(arguments.format), StemOf(frame), captured.meshes.front().mesh,
                           *source.Texture(frame, 0));
    if (arguments.truth) {
        out.truth.push_back({TruthName(frame), ExportShape(source.Truth(frame))});
    }
    return out;
}

/// Checks, before anything is done, that no file is in the way that may not be overwritten.
void CheckFolder(const CaptureArguments& arguments, std::size_t frames) {
    std::error_code error;
    if (fs::equivalent(arguments.folder, arguments.input, error)) {
        throw UsageError(arguments.folder + ": is also the input, whose frames it would replace");
    }
    for (std::size_t i = 0; i < frames; ++i) {
        for (const std::string& name : ExportNames(c_MeshFormats.at(arguments.format), StemOf(i))) {
            CheckReplaceable((fs::path(arguments.folder) / name).string(), arguments.overwrite, {arguments.input});
        }
        if (arguments.truth) {
            CheckReplaceable((fs::path(TruthFolder(arguments)) / TruthName(i)).string(), arguments.overwrite,
                             {arguments.input});
        }
    }
}

std::shared_ptr<const Capture::Subject> SubjectOf(const CaptureArguments& arguments) {
    if (arguments.input.empty()) {
        return std::make_shared<Capture::Dancer>(arguments.frames, arguments.tempo);
    }
    SourceOptions options;
    options.input = arguments.input;
    return std::make_shared<Capture::MeshSubject>(OpenMeshSource(options), arguments.input, arguments.frames);
}

}  // namespace

int RunCapture(const CaptureArguments& arguments) {
    Capture::CaptureOptions options = arguments.options;
    options.noise = arguments.millimetres / 1000;
    const Capture::CaptureSource source(SubjectOf(arguments), options);
    const std::size_t frames = source.FrameCount();
    MakeFolder(arguments.folder);
    if (arguments.truth) {
        MakeFolder(TruthFolder(arguments));
    }
    CheckFolder(arguments, frames);

    const InterruptGuard interrupt;
    Progress progress("Capturing", frames);
    const std::size_t threads = DefaultThreads();
    OrderedTasks<FrameOutput> tasks("nimb capture", frames, threads, 2 * threads,
                                    [&](std::size_t frame, const auto&) { return Make(arguments, source, frame); });
    for (std::size_t i = 0; i < frames; ++i) {
        const FrameOutput out = tasks.Next([] { InterruptGuard::Check(); });
        WriteFiles(arguments.folder, out.files, arguments.overwrite);
        WriteFiles(TruthFolder(arguments), out.truth, arguments.overwrite);
        progress.Report(i + 1);
    }
    progress.Clear();
    std::printf("%zu frames in %s\n", frames, arguments.folder.c_str());
    FlushRemarks();
    return c_ExitOk;
}

}  // namespace Nimb::Tool
