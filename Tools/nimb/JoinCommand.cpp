// `nimb join`: the segments of a job to a clip.
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/JobRun.h"
#include "Tools/nimb/OutputFile.h"

#include <memory>
#include <string>

namespace Nimb::Tool {
namespace {

struct Arguments {
    std::string folder;
    std::string output;
    bool overwrite = false;
    bool json = false;
    bool quiet = false;
    std::size_t threads = 0;
};

int Join(const Arguments& a) {
    const InterruptGuard interrupt;
    CheckOutput(a.output, OutputKind::Clip, a.overwrite, {});
    RunJoin(a.folder, a.output, a.threads, a.json ? RunOutput::Json : a.quiet ? RunOutput::Quiet : RunOutput::Text);
    return c_ExitOk;
}

}  // namespace

Command AddJoin(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand("join", "make a clip of the segments of a job");
    const auto arguments = std::make_shared<Arguments>();
    sub->add_option("FOLDER", arguments->folder, "the job's folder, which nimb plan has made")->required();
    sub->add_option("-o,--output", arguments->output, "the clip to write, an .mp4 file")->required();
    AddOverwrite(*sub, arguments->overwrite);
    CLI::Option* const json = sub->add_flag("--json", arguments->json, "print the summary as JSON, as nimb info does");
    sub->add_flag("-q,--quiet", arguments->quiet, "print neither progress nor summary")->excludes(json);
    sub->add_option("-j,--threads", arguments->threads, "number of threads [one for each core]")
        ->check(CLI::Range(1, 256));
    sub->footer(
        "All segments and inputs are checked first; whatever is missing, damaged or changed is named.\n"
        "Example:\n  nimb join job/ -o take3.mp4");
    return {sub, [arguments] { return Join(*arguments); }};
}

}  // namespace Nimb::Tool
