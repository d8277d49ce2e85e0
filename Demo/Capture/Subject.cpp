#include "Demo/Capture/Subject.h"

namespace Nimb::Authoring::Capture {

Point Outwards(const Solid& solid, const Point& p) {
    // Four corners of a cube are enough for a gradient.
    constexpr double step = 1e-3;
    Point sum(0);
    for (const Point& corner : {Point(1, -1, -1), Point(-1, -1, 1), Point(-1, 1, -1), Point(1, 1, 1)}) {
        sum += corner * solid.Distance(p + step * corner);
    }
    const double length = glm::length(sum);
    return length > 0 ? sum / length : Point(0, 1, 0);
}

Point OntoSurface(const Solid& solid, const Point& p) {
    return p - solid.Distance(p) * Outwards(solid, p);
}

}  // namespace Nimb::Authoring::Capture
