// Writing transform-delta sections: how corrections and parts become symbols, and which code each kind of symbol gets.
#include "Authoring/TransformSection.h"

#include "Authoring/PrefixCode.h"

#include <algorithm>
#include <numeric>

namespace Authoring {

using namespace Nimb::TransformDeltas;

namespace {

/// A vertex symbol or, with its three numbers, an escape; a run also has a length.
struct VertexToken {
    UINT32 symbol;
    UINT32 runLength;
    Correction correction;
};

/// How corrections become symbols.
struct TokenRules {
    INT32 maxSmallNorm;  // sum of squares up to which small corrections have a symbol of their own
    std::size_t minRun;  // shorter runs of zeros are spelled out
    bool separateAxes;   // escapes use a code per axis
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
            m_Symbols[Index(c_SmallCorrections.entries[symbol])] = symbol;
        }
    }

    UINT32 Of(const Correction& c, INT32 maxNorm) const {
        const INT32 norm = Norm(c);
        return norm <= maxNorm &&
                       std::max({std::abs(c.axis[0]), std::abs(c.axis[1]), std::abs(c.axis[2])}) <= c_SmallRadius
                   ? m_Symbols[Index(c)]
                   : c_EscapeSymbol;
    }

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

std::vector<VertexToken> Tokenise(const std::vector<Correction>& corrections, const TokenRules& rules) {
    static const SmallSymbols smallSymbols;
    std::vector<VertexToken> tokens;
    for (std::size_t i = 0; i < corrections.size();) {
        std::size_t run = 0;
        while (i + run < corrections.size() && SmallSymbols::Norm(corrections[i + run]) == 0) {
            ++run;
        }
        if (run >= rules.minRun) {
            tokens.push_back({RunSymbol(FloorLog2(run)), static_cast<UINT32>(run), {}});
            i += run;
            continue;
        }
        for (const std::size_t end = i + std::max<std::size_t>(run, 1); i < end; ++i) {
            tokens.push_back({smallSymbols.Of(corrections[i], rules.maxSmallNorm), 0, corrections[i]});
        }
    }
    return tokens;
}

/// The corrections of a frame ready to be written: tokens, their codes, and what they come to.
struct CodedCorrections {
    std::vector<VertexToken> tokens;
    PrefixCode vertexCode;
    std::vector<PrefixCode> axisCodes;  // none, one for all axes, or three
    UINT64 bits = 0;
};

CodedCorrections CodeCorrections(const std::vector<Correction>& corrections, const TokenRules& rules) {
    CodedCorrections coded;
    coded.tokens = Tokenise(corrections, rules);
    std::vector<UINT32> vertexCounts(c_NumVertexSymbols);
    std::vector<std::vector<UINT32>> axisCounts(rules.separateAxes ? 3 : 1, std::vector<UINT32>(c_NumNumberSymbols));
    for (const VertexToken& token : coded.tokens) {
        ++vertexCounts[token.symbol];
        coded.bits += token.runLength != 0 ? token.symbol - c_EscapeSymbol : 0;
        for (std::size_t axis = 0; axis < 3 && token.symbol == c_EscapeSymbol; ++axis) {
            const UINT32 symbol = NumberSymbol(Zigzag(token.correction.axis[axis]));
            ++axisCounts[rules.separateAxes ? axis : 0][symbol];
            coded.bits += BucketOfSymbol(symbol).extraBits;
        }
    }
    coded.vertexCode = PrefixCode(vertexCounts);
    coded.bits += coded.vertexCode.TotalBits(vertexCounts);
    if (vertexCounts[c_EscapeSymbol] != 0) {
        ++coded.bits;
        for (const std::vector<UINT32>& counts : axisCounts) {
            coded.axisCodes.emplace_back(counts);
            coded.bits += coded.axisCodes.back().TotalBits(counts);
        }
    }
    return coded;
}

/// Settles one rule after the other, which misses little against trying all combinations.
CodedCorrections BestCoding(const std::vector<Correction>& corrections) {
    constexpr std::size_t noRuns = std::size_t{1} << 40;
    TokenRules rules{3, 2, false};
    CodedCorrections best = CodeCorrections(corrections, rules);
    const auto consider = [&](const TokenRules& candidate) {
        CodedCorrections coded = CodeCorrections(corrections, candidate);
        if (coded.bits < best.bits) {
            best = std::move(coded);
            rules = candidate;
        }
    };
    for (const INT32 maxSmallNorm : {-1, 0, 1, 6, 12}) {
        consider({maxSmallNorm, rules.minRun, rules.separateAxes});
    }
    for (const std::size_t minRun : {std::size_t{4}, std::size_t{8}, noRuns}) {
        consider({rules.maxSmallNorm, minRun, rules.separateAxes});
    }
    consider({rules.maxSmallNorm, rules.minRun, true});
    return best;
}

void WriteNumber(BitWriter& out, const PrefixCode& code, UINT32 number) {
    const UINT32 symbol = NumberSymbol(number);
    const NumberBucket bucket = BucketOfSymbol(symbol);
    code.WriteSymbol(out, symbol);
    out.Write(number - bucket.base, bucket.extraBits);
}

void WriteCorrections(BitWriter& out, const CodedCorrections& coded) {
    coded.vertexCode.WriteTable(out);
    if (!coded.axisCodes.empty()) {
        out.Write(coded.axisCodes.size() == 3 ? 1 : 0, 1);
        for (const PrefixCode& code : coded.axisCodes) {
            code.WriteTable(out);
        }
    }
    for (const VertexToken& token : coded.tokens) {
        coded.vertexCode.WriteSymbol(out, token.symbol);
        if (token.runLength != 0) {
            const UINT32 exponent = token.symbol - c_EscapeSymbol;
            out.Write(token.runLength - (UINT32{1} << exponent), exponent);
        } else if (token.symbol == c_EscapeSymbol) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const PrefixCode& code = coded.axisCodes[axis % coded.axisCodes.size()];
                WriteNumber(out, code, Zigzag(token.correction.axis[axis]));
            }
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
    const PrefixCode rankCode(rankCounts);
    const PrefixCode lengthCode(lengthCounts);
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
    BitWriter bits;
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
    WriteCorrections(bits, BestCoding(section.corrections));

    ByteWriter out;
    out.U32(static_cast<UINT32>(section.corrections.size()));
    out.U32(bits.NumBits());
    bits.AppendTo(out);
    return {out.Take(), bits.NumBits(), partsBits};
}

}  // namespace Authoring
