// The commands of `nimb`. Each adds its options and its examples to the command line; the returned function runs it.
//
// A command returns an ExitStatus and throws UsageError, Nimb::Authoring::InputError, OutputError or
// Nimb::Authoring::ClipError; Main.cpp turns these into a message on standard error and a status. Results go to
// standard output, everything else to standard error.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace Nimb::Tool {

struct Command {
    CLI::App* app;
    std::function<int()> run;
};

Command AddEncode(CLI::App& app);
Command AddPlay(CLI::App& app);
Command AddInfo(CLI::App& app);
Command AddVerify(CLI::App& app);
Command AddCompare(CLI::App& app);
Command AddExport(CLI::App& app);
Command AddWeb(CLI::App& app);
Command AddRemux(CLI::App& app);
Command AddPlan(CLI::App& app);
Command AddJoin(CLI::App& app);
Command AddDemo(CLI::App& app);

}  // namespace Nimb::Tool
