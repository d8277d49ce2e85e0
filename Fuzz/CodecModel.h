// The code streams once more, step by step and bit by bit as the format describes them, with no thought of speed: what
// the decoders are compared with. A model has no result where the format has none.
#pragma once

#include "NimbCore/NimbMeshReader.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

namespace CodecModel {

using Bytes = std::vector<BYTE>;

/// Reads fields from the front of a section; after the end everything is absent.
class Cursor {
public:
    Cursor(const BYTE* data, std::size_t size) : m_Data(data), m_Left(size) {}

    std::size_t Left() const { return m_Left; }
    std::optional<Bytes> Take(UINT64 count) {
        if (count > m_Left) {
            m_Left = 0;
            return std::nullopt;
        }
        const Bytes taken(m_Data, m_Data + count);
        m_Data += count;
        m_Left -= static_cast<std::size_t>(count);
        return taken;
    }
    /// Little-endian; what is missing is zero.
    UINT64 Padded(std::size_t count) {
        const std::size_t have = std::min(count, m_Left);
        const Bytes taken = *Take(have);
        UINT64 value = 0;
        for (std::size_t i = have; i-- > 0;) {
            value = value << 8 | taken[i];
        }
        return value;
    }
    Bytes Rest() { return *Take(m_Left); }

private:
    const BYTE* m_Data;
    std::size_t m_Left;
};

/// Bits of little-endian words from bit 31 down. Reading past the last word sets `overrun`.
struct Bits {
    Bytes words;
    UINT64 position = 0;
    bool overrun = false;

    UINT32 Next() {
        const UINT64 byte = (position >> 5) * 4 + 3 - ((position & 31) >> 3);
        if (byte >= words.size()) {
            overrun = true;
            return 0;
        }
        return (words[static_cast<std::size_t>(byte)] >> (7 - (position++ & 7))) & 1;
    }
};

inline std::optional<Bits> TakeBits(Cursor& in, UINT32 numBits) {
    const auto words = in.Take(UINT64{(numBits + 31) / 32} * 4);  // the sum wraps
    return words ? std::optional<Bits>(Bits{*words}) : std::nullopt;
}

/// One axis of a Golomb-coded section.
inline std::optional<Bytes> GolombAxis(Bits bits, UINT32 numBits, UINT32 m, UINT32 center) {
    UINT32 b = 0;
    while (m > (UINT32{1} << b)) {
        ++b;
    }
    const UINT32 u = (UINT32{1} << b) - m;
    Bytes out;
    while (bits.position < numBits) {
        UINT32 value = 0;
        while (bits.Next() != 0) {
            value += m;
        }
        UINT32 r = 0;
        for (UINT32 i = 1; i < b; ++i) {
            r = 2 * r + bits.Next();
        }
        value += r >= u ? 2 * r + bits.Next() - u : r;
        if (bits.overrun) {
            return std::nullopt;
        }
        const INT32 half = static_cast<INT32>((value + 1) / 2);
        out.push_back(static_cast<BYTE>(static_cast<INT32>(center) + (value % 2 != 0 ? -half : half)));
    }
    return out;
}

/// A section of three bytes a vertex, whatever its storage, as a plain one.
inline std::optional<Bytes> PlainFromGolomb(Cursor in, std::size_t numVertices) {
    const auto box = in.Take(24), center = in.Take(3), m = in.Take(3), counts = in.Take(12);
    if (!counts) {
        return std::nullopt;
    }
    UINT32 numBits[3];
    std::memcpy(numBits, counts->data(), sizeof(numBits));
    Bytes axes[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto bits = TakeBits(in, numBits[axis]);
        const auto bytes = bits ? GolombAxis(*bits, numBits[axis], (*m)[axis], (*center)[axis]) : std::nullopt;
        if (!bytes) {
            return std::nullopt;
        }
        axes[axis] = *bytes;
    }
    if (axes[0].size() != axes[1].size() || axes[0].size() != axes[2].size() || axes[0].size() < numVertices) {
        return std::nullopt;
    }
    Bytes out = *box;
    for (std::size_t i = 0; i < numVertices; ++i) {
        out.insert(out.end(), {axes[0][i], axes[1][i], axes[2][i]});
    }
    const Bytes rest = in.Rest();
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

inline std::optional<Bytes> HuffmanAxis(Cursor& in, UINT32 numBits, std::size_t numVertices) {
    std::vector<int> frequencies(256);
    for (int& frequency : frequencies) {
        frequency = static_cast<int>(static_cast<UINT32>(in.Padded(4)));
    }
    auto bits = TakeBits(in, numBits);
    HuffmanEncoding builder;
    HuffmanEncoding::TreeNode* root = nullptr;
    builder.BuildTree(frequencies, &root);
    if (!bits || (numBits > 0 && (root == nullptr || root->left == nullptr))) {
        return std::nullopt;
    }
    Bytes out;
    while (bits->position < numBits) {
        const HuffmanEncoding::TreeNode* node = root;
        while (node->left != nullptr) {
            node = bits->Next() != 0 ? node->right : node->left;
            if (bits->overrun) {
                return std::nullopt;
            }
        }
        out.push_back(static_cast<BYTE>(node->index));
        if (out.size() > numVertices) {
            return std::nullopt;
        }
    }
    out.resize(numVertices);
    return out;
}

inline std::optional<Bytes> PlainFromHuffman(Cursor in, std::size_t numVertices) {
    const auto box = in.Take(24), counts = in.Take(12);
    if (!counts) {
        return std::nullopt;
    }
    UINT32 numBits[3];
    std::memcpy(numBits, counts->data(), sizeof(numBits));
    Bytes out = *box;
    out.resize(24 + 3 * numVertices);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto bytes = HuffmanAxis(in, numBits[axis], numVertices);
        if (!bytes) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < numVertices; ++i) {
            out[24 + 3 * i + axis] = (*bytes)[i];
        }
    }
    const Bytes rest = in.Rest();
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

/// The packed part of a byte-delta section: as many bytes as it says, or as there are.
inline Bytes TakePacked(Cursor& in, UINT64 compressedSize) {
    const auto size = static_cast<LONGLONG>(compressedSize);
    return *in.Take(std::min<UINT64>(size > 0 ? static_cast<UINT64>(size) : 0, in.Left()));
}

inline UINT32 SignExtended(UINT32 value, UINT32 width) {
    const UINT32 unused = 32 - 8 * width;
    return static_cast<UINT32>(static_cast<INT32>(value << unused) >> unused);
}

inline std::optional<std::vector<UINT32>> ByteDeltaList(Cursor in, UINT32 numFaces, UINT32 numIndices) {
    const Bytes packed = TakePacked(in, in.Padded(8));
    if (UINT64{3} * numFaces > numIndices) {
        return std::nullopt;
    }
    std::vector<UINT32> out;
    std::size_t at = 0;
    for (UINT32 face = 0; face < numFaces; ++face) {
        if (at >= packed.size()) {
            return std::nullopt;
        }
        const UINT32 control = packed[at++];
        for (UINT32 k = 0; k < 3; ++k) {
            const UINT32 width = ((control >> (2 * k)) & 3) + 1;
            UINT32 delta = 0;
            for (UINT32 i = 0; i < width; ++i, ++at) {
                if (at >= packed.size()) {
                    return std::nullopt;
                }
                delta |= static_cast<UINT32>(packed[at]) << (8 * i);
            }
            out.push_back(SignExtended(delta, width) + (face > 0 ? out[out.size() - 3] : 0));
        }
    }
    out.resize(numIndices);
    return out;
}

inline std::optional<std::vector<UINT32>> ByteDeltaStrip(Cursor in, UINT32 numIndices) {
    const UINT64 compressedSize = in.Padded(8);
    in.Padded(4);
    const Bytes packed = TakePacked(in, compressedSize);
    std::vector<UINT32> out;
    std::size_t at = 0;
    UINT32 value = 0;
    while (out.size() < numIndices) {
        const UINT32 width = at < packed.size() ? packed[at++] : 0;
        if (width < 1 || width > 4 || packed.size() - at < width) {
            return std::nullopt;
        }
        UINT32 delta = 0;
        for (UINT32 i = 0; i < width; ++i) {
            delta = delta << 8 | packed[at++];
        }
        out.push_back(value += SignExtended(delta, width));
    }
    return out;
}

}  // namespace CodecModel
