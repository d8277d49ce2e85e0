#include "Tools/nimb/Compare/SurfaceEvidence.h"

#include <glm/geometric.hpp>
#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>

#include <cmath>

namespace Nimb::Tool {
namespace {

using Authoring::SurfaceSample;

/// Shifts below this share of the source's size are what encoding does, by rounding in one direction for instance.
constexpr double c_LeastShift = 1.0 / 5000;
/// Of the distance, what may be left when a shift is the reason for it.
constexpr double c_MostDistanceLeft = 0.5;

constexpr double c_Lone = 1.0 / 100;  // of the source's size

/// How far the clip's surface is in front of the source's.
double HeightOf(const SurfaceSample& sample) {
    return glm::dot(sample.position - sample.nearest.position, sample.nearestNormal);
}

LonePart FarSamples(const Authoring::SurfaceDirection& direction, double limit) {
    LonePart part;
    std::size_t count = 0;
    for (const SurfaceSample& sample : direction.samples) {
        if (sample.nearest.squaredDistance > limit * limit) {
            part.centre += sample.position;
            part.reach = std::max(part.reach, std::sqrt(sample.nearest.squaredDistance));
            ++count;
        }
    }
    if (count != 0) {
        part.centre /= static_cast<double>(count);
        part.share = static_cast<double>(count) / static_cast<double>(direction.samples.size());
    }
    return part;
}

}  // namespace

bool SurfaceShift::IsFault(double peak) const {
    return glm::length(offset) >= c_LeastShift * peak && after < c_MostDistanceLeft * before;
}

SurfaceShift FindShift(const Authoring::SurfaceComparison& comparison) {
    const double limit = 2 * comparison.fromOther.distance.percentile95;
    glm::dmat3 matrix(0);
    glm::dvec3 right(0);
    double squares = 0;
    std::size_t count = 0;
    const auto isTaken = [&](const SurfaceSample& sample) { return sample.nearest.squaredDistance <= limit * limit; };
    for (const SurfaceSample& sample : comparison.fromOther.samples) {
        if (isTaken(sample)) {
            const double height = HeightOf(sample);
            matrix += glm::outerProduct(sample.nearestNormal, sample.nearestNormal);
            right += height * sample.nearestNormal;
            squares += height * height;
            ++count;
        }
    }
    SurfaceShift shift;
    if (count == 0) {
        return shift;
    }
    // Directions that no normal has are left alone.
    const double trace = matrix[0][0] + matrix[1][1] + matrix[2][2];
    shift.offset = glm::inverse(matrix + glm::dmat3(1e-6 * trace + 1e-30)) * right;
    double left = 0;
    for (const SurfaceSample& sample : comparison.fromOther.samples) {
        if (isTaken(sample)) {
            const double rest = HeightOf(sample) - glm::dot(shift.offset, sample.nearestNormal);
            left += rest * rest;
        }
    }
    shift.before = std::sqrt(squares / static_cast<double>(count));
    shift.after = std::sqrt(left / static_cast<double>(count));
    return shift;
}

LoneParts FindLoneParts(const Authoring::SurfaceComparison& comparison) {
    const double limit = c_Lone * comparison.peak;
    return {FarSamples(comparison.fromSource, limit), FarSamples(comparison.fromOther, limit)};
}

}  // namespace Nimb::Tool
