#include "Demo/Capture/DancerPose.h"

#include <cstddef>

namespace Nimb::Authoring::Capture {
namespace {

using namespace Demo;  // transforms

struct Key {
    double time;
    Point value;
};

/// A cubic through the keys, whose tangents are those of chords between the neighbours (Catmull and Rom 1974). The last
/// key is the first one of the next loop.
template <std::size_t Count>
Point Through(const std::array<Key, Count>& keys, double seconds) {
    const Point gain = keys.back().value - keys.front().value;  // of a loop
    const double loops = std::floor(seconds / c_DanceSeconds);
    const double time = seconds - loops * c_DanceSeconds;
    const auto key = [&](std::ptrdiff_t i) {
        constexpr auto last = static_cast<std::ptrdiff_t>(Count) - 1;
        const std::ptrdiff_t loop = i < 0 ? -1 : i > last ? 1 : 0;
        const Key& found = keys[static_cast<std::size_t>(i - loop * last)];
        const auto by = static_cast<double>(loop);
        return Key{found.time + by * c_DanceSeconds, found.value + by * gain};
    };
    std::ptrdiff_t i = 0;
    while (i + 2 < static_cast<std::ptrdiff_t>(Count) && keys[static_cast<std::size_t>(i) + 1].time <= time) {
        ++i;
    }
    const Key before = key(i - 1), a = key(i), b = key(i + 1), after = key(i + 2);
    const double length = b.time - a.time;
    const double t = (time - a.time) / length;
    const Point m0 = (b.value - before.value) * (length / (b.time - before.time));
    const Point m1 = (after.value - a.value) * (length / (after.time - a.time));
    const double t2 = t * t, t3 = t2 * t;
    return (2 * t3 - 3 * t2 + 1) * a.value + (t3 - 2 * t2 + t) * m0 + (3 * t2 - 2 * t3) * b.value + (t3 - t2) * m1 +
           loops * gain;
}

// Wrists from the point between the shoulders, x outwards: one of the hips is touched, both are, the hands clap over
// the head, and later in front of the chest.
constexpr std::array<Key, 15> c_LeftHand{{{0.00, {0.30, -0.44, 0.08}},
                                          {0.35, {0.34, 0.30, 0.10}},
                                          {0.70, {0.30, 0.38, 0.00}},
                                          {1.00, {0.24, -0.34, 0.03}},
                                          {1.20, {0.24, -0.34, 0.03}},
                                          {1.45, {0.60, -0.02, 0.10}},
                                          {1.90, {0.58, 0.08, 0.05}},
                                          {2.20, {0.10, 0.40, 0.08}},
                                          {2.40, {0.10, 0.40, 0.08}},
                                          {2.75, {0.55, 0.20, 0.15}},
                                          {3.00, {0.30, -0.30, 0.25}},
                                          {3.25, {0.09, -0.20, 0.28}},
                                          {3.40, {0.09, -0.20, 0.28}},
                                          {3.70, {0.48, -0.20, 0.20}},
                                          {4.00, {0.30, -0.44, 0.08}}}};
constexpr std::array<Key, 14> c_RightHand{{{0.00, {0.30, -0.44, 0.08}},
                                           {0.35, {0.24, -0.34, 0.03}},
                                           {0.70, {0.24, -0.34, 0.03}},
                                           {1.20, {0.24, -0.34, 0.03}},
                                           {1.45, {0.60, -0.02, 0.10}},
                                           {1.90, {0.58, -0.05, 0.12}},
                                           {2.20, {0.10, 0.40, 0.08}},
                                           {2.40, {0.10, 0.40, 0.08}},
                                           {2.75, {0.45, -0.25, 0.20}},
                                           {3.00, {0.30, -0.10, 0.30}},
                                           {3.25, {0.09, -0.20, 0.28}},
                                           {3.40, {0.09, -0.20, 0.28}},
                                           {3.70, {0.32, 0.25, 0.30}},
                                           {4.00, {0.30, -0.44, 0.08}}}};

// Ankles over the ground where the figure stands, x outwards, turning with it: steps, a spin on the left leg with the
// right foot at the knee, a kick.
constexpr std::array<Key, 14> c_LeftFoot{{{0.00, {0.10, 0.00, 0.00}},
                                          {0.25, {0.20, 0.10, 0.05}},
                                          {0.50, {0.26, 0.00, 0.00}},
                                          {0.75, {0.26, 0.00, 0.00}},
                                          {1.00, {0.12, 0.06, 0.05}},
                                          {1.25, {0.05, 0.03, 0.00}},
                                          {2.00, {0.04, 0.04, 0.02}},
                                          {2.30, {0.12, 0.00, 0.00}},
                                          {2.60, {0.06, 0.00, 0.00}},
                                          {2.95, {0.08, 0.00, 0.00}},
                                          {3.20, {0.18, 0.10, 0.10}},
                                          {3.50, {0.22, 0.00, 0.12}},
                                          {3.75, {0.15, 0.08, 0.05}},
                                          {4.00, {0.10, 0.00, 0.00}}}};
constexpr std::array<Key, 14> c_RightFoot{{{0.00, {0.10, 0.00, 0.00}},
                                           {0.50, {0.10, 0.00, 0.00}},
                                           {0.75, {0.12, 0.10, 0.05}},
                                           {1.00, {0.14, 0.00, 0.00}},
                                           {1.25, {0.12, 0.15, -0.05}},
                                           {1.55, {0.04, 0.32, 0.10}},
                                           {1.90, {0.04, 0.32, 0.10}},
                                           {2.20, {0.14, 0.00, 0.00}},
                                           {2.45, {0.14, 0.02, -0.06}},
                                           {2.75, {0.18, 0.42, 0.50}},
                                           {3.05, {0.15, 0.02, 0.08}},
                                           {3.30, {0.13, 0.00, 0.00}},
                                           {3.60, {0.12, 0.00, 0.00}},
                                           {4.00, {0.10, 0.00, 0.00}}}};

// Radians: the pelvis around the upright, the chest against it, the head against the chest.
constexpr std::array<Key, 10> c_Turns{{{0.00, {0.00, 0.00, 0.00}},
                                       {0.50, {0.30, 0.15, -0.20}},
                                       {0.85, {-0.30, -0.20, 0.25}},
                                       {1.20, {0.00, -0.30, 0.40}},
                                       {1.65, {2.40, 0.20, -0.60}},
                                       {2.10, {5.10, 0.20, 0.50}},
                                       {2.50, {6.40, -0.05, 0.00}},
                                       {3.00, {6.08, 0.20, 0.15}},
                                       {3.50, {6.53, -0.15, -0.10}},
                                       {4.00, {2 * c_Pi, 0.00, 0.00}}}};

Point PelvisAt(double seconds) {
    const double beat = 2 * c_Pi * seconds;
    return {0.06 * std::sin(beat / 2), 0.935 + 0.015 * std::cos(2 * beat), 0.04 * std::sin(beat / 4)};
}

double YawAt(double seconds) {
    return Through(c_Turns, seconds).x;
}

Transform FrameOf(const Point& origin, const Point& along, const Point& towards) {
    const Point y = glm::normalize(along);
    const Point z = glm::normalize(towards - glm::dot(towards, y) * y);
    const Point x = glm::cross(y, z);
    return {glm::dvec4(x, 0), glm::dvec4(y, 0), glm::dvec4(z, 0), glm::dvec4(origin, 1)};
}

struct TwoBones {
    Transform upper, lower;
};

/// From a joint to a target that is clamped to what is in reach; the middle joint points to `pole`.
TwoBones Reach(const Point& root, const Point& target, double upper, double lower, const Point& pole) {
    const Point to = target - root;
    const double distance = std::clamp(glm::length(to), 0.25 * (upper + lower), 0.995 * (upper + lower));
    const Point along = glm::normalize(to);
    const Point aside = glm::normalize(pole - glm::dot(pole, along) * along);
    const double before = (upper * upper - lower * lower + distance * distance) / (2 * distance);
    const double height = std::sqrt(std::max(upper * upper - before * before, 0.0));
    const Point middle = root + before * along + height * aside;
    const Point end = root + distance * along;
    return {FrameOf(root, middle - root, aside), FrameOf(middle, end - middle, aside)};
}

void PlaceLimbs(DancerPose& pose, double seconds) {
    for (const std::size_t side : {0U, 1U}) {
        const double sign = side == 0 ? 1 : -1;
        const Point mirror(sign, 1, 1);
        const Point hand = mirror * (side == 0 ? Through(c_LeftHand, seconds) : Through(c_RightHand, seconds));
        const TwoBones arm = Reach(Apply(pose.chest, mirror * c_ShoulderJoint), Apply(pose.chest, hand), c_UpperArm,
                                   c_Forearm, Turned(pose.chest, {0.75 * sign, -0.45, -0.5}));
        pose.upperArm[side] = arm.upper;
        pose.forearm[side] = arm.lower;

        const Point step = mirror * (side == 0 ? Through(c_LeftFoot, seconds) : Through(c_RightFoot, seconds));
        const Point stand = PelvisAt(seconds) * Point(0.5, 0, 0.5);
        const double lift = std::max(step.y, 0.0);
        const Transform turned = Moved(stand) * TurnedY(YawAt(seconds));
        const Point ankle = Apply(turned, {step.x, c_AnkleHeight + lift, step.z});
        const TwoBones leg = Reach(Apply(pose.pelvis, mirror * c_HipJoint), ankle, c_Thigh, c_Shin,
                                   Turned(pose.pelvis, {0.2 * sign, 0, 1}));
        pose.thigh[side] = leg.upper;
        pose.shin[side] = leg.lower;
        const Point end = Apply(leg.lower, {0, c_Shin, 0});
        pose.foot[side] = Moved(end) * TurnedY(YawAt(seconds) + 0.15 * sign) * TurnedX(2.2 * std::min(lift, 0.3));
    }
}

/// What trails behind: a mean of the last third of a second, whose weights fade.
void PlaceTrailing(DancerPose& pose, double seconds) {
    constexpr int steps = 20;
    constexpr double step = 1.0 / 60;
    double weights = 0, yaw = 0, speed = 0;
    Point place(0);
    for (int i = 0; i < steps; ++i) {
        const double weight = std::exp(-i / 7.0);
        const double then = seconds - i * step;
        weights += weight;
        yaw += weight * YawAt(then);
        speed += weight * std::abs(YawAt(then) - YawAt(then - step)) / step;
        place += weight * PelvisAt(then);
    }
    yaw /= weights;
    pose.hemLag = std::clamp(yaw - YawAt(seconds), -1.2, 1.2);
    pose.flare = 1 - std::exp(-std::pow(speed / weights / 5, 2));
    pose.foldPhase = 2 * std::sin(c_Pi * seconds);
    pose.skirt = Moved(PelvisAt(seconds)) * TurnedY(YawAt(seconds));
    pose.hemOffset = 1.5 * Turned(glm::inverse(pose.skirt), place / weights - PelvisAt(seconds));
    pose.hemOffset.y = 0;
    const double lift = 0.25 + 0.9 * pose.flare;
    const Transform head = pose.head * TurnedY(0.8 * pose.hemLag);
    pose.tail = FrameOf(Apply(head, {0, 0.07, -0.095}), Turned(head, {0, -1, -lift}), Turned(head, {0, 0.3, -1}));
}

}  // namespace

DancerPose DancerAt(double seconds) {
    DancerPose pose;
    const Point turns = Through(c_Turns, seconds);
    const double beat = 2 * c_Pi * seconds;
    pose.pelvis = Moved(PelvisAt(seconds)) * TurnedY(turns.x) * TurnedZ(0.07 * std::sin(beat / 2 + 0.6));
    const Transform lean = TurnedX(0.06 + 0.06 * std::sin(beat / 2)) * TurnedZ(0.09 * std::sin(beat / 2 + 2.5));
    pose.chest = pose.pelvis * lean * TurnedY(turns.y) * Moved({0, 0.43, 0});
    pose.head = pose.chest * Moved({0, 0.09, 0}) * TurnedY(turns.z) * TurnedX(0.08 * std::sin(beat)) *
                TurnedZ(0.08 * std::sin(beat / 2)) * Moved({0, 0.14, 0.015});
    PlaceLimbs(pose, seconds);
    PlaceTrailing(pose, seconds);
    return pose;
}

}  // namespace Nimb::Authoring::Capture
