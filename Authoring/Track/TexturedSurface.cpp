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

/// The two pixels around a place along an axis, and the second one's share.
struct Span {
    std::size_t first, second;
    float share;

    Span(double place, std::size_t count) {
        const double last = static_cast<double>(count - 1);
        const double at = std::clamp(place - 0.5, 0.0, last);
        first = static_cast<std::size_t>(at);
        second = std::min(first + 1, count - 1);
        share = static_cast<float>(at - static_cast<double>(first));
    }
};

glm::vec4 ColourOf(const BYTE* pixel) {
    return glm::vec4(pixel[0], pixel[1], pixel[2], pixel[3]);
}

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

glm::vec4 TexturedSurface::Colour(std::size_t face, const glm::dvec3& weights) const {
    const Chart& chart = m_Charts[face];
    const glm::dvec2 place =
        chart.corners[0] * weights[0] + chart.corners[1] * weights[1] + chart.corners[2] * weights[2];
    const Image& image = *chart.picture;
    const Span x(place.x, image.width), y(place.y, image.height);
    const auto row = [&](std::size_t at) {
        return glm::mix(ColourOf(image.Pixel(x.first, at)), ColourOf(image.Pixel(x.second, at)), x.share);
    };
    return glm::mix(row(y.first), row(y.second), y.share);
}

}  // namespace Nimb::Authoring
