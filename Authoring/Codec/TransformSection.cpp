// Writing transform-delta sections: how corrections and parts become symbols, and which code each kind of symbol gets.
#include "Authoring/Codec/TransformSection.h"

#include "Authoring/Codec/PrefixCode.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace Nimb::Authoring {

using namespace Nimb::TransformDeltas;

namespace {

/// How corrections become symbols.
struct TokenRules {
    INT32 maxSmallNorm;     // sum of squares up to which small corrections have a symbol of their own
    UINT32 minRunExponent;  // runs of zeros shorter than 2 to this are spelled out
    bool separateAxes;      // escapes use a code per axis
};

UINT32 FloorLog2(std::size_t value) {
    UINT32 exponent = 0;
    while (value >> (exponent + 1) != 0) {
        ++exponent;
    }
    return exponent;
}

UINT32 NumberSymbol(UINT32 number) {
    if (number < 16) {
        return number;
    }
    const UINT32 exponent = FloorLog2(number);
    return 16 + (exponent - 4) * 4 + ((number >> (exponent - 2)) & 3);
}

/// Symbols of the small corrections, by the corrections.
class SmallSymbols {
public:
    SmallSymbols() {
        for (UINT32 symbol = 0; symbol < c_NumSmallCorrections; ++symbol) {
            m_Symbols[Index(c_VertexCorrections.ofSymbol[symbol])] = symbol;
        }
    }

    UINT32 Of(const Correction& c, INT32 maxNorm) const {
        const INT32 norm = Norm(c);
        return norm <= maxNorm &&
                       std::max({std::abs(c.axis[0]), std::abs(c.axis[1]), std::abs(c.axis[2])}) <= c_SmallRadius
                   ? m_Symbols[Index(c)]
                   : c_EscapeSymbol;
    }

    static const SmallSymbols& Instance() {
        static const SmallSymbols symbols;
        return symbols;
    }

    static bool IsZero(const Correction& c) { return (c.axis[0] | c.axis[1] | c.axis[2]) == 0; }

    static INT32 Norm(const Correction& c) {
        const auto square = [](INT32 v) { return std::min(v * v, 1 << 20); };
        return square(c.axis[0]) + square(c.axis[1]) + square(c.axis[2]);
    }

private:
    static std::size_t Index(const Correction& c) {
        return static_cast<std::size_t>((c.axis[0] + c_SmallRadius) * 25 + (c.axis[1] + c_SmallRadius) * 5 + c.axis[2] +
                                        c_SmallRadius);
    }
    UINT32 m_Symbols[c_NumSmallCorrections] = {};
};

constexpr INT32 c_MaxSmallNorm = 3 * c_SmallRadius * c_SmallRadius;
constexpr UINT32 c_NoRuns = c_MaxRunExponent + 1;

/// The longest run of zeros from `first` on that one symbol can state: none goes on from one half into the other.
std::size_t RunLength(const std::vector<Correction>& corrections, std::size_t first) {
    const std::size_t middle = FirstHalf(corrections.size());
    const std::size_t last = first < middle ? middle : corrections.size();
    std::size_t end = first;
    while (end < last && SmallSymbols::IsZero(corrections[end])) {
        ++end;
    }
    return end - first;
}

/// What all rules need to know of a frame's corrections to tell what they would come to.
class CorrectionStatistics {
public:
    explicit CorrectionStatistics(const std::vector<Correction>& corrections) {
        for (std::size_t i = 0; i < corrections.size();) {
            if (const std::size_t run = RunLength(corrections, i)) {
                const UINT32 exponent = FloorLog2(run);
                ++m_Runs[exponent];
                m_Zeros[exponent] += static_cast<UINT32>(run);
                i += run;
                continue;
            }
            const Correction& c = corrections[i++];
            const UINT32 symbol = SmallSymbols::Instance().Of(c, c_MaxSmallNorm);
            ++m_Small[symbol];
            const INT32 norm = symbol == c_EscapeSymbol ? c_MaxSmallNorm + 1 : SmallSymbols::Norm(c);
            AxisCounts& counts = m_Escaped[static_cast<std::size_t>(norm)];
            for (std::size_t axis = 0; axis < 3; ++axis) {
                ++counts[axis][NumberSymbol(Zigzag(c.axis[axis]))];
            }
        }
    }

    /// Bits of the tables and of all symbols under these rules.
    UINT64 Bits(const TokenRules& rules) const {
        std::vector<std::vector<UINT32>> axisCounts;
        const std::vector<UINT32> vertexCounts = Count(rules, axisCounts);
        UINT64 bits = PrefixCodedBits(vertexCounts, c_MaxVertexCodeLength);
        for (UINT32 exponent = rules.minRunExponent; exponent <= c_MaxRunExponent; ++exponent) {
            bits += UINT64{exponent} * m_Runs[exponent];
        }
        if (!axisCounts.empty()) {
            ++bits;
        }
        for (const std::vector<UINT32>& counts : axisCounts) {
            bits += PrefixCodedBits(counts, c_MaxNumberCodeLength);
            for (UINT32 symbol = 0; symbol < counts.size(); ++symbol) {
                bits += UINT64{counts[symbol]} * BucketOfSymbol(symbol).extraBits;
            }
        }
        return bits;
    }

    /// How often each vertex symbol occurs, and each number symbol of escapes: on all axes together or on each of them;
    /// no such counts when there are no escapes.
    std::vector<UINT32> Count(const TokenRules& rules, std::vector<std::vector<UINT32>>& axisCounts) const {
        std::vector<UINT32> vertexCounts(c_NumVertexSymbols);
        axisCounts.assign(rules.separateAxes ? 3 : 1, std::vector<UINT32>(c_NumNumberSymbols));
        UINT32 spelledZeros = 0;
        for (UINT32 exponent = 0; exponent <= c_MaxRunExponent; ++exponent) {
            if (exponent < rules.minRunExponent) {
                spelledZeros += m_Zeros[exponent];
            } else {
                vertexCounts[RunSymbol(exponent)] = m_Runs[exponent];
            }
        }
        UINT32& escapes = vertexCounts[c_EscapeSymbol];
        escapes = m_Small[c_EscapeSymbol];
        for (UINT32 symbol = 1; symbol < c_NumSmallCorrections; ++symbol) {
            const bool small = SmallSymbols::Norm(c_VertexCorrections.ofSymbol[symbol]) <= rules.maxSmallNorm;
            (small ? vertexCounts[symbol] : escapes) += m_Small[symbol];
        }
        (rules.maxSmallNorm >= 0 ? vertexCounts[0] : escapes) += spelledZeros;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            std::vector<UINT32>& counts = axisCounts[axis % axisCounts.size()];
            for (INT32 norm = std::max(rules.maxSmallNorm, 0) + 1; norm <= c_MaxSmallNorm + 1; ++norm) {
                for (std::size_t symbol = 0; symbol < c_NumNumberSymbols; ++symbol) {
                    counts[symbol] += m_Escaped[static_cast<std::size_t>(norm)][axis][symbol];
                }
            }
            counts[0] += rules.maxSmallNorm < 0 ? spelledZeros : 0;
        }
        if (escapes == 0) {
            axisCounts.clear();
        }
        return vertexCounts;
    }

private:
    using AxisCounts = std::array<std::array<UINT32, c_NumNumberSymbols>, 3>;

    std::array<UINT32, c_MaxRunExponent + 1> m_Runs{};   // longest possible runs of zeros, by exponent
    std::array<UINT32, c_MaxRunExponent + 1> m_Zeros{};  // zeros in them
    std::array<UINT32, c_EscapeSymbol + 1> m_Small{};    // other small corrections by symbol; all others are escapes
    std::array<AxisCounts, c_MaxSmallNorm + 2> m_Escaped{};  // number symbols, should corrections of a norm be escapes
};

/// Settles one rule after the other, which misses little against trying all combinations.
TokenRules BestRules(const CorrectionStatistics& statistics) {
    TokenRules best{3, 1, false};
    UINT64 bestBits = statistics.Bits(best);
    const auto consider = [&](const TokenRules& candidate) {
        const UINT64 bits = statistics.Bits(candidate);
        if (bits < bestBits) {
            bestBits = bits;
            best = candidate;
        }
    };
    for (const INT32 maxSmallNorm : {-1, 0, 1, 6, 12}) {
        consider({maxSmallNorm, best.minRunExponent, best.separateAxes});
    }
    for (const UINT32 minRunExponent : {2u, 3u, c_NoRuns}) {
        consider({best.maxSmallNorm, minRunExponent, best.separateAxes});
    }
    consider({best.maxSmallNorm, best.minRunExponent, true});
    return best;
}

void WriteNumber(BitWriter& out, const PrefixCode& code, UINT32 number) {
    const UINT32 symbol = NumberSymbol(number);
    const NumberBucket bucket = BucketOfSymbol(symbol);
    code.WriteSymbol(out, symbol);
    out.Write(number - bucket.base, bucket.extraBits);
}

/// The two streams of a section.
struct Streams {
    BitWriter forward, backward;
};

void WriteCorrections(Streams& out, const std::vector<Correction>& corrections) {
    const CorrectionStatistics statistics(corrections);
    const TokenRules rules = BestRules(statistics);
    std::vector<std::vector<UINT32>> axisCounts;
    const PrefixCode vertexCode(statistics.Count(rules, axisCounts), c_MaxVertexCodeLength);
    vertexCode.WriteTable(out.forward);
    if (!axisCounts.empty()) {
        out.forward.Write(axisCounts.size() == 3 ? 1 : 0, 1);
    }
    std::vector<PrefixCode> axisCodes;
    for (const std::vector<UINT32>& counts : axisCounts) {
        axisCodes.emplace_back(counts, c_MaxNumberCodeLength);
        axisCodes.back().WriteTable(out.forward);
    }
    std::vector<Correction> escapes;
    const std::size_t middle = FirstHalf(corrections.size());
    for (std::size_t i = 0; i < corrections.size();) {
        BitWriter& stream = i < middle ? out.forward : out.backward;
        const std::size_t run = RunLength(corrections, i);
        const UINT32 exponent = run != 0 ? FloorLog2(run) : 0;
        if (run != 0 && exponent >= rules.minRunExponent) {
            vertexCode.WriteSymbol(stream, RunSymbol(exponent));
            stream.Write(static_cast<UINT32>(run) - (UINT32{1} << exponent), exponent);
            i += run;
            continue;
        }
        for (const std::size_t end = i + std::max<std::size_t>(run, 1); i < end; ++i) {
            const UINT32 symbol = SmallSymbols::Instance().Of(corrections[i], rules.maxSmallNorm);
            vertexCode.WriteSymbol(stream, symbol);
            if (symbol == c_EscapeSymbol) {
                escapes.push_back(corrections[i]);
            }
        }
    }
    for (std::size_t i = 0; i < escapes.size(); ++i) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            WriteNumber(i < FirstHalf(escapes.size()) ? out.forward : out.backward, axisCodes[axis % axisCodes.size()],
                        Zigzag(escapes[i].axis[axis]));
        }
    }
}

void WriteParts(BitWriter& out, const PartMap& parts, UINT32 numTransforms) {
    struct Run {
        UINT32 rank;
        UINT32 length;
    };
    std::vector<Run> runs;
    std::vector<BYTE> recent(numTransforms);
    std::iota(recent.begin(), recent.end(), BYTE{0});
    for (std::size_t i = 0; i < parts.size();) {
        std::size_t length = 1;
        while (i + length < parts.size() && parts[i + length] == parts[i] && length <= c_MaxNumber) {
            ++length;
        }
        const auto rank = std::find(recent.begin(), recent.end(), parts[i]) - recent.begin();
        std::rotate(recent.begin(), recent.begin() + rank, recent.begin() + rank + 1);
        runs.push_back({static_cast<UINT32>(rank), static_cast<UINT32>(length)});
        i += length;
    }
    std::vector<UINT32> rankCounts(numTransforms);
    std::vector<UINT32> lengthCounts(c_NumNumberSymbols);
    for (const Run& run : runs) {
        ++rankCounts[run.rank];
        ++lengthCounts[NumberSymbol(run.length - 1)];
    }
    const PrefixCode rankCode(rankCounts, c_MaxNumberCodeLength);
    const PrefixCode lengthCode(lengthCounts, c_MaxNumberCodeLength);
    rankCode.WriteTable(out);
    lengthCode.WriteTable(out);
    for (const Run& run : runs) {
        rankCode.WriteSymbol(out, run.rank);
        WriteNumber(out, lengthCode, run.length - 1);
    }
}

/// The order of Golomb codes that suits these numbers best.
UINT32 BestOrder(const std::vector<INT32>& numbers) {
    UINT32 best = 0;
    UINT64 bestBits = ~UINT64{0};
    for (UINT32 order = 0; order < 28; ++order) {
        UINT64 bits = 0;
        for (const INT32 number : numbers) {
            bits += GolombNumberBits(Zigzag(number), order);
        }
        if (bits < bestBits) {
            best = order;
            bestBits = bits;
        }
    }
    return best;
}

std::size_t NumLinear(Kind kind) {
    return kind == Kind_Affine ? 9 : kind == Kind_Rigid ? 3 : 0;
}
std::size_t NumTranslation(Kind kind) {
    return kind == Kind_Identity ? 0 : 3;
}

void WriteTransforms(BitWriter& out, const std::vector<Transform>& transforms, UINT32 translationShift) {
    out.Write(static_cast<UINT32>(transforms.size()), 7);
    if (transforms.empty()) {
        return;
    }
    std::vector<INT32> linear;
    std::vector<INT32> translations;
    for (const Transform& t : transforms) {
        linear.insert(linear.end(), t.linear, t.linear + NumLinear(t.kind));
        translations.insert(translations.end(), t.translation, t.translation + NumTranslation(t.kind));
    }
    const UINT32 linearOrder = BestOrder(linear);
    const UINT32 translationOrder = BestOrder(translations);
    out.Write(translationShift, 4);
    out.Write(linearOrder, 5);
    out.Write(translationOrder, 5);
    for (const Transform& t : transforms) {
        out.Write(t.kind, 2);
        out.Write(t.extrapolation, 2);
        if (t.kind >= Kind_Rigid) {
            out.Write(t.linearShift, 5);
        }
        for (std::size_t i = 0; i < NumLinear(t.kind); ++i) {
            WriteGolombNumber(out, Zigzag(t.linear[i]), linearOrder);
        }
        for (std::size_t i = 0; i < NumTranslation(t.kind); ++i) {
            WriteGolombNumber(out, Zigzag(t.translation[i]), translationOrder);
        }
    }
}

}  // namespace

WrittenTransformSection WriteTransformSection(const TransformSection& section) {
    Streams streams;
    BitWriter& bits = streams.forward;
    UINT32 stepBits = 0;
    std::memcpy(&stepBits, &section.step, sizeof(stepBits));
    bits.Write(stepBits, 32);
    bits.Write(section.partsKept ? 1 : 0, 1);
    WriteTransforms(bits, section.transforms, section.translationShift);
    const UINT32 beforeParts = bits.NumBits();
    if (!section.partsKept && section.transforms.size() > 1) {
        WriteParts(bits, section.parts, static_cast<UINT32>(section.transforms.size()));
    }
    const UINT32 partsBits = bits.NumBits() - beforeParts;
    WriteCorrections(streams, section.corrections);
    return {
        AssembleTransformSection(static_cast<UINT32>(section.corrections.size()), streams.forward, streams.backward),
        bits.NumBits() + streams.backward.NumBits(), partsBits};
}

Bytes AssembleTransformSection(UINT32 numVertices, const BitWriter& forward, const BitWriter& backward) {
    const Bytes front = forward.ToBytes();
    Bytes back = backward.ToBytes();
    std::reverse(back.begin(), back.end());
    ByteWriter out;
    out.U32(numVertices);
    std::size_t size = front.size() + back.size();
    for (; size >= 128; size >>= 7) {
        out.U8(static_cast<UINT32>(size & 127) | 128);
    }
    out.U8(static_cast<UINT32>(size));
    out.Append(front);
    out.Append(back);
    return out.Take();
}

}  // namespace Nimb::Authoring
