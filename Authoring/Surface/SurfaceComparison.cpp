#include "Authoring/Surface/SurfaceComparison.h"

#include "Authoring/Codec/Vectors.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Nimb::Authoring {
namespace {

constexpr double c_Infinite = std::numeric_limits<double>::infinity();

/// Of the peak's square: coordinates are floats, and what is computed from equal ones differs by less.
constexpr double c_Rounding = 1e-18;

/// How far away the other side of a surface may be to count as flipped, as a share of the source's size.
constexpr double c_FlipReach = 1.0 / 200;

double DiagonalOf(const SurfaceView& surface) {
    std::vector<Vec3> used;
    used.reserve(surface.faces.size() * 3);
    for (const TarnMeshFace& face : surface.faces) {
        for (const UINT32 vertex : face.v) {
            used.push_back(surface.positions.at(vertex));
        }
    }
    const Box box = BoundingBox(used);
    return glm::length(VectorOf(box.max) - VectorOf(box.min));
}

/// The value that `share` of all are no larger than. `values` not empty; gets another order.
double Percentile(std::vector<double>& values, double share) {
    const double rank = std::ceil(share * static_cast<double>(values.size()));
    const auto place = values.begin() + std::max(static_cast<std::ptrdiff_t>(rank) - 1, std::ptrdiff_t{0});
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

void MeasureVertices(const SurfaceView& from, const ClosestPoint& to, SurfaceDirection& direction) {
    std::vector<bool> isUsed(from.positions.size());
    for (const TarnMeshFace& face : from.faces) {
        for (const UINT32 vertex : face.v) {
            isUsed[vertex] = true;
        }
    }
    direction.vertexDistances.resize(from.positions.size());
    for (std::size_t i = 0; i < isUsed.size(); ++i) {
        if (isUsed[i]) {
            const double distance = std::sqrt(to.To(VectorOf(from.positions[i])).squaredDistance);
            direction.vertexDistances[i] = static_cast<float>(distance);
            direction.distance.largest = std::max(direction.distance.largest, distance);
        }
    }
}

void Summarise(SurfaceDirection& direction, bool isFromSource) {
    const std::vector<SurfaceSample>& samples = direction.samples;
    if (samples.empty()) {
        return;
    }
    std::vector<double> distances;
    distances.reserve(samples.size());
    double sum = 0, squares = 0, planeSquares = 0;
    std::size_t flipped = 0;
    for (const SurfaceSample& sample : samples) {
        distances.push_back(std::sqrt(sample.nearest.squaredDistance));
        sum += distances.back();
        squares += sample.nearest.squaredDistance;
        const glm::dvec3& normal = isFromSource ? sample.normal : sample.nearestNormal;
        const double along = glm::dot(sample.nearest.position - sample.position, normal);
        planeSquares += sample.nearest ? along * along : c_Infinite;
        flipped += sample.isFlipped ? 1 : 0;
    }
    const auto count = static_cast<double>(samples.size());
    DistanceFigures& figures = direction.distance;
    figures.mean = sum / count;
    figures.rms = std::sqrt(squares / count);
    figures.percentile95 = Percentile(distances, 0.95);
    figures.percentile99 = Percentile(distances, 0.99);
    figures.largest = std::max(figures.largest, *std::max_element(distances.begin(), distances.end()));
    direction.planeRms = std::sqrt(planeSquares / count);
    direction.flippedShare = static_cast<double>(flipped) / count;
}

DistanceFigures Larger(const DistanceFigures& a, const DistanceFigures& b) {
    return {std::max(a.mean, b.mean), std::max(a.rms, b.rms), std::max(a.percentile95, b.percentile95),
            std::max(a.percentile99, b.percentile99), std::max(a.largest, b.largest)};
}

}  // namespace

double Psnr(double peak, double meanSquare) {
    return meanSquare > c_Rounding * peak * peak ? 10 * std::log10(peak * peak / meanSquare) : c_Infinite;
}

SurfaceComparison CompareSurfaces(const SurfaceView& source, const SurfaceView& other,
                                  const SurfaceComparisonOptions& options) {
    const ClosestPoint toSource(source.positions, source.faces), toOther(other.positions, other.faces);
    SurfaceComparison comparison;
    comparison.peak = DiagonalOf(source);
    const double tolerance = comparison.peak * c_FlipReach;

    comparison.fromSource.samples = SpreadSamples(source, options.samples);
    Measure(comparison.fromSource.samples, other, toOther, tolerance);
    MeasureVertices(source, toOther, comparison.fromSource);
    Summarise(comparison.fromSource, true);

    comparison.fromOther.samples = SpreadSamples(other, options.samples);
    Measure(comparison.fromOther.samples, source, toSource, tolerance);
    MeasureVertices(other, toSource, comparison.fromOther);
    Summarise(comparison.fromOther, false);

    comparison.distance = Larger(comparison.fromSource.distance, comparison.fromOther.distance);
    const double planeRms = std::max(comparison.fromSource.planeRms, comparison.fromOther.planeRms);
    comparison.pointPsnr = Psnr(comparison.peak, comparison.distance.rms * comparison.distance.rms);
    comparison.planePsnr = Psnr(comparison.peak, planeRms * planeRms);
    return comparison;
}

}  // namespace Nimb::Authoring
