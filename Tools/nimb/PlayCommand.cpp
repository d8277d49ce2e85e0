// `nimb play`: shows a clip with the real player, in a window or into files.
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/PlayModes.h"
#include "Tools/nimb/Viewer/Window.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace Nimb::Tool {
namespace {

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb play dancer.mp4\n"
    "      in a window; H shows what keys and mouse do\n"
    "  nimb play dancer.mp4 --snapshot poster.png --at 1.5s --size 1080x1920\n"
    "  nimb play dancer.mp4 --contact-sheet sheet.png --views front,right,back --columns 8\n"
    "  nimb play dancer.mp4 --record turn.mp4 --turntable --background '#ffffff'\n"
    "  nimb play dancer.mp4 --headless --loop 3\n"
    "      how smoothly it plays on this machine, without a window\n"
    "Captures are drawn offscreen and go to the frames that they need; one that cannot be shown is reported with the\n"
    "reason. NIMB_LOG_LEVEL=info shows the player's log.";

/// The options as given.
struct Arguments {
    PlayOptions play;
    std::string size;
    std::string cell;
    std::string views;
    std::string background;
    std::string backFaces = "show";
    int passes = -1;
    bool noSound = false;
    bool storedNormals = false;
};

void ParseSize(const char* option, const std::string& text, int* pWidth, int* pHeight) {
    char rest = 0;
    if (std::sscanf(text.c_str(), "%dx%d%c", pWidth, pHeight, &rest) != 2 || *pWidth < 16 || *pHeight < 16 ||
        *pWidth > 16384 || *pHeight > 16384) {
        throw UsageError(std::string(option) + ": '" + text +
                         "' is not a size such as 1280x720, with sides from 16 to 16384");
    }
}

std::vector<View> ParseViews(const std::string& text) {
    std::vector<View> views;
    for (const std::string& name : CLI::detail::split(text, ',')) {
        views.push_back(ParseView(name));
    }
    return views;
}

Colour ParseColour(const std::string& text) {
    if (text == "none") {
        return {0, 0, 0, 0};
    }
    const std::optional<Colour> colour = ReadColour(text);
    if (!colour) {
        throw UsageError("--background: '" + text + "' is neither a colour such as #20242a nor none");
    }
    return *colour;
}

void CheckRecording(const PlayOptions& options) {
    if (options.width % 2 != 0 || options.height % 2 != 0 || options.width > 4096 || options.height > 4096) {
        throw UsageError("--record: the sides of a video must be even and at most 4096; --size is " +
                         std::to_string(options.width) + "x" + std::to_string(options.height));
    }
}

/// What the options mean together.
PlayOptions Resolve(const Arguments& arguments) {
    PlayOptions options = arguments.play;
    if (!arguments.size.empty()) {
        ParseSize("--size", arguments.size, &options.width, &options.height);
    }
    if (!arguments.cell.empty()) {
        ParseSize("--cell", arguments.cell, &options.cellWidth, &options.cellHeight);
    }
    if (!arguments.background.empty()) {
        options.appearance.background = ParseColour(arguments.background);
    }
    const bool isSheet = !options.contactSheet.empty();
    options.views = ParseViews(!arguments.views.empty() ? arguments.views : isSheet ? "front,right,back" : "front");
    if (options.views.size() > 1 && !isSheet) {
        throw UsageError("--views: only a contact sheet has room for more than one");
    }
    options.appearance.backFaces = arguments.backFaces == "cull"   ? BackFaces::Cull
                                   : arguments.backFaces == "mark" ? BackFaces::Mark
                                                                   : BackFaces::Show;
    options.sound = !arguments.noSound;
    options.computeNormals = !arguments.storedNormals;
    if (options.IsCapture() && arguments.passes >= 0) {
        throw UsageError("--loop: captures take every frame once");
    }
    if (!options.recording.empty()) {
        CheckRecording(options);
    }
    if (!options.IsCapture() && !options.headless) {
        options.headless = !Window::IsPossible();
    }
    if (!options.moment.empty() && options.snapshot.empty() && (options.IsCapture() || options.headless)) {
        throw UsageError("--at: is for a snapshot or a window");
    }
    options.passes = arguments.passes >= 0 ? arguments.passes : options.headless ? 1 : 0;
    return options;
}

int Play(const Arguments& arguments) {
    const PlayOptions options = Resolve(arguments);
    if (options.IsCapture()) {
        return PlayIntoFiles(options);
    }
    if (options.headless) {
        if (!arguments.play.headless) {
            std::fputs("nimb: no display can be opened (see DISPLAY): playing without a window\n", stderr);
        }
        return PlayHeadless(options);
    }
    return PlayInWindow(options);
}

void AddCaptureOptions(CLI::App& sub, Arguments& a) {
    sub.add_option("--snapshot", a.play.snapshot, "PNG of one frame")->type_name("FILE");
    sub.add_option("--at", a.play.moment,
                   "frame of the snapshot [50%], or the one to begin with in a window: 17 (number), 1.5s (time) or 50%")
        ->type_name("MOMENT");
    sub.add_option("--contact-sheet", a.play.contactSheet, "PNG with frames from all over the clip: a row a view")
        ->type_name("FILE");
    sub.add_option("--columns", a.play.sheetColumns, "frames in the contact sheet")
        ->check(CLI::Range(1, 200))
        ->capture_default_str()
        ->needs("--contact-sheet");
    sub.add_option("--cell", a.cell, "size of its pictures [240x320]")->type_name("WxH")->needs("--contact-sheet");
    sub.add_option("--record", a.play.recording, "H.264 video of what is drawn, every frame once, with the sound")
        ->type_name("FILE");
    AddOverwrite(sub, a.play.overwrite);
}

void AddViewOptions(CLI::App& sub, Arguments& a) {
    sub.add_option("--size", a.size, "of the window or the picture [1280x720]")->type_name("WxH");
    sub.add_option("--views", a.views, "front, right (from +x), back, left, top, or degrees; several with commas")
        ->type_name("LIST");
    sub.add_option("--turntable", a.play.turns, "turn the camera around once during the clip, or this many times")
        ->type_name("[TURNS]")
        ->expected(0, 1)
        ->default_str("1");
    sub.add_option("--background", a.background, "colour such as #20242a, or none: transparent in PNG")
        ->type_name("COLOUR");
    sub.add_flag("--wireframe", a.play.appearance.wireframe, "edges over the surface");
    sub.add_flag("--shaded", a.play.appearance.shaded, "lit from the camera, to see the normals");
    sub.add_flag("--no-normals", a.storedNormals, "do not compute normals: the clip's own, if it has any");
    sub.add_option("--back-faces", a.backFaces, "show, cull, or mark: what is wound the wrong way turns magenta")
        ->check(CLI::IsMember({"show", "cull", "mark"}))
        ->capture_default_str();
    sub.add_flag("--texture", a.play.appearance.textureOnly, "the texture alone, flat");
}

}  // namespace

Command AddPlay(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand("play", "show a clip in a window, or make pictures and videos of it");
    const auto arguments = std::make_shared<Arguments>();
    Arguments& a = *arguments;
    sub->add_option("clip", a.play.clip, "the clip, an .mp4 file")->required();
    sub->add_flag("--headless", a.play.headless, "play without a window, and report how it went");
    sub->add_flag("--strict", a.play.strict, "exit status 1 when playback could not keep up")->needs("--headless");
    sub->add_option("--speed", a.play.speed, "1 is the clip's own")
        ->check(CLI::Range(0.05, 16.0))
        ->capture_default_str();
    sub->add_option("--loop", a.passes, "times to play the clip; 0: without end [a window: 0; headless: 1]")
        ->check(CLI::Range(0, 1000000))
        ->type_name("N");
    sub->add_flag("--no-audio", a.noSound, "without the sound");
    AddCaptureOptions(*sub, a);
    AddViewOptions(*sub, a);
    sub->footer(c_Examples);
    return {sub, [arguments] { return Play(*arguments); }};
}

}  // namespace Nimb::Tool
