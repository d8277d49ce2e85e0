// Small dense symmetric systems, as least-squares fits make them.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace Nimb::Authoring {

/// Normal equations of `N` unknowns with `Rhs` right-hand sides: sums of weight x row x row and weight x row x value.
template <std::size_t N, std::size_t Rhs>
class NormalEquations {
public:
    void Add(const std::array<double, N>& row, const std::array<double, Rhs>& values, double weight) {
        for (std::size_t i = 0; i < N; ++i) {
            const double scaled = weight * row[i];
            for (std::size_t j = 0; j <= i; ++j) {
                m_Matrix[i][j] += scaled * row[j];
            }
            for (std::size_t k = 0; k < Rhs; ++k) {
                m_Values[i][k] += scaled * values[k];
            }
        }
    }

    /// Pulls unknown `i` toward zero, so that what the data does not determine stays small.
    void AddRidge(std::size_t i, double weight) { m_Matrix[i][i] += weight; }

    /// Cholesky decomposition in place. An unknown that nothing determines comes out as zero.
    std::array<std::array<double, Rhs>, N> Solve() {
        for (std::size_t i = 0; i < N; ++i) {
            const double scale = m_Matrix[i][i];
            for (std::size_t j = 0; j < i; ++j) {
                for (std::size_t k = 0; k < j; ++k) {
                    m_Matrix[i][j] -= m_Matrix[i][k] * m_Matrix[j][k];
                }
                m_Matrix[i][j] *= m_Matrix[j][j];
                m_Matrix[i][i] -= m_Matrix[i][j] * m_Matrix[i][j];
            }
            // The diagonal holds reciprocals.
            m_Matrix[i][i] = m_Matrix[i][i] > 1e-12 * scale ? 1.0 / std::sqrt(m_Matrix[i][i]) : 0.0;
        }
        std::array<std::array<double, Rhs>, N> x = m_Values;
        for (std::size_t k = 0; k < Rhs; ++k) {
            for (std::size_t i = 0; i < N; ++i) {
                for (std::size_t j = 0; j < i; ++j) {
                    x[i][k] -= m_Matrix[i][j] * x[j][k];
                }
                x[i][k] *= m_Matrix[i][i];
            }
            for (std::size_t i = N; i-- > 0;) {
                for (std::size_t j = i + 1; j < N; ++j) {
                    x[i][k] -= m_Matrix[j][i] * x[j][k];
                }
                x[i][k] *= m_Matrix[i][i];
            }
        }
        return x;
    }

private:
    std::array<std::array<double, N>, N> m_Matrix{};  // lower triangle
    std::array<std::array<double, Rhs>, N> m_Values{};
};

}  // namespace Nimb::Authoring
