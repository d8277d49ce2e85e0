// Pictures for surfaces that have colours at their vertices in place of a texture.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Authoring/Source/Charts.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// RGBA in linear light, 0 to 1.
using Colour = std::array<float, 4>;

constexpr Colour c_White = {1, 1, 1, 1};

/// What has to be drawn. Alpha is not drawn.
struct Painting {
    struct Vertex {
        UINT32 x, y;  ///< in the middle of this pixel
        float red, green, blue;
    };

    /// The area reserved for a chart.
    struct Tile {
        UINT32 x, y, width, height;
        UINT32 begin, end;  ///< its vertices
    };

    PictureSize size;
    UINT32 unit = 0;  ///< pixels along the shorter edges of a triangle
    std::vector<Tile> tiles;
    std::vector<Vertex> vertices;
    std::vector<TarnMeshFace> faces;  ///< none for a chart of one point
};

/// A surface that is to be painted. `texCoords` is what Paint fills in.
struct PaintedSurface {
    Charts charts;
    std::vector<Colour> colours;  ///< for each vertex of the charts
    std::vector<Vec2> texCoords;
};

/// Cuts the surface into charts. `colours`: for each vertex of the input.
PaintedSurface SurfaceOf(const std::vector<TarnMeshFace>& faces, const std::vector<Colour>& colours);

/// Finds room for the surfaces' charts in one picture: of the size given, with triangles as large as fit into it, or
/// of a size that the triangles need. Each colour is multiplied by `tint`. Throws InputError, beginning with `name`,
/// for surfaces that do not fit.
Painting Paint(const std::vector<PaintedSurface*>& surfaces, const Colour& tint, const std::optional<PictureSize>& size,
               const std::string& name);

/// Colours are interpolated in linear light and stored as sRGB. Each chart's edge colours go on for two pixels around
/// it, and the rest of its tile has its mean colour. Tiles are whole blocks of 2 x 2 pixels: neither filtering nor
/// video with halved colour resolution mixes charts.
Image Draw(const Painting& painting);

}  // namespace Nimb::Authoring
