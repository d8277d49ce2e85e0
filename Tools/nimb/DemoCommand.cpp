// `nimb demo`: the built-in clip.
#include "Demo/DemoClip.h"
#include "Demo/DemoSound.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/EncodeRun.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/OutputFile.h"

#include <memory>
#include <string>

namespace Nimb::Tool {
namespace {

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb demo && nimb play demo.mp4\n"
    "      make the clip and watch it\n"
    "  nimb demo -y -o /tmp/juggler.mp4\n"
    "      write it somewhere else, over an older one";

struct Arguments {
    std::string output = "demo.mp4";
    bool overwrite = false;
};

int Demo(const Arguments& arguments) {
    CheckOutput(arguments.output, OutputKind::Clip, arguments.overwrite, {});
    const Authoring::Demo::DemoClip clip;
    Authoring::Demo::DemoSound sound;
    const InterruptGuard interrupt;
    RunEncoder(clip, &sound, arguments.output, {}, RunOutput::Text);
    return c_ExitOk;
}

}  // namespace

Command AddDemo(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand(
        "demo", "make the built-in clip: a small robot that juggles, three seconds with sound, to be played in a loop");
    const auto arguments = std::make_shared<Arguments>();
    sub->add_option("-o,--output", arguments->output, "the clip to write, an .mp4 file")->capture_default_str();
    AddOverwrite(*sub, arguments->overwrite);
    sub->footer(c_Examples);
    return {sub, [arguments] { return Demo(*arguments); }};
}

}  // namespace Nimb::Tool
