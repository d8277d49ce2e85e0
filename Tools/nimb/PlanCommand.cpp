// `nimb plan`: lays out the work of making a clip, so that many can share it.
#include "Clip/Write/ClipWork.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/EncodeArguments.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/JobRun.h"
#include "Tools/nimb/JobScripts.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Nimb::Tool {
namespace {

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb plan 'scan/frame_%05d.obj' --texture 'scan/tex_%05d.jpg' --audio take3.wav --emit slurm -o job/\n"
    "      a job's folder, and a script that submits all of it\n"
    "  nimb plan dancer.glb -o job/ && nimb encode --job job/ --segments 0-3 && nimb join job/ -o dancer.mp4\n"
    "      the same by hand: plan, segments, clip";

struct Arguments : EncodeArguments {
    std::string folder;
    std::vector<std::string> schedulers;
    bool overwrite = false;
    bool quiet = false;
};

std::vector<std::string> SchedulerNames() {
    std::vector<std::string> names;
    for (const auto& entry : SchedulersByName()) {
        names.push_back(entry.first);
    }
    return names;
}

int Plan(Arguments& a) {
    const InterruptGuard interrupt;
    try {
        Resolve(a);
        const RunOutput output = a.quiet ? RunOutput::Quiet : RunOutput::Text;
        const Authoring::JobPlan plan = RunPlan(OrderOf(a), a.folder, a.overwrite, a.encode.threads, output);
        const std::size_t segments = plan.clip.segments.size();
        const std::size_t toTrack = ExaminationOf(plan.clip, plan.order.encode, plan.atlas, plan.frameRate).toTrack;
        const std::string folder = std::filesystem::canonical(a.folder).string();
        if (!a.quiet) {
            std::printf("%s: %zu frames in %zu segments, 0 to %zu; inputs: %zu files\n", a.folder.c_str(),
                        plan.clip.segments.back().first + plan.clip.segments.back().count, segments, segments - 1,
                        plan.files.size());
            if (toTrack > 0) {
                std::printf("to track: %zu frames, where their segments are encoded\n", toTrack);
            }
        }
        for (const std::string& name : a.schedulers) {
            const Scheduler scheduler = SchedulersByName().at(name);
            Authoring::WriteWhole((std::filesystem::path(folder) / ScriptName(scheduler)).string(),
                                  {JobScript(scheduler, folder, segments)});
            if (!a.quiet) {
                std::printf("%s: %s\n", name.c_str(), HowToRun(scheduler, folder).c_str());
            }
        }
        return c_ExitOk;
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

}  // namespace

Command AddPlan(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand("plan", "lay out the making of a clip for many machines");
    const auto arguments = std::make_shared<Arguments>();
    AddEncodeOptions(*sub, *arguments);
    sub->add_option("-o,--output", arguments->folder, "the job's folder; it is made, and holds all that is shared")
        ->required();
    sub->add_flag("-y,--overwrite", arguments->overwrite, "replace a plan that is there, and what was encoded by it");
    sub->add_option("--emit", arguments->schedulers, "write a script that runs the job; may be given several times")
        ->check(CLI::IsMember(SchedulerNames()))
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    sub->add_flag("-q,--quiet", arguments->quiet, "print neither progress nor summary");
    sub->add_option("-j,--threads", arguments->encode.threads, "number of threads [one for each core]")
        ->check(CLI::Range(1, 256));
    sub->footer(c_Examples);
    return {sub, [arguments] { return Plan(*arguments); }};
}

}  // namespace Nimb::Tool
