// `nimb compare`: how much a clip differs from what it was made from, and what is wrong with it.
#include "Tools/nimb/ClipJson.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/Compare/Conditions.h"
#include "Tools/nimb/CompareOutput.h"
#include "Tools/nimb/ComparePage.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/OutputFile.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

namespace Nimb::Tool {
namespace {

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb compare dancer.glb dancer.mp4\n"
    "      distances, views and flicker, on average and in the worst frame, and faults by name\n"
    "  nimb compare 'scan/frame_%04d.obj' --texture 'scan/tex_%04d.png' --audio take3.wav take3.mp4 --html take3.html\n"
    "      the same with sound, and a page to look at: curves, the worst frames, the error on the surface\n"
    "  nimb compare scan/ part.mp4 --first 100 --last 399 --fail-if 'p99>2mm,psnr<38,average-ssim<0.97'\n"
    "      for scripts: status 1 when the worst frame, or the average, is worse than that\n"
    "  nimb compare dancer.glb dancer.mp4 --json | jq '.frames[] | select(.max > 5) | .number'\n"
    "      the numbers of the frames in which a point is more than 5 mm off\n"
    "INPUT and its options are those that `nimb encode` was given.\n"
    "Exit status: 0 nothing found, 1 a fault was found or a condition of --fail-if holds, 2 usage, 3 an input cannot "
    "be\n"
    "read, 4 the page cannot be written, or there is no OpenGL ES 3 to draw with.";

struct Arguments : EncodeArguments {
    std::string clip;
    std::string failIf;
    std::string page;
    std::size_t samples = Authoring::SurfaceComparisonOptions().samples;
    int viewHeight = 512;
    bool json = false;
    bool overwrite = false;
};

/// The last word is the clip, but for pictures that a shell has put behind it in place of a pattern.
void TakeClip(Arguments& a) {
    const auto last = std::find_if(a.inputs.rbegin(), a.inputs.rend(),
                                   [](const std::string& input) { return !Authoring::IsPictureName(input); });
    if (last == a.inputs.rend() || std::next(last) == a.inputs.rend()) {
        throw UsageError("two are needed: what the clip was made from, and last the clip");
    }
    a.clip = *last;
    a.inputs.erase(std::next(last).base());
}

std::vector<Condition> ConditionsOf(const Arguments& a) {
    if (a.failIf.empty()) {
        return {};
    }
    std::vector<Condition> conditions = ParseConditions(a.failIf);
    for (const Condition& condition : conditions) {
        if (condition.figure == nullptr && a.audio.empty()) {
            throw UsageError("--fail-if: '" + condition.text + "': needs --audio, the sound to compare with");
        }
    }
    return conditions;
}

std::vector<std::string> FailedOf(const std::vector<Condition>& conditions, const ComparisonResult& result) {
    std::vector<std::string> failed;
    for (const Condition& condition : conditions) {
        if (const std::optional<std::string> text = Check(condition, result.summary, result.sound.figures)) {
            failed.push_back(*text);
        }
    }
    return failed;
}

int Compare(Arguments& a) {
    TakeClip(a);
    Resolve(a);
    const std::vector<Condition> conditions = ConditionsOf(a);
    if (!a.page.empty()) {
        std::vector<std::string> inputs = InputsOf(a);
        inputs.push_back(a.clip);
        CheckOutput(a.page, OutputKind::Page, a.overwrite, inputs);
    }
    const InterruptGuard interrupt;
    const std::unique_ptr<Authoring::MeshSource> source = Authoring::OpenMeshSource(a.source);
    CompareStage stage(a.clip, a.viewHeight);
    CompareReport report{a.source.input, a.clip, CompareClip(stage, *source, a.clip, a, a.samples), {}};
    report.failed = FailedOf(conditions, report.result);
    if (!a.page.empty()) {
        WriteComparePage(a.page, a.overwrite, report, stage, *source);
    }
    if (a.json) {
        Print(ToJson(report));
    } else {
        PrintReport(report);
    }
    return report.result.faults.empty() && report.failed.empty() ? c_ExitOk : c_ExitProblem;
}

int Run(Arguments& a) {
    try {
        return Compare(a);
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

}  // namespace

Command AddCompare(CLI::App& app) {
    CLI::App* const sub =
        app.add_subcommand("compare", "measure a clip against what it was made from, and name faults");
    const auto arguments = std::make_shared<Arguments>();
    Arguments& a = *arguments;
    AddInputOptions(*sub, a);
    sub->get_option("INPUT")->description(
        "what the clip was made from, as for nimb encode; last the clip, an .mp4 file");
    sub->add_option("--fail-if", a.failIf,
                    "conditions with commas between them, as in p99>2mm,psnr<38: status 1 when one holds in the worst "
                    "frame, or on average: average-psnr<38")
        ->type_name("CONDITIONS");
    sub->add_option("--html", a.page, "write a page with everything inside, which opens by double click")
        ->type_name("FILE.html");
    sub->add_flag("--json", a.json, "print all figures of all frames as JSON");
    sub->add_option("--samples", a.samples, "points on each surface that are measured, besides its vertices")
        ->check(CLI::Range(std::size_t{100}, std::size_t{10'000'000}))
        ->capture_default_str();
    sub->add_option("--view-height", a.viewHeight, "pixels of the views that are compared")
        ->check(CLI::Range(64, 2048))
        ->capture_default_str();
    AddOverwrite(*sub, a.overwrite);
    sub->footer(c_Examples);
    return {sub, [arguments] { return Run(*arguments); }};
}

}  // namespace Nimb::Tool
