// A ball of six charts, cut into triangles as finely and with its charts in as different an order as one likes: the
// same surface in another mesh.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Image.h"

#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

#include <cstddef>

namespace NimbTest {

using Nimb::Authoring::Image;
using Nimb::Authoring::Mesh;

struct Ball {
    Mesh mesh;
    Image picture;
};

constexpr std::size_t c_BallCell = 64;  ///< pixels of a chart with its margin; there are 3 x 2
constexpr double c_BallMargin = 6;      ///< pixels

/// What is painted on the ball in a direction from its middle: 28 to 228.
inline glm::dvec3 BallColour(const glm::dvec3& direction) {
    return direction * 100.0 + 128.0;
}

/// The direction of a place of a side of the cube around the ball, from -1 to 1 on both axes.
inline glm::dvec3 BallDirection(std::size_t side, double a, double b) {
    const double sign = side % 2 == 0 ? 1 : -1;
    glm::dvec3 p(0);
    const int axis = static_cast<int>(side / 2);
    p[axis] = sign;
    p[(axis + 1) % 3] = a;
    p[(axis + 2) % 3] = sign * b;  // so that all sides look outwards
    return glm::normalize(p);
}

/// The place on a side of the cube of a pixel of its chart.
inline double BallPlace(double pixel) {
    return (pixel - c_BallMargin) / (c_BallCell - 2 * c_BallMargin) * 2 - 1;
}

/// Chart of a side: the upper left corner of its cell.
struct BallCell {
    std::size_t x, y;

    BallCell(std::size_t side, std::size_t turn)
        : x((side + turn) % 6 % 3 * c_BallCell), y((side + turn) % 6 / 3 * c_BallCell) {}
};

/// `cells`: squares along each side's edge. `turn`: how many places the charts have moved on.
inline Ball MakeBall(std::size_t cells, std::size_t turn, double radius = 1, const glm::dvec3& middle = glm::dvec3(0)) {
    Ball ball;
    ball.picture = Image(3 * c_BallCell, 2 * c_BallCell);
    const auto value = [](double v) { return static_cast<BYTE>(v + 0.5); };
    for (std::size_t side = 0; side < 6; ++side) {
        const BallCell cell(side, turn);
        for (std::size_t y = 0; y < c_BallCell; ++y) {
            for (std::size_t x = 0; x < c_BallCell; ++x) {
                const double a = BallPlace(static_cast<double>(x) + 0.5), b = BallPlace(static_cast<double>(y) + 0.5);
                const glm::dvec3 colour = BallColour(BallDirection(side, a, b));
                BYTE* const pixel = ball.picture.Pixel(cell.x + x, cell.y + y);
                pixel[0] = value(colour.x);
                pixel[1] = value(colour.y);
                pixel[2] = value(colour.z);
                pixel[3] = 255;
            }
        }
        const auto base = static_cast<UINT32>(ball.mesh.positions.size());
        const auto row = static_cast<UINT32>(cells + 1);
        for (std::size_t y = 0; y <= cells; ++y) {
            for (std::size_t x = 0; x <= cells; ++x) {
                const double s = static_cast<double>(x) / static_cast<double>(cells);
                const double t = static_cast<double>(y) / static_cast<double>(cells);
                const glm::dvec3 p = middle + BallDirection(side, 2 * s - 1, 2 * t - 1) * radius;
                ball.mesh.positions.push_back(
                    {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)});
                const double extent = c_BallCell - 2 * c_BallMargin;
                ball.mesh.texCoords.push_back(
                    {static_cast<float>((static_cast<double>(cell.x) + c_BallMargin + s * extent) / (3 * c_BallCell)),
                     static_cast<float>((static_cast<double>(cell.y) + c_BallMargin + t * extent) / (2 * c_BallCell))});
            }
        }
        for (UINT32 y = 0; y < cells; ++y) {
            for (UINT32 x = 0; x < cells; ++x) {
                const UINT32 v = base + y * row + x;
                ball.mesh.faces.push_back({{v, v + 1, v + row + 1}});
                ball.mesh.faces.push_back({{v, v + row + 1, v + row}});
            }
        }
    }
    return ball;
}

}  // namespace NimbTest
