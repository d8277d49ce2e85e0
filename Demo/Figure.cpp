#include "Demo/Figure.h"

#include <array>
#include <stdexcept>

namespace Nimb::Authoring::Demo {

namespace {

struct Size {
    std::size_t width, height;
};
constexpr std::array<Size, c_MaterialCount> c_TextureSizes{
    {{1024, 768}, {512, 256}, {512, 224}, {512, 128}, {c_DisplaySize, c_DisplaySize}, {c_StageSize, c_StageSize}}};

/// Pixels around a chart that repeat its edge, for filters that look beyond it.
constexpr std::size_t c_Margin = 3;

using PosedShape = std::function<Point(const Pose&, double, double)>;

PosedShape Rigid(std::size_t joint, const Transform& place, Shape shape) {
    return [=](const Pose& pose, double along, double around) {
        return Apply(pose.joints[joint] * place, shape(along, around));
    };
}

PosedShape Hose(std::size_t limb, Tube::Width width, Tube::Width depth) {
    return [=](const Pose& pose, double along, double around) {
        return pose.limbs[limb].Surface(along, around, width, depth);
    };
}

/// 1 within `width` of a line from which the place is `distance` away, with soft edges.
double Line(double distance, double width) {
    return 1 - glm::smoothstep(width - 0.0012, width + 0.0012, std::abs(distance));
}

/// 0 below, 1 above, with a soft edge.
double Step(double x) {
    return glm::smoothstep(-0.0018, 0.0018, x);
}

Spot SpotAt(const Solid& solid, const Pose& rest, double along, double around) {
    constexpr double step = 1e-3;
    Spot spot;
    spot.along = along;
    spot.around = around;
    spot.at = solid.surface(rest, along, around);
    const double a = std::clamp(along, 4 * step, 1 - 4 * step);
    const Point down = solid.surface(rest, a + step, around) - solid.surface(rest, a - step, around);
    const Point right = solid.surface(rest, a, around + step) - solid.surface(rest, a, around - step);
    spot.normal = glm::normalize(glm::cross(down, right));
    return spot;
}

void PaintSolid(const Solid& solid, const Pose& rest, Image& image) {
    const auto inner = [](std::size_t pixel, std::size_t size) {
        const double usable = static_cast<double>(size - 2 * c_Margin);
        return std::clamp((static_cast<double>(pixel) + 0.5 - static_cast<double>(c_Margin)) / usable, 0.0, 1.0);
    };
    for (std::size_t y = 0; y < solid.chart.height; ++y) {
        for (std::size_t x = 0; x < solid.chart.width; ++x) {
            const Spot spot = SpotAt(solid, rest, inner(y, solid.chart.height), inner(x, solid.chart.width));
            SetPixel(image, solid.chart.x + x, solid.chart.y + y, solid.paint(spot));
        }
    }
}

/// Picture coordinates of a place in the chart, from 0 to 1 each.
Vec2 InChart(const Solid& solid, double u, double v) {
    const Size& size = c_TextureSizes[solid.material];
    const auto place = [](std::size_t start, std::size_t length, double share, std::size_t whole) {
        const double pixel = static_cast<double>(start + c_Margin) + share * static_cast<double>(length - 2 * c_Margin);
        return static_cast<float>(pixel / static_cast<double>(whole));
    };
    return {place(solid.chart.x, solid.chart.width, u, size.width),
            place(solid.chart.y, solid.chart.height, v, size.height)};
}

// ---- Head ----

constexpr Point c_HeadRadii{0.262, 0.205, 0.215};
constexpr Point c_VisorRadii{0.205, 0.140, 0.062};
constexpr Point c_RimRadii{0.196, 0.134, 0};  // of the band over the visor's edge
constexpr double c_RimExponent = 3.6;

/// The edge of the visor: 0 on it, positive outside.
double VisorEdge(const Point& at) {
    const double x = std::abs(at.x) / c_RimRadii.x, y = std::abs(at.y - c_HeadCentre.y + 0.005) / c_RimRadii.y;
    return std::pow(std::pow(x, c_RimExponent) + std::pow(y, c_RimExponent), 1 / c_RimExponent) - 1;
}

/// A closed band over the visor's edge, around the z axis; `around` 0.5 is the top.
Point VisorRim(double along, double around) {
    const double angle = 2 * c_Pi * around, exponent = c_RimExponent;
    const Point d{-std::sin(angle), -std::cos(angle), 0};
    const double norm = std::pow(std::pow(std::abs(d.x), exponent) + std::pow(std::abs(d.y), exponent), 1 / exponent);
    const Point edge{d.x * c_RimRadii.x / norm, d.y * c_RimRadii.y / norm - 0.005, 0};
    const auto share = [](double x, double radius) { return std::pow(std::abs(x) / radius, 2.7); };
    const double depth = 1 - share(edge.x, c_HeadRadii.x) - share(edge.y, c_HeadRadii.y);
    const double turn = 2 * c_Pi * along;
    return edge + Point{0, 0, c_HeadRadii.z * std::pow(depth, 1 / 2.7)} + d * (0.013 * std::cos(turn)) +
           Point{0, 0, 0.016 * std::sin(turn)};
}

Colour PaintHead(const Spot& spot) {
    const Point p = spot.at - c_HeadCentre;
    const double hood = -0.015 - p.z + 0.05 * p.y;  // positive behind the seam over the ears
    Colour colour = glm::mix(Palette::Cream, Palette::Teal, Step(hood));
    colour = glm::mix(colour, Palette::Mustard, Step(0.034 - std::abs(p.x)) * Step(hood));
    colour = glm::mix(colour, Palette::Cream, Line(std::abs(p.x) - 0.040, 0.006) * Step(hood));
    const double shade = p.z > 0 ? 0.45 * (1 - glm::smoothstep(0.05, 0.20, VisorEdge(spot.at))) : 0;
    const Point bolt{std::abs(p.x) - 0.125, std::abs(p.y + 0.01) - 0.135, 0};
    const double bolts = p.z < -0.05 ? glm::length(bolt) : 1.0;
    colour = glm::mix(colour, Palette::Navy, std::max(0.9 * Line(hood, 0.004), shade));
    colour = glm::mix(colour, Palette::Cream, 1 - glm::smoothstep(0.011, 0.014, bolts));
    return Lit(colour, spot, 0.9, HeadMass);
}

Point BentBack(const Point& p) {
    return {p.x, p.y, p.z - 1.15 * p.x * p.x - 1.1 * p.y * p.y};
}

// ---- Torso ----

Point TorsoPoint(double along, double around) {
    const Point p = RoundedBox({1, 1, 1}, 2.25)(along, around);
    const double widen = 1 - 0.16 * p.y - 0.06 * p.y * p.y;  // pear-shaped
    return {p.x * 0.185 * widen, 0.545 + p.y * 0.195, p.z * 0.160 * widen};
}

Colour PaintTorso(const Spot& spot) {
    const Point& p = spot.at;
    const double belt = 0.470 + 0.06 * p.x * p.x;
    Colour colour = glm::mix(Palette::Teal, Palette::Cream, Step(p.y - belt));
    const double pocket = std::max(std::abs(std::abs(p.x) - 0.085) - 0.030, std::abs(p.y - 0.425) - 0.022);
    if (p.z > 0) {
        colour = glm::mix(colour, Palette::Cream, Line(pocket, 0.003));
    }
    colour = glm::mix(colour, Palette::Mustard, Line(p.y - belt, 0.013));
    const double buckle = std::max(std::abs(p.x) - 0.030, std::abs(p.y - belt) - 0.020);
    if (p.z > 0) {
        colour = glm::mix(colour, Palette::Navy, Step(0.004 - buckle));
        colour = glm::mix(colour, Palette::Gold, Step(-buckle - 0.004));
    }
    colour = glm::mix(colour, Palette::Navy, 0.35 * Line(std::abs(p.x) - 0.135, 0.002) * Step(p.y - belt - 0.012));
    colour = glm::mix(colour, Palette::Coral, Line(p.y - 0.655, 0.006) * 0.9);
    return Lit(colour, spot, 0.8, TorsoMass);
}

Point CounterPlace(const Point& p) {
    return Turned(TurnedX(-0.20), {p.x, p.y, p.z - 2.6 * p.x * p.x}) + Point{0, 0.575, 0.141};
}

constexpr Point c_CounterRadii{0.080, 0.046, 0.026};

constexpr Point c_PackCentre{0, 0.565, -0.185};

Colour PaintPack(const Spot& spot) {
    const Point p = spot.at - c_PackCentre;
    Colour colour = Palette::Coral;
    const double flap = p.y - 0.035 + 0.9 * p.x * p.x;
    colour = glm::mix(colour, Rgb(0xd94a3f), Step(flap));
    colour = glm::mix(colour, Palette::Cream, Line(flap, 0.004));
    if (p.z < 0) {
        // A bolt of lightning: two slanted strokes that overlap in the middle.
        const Point q{-p.x, p.y + 0.032, 0};
        const auto stroke = [&q](double y0, double y1, double offset) {
            const double slant = std::abs(q.x - offset - 0.42 * q.y) - (0.016 - 0.16 * std::abs(q.y));
            return std::max({slant, y0 - q.y, q.y - y1});
        };
        const double bolt = std::min(stroke(-0.006, 0.046, -0.009), stroke(-0.046, 0.006, 0.009));
        colour = glm::mix(colour, Palette::Mustard, Step(-bolt));
        const double buckle = std::max(std::abs(p.x) - 0.012, std::abs(flap) - 0.010);
        colour = glm::mix(colour, Palette::Gold, Step(-buckle));
    } else {
        colour = Palette::Navy;
    }
    colour = glm::mix(colour, Palette::Navy, Line(p.z - 0.012, 0.004));
    return Lit(colour, spot, 0.35, PackMass);
}

Colour PaintEar(const Spot& spot) {
    const double ring = std::hypot(spot.at.y - c_HeadCentre.y, spot.at.z - c_HeadCentre.z);
    Colour colour = glm::mix(Palette::Cream, Palette::Coral, Step(0.052 - ring));
    colour = glm::mix(colour, Palette::Navy, Line(ring - 0.053, 0.003));
    colour = glm::mix(colour, Palette::Mustard, Step(0.020 - ring));
    return Lit(colour, spot, 0.8, HeadMass);
}

// ---- Feet and hands ----

Point ShoePoint(double along, double around) {
    const Point p = RoundedBox({1, 1, 1}, 2.5)(along, around);
    const double front = glm::smoothstep(-0.4, 1.0, p.z);
    const double sole = 0.016 * (1 - std::pow(1 - std::abs(std::min(p.y, 0.0)), 5.0));
    const double height = p.y > 0 ? p.y * (0.092 - 0.030 * front) : -sole;
    return {p.x * (0.062 + 0.014 * front), 0.016 + height, p.z * 0.112 + 0.012};
}

Colour PaintShoe(const Spot& spot, std::size_t side) {
    const Point p = spot.at - FootCentre(side);
    Colour colour = glm::mix(Palette::Coral, Palette::Cream, Step(p.z - 0.078 + 1.2 * p.x * p.x));
    colour = glm::mix(colour, Palette::Navy, Line(p.z - 0.078 + 1.2 * p.x * p.x, 0.002));
    if (p.y > 0.03 && std::abs(p.x) < 0.034) {
        colour = glm::mix(colour, Palette::Cream,
                          Line(glm::fract(p.z / 0.024) * 0.024 - 0.012, 0.004) * Step(0.066 - p.z) * Step(p.z - 0.018));
    }
    colour = glm::mix(Palette::Cream, colour, Step(p.y - 0.024));
    colour = glm::mix(colour, Palette::Navy, Line(p.y - 0.024, 0.002) * 0.8);
    return Lit(colour, spot, 0.7, FootMass + side);
}

struct Digit {
    Transform place;
    Point radii;
};

/// In the hand's own space: palm up, fingers forward, thumb towards the body's middle of the left hand.
std::array<Digit, 4> Digits(double sign) {
    const auto finger = [sign](double x, double spread, double length) {
        return Digit{Moved({x * sign, 0.016, 0.062}) * TurnedY(spread * sign) * TurnedX(-0.75),
                     {0.0175, 0.0165, length}};
    };
    return {finger(-0.030, -0.30, 0.036), finger(0.001, 0, 0.040), finger(0.031, 0.30, 0.036),
            Digit{Moved({-0.052 * sign, 0.018, 0.002}) * TurnedY(-0.7 * sign) * TurnedZ(0.5 * sign) * TurnedX(-0.5),
                  {0.017, 0.017, 0.034}}};
}

// ---- Hoses, scarf, toys ----

constexpr double c_HoseRings = 11;

Tube::Width HoseWidth(double thick, double thin) {
    return [=](double s) { return glm::mix(thick, thin, s) * (1 + 0.09 * std::cos(2 * c_Pi * c_HoseRings * s)); };
}

Colour PaintHose(const Spot& spot) {
    const double s = std::clamp((spot.along - 0.09) / 0.82, 0.0, 1.0);
    const double ridge = 0.5 + 0.5 * std::cos(2 * c_Pi * c_HoseRings * s);
    const Colour colour = glm::mix(Rgb(0x1a2138), Rgb(0x4a5a86), ridge);
    return Lit(colour * (0.55 + 0.45 * ridge), spot, 0.5, c_NoOccluder);
}

Colour PaintScarf(const Spot& spot, double stripes, double along) {
    const double knit = 0.90 + 0.10 * std::sin(2 * c_Pi * 150 * along) * std::sin(2 * c_Pi * 12 * spot.along);
    const double stripe = glm::smoothstep(-0.12, 0.12, std::sin(2 * c_Pi * stripes * along));
    return Lit(glm::mix(Palette::Mustard, Palette::Coral, stripe) * knit, spot, 0, c_NoOccluder);
}

Colour PaintBall(const Spot& spot, const Colour& colour) {
    const double wave = spot.at.y / c_BallRadius + 0.16 * std::cos(6 * 2 * c_Pi * spot.around);
    Colour painted = glm::mix(colour, Palette::Cream, glm::smoothstep(0.34, 0.28, std::abs(wave)));
    painted = glm::mix(painted, Palette::Navy, glm::smoothstep(0.16, 0.12, std::abs(spot.at.y / c_BallRadius)));
    painted = glm::mix(painted, Palette::Cream, glm::smoothstep(0.90, 0.92, std::abs(spot.at.y / c_BallRadius)));
    // A ball turns, and its picture with it: the same soft light from all sides.
    Spot soft = spot;
    soft.normal = glm::normalize(spot.normal * 0.5 + Point{0, 0.45, 0.55});
    soft.at = Point{0, 2, 0};
    return Lit(painted, soft, 0, c_NoOccluder);
}

// ---- Stage ----

struct Ring {
    double radius, y, picture;  // the picture's share of its half-width
};

/// From the middle of the upper side, over the rim, to the middle of the lower side.
constexpr std::array<Ring, 13> c_StageProfile{{{0, 0, 0},
                                               {0.14, 0, 0.22},
                                               {0.28, 0, 0.44},
                                               {0.42, 0, 0.66},
                                               {0.52, 0, 0.817},
                                               {0.55, 0, 0.864},
                                               {0.56, -0.004, c_StageTop},
                                               {0.565, -0.012, 0.90},
                                               {0.565, -0.036, 0.95},
                                               {0.56, -0.044, 0.96},
                                               {0.54, -0.048, 0.97},
                                               {0.27, -0.048, 0.98},
                                               {0, -0.048, 0.99}}};

Ring StageRing(double along) {
    const double position = std::clamp(along, 0.0, 1.0) * (c_StageProfile.size() - 1);
    const auto i = std::min(static_cast<std::size_t>(position), c_StageProfile.size() - 2);
    const double share = position - static_cast<double>(i);
    const Ring &a = c_StageProfile[i], &b = c_StageProfile[i + 1];
    return {glm::mix(a.radius, b.radius, share), glm::mix(a.y, b.y, share), glm::mix(a.picture, b.picture, share)};
}

// ---- All of it ----

/// Fills a texture with charts from left to right, row by row.
class Shelves {
public:
    explicit Shelves(Material material) : m_Size(c_TextureSizes[material]) {}

    Chart Next(std::size_t width, std::size_t height) {
        if (m_X + width > m_Size.width) {
            m_X = 0;
            m_Y += m_RowHeight;
            m_RowHeight = 0;
        }
        if (m_Y + height > m_Size.height) {
            throw std::logic_error("a texture of the demo figure is too small for its charts");
        }
        const Chart chart{m_X, m_Y, width, height};
        m_X += width;
        m_RowHeight = std::max(m_RowHeight, height);
        return chart;
    }

private:
    Size m_Size;
    std::size_t m_X = 0, m_Y = 0, m_RowHeight = 0;
};

void AddHead(std::vector<Solid>& solids, Shelves& shell) {
    solids.push_back({Shell,
                      {32, 44},
                      Rigid(Head, Moved(c_HeadCentre), RoundedBox(c_HeadRadii, 2.7)),
                      shell.Next(640, 400),
                      PaintHead,
                      {}});
    const Shape visor = [shape = RoundedBox(c_VisorRadii, 3.4)](double along, double around) {
        return BentBack(shape(along, around));
    };
    const Transform place = Moved(c_HeadCentre + Point{0, -0.005, 0.178});
    solids.push_back(
        {Display, {24, 36}, Rigid(Head, place, visor), c_FaceChart, {}, [](double, double, const Point& p) {
             return Vec2{static_cast<float>(0.5 + 0.5 * p.x / c_VisorRadii.x),
                         static_cast<float>(0.5 - 0.5 * (p.y - c_HeadCentre.y + 0.005) / c_VisorRadii.y)};
         }});
    solids.push_back(
        {Display, {12, 64, true}, Rigid(Halo, Moved(c_HaloCentre), Torus(0.150, 0.021, 0.021)), c_HaloChart, {}, {}});
}

void AddTorso(std::vector<Solid>& solids, Shelves& shell) {
    solids.push_back({Shell,
                      {20, 24},
                      Rigid(Torso, Moved(c_PackCentre), RoundedBox({0.115, 0.105, 0.072}, 3.2)),
                      shell.Next(384, 288),
                      PaintPack,
                      {}});
    solids.push_back({Shell, {28, 36}, Rigid(Torso, Transform(1), TorsoPoint), shell.Next(512, 272), PaintTorso, {}});
    const Shape lens = [shape = RoundedBox(c_CounterRadii, 3.4)](double along, double around) {
        return CounterPlace(shape(along, around));
    };
    solids.push_back(
        {Display, {14, 24}, Rigid(Torso, Transform(1), lens), c_CounterChart, {}, [](double, double, const Point& p) {
             return Vec2{
                 static_cast<float>(std::clamp(0.5 + 0.5 * p.x / c_CounterRadii.x, 0.0, 1.0)),
                 static_cast<float>(std::clamp(0.5 - 0.5 * (p.y - 0.575) / (c_CounterRadii.y + 0.003), 0.0, 1.0))};
         }});
}

void AddHand(std::vector<Solid>& solids, Shelves& shell, std::size_t side) {
    const double sign = SideSign(side);
    const Transform hand = Moved(HandCentre(side));
    const auto glove = [side](const Spot& spot) { return Lit(Palette::Cream, spot, 0.4, HandMass + side); };
    const auto cuff = [side](const Spot& spot) { return Lit(Palette::Mustard, spot, 0.6, HandMass + side); };
    solids.push_back({Shell,
                      {14, 18},
                      Rigid(Hands + side, hand, RoundedBox({0.052, 0.026, 0.060}, 2.3)),
                      shell.Next(96, 64),
                      glove,
                      {}});
    for (const Digit& digit : Digits(sign)) {
        solids.push_back({Shell,
                          {10, 12},
                          Rigid(Hands + side, hand * digit.place, RoundedBox(digit.radii, 2.2)),
                          shell.Next(48, 48),
                          glove,
                          {}});
    }
    const Transform wrist = hand * Moved({0, -0.004, -0.055}) * TurnedX(c_Pi / 2);
    solids.push_back(
        {Shell, {10, 20, true}, Rigid(Hands + side, wrist, Torus(0.031, 0.014, 0.017)), shell.Next(64, 48), cuff, {}});
}

void AddShoes(std::vector<Solid>& solids, Shelves& shell) {
    for (std::size_t side = 0; side < 2; ++side) {
        solids.push_back({Shell,
                          {18, 28},
                          Rigid(Feet + side, Moved(FootCentre(side)), ShoePoint),
                          shell.Next(256, 160),
                          [side](const Spot& spot) { return PaintShoe(spot, side); },
                          {}});
    }
}

void AddEars(std::vector<Solid>& solids, Shelves& shell) {
    for (std::size_t side = 0; side < 2; ++side) {
        const Transform place = Moved(c_HeadCentre + Point{0.255 * SideSign(side), 0, 0});
        solids.push_back({Shell,
                          {14, 28},
                          Rigid(Head, place, RoundedBox({0.034, 0.070, 0.070}, 2.4)),
                          shell.Next(128, 96),
                          PaintEar,
                          {}});
    }
}

void AddVisorRim(std::vector<Solid>& solids, Shelves& shell) {
    solids.push_back({Shell,
                      {10, 56, true},
                      Rigid(Head, Moved(c_HeadCentre), VisorRim),
                      shell.Next(64, 64),
                      [](const Spot& spot) { return Lit(Palette::Teal, spot, 0.8, c_NoOccluder); },
                      {}});
}

void AddHoses(std::vector<Solid>& solids, Shelves& hoses) {
    for (std::size_t side = 0; side < 2; ++side) {
        const Tube::Width arm = HoseWidth(0.038, 0.030), leg = HoseWidth(0.047, 0.038);
        solids.push_back({Hoses, {48, 14}, Hose(Arms + side, arm, arm), hoses.Next(128, 256), PaintHose, {}});
        solids.push_back({Hoses, {48, 14}, Hose(Legs + side, leg, leg), hoses.Next(128, 256), PaintHose, {}});
    }
}

void AddScarf(std::vector<Solid>& solids, Shelves& scarf) {
    const Transform place = Moved({0, 0.722, 0}) * Scaled({1, 1, 0.9});
    solids.push_back({Scarf,
                      {14, 48, true},
                      Rigid(Torso, place, Torus(0.108, 0.048, 0.042)),
                      scarf.Next(512, 128),
                      [](const Spot& spot) { return PaintScarf(spot, 9, spot.around); },
                      {}});
    for (std::size_t side = 0; side < 2; ++side) {
        // Wide ends, narrow where they leave the knot.
        const Tube::Width width = [](double s) { return 0.028 + 0.026 * glm::smoothstep(0.0, 0.6, s); };
        const Tube::Width depth = [](double s) { return glm::mix(0.014, 0.009, s); };
        solids.push_back({Scarf,
                          {36, 16},
                          Hose(Tails + side, width, depth),
                          scarf.Next(96, 96),
                          [](const Spot& spot) {
                              return PaintScarf({spot.around, spot.around, spot.at, spot.normal}, 3.5, spot.along);
                          },
                          {}});
    }
}

void AddToys(std::vector<Solid>& solids, Shelves& toys) {
    const std::array<Colour, 3> colours{Palette::Coral, Palette::Mustard, Palette::Teal};
    for (std::size_t i = 0; i < colours.size(); ++i) {
        const Shape sphere = RoundedBox({c_BallRadius, c_BallRadius, c_BallRadius}, 2);
        solids.push_back({Toys,
                          {16, 24},
                          Rigid(Balls + i, Transform(1), sphere),
                          toys.Next(168, 128),
                          [colour = colours[i]](const Spot& spot) { return PaintBall(spot, colour); },
                          {}});
    }
}

void AddStage(std::vector<Solid>& solids) {
    const Shape disc = [](double along, double around) {
        const Ring ring = StageRing(along);
        const double angle = 2 * c_Pi * around;
        return Point{-ring.radius * std::sin(angle), ring.y, -ring.radius * std::cos(angle)};
    };
    solids.push_back({Stage,
                      {c_StageProfile.size() - 1, 72},
                      Rigid(Ground, Transform(1), disc),
                      {0, 0, c_StageSize, c_StageSize},
                      {},
                      [](double along, double around, const Point&) {
                          const double share = 0.5 * StageRing(along).picture, angle = 2 * c_Pi * around;
                          return Vec2{static_cast<float>(0.5 - share * std::sin(angle)),
                                      static_cast<float>(0.5 - share * std::cos(angle))};
                      }});
}

}  // namespace

Figure::Figure() {
    Shelves shell(Shell), hoses(Hoses), scarf(Scarf), toys(Toys);
    AddHead(m_Solids, shell);
    AddTorso(m_Solids, shell);
    AddShoes(m_Solids, shell);
    AddEars(m_Solids, shell);
    AddHand(m_Solids, shell, 0);
    AddHand(m_Solids, shell, 1);
    AddVisorRim(m_Solids, shell);
    AddHoses(m_Solids, hoses);
    AddScarf(m_Solids, scarf);
    AddToys(m_Solids, toys);
    AddStage(m_Solids);
    for (std::size_t material = 0; material < c_MaterialCount; ++material) {
        m_Template.meshes.push_back({material, {}});
    }
    for (const Solid& solid : m_Solids) {
        AddTemplate(solid);
    }
}

void Figure::AddTemplate(const Solid& solid) {
    const Pose rest = RestPose();
    Mesh& mesh = m_Template.meshes[solid.material].mesh;
    const auto base = static_cast<UINT32>(mesh.texCoords.size());
    m_Vertices.push_back(GridVertices(solid.grid));
    for (const GridVertex& vertex : m_Vertices.back()) {
        Vec2 place{static_cast<float>(vertex.chartAround), static_cast<float>(vertex.chartAlong)};
        if (solid.unwrap) {
            place =
                solid.unwrap(vertex.chartAlong, vertex.chartAround, solid.surface(rest, vertex.along, vertex.around));
        }
        mesh.texCoords.push_back(InChart(solid, place.u, place.v));
    }
    AddGridFaces(solid.grid, base, mesh.faces);
}

SourceFrame Figure::Frame(const Pose& pose) const {
    SourceFrame frame = m_Template;
    for (std::size_t i = 0; i < m_Solids.size(); ++i) {
        std::vector<Vec3>& positions = frame.meshes[m_Solids[i].material].mesh.positions;
        for (const GridVertex& vertex : m_Vertices[i]) {
            const Point p = m_Solids[i].surface(pose, vertex.along, vertex.around);
            positions.push_back({static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)});
        }
    }
    return frame;
}

Image Figure::Paint(Material material) const {
    const Pose rest = RestPose();
    Image image(c_TextureSizes[material].width, c_TextureSizes[material].height);
    for (const Solid& solid : m_Solids) {
        if (solid.material == material && solid.paint) {
            PaintSolid(solid, rest, image);
        }
    }
    return image;
}

}  // namespace Nimb::Authoring::Demo
