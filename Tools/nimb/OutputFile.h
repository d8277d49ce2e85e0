// Outputs that appear whole or not at all, and never in place of an input.
#pragma once

#include <string>
#include <vector>

namespace Nimb::Tool {

enum class OutputKind { Clip, Video, Picture, Page };

/// Checks an output before any work is put into it. UsageError when its name ends as that of another format does, when
/// it is one of the `inputs` under whatever name, or when it exists and may not be overwritten; OutputError when it is
/// a folder or a device, or when its folder does not exist.
void CheckOutput(const std::string& path, OutputKind kind, bool overwrite, const std::vector<std::string>& inputs);

/// The same, for an output whose name the tool has chosen.
void CheckReplaceable(const std::string& path, bool overwrite, const std::vector<std::string>& inputs);

/// A file that is written under a temporary name beside its own. Commit gives it its name; without it, the destructor
/// removes what was written.
class OutputFile {
public:
    /// Checks again what CheckReplaceable checked, since time has passed.
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

}  // namespace Nimb::Tool
