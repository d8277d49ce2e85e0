#include "Demo/Colour.h"

#include "Demo/Choreography.h"

#include <array>

namespace Nimb::Authoring::Demo {

namespace {

struct Sphere {
    Point centre;
    double radius;
};

const std::array<Sphere, c_NoOccluder> c_Masses{{
    {{0, 0.52, 0}, 0.175},
    {{0, 0.935, 0}, 0.235},
    {{0, 0.56, -0.21}, 0.10},
    {{0, 0.935, 0.13}, 0.10},
    {HandCentre(0), 0.055},
    {HandCentre(1), 0.055},
    {FootCentre(0) + Point{0, 0.03, 0}, 0.08},
    {FootCentre(1) + Point{0, 0.03, 0}, 0.08},
}};

/// Share of the sky that the masses and the ground leave open above a spot.
double Openness(const Spot& spot, std::size_t own) {
    double open = 1;
    for (std::size_t i = 0; i < c_Masses.size(); ++i) {
        if (i == own) {
            continue;
        }
        const Point to = c_Masses[i].centre - spot.at;
        const double distance = std::max(glm::length(to), c_Masses[i].radius * 1.02);
        const double facing = 0.35 + 0.65 * glm::dot(spot.normal, to) / distance;
        open *= 1 - 0.85 * std::max(facing, 0.0) * std::pow(c_Masses[i].radius / distance, 2.4);
    }
    const double ground = std::exp(-std::max(spot.at.y, 0.0) / 0.07) * (0.65 - 0.35 * spot.normal.y);
    return open * (1 - 0.55 * ground);
}

double Linear(double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

/// The transfer curve of pictures, tabulated: pictures have millions of channels, and powers take their time.
class TransferCurve {
public:
    TransferCurve() {
        for (std::size_t i = 0; i < m_Linear.size(); ++i) {
            m_Linear[i] = Linear(static_cast<double>(i) / 255);
            m_Least[i] = i == 0 ? 0 : Linear((static_cast<double>(i) - 0.5) / 255);
        }
        std::size_t value = 0;
        for (std::size_t i = 0; i < m_AtStep.size(); ++i) {
            while (value < 255 && static_cast<double>(i) / c_Steps >= m_Least[value + 1]) {
                ++value;
            }
            m_AtStep[i] = static_cast<unsigned char>(value);
        }
    }

    double ToLinear(std::size_t value) const { return m_Linear[value]; }

    unsigned char FromLinear(double linear) const {
        const double light = std::clamp(linear, 0.0, 1.0);
        std::size_t value = m_AtStep[static_cast<std::size_t>(light * c_Steps)];
        while (value < 255 && light >= m_Least[value + 1]) {
            ++value;
        }
        return static_cast<unsigned char>(value);
    }

private:
    static constexpr std::size_t c_Steps = 4096;  // the curve rises by less than one value in a step

    std::array<double, 256> m_Linear;                 // of each value
    std::array<double, 256> m_Least;                  // the least light that is rounded to a value
    std::array<unsigned char, c_Steps + 1> m_AtStep;  // the value of the light that a step begins with
};

const TransferCurve& Curve() {
    static const TransferCurve curve;
    return curve;
}

}  // namespace

Colour Rgb(std::uint32_t value) {
    const auto channel = [value](unsigned shift) { return Curve().ToLinear((value >> shift) & 0xff); };
    return {channel(16), channel(8), channel(0)};
}

void SetPixel(Image& image, std::size_t x, std::size_t y, const Colour& colour) {
    const double excess = std::max({colour.r, colour.g, colour.b}) - 1;
    const Colour shown =
        excess > 0 ? glm::mix(colour * (1 / (1 + excess)), Colour(1), excess / (excess + 1.5)) : colour;
    unsigned char* pixel = image.Pixel(x, y);
    const TransferCurve& curve = Curve();
    pixel[0] = curve.FromLinear(shown.r);
    pixel[1] = curve.FromLinear(shown.g);
    pixel[2] = curve.FromLinear(shown.b);
    pixel[3] = 255;
}

Colour Lit(const Colour& colour, const Spot& spot, double gloss, std::size_t occluder) {
    static const Point key = glm::normalize(Point{-0.45, 0.85, 0.60}), fill = glm::normalize(Point{0.75, 0.25, -0.65});
    static const Point highlight = glm::normalize(key + Point{0, 0.1, 1});
    const Point& n = spot.normal;
    const double open = Openness(spot, occluder);
    const Colour ambient = glm::mix(Colour{0.30, 0.25, 0.30}, Colour{0.60, 0.64, 0.72}, 0.5 + 0.5 * n.y) * open;
    const Colour direct =
        Colour{0.60, 0.56, 0.48} * (std::max(0.0, (glm::dot(n, key) + 0.3) / 1.3) * glm::mix(1.0, open, 0.7));
    const Colour back = Colour{0.16, 0.19, 0.26} * (std::max(0.0, (glm::dot(n, fill) + 0.2) / 1.2) * open);
    const double shine = std::max(0.0, glm::dot(n, highlight));
    const double gleam = gloss * (0.30 * std::pow(shine, 60) + 0.10 * std::pow(shine, 9)) * open;
    return colour * (ambient + direct + back) + Colour{1, 0.98, 0.94} * gleam;
}

}  // namespace Nimb::Authoring::Demo
