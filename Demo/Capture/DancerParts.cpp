#include "Demo/Capture/DancerParts.h"

#include "Demo/Capture/Distances.h"

namespace Nimb::Authoring::Capture {
namespace {

constexpr double c_SkirtTop = 0.10, c_SkirtWaist = 0.135;

double SkirtHem(const SkirtShape& skirt) {
    return -0.40 + 0.17 * skirt.flare;
}

double SkirtRadius(const SkirtShape& skirt, double share, double angle) {
    const double hem = 0.25 + 0.19 * skirt.flare;
    const double down = std::max(share, 0.0);
    const double folds = (0.020 - 0.006 * skirt.flare) * std::min(down * down, 1.5);
    return c_SkirtWaist + (hem - c_SkirtWaist) * std::pow(down, 0.8) + folds * std::cos(7 * angle + skirt.phase);
}

double SkirtDistance(const SkirtShape& skirt, const Point& own) {
    const Point at = SkirtCoordinates(skirt, own);
    const double radius = SkirtRadius(skirt, at.y, at.x);
    const double hem = SkirtHem(skirt);
    // The flank leans and has folds, so that the way to it is shorter than the difference of radii.
    const double lean = (0.25 + 0.19 * skirt.flare - c_SkirtWaist) / (c_SkirtTop - hem);
    const double folds = 0.14 * std::clamp(at.y, 0.0, 1.0) / std::max(radius, 0.15);
    const double flank = (at.z - 1) * radius / std::sqrt(1 + lean * lean + folds * folds);
    const double hollow = hem + 0.09 * (1 - std::min(at.z * at.z, 1.5));
    const double below = (hollow - own.y) / 1.25;
    return SmoothMax(SmoothMax(flank, own.y - c_SkirtTop, 0.03), below, 0.03);
}

/// Adds parts to one limb.
class Builder {
public:
    explicit Builder(DancerParts& out) : m_Out(out) {}

    void Begin(Limb limb, const LimbJoint& joint) {
        m_Limb = limb;
        m_Out.joints[limb] = joint;
    }

    Part& Add(Part::Kind kind, Cloth cloth, const Transform& frame, const Point& origin, const Point& size) {
        Part part;
        part.kind = kind;
        part.limb = m_Limb;
        part.cloth = cloth;
        part.turn = glm::transpose(glm::dmat3(frame));
        part.origin = Demo::Apply(frame, origin);
        part.size = size;
        part.paintTurn = part.turn;
        part.paintOrigin = part.origin;
        m_Out.parts.push_back(part);
        return m_Out.parts.back();
    }

    void Ball(Cloth cloth, const Transform& frame, const Point& centre, const Point& radii) {
        Add(Part::Kind::Ellipsoid, cloth, frame, centre, radii).pattern = centre;
    }
    void Cone(Cloth cloth, const Transform& frame, const Point& start, const Point& lengthAndRadii) {
        Add(Part::Kind::Cone, cloth, frame, start, lengthAndRadii).pattern = start;
    }

private:
    DancerParts& m_Out;
    Limb m_Limb = Trunk;
};

void AddTrunk(Builder& out, const DancerPose& pose) {
    out.Begin(Trunk, {{}, 1, 0.05, 0.05});
    out.Ball(Cloth::Trousers, pose.pelvis, {0, -0.02, 0}, {0.165, 0.12, 0.115});
    out.Add(Part::Kind::Ellipsoid, Cloth::Shirt, pose.pelvis, {0, 0.16, 0}, {0.12, 0.15, 0.09}).pattern =
        Point(0, 0.16 - 0.43, 0);  // in the chest's coordinates at rest, where stripes come from
    out.Ball(Cloth::Shirt, pose.chest, {0, -0.12, 0}, {0.15, 0.18, 0.105});
    const Transform across = pose.chest * Demo::TurnedZ(-Demo::c_Pi / 2);
    Part& shoulders = out.Add(Part::Kind::Cone, Cloth::Sleeve, across, {0.015, -0.14, -0.005}, {0.28, 0.055, 0.055});
    shoulders.pattern = {0, -0.14, 0};
    for (const double side : {-1.0, 1.0}) {
        out.Ball(Cloth::Shirt, pose.chest, {0.062 * side, -0.15, 0.07}, {0.055, 0.055, 0.045});
    }
    out.Cone(Cloth::Skin, pose.chest, {0, 0.01, -0.01}, {0.11, 0.052, 0.046});
}

void AddHead(Builder& out, const DancerPose& pose) {
    out.Begin(HeadLimb, {Demo::Apply(pose.head, {0, -0.11, -0.01}), 0.06, 0.03, 0.015});
    out.Ball(Cloth::Face, pose.head, {0, 0.02, 0}, {0.074, 0.102, 0.09});
    out.Ball(Cloth::Face, pose.head, {0, -0.062, 0.022}, {0.052, 0.056, 0.062});
    out.Ball(Cloth::Face, pose.head, {0, -0.018, 0.09}, {0.012, 0.024, 0.017});
    out.Ball(Cloth::Hair, pose.head, {0, 0.048, -0.014}, {0.088, 0.090, 0.098});
    out.Begin(TailLimb, {Demo::Apply(pose.tail, {0, 0, 0}), 0.04, 0.02, 0.02});
    out.Cone(Cloth::Hair, pose.tail, {0, 0, 0}, {0.10, 0.026, 0.034});
    out.Cone(Cloth::Hair, pose.tail, {0, 0.10, 0}, {0.13, 0.033, 0.014});
}

void AddLegs(Builder& out, DancerParts& parts, const DancerPose& pose) {
    for (const std::size_t side : {0U, 1U}) {
        out.Begin(side == 0 ? LeftLeg : RightLeg, {Demo::Apply(pose.thigh[side], {0, 0, 0}), 0.12, 0.05, 0.03});
        out.Cone(Cloth::Trousers, pose.thigh[side], {0, 0, 0}, {c_Thigh, 0.084, 0.056});
        out.Cone(Cloth::Trousers, pose.shin[side], {0, 0, 0}, {c_Shin, 0.056, 0.038});
        parts.parts.back().pattern = {0, c_Thigh, 0};
        out.Ball(Cloth::Shoe, pose.foot[side], {0, -0.035, 0.05}, {0.042, 0.04, 0.115});
    }
}

void AddSkirt(Builder& out, DancerParts& parts, const DancerPose& pose) {
    out.Begin(SkirtLimb, {Demo::Apply(pose.skirt, {0, c_SkirtTop, 0}), 0.1, 0.015, 0.05});
    const Part skirt = [&] {
        Part& added = out.Add(Part::Kind::Skirt, Cloth::Skirt, pose.skirt, {0, 0, 0}, {0, 0, 0});
        added.skirt = {pose.hemLag, pose.flare, pose.foldPhase, pose.hemOffset};
        return added;
    }();
    for (const Transform& thigh : pose.thigh) {
        // Where a leg is lifted, the cloth lies over it.
        Part& over = out.Add(Part::Kind::Cone, Cloth::Skirt, thigh, {0, 0, 0}, {0.27 - 0.19 * pose.flare, 0.10, 0.083});
        over.skirt = skirt.skirt;
        over.paintTurn = skirt.turn;
        over.paintOrigin = skirt.origin;
    }
    parts.hidden.push_back(Demo::Apply(pose.skirt, {0.1, SkirtHem(skirt.skirt) + 0.05, 0.05}));
    parts.hidden.push_back(Demo::Apply(pose.skirt, {-0.1, SkirtHem(skirt.skirt) + 0.05, -0.05}));
}

void AddArms(Builder& out, DancerParts& parts, const DancerPose& pose) {
    for (const std::size_t side : {0U, 1U}) {
        const double sign = side == 0 ? 1 : -1;
        out.Begin(side == 0 ? LeftArm : RightArm, {Demo::Apply(pose.upperArm[side], {0, 0, 0}), 0.08, 0.05, 0.02});
        out.Cone(Cloth::Sleeve, pose.upperArm[side], {0, 0, 0}, {c_UpperArm, 0.048, 0.039});
        const Transform& forearm = pose.forearm[side];
        out.Cone(Cloth::Skin, forearm, {0, 0, 0}, {c_Forearm, 0.039, 0.027});
        out.Ball(Cloth::Skin, forearm, {0, c_Forearm + 0.055, 0}, {0.041, 0.056, 0.020});
        out.Ball(Cloth::Skin, forearm, {0, c_Forearm + 0.125, -0.006}, {0.034, 0.056, 0.014});
        const Transform thumb =
            forearm * Demo::Moved({-0.03 * sign, c_Forearm + 0.035, -0.004}) * Demo::TurnedZ(0.6 * sign);
        out.Cone(Cloth::Skin, thumb, {0, 0, 0}, {0.06, 0.014, 0.011});
        parts.hidden.push_back(Demo::Apply(pose.chest, {0.13 * sign, -0.10, 0}));
    }
    parts.hidden.push_back(Demo::Apply(pose.head, {0, -0.11, 0.03}));
}

}  // namespace

double Part::Distance(const Point& p) const {
    const Point own = Own(p);
    switch (kind) {
        case Kind::Cone:
            return RoundCone(own, size.x, size.y, size.z);
        case Kind::Ellipsoid:
            return Ellipsoid(own, size);
        default:
            return SkirtDistance(skirt, own);
    }
}

Point SkirtCoordinates(const SkirtShape& skirt, const Point& own) {
    const double share = (c_SkirtTop - own.y) / (c_SkirtTop - SkirtHem(skirt));
    const double along = std::clamp(share, 0.0, 1.2);
    const Point from = own - along * along * skirt.offset;
    const double angle = std::atan2(from.z, from.x) + skirt.lag * along;  // angles grow against turns around y
    const double radius = SkirtRadius(skirt, share, angle);
    return {angle, share, std::hypot(from.x, from.z) / radius};
}

DancerParts PartsOf(const DancerPose& pose) {
    DancerParts out;
    Builder builder(out);
    AddTrunk(builder, pose);
    AddHead(builder, pose);
    AddLegs(builder, out, pose);
    AddSkirt(builder, out, pose);
    AddArms(builder, out, pose);
    return out;
}

}  // namespace Nimb::Authoring::Capture
