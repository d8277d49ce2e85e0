#include "Demo/Surface.h"

namespace Nimb::Authoring::Demo {

namespace {

/// Share of a tube's `along` that each of its round ends takes.
constexpr double c_CapShare = 0.09;

/// On the unit sphere; `around` 0.5 is the front, +z.
Point Direction(double along, double around) {
    const double ring = std::sin(c_Pi * along);
    return {-ring * std::sin(2 * c_Pi * around), std::cos(c_Pi * along), -ring * std::cos(2 * c_Pi * around)};
}

}  // namespace

std::vector<GridVertex> GridVertices(const Grid& grid) {
    std::vector<GridVertex> vertices;
    for (std::size_t row = 0; row <= grid.along; ++row) {
        const bool isPole = !grid.isRing && (row == 0 || row == grid.along);
        const double along = static_cast<double>(row) / static_cast<double>(grid.along);
        for (std::size_t column = 0; column <= grid.around; ++column) {
            const double around = static_cast<double>(column) / static_cast<double>(grid.around);
            GridVertex vertex{along, around, along, around};
            vertex.around = column == grid.around || isPole ? 0 : around;
            vertex.along = grid.isRing && row == grid.along ? 0 : along;
            if (isPole) {
                vertex.chartAround = std::min(around + 0.5 / static_cast<double>(grid.around), 1.0);
            }
            vertices.push_back(vertex);
        }
    }
    return vertices;
}

void AddGridFaces(const Grid& grid, UINT32 base, std::vector<TarnMeshFace>& faces) {
    const auto columns = static_cast<UINT32>(grid.around + 1);
    for (UINT32 row = 0; row < static_cast<UINT32>(grid.along); ++row) {
        for (UINT32 column = 0; column + 1 < columns; ++column) {
            const UINT32 here = base + row * columns + column, below = here + columns;
            if (grid.isRing || row + 1 < grid.along) {
                faces.push_back({{here, below, below + 1}});
            }
            if (grid.isRing || row > 0) {
                faces.push_back({{here, row + 1 == grid.along && !grid.isRing ? below : below + 1, here + 1}});
            }
        }
    }
}

Shape RoundedBox(const Point& radii, double exponent) {
    return [=](double along, double around) {
        const Point d = Direction(along, around);
        const double norm = std::pow(
            std::pow(std::abs(d.x), exponent) + std::pow(std::abs(d.y), exponent) + std::pow(std::abs(d.z), exponent),
            1 / exponent);
        return d * radii / norm;
    };
}

Shape Torus(double radius, double tubeOutwards, double tubeUp) {
    return [=](double along, double around) {
        const Point out = Direction(0.5, around);
        const double angle = c_Pi / 2 - 2 * c_Pi * along;
        return out * (radius + tubeOutwards * std::cos(angle)) + Point{0, tubeUp * std::sin(angle), 0};
    };
}

Tube::Tube(const std::function<Point(double)>& curve, const Point& side) {
    constexpr double step = 1.0 / c_Steps;
    Point previous = side;
    for (std::size_t i = 0; i <= c_Steps; ++i) {
        const double s = static_cast<double>(i) * step;
        Frame& frame = m_Frames[i];
        frame.centre = curve(s);
        frame.tangent = glm::normalize(curve(std::min(s + step / 2, 1.0)) - curve(std::max(s - step / 2, 0.0)));
        frame.side = glm::normalize(previous - frame.tangent * glm::dot(previous, frame.tangent));
        previous = frame.side;
    }
}

Tube::Frame Tube::At(double s) const {
    const double position = std::clamp(s, 0.0, 1.0) * c_Steps;
    const auto i = std::min(static_cast<std::size_t>(position), c_Steps - 1);
    const double share = position - static_cast<double>(i);
    const Frame &a = m_Frames[i], &b = m_Frames[i + 1];
    return {glm::mix(a.centre, b.centre, share), glm::normalize(glm::mix(a.tangent, b.tangent, share)),
            glm::normalize(glm::mix(a.side, b.side, share))};
}

Point Tube::Surface(double along, double around, const Width& width, const Width& depth) const {
    const double s = std::clamp((along - c_CapShare) / (1 - 2 * c_CapShare), 0.0, 1.0);
    // How far into the round end: 0 where it begins, a quarter turn at its tip; negative at the start.
    double turn = 0;
    if (along < c_CapShare) {
        turn = (along / c_CapShare - 1) * c_Pi / 2;
    } else if (along > 1 - c_CapShare) {
        turn = ((along - 1) / c_CapShare + 1) * c_Pi / 2;
    }
    const Frame frame = At(s);
    const Point across = glm::cross(frame.tangent, frame.side);
    const double angle = -2 * c_Pi * around, ring = std::cos(turn);
    const double w = width(s), d = depth(s);
    return frame.centre + frame.side * (w * ring * std::cos(angle)) + across * (d * ring * std::sin(angle)) +
           frame.tangent * (std::min(w, d) * std::sin(turn));
}

std::function<Point(double)> Bezier(const Point& a, const Point& b, const Point& c, const Point& d) {
    return [=](double s) {
        const double r = 1 - s;
        return a * (r * r * r) + b * (3 * r * r * s) + c * (3 * r * s * s) + d * (s * s * s);
    };
}

}  // namespace Nimb::Authoring::Demo
