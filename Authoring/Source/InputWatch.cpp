#include "Authoring/Source/InputWatch.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/ContentHash.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace Nimb::Authoring {
namespace {

InputWatch* g_pWatch = nullptr;

InputFile StatusOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw InputError(path + ": cannot be read: " + std::strerror(errno));
    }
    return {path, static_cast<std::uint64_t>(status.st_size),
            static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec, ""};
}

InputError Changed(const std::string& path) {
    return InputError(path + ": has changed since the job was planned");
}

}  // namespace

InputFile LookAt(const std::string& path) {
    InputFile file = StatusOf(path);
    file.hash = HashOfFile(path);
    return file;
}

void CheckUnchanged(const InputFile& known) {
    const InputFile now = StatusOf(known.path);
    if (now.size != known.size || (now.changed != known.changed && HashOfFile(known.path) != known.hash)) {
        throw Changed(known.path);
    }
}

InputWatch::InputWatch() : m_IsChecking(false) {
    g_pWatch = this;
}

InputWatch::InputWatch(const std::vector<InputFile>& known) : m_IsChecking(true) {
    for (const InputFile& file : known) {
        m_Files.emplace(file.path, file);
    }
    g_pWatch = this;
}

InputWatch::~InputWatch() {
    g_pWatch = nullptr;
}

void InputWatch::Note(const std::string& path) {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_Files.count(path) != 0) {
            return;
        }
    }
    InputFile file = LookAt(path);
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Files.emplace(path, std::move(file));
}

std::vector<InputFile> InputWatch::Files() const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    std::vector<InputFile> files;
    for (const auto& entry : m_Files) {
        files.push_back(entry.second);
    }
    return files;
}

void InputWatch::See(const std::string& path, const std::vector<BYTE>& bytes) {
    InputWatch* const pWatch = g_pWatch;
    if (pWatch == nullptr) {
        return;
    }
    const std::string hash = HashOf(bytes.data(), bytes.size());
    const std::lock_guard<std::mutex> lock(pWatch->m_Mutex);
    const auto known = pWatch->m_Files.find(path);
    if (known != pWatch->m_Files.end()) {
        if (known->second.hash != hash) {
            throw Changed(path);
        }
    } else if (pWatch->m_IsChecking) {
        throw InputError(path + ": was not there when the job was planned");
    } else {
        InputFile file = StatusOf(path);
        file.hash = hash;
        pWatch->m_Files.emplace(path, std::move(file));
    }
}

}  // namespace Nimb::Authoring
