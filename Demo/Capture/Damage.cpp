#include "Demo/Capture/Damage.h"

#include "Authoring/Surface/FaceEdges.h"
#include "Demo/Capture/Random.h"

#include <algorithm>
#include <utility>

namespace Nimb::Authoring::Capture {
namespace {

/// Smooth noise with deviation 1: normal values at the points of a cubic lattice, interpolated.
double Wave(const Point& p, std::uint64_t seed) {
    constexpr double cell = 0.04;
    const glm::dvec3 low = glm::floor(p / cell);
    const glm::dvec3 share = p / cell - low;
    double sum = 0, squares = 0;
    for (int corner = 0; corner < 8; ++corner) {
        const glm::ivec3 step(corner & 1, (corner >> 1) & 1, corner >> 2);
        const glm::ivec3 at = glm::ivec3(low) + step;
        double weight = 1;
        for (int axis = 0; axis < 3; ++axis) {
            weight *= step[axis] == 1 ? share[axis] : 1 - share[axis];
        }
        const auto key = (static_cast<std::uint64_t>(at.x + 4096) << 40) ^
                         (static_cast<std::uint64_t>(at.y + 4096) << 20) ^ static_cast<std::uint64_t>(at.z + 4096);
        sum += weight * Random(seed, key).Normal();
        squares += weight * weight;
    }
    return sum / std::sqrt(squares);
}

std::size_t Nearest(const std::vector<Point>& points, const Point& to) {
    std::size_t nearest = 0;
    for (std::size_t i = 1; i < points.size(); ++i) {
        if (glm::distance(points[i], to) < glm::distance(points[nearest], to)) {
            nearest = i;
        }
    }
    return nearest;
}

/// For each point, whether more than one border goes through it.
std::vector<bool> Pinched(const Surface& surface) {
    std::vector<int> borders(surface.points.size());
    ForEachEdge(SortedEdges(surface.faces), [&](const FaceEdge* edge, const FaceEdge* end) {
        if (end - edge == 1) {
            ++borders[edge->from];
            ++borders[edge->to];
        }
    });
    std::vector<bool> pinched;
    for (const int count : borders) {
        pinched.push_back(count > 2);
    }
    return pinched;
}

template <class Unwanted>
bool RemoveFaces(Surface& surface, const Unwanted& unwanted) {
    const auto kept = std::remove_if(surface.faces.begin(), surface.faces.end(), unwanted);
    const bool isAny = kept != surface.faces.end();
    surface.faces.erase(kept, surface.faces.end());
    return isAny;
}

void DropLoosePoints(Surface& surface) {
    std::vector<UINT32> numbers(surface.points.size(), 0xFFFFFFFF);
    std::vector<Point> kept;
    for (TarnMeshFace& face : surface.faces) {
        for (UINT32& v : face.v) {
            if (numbers[v] == 0xFFFFFFFF) {
                numbers[v] = static_cast<UINT32>(kept.size());
                kept.push_back(surface.points[v]);
            }
            v = numbers[v];
        }
    }
    surface.points = std::move(kept);
}

}  // namespace

void AddNoise(Surface& surface, double deviation, std::uint64_t seed) {
    const std::vector<Point> normals = NormalsOf(surface);
    Random random(seed);
    for (std::size_t i = 0; i < normals.size(); ++i) {
        const double noise = std::sqrt(0.75) * Wave(surface.points[i], seed) + std::sqrt(0.25) * random.Normal();
        surface.points[i] += deviation * noise * normals[i];
    }
}

void CutHoles(Surface& surface, const Solid& solid, std::size_t count, std::uint64_t seed) {
    Random random(seed);
    const std::vector<Point> normals = NormalsOf(surface);
    const std::vector<Point> hidden = solid.Hidden();
    for (std::size_t i = 0; i < count && !surface.points.empty(); ++i) {
        const bool isHidden = i < (count + 1) / 2 && i < hidden.size();
        const std::size_t middle = isHidden ? Nearest(surface.points, hidden[i]) : random.Below(surface.points.size());
        const Point centre = surface.points[middle];
        const double radius = 0.01 + 0.015 * random.Next();
        RemoveFaces(surface, [&](const TarnMeshFace& face) {
            const Point& p = surface.points[face.v[0]];
            return glm::distance(p, centre) < radius && glm::dot(normals[face.v[0]], normals[middle]) > 0;
        });
    }
    for (;;) {
        const std::vector<bool> pinched = Pinched(surface);
        const bool isAny = RemoveFaces(surface, [&](const TarnMeshFace& face) {
            return pinched[face.v[0]] || pinched[face.v[1]] || pinched[face.v[2]];
        });
        if (!isAny) {
            break;
        }
    }
    DropLoosePoints(surface);
}

}  // namespace Nimb::Authoring::Capture
