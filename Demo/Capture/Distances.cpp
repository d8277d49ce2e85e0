#include "Demo/Capture/Distances.h"

namespace Nimb::Authoring::Capture {

double RoundCone(const Point& p, double length, double radius, double topRadius) {
    // In the half-plane through the axis: below the flank, above it, or beside it.
    const double sine = (radius - topRadius) / length;
    const double cosine = std::sqrt(1 - sine * sine);
    const double across = std::hypot(p.x, p.z);
    const double along = p.y * cosine - across * sine;
    if (along < 0) {
        return std::hypot(across, p.y) - radius;
    }
    if (along > cosine * length) {
        return std::hypot(across, p.y - length) - topRadius;
    }
    return across * cosine + p.y * sine - radius;
}

double Ellipsoid(const Point& p, const Point& radii) {
    const double value = glm::length(p / radii);
    const double gradient = glm::length(p / (radii * radii));
    return gradient > 0 ? value * (value - 1) / gradient : -std::min({radii.x, radii.y, radii.z});
}

}  // namespace Nimb::Authoring::Capture
