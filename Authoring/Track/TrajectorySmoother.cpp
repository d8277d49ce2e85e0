#include "Authoring/Track/TrajectorySmoother.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

constexpr double c_Smoothness = 3;  // halves noise that is new in every frame

constexpr double c_AcrossNormal = 3;  // times the limit along it
constexpr int c_Reweightings = 4;
constexpr double c_LargestWeight = 1e6;

}  // namespace

TrajectorySmoother::TrajectorySmoother(std::size_t frames)
    : m_Penalty(frames), m_Factor(frames), m_Weights(frames), m_Smooth(frames) {
    constexpr std::array<double, c_Order + 1> difference{-1, 3, -3, 1};
    for (std::size_t first = 0; first + c_Order < frames; ++first) {
        for (std::size_t i = 0; i <= c_Order; ++i) {
            for (std::size_t k = 0; k <= i; ++k) {
                m_Penalty[first + i][i - k] += c_Smoothness * difference[i] * difference[k];
            }
        }
    }
}

const Points& TrajectorySmoother::Smooth(const Points& way, const Points& normals, double most) {
    std::fill(m_Weights.begin(), m_Weights.end(), 1.0);
    Solve(way);
    for (int i = 0; i < c_Reweightings && Reweight(way, normals, most); ++i) {
        Solve(way);
    }
    return m_Smooth;
}

/// (W + P) x = W p, by a Cholesky factor.
void TrajectorySmoother::Solve(const Points& way) {
    for (std::size_t i = 0; i < way.size(); ++i) {
        Row& row = m_Factor[i];
        const std::size_t reach = std::min(i, c_Order);
        glm::dvec3 right = m_Weights[i] * way[i];
        double diagonal = m_Weights[i] + m_Penalty[i][0];
        for (std::size_t back = reach; back > 0; --back) {
            const Row& other = m_Factor[i - back];
            double value = m_Penalty[i][back];
            for (std::size_t further = back + 1; further <= reach; ++further) {
                value -= row[further] * other[further - back];
            }
            row[back] = value / other[0];
            diagonal -= row[back] * row[back];
            right -= row[back] * m_Smooth[i - back];
        }
        row[0] = std::sqrt(diagonal);
        m_Smooth[i] = right / row[0];
    }
    for (std::size_t i = way.size(); i-- > 0;) {
        m_Smooth[i] /= m_Factor[i][0];
        for (std::size_t back = 1; back <= std::min(i, c_Order); ++back) {
            m_Smooth[i - back] -= m_Factor[i][back] * m_Smooth[i];
        }
    }
}

/// Frames that are left too far aside count for more. False when there are none.
bool TrajectorySmoother::Reweight(const Points& way, const Points& normals, double most) {
    bool any = false;
    for (std::size_t i = 0; i < way.size(); ++i) {
        const glm::dvec3 move = m_Smooth[i] - way[i];
        const double along = std::abs(glm::dot(move, normals[i]));
        const double off = std::max(along, glm::length(move) / c_AcrossNormal) / most;
        if (off > 1) {
            m_Weights[i] = std::min(m_Weights[i] * off * off, c_LargestWeight);
            any = true;
        }
    }
    return any;
}

}  // namespace Nimb::Authoring
