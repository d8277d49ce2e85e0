// `nimb verify`: decodes all of a clip and names what is wrong with it.
#include "Clip/Read/ClipFrames.h"
#include "Clip/Read/ClipVerifier.h"
#include "Tools/nimb/ClipJson.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Progress.h"

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace Nimb::Tool {
namespace {

using Authoring::ClipProblem;
using Json = nlohmann::ordered_json;

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb verify dancer.mp4\n"
    "      a line for each problem: file, frame, byte offset, kind of problem, what it is\n"
    "  nimb verify --json dancer.mp4 | jq '.problems[] | select(.kind == \"mesh-damaged\") | .frame'\n"
    "      the numbers of the frames whose meshes are damaged\n"
    "Exit status: 0 without problems, 1 with problems, 3 when the clip cannot be opened.";

struct Arguments {
    std::string path;
    bool json = false;
};

void PrintProblem(const std::string& path, const ClipProblem& problem) {
    std::string text = path;
    if (problem.frame) {
        text += ": frame " + std::to_string(*problem.frame);
    }
    if (problem.offset) {
        text += (problem.frame ? ", byte " : ": byte ") + std::to_string(*problem.offset);
    }
    std::printf("%s: %s: %s\n", text.c_str(), problem.kind.c_str(), problem.text.c_str());
}

Json ToJson(const ClipProblem& problem) {
    Json json = {{"kind", problem.kind}, {"frame", nullptr}, {"offset", nullptr}, {"text", problem.text}};
    if (problem.frame) {
        json["frame"] = *problem.frame;
    }
    if (problem.offset) {
        json["offset"] = *problem.offset;
    }
    return json;
}

int Run(const Arguments& arguments) {
    Json problems = Json::array();
    Progress progress("Verifying", Authoring::CountClipFrames(arguments.path));
    const auto result = Authoring::VerifyClip(
        arguments.path,
        [&](const ClipProblem& problem) {
            if (arguments.json) {
                problems.push_back(ToJson(problem));
            } else {
                progress.Clear();
                PrintProblem(arguments.path, problem);
            }
        },
        [&](std::size_t frames) { progress.Report(frames); });
    progress.Clear();
    if (arguments.json) {
        const Json json = {{"file", arguments.path},
                           {"ok", result.problems == 0},
                           {"frames", result.frames},
                           {"problems", std::move(problems)}};
        Print(json);
    } else if (result.problems == 0) {
        std::printf("ok, %zu frames\n", result.frames);
    } else {
        std::printf("%zu problem%s, %zu frames\n", result.problems, result.problems == 1 ? "" : "s", result.frames);
    }
    return result.problems == 0 ? c_ExitOk : c_ExitProblem;
}

}  // namespace

Command AddVerify(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand("verify", "decode all of a clip and name every problem");
    const auto arguments = std::make_shared<Arguments>();
    sub->add_option("clip", arguments->path, "the clip, an .mp4 file")->required();
    sub->add_flag("--json", arguments->json, "print the result as JSON");
    sub->footer(c_Examples);
    return {sub, [arguments] { return Run(*arguments); }};
}

}  // namespace Nimb::Tool
