// The dance: where every joint of the juggler is at a moment. One beat is half a second; the whole repeats after six,
// when each of the three balls has been thrown once by either hand.
#pragma once

#include "Demo/Surface.h"

#include <array>
#include <cstddef>

namespace Nimb::Authoring::Demo {

constexpr double c_SecondsPerBeat = 0.5;
constexpr std::size_t c_BeatsPerLoop = 6;

/// Sides: index 0 is the figure's left, which is +x as it faces +z; 1 is its right.
enum Joint : std::size_t {
    Ground,
    Torso,
    Head,
    Halo,
    Hands,
    Feet = Hands + 2,
    Balls = Feet + 2,
    c_JointCount = Balls + 3
};
enum Limb : std::size_t { Arms, Legs = Arms + 2, Tails = Legs + 2, c_LimbCount = Tails + 2 };

constexpr double SideSign(std::size_t side) {
    return side == 0 ? 1 : -1;
}

/// Places of the resting figure, in metres.
constexpr Point c_Hip{0, 0.40, 0};
constexpr Point c_Neck{0, 0.715, 0};
constexpr Point c_HeadCentre{0, 0.935, 0.01};
constexpr Point c_HaloCentre{0, 1.255, -0.01};
constexpr double c_BallRadius = 0.062;
inline Point HandCentre(std::size_t side) {
    return {0.25 * SideSign(side), 0.52, 0.29};
}
inline Point FootCentre(std::size_t side) {
    return {0.125 * SideSign(side), 0, 0.02};
}

struct Pose {
    Pose() { joints.fill(Transform(1)); }

    /// Take points of the resting figure to where they are now. Balls rest at the origin.
    std::array<Transform, c_JointCount> joints;
    std::array<Tube, c_LimbCount> limbs;

    double beat = 0;     ///< from 0 to c_BeatsPerLoop
    Point gaze{};        ///< what the eyes follow
    double eyelids = 0;  ///< 0 open, 1 closed
};

/// Upright, without any turn: what the static textures are painted for.
Pose RestPose();

/// Repeats every c_BeatsPerLoop beats.
Pose PoseAt(double seconds);

}  // namespace Nimb::Authoring::Demo
