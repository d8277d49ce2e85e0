// What the dancer is made of, at one time.
#pragma once

#include "Demo/Capture/DancerPose.h"
#include "Demo/Colour.h"

#include <vector>

namespace Nimb::Authoring::Capture {

enum class Cloth { Skin, Face, Hair, Shirt, Sleeve, Skirt, Trousers, Shoe };

/// Parts of a limb join softly among themselves; limbs join the trunk softly at their joints and hardly elsewhere.
enum Limb : std::size_t { Trunk, HeadLimb, TailLimb, LeftLeg, RightLeg, SkirtLimb, LeftArm, RightArm, c_LimbCount };

struct LimbJoint {
    Point centre{0};
    double radius = 0;  ///< soft within, hard at twice of it
    double softness = 0;
    double within = 0;  ///< how soft parts of the limb join
};

struct SkirtShape {
    double lag = 0, flare = 0, phase = 0;
    Point offset{0};
};

struct Part {
    enum class Kind { Cone, Ellipsoid, Skirt };
    Kind kind = Kind::Cone;
    Limb limb = Trunk;
    Cloth cloth = Cloth::Skin;
    glm::dmat3 turn{1};  // to the part's own coordinates, after the origin was taken off
    Point origin{0};
    Point size{0};     // length and both radii, or radii
    Point pattern{0};  // added to own coordinates for the pattern, so that it goes on from part to part
    SkirtShape skirt;
    glm::dmat3 paintTurn{1};  // likewise, to the coordinates that it is painted in
    Point paintOrigin{0};

    Point Own(const Point& p) const { return turn * (p - origin); }
    double Distance(const Point& p) const;
};

struct DancerParts {
    std::vector<Part> parts;  ///< limbs ascending
    LimbJoint joints[c_LimbCount];
    std::vector<Point> hidden;
};

DancerParts PartsOf(const DancerPose& pose);

/// The skirt's own coordinates of a point: the angle in radians, the share of the way from waist to hem, and the
/// distance from the axis as a share of the radius.
Point SkirtCoordinates(const SkirtShape& skirt, const Point& own);

/// Near the part's surface.
Demo::Colour ColourOf(const Part& part, const Point& p);

}  // namespace Nimb::Authoring::Capture
