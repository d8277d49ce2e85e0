// Which texels of a picture belong to which triangle of its charts.
#pragma once

#include "Authoring/Scene/Atlas.h"
#include "Authoring/Scene/Triangle.h"

#include <glm/vec3.hpp>

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// A texel belongs to the triangle that its middle is in. Those just outside a chart, which filtering reaches from
/// inside it, belong to the nearest triangle. Where charts overlap, the first triangle has them. Takes 4 bytes a texel.
class ChartTexels {
public:
    /// Keeps nothing of `mesh`, whose positions do not matter.
    ChartTexels(const Mesh& mesh, const PictureSize& size);

    const PictureSize& Size() const { return m_Size; }
    std::size_t FaceCount() const { return m_Begin.size() - 1; }

    /// The weights of a triangle's corners in a texel's middle, and what they change by from texel to texel on each
    /// axis.
    struct Weights {
        glm::dvec3 middle, right, down;
    };

    /// Calls `visit(texel, weights)` for each texel of a triangle: its number in the picture, row by row, and weights,
    /// which are a little outside [0, 1] outside the triangle.
    template <class Visit>
    void ForEach(std::size_t face, const Visit& visit) const {
        const Weights first = WeightsOf(face);
        for (std::size_t i = m_Begin[face]; i < m_Begin[face + 1]; ++i) {
            visit(std::size_t{m_Texels[i]}, WeightsOf(face, m_Texels[i], first));
        }
    }

private:
    Weights WeightsOf(std::size_t face) const;
    Weights WeightsOf(std::size_t face, std::size_t texel, const Weights& first) const;

    const PictureSize m_Size;
    std::vector<TriangleCorners> m_Corners;  // in pixels; z is 0
    std::vector<UINT32> m_Texels;            // by triangle
    std::vector<std::size_t> m_Begin;        // of each triangle in m_Texels, and the end
};

}  // namespace Nimb::Authoring
