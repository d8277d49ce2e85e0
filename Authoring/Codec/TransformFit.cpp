// Robust least-squares fits of transforms, in the quantised form in which they are stored.
//
// What matters is how many vertices end up close enough, not the sum of squares: vertices that a transform cannot reach
// need a correction anyway. Fits are therefore reweighted a few times, which lets go of those: P. W. Holland, R. E.
// Welsch, "Robust regression using iteratively reweighted least-squares", 1977, with Cauchy weights.
#include "Authoring/Codec/TransformFit.h"

#include "Authoring/Codec/ChordLog.h"
#include "Authoring/Codec/LeastSquares.h"
#include "Authoring/Codec/PrefixCode.h"
#include "Authoring/Codec/Vectors.h"

#include <glm/common.hpp>
#include <glm/gtc/type_ptr.hpp>
#include <glm/mat3x3.hpp>

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {

using namespace Nimb::TransformDeltas;
using Nimb::Float4;

namespace {

constexpr int c_Reweightings = 4;
constexpr double c_ExpectedLinear = 0.3;  // coefficients of this size are nothing special between two frames

// Typical sizes of stored numbers, to price them before the frame's own orders are known.
constexpr UINT32 c_TypicalOrder = 4;

/// A transform before quantisation: position = base + D arm + translation, with arm = base - pivot.
struct RealTransform {
    glm::dvec3 rotation{};  // of a rigid one, as stored
    glm::dmat3 rows{0};     // of D
    glm::dvec3 translation{};

    glm::dvec3 operator()(const glm::dvec3& arm) const { return arm * rows + translation; }
};

/// One part under one amount of extrapolation.
class Fitter {
public:
    Fitter(const PartSamples& samples, const FitPrecision& precision, BYTE extrapolation);
    FittedTransform Fit(Kind kind);

private:
    void Reweight(const RealTransform& transform);
    void FitTranslation(RealTransform& transform) const;
    void FitAffine(RealTransform& transform) const;
    void ImproveRotation(RealTransform& transform) const;
    void Quantise(RealTransform& real, Transform& transform) const;
    double Bits(const Transform& transform) const;

    const PartSamples& m_Samples;
    const FitPrecision& m_Precision;
    BYTE m_Extrapolation;
    std::vector<glm::dvec3> m_Arms;
    std::vector<glm::dvec3> m_Displacements;  // target - base
    std::vector<double> m_Weights;
    double m_Radius = 0;
};

Fitter::Fitter(const PartSamples& samples, const FitPrecision& precision, BYTE extrapolation)
    : m_Samples(samples),
      m_Precision(precision),
      m_Extrapolation(extrapolation),
      m_Arms(samples.targets.size()),
      m_Displacements(samples.targets.size()),
      m_Weights(samples.targets.size(), 1.0) {
    const double factor = c_ExtrapolationUnit * extrapolation;
    const glm::dvec3 pivot = VectorOf(samples.pivot);
    double squares = 0;
    for (std::size_t i = 0; i < samples.targets.size(); ++i) {
        const glm::dvec3 base = VectorOf(samples.previous[i]) + factor * VectorOf(samples.last[i]);
        m_Arms[i] = base - pivot;
        m_Displacements[i] = VectorOf(samples.targets[i]) - base;
        squares += glm::dot(m_Arms[i], m_Arms[i]);
    }
    m_Radius = std::sqrt(squares / static_cast<double>(samples.targets.size()));
}

void Fitter::Reweight(const RealTransform& transform) {
    const double scale = 1.0 / (m_Precision.maxError * m_Precision.maxError);
    for (std::size_t i = 0; i < m_Arms.size(); ++i) {
        const glm::dvec3 rest = m_Displacements[i] - transform(m_Arms[i]);
        m_Weights[i] = 1.0 / (1.0 + scale * glm::dot(rest, rest));
    }
}

void Fitter::FitTranslation(RealTransform& transform) const {
    double sum = 0;
    glm::dvec3 mean{};
    for (std::size_t i = 0; i < m_Arms.size(); ++i) {
        mean += m_Weights[i] * (m_Displacements[i] - m_Arms[i] * transform.rows);
        sum += m_Weights[i];
    }
    transform.translation = mean / sum;
}

void Fitter::FitAffine(RealTransform& transform) const {
    NormalEquations<4, 3> equations;
    for (std::size_t i = 0; i < m_Arms.size(); ++i) {
        const glm::dvec3 &arm = m_Arms[i], &wanted = m_Displacements[i];
        equations.Add({arm.x, arm.y, arm.z, 1.0}, {wanted.x, wanted.y, wanted.z}, m_Weights[i]);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        equations.AddRidge(i, m_Precision.maxError * m_Precision.maxError / (c_ExpectedLinear * c_ExpectedLinear));
    }
    const auto solution = equations.Solve();
    const auto unknown = [&](std::size_t i) { return glm::make_vec3(solution[i].data()); };
    transform.rows = glm::transpose(glm::dmat3(unknown(0), unknown(1), unknown(2)));
    transform.translation = unknown(3);
}

/// One Gauss-Newton step: a small rotation on top of the present one, and a new translation.
void Fitter::ImproveRotation(RealTransform& transform) const {
    NormalEquations<6, 1> equations;
    for (std::size_t i = 0; i < m_Arms.size(); ++i) {
        const glm::dvec3 moved = transform(m_Arms[i]), rest = m_Displacements[i] - moved;
        // A rotation by v moves a point by twice the cross product of v and the point.
        const glm::dvec3 t = 2.0 * (m_Arms[i] + moved - transform.translation);
        equations.Add({0, t.z, -t.y, 1, 0, 0}, {rest.x}, m_Weights[i]);
        equations.Add({-t.z, 0, t.x, 0, 1, 0}, {rest.y}, m_Weights[i]);
        equations.Add({t.y, -t.x, 0, 0, 0, 1}, {rest.z}, m_Weights[i]);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        equations.AddRidge(i, m_Precision.maxError * m_Precision.maxError / (c_ExpectedLinear * c_ExpectedLinear));
    }
    const auto solution = equations.Solve();
    const glm::dvec3 d(solution[0][0], solution[1][0], solution[2][0]), v = transform.rotation;
    const glm::dvec3 turned = (v + d + glm::cross(d, v)) * (1.0 / (1.0 - glm::dot(d, v)));
    // Near half a turn the tangent is without bound; no figure turns that fast, so such a fit may as well fail.
    transform.rotation = glm::mix(glm::dvec3(0), turned, glm::lessThan(glm::abs(turned), glm::dvec3(1e3)));
    float rows[9];
    RotationMinusIdentity(static_cast<float>(transform.rotation.x), static_cast<float>(transform.rotation.y),
                          static_cast<float>(transform.rotation.z), rows);
    transform.rows = glm::make_mat3(rows);
    transform.translation += glm::dvec3(solution[3][0], solution[4][0], solution[5][0]);
}

/// Nearest multiple of `unit`; what does not fit 30 bits is none of a sane fit's business.
INT32 Round(double value, double unit) {
    const double steps = std::nearbyint(value / unit);
    return std::isfinite(steps) ? static_cast<INT32>(std::clamp(steps, -536870912.0, 536870911.0)) : 0;
}

void Fitter::Quantise(RealTransform& real, Transform& transform) const {
    if (transform.kind >= Kind_Rigid) {
        UINT32 shift = 0;
        while (shift < 31 && NegativePowerOfTwo(shift) * m_Radius > m_Precision.linearTolerance) {
            ++shift;
        }
        transform.linearShift = static_cast<BYTE>(shift);
        const double unit = NegativePowerOfTwo(shift);
        if (transform.kind == Kind_Rigid) {
            for (std::size_t i = 0; i < 3; ++i) {
                transform.linear[i] = Round(glm::value_ptr(real.rotation)[i], unit);
            }
        } else {
            for (std::size_t i = 0; i < 9; ++i) {
                transform.linear[i] = Round(glm::value_ptr(real.rows)[i], unit);
            }
        }
        float linear[9];
        for (std::size_t i = 0; i < 9; ++i) {
            linear[i] = static_cast<float>(transform.linear[i]) * static_cast<float>(unit);
        }
        if (transform.kind == Kind_Rigid) {
            RotationMinusIdentity(linear[0], linear[1], linear[2], linear);
        }
        real.rows = glm::make_mat3(linear);
    }
    if (transform.kind >= Kind_Translation) {
        FitTranslation(real);  // makes up for the rounding of the linear part
        const double unit = m_Precision.step * NegativePowerOfTwo(m_Precision.translationShift);
        for (std::size_t i = 0; i < 3; ++i) {
            transform.translation[i] = Round(glm::value_ptr(real.translation)[i], unit);
        }
    }
}

double Fitter::Bits(const Transform& transform) const {
    double bits = 4;
    const std::size_t numLinear = transform.kind == Kind_Affine ? 9 : transform.kind == Kind_Rigid ? 3 : 0;
    bits += numLinear != 0 ? 5 : 0;
    for (std::size_t i = 0; i < numLinear; ++i) {
        bits += GolombNumberBits(Zigzag(transform.linear[i]), c_TypicalOrder);
    }
    for (std::size_t i = 0; i < 3 && transform.kind >= Kind_Translation; ++i) {
        bits += GolombNumberBits(Zigzag(transform.translation[i]), c_TypicalOrder);
    }
    const float unit = static_cast<float>(m_Precision.step) * NegativePowerOfTwo(m_Precision.translationShift);
    const Motion motion = MakeMotion(transform, unit, m_Samples.pivot);
    for (std::size_t i = 0; i < m_Samples.targets.size(); ++i) {
        float lanes[4];
        Predict(motion, Float4::Load(&m_Samples.previous[i]), Float4::Load(&m_Samples.last[i])).Store(lanes);
        const glm::dvec3 rest = VectorOf(m_Samples.targets[i]) - glm::dvec3(lanes[0], lanes[1], lanes[2]);
        bits += m_Samples.verticesPerSample * CorrectionBits(glm::dot(rest, rest), m_Precision);
    }
    return bits;
}

FittedTransform Fitter::Fit(Kind kind) {
    FittedTransform result;
    result.transform.kind = kind;
    result.transform.extrapolation = m_Extrapolation;
    RealTransform real;
    std::fill(m_Weights.begin(), m_Weights.end(), 1.0);
    for (int pass = 0; pass < c_Reweightings && kind != Kind_Identity; ++pass) {
        if (kind == Kind_Translation) {
            FitTranslation(real);
        } else if (kind == Kind_Rigid) {
            ImproveRotation(real);
        } else {
            FitAffine(real);
        }
        Reweight(real);
    }
    Quantise(real, result.transform);
    result.bits = Bits(result.transform);
    return result;
}

}  // namespace

double CorrectionBits(double squaredDistance, const FitPrecision& precision) {
    constexpr double bitsOfHit = 0.3;
    constexpr double bitsOfSmallest = 5.0;
    const double excess = squaredDistance / (precision.maxError * precision.maxError);
    if (!(excess > 1.0)) {
        return bitsOfHit;
    }
    // Three axes, each half the binary logarithm of the square.
    return excess < 1e18 ? bitsOfSmallest + 1.5 * ChordLog2(excess) : 100.0;
}

namespace {

/// The amount of extrapolation that explains most of what an affine map leaves unexplained.
BYTE EstimateExtrapolation(const PartSamples& samples) {
    const auto armOf = [&](std::size_t i) {
        const Nimb::__vector4& p = samples.previous[i];
        return std::array<double, 4>{double{p.x} - samples.pivot.x, double{p.y} - samples.pivot.y,
                                     double{p.z} - samples.pivot.z, 1.0};
    };
    const auto motionsOf = [&](std::size_t i) {
        const Nimb::__vector4 &p = samples.previous[i], &l = samples.last[i];
        const Vec3& t = samples.targets[i];
        return std::array<double, 6>{double{t.x} - p.x, double{t.y} - p.y, double{t.z} - p.z, l.x, l.y, l.z};
    };
    NormalEquations<4, 6> equations;
    for (std::size_t i = 0; i < samples.targets.size(); ++i) {
        equations.Add(armOf(i), motionsOf(i), 1.0);
    }
    const auto affine = equations.Solve();
    double common = 0, squares = 0;
    for (std::size_t i = 0; i < samples.targets.size(); ++i) {
        const std::array<double, 4> arm = armOf(i);
        std::array<double, 6> rest = motionsOf(i);
        for (std::size_t k = 0; k < rest.size(); ++k) {
            rest[k] -= (arm[0] * affine[0][k] + arm[1] * affine[1][k]) + (arm[2] * affine[2][k] + affine[3][k]);
        }
        common += (rest[0] * rest[3] + rest[1] * rest[4]) + rest[2] * rest[5];
        squares += (rest[3] * rest[3] + rest[4] * rest[4]) + rest[5] * rest[5];
    }
    const double steps = squares > 0 ? common / squares / c_ExtrapolationUnit : 0;
    return static_cast<BYTE>(std::lround(std::clamp(steps, 0.0, double{c_MaxExtrapolation})));
}

}  // namespace

namespace {

/// Enough to tell which kind of transform suits a part; with 40, a figure's delta frames were half a percent larger.
constexpr std::size_t c_SamplesToCompare = 64;

PartSamples EverySoMany(const PartSamples& samples, std::size_t stride) {
    PartSamples some;
    some.pivot = samples.pivot;
    some.verticesPerSample = samples.verticesPerSample * static_cast<double>(stride);
    for (std::size_t i = 0; i < samples.targets.size(); i += stride) {
        some.previous.push_back(samples.previous[i]);
        some.last.push_back(samples.last[i]);
        some.targets.push_back(samples.targets[i]);
    }
    return some;
}

FittedTransform CheapestTransform(const PartSamples& samples, const FitPrecision& precision, bool hasOlder) {
    FittedTransform best;
    bool first = true;
    const BYTE likely = hasOlder ? EstimateExtrapolation(samples) : BYTE{0};
    for (BYTE extrapolation = 0; extrapolation <= (hasOlder ? c_MaxExtrapolation : BYTE{0}); ++extrapolation) {
        Fitter fitter(samples, precision, extrapolation);
        for (const Kind kind : {Kind_Identity, Kind_Translation, Kind_Rigid, Kind_Affine}) {
            if (kind >= Kind_Rigid && extrapolation != likely) {
                break;  // transforms that turn make up for most of what extrapolation does
            }
            const FittedTransform candidate = fitter.Fit(kind);
            if (first || candidate.bits < best.bits) {
                best = candidate;
                first = false;
            }
        }
    }
    return best;
}

}  // namespace

FittedTransform FitTransform(const PartSamples& samples, const FitPrecision& precision, bool hasOlder) {
    const std::size_t stride = samples.targets.size() / c_SamplesToCompare;
    if (stride < 2) {
        return CheapestTransform(samples, precision, hasOlder);
    }
    const Transform chosen = CheapestTransform(EverySoMany(samples, stride), precision, hasOlder).transform;
    return Fitter(samples, precision, chosen.extrapolation).Fit(chosen.kind);
}

}  // namespace Nimb::Authoring
