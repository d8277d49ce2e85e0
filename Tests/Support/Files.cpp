#include "Tests/Support/Files.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace ClipTest {
namespace {

constexpr std::size_t c_Piece = 1u << 16;

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "nimb-clip-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    m_Path = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Path, ignored);
}

std::vector<unsigned char> ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<unsigned char> bytes;
    std::size_t size = 0;
    do {  // in pieces: byte by byte, sanitizers make seconds of a megabyte
        bytes.resize(size + c_Piece);
        file.read(reinterpret_cast<char*>(bytes.data() + size), c_Piece);
        size += static_cast<std::size_t>(file.gcount());
    } while (file);
    bytes.resize(size);
    return bytes;
}

void WriteFile(const std::string& path, const std::vector<unsigned char>& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) {
        throw std::runtime_error(path + " cannot be written");
    }
}

CommandResult RunCommand(const std::string& command) {
    std::FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error(command + " cannot be run");
    }
    CommandResult result{0, {}};
    std::array<char, 4096> part;
    for (std::size_t count = 0; (count = std::fread(part.data(), 1, part.size(), pipe)) > 0;) {
        result.output.append(part.data(), count);
    }
    result.status = pclose(pipe);
    return result;
}

}  // namespace ClipTest
