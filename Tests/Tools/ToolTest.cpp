#include "Tests/Tools/ToolTest.h"

#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace ToolTest {
namespace {

std::string TextOf(const std::string& path) {
    const std::vector<unsigned char> bytes = ReadFile(path);
    return std::string(bytes.begin(), bytes.end());
}

}  // namespace

ToolResult RunNimb(const std::string& arguments, const std::string& before) {
    const TemporaryFolder folder;
    const std::string out = folder / "out", err = folder / "err";
    WriteText(out, "");
    WriteText(err, "");
    const int status =
        RunCommand("((" + before + " " NIMB_TOOL_FILE " " + arguments + ") > " + out + " 2> " + err + ")").status;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), TextOf(out), TextOf(err)};
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::vector<std::string> FilesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace ToolTest
