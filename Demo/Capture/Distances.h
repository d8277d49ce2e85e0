// Signed distances of simple bodies, and their smooth union.
#pragma once

#include "Demo/Space.h"

namespace Nimb::Authoring::Capture {

using Demo::Point;

/// A capsule with two radii: the hull of a sphere around the origin and one at (0, `length`, 0). `length` must be more
/// than the radii's difference.
double RoundCone(const Point& p, double length, double radius, double topRadius);

/// Close to the true distance near the surface only.
double Ellipsoid(const Point& p, const Point& radii);

/// The smaller one of two distances, with a fillet of about `width` where they are as large.
inline double SmoothMin(double a, double b, double width) {
    const double overlap = std::max(width - std::abs(a - b), 0.0);
    return std::min(a, b) - overlap * overlap / (4 * width);
}
inline double SmoothMax(double a, double b, double width) {
    return -SmoothMin(-a, -b, width);
}

/// From 0 at `low` to 1 at `high`, without a kink.
inline double Ramp(double low, double high, double x) {
    const double t = std::clamp((x - low) / (high - low), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

}  // namespace Nimb::Authoring::Capture
