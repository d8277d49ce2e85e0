#include "Authoring/Track/TexturedSurface.h"

#include "Authoring/Codec/Vectors.h"

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

glm::vec4 PixelOf(const Image& image, std::size_t x, std::size_t y) {
    const BYTE* const p = image.Pixel(x, y);
    return {p[0], p[1], p[2], p[3]};
}

/// The pixels on both sides of a place along an axis, and the share of the second.
struct Span {
    std::size_t first, second;
    float share;

    Span(double place, std::size_t count) {
        const double at = std::clamp(place - 0.5, 0.0, static_cast<double>(count - 1));
        first = static_cast<std::size_t>(at);
        second = std::min(first + 1, count - 1);
        share = static_cast<float>(at - static_cast<double>(first));
    }
};

}  // namespace

TexturedSurface::TexturedSurface(const std::vector<TexturedPiece>& pieces) : m_Nearest(TreeOf(pieces)) {
    for (const TexturedPiece& piece : pieces) {
        for (const TarnMeshFace& face : piece.faces) {
            Corners& corners = m_Corners.emplace_back();
            Chart& chart = m_Charts.emplace_back();
            chart.picture = &piece.picture;
            for (std::size_t i = 0; i < 3; ++i) {
                corners[i] = VectorOf(piece.positions[face.v[i]]);
                chart.corners[i] =
                    PlaceInPicture(piece.texCoords[face.v[i]], piece.picture.width, piece.picture.height);
            }
        }
    }
}

glm::vec4 TexturedSurface::Colour(std::size_t face, const glm::dvec3& weights) const {
    const Chart& chart = m_Charts[face];
    const glm::dvec2 place =
        chart.corners[0] * weights[0] + chart.corners[1] * weights[1] + chart.corners[2] * weights[2];
    const Image& image = *chart.picture;
    const Span x(place.x, image.width), y(place.y, image.height);
    const glm::vec4 top =
        PixelOf(image, x.first, y.first) * (1 - x.share) + PixelOf(image, x.second, y.first) * x.share;
    const glm::vec4 bottom =
        PixelOf(image, x.first, y.second) * (1 - x.share) + PixelOf(image, x.second, y.second) * x.share;
    return top * (1 - y.share) + bottom * y.share;
}

glm::dvec3 NormalOf(const TexturedSurface::Corners& corners) {
    return glm::cross(corners[1] - corners[0], corners[2] - corners[0]);
}

}  // namespace Nimb::Authoring
