#include "Authoring/Track/TexturedSurface.h"

#include "Authoring/Codec/Vectors.h"

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

ClosestPoint TreeOf(const std::vector<TexturedPiece>& pieces) {
    std::vector<Vec3> positions;
    std::vector<TarnMeshFace> faces;
    for (const TexturedPiece& piece : pieces) {
        const auto base = static_cast<UINT32>(positions.size());
        positions.insert(positions.end(), piece.positions.begin(), piece.positions.end());
        for (const TarnMeshFace& face : piece.faces) {
            faces.push_back({{face.v[0] + base, face.v[1] + base, face.v[2] + base}});
        }
    }
    return {positions, faces};
}

/// The pixels around a place along an axis, and their weights.
struct Span {
    std::array<std::size_t, 4> pixels;
    std::array<float, 4> weights;

    Span(double place, std::size_t count, TexturedSurface::Filter filter) {
        const double last = static_cast<double>(count - 1);
        const double at = std::clamp(place - 0.5, 0.0, last);
        const double first = std::floor(at);
        for (std::size_t i = 0; i < 4; ++i) {
            pixels[i] = static_cast<std::size_t>(std::clamp(first + static_cast<double>(i) - 1, 0.0, last));
        }
        const auto t = static_cast<float>(at - first);
        if (filter == TexturedSurface::Filter::Linear) {
            weights = {0, 1 - t, t, 0};
        } else {
            // Catmull and Rom, "A Class of Local Interpolating Splines", 1974.
            weights = {((2 - t) * t - 1) * t / 2, ((3 * t - 5) * t * t + 2) / 2, ((4 - 3 * t) * t + 1) * t / 2,
                       (t - 1) * t * t / 2};
        }
    }
};

}  // namespace

TexturedSurface::TexturedSurface(const std::vector<TexturedPiece>& pieces) : m_Nearest(TreeOf(pieces)) {
    for (const TexturedPiece& piece : pieces) {
        for (const TarnMeshFace& face : piece.faces) {
            m_Corners.push_back(TriangleOf(piece.positions, face));
            Chart& chart = m_Charts.emplace_back();
            chart.picture = &piece.picture;
            for (std::size_t i = 0; i < 3; ++i) {
                chart.corners[i] =
                    PlaceInPicture(piece.texCoords[face.v[i]], piece.picture.width, piece.picture.height);
            }
        }
    }
}

glm::vec4 TexturedSurface::Colour(std::size_t face, const glm::dvec3& weights, Filter filter) const {
    const Chart& chart = m_Charts[face];
    const glm::dvec2 place =
        chart.corners[0] * weights[0] + chart.corners[1] * weights[1] + chart.corners[2] * weights[2];
    const Image& image = *chart.picture;
    const Span x(place.x, image.width, filter), y(place.y, image.height, filter);
    glm::vec4 colour(0);
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            const BYTE* const p = image.Pixel(x.pixels[column], y.pixels[row]);
            colour += glm::vec4(p[0], p[1], p[2], p[3]) * (x.weights[column] * y.weights[row]);
        }
    }
    return glm::clamp(colour, 0.0F, 255.0F);
}

}  // namespace Nimb::Authoring
