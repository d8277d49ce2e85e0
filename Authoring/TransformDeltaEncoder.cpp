// The encoder of transform deltas: parts, transforms, corrections, and the bits of the section.
#include "Authoring/TransformDeltaEncoder.h"

#include "Authoring/PrefixCode.h"
#include "Authoring/TransformFit.h"
#include "NimbCore/TransformDeltas.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <stdexcept>

namespace Authoring {

using namespace Nimb::TransformDeltas;
using Nimb::__vector4;
using Nimb::Float4;

namespace {

constexpr std::size_t c_MaxPoses = 8;

/// Parts that are sent once serve many frames; a frame is charged this fraction of them when candidates are compared.
constexpr double c_PartsShare = 0.125;

/// What a change of parts between neighbouring vertices costs, about.
constexpr double c_RunBits = 8;

/// Translations are stored to a quarter of a step, finer ones save no corrections.
constexpr UINT32 c_TranslationShift = 2;

/// So many vertices of a part, evenly spread, are enough to fit its transform.
constexpr std::size_t c_MaxSamples = 512;

/// Positions beyond this are no figure's, and sums of their squares would leave the range of float.
constexpr float c_MaxCoordinate = 1e9f;

/// Corrections are whole steps a side; half the diagonal of a cube of steps is the largest error left, and a little
/// room is kept for the rounding of decoded floats.
double StepFor(double maxError) {
    return 2.0 * maxError / std::sqrt(3.0) * 0.999;
}

double SquaredDistance(const Vec3& a, const __vector4& b) {
    const double dx = double{a.x} - b.x, dy = double{a.y} - b.y, dz = double{a.z} - b.z;
    return (dx * dx + dy * dy) + dz * dz;
}

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

std::size_t NumParts(const PartMap& parts) {
    return std::size_t{1} + *std::max_element(parts.begin(), parts.end());
}

/// One frame against one map of parts.
class FrameCoder {
public:
    FrameCoder(const DeltaHistory& history, const std::vector<Vec3>& targets, double maxError)
        : m_History(history), m_Targets(targets), m_MaxError(maxError), m_Step(static_cast<float>(StepFor(maxError))) {}

    struct Result {
        TransformDeltas frame;
        double cost = 0;  // bits, with the share of the parts that this frame is charged
    };

    /// `keep`: the decoder knows these parts already.
    Result Encode(const PartMap& parts, bool keep) const;

private:
    Float4 Previous(std::size_t i) const { return Float4::Load(&(*m_History.previous)[i]); }
    Float4 Last(std::size_t i) const {
        return m_History.older != nullptr ? Previous(i) - Float4::Load(&(*m_History.older)[i]) : Float4::All(0.0f);
    }
    std::vector<PartSamples> Gather(const PartMap& parts) const;
    Correction ChooseCorrection(Float4 prediction, const Vec3& target) const;
    void Decode(const std::vector<Motion>& motions, std::vector<Correction>& corrections, TransformDeltas& frame) const;

    const DeltaHistory& m_History;
    const std::vector<Vec3>& m_Targets;
    double m_MaxError;
    float m_Step;
};

std::vector<PartSamples> FrameCoder::Gather(const PartMap& parts) const {
    std::vector<std::size_t> sizes(NumParts(parts));
    for (const BYTE part : parts) {
        ++sizes[part];
    }
    std::vector<PartSamples> samples(sizes.size());
    std::vector<std::size_t> seen(sizes.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        PartSamples& part = samples[parts[i]];
        const std::size_t size = sizes[parts[i]];
        const std::size_t stride = (size + c_MaxSamples - 1) / c_MaxSamples;
        if (seen[parts[i]]++ % stride != 0) {
            continue;
        }
        if (part.targets.empty()) {
            part.pivot = (*m_History.previous)[i];
            part.verticesPerSample = static_cast<double>(stride);
        }
        __vector4 last{};
        Last(i).Store(&last);
        part.previous.push_back((*m_History.previous)[i]);
        part.last.push_back(last);
        part.targets.push_back(m_Targets[i]);
    }
    return samples;
}

/// The correction with the fewest axes that brings a vertex close enough; among those, the closest.
Correction FrameCoder::ChooseCorrection(Float4 prediction, const Vec3& target) const {
    __vector4 predicted{};
    prediction.Store(&predicted);
    const double rest[3] = {double{target.x} - predicted.x, double{target.y} - predicted.y,
                            double{target.z} - predicted.z};
    Correction full;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double steps = std::nearbyint(rest[axis] / m_Step);
        if (!(std::abs(steps) <= 32767.0)) {
            throw std::range_error("a correction exceeds the range of transform deltas");
        }
        full.axis[axis] = static_cast<std::int16_t>(steps);
    }
    Correction best = full;
    int bestAxes = 4;
    double bestDistance = 0;
    for (UINT32 mask = 0; mask < 8; ++mask) {
        Correction candidate;
        int axes = 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            candidate.axis[axis] = (mask >> axis & 1) != 0 ? full.axis[axis] : std::int16_t{0};
            axes += candidate.axis[axis] != 0 ? 1 : 0;
        }
        __vector4 decoded{};
        Correct(prediction, candidate, Float4::All(m_Step)).Store(&decoded);
        const double distance = SquaredDistance(target, decoded);
        if (distance <= m_MaxError * m_MaxError && (axes < bestAxes || (axes == bestAxes && distance < bestDistance))) {
            best = candidate;
            bestAxes = axes;
            bestDistance = distance;
        }
    }
    return best;
}

void FrameCoder::Decode(const std::vector<Motion>& motions, std::vector<Correction>& corrections,
                        TransformDeltas& frame) const {
    const std::size_t count = m_Targets.size();
    corrections.resize(count);
    frame.positions.resize(count);
    double worst = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const Float4 prediction = Predict(motions[frame.parts[i]], Previous(i), Last(i));
        corrections[i] = ChooseCorrection(prediction, m_Targets[i]);
        Correct(prediction, corrections[i], Float4::All(m_Step)).Store(&frame.positions[i]);
        worst = std::max(worst, SquaredDistance(m_Targets[i], frame.positions[i]));
    }
    frame.maxError = std::sqrt(worst);
}

FrameCoder::Result FrameCoder::Encode(const PartMap& parts, bool keep) const {
    Result result;
    result.frame.parts = parts;
    const FitPrecision precision{m_MaxError, m_Step, c_TranslationShift, m_MaxError / 4};

    std::vector<Transform> transforms;
    std::vector<Motion> motions;
    for (const PartSamples& samples : Gather(parts)) {
        transforms.push_back(FitTransform(samples, precision, m_History.older != nullptr).transform);
        const float unit = m_Step * NegativePowerOfTwo(precision.translationShift);
        motions.push_back(MakeMotion(transforms.back(), unit, samples.pivot));
    }
    std::vector<Correction> corrections;
    Decode(motions, corrections, result.frame);

    BitWriter bits;
    UINT32 stepBits = 0;
    std::memcpy(&stepBits, &m_Step, sizeof(stepBits));
    bits.Write(stepBits, 32);
    bits.Write(keep ? 1 : 0, 1);
    WriteTransforms(bits, transforms, precision.translationShift);
    const UINT32 beforeParts = bits.NumBits();
    if (!keep && transforms.size() > 1) {
        WriteParts(bits, parts, static_cast<UINT32>(transforms.size()));
    }
    const UINT32 partsBits = bits.NumBits() - beforeParts;
    WriteCorrections(bits, BestCoding(corrections));

    ByteWriter section;
    section.U32(static_cast<UINT32>(m_Targets.size()));
    section.U32(bits.NumBits());
    bits.AppendTo(section);
    result.frame.section = section.Take();
    result.frame.numTransforms = static_cast<UINT32>(transforms.size());
    result.cost = bits.NumBits() - (1 - c_PartsShare) * partsBits;
    return result;
}

void Check(const DeltaHistory& history, const std::vector<Vec3>& targets, const TransformDeltaOptions& options) {
    const std::size_t count = targets.size();
    if (count == 0 || history.previous == nullptr || history.previous->size() != count ||
        (history.older != nullptr && history.older->size() != count)) {
        throw std::invalid_argument("transform deltas need as many previous positions as targets, and at least one");
    }
    if (!(options.maxError > 0 && options.maxError < c_MaxCoordinate) || options.numTransforms > c_MaxTransforms) {
        throw std::invalid_argument("transform deltas need a positive error limit and at most 64 transforms");
    }
    const auto sane = [](const auto& p) {
        return std::abs(p.x) < c_MaxCoordinate && std::abs(p.y) < c_MaxCoordinate && std::abs(p.z) < c_MaxCoordinate;
    };
    if (!std::all_of(targets.begin(), targets.end(), sane) ||
        !std::all_of(history.previous->begin(), history.previous->end(), sane) ||
        (history.older != nullptr && !std::all_of(history.older->begin(), history.older->end(), sane))) {
        throw std::invalid_argument("transform deltas need finite positions");
    }
}

}  // namespace

void TransformDeltaEncoder::Learn(const std::vector<Vec3>& positions) {
    if (!m_Poses.empty() && m_Poses.front().size() != positions.size()) {
        *this = TransformDeltaEncoder();
    }
    if (m_PosesSeen++ % m_PoseStride != 0) {
        return;
    }
    if (m_Poses.size() == c_MaxPoses) {
        for (std::size_t i = 1; 2 * i < c_MaxPoses; ++i) {
            m_Poses[i].swap(m_Poses[2 * i]);
        }
        m_Poses.resize(c_MaxPoses / 2);
        m_PoseStride *= 2;
    }
    m_Poses.push_back(positions);
}

TransformDeltas TransformDeltaEncoder::Encode(const DeltaHistory& history, const std::vector<Vec3>& targets,
                                              const TransformDeltaOptions& options) {
    Check(history, targets, options);
    if (m_Poses.empty() || m_Poses.front().size() != targets.size()) {
        std::vector<Vec3> previous;
        for (const __vector4& p : *history.previous) {
            previous.push_back({p.x, p.y, p.z});
        }
        Learn(previous);
    }
    Learn(targets);

    const std::size_t maxParts = options.numTransforms == 0 ? c_MaxTransforms : options.numTransforms;
    const FrameCoder coder(history, targets, options.maxError);
    std::optional<FrameCoder::Result> best;
    const auto consider = [&](const PartMap& parts, bool keep) {
        FrameCoder::Result result = coder.Encode(parts, keep);
        const bool better = !best || result.cost < best->cost;
        if (better) {
            best = std::move(result);
        }
        return better;
    };
    const auto usable = [&](const PartMap& parts) {
        return parts.size() == targets.size() && NumParts(parts) <= maxParts;
    };
    if (usable(m_DecoderParts)) {
        consider(m_DecoderParts, true);
    } else {
        consider(PartMap(targets.size(), 0), false);
    }
    if (usable(m_LearnedParts) && m_LearnedParts != m_DecoderParts) {
        consider(m_LearnedParts, false);
    }
    if (m_PosesSeen >= m_NextSearch) {
        m_NextSearch = 2 * m_PosesSeen;
        for (const PartMap& parts : Candidates(options.maxError, maxParts)) {
            if (consider(parts, false)) {
                m_LearnedParts = parts;
            }
        }
    }
    return std::move(best->frame);
}

std::vector<PartMap> TransformDeltaEncoder::Candidates(double tolerance, std::size_t maxParts) const {
    std::vector<const std::vector<Vec3>*> poses;
    for (const std::vector<Vec3>& pose : m_Poses) {
        poses.push_back(&pose);
    }
    const double runBits = c_RunBits * c_PartsShare * static_cast<double>(poses.size() - 1);
    return FindParts(poses, {tolerance, runBits, maxParts});
}

}  // namespace Authoring
