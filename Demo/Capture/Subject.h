// What stands in front of the simulated cameras: a solid that moves, by its signed distance and its colours.
#pragma once

#include "Demo/Colour.h"
#include "Demo/Space.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Nimb::Authoring::Capture {

using Demo::Colour;
using Demo::Point;

struct Bounds {
    Point min{0}, max{0};
};

/// The solid at one time. Any thread may ask.
class Solid {
public:
    virtual ~Solid() = default;

    /// To the surface, in metres, negative inside. Not much more than the true distance anywhere.
    virtual double Distance(const Point& p) const = 0;

    /// Of the surface near `p`: it moves with the surface.
    virtual Colour ColourAt(const Point& p) const = 0;

    /// Holds all of the solid.
    virtual Bounds Around() const = 0;

    /// Places of the surface that cameras see badly, so that captures have holes there.
    virtual std::vector<Point> Hidden() const { return {}; }
};

class Subject {
public:
    virtual ~Subject() = default;
    virtual std::size_t FrameCount() const = 0;
    virtual double FrameRate() const = 0;
    virtual std::string Name() const = 0;

    /// Throws InputError when the frame cannot be loaded.
    virtual std::unique_ptr<Solid> At(std::size_t frame) const = 0;
};

/// The unit vector away from the surface: the gradient of the distance.
Point Outwards(const Solid& solid, const Point& p);

/// The point of the surface straight below or above `p`, which must be near it.
Point OntoSurface(const Solid& solid, const Point& p);

}  // namespace Nimb::Authoring::Capture
