#include "Authoring/Codec/DeltaVertices.h"

#include "Authoring/Codec/BitWriter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

using Histogram = std::array<std::size_t, 256>;

/// The decoder's prediction, in its order of operations.
Vec3 Predict(const DeltaHistory& history, std::size_t i) {
    const Nimb::__vector4& prev = (*history.previous)[i];
    Vec3 motion{0.0f, 0.0f, 0.0f};
    if (history.older != nullptr) {
        const Nimb::__vector4& older = (*history.older)[i];
        motion = {prev.x - older.x, prev.y - older.y, prev.z - older.z};
    }
    return {motion.x + prev.x, motion.y + prev.y, motion.z + prev.z};
}

/// The corrections that the 256 bytes of one axis stand for, as the decoder computes them.
std::array<float, 256> CorrectionsOfBytes(float min, float max) {
    const float range = max - min;
    std::array<float, 256> values{};
    for (std::size_t byte = 0; byte < values.size(); ++byte) {
        const float offset = range * (static_cast<float>(byte) / 255.0f);
        values[byte] = offset + min;
    }
    return values;
}

/// The range of one axis: steps of `step` with a byte for no correction near the middle where that suffices, otherwise
/// exactly what the corrections span.
void ChooseRange(double lowest, double highest, double step, float* pMin, float* pMax) {
    const double first = step > 0 ? std::round(lowest / step) : 0;
    const double last = step > 0 ? std::round(highest / step) : 256;
    if (last - first > 255) {
        *pMin = static_cast<float>(lowest);
        *pMax = static_cast<float>(highest);
        return;
    }
    const double zero = std::min(std::max(128.0, -first), 255 - last);
    *pMin = static_cast<float>(-zero * step);
    *pMax = static_cast<float>((255 - zero) * step);
}

/// Quantises one axis and returns the remaining error of each vertex.
class AxisQuantiser {
public:
    AxisQuantiser(float min, float max)
        : m_Min(min), m_Step((static_cast<double>(max) - min) / 255), m_Values(CorrectionsOfBytes(min, max)) {}

    BYTE Nearest(float prediction, float target) const {
        const double wanted = static_cast<double>(target) - prediction;
        const double estimate = m_Step > 0 ? (wanted - m_Min) / m_Step : 0;
        const int middle = static_cast<int>(std::lround(std::min(std::max(estimate, 0.0), 255.0)));
        int best = middle;
        for (const int candidate : {middle - 1, middle + 1}) {
            if (candidate >= 0 && candidate <= 255 &&
                ErrorOf(candidate, prediction, target) < ErrorOf(best, prediction, target)) {
                best = candidate;
            }
        }
        return static_cast<BYTE>(best);
    }

    double ErrorOf(int byte, float prediction, float target) const {
        const float position = prediction + m_Values[static_cast<std::size_t>(byte)];
        return std::fabs(static_cast<double>(position) - target);
    }

private:
    double m_Min;
    double m_Step;
    std::array<float, 256> m_Values;
};

std::array<float, 3> Axes(const Vec3& v) {
    return {v.x, v.y, v.z};
}

std::vector<BYTE> AxisBytes(const DeltaCorrections& corrections, std::size_t axis) {
    std::vector<BYTE> bytes;
    bytes.reserve(corrections.bytes.size() / 3);
    for (std::size_t i = axis; i < corrections.bytes.size(); i += 3) {
        bytes.push_back(corrections.bytes[i]);
    }
    return bytes;
}

Histogram CountBytes(const std::vector<BYTE>& bytes) {
    Histogram counts{};
    for (const BYTE byte : bytes) {
        ++counts[byte];
    }
    return counts;
}

void WriteRange(const DeltaCorrections& corrections, ByteWriter& out) {
    for (const float value : corrections.min) {
        out.F32(value);
    }
    for (const float value : corrections.max) {
        out.F32(value);
    }
}

}  // namespace

DeltaHistory HistoryOf(const Nimb::CNimbMeshReaderCtx& ctx) {
    return {ctx.m_pPrevMesh, ctx.m_pPrevPrevMesh};
}

namespace {

/// What predictions miss, at most and at least, on each axis.
struct CorrectionSpan {
    double lowest[3] = {};
    double highest[3] = {};
};

CorrectionSpan SpanOf(const DeltaHistory& history, const std::vector<Vec3>& targets,
                      std::vector<std::array<float, 3>>* pPredictions) {
    if (history.previous == nullptr || history.previous->size() != targets.size()) {
        throw std::invalid_argument("a delta frame needs a previous frame with as many vertices");
    }
    CorrectionSpan span;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        const std::array<float, 3> prediction = Axes(Predict(history, i));
        const std::array<float, 3> target = Axes(targets[i]);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double correction = static_cast<double>(target[axis]) - prediction[axis];
            span.lowest[axis] = i == 0 ? correction : std::min(span.lowest[axis], correction);
            span.highest[axis] = i == 0 ? correction : std::max(span.highest[axis], correction);
        }
        if (pPredictions != nullptr) {
            pPredictions->push_back(prediction);
        }
    }
    return span;
}

/// Half a step of error on each of three axes, and a little room for the decoder's own rounding.
double StepFor(double maxError) {
    return 2 * maxError / std::sqrt(3.0) * 0.9999;
}

}  // namespace

std::size_t CountVaryingAxes(const DeltaHistory& history, const std::vector<Vec3>& targets, double maxError) {
    const CorrectionSpan span = SpanOf(history, targets, nullptr);
    std::size_t varying = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        // With a little room for the rounding of what a byte decodes to.
        varying += span.highest[axis] - span.lowest[axis] > 1.01 * StepFor(maxError) ? 1 : 0;
    }
    return varying;
}

DeltaCorrections QuantiseCorrections(const DeltaHistory& history, const std::vector<Vec3>& targets, double maxError) {
    std::vector<std::array<float, 3>> predictions;
    predictions.reserve(targets.size());
    const CorrectionSpan span = SpanOf(history, targets, &predictions);
    DeltaCorrections out;
    out.bytes.resize(3 * targets.size());
    const double step = StepFor(maxError);
    std::vector<double> squaredErrors(targets.size());
    for (std::size_t axis = 0; axis < 3; ++axis) {
        ChooseRange(span.lowest[axis], span.highest[axis], step, &out.min[axis], &out.max[axis]);
        const AxisQuantiser quantiser(out.min[axis], out.max[axis]);
        for (std::size_t i = 0; i < targets.size(); ++i) {
            const float target = Axes(targets[i])[axis];
            const BYTE byte = quantiser.Nearest(predictions[i][axis], target);
            const double error = quantiser.ErrorOf(byte, predictions[i][axis], target);
            out.bytes[3 * i + axis] = byte;
            squaredErrors[i] += error * error;
        }
    }
    for (const double squared : squaredErrors) {
        out.maxError = std::max(out.maxError, std::sqrt(squared));
    }
    return out;
}

Bytes WritePlainDeltas(const DeltaCorrections& corrections) {
    ByteWriter out;
    WriteRange(corrections, out);
    out.Append(corrections.bytes);
    return out.Take();
}

// ---- Golomb codes: see NimbCore/Golomb.h.

namespace {

struct GolombParameters {
    BYTE center = 0;
    BYTE m = 1;
};

/// A byte's signed difference from the centre, modulo 256 the smaller way round, mapped to 0 to 255.
UINT32 ZigZag(BYTE byte, BYTE center) {
    const UINT32 up = static_cast<BYTE>(byte - center);
    return up < 128 ? 2 * up : 2 * (256 - up) - 1;
}

UINT32 CeilLog2(UINT32 m) {
    UINT32 bits = 0;
    while ((UINT32{1} << bits) < m) {
        ++bits;
    }
    return bits;
}

/// Code bits of all symbols: `below[v]` of them have mapped values smaller than v. The shortest form of a code is a
/// quotient, its closing zero and b - 1 bits; remainders from `shorts` on take one more. Gives up at `limit`.
std::size_t GolombCost(const std::array<std::size_t, 257>& below, UINT32 m, std::size_t limit) {
    const std::size_t all = below[256];
    const UINT32 b = CeilLog2(m);
    const UINT32 shorts = (UINT32{1} << b) - m;
    std::size_t cost = all * std::max<std::size_t>(b, 1);
    for (UINT32 first = 0; first < 256 && cost < limit; first += m) {
        if (first > 0) {
            cost += all - below[first];
        }
        const std::size_t end = std::min<std::size_t>(first + m, 256);
        cost += below[end] - below[std::min<std::size_t>(first + shorts, end)];
    }
    return cost;
}

/// Tries all parameters with one centre. `*pBest` and `*pBestCost` change where one of them makes shorter codes.
void TryGolombCenter(const Histogram& counts, BYTE center, GolombParameters* pBest, std::size_t* pBestCost) {
    std::array<std::size_t, 257> below{};
    for (UINT32 byte = 0; byte < 256; ++byte) {
        below[ZigZag(static_cast<BYTE>(byte), center) + 1] = counts[byte];
    }
    UINT32 largest = 0;
    for (UINT32 v = 0; v < 256; ++v) {
        largest = below[v + 1] != 0 ? v : largest;
        below[v + 1] += below[v];
    }
    // Larger parameters only widen the remainders.
    for (UINT32 m = 1; m < std::min<UINT32>(256, 2 * largest + 3); ++m) {
        const std::size_t cost = GolombCost(below, m, *pBestCost);
        if (cost < *pBestCost) {
            *pBestCost = cost;
            *pBest = {center, static_cast<BYTE>(m)};
        }
    }
}

/// Tries all centres and parameters; exact, and cheap because the cost of one pair takes 256 / m steps.
GolombParameters ChooseGolombParameters(const Histogram& counts) {
    UINT32 first = 0, last = 255;
    while (first < last && counts[first] == 0) {
        ++first;
    }
    while (last > first && counts[last] == 0) {
        --last;
    }
    // A centre outside is never better than the nearest byte inside, unless differences are shorter the other way
    // round.
    if (last - first >= 128) {
        first = 0;
        last = 255;
    }
    GolombParameters best;
    std::size_t bestCost = std::numeric_limits<std::size_t>::max();
    for (UINT32 center = first; center <= last; ++center) {
        TryGolombCenter(counts, static_cast<BYTE>(center), &best, &bestCost);
    }
    return best;
}

void WriteGolombCode(UINT32 value, UINT32 m, BitWriter& bits) {
    const UINT32 b = CeilLog2(m);
    const UINT32 shorts = (UINT32{1} << b) - m;
    const UINT32 remainder = value % m;
    bits.WriteUnary(value / m);
    if (remainder < shorts) {
        bits.Write(remainder, b - 1);
    } else {
        // With m = 1 the remainder is no bit wide, and its extra bit is written all the same.
        bits.Write(remainder + shorts, std::max<UINT32>(b, 1));
    }
}

}  // namespace

Bytes WriteGolombDeltas(const DeltaCorrections& corrections) {
    GolombParameters parameters[3];
    BitWriter codes[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::vector<BYTE> bytes = AxisBytes(corrections, axis);
        parameters[axis] = ChooseGolombParameters(CountBytes(bytes));
        for (const BYTE byte : bytes) {
            WriteGolombCode(ZigZag(byte, parameters[axis].center), parameters[axis].m, codes[axis]);
        }
    }
    ByteWriter out;
    WriteRange(corrections, out);
    for (const GolombParameters& p : parameters) {
        out.U8(p.center);
    }
    for (const GolombParameters& p : parameters) {
        out.U8(p.m);
    }
    for (const BitWriter& axis : codes) {
        out.U32(axis.NumBits());
    }
    for (const BitWriter& axis : codes) {
        axis.AppendTo(out);
    }
    return out.Take();
}

// ---- Huffman codes: see NimbCore/Huffman.cpp.

namespace {

/// An axis on which all bytes agree has no code bits, and without bits a decoder takes every byte for 0: the range is
/// narrowed to the one correction, which byte 0 then stands for.
void NarrowUniformAxes(DeltaCorrections& corrections) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::vector<BYTE> bytes = AxisBytes(corrections, axis);
        if (bytes.empty() || std::count(bytes.begin(), bytes.end(), bytes.front()) != std::ptrdiff_t(bytes.size())) {
            continue;
        }
        const float correction = CorrectionsOfBytes(corrections.min[axis], corrections.max[axis])[bytes.front()];
        corrections.min[axis] = correction;
        corrections.max[axis] = correction;
        for (std::size_t i = axis; i < corrections.bytes.size(); i += 3) {
            corrections.bytes[i] = 0;
        }
    }
}

}  // namespace

Bytes WriteHuffmanDeltas(const DeltaCorrections& original) {
    DeltaCorrections corrections = original;
    NarrowUniformAxes(corrections);

    std::vector<int> frequencies[3];
    BitWriter codes[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::vector<BYTE> bytes = AxisBytes(corrections, axis);
        const Histogram counts = CountBytes(bytes);
        frequencies[axis].assign(counts.begin(), counts.end());
        std::vector<HuffmanCode> table;
        HuffmanEncoding().BuildTable(frequencies[axis], table);
        for (const BYTE byte : bytes) {
            codes[axis].Write(table[byte].code, static_cast<UINT32>(table[byte].numbits));
        }
    }
    ByteWriter out;
    WriteRange(corrections, out);
    for (const BitWriter& axis : codes) {
        out.U32(axis.NumBits());
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (const int frequency : frequencies[axis]) {
            out.U32(static_cast<UINT32>(frequency));
        }
        codes[axis].AppendTo(out);
    }
    return out.Take();
}

}  // namespace Nimb::Authoring
