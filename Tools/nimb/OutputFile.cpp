#include "Tools/nimb/OutputFile.h"

#include "Tools/nimb/ExitStatus.h"

#include <unistd.h>
#include <filesystem>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace NimbTool {

void CheckOutput(const std::string& path, bool overwrite) {
    std::error_code error;
    if (fs::is_directory(path, error)) {
        throw OutputError(path + ": is a folder");
    }
    // The finished file takes the place of what has its name: for a device, that would be the end of it.
    if (fs::exists(path, error) && !fs::is_regular_file(path, error)) {
        throw OutputError(path + ": is no file that can be replaced");
    }
    if (!overwrite && fs::exists(path, error)) {
        throw UsageError(path + ": exists already; -y overwrites it");
    }
    const fs::path folder = fs::absolute(path).parent_path();
    if (!fs::is_directory(folder, error)) {
        throw OutputError(path + ": the folder " + folder.string() + " does not exist");
    }
}

OutputFile::OutputFile(std::string path, bool overwrite) : m_Path(std::move(path)) {
    CheckOutput(m_Path, overwrite);
    // The extension stays last, for libraries that tell the format by it.
    const fs::path own(m_Path);
    m_TemporaryPath = (own.parent_path() /
                       ("." + own.stem().string() + ".part" + std::to_string(getpid()) + own.extension().string()))
                          .string();
}

OutputFile::~OutputFile() {
    if (!m_Committed) {
        std::error_code ignored;
        fs::remove(m_TemporaryPath, ignored);
    }
}

void OutputFile::Commit() {
    std::error_code error;
    fs::rename(m_TemporaryPath, m_Path, error);
    if (error) {
        throw OutputError(m_Path + ": " + error.message());
    }
    m_Committed = true;
}

}  // namespace NimbTool
