// The juggler: its solids, what each is shaped like, what moves it, and how it is painted.
#pragma once

#include "Authoring/Scene/MeshSource.h"
#include "Demo/Choreography.h"
#include "Demo/Colour.h"

#include <functional>
#include <vector>

namespace Nimb::Authoring::Demo {

enum Material : std::size_t { Shell, Hoses, Scarf, Toys, Display, Stage, c_MaterialCount };

/// Pixels of a material's texture.
struct Chart {
    std::size_t x = 0, y = 0, width = 0, height = 0;
};

/// Where on the animated textures things are shown.
constexpr Chart c_FaceChart{0, 0, 512, 352};
constexpr Chart c_CounterChart{0, 352, 256, 128};
constexpr Chart c_HaloChart{0, 480, 512, 32};
constexpr std::size_t c_DisplaySize = 512;
constexpr std::size_t c_StageSize = 768;
constexpr double c_StageRadius = 0.56;
constexpr double c_StageTop = 0.88;  ///< share of the stage picture's half-width that is the stage's upper side

/// One closed surface.
struct Solid {
    Material material;
    Grid grid;
    std::function<Point(const Pose&, double along, double around)> surface;
    Chart chart;
    std::function<Colour(const Spot&)> paint;  ///< none: the picture is made frame by frame
    std::function<Vec2(double along, double around, const Point& resting)>
        unwrap;  ///< within the chart; none: the grid
};

class Figure {
public:
    Figure();

    /// All materials, each once.
    SourceFrame Frame(const Pose& pose) const;

    /// Of a material whose solids are all painted: Shell, Hoses, Scarf and Toys.
    Image Paint(Material material) const;

private:
    void AddTemplate(const Solid& solid);

    std::vector<Solid> m_Solids;
    std::vector<std::vector<GridVertex>> m_Vertices;  // of each solid
    SourceFrame m_Template;                           // of the resting figure
};

}  // namespace Nimb::Authoring::Demo
