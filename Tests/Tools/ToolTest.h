// Running `nimb` and looking at what it left.
#pragma once

#include "Tests/Support/TestClip.h"

#include <string>
#include <vector>

namespace ToolTest {

using ClipTest::ReadFile;
using ClipTest::RunCommand;
using ClipTest::TemporaryFolder;

struct ToolResult {
    int status;       ///< of the program; 128 + signal if one ended it
    std::string out;  ///< its standard output
    std::string err;  ///< its standard error
};

/// Runs the program with arguments as a shell takes them. `before`: what the shell does first, as in "ulimit -f 8;".
ToolResult RunNimb(const std::string& arguments, const std::string& before = "");

void WriteText(const std::string& path, const std::string& text);

/// Names of the files in a folder, sorted.
std::vector<std::string> FilesIn(const std::string& folder);

}  // namespace ToolTest
