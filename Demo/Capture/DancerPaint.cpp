// How the dancer looks: patterns in the parts' own coordinates.
#include "Demo/Capture/DancerParts.h"
#include "Demo/Capture/Distances.h"

namespace Nimb::Authoring::Capture {
namespace {

using Demo::Colour;
using Demo::Rgb;

constexpr double c_Edge = 0.0012;  ///< half of an edge's width, in metres

const Colour c_SkinColour = Rgb(0xe0ac86), c_Lips = Rgb(0xb24a4a), c_HairColour = Rgb(0x4a2c1a), c_Ink = Rgb(0x1b1a20),
             c_White = Rgb(0xf6f2ea), c_Navy = Rgb(0x27375f), c_Coral = Rgb(0xe0523f), c_Sun = Rgb(0xf4c13a),
             c_Leaf = Rgb(0x3f8a5a), c_Denim = Rgb(0x3d4f74), c_Seam = Rgb(0xc9953f);

/// 1 where `distance` is below 0, 0 above.
double Inside(double distance) {
    return 1 - Ramp(-c_Edge, c_Edge, distance);
}

/// Distance to the border of stripes that are `width` wide and as far apart, negative within.
double Stripe(double x, double width) {
    const double period = 2 * width;
    const double at = x - period * std::floor(x / period);
    return std::abs(at - width) - width / 2;
}

Colour Over(const Colour& below, const Colour& above, double share) {
    return below + (above - below) * share;
}

/// Soft blotches as on skin and cloth, between -1 and 1.
double Mottled(const Point& at, double wave) {
    const Point p = at * (2 * Demo::c_Pi / wave);
    return (std::sin(p.x + 1.3 * std::sin(p.y)) + std::sin(p.y + 1.1 * std::sin(p.z) + 2) +
            std::sin(p.z + 1.2 * std::sin(p.x) + 4)) /
           3;
}

Colour SkinAt(const Point& own) {
    return c_SkinColour * (1 + 0.07 * Mottled(own, 0.031) + 0.05 * Mottled(own + 1.0, 0.012));
}

Colour FaceAt(const Point& at) {
    Colour colour = SkinAt(at);
    if (at.z < 0.02) {
        return colour;
    }
    const double aside = std::abs(at.x) - 0.031;
    colour = Over(colour, Rgb(0xd9806a), 0.5 * (1 - Ramp(0.004, 0.022, std::hypot(aside - 0.006, at.y + 0.028))));
    colour = Over(colour, c_White, Inside(0.011 * (std::hypot(aside / 0.017, (at.y - 0.012) / 0.010) - 1)));
    const double iris = std::hypot(aside, at.y - 0.012);
    colour = Over(colour, Rgb(0x3b6a4a), Inside(iris - 0.0085));
    colour = Over(colour, c_Ink, Inside(iris - 0.0045));
    const double brow = std::max(std::abs(at.y - 0.034 + 14 * aside * aside) - 0.004, std::abs(aside) - 0.019);
    colour = Over(colour, c_HairColour, Inside(brow));
    const double smile = at.y + 0.068 - 12 * at.x * at.x;
    return Over(colour, c_Lips, Inside(0.007 * (std::hypot(at.x / 0.027, smile / 0.008) - 1)));
}

Colour HairAt(const Point& own) {
    const double strand = std::sin(70 * std::atan2(own.x, -own.z) + 25 * own.y);
    return c_HairColour * (1 + 0.35 * strand + 0.15 * Mottled(own, 0.04));
}

Colour ShirtAt(const Point& at) {
    Colour colour = Over(c_White, c_Navy, Inside(Stripe(at.y, 0.022)));
    if (at.z > 0) {
        colour = Over(colour, c_Sun, Inside(std::hypot(at.x, at.y + 0.11) - 0.036));
        colour = Over(colour, c_Coral, Inside(std::hypot(at.x, at.y + 0.11) - 0.020));
    }
    return colour * (1 + 0.04 * Mottled(at, 0.017));
}

/// Checks along and around a limb.
Colour SleeveAt(const Point& at) {
    const double around = 0.045 * std::atan2(at.x, at.z);
    Colour colour = Over(c_White, c_Coral, 0.6 * Inside(Stripe(at.y, 0.0175)));
    colour = Over(colour, c_Navy, 0.6 * Inside(Stripe(around, 0.0177)));
    return colour * (1 + 0.04 * Mottled(at, 0.017));
}

Colour TrousersAt(const Point& at) {
    const double around = std::atan2(at.x, at.z);
    Colour colour = c_Denim * (1 + 0.12 * Mottled(at, 0.05) + 0.08 * std::sin(at.y * 700 + 3 * around));
    colour = Over(colour, c_Seam, Inside(std::abs(0.05 * std::sin(around - 1.5)) - 0.003) * (at.x > 0 ? 1 : 0.4));
    return Over(colour, c_Ink, 0.5 * Inside(Stripe(at.y + 0.02, 0.05) + 0.018));
}

/// Flowers in rows that follow the cloth.
Colour SkirtAt(const Part& part, const Point& own) {
    const Point at = SkirtCoordinates(part.skirt, own);
    if (at.z < 0.93 && at.y > 0.9) {
        return Rgb(0x6b2a2a) * (1 + 0.1 * Mottled(own, 0.05));  // the lining
    }
    constexpr double rows = 6, columns = 14;
    const double radius = 0.14 + 0.14 * std::clamp(at.y, 0.0, 1.0);
    const double row = std::floor(at.y * rows);
    const double turn = at.x / (2 * Demo::c_Pi) * columns + 0.5 * row;
    const Point cell((turn - std::floor(turn) - 0.5) * 2 * Demo::c_Pi * radius / columns,
                     (at.y * rows - row - 0.5) * 0.5 / rows, 0);
    const double away = glm::length(cell), angle = std::atan2(cell.y, cell.x);
    Colour colour = c_Coral * (1 + 0.05 * Mottled(own, 0.03));
    const bool isSun = std::fmod(std::abs(row + std::floor(turn)), 2.0) < 0.5;
    colour = Over(colour, isSun ? c_Sun : c_White, Inside(away - 0.024 - 0.006 * std::cos(5 * angle)));
    colour = Over(colour, isSun ? c_Coral : c_Leaf, Inside(away - 0.009));
    return Over(colour, c_Navy, Inside(0.5 * (0.95 - at.y)));
}

Colour ShoeAt(const Point& at) {
    const Colour colour = Over(c_Sun, c_White, Inside(at.y + 0.055));
    const double lace = std::max(Stripe(at.z, 0.009), std::abs(at.x) - 0.018);
    return Over(colour, c_Ink, at.z > 0.03 && at.y > -0.03 ? Inside(lace) : 0);
}

}  // namespace

Colour ColourOf(const Part& part, const Point& p) {
    const Point own = part.paintTurn * (p - part.paintOrigin);
    const Point at = own + part.pattern;
    switch (part.cloth) {
        case Cloth::Skin:
            return SkinAt(at);
        case Cloth::Face:
            return FaceAt(at);
        case Cloth::Hair:
            return HairAt(at);
        case Cloth::Shirt:
            return ShirtAt(at);
        case Cloth::Sleeve:
            return SleeveAt(at);
        case Cloth::Skirt:
            return SkirtAt(part, own);
        case Cloth::Trousers:
            return TrousersAt(at);
        default:
            return ShoeAt(at);
    }
}

}  // namespace Nimb::Authoring::Capture
