// `nimb demo`: the built-in clip, and captures of a built-in dancer.
#include "Demo/DemoClip.h"
#include "Demo/DemoSound.h"
#include "Tools/nimb/CaptureRun.h"
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
    "      write it somewhere else, over an older one\n"
    "  nimb demo --capture takes && nimb encode takes -o takes.mp4\n"
    "      four seconds of a dancer as a studio captures them, every frame meshed anew, to try encoding with";

struct Arguments {
    std::string output = "demo.mp4";
    bool overwrite = false;
    CaptureArguments capture;
};

int Demo(Arguments& arguments) {
    if (!arguments.capture.folder.empty()) {
        arguments.capture.overwrite = arguments.overwrite;
        return RunCapture(arguments.capture);
    }
    CheckOutput(arguments.output, OutputKind::Clip, arguments.overwrite, {});
    const Authoring::Demo::DemoClip clip;
    Authoring::Demo::DemoSound sound;
    const InterruptGuard interrupt;
    RunEncoder(clip, &sound, arguments.output, {}, RunOutput::Text);
    return c_ExitOk;
}

/// What a capture is like. Returns the option that asks for one.
CLI::Option* AddCaptureOptions(CLI::App& sub, CaptureArguments& a) {
    CLI::Option* const capture = sub.add_option(
        "--capture", a.folder,
        "instead of the clip, write the frames of a dancer into this folder as a studio that does not track delivers "
        "them, every frame with triangles and a texture of its own, and the surface without noise in truth/");
    const auto add = [&](CLI::Option* option) { option->needs(capture)->group("Capture"); };
    capture->group("Capture");
    add(sub.add_option("--of", a.input,
                       "capture this instead of the dancer: a .gltf or .glb scene, or a folder of meshes, in metres; "
                       "closed surfaces are best"));
    add(sub.add_option("--frames", a.frames, "at most so many frames; the dance repeats after 120 at tempo 1")
            ->check(CLI::Range(1, 10000))
            ->capture_default_str());
    add(sub.add_option("--tempo", a.tempo, "of the dance; at 1 hands reach 5 m/s")
            ->check(CLI::Range(0.05, 4.0))
            ->capture_default_str());
    add(sub.add_option("--vertices", a.options.vertices,
                       "about so many points of the surface; more vertices, since charts repeat those at their borders")
            ->check(CLI::Range(100, 1000000))
            ->capture_default_str());
    add(sub.add_option("--noise", a.millimetres, "noise of the surface in millimetres, standard deviation")
            ->check(CLI::Range(0.0, 20.0))
            ->capture_default_str());
    add(sub.add_option("--holes", a.options.holes, "holes in each frame, of two to five centimetres")
            ->check(CLI::Range(0, 100))
            ->capture_default_str());
    add(sub.add_option("--texture-size", a.options.textureSize, "width and height of the textures")
            ->check(CLI::Range(64, 8192))
            ->capture_default_str());
    add(sub.add_option("--seed", a.options.seed, "another one gives another capture of the same dance")
            ->capture_default_str());
    add(sub.add_option("--format", a.format, "obj (with .mtl and .png), ply (with .png) or glb")
            ->check(CLI::IsMember({"obj", "ply", "glb"}))
            ->capture_default_str());
    add(sub.add_flag("!--no-truth", a.truth, "leave out truth/"));
    return capture;
}

}  // namespace

Command AddDemo(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand(
        "demo", "make the built-in clip: a small robot that juggles, three seconds with sound, to be played in a loop");
    const auto arguments = std::make_shared<Arguments>();
    CLI::Option* const output =
        sub->add_option("-o,--output", arguments->output, "the clip to write, an .mp4 file")->capture_default_str();
    AddOverwrite(*sub, arguments->overwrite);
    AddCaptureOptions(*sub, arguments->capture)->excludes(output);
    sub->footer(c_Examples);
    return {sub, [arguments] { return Demo(*arguments); }};
}

}  // namespace Nimb::Tool
