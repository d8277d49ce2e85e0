// `nimb`: makes, plays, inspects, verifies and takes apart volumetric clips.
#include "Authoring/Clip/ClipError.h"
#include "Authoring/Clip/ClipReader.h"
#include "Authoring/MeshSource.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"

#include <cstdio>
#include <iterator>
#include <new>

namespace {

int Fail(const char* text, int status) {
    std::fprintf(stderr, "nimb: %s\n", text);
    return status;
}

int Run(const NimbTool::Command& command) {
    try {
        const int status = command.run();
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            return Fail("standard output cannot be written", NimbTool::c_ExitOutput);
        }
        return status;
    } catch (const NimbTool::UsageError& e) {
        return Fail(e.what(), NimbTool::c_ExitUsage);
    } catch (const Authoring::InputError& e) {
        return Fail(e.what(), NimbTool::c_ExitInput);
    } catch (const NimbTool::Interrupted& e) {
        return Fail(e.what(), e.Status());
    } catch (const NimbTool::OutputError& e) {
        return Fail(e.what(), NimbTool::c_ExitOutput);
    } catch (const Authoring::ClipError& e) {
        return Fail(e.what(), NimbTool::c_ExitOutput);
    } catch (const std::bad_alloc&) {
        return Fail("out of memory", NimbTool::c_ExitInput);
    } catch (const std::exception& e) {
        return Fail(e.what(), NimbTool::c_ExitInput);
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Makes, plays, inspects, verifies and takes apart volumetric clips: MP4 files whose every frame is a\n"
        "textured triangle mesh.",
        "nimb");
    app.set_version_flag("--version", "nimb " NIMB_VERSION);
    app.require_subcommand(0, 1);  // which is checked below: the library would not say what is no command
    app.footer(
        "Exit status: 0 ok, 1 a problem was found, 2 usage, 3 input, 4 output.\n"
        "`nimb COMMAND -h` shows a command's options, with examples.");
    const NimbTool::Command commands[] = {NimbTool::AddEncode(app), NimbTool::AddPlay(app),   NimbTool::AddInfo(app),
                                          NimbTool::AddVerify(app), NimbTool::AddExport(app), NimbTool::AddDemo(app)};
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? NimbTool::c_ExitOk : NimbTool::c_ExitUsage;
    }
    Authoring::SilenceAvLog();
    for (const NimbTool::Command& command : commands) {
        if (command.app->parsed()) {
            return Run(command);
        }
    }
    std::fputs(app.help().c_str(), stderr);
    return NimbTool::c_ExitUsage;
}
