// Temporary folders, whole files, and commands of the shell.
#pragma once

#include <string>
#include <vector>

namespace ClipTest {

/// A folder that goes with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string operator/(const std::string& name) const { return m_Path + "/" + name; }

private:
    std::string m_Path;
};

std::vector<unsigned char> ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::vector<unsigned char>& bytes);

/// Exit status and output (both streams) of a command.
struct CommandResult {
    int status;
    std::string output;
};
CommandResult RunCommand(const std::string& command);

}  // namespace ClipTest
