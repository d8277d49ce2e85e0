#include "Demo/Choreography.h"

namespace Nimb::Authoring::Demo {

namespace {

// The juggler's cascade, in beats: a hand throws every second beat, a ball is thrown every third.
constexpr double c_HandPeriod = 2;
constexpr double c_BallPeriod = 3;
constexpr double c_Flight = 1.8;
constexpr double c_Empty = c_HandPeriod - (c_BallPeriod - c_Flight);  // from a throw to the hand's next catch
constexpr double c_FlightHeight = 0.72;

/// 1 on the beat, 0 between beats.
double Dip(double beat) {
    return std::pow(0.5 + 0.5 * std::cos(2 * c_Pi * beat), 1.3);
}

/// 1 when the weight is on the left foot, -1 on the right.
double Lean(double beat) {
    return std::cos(c_Pi * beat);
}

Transform TorsoAt(double beat) {
    const double lean = Lean(beat), stretch = 1.045 - 0.105 * Dip(beat), widen = 1 / std::sqrt(stretch);
    const Transform turn = TurnedY(0.16 * std::sin(c_Pi * beat)) * TurnedZ(-0.085 * lean) * TurnedX(0.03 * Dip(beat));
    return Moved({0.035 * lean, 0.018 - 0.05 * Dip(beat), -0.01 * Dip(beat)}) *
           About(c_Hip, turn * Scaled({widen, stretch, widen}));
}

/// From `a` to `b` with a speed at either end, per unit of s.
Point Hermite(const Point& a, const Point& speedA, const Point& b, const Point& speedB, double s) {
    const double s2 = s * s, s3 = s2 * s;
    return a * (2 * s3 - 3 * s2 + 1) + speedA * (s3 - 2 * s2 + s) + b * (3 * s2 - 2 * s3) + speedB * (s3 - s2);
}

/// The left hand throws on odd beats, the right one on even ones.
Transform HandAt(std::size_t side, double beat) {
    const double sign = SideSign(side);
    const double sinceThrow = c_HandPeriod * glm::fract((beat - (side == 0 ? 1 : 0)) / c_HandPeriod);
    const Point inside{0.165 * sign, 0.555, 0.31}, outside{0.335 * sign, 0.545, 0.26};
    const Point up{-0.10 * sign, 0.62, 0}, down{-0.05 * sign, -0.55, 0};  // per beat, as the ball leaves and arrives
    Point centre;
    if (sinceThrow < c_Empty) {
        centre = Hermite(inside, up * c_Empty, outside, down * c_Empty, sinceThrow / c_Empty);
    } else {
        const double carry = c_HandPeriod - c_Empty;
        centre = Hermite(outside, down * carry, inside, up * carry, (sinceThrow - c_Empty) / carry);
    }
    const Point follow = Apply(TorsoAt(beat), c_Neck) - c_Neck;
    centre = centre + follow * 0.6;
    const double phase = 2 * c_Pi * sinceThrow / c_HandPeriod;
    const Transform turn = TurnedY(-0.25 * sign) * TurnedZ(sign * (0.10 + 0.22 * std::cos(phase + 0.4))) *
                           TurnedX(-0.16 - 0.20 * std::cos(phase));
    return Moved(centre) * turn * Moved(-HandCentre(side));
}

Point BallInHand(std::size_t side, double beat) {
    return Apply(HandAt(side, beat), HandCentre(side) + Point{0, 0.076, 0.012});
}

Transform BallAt(std::size_t ball, double beat) {
    // Thrown on beats `ball`, `ball` + 3 and so on; every throw goes to the other hand.
    const double throws = std::floor((beat - static_cast<double>(ball)) / c_BallPeriod);
    const double thrown = throws * c_BallPeriod + static_cast<double>(ball);
    const bool fromRight = std::fmod(std::abs(thrown), 2.0) < 0.5;
    const std::size_t from = fromRight ? 1 : 0, to = 1 - from;
    const double share = (beat - thrown) / c_Flight;
    if (share >= 1) {
        return Moved(BallInHand(to, beat));
    }
    const Point arc{0, 4 * c_FlightHeight * share * (1 - share), 0};
    return Moved(glm::mix(BallInHand(from, thrown), BallInHand(to, thrown + c_Flight), share) + arc) *
           TurnedZ(fromRight ? -0.4 : 0.4) * TurnedX(-4 * c_Pi * share);
}

/// A foot rises before the beat on which it lands: the left one on even beats, the right one on odd ones.
Transform FootAt(std::size_t side, double beat) {
    constexpr double swing = 0.78;  // of a beat
    const double sinceLanding = 2 * glm::fract((beat - static_cast<double>(side)) / 2);
    const double s = std::max(0.0, (sinceLanding - (2 - swing)) / swing);
    const double rise = std::sin(c_Pi * std::pow(s, 0.85));
    const double toes = std::sin(2 * c_Pi * s) * (s < 0.5 ? 0.25 : 0.45);
    return Moved({0, 0.085 * rise * rise + 0.02 * rise, 0}) *
           About(FootCentre(side) + Point{0, 0.05, 0}, TurnedY(0.22 * SideSign(side)) * TurnedX(toes * rise));
}

Point Gaze(const Pose& pose) {
    Point sum(0);
    double weights = 0;
    for (std::size_t ball = 0; ball < 3; ++ball) {
        const Point at(pose.joints[Balls + ball][3]);
        const double weight = std::pow(std::max(at.y - 0.3, 0.0), 3);
        sum += at * weight;
        weights += weight;
    }
    return sum * (1 / weights);
}

Transform HeadAt(const Pose& pose, double beat) {
    const double late = beat - 0.14, stretch = 1.03 - 0.07 * Dip(late), widen = 1 / std::sqrt(stretch);
    const double nod = -0.20 * (pose.gaze.y - 0.95) + 0.10 * Dip(late);
    const Transform turn = TurnedY(0.9 * pose.gaze.x) * TurnedZ(0.10 * Lean(late)) * TurnedX(nod);
    const Point neck = Apply(pose.joints[Torso], c_Neck);
    return Moved(neck) * turn * Scaled({widen, stretch, widen}) * Moved(-c_Neck);
}

/// Floats over the head, after it and more calmly.
Transform HaloAt(const Pose& pose, double beat) {
    const Point above = Apply(pose.joints[Head], c_HaloCentre);
    return Moved({above.x * 0.85, c_HaloCentre.y + 0.55 * (above.y - c_HaloCentre.y) + 0.012 * std::sin(c_Pi * beat),
                  above.z}) *
           TurnedZ(-0.10 + 0.12 * Lean(beat - 0.35)) * TurnedX(0.16 + 0.05 * std::sin(2 * c_Pi * (beat - 0.3))) *
           Moved(-c_HaloCentre);
}

/// Loose ends of the scarf, in the wind; `beat` moves the waves along them.
Tube TailAt(const Pose& pose, std::size_t side, double beat) {
    const double sign = SideSign(side), lag = 0.9 * static_cast<double>(side), length = side == 0 ? 1.0 : 0.8;
    const Transform& torso = pose.joints[Torso];
    const auto curve = [&, sign, lag, length](double s) {
        const double wave = std::sin(2 * c_Pi * (beat / 2 - 0.75 * s) + lag),
                     flap = std::sin(2 * c_Pi * (beat - 1.1 * s));
        return Apply(torso, {0.055 * sign, 0.725, -0.10}) + Point{sign * 0.12 * s + 0.06 * s * wave,
                                                                  (-0.16 * s * s + 0.03 * s * flap) * length + 0.05 * s,
                                                                  -0.36 * s * length - 0.02 * s * wave};
    };
    return {curve, Turned(torso, {0.75 * sign, 0.65, 0})};
}

void AddLimbs(Pose& pose, double beat) {
    for (std::size_t side = 0; side < 2; ++side) {
        const double sign = SideSign(side);
        const Transform &torso = pose.joints[Torso], &hand = pose.joints[Hands + side],
                        &foot = pose.joints[Feet + side];
        const Point shoulder = Apply(torso, {0.156 * sign, 0.649, 0}),
                    elbow = Apply(torso, {0.266 * sign, 0.573, 0.009});
        const Point wrist = Apply(hand, HandCentre(side) + Point{0, -0.004, -0.05});
        pose.limbs[Arms + side] =
            Tube(Bezier(shoulder, elbow, wrist - Turned(hand, {-0.02 * sign, 0.003, 0.137}), wrist), {0, 0, 1});

        const Point hip = Apply(torso, {0.085 * sign, 0.400, 0}),
                    ankle = Apply(foot, FootCentre(side) + Point{0, 0.06, -0.01});
        const Point knee = Point{0.03 * sign, -0.02, 0.13};
        pose.limbs[Legs + side] =
            Tube(Bezier(hip, glm::mix(hip, ankle, 0.35) + knee, glm::mix(hip, ankle, 0.7) + knee, ankle), {1, 0, 0});
        pose.limbs[Tails + side] = TailAt(pose, side, beat);
    }
}

/// Blinks on either side of two moments of the loop.
double EyelidsAt(double beat) {
    double closed = 0;
    for (const double moment : {2.2, 5.3}) {
        closed = std::max(closed, 1 - glm::smoothstep(0.06, 0.24, std::abs(beat - moment)));
    }
    return closed;
}

}  // namespace

Pose RestPose() {
    Pose pose;
    AddLimbs(pose, 0.3);
    return pose;
}

Pose PoseAt(double seconds) {
    constexpr auto loop = static_cast<double>(c_BeatsPerLoop);
    const double beat = loop * glm::fract(seconds / (c_SecondsPerBeat * loop));
    Pose pose;
    pose.beat = beat;
    for (std::size_t ball = 0; ball < 3; ++ball) {
        pose.joints[Balls + ball] = BallAt(ball, beat);
    }
    for (std::size_t side = 0; side < 2; ++side) {
        pose.joints[Hands + side] = HandAt(side, beat);
        pose.joints[Feet + side] = FootAt(side, beat);
    }
    pose.gaze = Gaze(pose);
    pose.eyelids = EyelidsAt(beat);
    pose.joints[Torso] = TorsoAt(beat);
    pose.joints[Head] = HeadAt(pose, beat);
    pose.joints[Halo] = HaloAt(pose, beat);
    AddLimbs(pose, beat);
    return pose;
}

}  // namespace Nimb::Authoring::Demo
