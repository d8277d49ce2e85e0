// The choices of the transform-delta encoder: which parts, which transforms, which corrections.
#include "Authoring/Codec/TransformDeltas.h"

#include "Authoring/Codec/PlaceParts.h"
#include "Authoring/Codec/TransformFit.h"
#include "Authoring/Codec/TransformSection.h"
#include "NimbCore/TransformDeltas.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Nimb::Authoring {

using namespace Nimb::TransformDeltas;
using Nimb::__vector4;
using Nimb::Float4;

namespace {

constexpr std::size_t c_MaxPoses = 9;
static_assert(c_MaxPoses <= c_MaxPartPoses, "the search takes no more poses");

/// Parts that are sent once serve many frames; a frame is charged this fraction of them when candidates are compared.
constexpr double c_PartsShare = 0.125;

/// What a change of parts between neighbouring vertices costs, about.
constexpr double c_RunBits = 8;

/// Translations are stored to a quarter of a step, finer ones save no corrections.
constexpr UINT32 c_TranslationShift = 2;

/// So many vertices of a part, evenly spread, are enough to fit its transform.
constexpr std::size_t c_MaxSamples = 128;

/// Positions beyond this are no figure's, and sums of their squares would leave the range of float.
constexpr float c_MaxCoordinate = 1e9f;

/// Whoever measures the error in another order of operations shall not find it above the limit.
constexpr double c_WithinLimit = 1 - 1e-6;

/// Corrections are whole steps a side; half the diagonal of a cube of steps is the largest error left, and a little
/// room is kept for the rounding of decoded floats.
double StepFor(double maxError) {
    return 2.0 * maxError / std::sqrt(3.0) * 0.999;
}

double SquaredDistance(const Vec3& a, const __vector4& b) {
    const double dx = double{a.x} - b.x, dy = double{a.y} - b.y, dz = double{a.z} - b.z;
    return (dx * dx + dy * dy) + dz * dz;
}

std::vector<Vec3> PositionsOf(const std::vector<__vector4>& history) {
    std::vector<Vec3> positions;
    positions.reserve(history.size());
    for (const __vector4& p : history) {
        positions.push_back({p.x, p.y, p.z});
    }
    return positions;
}

std::size_t NumParts(const PartMap& parts) {
    return std::size_t{1} + *std::max_element(parts.begin(), parts.end());
}

/// One frame against one map of parts.
class FrameCoder {
public:
    FrameCoder(const DeltaHistory& history, const std::vector<Vec3>& targets, double maxError)
        : m_History(history),
          m_Targets(targets),
          m_MaxError(maxError * c_WithinLimit),
          m_Step(static_cast<float>(StepFor(maxError))) {}

    struct Result {
        TransformDeltaFrame frame;
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
    void Decode(const std::vector<Motion>& motions, std::vector<Correction>& corrections,
                TransformDeltaFrame& frame) const;

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

/// Nearest whole number, of two the even one, without a call. `value` is far below 2^51.
double RoundToWhole(double value) {
    constexpr double shift = 0x1.8p52;
    return (value + shift) - shift;
}

/// The correction with the fewest axes that brings a vertex close enough; among those, the closest.
Correction FrameCoder::ChooseCorrection(Float4 prediction, const Vec3& target) const {
    __vector4 predicted{};
    prediction.Store(&predicted);
    const double limit = m_MaxError * m_MaxError;
    const double rest[3] = {double{target.x} - predicted.x, double{target.y} - predicted.y,
                            double{target.z} - predicted.z};
    if ((rest[0] * rest[0] + rest[1] * rest[1]) + rest[2] * rest[2] <= limit) {
        return {};
    }
    double steps[3], gains[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!(std::abs(rest[axis]) <= 32767.0 * m_Step)) {
            throw std::range_error("a correction exceeds the range of transform deltas");
        }
        steps[axis] = RoundToWhole(rest[axis] / m_Step);
        const double left = rest[axis] - steps[axis] * m_Step;
        gains[axis] = rest[axis] * rest[axis] - left * left;
    }
    // The axes that gain most come first, until it is enough.
    std::size_t order[3] = {0, 1, 2};
    const auto compare = [&](std::size_t i, std::size_t k) {
        if (gains[order[i]] < gains[order[k]]) {
            std::swap(order[i], order[k]);
        }
    };
    compare(0, 1);
    compare(1, 2);
    compare(0, 1);
    Correction correction;
    for (const std::size_t axis : order) {
        correction.axis[axis] = static_cast<std::int16_t>(steps[axis]);
        __vector4 decoded{};
        Correct(prediction, correction, Float4::All(m_Step)).Store(&decoded);
        if (SquaredDistance(target, decoded) <= limit) {
            break;
        }
    }
    return correction;
}

void FrameCoder::Decode(const std::vector<Motion>& motions, std::vector<Correction>& corrections,
                        TransformDeltaFrame& frame) const {
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
    try {
        Decode(motions, corrections, result.frame);
    } catch (const std::range_error&) {
        // Where motion is so wild that a transform of some vertices throws others out of reach, nothing moves.
        for (std::size_t part = 0; part < transforms.size(); ++part) {
            transforms[part] = Transform();
            motions[part] = MakeMotion(transforms[part], 0.0f, __vector4{});
        }
        Decode(motions, corrections, result.frame);
    }

    const WrittenTransformSection written =
        WriteTransformSection({m_Step, keep, precision.translationShift, transforms, parts, corrections});
    result.frame.section = written.bytes;
    result.frame.numTransforms = static_cast<UINT32>(transforms.size());
    result.cost = written.numBits - (1 - c_PartsShare) * written.partsBits;
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
        m_Poses.resize((c_MaxPoses + 1) / 2);
        m_PoseStride *= 2;
    }
    m_Poses.push_back(positions);
}

TransformDeltaFrame TransformDeltaEncoder::Encode(const DeltaHistory& history, const std::vector<Vec3>& targets,
                                                  const TransformDeltaOptions& options) {
    Check(history, targets, options);
    if (m_Poses.empty() || m_Poses.front().size() != targets.size()) {
        Learn(PositionsOf(*history.previous));
    }
    Learn(targets);
    FindPlaces(history, targets);

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
    if (usable(m_LearnedParts)) {
        const PartMap learned = OnePartAPlace(m_LearnedParts, *m_Places);
        if (learned != m_DecoderParts) {
            consider(learned, false);
        }
    }
    if (m_PosesSeen >= m_NextSearch) {
        m_NextSearch = 2 * m_PosesSeen;
        for (const PartMap& parts : Candidates(options.maxError, maxParts)) {
            if (consider(OnePartAPlace(parts, *m_Places), false)) {
                m_LearnedParts = parts;
            }
        }
    }
    return std::move(best->frame);
}

/// Which vertices have been in one place since the key frame. The decoder's parts need not change when fewer are.
void TransformDeltaEncoder::FindPlaces(const DeltaHistory& history, const std::vector<Vec3>& targets) {
    if (!m_Places || m_Places->First().size() != targets.size()) {
        m_Places.emplace(targets.size());
        m_Places->Distinguish(PositionsOf(*history.previous));
    }
    m_Places->Distinguish(targets);
}

std::vector<PartMap> TransformDeltaEncoder::Candidates(double tolerance, std::size_t maxParts) const {
    std::vector<const std::vector<Vec3>*> poses;
    for (const std::vector<Vec3>& pose : m_Poses) {
        poses.push_back(&pose);
    }
    const double runBits = c_RunBits * c_PartsShare * static_cast<double>(poses.size() - 1);
    return FindParts(poses, {tolerance, runBits, maxParts});
}

}  // namespace Nimb::Authoring
