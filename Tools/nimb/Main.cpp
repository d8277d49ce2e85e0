// `nimb`: makes, plays, inspects, verifies and takes apart volumetric clips.
#include "Authoring/Scene/MeshSource.h"
#include "Clip/Read/ClipReader.h"
#include "Clip/Write/ClipError.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/StandardStreams.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

namespace {

int Fail(const char* text, int status) {
    std::fprintf(stderr, "nimb: %s\n", text);
    return status;
}

int Run(const Nimb::Tool::Command& command) {
    try {
        const int status = command.run();
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            return Fail("standard output cannot be written", Nimb::Tool::c_ExitOutput);
        }
        return status;
    } catch (const Nimb::Tool::UsageError& e) {
        return Fail(e.what(), Nimb::Tool::c_ExitUsage);
    } catch (const Nimb::Authoring::InputError& e) {
        return Fail(e.what(), Nimb::Tool::c_ExitInput);
    } catch (const Nimb::Tool::Interrupted& e) {
        return Fail(e.what(), e.Status());
    } catch (const Nimb::Tool::OutputError& e) {
        return Fail(e.what(), Nimb::Tool::c_ExitOutput);
    } catch (const Nimb::Authoring::ClipError& e) {
        return Fail(e.what(), Nimb::Tool::c_ExitOutput);
    } catch (const std::bad_alloc&) {
        return Fail("out of memory", Nimb::Tool::c_ExitInput);
    } catch (const std::exception& e) {
        return Fail(e.what(), Nimb::Tool::c_ExitInput);
    }
}

using Commands = std::vector<Nimb::Tool::Command>;

/// How many letters must be added, left out, changed or swapped with the next one.
std::size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            cost[i][j] =
                std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

const Nimb::Tool::Command* Find(const Commands& commands, const std::string& name) {
    const auto found = std::find_if(commands.begin(), commands.end(), [&name](const Nimb::Tool::Command& command) {
        return command.app->get_name() == name;
    });
    return found == commands.end() ? nullptr : &*found;
}

int FailUnknown(const Commands& commands, const std::string& name) {
    const auto distance = [&name](const Nimb::Tool::Command& command) {
        return EditDistance(name, command.app->get_name());
    };
    const auto nearest = std::min_element(commands.begin(), commands.end(),
                                          [&](const auto& a, const auto& b) { return distance(a) < distance(b); });
    std::string all;
    for (const Nimb::Tool::Command& command : commands) {
        all += (all.empty() ? "" : ", ") + command.app->get_name();
    }
    return Fail(
        ("'" + name + "' is not a command" +
         (distance(*nearest) < nearest->app->get_name().size() ? "; did you mean '" + nearest->app->get_name() + "'?"
                                                               : ".") +
         "\n  Commands: " + all + "; `nimb help COMMAND` shows a command's options.")
            .c_str(),
        Nimb::Tool::c_ExitUsage);
}

/// `nimb help`, `nimb help COMMAND`.
int Help(const CLI::App& app, const Commands& commands, const char* name) {
    const Nimb::Tool::Command* const command = name != nullptr ? Find(commands, name) : nullptr;
    if (name != nullptr && command == nullptr) {
        return FailUnknown(commands, name);
    }
    std::fputs((command != nullptr ? command->app->help(app.get_name()) : app.help()).c_str(), stdout);
    return Nimb::Tool::c_ExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    Nimb::Tool::OpenStandardStreams();
    CLI::App app(
        "Makes, plays, inspects, verifies and takes apart volumetric clips: MP4 files whose every frame is a\n"
        "textured triangle mesh.",
        "nimb");
    app.set_version_flag("--version", "nimb " NIMB_VERSION);
    app.require_subcommand(0, 1);  // checked below, since the library would not say which word is not a command
    app.footer(
        "Exit status: 0 ok, 1 a problem was found, 2 usage, 3 input, 4 output.\n"
        "`nimb help COMMAND` shows a command's options, with examples.");
    const Commands commands = {Nimb::Tool::AddEncode(app), Nimb::Tool::AddPlay(app),    Nimb::Tool::AddInfo(app),
                               Nimb::Tool::AddVerify(app), Nimb::Tool::AddCompare(app), Nimb::Tool::AddExport(app),
                               Nimb::Tool::AddWeb(app),    Nimb::Tool::AddRemux(app),   Nimb::Tool::AddPlan(app),
                               Nimb::Tool::AddJoin(app),   Nimb::Tool::AddDemo(app)};
    const std::string first = argc > 1 ? argv[1] : "";
    if (first == "help") {
        return Help(app, commands, argc > 2 ? argv[2] : nullptr);
    }
    if (!first.empty() && first.front() != '-' && Find(commands, first) == nullptr) {
        return FailUnknown(commands, first);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? Nimb::Tool::c_ExitOk : Nimb::Tool::c_ExitUsage;
    }
    Nimb::Authoring::SilenceAvLog();
    for (const Nimb::Tool::Command& command : commands) {
        if (command.app->parsed()) {
            return Run(command);
        }
    }
    std::fputs(app.help().c_str(), stderr);
    return Nimb::Tool::c_ExitUsage;
}
