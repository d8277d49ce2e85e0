#include "Authoring/Source/FileIdentity.h"

#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

std::string g_GuardedPath;
std::optional<FileIdentity> g_Guarded;

}  // namespace

std::optional<FileIdentity> IdentityOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        return FileIdentity{status.st_dev, status.st_ino, ""};
    }
    const std::filesystem::path missing(path);
    const std::filesystem::path folder = missing.parent_path();
    if (stat(folder.empty() ? "." : folder.c_str(), &status) == 0) {
        return FileIdentity{status.st_dev, status.st_ino, missing.filename().string()};
    }
    return std::nullopt;
}

OutputGuard::OutputGuard(const std::string& output) {
    g_GuardedPath = output;
    g_Guarded = IdentityOf(output);
}

OutputGuard::~OutputGuard() {
    g_Guarded.reset();
}

void OutputGuard::CheckInput(int file, const std::string& path) {
    struct stat status {};
    if (g_Guarded && fstat(file, &status) == 0 && FileIdentity{status.st_dev, status.st_ino, ""} == *g_Guarded) {
        throw std::invalid_argument(g_GuardedPath + ": is also an input (" + path + "), which it would replace");
    }
}

}  // namespace Nimb::Authoring
