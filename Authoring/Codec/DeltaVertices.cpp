#include "Authoring/Codec/DeltaVertices.h"

#include "Authoring/Codec/CorrectionBytes.h"
#include "NimbCore/Codings.h"
#include "NimbCore/DeltaArithmetic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

std::array<float, 3> Predict(const DeltaHistory& history, std::size_t i) {
    const Float4 previous = Float4::Load(&(*history.previous)[i]);
    float lanes[4];
    (history.older != nullptr ? PredictPosition(previous, Float4::Load(&(*history.older)[i]))
                              : PredictPosition(previous))
        .Store(lanes);
    return {lanes[0], lanes[1], lanes[2]};
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
        const std::array<float, 3> prediction = Predict(history, i);
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

DeltaHistory HistoryOf(const Nimb::CNimbMeshReaderCtx& ctx) {
    return {ctx.m_pPrevMesh, ctx.m_pPrevPrevMesh};
}

std::array<float, 256> CorrectionsOfBytes(float min, float max) {
    std::array<float, 256> values{};
    for (std::size_t byte = 0; byte < values.size(); ++byte) {
        float lanes[4];
        CorrectionOf(Float4::All(static_cast<float>(byte)), Float4::All(min), Float4::All(max - min)).Store(lanes);
        values[byte] = lanes[0];
    }
    return values;
}

std::vector<BYTE> AxisBytes(const DeltaCorrections& corrections, std::size_t axis) {
    std::vector<BYTE> bytes;
    bytes.reserve(corrections.bytes.size() / 3);
    for (std::size_t i = axis; i < corrections.bytes.size(); i += 3) {
        bytes.push_back(corrections.bytes[i]);
    }
    return bytes;
}

std::array<std::size_t, 256> CountBytes(const std::vector<BYTE>& bytes) {
    std::array<std::size_t, 256> counts{};
    for (const BYTE byte : bytes) {
        ++counts[byte];
    }
    return counts;
}

void WriteCorrectionRange(const DeltaCorrections& corrections, ByteWriter& out) {
    for (const float value : corrections.min) {
        out.F32(value);
    }
    for (const float value : corrections.max) {
        out.F32(value);
    }
}

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
    WriteCorrectionRange(corrections, out);
    out.Append(corrections.bytes);
    return out.Take();
}

std::size_t LeastPlainBytes(std::size_t numVertices, std::size_t) {
    constexpr VertexSectionLayout layout = FindVertexCoding(NTarnStudioVertexVersion::c_CompressedDeltas)->layout;
    return layout.EmptyBytes() + layout.vertexBytes * numVertices;
}

}  // namespace Nimb::Authoring
