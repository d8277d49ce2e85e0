// Short names for contents, by which accidental changes are noticed. Not against somebody who wants them unnoticed.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace Nimb::Authoring {

/// XXH3, 128 bits, in stretches. Text() is 32 hexadecimal digits, the same on every machine.
class ContentHash {
public:
    ContentHash();
    ~ContentHash();
    ContentHash(const ContentHash&) = delete;
    ContentHash& operator=(const ContentHash&) = delete;

    void Add(const void* bytes, std::size_t size);
    std::string Text() const;

private:
    struct State;
    std::unique_ptr<State> m_State;
};

std::string HashOf(const void* bytes, std::size_t size);

/// Throws InputError when the file cannot be read.
std::string HashOfFile(const std::string& path);

}  // namespace Nimb::Authoring
