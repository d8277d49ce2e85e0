#include "Tools/nimb/PageFile.h"

#include "Authoring/Scene/MeshSource.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

namespace fs = std::filesystem;

namespace Nimb::Tool {

PageFile::PageFile(const std::string& path, bool overwrite)
    : m_Path(path), m_Output(path, overwrite), m_File(std::fopen(m_Output.TemporaryPath().c_str(), "wb")) {
    if (m_File == nullptr) {
        Fail();
    }
}

PageFile::~PageFile() {
    if (m_File != nullptr) {
        std::fclose(m_File);
    }
}

void PageFile::Fail() const {
    throw OutputError(m_Path + ": " + std::strerror(errno));
}

void PageFile::Write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_File) != bytes.size()) {
        Fail();
    }
    m_Size += bytes.size();
}

void PageFile::Close() {
    std::FILE* const file = m_File;
    m_File = nullptr;
    if (std::fclose(file) != 0) {
        Fail();
    }
}

PageFolder::PageFolder(const std::string& path) {
    fs::path whole;
    for (const fs::path& name : fs::path(path)) {
        whole /= name;
        std::error_code error;
        if (fs::create_directory(whole, error)) {
            m_Made.push_back(whole.string());
        }
    }
    std::error_code error;
    if (!fs::is_directory(path, error)) {
        throw OutputError(path + ": " + (error ? error.message() : "is not a folder"));
    }
}

PageFolder::~PageFolder() {
    for (auto made = m_Made.rbegin(); made != m_Made.rend(); ++made) {
        std::error_code ignored;
        fs::remove(*made, ignored);  // only if it is empty
    }
}

void ReadInPieces(const std::string& path, std::size_t size, const std::function<void(std::string_view)>& take) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (file == nullptr) {
        throw Authoring::InputError(path + ": " + std::strerror(errno));
    }
    std::vector<char> piece(size);
    for (;;) {
        InterruptGuard::Check();
        const std::size_t count = std::fread(piece.data(), 1, size, file.get());
        if (count != 0) {
            take({piece.data(), count});
        }
        if (count < size) {
            break;
        }
    }
    if (std::ferror(file.get()) != 0) {
        throw Authoring::InputError(path + ": " + std::strerror(errno));
    }
}

}  // namespace Nimb::Tool
