#include "Tools/nimb/FrameFiles.h"

#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>

namespace Nimb::Tool {
namespace {

namespace fs = std::filesystem;

/// `shownPath`: what to call the file in messages.
void WriteWhole(const std::string& path, const std::string& shownPath, const Authoring::Bytes& bytes) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    const bool isWritten = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const int error = errno;
    const bool isClosed = file != nullptr && std::fclose(file) == 0;
    if (!isWritten || !isClosed) {
        throw OutputError(shownPath + ": " + std::strerror(isWritten ? errno : error));
    }
}

}  // namespace

std::string StemOf(std::size_t frame) {
    char stem[32];
    std::snprintf(stem, sizeof(stem), "frame_%04zu", frame);
    return stem;
}

void MakeFolder(const std::string& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        throw OutputError(folder + ": cannot be created: " + error.message());
    }
    if (!fs::is_directory(folder, error)) {
        throw OutputError(folder + ": is not a folder");
    }
}

void WriteFiles(const std::string& folder, const std::vector<Authoring::ExportedFile>& files, bool overwrite) {
    std::deque<OutputFile> outputs;
    for (const Authoring::ExportedFile& file : files) {
        const std::string path = (fs::path(folder) / file.name).string();
        outputs.emplace_back(path, overwrite);
        WriteWhole(outputs.back().TemporaryPath(), path, file.bytes);
    }
    for (OutputFile& output : outputs) {
        output.Commit();
    }
}

}  // namespace Nimb::Tool
