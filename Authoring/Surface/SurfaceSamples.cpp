#include "Authoring/Surface/SurfaceSamples.h"

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

TriangleCorners CornersOf(const SurfaceView& surface, UINT32 face) {
    for (const UINT32 vertex : surface.faces[face].v) {
        if (vertex >= surface.positions.size()) {
            throw std::invalid_argument("a face refers to vertex " + std::to_string(vertex) + " of " +
                                        std::to_string(surface.positions.size()));
        }
    }
    return TriangleOf(surface.positions, surface.faces[face]);
}

SurfaceSample SampleAt(const SurfaceView& surface, UINT32 face, const glm::dvec3& weights) {
    SurfaceSample sample;
    sample.face = face;
    sample.weights = weights;
    sample.position = PointAt(CornersOf(surface, face), weights);
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

glm::dvec3 SpreadWeights(std::size_t number) {
    const auto fraction = [](double value) { return value - std::floor(value); };
    const auto order = static_cast<double>(number + 1);
    double u = fraction(0.5 + order * c_FirstStep), v = fraction(0.5 + order * c_SecondStep);
    if (u + v > 1) {  // the other half of the unit square
        u = 1 - u;
        v = 1 - v;
    }
    return {1 - u - v, u, v};
}

glm::dvec3 NormalOf(const SurfaceView& surface, UINT32 face) {
    const glm::dvec3 area = AreaVector(CornersOf(surface, face));
    const double length = glm::length(area);
    return length > 0 ? area / length : glm::dvec3(0);
}

std::vector<SurfaceSample> SpreadSamples(const SurfaceView& surface, std::size_t count) {
    std::vector<double> areaUpTo;
    areaUpTo.reserve(surface.faces.size());
    double total = 0;
    for (UINT32 face = 0; face < surface.faces.size(); ++face) {
        total += glm::length(AreaVector(CornersOf(surface, face)));
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
        samples.push_back(SampleAt(surface, face, SpreadWeights(i)));
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
