#include "Demo/Capture/Unwrap.h"

#include "Demo/Capture/ChartGrowth.h"

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>

namespace Nimb::Authoring::Capture {
namespace {

/// A patch laid into the plane, its box as small as turning makes it, from (0, 0).
struct Flat {
    std::vector<UINT32> points;  ///< of the surface
    std::vector<glm::dvec2> at;
    glm::dvec2 extent{0};
};

glm::dvec2 Turn(const glm::dvec2& p, double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {c * p.x - s * p.y, s * p.x + c * p.y};
}

Flat Flatten(const Surface& surface, const Patch& patch) {
    Flat flat;
    for (const UINT32 face : patch.faces) {
        flat.points.insert(flat.points.end(), surface.faces[face].v, surface.faces[face].v + 3);
    }
    std::sort(flat.points.begin(), flat.points.end());
    flat.points.erase(std::unique(flat.points.begin(), flat.points.end()), flat.points.end());
    constexpr int angles = 12;
    double least = std::numeric_limits<double>::infinity();
    for (int i = 0; i < angles; ++i) {
        std::vector<glm::dvec2> at;
        glm::dvec2 low(1e9), high(-1e9);
        for (const UINT32 point : flat.points) {
            at.push_back(Turn(patch.Project(surface.points[point]), i * Demo::c_Pi / angles));
            low = glm::min(low, at.back());
            high = glm::max(high, at.back());
        }
        const glm::dvec2 extent = high - low;
        if (extent.x * extent.y < least && extent.x >= extent.y) {
            least = extent.x * extent.y;
            for (glm::dvec2& p : at) {
                p -= low;
            }
            flat.at = std::move(at);
            flat.extent = extent;
        }
    }
    return flat;
}

/// Puts charts down one after the other, tallest first, each where it comes to lie lowest on those before it.
class Packing {
public:
    Packing(const std::vector<Flat>& charts, std::size_t size) : m_Charts(charts), m_Size(size) {
        m_Order.resize(charts.size());
        std::iota(m_Order.begin(), m_Order.end(), std::size_t{0});
        std::stable_sort(m_Order.begin(), m_Order.end(),
                         [&](std::size_t a, std::size_t b) { return charts[a].extent.y > charts[b].extent.y; });
        m_Corners.resize(charts.size());
        double area = 0;
        for (const Flat& chart : charts) {
            area += chart.extent.x * chart.extent.y;
        }
        double low = 0, high = 1.1 * static_cast<double>(size) / std::sqrt(std::max(area, 1e-12));
        constexpr int rounds = 16;
        for (int i = 0; i < rounds; ++i) {
            const double middle = (low + high) / 2;
            (Fits(middle) ? low : high) = middle;
        }
        m_Scale = low;
        Fits(m_Scale);
    }

    /// In texels.
    glm::dvec2 Place(std::size_t chart, const glm::dvec2& p) const { return m_Corners[chart] + p * m_Scale; }

private:
    static constexpr std::size_t c_Column = 4;  ///< texels

    bool Fits(double scale) {
        std::vector<double> tops(m_Size / c_Column, 0.0);
        for (const std::size_t i : m_Order) {
            const glm::dvec2 extent = glm::ceil(m_Charts[i].extent * scale) + 2 * c_ChartPadding;
            const auto columns = static_cast<std::size_t>(std::ceil(extent.x / c_Column));
            std::size_t best = 0;
            double lowest = std::numeric_limits<double>::infinity();
            for (std::size_t first = 0; first + columns <= tops.size(); ++first) {
                const auto begin = tops.begin() + static_cast<std::ptrdiff_t>(first);
                const double top = *std::max_element(begin, begin + static_cast<std::ptrdiff_t>(columns));
                if (top < lowest) {
                    lowest = top;
                    best = first;
                }
            }
            if (lowest + extent.y > static_cast<double>(m_Size)) {
                return false;
            }
            m_Corners[i] = glm::dvec2(static_cast<double>(best * c_Column), lowest) + c_ChartPadding;
            std::fill_n(tops.begin() + static_cast<std::ptrdiff_t>(best), columns, lowest + extent.y);
        }
        return true;
    }

    const std::vector<Flat>& m_Charts;
    const std::size_t m_Size;
    std::vector<std::size_t> m_Order;
    std::vector<glm::dvec2> m_Corners;
    double m_Scale = 0;
};

}  // namespace

Unwrapped Unwrap(const Surface& surface, std::size_t size, std::uint64_t seed) {
    const std::vector<Patch> patches = GrowPatches(surface, seed);
    std::vector<Flat> charts;
    for (const Patch& patch : patches) {
        charts.push_back(Flatten(surface, patch));
    }
    const Packing packing(charts, size);
    Unwrapped out;
    out.charts = charts.size();
    out.faces.resize(surface.faces.size());
    for (std::size_t i = 0; i < charts.size(); ++i) {
        const auto first = static_cast<UINT32>(out.origin.size());
        const std::vector<UINT32>& points = charts[i].points;
        for (std::size_t k = 0; k < points.size(); ++k) {
            const glm::dvec2 at = packing.Place(i, charts[i].at[k]) / static_cast<double>(size);
            out.origin.push_back(points[k]);
            out.texCoords.push_back({static_cast<float>(at.x), static_cast<float>(1 - at.y)});
        }
        for (const UINT32 face : patches[i].faces) {
            for (std::size_t k = 0; k < 3; ++k) {
                const auto found = std::lower_bound(points.begin(), points.end(), surface.faces[face].v[k]);
                out.faces[face].v[k] = first + static_cast<UINT32>(found - points.begin());
            }
        }
    }
    return out;
}

}  // namespace Nimb::Authoring::Capture
