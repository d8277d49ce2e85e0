// Outputs that appear whole or not at all.
#pragma once

#include <string>

namespace NimbTool {

/// UsageError when the file exists and may not be overwritten; OutputError when it is a folder or a device, or when its
/// folder does not exist.
void CheckOutput(const std::string& path, bool overwrite);

/// A file that is written under a temporary name beside its own. Commit gives it its name; without it, the destructor
/// removes what was written.
class OutputFile {
public:
    /// Checks as CheckOutput does.
    OutputFile(std::string path, bool overwrite);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& TemporaryPath() const noexcept { return m_TemporaryPath; }

    /// OutputError when the file cannot be renamed.
    void Commit();

private:
    std::string m_Path;
    std::string m_TemporaryPath;
    bool m_Committed = false;
};

}  // namespace NimbTool
