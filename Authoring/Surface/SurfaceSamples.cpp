#include "Authoring/Surface/SurfaceSamples.h"

#include "Authoring/Codec/Vectors.h"

#include <glm/geometric.hpp>

#include <cmath>
#include <numeric>
#include <stdexcept>
#include <string>

namespace Nimb::Authoring {
namespace {

// 1/g and 1/g^2 of the plastic number g, the solution of g^3 = g + 1.
constexpr double c_FirstStep = 0.7548776662466927;
constexpr double c_SecondStep = 0.5698402909980532;

glm::dvec3 Corner(const SurfaceView& surface, UINT32 face, int corner) {
    const UINT32 vertex = surface.faces[face].v[corner];
    if (vertex >= surface.positions.size()) {
        throw std::invalid_argument("a face refers to vertex " + std::to_string(vertex) + " of " +
                                    std::to_string(surface.positions.size()));
    }
    return VectorOf(surface.positions[vertex]);
}

/// Twice the area, along the normal.
glm::dvec3 AreaVector(const SurfaceView& surface, UINT32 face) {
    const glm::dvec3 a = Corner(surface, face, 0);
    return glm::cross(Corner(surface, face, 1) - a, Corner(surface, face, 2) - a);
}

SurfaceSample SampleAt(const SurfaceView& surface, UINT32 face, const glm::dvec3& weights) {
    SurfaceSample sample;
    sample.face = face;
    sample.weights = weights;
    for (int corner = 0; corner < 3; ++corner) {
        sample.position += weights[corner] * Corner(surface, face, corner);
    }
    sample.normal = NormalOf(surface, face);
    return sample;
}

std::vector<SurfaceSample> CornerSamples(const SurfaceView& surface) {
    std::vector<SurfaceSample> samples;
    for (UINT32 face = 0; face < surface.faces.size(); ++face) {
        samples.push_back(SampleAt(surface, face, {1, 0, 0}));
        samples.push_back(SampleAt(surface, face, {0, 1, 0}));
        samples.push_back(SampleAt(surface, face, {0, 0, 1}));
    }
    return samples;
}

/// A point of the unit square as a point of the triangle that is half of it.
glm::dvec3 FoldedWeights(double u, double v) {
    if (u + v > 1) {
        u = 1 - u;
        v = 1 - v;
    }
    return {1 - u - v, u, v};
}

double Fraction(double value) {
    return value - std::floor(value);
}

/// The other surface is there but looks the other way: the nearest triangle does, and none that looks the same way as
/// the sample is about as near. So neither side of a thin part is taken for the other.
bool LooksAway(const SurfaceSample& sample, const ClosestPoint& tree, double tolerance) {
    if (!sample.nearest || glm::dot(sample.normal, sample.nearestNormal) >= 0) {
        return false;
    }
    const double distance = std::sqrt(sample.nearest.squaredDistance);
    return distance <= tolerance && !tree.Facing(sample.position, sample.normal, 2 * distance + tolerance);
}

}  // namespace

glm::dvec3 NormalOf(const SurfaceView& surface, UINT32 face) {
    const glm::dvec3 area = AreaVector(surface, face);
    const double length = glm::length(area);
    return length > 0 ? area / length : glm::dvec3(0);
}

std::vector<SurfaceSample> SpreadSamples(const SurfaceView& surface, std::size_t count) {
    std::vector<double> areaUpTo;
    areaUpTo.reserve(surface.faces.size());
    double total = 0;
    for (UINT32 face = 0; face < surface.faces.size(); ++face) {
        total += glm::length(AreaVector(surface, face));
        areaUpTo.push_back(total);
    }
    if (!(total > 0)) {
        return CornerSamples(surface);
    }
    std::vector<SurfaceSample> samples;
    samples.reserve(count);
    UINT32 face = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double area = total * (static_cast<double>(i) + 0.5) / static_cast<double>(count);
        while (face + 1 < areaUpTo.size() && areaUpTo[face] <= area) {
            ++face;
        }
        const auto number = static_cast<double>(i + 1);
        samples.push_back(SampleAt(
            surface, face, FoldedWeights(Fraction(0.5 + number * c_FirstStep), Fraction(0.5 + number * c_SecondStep))));
    }
    return samples;
}

void Measure(std::vector<SurfaceSample>& samples, const SurfaceView& other, const ClosestPoint& tree,
             double tolerance) {
    for (SurfaceSample& sample : samples) {
        sample.nearest = tree.To(sample.position);
        if (sample.nearest) {
            sample.nearestNormal = NormalOf(other, sample.nearest.face);
            sample.isFlipped = LooksAway(sample, tree, tolerance);
        }
    }
}

}  // namespace Nimb::Authoring
