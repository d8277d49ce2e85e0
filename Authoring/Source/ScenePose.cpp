#include "Authoring/Source/ScenePose.h"

#include "Authoring/Codec/Vectors.h"
#include "Authoring/Source/ImportedMesh.h"
#include "Authoring/Source/Narrow.h"

#include <glm/gtc/quaternion.hpp>
#include <glm/gtc/type_ptr.hpp>

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

Vec3 Rounded(const glm::dvec3& v) {
    return {Narrowed(v.x), Narrowed(v.y), Narrowed(v.z)};
}

/// The inverse transpose times the determinant: it needs no division, so singular matrices work too.
glm::dmat3 Cofactors(const Matrix& m) {
    return {glm::cross(m[1], m[2]), glm::cross(m[2], m[0]), glm::cross(m[0], m[1])};
}

bool IsMirroring(const Matrix& m) {
    return glm::determinant(glm::dmat3(m)) < 0;
}

glm::dvec3 TransformedNormal(const Matrix& m, const glm::dvec3& n) {
    const glm::dvec3 normal = (IsMirroring(m) ? -1.0 : 1.0) * (Cofactors(m) * n);
    const double length = glm::length(normal);
    return length > 0 && std::isfinite(length) ? normal / length : glm::dvec3(0);
}

Matrix LocalMatrix(const SceneNode& node) {
    if (node.matrix) {
        return *node.matrix;
    }
    const glm::dmat3 turn = glm::mat3_cast(glm::make_quat(node.rotation.data()));
    return {turn[0] * node.scale[0], turn[1] * node.scale[1], turn[2] * node.scale[2],
            glm::make_vec3(node.translation.data())};
}

/// Constant before the first key and after the last.
std::vector<double> ValueAt(const SceneTrack& track, double time) {
    const bool isCubic = track.interpolation == Interpolation::CubicSpline;
    const std::size_t width = track.width;
    const std::size_t stride = isCubic ? 3 * width : width;
    const auto after = std::upper_bound(track.times.begin(), track.times.end(), time);
    const auto next = static_cast<std::size_t>(after - track.times.begin());
    const std::size_t key = next == 0 ? 0 : next - 1;
    const double* const value0 = track.values.data() + key * stride + (isCubic ? width : 0);
    if (next == 0 || next == track.times.size() || track.interpolation == Interpolation::Step) {
        return {value0, value0 + width};
    }
    const double* const value1 = value0 + stride;
    const double* const inTangents = isCubic ? value1 - width : nullptr;
    const double span = track.times[next] - track.times[key];
    const double t = (time - track.times[key]) / span;
    if (!isCubic && track.path == AnimatedPath::Rotation) {
        const glm::dquat turn = glm::slerp(glm::make_quat(value0), glm::make_quat(value1), t);
        return {turn.x, turn.y, turn.z, turn.w};
    }
    std::vector<double> value(width);
    for (std::size_t i = 0; i < width; ++i) {
        if (isCubic) {
            const double out0 = value0[width + i] * span, in1 = inTangents[i] * span;
            const double t2 = t * t, t3 = t2 * t;
            value[i] = (2 * t3 - 3 * t2 + 1) * value0[i] + (t3 - 2 * t2 + t) * out0 + (3 * t2 - 2 * t3) * value1[i] +
                       (t3 - t2) * in1;
        } else {
            value[i] = value0[i] + (value1[i] - value0[i]) * t;
        }
    }
    return value;
}

std::vector<SceneNode> NodesAt(const Scene& scene, double time) {
    std::vector<SceneNode> nodes = scene.nodes;
    for (const SceneTrack& track : scene.tracks) {
        SceneNode& node = nodes[track.node];
        std::vector<double> value = ValueAt(track, time);
        switch (track.path) {
            case AnimatedPath::Translation:
                std::copy(value.begin(), value.end(), node.translation.begin());
                break;
            case AnimatedPath::Rotation: {
                const glm::dquat turn = glm::normalize(glm::make_quat(value.data()));
                node.rotation = {turn.x, turn.y, turn.z, turn.w};
                break;
            }
            case AnimatedPath::Scale:
                std::copy(value.begin(), value.end(), node.scale.begin());
                break;
            case AnimatedPath::Weights:
                node.weights = std::move(value);
                break;
        }
    }
    return nodes;
}

void AddTarget(std::vector<Vec3>& values, const std::vector<Vec3>& differences, double weight) {
    for (std::size_t i = 0; i < differences.size(); ++i) {
        values[i] = Rounded(VectorOf(values[i]) + VectorOf(differences[i]) * weight);
    }
}

/// Moves the primitive's vertices by the matrix, or in a skin by their joints' matrices.
void Transform(const ScenePrimitive& primitive, const Matrix& world, const std::vector<Matrix>& joints, Mesh& mesh) {
    for (std::size_t v = 0; v < mesh.positions.size(); ++v) {
        Matrix matrix = world;
        if (!joints.empty()) {
            matrix = Matrix(0);
            for (std::size_t i = v * primitive.influences; i < (v + 1) * primitive.influences; ++i) {
                matrix += joints[primitive.joints[i]] * primitive.weights[i];
            }
        }
        mesh.positions[v] = Rounded(matrix * glm::dvec4(VectorOf(mesh.positions[v]), 1));
        if (!mesh.normals.empty()) {
            mesh.normals[v] = Rounded(TransformedNormal(matrix, VectorOf(mesh.normals[v])));
        }
    }
    if (joints.empty() && IsMirroring(world)) {
        for (TarnMeshFace& face : mesh.faces) {
            std::swap(face.v[1], face.v[2]);
        }
    }
}

}  // namespace

SourceFrame PoseAt(const Scene& scene, double time) {
    const std::vector<SceneNode> nodes = NodesAt(scene, time);
    std::vector<Matrix> world(nodes.size());
    for (const std::size_t i : scene.order) {
        const Matrix local = LocalMatrix(nodes[i]);
        world[i] = nodes[i].parent == c_NoNode ? local : world[nodes[i].parent] * glm::dmat4(local);
    }
    std::vector<Mesh> meshes(scene.materials.size());
    SourceFrame frame;
    for (const SceneInstance& instance : scene.instances) {
        const ScenePrimitive& primitive = scene.primitives[instance.primitive];
        Mesh mesh{primitive.positions, primitive.surface.texCoords, primitive.normals, primitive.surface.faces};
        const std::vector<double>& weights = nodes[instance.node].weights;
        for (std::size_t i = 0; i < std::min(weights.size(), primitive.targets.size()); ++i) {
            AddTarget(mesh.positions, primitive.targets[i].positions, weights[i]);
            AddTarget(mesh.normals, primitive.targets[i].normals, weights[i]);
        }
        std::vector<Matrix> joints;
        if (instance.skin && primitive.influences > 0) {
            const SceneSkin& skin = scene.skins[*instance.skin];
            for (std::size_t i = 0; i < skin.joints.size(); ++i) {
                joints.push_back(world[skin.joints[i]] * glm::dmat4(skin.inverseBind[i]));
            }
        }
        Transform(primitive, world[instance.node], joints, mesh);
        Append(meshes[primitive.material], mesh);
        frame.welded += primitive.welded;
    }
    for (std::size_t i = 0; i < meshes.size(); ++i) {
        frame.meshes.push_back({i, std::move(meshes[i])});
    }
    return frame;
}

}  // namespace Nimb::Authoring
