#include "Bench/Track/Gaps.h"

#include "Authoring/Codec/Vectors.h"
#include "Authoring/Surface/ClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace Bench {
namespace {

using namespace Nimb::Authoring;

Gap GapFrom(const Mesh& from, const Mesh& to) {
    const ClosestPoint surface(to.positions, to.faces);
    std::vector<double> distances;
    const auto measure = [&](const glm::dvec3& p) { distances.push_back(std::sqrt(surface.To(p).squaredDistance)); };
    for (const Vec3& p : from.positions) {
        measure(VectorOf(p));
    }
    for (const TarnMeshFace& face : from.faces) {
        measure((VectorOf(from.positions[face.v[0]]) + VectorOf(from.positions[face.v[1]]) +
                 VectorOf(from.positions[face.v[2]])) /
                3.0);
    }
    std::sort(distances.begin(), distances.end());
    const auto at = [&](std::size_t percent) { return distances[(distances.size() - 1) * percent / 100]; };
    const double sum = std::accumulate(distances.begin(), distances.end(), 0.0);
    return {sum / static_cast<double>(distances.size()), at(95), at(99), distances.back()};
}

}  // namespace

Gap GapBetween(const Mesh& a, const Mesh& b) {
    const Gap there = GapFrom(a, b), back = GapFrom(b, a);
    return {std::max(there.mean, back.mean), std::max(there.p95, back.p95), std::max(there.p99, back.p99),
            std::max(there.largest, back.largest)};
}

void Gaps::Add(const Gap& gap) {
    m_Sum.mean += gap.mean;
    m_Sum.p95 += gap.p95;
    m_Sum.p99 += gap.p99;
    m_Sum.largest = std::max(m_Sum.largest, gap.largest);
    ++m_Count;
}

Gap Gaps::Mean() const {
    const auto count = static_cast<double>(std::max<std::size_t>(m_Count, 1));
    return {m_Sum.mean / count, m_Sum.p95 / count, m_Sum.p99 / count, m_Sum.largest};
}

}  // namespace Bench
