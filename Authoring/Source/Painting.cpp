#include "Authoring/Source/Painting.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/PictureStore.h"
#include "Authoring/Source/TextureSpace.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

namespace Nimb::Authoring {
namespace {

constexpr std::size_t c_Margin = 2;
constexpr std::size_t c_Units[] = {8, 7, 6, 5, 4, 3, 2};
constexpr std::size_t c_SideStep = 16;

// Beyond this size, triangles are drawn smaller, down to half the finest unit, before the picture becomes larger.
constexpr std::size_t c_UsualSide = 2048;
constexpr std::size_t c_UsualUnit = 4;

std::size_t TileSide(std::size_t cells, std::size_t unit) {
    return (std::max<std::size_t>(cells, 1) * unit + 1 + 2 * c_Margin + 1) / 2 * 2;
}

/// Tiles in rows, the highest first.
class Packer {
public:
    explicit Packer(const std::vector<PictureSize>& extents) : m_Extents(extents), m_Order(extents.size()) {
        std::iota(m_Order.begin(), m_Order.end(), std::size_t{0});
        std::stable_sort(m_Order.begin(), m_Order.end(), [&](std::size_t a, std::size_t b) {
            return std::pair(extents[a].height, extents[a].width) > std::pair(extents[b].height, extents[b].width);
        });
    }

    /// The height of all tiles in a picture of a width; `corners`, if not null, gets the tiles' upper left corners.
    std::size_t Pack(std::size_t unit, std::size_t width, std::vector<PictureSize>* pCorners) const {
        std::size_t x = 0, y = 0, rowHeight = 0;
        for (const std::size_t i : m_Order) {
            const PictureSize tile{TileSide(m_Extents[i].width, unit), TileSide(m_Extents[i].height, unit)};
            if (tile.width > width) {
                return SIZE_MAX;
            }
            if (x + tile.width > width) {
                y += rowHeight;
                x = rowHeight = 0;
            }
            rowHeight = std::max(rowHeight, tile.height);
            if (pCorners != nullptr) {
                (*pCorners)[i] = {x, y};
            }
            x += tile.width;
        }
        return y + rowHeight;
    }

    /// A picture that is about square; none when it would exceed `limit`.
    std::optional<PictureSize> SizeFor(std::size_t unit, std::size_t limit) const {
        for (std::size_t side = SideOfArea(unit); side <= limit; side += c_SideStep) {
            const std::size_t height = Pack(unit, side, nullptr);
            if (height <= side) {
                return PictureSize{side, (height + c_SideStep - 1) / c_SideStep * c_SideStep};
            }
        }
        return std::nullopt;
    }

private:
    std::size_t SideOfArea(std::size_t unit) const {
        std::size_t area = 0;
        for (const PictureSize& extent : m_Extents) {
            area += TileSide(extent.width, unit) * TileSide(extent.height, unit);
        }
        const auto side = static_cast<std::size_t>(std::sqrt(static_cast<double>(area)));
        return std::max(side / c_SideStep, std::size_t{1}) * c_SideStep;
    }

    const std::vector<PictureSize>& m_Extents;
    std::vector<std::size_t> m_Order;
};

struct Layout {
    PictureSize size;
    std::size_t unit = 0;  ///< 0: there is none
};

Layout ChooseLayout(const Packer& packer, const std::optional<PictureSize>& size) {
    for (const std::size_t limit : {c_UsualSide, c_LargestAtlas.width}) {
        for (const std::size_t unit : c_Units) {
            if (size) {
                if (packer.Pack(unit, size->width, nullptr) <= size->height) {
                    return {*size, unit};
                }
            } else if (unit >= c_UsualUnit || limit > c_UsualSide) {
                if (const std::optional<PictureSize> found = packer.SizeFor(unit, limit)) {
                    return {*found, unit};
                }
            }
        }
    }
    return {};
}

/// An 8-bit sRGB value of linear light.
BYTE Encoded(float linear) {
    constexpr std::size_t c_Steps = std::size_t{1} << 14;
    static const std::vector<BYTE> s_Table = [] {
        std::vector<BYTE> table(c_Steps + 1);
        for (std::size_t i = 0; i <= c_Steps; ++i) {
            table[i] = static_cast<BYTE>(std::lround(EncodedOf(static_cast<float>(i) / c_Steps) * 255));
        }
        return table;
    }();
    // Rounded by hand, since lround is a call for every pixel. NOLINTNEXTLINE(bugprone-incorrect-roundings)
    return s_Table[static_cast<std::size_t>(std::clamp(linear, 0.0F, 1.0F) * c_Steps + 0.5F)];
}

void SetPixel(Image& image, std::int64_t x, std::int64_t y, float red, float green, float blue) {
    BYTE* const pixel = image.Pixel(static_cast<std::size_t>(x), static_cast<std::size_t>(y));
    pixel[0] = Encoded(red);
    pixel[1] = Encoded(green);
    pixel[2] = Encoded(blue);
    pixel[3] = 255;
}

/// Draws a triangle, and around it a margin of `margin` pixels.
void DrawFace(const Painting& painting, const TarnMeshFace& face, std::int64_t margin, Image& image) {
    const Painting::Vertex* const corners[] = {&painting.vertices[face.v[0]], &painting.vertices[face.v[1]],
                                               &painting.vertices[face.v[2]]};
    const auto x = [&](std::size_t i) { return std::int64_t{corners[i % 3]->x}; };
    const auto y = [&](std::size_t i) { return std::int64_t{corners[i % 3]->y}; };
    const std::int64_t area = (x(1) - x(0)) * (y(2) - y(0)) - (x(2) - x(0)) * (y(1) - y(0));
    const std::int64_t sign = area < 0 ? -1 : 1, unit = painting.unit;
    for (std::int64_t py = std::min({y(0), y(1), y(2)}) - margin; py <= std::max({y(0), y(1), y(2)}) + margin; ++py) {
        for (std::int64_t px = std::min({x(0), x(1), x(2)}) - margin; px <= std::max({x(0), x(1), x(2)}) + margin;
             ++px) {
            // The share of each corner times the area; divided by the length of the edge, how far inside the pixel is.
            std::array<std::int64_t, 3> shares;
            for (std::size_t i = 0; i < 3; ++i) {
                shares[i] = sign * ((x(i + 1) - px) * (y(i + 2) - py) - (x(i + 2) - px) * (y(i + 1) - py));
            }
            if (*std::min_element(shares.begin(), shares.end()) < -margin * unit) {
                continue;
            }
            std::array<float, 3> weights;
            float sum = 0;
            for (std::size_t i = 0; i < 3; ++i) {
                weights[i] = static_cast<float>(std::max<std::int64_t>(shares[i], 0));
                sum += weights[i];
            }
            const auto mixed = [&](float Painting::Vertex::*channel) {
                return (weights[0] * corners[0]->*channel + weights[1] * corners[1]->*channel +
                        weights[2] * corners[2]->*channel) /
                       sum;
            };
            SetPixel(image, px, py, mixed(&Painting::Vertex::red), mixed(&Painting::Vertex::green),
                     mixed(&Painting::Vertex::blue));
        }
    }
}

/// The space between triangles costs the least in a video, and spoils the least, when it looks like them.
void FillTile(const Painting& painting, const Painting::Tile& tile, Image& image) {
    float red = 0, green = 0, blue = 0;
    for (UINT32 i = tile.begin; i < tile.end; ++i) {
        red += painting.vertices[i].red;
        green += painting.vertices[i].green;
        blue += painting.vertices[i].blue;
    }
    const float count = static_cast<float>(tile.end - tile.begin);
    for (UINT32 y = tile.y; y < tile.y + tile.height; ++y) {
        for (UINT32 x = tile.x; x < tile.x + tile.width; ++x) {
            SetPixel(image, x, y, red / count, green / count, blue / count);
        }
    }
}

/// Puts a chart into the tile with this corner.
void AddChart(PaintedSurface& surface, const Chart& chart, const Colour& tint, const PictureSize& corner,
              Painting& painting) {
    const bool isPoint = chart.extent.width == 0;
    const std::size_t unit = painting.unit;
    const auto place = [&](std::size_t start, int lattice) {
        return start + c_Margin + (isPoint ? unit / 2 : static_cast<std::size_t>(lattice) * unit);
    };
    const auto begin = static_cast<UINT32>(painting.vertices.size());
    for (UINT32 i = chart.begin; i < chart.end; ++i) {
        const std::size_t x = place(corner.width, surface.charts.points[i].x);
        const std::size_t y = place(corner.height, surface.charts.points[i].y);
        surface.texCoords.push_back({(static_cast<float>(x) + 0.5F) / static_cast<float>(painting.size.width),
                                     (static_cast<float>(y) + 0.5F) / static_cast<float>(painting.size.height)});
        if (!isPoint || i == chart.begin) {
            const Colour& colour = surface.colours[i];
            painting.vertices.push_back({static_cast<UINT32>(x), static_cast<UINT32>(y), colour[0] * tint[0],
                                         colour[1] * tint[1], colour[2] * tint[2]});
        }
    }
    painting.tiles.push_back({static_cast<UINT32>(corner.width), static_cast<UINT32>(corner.height),
                              static_cast<UINT32>(TileSide(chart.extent.width, unit)),
                              static_cast<UINT32>(TileSide(chart.extent.height, unit)), begin,
                              static_cast<UINT32>(painting.vertices.size())});
}

}  // namespace

PaintedSurface SurfaceOf(const std::vector<TarnMeshFace>& faces, const std::vector<Colour>& colours) {
    const bool isUniform =
        std::all_of(colours.begin(), colours.end(), [&](const Colour& colour) { return colour == colours.front(); });
    PaintedSurface surface;
    surface.charts = isUniform ? Collapse(faces) : Unfold(faces);
    surface.colours = Gather(colours, surface.charts.origin);
    return surface;
}

Painting Paint(const std::vector<PaintedSurface*>& surfaces, const Colour& tint, const std::optional<PictureSize>& size,
               const std::string& name) {
    std::vector<PictureSize> extents;
    for (const PaintedSurface* const surface : surfaces) {
        for (const Chart& chart : surface->charts.charts) {
            extents.push_back(chart.extent);
        }
    }
    const Packer packer(extents);
    const Layout layout = ChooseLayout(packer, size);
    if (layout.unit == 0) {
        throw InputError(name + ": too many triangles for vertex colours: they do not fit into a picture of " +
                         (size ? std::to_string(size->width) + "x" + std::to_string(size->height) +
                                     ", which is that of the first frame"
                               : std::to_string(c_LargestAtlas.width) + "x" + std::to_string(c_LargestAtlas.height)));
    }
    std::vector<PictureSize> corners(extents.size());
    packer.Pack(layout.unit, layout.size.width, &corners);

    Painting painting;
    painting.size = layout.size;
    painting.unit = static_cast<UINT32>(layout.unit);
    std::size_t tile = 0;
    for (PaintedSurface* const surface : surfaces) {
        surface->texCoords.clear();
        const auto base = static_cast<UINT32>(painting.vertices.size());
        for (const Chart& chart : surface->charts.charts) {
            AddChart(*surface, chart, tint, {corners[tile].width, corners[tile].height}, painting);
            ++tile;
        }
        for (const TarnMeshFace& face : surface->charts.faces) {
            if (painting.vertices.size() - base > 1) {
                painting.faces.push_back({{base + face.v[0], base + face.v[1], base + face.v[2]}});
            }
        }
    }
    return painting;
}

Image Draw(const Painting& painting) {
    Image image(painting.size.width, painting.size.height);
    for (std::size_t i = 3; i < image.rgba.size(); i += 4) {
        image.rgba[i] = 255;
    }
    for (const Painting::Tile& tile : painting.tiles) {
        FillTile(painting, tile, image);
    }
    // From outside to inside, so that margins never cover triangles, nor the nearer parts of other margins.
    for (std::int64_t margin = c_Margin; margin >= 0; --margin) {
        for (const TarnMeshFace& face : painting.faces) {
            DrawFace(painting, face, margin, image);
        }
    }
    return image;
}

}  // namespace Nimb::Authoring
