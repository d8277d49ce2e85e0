#include "Demo/Capture/Bake.h"

#include <algorithm>
#include <array>

namespace Nimb::Authoring::Capture {
namespace {

/// Calls back with the texel and the weights of the corners, which are in texels.
template <class Paint>
void ForTexels(const std::array<glm::dvec2, 3>& corners, std::size_t size, const Paint& paint) {
    const glm::dvec2 &a = corners[0], &b = corners[1], &c = corners[2];
    const double area = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    if (area == 0) {
        return;
    }
    const auto low = glm::floor(glm::min(a, glm::min(b, c)) - 0.5), high = glm::ceil(glm::max(a, glm::max(b, c)) - 0.5);
    const auto last = static_cast<double>(size) - 1;
    constexpr double tolerance = -1e-6;
    for (double y = std::max(low.y, 0.0); y <= std::min(high.y, last); ++y) {
        for (double x = std::max(low.x, 0.0); x <= std::min(high.x, last); ++x) {
            const glm::dvec2 p(x + 0.5, y + 0.5);
            const double wb = ((p.x - a.x) * (c.y - a.y) - (p.y - a.y) * (c.x - a.x)) / area;
            const double wc = ((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x)) / area;
            if (wb >= tolerance && wc >= tolerance && wb + wc <= 1 - tolerance) {
                paint(static_cast<std::size_t>(x), static_cast<std::size_t>(y), Point(1 - wb - wc, wb, wc));
            }
        }
    }
}

/// Texels without a colour get the mean of those around them that have one.
void GrowColours(Image& image, std::vector<bool>& isPainted) {
    const std::vector<bool> before = isPainted;
    for (std::size_t y = 0; y < image.height; ++y) {
        for (std::size_t x = 0; x < image.width; ++x) {
            if (before[y * image.width + x]) {
                continue;
            }
            std::array<unsigned, 4> sum{};
            unsigned count = 0;
            for (std::size_t v = y == 0 ? 0 : y - 1; v <= std::min(y + 1, image.height - 1); ++v) {
                for (std::size_t u = x == 0 ? 0 : x - 1; u <= std::min(x + 1, image.width - 1); ++u) {
                    if (before[v * image.width + u]) {
                        for (std::size_t channel = 0; channel < 4; ++channel) {
                            sum[channel] += image.Pixel(u, v)[channel];
                        }
                        ++count;
                    }
                }
            }
            for (std::size_t channel = 0; channel < 4 && count > 0; ++channel) {
                image.Pixel(x, y)[channel] = static_cast<BYTE>((sum[channel] + count / 2) / count);
            }
            isPainted[y * image.width + x] = count > 0;
        }
    }
}

}  // namespace

Image Bake(const Unwrapped& charts, const Surface& surface, const Solid& solid, std::size_t size, double shading) {
    Image image(size, size);
    for (std::size_t i = 0; i < size * size; ++i) {
        Demo::SetPixel(image, i % size, i / size, Colour(0.2));
    }
    std::vector<bool> isPainted(size * size);
    const std::vector<Point> normals = NormalsOf(surface);
    for (std::size_t f = 0; f < charts.faces.size(); ++f) {
        std::array<glm::dvec2, 3> corners;
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec2& at = charts.texCoords[charts.faces[f].v[i]];
            corners[i] = glm::dvec2(at.u, at.v) * static_cast<double>(size);
        }
        const UINT32* const v = surface.faces[f].v;
        ForTexels(corners, size, [&](std::size_t x, std::size_t y, const Point& weights) {
            Point place(0), normal(0);
            for (int i = 0; i < 3; ++i) {
                place += weights[i] * surface.points[v[i]];
                normal += weights[i] * normals[v[i]];
            }
            const double light = 1 - shading * (0.5 - 0.5 * normal.y);
            Demo::SetPixel(image, x, y, light * solid.ColourAt(place));
            isPainted[y * size + x] = true;
        });
    }
    for (int i = 0; i < static_cast<int>(c_ChartPadding); ++i) {
        GrowColours(image, isPainted);
    }
    return image;
}

}  // namespace Nimb::Authoring::Capture
