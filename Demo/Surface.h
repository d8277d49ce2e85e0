// Closed surfaces over a grid: `along` runs from pole to pole (or once around, for rings), `around` encircles it. Seen
// from outside, `around` grows to the right where `along` grows downwards.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Demo/Space.h"

#include <array>
#include <cstddef>
#include <functional>

namespace Nimb::Authoring::Demo {

/// (along, around), each from 0 to 1, to a point.
using Shape = std::function<Point(double, double)>;

struct Grid {
    std::size_t along = 0;  ///< cells
    std::size_t around = 0;
    bool isRing = false;  ///< closed in both directions instead of ending in two poles
};

/// Position on the grid of each vertex, in the order in which AddGrid adds them. Vertices on seams and poles occur
/// several times.
struct GridVertex {
    double along, around;            ///< what the surface is evaluated at: the same for all copies of a point
    double chartAlong, chartAround;  ///< where the vertex lies on the unrolled grid
};
std::vector<GridVertex> GridVertices(const Grid& grid);

/// Triangles over those vertices, the first of which has the index `base`.
void AddGridFaces(const Grid& grid, UINT32 base, std::vector<TarnMeshFace>& faces);

/// A box with rounded corners around the origin: exponent 2 is an ellipsoid, larger ones come closer to a box.
Shape RoundedBox(const Point& radii, double exponent);

/// Around the y axis. `tube`: radii of the cross-section, outwards and along the axis.
Shape Torus(double radius, double tubeOutwards, double tubeUp);

/// A curve with a frame that turns as little as possible along it.
class Tube {
public:
    Tube() = default;

    /// `curve` over [0, 1]; `side`: one direction across its start.
    Tube(const std::function<Point(double)>& curve, const Point& side);

    /// Half-widths towards `side` and across it, along the curve.
    using Width = std::function<double(double)>;

    /// The surface around the curve, with round ends.
    Point Surface(double along, double around, const Width& width, const Width& depth) const;

private:
    static constexpr std::size_t c_Steps = 48;
    struct Frame {
        Point centre{}, tangent{}, side{};
    };
    Frame At(double s) const;

    std::array<Frame, c_Steps + 1> m_Frames;
};

/// Cubic, by its four control points.
std::function<Point(double)> Bezier(const Point& a, const Point& b, const Point& c, const Point& d);

}  // namespace Nimb::Authoring::Demo
