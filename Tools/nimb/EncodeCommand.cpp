// `nimb encode`: an animated scene or a sequence of mesh files to a clip, or to some segments of a clip.
#include "Authoring/Source/FileIdentity.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/EncodeArguments.h"
#include "Tools/nimb/EncodeRun.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/JobRun.h"
#include "Tools/nimb/OutputFile.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Tool {
namespace {

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb encode dancer.glb -o dancer.mp4\n"
    "      the first animation of a scene, 30 frames a second\n"
    "  nimb encode 'scan/frame_%04d.obj' --texture 'scan/tex_%04d.png' --fps 25 --audio take3.wav -o take3.mp4\n"
    "      a capture: a mesh and a texture for each frame, and the sound that was recorded with it\n"
    "  nimb encode 'scan/frame_%04d.obj' --texture 'scan/tex_%04d.png' --track --track-error 1mm,5mm -o take3.mp4\n"
    "      the same, where every frame was meshed anew: onto as few topologies as show it that closely\n"
    "  nimb encode scan/*.ply --texture tex/*.png --dry-run\n"
    "      the same without quotes; only looks at all of it, and says what would come out\n"
    "  nimb encode scan/ --first 100 --last 399 --scale 0.01 --up z -o part.mp4\n"
    "      300 frames of a folder of files in centimetres with z up\n"
    "  nimb encode dancer.glb --atlas-size 1024 --quality 26 --max-error 0.001 -o small.mp4\n"
    "      smaller: a smaller texture, coarser video, positions within a millimetre\n"
    "  nimb encode 'scan/frame_%05d.obj' --texture 'scan/tex_%05d.jpg' -o take3.mp4 --resume\n"
    "      what was encoded before an interruption is not encoded again\n"
    "  nimb encode --job job/ --segments 0-9\n"
    "      a share of the work that `nimb plan` has laid out";

struct Arguments : EncodeArguments {
    std::string output;
    bool overwrite = false;
    bool dryRun = false;
    bool resume = false;
    bool json = false;
    bool quiet = false;
    std::string job;
    std::string segments;
};

/// Checks that the clip can be written. Files that the inputs name in turn are checked when they are read: see
/// OutputGuard.
void CheckClip(const Arguments& a) {
    if (a.output.empty()) {
        if (!a.dryRun) {
            throw UsageError("-o is missing: the clip to write, an .mp4 file");
        }
        return;
    }
    CheckOutput(a.output, OutputKind::Clip, a.overwrite, InputsOf(a));
}

void EncodeWhole(Arguments& a, RunOutput output) {
    Authoring::Warnings warnings;
    a.source.pWarnings = &warnings;
    a.encode.pWarnings = &warnings;
    const std::unique_ptr<Authoring::MeshSource> source = Authoring::OpenMeshSource(a.source);
    std::optional<Authoring::AudioReader> audio;
    OpenSound(a.audio, a.audioStart, static_cast<double>(source->FrameCount()) / source->FrameRate(), warnings, audio);
    if (a.dryRun) {
        RunExamination(*source, a.source.input, a.encode, output, a.strict);
        return;
    }
    TellDamagedSound(a.audio, RunEncoder(*source, audio ? &*audio : nullptr, a.output, a.encode, output, a.strict));
}

/// With --job nothing is left to be chosen: the plan says it all.
void CheckSegmentOptions(const CLI::App& sub) {
    static const char* const s_Allowed[] = {"--job", "--segment", "--threads", "--quiet"};
    for (const CLI::Option* option : sub.get_options()) {
        const bool isAllowed = std::any_of(std::begin(s_Allowed), std::end(s_Allowed),
                                           [option](const char* name) { return option->check_name(name); });
        if (option->count() > 0 && !isAllowed) {
            throw UsageError(option->get_name() + " cannot be given with --job: the plan decides that");
        }
    }
}

int Encode(const CLI::App& sub, Arguments& a) {
    const RunOutput output = a.json ? RunOutput::Json : a.quiet ? RunOutput::Quiet : RunOutput::Text;
    const InterruptGuard interrupt;
    try {
        if (!a.job.empty()) {
            CheckSegmentOptions(sub);
            RunSegments(a.job, a.segments, a.encode.threads, output);
            return c_ExitOk;
        }
        if (!a.segments.empty()) {
            throw UsageError("--segment is for a job: --job is missing");
        }
        Resolve(a);
        CheckClip(a);
        const Authoring::OutputGuard guard(a.output);
        if (a.resume && !a.dryRun) {
            RunResumable(OrderOf(a), a.output, a.encode.threads, output);
        } else {
            EncodeWhole(a, output);
        }
        return c_ExitOk;
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

}  // namespace

Command AddEncode(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand("encode", "make a clip of an animated scene or a sequence of mesh files");
    const auto arguments = std::make_shared<Arguments>();
    AddEncodeOptions(*sub, *arguments);
    sub->add_option("-o,--output", arguments->output, "the clip to write, an .mp4 file");
    AddOverwrite(*sub, arguments->overwrite);
    sub->add_flag("--dry-run", arguments->dryRun, "check all of the input and write nothing; needs no -o");
    sub->add_flag("--resume", arguments->resume,
                  "keep what is done in a folder beside the clip until all is, and go on from there");
    CLI::Option* const json = sub->add_flag("--json", arguments->json, "print the summary as JSON, as nimb info does");
    sub->add_flag("-q,--quiet", arguments->quiet, "print neither progress nor summary")->excludes(json);
    sub->add_option("-j,--threads", arguments->encode.threads, "number of threads [one for each core]")
        ->check(CLI::Range(1, 256));
    sub->add_option("--job", arguments->job, "encode segments of this job, which nimb plan has made")->group("Job");
    sub->add_option("--segment,--segments", arguments->segments, "which: N, A-B with both ends, or several with commas")
        ->group("Job");
    sub->footer(c_Examples);
    return {sub, [sub, arguments] { return Encode(*sub, *arguments); }};
}

}  // namespace Nimb::Tool
