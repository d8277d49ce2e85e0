// `nimb remux`: writes clips anew, as they are, cut, joined, or with other sound.
#include "Clip/Remux/ClipRemuxer.h"
#include "Tools/nimb/ClipText.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/OutputFile.h"
#include "Tools/nimb/Progress.h"
#include "Tools/nimb/StandardStreams.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace Nimb::Tool {
namespace {

using Authoring::RemuxReport;
using Authoring::RemuxStep;

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb remux edited.mp4 -o dancer.mp4\n"
    "      makes a clip again of what an editor of MP4 or Matroska files left of one\n"
    "  nimb remux dancer.mp4 --first 300 --last 899 -o refrain.mp4\n"
    "      begins at the last frame up to 300 that has both a key picture and a key mesh, and says which\n"
    "  nimb remux verse.mp4 refrain.mp4 -o song.mp4\n"
    "      one after the other; they must have been encoded with the same settings\n"
    "  nimb remux dancer.mp4 --audio mix.wav -o dubbed.mp4\n"
    "Meshes and pictures are copied byte for byte, and so is AAC sound of 48000 samples a second in stereo.\n"
    "Exit status: 0 without problems, 1 when the clip has frames without a mesh or with a damaged one.";

struct Arguments {
    Authoring::RemuxOptions remux;
    std::string output;
    int audioKilobits = 160;
    bool overwrite = false;
    bool quiet = false;
};

/// The steps of a run call it to report progress and to learn of Ctrl-C.
class RemuxProgress {
public:
    explicit RemuxProgress(bool isQuiet) : m_IsQuiet(isQuiet) {}

    void Report(RemuxStep step, std::size_t done, std::size_t total) {
        InterruptGuard::Check();
        if (m_IsQuiet) {
            return;
        }
        if (m_Step != step) {
            m_Step = step;
            m_Progress.emplace(step == RemuxStep::Examine ? "Looking through" : "Writing", total);
        }
        m_Progress->Report(done);
    }

    void Warn(const std::string& text) {
        if (m_Progress) {
            m_Progress->Clear();
        }
        std::fprintf(stderr, "nimb: warning: %s\n", text.c_str());
    }

private:
    const bool m_IsQuiet;
    std::optional<RemuxStep> m_Step;
    std::optional<Progress> m_Progress;
};

/// Where the clip begins and ends, if it was to be cut.
void PrintCut(const Arguments& arguments, const RemuxReport& report) {
    if (arguments.remux.first == 0 && arguments.remux.last == SIZE_MAX) {
        return;
    }
    const std::size_t last = report.firstFrame + report.frames - 1;
    std::printf("cut          frames %zu to %zu", report.firstFrame, last);
    if (report.firstFrame != arguments.remux.first) {
        std::printf("; frame %zu has no key picture with a key mesh", arguments.remux.first);
    }
    std::puts("");
}

void PrintSummary(const std::string& clip) {
    Authoring::ClipReader reader(clip);
    const Authoring::ClipSummary summary = Authoring::InspectClip(reader, [](const Authoring::FrameFacts&) {});
    PrintClip(reader, summary);
    PrintAttributes(Authoring::ReadClipAttributes(clip));
}

int Run(Arguments& arguments) {
    Authoring::RemuxOptions& options = arguments.remux;
    if (options.first > options.last) {
        throw UsageError("--first " + std::to_string(options.first) + " is after --last " +
                         std::to_string(options.last));
    }
    std::vector<std::string> inputs = options.inputs;
    if (!options.audio.empty()) {
        inputs.push_back(options.audio);
    }
    CheckOutput(arguments.output, OutputKind::Clip, arguments.overwrite, inputs);
    options.audioOptions.bitRate = std::int64_t{1000} * arguments.audioKilobits;
    const InterruptGuard interrupt;
    RemuxReport report;
    try {
        RemuxProgress progress(arguments.quiet);
        report = Authoring::RemuxClip(
            options, arguments.output,
            [&](RemuxStep step, std::size_t done, std::size_t total) { progress.Report(step, done, total); },
            [&](const std::string& text) { progress.Warn(text); });
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
    if (!arguments.quiet) {
        PrintCut(arguments, report);
        PrintSummary(arguments.output);
        FlushRemarks();
    }
    return report.damagedFrames == 0 ? c_ExitOk : c_ExitProblem;
}

}  // namespace

Command AddRemux(CLI::App& app) {
    CLI::App* const sub =
        app.add_subcommand("remux", "write clips anew without encoding them again: repair, cut, join, other sound");
    const auto arguments = std::make_shared<Arguments>();
    Arguments& a = *arguments;
    sub->add_option("input", a.remux.inputs, "clips, or what editors made of them: .mp4, .mov or .mkv")->required();
    sub->add_option("-o,--output", a.output, "the clip to write, an .mp4 file")->required();
    sub->add_option("--first", a.remux.first, "number of the first frame, over all inputs; moved to a key frame");
    sub->add_option("--last", a.remux.last, "number of the last frame [the last one]");
    CLI::Option* const audio =
        sub->add_option("--audio", a.remux.audio, "sound in place of the inputs': any file that FFmpeg reads")
            ->type_name("FILE");
    sub->add_flag("--no-audio", a.remux.isSilent, "without sound")->excludes(audio);
    sub->add_option("--audio-bitrate", a.audioKilobits, "kbit/s of sound that is encoded")
        ->check(CLI::Range(32, 512))
        ->capture_default_str();
    sub->add_flag("-q,--quiet", a.quiet, "print nothing but warnings and errors");
    AddOverwrite(*sub, a.overwrite);
    sub->footer(c_Examples);
    return {sub, [arguments] { return Run(*arguments); }};
}

}  // namespace Nimb::Tool
