// A surface with its pictures, and its colour at any point.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Image.h"
#include "Authoring/Surface/ClosestPoint.h"

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include <array>
#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// The part of a surface that shows one picture. Refers to what it is made of.
struct TexturedPiece {
    const std::vector<Vec3>& positions;
    const std::vector<Vec2>& texCoords;  ///< one for each position; (0, 0) is the picture's top left corner
    const std::vector<TarnMeshFace>& faces;
    const Image& picture;  ///< at least 1 x 1
};

/// Where texture coordinates are in a picture, in pixels from its top left corner: the first pixel's middle is at 0.5.
inline glm::dvec2 PlaceInPicture(const Vec2& t, std::size_t width, std::size_t height) {
    return {static_cast<double>(t.u) * static_cast<double>(width),
            static_cast<double>(t.v) * static_cast<double>(height)};
}

/// Keeps references to the pictures. Faces are numbered through all pieces. Any thread may ask.
class TexturedSurface {
public:
    /// std::invalid_argument for faces beyond the positions, or coordinates that are not finite.
    explicit TexturedSurface(const std::vector<TexturedPiece>& pieces);

    const ClosestPoint& Nearest() const { return m_Nearest; }
    std::size_t FaceCount() const { return m_Corners.size(); }
    const TriangleCorners& CornersOf(std::size_t face) const { return m_Corners[face]; }

    /// RGBA, 0 to 255, as players show it.
    glm::vec4 Colour(std::size_t face, const glm::dvec3& weights) const;

private:
    struct Chart {
        std::array<glm::dvec2, 3> corners;  // in pixels
        const Image* picture;
    };

    std::vector<TriangleCorners> m_Corners;
    std::vector<Chart> m_Charts;
    ClosestPoint m_Nearest;
};

}  // namespace Nimb::Authoring
