// `nimb export`: the frames of a clip as mesh files with their textures.
#include "Authoring/Export/MeshExport.h"
#include "Clip/Read/ClipFrames.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/FrameFiles.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/OutputFile.h"
#include "Tools/nimb/Progress.h"
#include "Tools/nimb/StandardStreams.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>

namespace Nimb::Tool {
namespace {

namespace fs = std::filesystem;
using Authoring::ClipFrame;
using Authoring::FrameRange;
using Authoring::MeshFormat;

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb export dancer.mp4 frames --format obj\n"
    "      frames/frame_0000.obj, .mtl and .png, and so on for every frame\n"
    "  nimb export dancer.mp4 frames --format glb --first 30 --last 59\n"
    "      frame_0030.glb to frame_0059.glb, with their textures inside\n"
    "  nimb export dancer.mp4 frames --format ply && nimb encode frames -o again.mp4\n"
    "      what is exported can be encoded again";

struct Arguments {
    std::string clip;
    std::string folder;
    std::string format;  // a key of c_MeshFormats
    FrameRange range;
    bool overwrite = false;

    MeshFormat Format() const { return c_MeshFormats.at(format); }
};

/// Checks, before anything is done, that no file is in the way that may not be overwritten.
void CheckFolder(const Arguments& arguments, std::size_t frameCount) {
    for (std::size_t i = arguments.range.first; i < frameCount && i <= arguments.range.last; ++i) {
        for (const std::string& name : Authoring::ExportNames(arguments.Format(), StemOf(i))) {
            CheckReplaceable((fs::path(arguments.folder) / name).string(), arguments.overwrite, {arguments.clip});
        }
    }
}

void WriteFrame(const Arguments& arguments, const ClipFrame& frame) {
    WriteFiles(arguments.folder,
               Authoring::ExportMesh(arguments.Format(), StemOf(frame.number), frame.mesh, frame.picture),
               arguments.overwrite);
}

/// Writes frames on several threads. Memory stays bounded: Add waits when each has something to do.
class FrameWriters {
public:
    explicit FrameWriters(const Arguments& arguments) : m_Arguments(arguments) {}

    /// Throws the error of an earlier frame.
    void Add(ClipFrame&& frame) {
        if (m_Running.size() >= std::max(std::thread::hardware_concurrency(), 1u)) {
            Join();
        }
        m_Running.push_back(
            std::async(std::launch::async, [this, frame = std::move(frame)] { WriteFrame(m_Arguments, frame); }));
    }

    void Finish() {
        while (!m_Running.empty()) {
            Join();
        }
    }

private:
    void Join() {
        std::future<void> oldest = std::move(m_Running.front());
        m_Running.pop_front();
        oldest.get();
    }

    const Arguments& m_Arguments;
    std::deque<std::future<void>> m_Running;  // their destructors wait
};

int Run(const Arguments& arguments) {
    if (arguments.range.first > arguments.range.last) {
        throw UsageError("--first " + std::to_string(arguments.range.first) + " is after --last " +
                         std::to_string(arguments.range.last));
    }
    const std::size_t frameCount = Authoring::CountClipFrames(arguments.clip);
    if (frameCount != 0 && arguments.range.first >= frameCount) {
        throw UsageError(arguments.clip + ": has " + std::to_string(frameCount) + " frames, so there is no frame " +
                         std::to_string(arguments.range.first));
    }
    MakeFolder(arguments.folder);
    CheckFolder(arguments, frameCount);

    const InterruptGuard interrupt;
    const std::size_t end =
        std::min(frameCount, arguments.range.last == SIZE_MAX ? frameCount : arguments.range.last + 1);
    Progress progress("Exporting", end > arguments.range.first ? end - arguments.range.first : 0);
    FrameWriters writers(arguments);
    std::size_t written = 0;
    std::size_t lost = 0;
    Authoring::ReadClipFrames(arguments.clip, arguments.range, [&](ClipFrame&& frame) {
        InterruptGuard::Check();
        if (!frame.problem.empty()) {
            progress.Clear();
            std::fprintf(stderr, "nimb: %s\n", frame.problem.c_str());
            ++lost;
            return;
        }
        writers.Add(std::move(frame));
        progress.Report(++written);
    });
    writers.Finish();
    std::printf("%zu frames in %s%s\n", written, arguments.folder.c_str(),
                lost == 0 ? "" : (", " + std::to_string(lost) + " left out").c_str());
    FlushRemarks();
    return lost == 0 ? c_ExitOk : c_ExitProblem;
}

}  // namespace

Command AddExport(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand("export", "write the frames of a clip as mesh files with their textures");
    const auto arguments = std::make_shared<Arguments>();
    arguments->range.last = SIZE_MAX;
    sub->add_option("clip", arguments->clip, "the clip, an .mp4 file")->required();
    sub->add_option("folder", arguments->folder, "folder for the files; created if needed")->required();
    sub->add_option("--format", arguments->format, "obj (with .mtl and .png), ply (with .png) or glb")
        ->required()
        ->check(CLI::IsMember({"obj", "ply", "glb"}));
    sub->add_option("--first", arguments->range.first, "number of the first frame, from 0");
    sub->add_option("--last", arguments->range.last, "number of the last frame [the clip's last]");
    AddOverwrite(*sub, arguments->overwrite);
    sub->footer(c_Examples);
    return {sub, [arguments] { return Run(*arguments); }};
}

}  // namespace Nimb::Tool
