// The procedural figure: parts, joints, pose, and the grid of charts that each part is unwrapped into.
#include "Bench/BodyMesh.h"

#include <glm/glm.hpp>
#include <glm/gtc/constants.hpp>
#include <glm/gtx/euler_angles.hpp>
#include <glm/gtx/transform.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace Bench {
namespace {

using Nimb::Authoring::Mesh;
using Nimb::Authoring::Vec2;
using Nimb::Authoring::Vec3;

constexpr double c_Pi = glm::pi<double>();

using Point = glm::dvec3;
using Transform = glm::dmat4;

enum Joint {
    Pelvis,
    Chest,
    Skull,
    UpperArmL,
    ForearmL,
    HandL,
    UpperArmR,
    ForearmR,
    HandR,
    ThighL,
    ShinL,
    FootL,
    ThighR,
    ShinR,
    FootR,
    c_NumJoints
};

Point Apply(const Transform& m, const Point& p) {
    return glm::dmat3(m) * p + Point(m[3]);
}

/// Turns about `pivot`: first `swing` about the x axis, then `tilt` about the z axis.
Transform TurnAbout(const Point& pivot, double swing, double tilt) {
    return glm::translate(pivot) * glm::eulerAngleZ(tilt) * glm::eulerAngleX(swing) * glm::translate(-pivot);
}

struct JointInfo {
    int parent;
    Point pivot;  // in the rest pose: standing, arms slightly spread, metres
};

const std::array<JointInfo, c_NumJoints> c_Joints{{
    {-1, {0, 0.95, 0}},
    {Pelvis, {0, 1.15, 0}},
    {Chest, {0, 1.48, 0}},
    {Chest, {0.20, 1.40, 0}},
    {UpperArmL, {0.32, 1.13, 0}},
    {ForearmL, {0.42, 0.89, 0}},
    {Chest, {-0.20, 1.40, 0}},
    {UpperArmR, {-0.32, 1.13, 0}},
    {ForearmR, {-0.42, 0.89, 0}},
    {Pelvis, {0.10, 0.90, 0}},
    {ThighL, {0.11, 0.50, 0}},
    {ShinL, {0.12, 0.09, 0}},
    {Pelvis, {-0.10, 0.90, 0}},
    {ThighR, {-0.11, 0.50, 0}},
    {ShinR, {-0.12, 0.09, 0}},
}};

/// A tube from `from` to `to` whose first half follows one joint and whose second half follows another.
struct Part {
    Point from, to;
    double radiusX, radiusZ;  // of the cross-section's two axes
    double taper;             // radius at the end as a share of that at the start
    Joint first, second;
    double bend;                            // where along the tube the second joint takes over, 0 to 1
    std::size_t around, along;              // cells
    std::size_t chartsAround, chartsAlong;  // charts that the cells are shared among
};

const std::array<Part, 10> c_Parts{{
    {{0, 0.86, 0}, {0, 1.46, 0}, 0.19, 0.12, 1.05, Pelvis, Chest, 0.5, 66, 85, 2, 3},
    {{0, 1.44, 0}, {0, 1.76, 0.01}, 0.08, 0.10, 1.0, Chest, Skull, 0.15, 58, 53, 4, 2},
    {{0.18, 1.42, 0}, {0.42, 0.88, 0}, 0.055, 0.055, 0.65, UpperArmL, ForearmL, 0.5, 40, 84, 2, 3},
    {{-0.18, 1.42, 0}, {-0.42, 0.88, 0}, 0.055, 0.055, 0.65, UpperArmR, ForearmR, 0.5, 40, 84, 2, 3},
    {{0.10, 0.92, 0}, {0.12, 0.07, 0}, 0.09, 0.09, 0.55, ThighL, ShinL, 0.5, 48, 92, 3, 3},
    {{-0.10, 0.92, 0}, {-0.12, 0.07, 0}, 0.09, 0.09, 0.55, ThighR, ShinR, 0.5, 48, 92, 3, 3},
    {{0.415, 0.90, 0}, {0.47, 0.72, 0.02}, 0.02, 0.045, 0.8, ForearmL, HandL, 0.1, 28, 24, 2, 1},
    {{-0.415, 0.90, 0}, {-0.47, 0.72, 0.02}, 0.02, 0.045, 0.8, ForearmR, HandR, 0.1, 28, 24, 2, 1},
    {{0.12, 0.05, -0.06}, {0.13, 0.04, 0.19}, 0.045, 0.045, 0.8, ShinL, FootL, 0.15, 30, 32, 1, 2},
    {{-0.12, 0.05, -0.06}, {-0.13, 0.04, 0.19}, 0.045, 0.045, 0.8, ShinR, FootR, 0.15, 30, 32, 1, 2},
}};

/// A walk on the spot, one step in 0.55 s.
std::array<Transform, c_NumJoints> Pose(double seconds) {
    const double phase = 2 * c_Pi * seconds / 1.1;
    const double step = std::sin(phase), lift = std::cos(phase);
    std::array<double, c_NumJoints> swing{}, tilt{};
    swing[Chest] = 0.05 * std::sin(2 * phase);
    tilt[Chest] = 0.06 * step;
    swing[Skull] = 0.08 * std::sin(0.7 * phase);
    swing[UpperArmL] = 0.5 * step;
    swing[UpperArmR] = -0.5 * step;
    swing[ForearmL] = -0.35 - 0.25 * step;
    swing[ForearmR] = -0.35 + 0.25 * step;
    tilt[HandL] = 0.2 * lift;
    tilt[HandR] = -0.2 * lift;
    swing[ThighL] = -0.45 * step;
    swing[ThighR] = 0.45 * step;
    swing[ShinL] = 0.4 + 0.4 * lift;
    swing[ShinR] = 0.4 - 0.4 * lift;
    swing[FootL] = -0.2 * step;
    swing[FootR] = 0.2 * step;

    std::array<Transform, c_NumJoints> world;
    for (std::size_t j = 0; j < c_NumJoints; ++j) {
        const Transform local = TurnAbout(c_Joints[j].pivot, swing[j], tilt[j]);
        world[j] = c_Joints[j].parent < 0 ? local : world[static_cast<std::size_t>(c_Joints[j].parent)] * local;
        if (c_Joints[j].parent < 0) {
            world[j][3].x += 0.02 * step;
            world[j][3].y += 0.02 * std::cos(2 * phase);
        }
    }
    return world;
}

Point RestPoint(const Part& part, double angle, double s) {
    const Point axis = part.to - part.from;
    const double length = glm::length(axis);
    // Any two directions across the axis do; the one nearest to world z keeps flat parts facing forward.
    const Point up = std::abs(axis.z) > 0.9 * length ? Point{0, 1, 0} : Point{0, 0, 1};
    const Point across = up - glm::dot(up, axis) / (length * length) * axis;
    const Point z = across / glm::length(across), x = glm::cross(axis, z) / length;

    // Rounded ends, and relief so that neighbouring vertices do not repeat the same differences.
    const double cap = std::sqrt(std::min(1.0, 0.0016 + 8 * s * (1 - s)));
    const double relief = 1 + 0.05 * std::sin(3 * angle + 9 * s) + 0.015 * std::sin(11 * angle - 31 * s);
    const double radius = (1 + (part.taper - 1) * s) * cap * relief;
    const double cx = part.radiusX * radius * std::cos(angle), cz = part.radiusZ * radius * std::sin(angle);
    return part.from + axis * s + x * cx + z * cz;
}

Vec3 PosedPoint(const Part& part, const std::array<Transform, c_NumJoints>& pose, double angle, double s,
                double seconds) {
    const Point rest = RestPoint(part, angle, s);
    const double ramp = std::clamp((s - part.bend + 0.1) / 0.2, 0.0, 1.0);
    const double weight = ramp * ramp * (3 - 2 * ramp);
    const Point a = Apply(pose[part.first], rest), b = Apply(pose[part.second], rest);
    const double ripple = 0.002 * std::sin(40 * rest.y + 25 * rest.x + 7 * seconds) * std::sin(5 * angle + 3 * seconds);
    const Point p = glm::mix(a, b, weight) + ripple;
    return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}

/// Hands out the cells of a square atlas, one a chart, row by row.
class Atlas {
public:
    Vec2 Place(double u, double v) const {
        constexpr double margin = 0.02;
        const double cell = 1.0 / c_Columns;
        const double column = static_cast<double>(m_Chart % c_Columns), row = static_cast<double>(m_Chart / c_Columns);
        // A little distortion: unwrapping is never isometric.
        const double warped = u + 0.02 * std::sin(2 * c_Pi * v);
        return {static_cast<float>((column + margin + (1 - 2 * margin) * (0.03 + 0.94 * warped)) * cell),
                static_cast<float>((row + margin + (1 - 2 * margin) * v) * cell)};
    }
    void Next() { ++m_Chart; }

private:
    static constexpr std::size_t c_Columns = 8;
    std::size_t m_Chart = 0;
};

void AddChart(const Part& part, std::size_t a0, std::size_t a1, std::size_t l0, std::size_t l1,
              const std::array<Transform, c_NumJoints>& pose, double seconds, const Atlas& atlas, Mesh& mesh) {
    const auto base = static_cast<UINT32>(mesh.positions.size());
    const auto columns = static_cast<UINT32>(a1 - a0 + 1);
    for (std::size_t l = l0; l <= l1; ++l) {
        for (std::size_t a = a0; a <= a1; ++a) {
            // The modulus makes both sides of the closing seam the same point bit for bit.
            const double angle = 2 * c_Pi * static_cast<double>(a % part.around) / static_cast<double>(part.around);
            const double s = static_cast<double>(l) / static_cast<double>(part.along);
            mesh.positions.push_back(PosedPoint(part, pose, angle, s, seconds));
            mesh.texCoords.push_back(atlas.Place(static_cast<double>(a - a0) / static_cast<double>(a1 - a0),
                                                 static_cast<double>(l - l0) / static_cast<double>(l1 - l0)));
        }
    }
    for (UINT32 l = 0; l < static_cast<UINT32>(l1 - l0); ++l) {
        for (UINT32 a = 0; a + 1 < columns; ++a) {
            const UINT32 v = base + l * columns + a;
            mesh.faces.push_back({{v, v + columns, v + 1}});
            mesh.faces.push_back({{v + 1, v + columns, v + columns + 1}});
        }
    }
}

}  // namespace

Mesh MakeBody(double seconds) {
    const auto pose = Pose(seconds);
    Atlas atlas;
    Mesh mesh;
    mesh.positions.reserve(c_BodyVertices);
    mesh.texCoords.reserve(c_BodyVertices);
    mesh.faces.reserve(c_BodyFaces);
    for (const Part& part : c_Parts) {
        for (std::size_t j = 0; j < part.chartsAlong; ++j) {
            for (std::size_t i = 0; i < part.chartsAround; ++i) {
                AddChart(part, part.around * i / part.chartsAround, part.around * (i + 1) / part.chartsAround,
                         part.along * j / part.chartsAlong, part.along * (j + 1) / part.chartsAlong, pose, seconds,
                         atlas, mesh);
                atlas.Next();
            }
        }
    }
    return mesh;
}

std::vector<Mesh> MakeBodyClip(std::size_t count) {
    std::vector<Mesh> frames;
    for (std::size_t i = 0; i < count; ++i) {
        frames.push_back(MakeBody(static_cast<double>(i) / 30));
    }
    return frames;
}

}  // namespace Bench
