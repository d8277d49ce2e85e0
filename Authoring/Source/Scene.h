// A glTF scene: nodes, what is attached to them, and how they move.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Source/SourceMaterial.h"
#include "Authoring/Source/TextureSpace.h"

#include <glm/mat4x3.hpp>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

constexpr std::size_t c_NoNode = SIZE_MAX;

/// Of an affine map; the last of the four columns is the translation.
using Matrix = glm::dmat4x3;

struct SceneNode {
    std::size_t parent = c_NoNode;
    std::array<double, 3> translation{0, 0, 0};
    std::array<double, 4> rotation{0, 0, 0, 1};  ///< x, y, z, w
    std::array<double, 3> scale{1, 1, 1};
    std::optional<Matrix> matrix;  ///< instead of the three above
    std::vector<double> weights;   ///< of the morph targets
};

struct MorphTarget {
    std::vector<Vec3> positions;  ///< differences
    std::vector<Vec3> normals;    ///< likewise, or empty
};

/// One primitive; the per-vertex arrays are all of one length.
struct ScenePrimitive {
    std::size_t material = 0;
    Surface surface;
    std::optional<PaintedSurface> painted;  ///< until the scene is painted; `surface` has no texture coordinates then
    std::vector<Vec3> positions;
    std::vector<Vec3> normals;  ///< or empty
    std::vector<MorphTarget> targets;
    std::size_t influences = 0;   ///< joints a vertex has
    std::vector<UINT32> joints;   ///< `influences` for each vertex: places in the skin's list
    std::vector<double> weights;  ///< likewise; their sum is 1
    std::size_t welded = 0;       ///< vertices of the file that are gone since they are equal to others
};

struct SceneSkin {
    std::vector<std::size_t> joints;  ///< nodes
    std::vector<Matrix> inverseBind;  ///< one for each joint
};

/// A primitive where a node shows it.
struct SceneInstance {
    std::size_t node = 0;
    std::size_t primitive = 0;
    std::optional<std::size_t> skin;
};

enum class Interpolation { Step, Linear, CubicSpline };
enum class AnimatedPath { Translation, Rotation, Scale, Weights };

struct SceneTrack {
    std::size_t node = 0;
    AnimatedPath path = AnimatedPath::Translation;
    Interpolation interpolation = Interpolation::Linear;
    std::size_t width = 0;       ///< numbers in one value
    std::vector<double> times;   ///< ascending, at least one
    std::vector<double> values;  ///< `width` for each time; three times that for a cubic spline: in-tangent, value, out
};

struct Scene {
    std::vector<SourceMaterial> materials;  ///< those that instances use
    std::vector<SceneNode> nodes;
    std::vector<std::size_t> order;  ///< all nodes, parents before children
    std::vector<ScenePrimitive> primitives;
    std::vector<SceneSkin> skins;
    std::vector<SceneInstance> instances;
    std::vector<SceneTrack> tracks;  ///< of the animation that was chosen
    double duration = 0;             ///< seconds; 0 without an animation
};

}  // namespace Nimb::Authoring
