#include "Demo/Pictures.h"

#include "Demo/Figure.h"

#include <array>

namespace Nimb::Authoring::Demo {

namespace {

// Worked out once: they are asked for at every pixel.
const Colour c_GlassTop = Rgb(0x1a2747), c_GlassGlow = Rgb(0x2b4a7a), c_Cheek = Rgb(0xff7d8a);
const Colour c_CounterTop = Rgb(0x141d36), c_UnlitSegment = Rgb(0x1e2a49);
const Colour c_FloorCentre = Rgb(0x7583b4), c_FloorRim = Rgb(0x3a4570), c_StageSide = Rgb(0x1a2038);

/// Calls paint(u, v) for the chart's pixels; both grow from -1 to 1 over its height, u by as much more as it is wider.
template <class Paint>
void FillChart(Image& image, const Chart& chart, const Paint& paint) {
    const double half = static_cast<double>(chart.height) / 2;
    for (std::size_t y = 0; y < chart.height; ++y) {
        for (std::size_t x = 0; x < chart.width; ++x) {
            const double u = (static_cast<double>(x) + 0.5 - static_cast<double>(chart.width) / 2) / half;
            const double v = (static_cast<double>(y) + 0.5) / half - 1;
            SetPixel(image, chart.x + x, chart.y + y, paint(u, v));
        }
    }
}

/// Distance to a box with rounded corners around the origin; negative inside.
double RoundedBoxDistance(double x, double y, double halfWidth, double halfHeight, double corner) {
    const glm::dvec2 d(std::abs(x) - halfWidth + corner, std::abs(y) - halfHeight + corner);
    return glm::length(glm::max(d, 0.0)) + std::min(std::max(d.x, d.y), 0.0) - corner;
}

/// 1 inside of a shape, with a soft edge of about a pixel.
double Inside(double distance, double softness = 0.008) {
    return glm::smoothstep(softness, -softness, distance);
}

/// A shape that shines: its colour, and a halo of it around.
Colour Shine(const Colour& behind, const Colour& light, double distance) {
    if (distance > 1) {
        return behind;  // what is left of the halo is far below one step of a picture
    }
    const double around = 0.28 * std::exp(-std::max(distance, 0.0) / 0.07);
    return glm::mix(behind + light * around, light * 1.15, Inside(distance));
}

// ---- Face ----

/// How the face looks at a moment. Lengths in the unit of FillChart.
struct Expression {
    double lookX, lookY, lids, joy, mouth;
};

Expression ExpressionOf(const Pose& pose) {
    // Pleased for a moment when the round is through; the mouth hums with every throw.
    const double joy = glm::smoothstep(3.65, 3.85, pose.beat) * glm::smoothstep(4.75, 4.55, pose.beat);
    const double sinceBeat = glm::fract(pose.beat);
    return {0.55 * pose.gaze.x, -0.22 * std::clamp(pose.gaze.y - 0.95, -0.5, 0.6), pose.eyelids, joy,
            glm::smoothstep(0.0, 0.08, sinceBeat) * glm::smoothstep(0.5, 0.25, sinceBeat)};
}

double EyeDistance(const Expression& face, double x, double y) {
    const double open = 0.27 * (1 - 0.90 * face.lids);
    const double round = RoundedBoxDistance(x, y, 0.155, open, std::min(0.155, open));
    const double arc = std::abs(glm::length(glm::dvec2(x, y - 0.10)) - 0.19) - 0.055;
    const double smiling = std::max(arc, y - 0.11);
    return glm::mix(round, smiling, face.joy);
}

double MouthDistance(const Expression& face, double x, double y) {
    const double smile = std::max(std::abs(glm::length(glm::dvec2(x, y + 0.13)) - 0.21) - 0.032, -y - 0.01);
    const double singing = glm::length(glm::dvec2(x / 0.85, (y - 0.06) / 1.1)) - 0.085;
    return glm::mix(smile, singing, face.mouth * (1 - face.joy));
}

Colour FaceColour(const Expression& face, double u, double v) {
    Colour colour = glm::mix(c_GlassTop, Palette::Ink, glm::smoothstep(-1.1, 0.7, v));
    colour = colour + c_GlassGlow * (0.25 * std::exp(-(u * u * 0.5 + v * v) * 1.2));
    // The sky in the glass: a slanted band at the upper left.
    const double band = u * 0.80 + v + 1.42;
    colour = colour +
             Colour{0.10, 0.13, 0.18} * (glm::smoothstep(0.30, 0.28, std::abs(band)) * glm::smoothstep(0.3, -0.8, v));
    const double x = u - face.lookX, y = v - face.lookY;
    for (const double sign : {-1.0, 1.0}) {
        const double blush = glm::length(glm::dvec2((x * 0.8 + sign * 0.82) / 0.20, (y - 0.28) / 0.12));
        colour = glm::mix(colour, c_Cheek, (0.55 + 0.25 * face.joy) * glm::smoothstep(1.15, 0.75, blush));
    }
    const double eyes = std::min(EyeDistance(face, x + 0.50, y + 0.08), EyeDistance(face, x - 0.50, y + 0.08));
    colour = Shine(colour, Palette::Glow, std::min(eyes, MouthDistance(face, x, y - 0.30)));
    for (const double sign : {-1.0, 1.0}) {
        const double spark = glm::length(glm::dvec2(x + sign * 0.50 + 0.055, y + 0.20)) - 0.048;
        colour = glm::mix(colour, Colour(1), Inside(spark) * (1 - face.joy) * (1 - face.lids));
    }
    return colour;
}

// ---- Counter ----

/// Segments of the digits 0 to 9: top, upper left, upper right, middle, lower left, lower right, bottom.
constexpr std::array<const char*, 10> c_Segments{"1110111", "0010010", "1011101", "1011011", "0111010",
                                                 "1101011", "1101111", "1010010", "1111111", "1111011"};

/// Distance to segment `index` of a digit around the origin that is 0.56 wide and 1.1 high.
double SegmentDistance(std::size_t index, double x, double y) {
    constexpr double thick = 0.085, half = 0.28, height = 0.275;
    constexpr std::array<std::array<double, 2>, 7> centres{{{0, -2 * height},
                                                            {-half, -height},
                                                            {half, -height},
                                                            {0, 0},
                                                            {-half, height},
                                                            {half, height},
                                                            {0, 2 * height}}};
    const double dx = x - centres[index][0], dy = y - centres[index][1];
    const bool isLevel = index % 3 == 0;
    return isLevel ? RoundedBoxDistance(dx, dy, half - 0.06, thick, 0.08)
                   : RoundedBoxDistance(dx, dy, thick, height - 0.06, 0.08);
}

Colour CounterColour(std::size_t number, double u, double v) {
    Colour colour = glm::mix(c_CounterTop, Palette::Ink, 0.5 + 0.5 * v);
    const std::array<std::size_t, 3> digits{number / 100 % 10, number / 10 % 10, number % 10};
    for (std::size_t place = 0; place < digits.size(); ++place) {
        const double slant = 0.12 * v;
        const double x = u + slant - 0.92 * (static_cast<double>(place) - 1);
        for (std::size_t segment = 0; segment < 7; ++segment) {
            const double distance = SegmentDistance(segment, x, v);
            const bool isLit = c_Segments[digits[place]][segment] == '1';
            colour = isLit ? Shine(colour, Palette::Gold, distance)
                           : glm::mix(colour, c_UnlitSegment, Inside(distance, 0.02));
        }
    }
    return colour;
}

// ---- Halo ----

/// `around` and `across` the ring, both from 0 to 1: outermost at 0.25, innermost at 0.75. Three lights run around it
/// in three beats, so that each is the next one's place after every beat.
Colour HaloColour(double beat, double around, double across) {
    const double run = glm::fract(3 * around - beat);
    const double light = std::exp(-4.0 * run) + std::exp(-18 * (1 - run));
    const double shade = 0.62 + 0.38 * std::sin(2 * c_Pi * (across + 0.2));
    return Palette::Gold * (0.30 + 0.32 * shade) + Colour{1.0, 0.86, 0.55} * (1.5 * light);
}

// ---- Stage ----

constexpr std::size_t c_Tiles = 18;

struct Shadow {
    double x, z, radius, strength;
};

std::array<Shadow, 8> ShadowsOf(const Pose& pose) {
    std::array<Shadow, 8> shadows{};
    std::size_t count = 0;
    const auto add = [&](const Point& at, double radius, double strength) {
        const double height = std::max(at.y, 0.0);
        shadows[count++] = {at.x + 0.10 * height, at.z - 0.14 * height, radius + 0.10 * height,
                            strength / (1 + 2.2 * height)};
    };
    for (std::size_t side = 0; side < 2; ++side) {
        const Point foot = Apply(pose.joints[Feet + side], FootCentre(side));
        add(foot + Point{0, 0, -0.03}, 0.080 + 0.1 * foot.y, 0.90 / (1 + 8 * foot.y));
        add(foot + Point{0, 0, 0.06}, 0.075 + 0.1 * foot.y, 0.90 / (1 + 8 * foot.y));
    }
    add(Apply(pose.joints[Torso], c_Hip), 0.19, 0.75);
    for (std::size_t ball = 0; ball < 3; ++ball) {
        add(Point(pose.joints[Balls + ball][3]), 0.045, 0.75);
    }
    return shadows;
}

double LightOfTile(double beat, std::size_t tile) {
    const double since =
        glm::fract((beat - static_cast<double>(tile % c_BeatsPerLoop)) / c_BeatsPerLoop) * c_BeatsPerLoop;
    return std::exp(-1.6 * since) + 0.5 * glm::smoothstep(c_BeatsPerLoop - 0.12, double{c_BeatsPerLoop}, since);
}

/// What is the same all over the floor at a moment.
struct FloorLights {
    explicit FloorLights(double atBeat) : beat(glm::fract(atBeat)), pulse(std::exp(-4 * beat)) {
        for (std::size_t tile = 0; tile < c_Tiles; ++tile) {
            tiles[tile] = LightOfTile(atBeat, tile);
        }
    }

    double beat;   ///< share of the beat that is over
    double pulse;  ///< of the rings
    std::array<double, c_Tiles> tiles;
};

Colour FloorColour(const FloorLights& lights, double x, double z) {
    const std::array<Colour, 3> colours{Palette::Coral, Palette::Mustard, Palette::Teal};
    const double radius = glm::length(glm::dvec2(x, z));
    const double turn = glm::fract(std::atan2(x, z) / (2 * c_Pi)) * c_Tiles;
    const auto tile = std::min(static_cast<std::size_t>(turn), c_Tiles - 1);

    Colour colour = glm::mix(c_FloorCentre, c_FloorRim, glm::smoothstep(0.05, 0.42, radius));
    const double wave = std::abs(radius - 0.10 - 0.34 * lights.beat) - 0.006;
    colour = colour + Palette::Glow * (0.30 * (1 - lights.beat) * Inside(wave, 0.008));
    const double edge = std::abs(turn - std::floor(turn) - 0.5) * 2 * c_Pi * radius / c_Tiles;
    const double gap = c_Pi * radius / c_Tiles - edge;
    const double in = std::min(gap - 0.010, 0.045 - std::abs(radius - 0.475));
    const double light = lights.tiles[tile];
    colour = colour + colours[tile % 3] * (0.35 * light * std::exp(-std::abs(radius - 0.475) / 0.06));
    colour = glm::mix(colour, colours[tile % 3] * (0.30 + 1.25 * light), glm::smoothstep(0.0, 0.006, in));
    for (const double ring : {0.405, 0.542}) {
        colour = glm::mix(colour, Palette::Gold * (0.75 + 0.4 * lights.pulse),
                          Inside(std::abs(radius - ring) - 0.004, 0.003));
    }
    return colour;
}

}  // namespace

Image DisplayPicture(const Pose& pose, std::size_t number) {
    Image image(c_DisplaySize, c_DisplaySize);
    FillChart(image, {0, 0, c_DisplaySize, c_DisplaySize}, [](double, double) { return Palette::Ink; });
    const Expression face = ExpressionOf(pose);
    FillChart(image, c_FaceChart, [&](double u, double v) { return FaceColour(face, u, v); });
    FillChart(image, c_CounterChart, [&](double u, double v) { return CounterColour(number, u * 1.35, v * 1.35); });
    constexpr double aspect = static_cast<double>(c_HaloChart.width) / static_cast<double>(c_HaloChart.height);
    FillChart(image, c_HaloChart,
              [&](double u, double v) { return HaloColour(pose.beat, 0.5 + 0.5 * u / aspect, 0.5 + 0.5 * v); });
    return image;
}

Image StagePicture(const Pose& pose) {
    Image image(c_StageSize, c_StageSize);
    const std::array<Shadow, 8> shadows = ShadowsOf(pose);
    const FloorLights lights(pose.beat);
    FillChart(image, {0, 0, c_StageSize, c_StageSize}, [&](double u, double v) {
        if (const double radius = glm::length(glm::dvec2(u, v)); radius > c_StageTop) {
            return glm::mix(Palette::Gold, c_StageSide, glm::smoothstep(0.900, 0.912, radius));
        }
        const double x = u * c_StageRadius / c_StageTop, z = v * c_StageRadius / c_StageTop;
        double light = 1;
        for (const Shadow& shadow : shadows) {
            const double dx = (x - shadow.x) / shadow.radius, dz = (z - shadow.z) / shadow.radius;
            const double squared = dx * dx + dz * dz;
            if (squared < 12) {  // what is left of it farther out is below one step of a picture
                light *= 1 - shadow.strength * std::exp(-squared);
            }
        }
        return FloorColour(lights, x, z) * (0.08 + 0.92 * light);
    });
    return image;
}

}  // namespace Nimb::Authoring::Demo
