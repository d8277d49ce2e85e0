// Colours, and the soft light that is painted into the demo figure's textures: clips are shown unlit.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Demo/Space.h"

#include <cstdint>

namespace Nimb::Authoring::Demo {

/// Linear light; 1 is white.
using Colour = glm::dvec3;

/// From 0xRRGGBB as it is in pictures.
Colour Rgb(std::uint32_t value);

/// Opaque; too bright colours fade to white instead of changing their hue.
void SetPixel(Image& image, std::size_t x, std::size_t y, const Colour& colour);

namespace Palette {
inline const Colour Cream = Rgb(0xf7efe2), Teal = Rgb(0x1fa99b), Coral = Rgb(0xff6b57), Mustard = Rgb(0xf8b83d),
                    Navy = Rgb(0x2a3350), Ink = Rgb(0x0c1222), Glow = Rgb(0x6ff2ea), Gold = Rgb(0xffc24a);
}

/// A place on the surface of the resting figure.
struct Spot {
    double along = 0, around = 0;  ///< on its solid's grid
    Point at{}, normal{};
};

/// `colour` as the stage light shows it there. `gloss`: from 0 (cloth) to 1 (polished). `occluder`: which of the
/// figure's own masses the spot belongs to and is not shadowed by, see c_NoOccluder.
Colour Lit(const Colour& colour, const Spot& spot, double gloss, std::size_t occluder);

/// The masses that shadow their surroundings.
enum Occluder : std::size_t {
    TorsoMass,
    HeadMass,
    PackMass,
    VisorMass,
    HandMass,
    FootMass = HandMass + 2,
    c_NoOccluder = FootMass + 2
};

}  // namespace Nimb::Authoring::Demo
