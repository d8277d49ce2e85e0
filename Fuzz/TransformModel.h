// Transform-delta sections once more, bit by bit as the format describes them, and written anew by the encoder: what
// comes out of the decoder must be the same for both.
#pragma once

#include "Authoring/Codec/TransformSection.h"
#include "Fuzz/CodecModel.h"

namespace CodecModel {

namespace Deltas = Nimb::TransformDeltas;
using Nimb::Authoring::TransformSection;

struct Malformed {};

/// Bits of the forward or of the backward stream; zeros beyond the last byte.
struct SectionStream {
    const Bytes& bytes;
    bool backward;
    UINT64 position = 0;

    UINT64 NumBytes() const { return (position + 7) / 8; }
    UINT32 Bit() {
        const UINT64 byte = position / 8;
        const UINT32 shift = 7 - static_cast<UINT32>(position++ % 8);
        return byte < bytes.size() ? bytes[backward ? bytes.size() - 1 - byte : byte] >> shift & 1u : 0;
    }
    UINT32 Take(UINT32 count) {
        if (count > 32) {
            throw Malformed();
        }
        UINT32 value = 0;
        while (count-- > 0) {
            value = value << 1 | Bit();
        }
        return value;
    }
    UINT32 Golomb(UINT32 order) {
        UINT32 p = 0;
        while (Bit() != 0) {
            ++p;
        }
        const UINT32 rest = Take(p + order);
        return static_cast<UINT32>((((UINT64{1} << p) - 1) << order) + rest);
    }
};

class SectionTable {
public:
    SectionTable(SectionStream& in, UINT32 numSymbols, UINT32 maxLength) : m_Frequencies(numSymbols) {
        const UINT32 last = in.Take(8);
        UINT32 length = 4;
        int sum = 0, symbols = 0;
        for (UINT32 symbol = 0; symbol <= last && last < numSymbols; ++symbol) {
            UINT32 ones = 0;
            while (ones < 4 && in.Bit() != 0) {
                ++ones;
            }
            if (ones == 3) {
                const UINT32 more = in.Golomb(0);
                if (more >= last - symbol) {
                    throw Malformed();
                }
                symbol += more;
                continue;
            }
            length = ones == 0 ? length : ones == 1 ? length + 1 : ones == 2 ? length - 1 : in.Take(4);
            if (length < 1 || length > maxLength) {
                throw Malformed();
            }
            m_Frequencies[symbol] = 1 << (maxLength - length);
            sum += m_Frequencies[symbol];
            ++symbols;
        }
        if (symbols == 0 || (symbols > 1 && sum != 1 << maxLength)) {
            throw Malformed();
        }
        HuffmanEncoding().BuildTable(m_Frequencies, m_Codes);
    }

    bool Has(UINT32 symbol) const { return m_Frequencies[symbol] != 0; }
    UINT32 Symbol(SectionStream& in) const {
        UINT32 code = 0;
        for (INT32 length = 0;; ++length) {
            for (UINT32 symbol = 0; symbol < m_Frequencies.size(); ++symbol) {
                if (Has(symbol) && m_Codes[symbol].numbits == length && m_Codes[symbol].code == code) {
                    return symbol;
                }
            }
            code = 2 * code + in.Bit();
        }
    }
    UINT32 Number(SectionStream& in) const {
        const Deltas::NumberBucket bucket = Deltas::BucketOfSymbol(Symbol(in));
        return bucket.base + in.Take(bucket.extraBits);
    }

private:
    std::vector<int> m_Frequencies;
    std::vector<HuffmanCode> m_Codes;
};

inline void TakeMotions(SectionStream& in, TransformSection& section) {
    section.transforms.resize(in.Take(7));
    if (section.transforms.size() > 64) {
        throw Malformed();
    }
    if (section.transforms.empty()) {
        return;
    }
    section.translationShift = in.Take(4);
    const UINT32 linearOrder = in.Take(5), translationOrder = in.Take(5);
    for (Deltas::Transform& motion : section.transforms) {
        const UINT32 kind = in.Take(2);
        motion.kind = static_cast<Deltas::Kind>(kind);
        motion.extrapolation = static_cast<BYTE>(in.Take(2));
        motion.linearShift = static_cast<BYTE>(kind >= 2 ? in.Take(5) : 0);
        for (int i = 0; i < (kind == 3 ? 9 : kind == 2 ? 3 : 0); ++i) {
            motion.linear[i] = Deltas::Unzigzag(in.Golomb(linearOrder));
        }
        for (int i = 0; i < (kind == 0 ? 0 : 3); ++i) {
            motion.translation[i] = Deltas::Unzigzag(in.Golomb(translationOrder));
        }
    }
}

inline void TakeParts(SectionStream& in, std::size_t numVertices, TransformSection& section) {
    const auto count = static_cast<UINT32>(section.transforms.size());
    if (section.partsKept || count < 2) {
        return;
    }
    const SectionTable ranks(in, count, 11), lengths(in, 64, 11);
    Bytes recent(count);
    for (UINT32 i = 0; i < count; ++i) {
        recent[i] = static_cast<BYTE>(i);
    }
    while (section.parts.size() < numVertices) {
        const auto named = recent.begin() + ranks.Symbol(in);
        const BYTE part = *named;
        recent.erase(named);
        recent.insert(recent.begin(), part);
        section.parts.insert(section.parts.end(), 1 + lengths.Number(in), part);
    }
    if (section.parts.size() > numVertices) {
        throw Malformed();
    }
}

inline void TakeCorrections(SectionStream& forward, SectionStream& backward, std::size_t numVertices,
                            TransformSection& section) {
    const SectionTable vertexTable(forward, 157, 12);
    std::vector<SectionTable> axisTables;
    if (vertexTable.Has(125)) {
        for (UINT32 left = forward.Bit() != 0 ? 3 : 1; left > 0; --left) {
            axisTables.emplace_back(forward, 64, 11);
        }
    }
    std::vector<std::size_t> escapes;
    for (const bool isFirst : {true, false}) {
        SectionStream& in = isFirst ? forward : backward;
        const std::size_t end = isFirst ? (numVertices + 1) / 2 : numVertices;
        while (section.corrections.size() < end) {
            const UINT32 symbol = vertexTable.Symbol(in);
            if (symbol == 125) {
                escapes.push_back(section.corrections.size());
            }
            if (symbol <= 125) {
                section.corrections.push_back(Deltas::c_VertexCorrections.ofSymbol[symbol]);
                continue;
            }
            const UINT32 e = symbol - 125;
            const UINT64 run = (UINT64{1} << e) + in.Take(e);
            if (run > end - section.corrections.size()) {
                throw Malformed();
            }
            section.corrections.resize(section.corrections.size() + run);
        }
    }
    for (std::size_t i = 0; i < escapes.size(); ++i) {
        SectionStream& in = i < (escapes.size() + 1) / 2 ? forward : backward;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            section.corrections[escapes[i]].axis[axis] =
                static_cast<std::int16_t>(Deltas::Unzigzag(axisTables[axis % axisTables.size()].Number(in)));
        }
    }
}

inline TransformSection ParseTransforms(const Bytes& bytes, std::size_t numVertices) {
    SectionStream forward{bytes, false}, backward{bytes, true};
    TransformSection section{};
    const UINT32 step = forward.Take(32);
    std::memcpy(&section.step, &step, sizeof(step));
    section.partsKept = forward.Bit() != 0;
    TakeMotions(forward, section);
    TakeParts(forward, numVertices, section);
    TakeCorrections(forward, backward, numVertices, section);
    if (forward.NumBytes() + backward.NumBytes() > bytes.size()) {
        throw Malformed();
    }
    return section;
}

/// For a context that knows as many parts as there are vertices.
inline std::optional<Bytes> TransformsAnew(Cursor in, std::size_t numVertices) {
    if (in.Padded(4) != numVertices || numVertices == 0) {
        return std::nullopt;
    }
    UINT64 size = 0;
    for (UINT32 shift = 0;; shift += 7) {
        const auto byte = in.Take(1);
        if (!byte || shift > 28) {
            return std::nullopt;
        }
        size |= UINT64{(*byte)[0] & 127u} << shift;
        if ((*byte)[0] < 128) {
            break;
        }
    }
    const auto bytes = in.Take(size);
    if (!bytes) {
        return std::nullopt;
    }
    try {
        Bytes out = Nimb::Authoring::WriteTransformSection(ParseTransforms(*bytes, numVertices)).bytes;
        const Bytes rest = in.Rest();
        out.insert(out.end(), rest.begin(), rest.end());
        return out;
    } catch (const Malformed&) {
        return std::nullopt;
    }
}

}  // namespace CodecModel
