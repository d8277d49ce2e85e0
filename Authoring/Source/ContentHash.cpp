#include "Authoring/Source/ContentHash.h"

#include "Authoring/Scene/MeshSource.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace Nimb::Authoring {

struct ContentHash::State {
    XXH3_state_t xxh;
};

ContentHash::ContentHash() : m_State(std::make_unique<State>()) {
    XXH3_128bits_reset(&m_State->xxh);
}

ContentHash::~ContentHash() = default;

void ContentHash::Add(const void* bytes, std::size_t size) {
    XXH3_128bits_update(&m_State->xxh, bytes, size);
}

std::string ContentHash::Text() const {
    const XXH128_hash_t hash = XXH3_128bits_digest(&m_State->xxh);
    char text[33];
    std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                  static_cast<unsigned long long>(hash.low64));
    return text;
}

std::string HashOf(const void* bytes, std::size_t size) {
    ContentHash hash;
    hash.Add(bytes, size);
    return hash.Text();
}

std::string HashOfFile(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (file == nullptr) {
        throw InputError(path + ": cannot be read: " + std::strerror(errno));
    }
    ContentHash hash;
    std::vector<char> buffer(std::size_t{1} << 20);
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file.get())) {
        hash.Add(buffer.data(), count);
    }
    if (std::ferror(file.get()) != 0) {
        throw InputError(path + ": cannot be read: " + std::strerror(errno));
    }
    return hash.Text();
}

}  // namespace Nimb::Authoring
