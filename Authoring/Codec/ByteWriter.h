// Appending wire fields to a byte vector. Everything is little-endian unless a name says otherwise.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace Nimb::Authoring {

using Bytes = std::vector<BYTE>;

class ByteWriter {
public:
    void U8(UINT32 value) { m_Bytes.push_back(static_cast<BYTE>(value)); }
    void U16(UINT32 value) { Little(value, 2); }
    void U32(UINT32 value) { Little(value, 4); }
    void U64(UINT64 value) { Little(value, 8); }

    void F32(float value) {
        UINT32 bits = 0;
        std::memcpy(&bits, &value, sizeof(bits));
        U32(bits);
    }

    /// The low `count` bytes of a value, least significant first.
    void Little(UINT64 value, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            U8(static_cast<BYTE>(value >> (8 * i)));
        }
    }

    /// The low `count` bytes of a value, most significant first.
    void Big(UINT64 value, std::size_t count) {
        for (std::size_t i = count; i-- > 0;) {
            U8(static_cast<BYTE>(value >> (8 * i)));
        }
    }

    void Append(const Bytes& bytes) { m_Bytes.insert(m_Bytes.end(), bytes.begin(), bytes.end()); }

    std::size_t Size() const { return m_Bytes.size(); }
    Bytes Take() { return std::move(m_Bytes); }

private:
    Bytes m_Bytes;
};

}  // namespace Nimb::Authoring
