// The dance of the capture's figure: where its bones and its skirt are at a time. It repeats after four seconds.
#pragma once

#include "Demo/Space.h"

#include <array>

namespace Nimb::Authoring::Capture {

using Demo::Point;
using Demo::Transform;

/// Lengths of bones, in metres. The figure is about 1.7 m tall.
constexpr double c_UpperArm = 0.28, c_Forearm = 0.25, c_Thigh = 0.42, c_Shin = 0.42;
constexpr double c_AnkleHeight = 0.08;
constexpr Point c_ShoulderJoint{0.165, -0.01,
                                0};           ///< on the chest, of the left side; the right one is its mirror image
constexpr Point c_HipJoint{0.085, -0.05, 0};  ///< on the pelvis, likewise
constexpr double c_DanceSeconds = 4;

/// From the bones' own coordinates to the stage: y up, and z forwards in the rest pose. Limbs go along their y axis; z
/// points to where the joint in their middle bends. Sides: 0 is the figure's left, +x as it faces +z.
struct DancerPose {
    Transform pelvis{1}, chest{1}, head{1}, tail{1};
    std::array<Transform, 2> upperArm, forearm, thigh, shin, foot;

    Transform skirt{1};    ///< upright, at the pelvis
    double hemLag = 0;     ///< radians that the hem is turned behind the waist
    Point hemOffset{0};    ///< of the hem's centre, in the skirt's coordinates
    double flare = 0;      ///< from 0, hanging, to 1, spun out
    double foldPhase = 0;  ///< radians
};

DancerPose DancerAt(double seconds);

}  // namespace Nimb::Authoring::Capture
