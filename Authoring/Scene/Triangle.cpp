#include "Authoring/Scene/Triangle.h"

namespace Nimb::Authoring {
namespace {

SurfacePoint Found(const glm::dvec3& p, const glm::dvec3& weights, const glm::dvec3& position) {
    SurfacePoint out;
    out.weights = weights;
    out.position = position;
    const glm::dvec3 offset = p - position;
    out.squaredDistance = glm::dot(offset, offset);
    return out;
}

}  // namespace

SurfacePoint ClosestPointOfTriangle(const glm::dvec3& p, const TriangleCorners& t) {
    const auto& [a, b, c] = t;
    // By the region of its plane that the point projects to (Ericson, "Real-Time Collision Detection", 5.1.5).
    const glm::dvec3 ab = b - a, ac = c - a, ap = p - a;
    const double d1 = glm::dot(ab, ap), d2 = glm::dot(ac, ap);
    if (d1 <= 0 && d2 <= 0) {
        return Found(p, {1, 0, 0}, a);
    }
    const glm::dvec3 bp = p - b;
    const double d3 = glm::dot(ab, bp), d4 = glm::dot(ac, bp);
    if (d3 >= 0 && d4 <= d3) {
        return Found(p, {0, 1, 0}, b);
    }
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) {
        const double share = d1 / (d1 - d3);
        return Found(p, {1 - share, share, 0}, a + ab * share);
    }
    const glm::dvec3 cp = p - c;
    const double d5 = glm::dot(ab, cp), d6 = glm::dot(ac, cp);
    if (d6 >= 0 && d5 <= d6) {
        return Found(p, {0, 0, 1}, c);
    }
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) {
        const double share = d2 / (d2 - d6);
        return Found(p, {1 - share, 0, share}, a + ac * share);
    }
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0 && d4 - d3 >= 0 && d5 - d6 >= 0) {
        const double share = (d4 - d3) / ((d4 - d3) + (d5 - d6));
        return Found(p, {0, 1 - share, share}, b + (c - b) * share);
    }
    const double sum = va + vb + vc;
    const double v = vb / sum, w = vc / sum;
    return Found(p, {1 - v - w, v, w}, a + ab * v + ac * w);
}

}  // namespace Nimb::Authoring
