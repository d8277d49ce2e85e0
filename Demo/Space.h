// Points and affine maps for the demo figure, in double precision.
#pragma once

#include <glm/glm.hpp>
#include <glm/gtc/constants.hpp>
#include <glm/gtx/euler_angles.hpp>
#include <glm/gtx/transform.hpp>

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring::Demo {

constexpr double c_Pi = glm::pi<double>();

using Point = glm::dvec3;
using Transform = glm::dmat4;

inline Point Apply(const Transform& m, const Point& p) {
    return Point(m * glm::dvec4(p, 1));
}
inline Point Turned(const Transform& m, const Point& direction) {
    return glm::dmat3(m) * direction;
}

inline Transform Moved(const Point& by) {
    return glm::translate(by);
}
inline Transform Scaled(const Point& by) {
    return glm::scale(by);
}
inline Transform TurnedX(double angle) {
    return glm::eulerAngleX(angle);
}
inline Transform TurnedY(double angle) {
    return glm::eulerAngleY(angle);
}
inline Transform TurnedZ(double angle) {
    return glm::eulerAngleZ(angle);
}
inline Transform About(const Point& pivot, const Transform& m) {
    return Moved(pivot) * m * Moved(-pivot);
}

}  // namespace Nimb::Authoring::Demo
