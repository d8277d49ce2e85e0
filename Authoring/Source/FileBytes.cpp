#include "Authoring/Source/FileBytes.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/FileIdentity.h"
#include "Authoring/Source/InputWatch.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace Nimb::Authoring {

std::vector<BYTE> ReadFileBytes(const std::string& path, const std::string& what) {
    const auto fail = [&](const char* reason) { return InputError(path + ": " + what + " cannot be read: " + reason); };
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (file == nullptr) {
        throw fail(std::strerror(errno));
    }
    OutputGuard::CheckInput(fileno(file.get()), path);
    std::vector<BYTE> bytes;
    std::error_code ignored;
    const auto expected = std::filesystem::file_size(path, ignored);
    std::size_t used = 0;
    bytes.resize(ignored ? 65536 : static_cast<std::size_t>(expected) + 1);
    while (const std::size_t count = std::fread(bytes.data() + used, 1, bytes.size() - used, file.get())) {
        used += count;
        if (used == bytes.size()) {
            bytes.resize(used * 2);
        }
    }
    if (std::ferror(file.get()) != 0) {
        throw fail(std::strerror(errno));
    }
    bytes.resize(used);
    InputWatch::See(path, bytes);
    return bytes;
}

std::string PathBeside(const std::string& file, std::string name) {
    std::replace(name.begin(), name.end(), '\\', '/');
    return (std::filesystem::path(file).parent_path() / name).string();
}

}  // namespace Nimb::Authoring
