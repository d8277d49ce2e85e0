#include "Authoring/Source/ScenePose.h"

#include "Authoring/Source/ImportedMesh.h"
#include "Authoring/Source/Narrow.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

using Vector = std::array<double, 3>;

Vector VectorOf(const Vec3& v) {
    return {double{v.x}, double{v.y}, double{v.z}};
}

Vec3 Rounded(const Vector& v) {
    return {Narrowed(v[0]), Narrowed(v[1]), Narrowed(v[2])};
}

Matrix Product(const Matrix& a, const Matrix& b) {
    Matrix m;
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 4; ++c) {
            m[r][c] = a[r][0] * b[0][c] + a[r][1] * b[1][c] + a[r][2] * b[2][c] + (c == 3 ? a[r][3] : 0);
        }
    }
    return m;
}

void AddScaled(Matrix& sum, const Matrix& m, double factor) {
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 4; ++c) {
            sum[r][c] += m[r][c] * factor;
        }
    }
}

Vector TransformedPoint(const Matrix& m, const Vector& p) {
    Vector result;
    for (std::size_t r = 0; r < 3; ++r) {
        result[r] = m[r][0] * p[0] + m[r][1] * p[1] + m[r][2] * p[2] + m[r][3];
    }
    return result;
}

Vector Cross(const std::array<double, 4>& a, const std::array<double, 4>& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double Determinant(const Matrix& m) {
    const Vector c = Cross(m[1], m[2]);
    return m[0][0] * c[0] + m[0][1] * c[1] + m[0][2] * c[2];
}

/// By the inverse transpose, from cofactors: they need no division, so singular matrices work too.
Vector TransformedNormal(const Matrix& m, const Vector& n) {
    const Vector rows[] = {Cross(m[1], m[2]), Cross(m[2], m[0]), Cross(m[0], m[1])};
    const double sign = Determinant(m) < 0 ? -1 : 1;
    Vector result;
    double square = 0;
    for (std::size_t r = 0; r < 3; ++r) {
        result[r] = sign * (rows[r][0] * n[0] + rows[r][1] * n[1] + rows[r][2] * n[2]);
        square += result[r] * result[r];
    }
    for (double& value : result) {
        value = square > 0 && std::isfinite(square) ? value / std::sqrt(square) : 0;
    }
    return result;
}

Matrix LocalMatrix(const SceneNode& node) {
    if (node.matrix) {
        return *node.matrix;
    }
    const auto [x, y, z, w] = node.rotation;
    const Matrix rotation = {{{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w), 0},
                              {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w), 0},
                              {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y), 0}}};
    Matrix m;
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) {
            m[r][c] = rotation[r][c] * node.scale[c];
        }
        m[r][3] = node.translation[r];
    }
    return m;
}

void Normalise(std::vector<double>& quaternion) {
    double square = 0;
    for (const double q : quaternion) {
        square += q * q;
    }
    if (square == 0) {
        quaternion = {0, 0, 0, 1};
        return;
    }
    for (double& q : quaternion) {
        q /= std::sqrt(square);
    }
}

/// The shorter way from a to b.
std::vector<double> Slerp(const double* a, const double* b, double t) {
    double cosine = 0;
    for (int i = 0; i < 4; ++i) {
        cosine += a[i] * b[i];
    }
    const double sign = cosine < 0 ? -1 : 1;
    const double angle = std::acos(std::min(1.0, cosine * sign));
    const bool isTiny = angle < 1e-6;
    const double fromA = isTiny ? 1 - t : std::sin((1 - t) * angle) / std::sin(angle);
    const double fromB = sign * (isTiny ? t : std::sin(t * angle) / std::sin(angle));
    std::vector<double> value(4);
    for (std::size_t i = 0; i < 4; ++i) {
        value[i] = a[i] * fromA + b[i] * fromB;
    }
    return value;
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
        return Slerp(value0, value1, t);
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
            case AnimatedPath::Rotation:
                Normalise(value);
                std::copy(value.begin(), value.end(), node.rotation.begin());
                break;
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
        const Vector a = VectorOf(values[i]), d = VectorOf(differences[i]);
        values[i] = Rounded({a[0] + d[0] * weight, a[1] + d[1] * weight, a[2] + d[2] * weight});
    }
}

/// Moves the primitive's vertices by the matrix, or in a skin by their joints' matrices.
void Transform(const ScenePrimitive& primitive, const Matrix& world, const std::vector<Matrix>& joints, Mesh& mesh) {
    for (std::size_t v = 0; v < mesh.positions.size(); ++v) {
        Matrix matrix = world;
        if (!joints.empty()) {
            matrix = Matrix{};
            for (std::size_t i = v * primitive.influences; i < (v + 1) * primitive.influences; ++i) {
                AddScaled(matrix, joints[primitive.joints[i]], primitive.weights[i]);
            }
        }
        mesh.positions[v] = Rounded(TransformedPoint(matrix, VectorOf(mesh.positions[v])));
        if (!mesh.normals.empty()) {
            mesh.normals[v] = Rounded(TransformedNormal(matrix, VectorOf(mesh.normals[v])));
        }
    }
    if (joints.empty() && Determinant(world) < 0) {
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
        world[i] = nodes[i].parent == c_NoNode ? local : Product(world[nodes[i].parent], local);
    }
    std::vector<Mesh> meshes(scene.materials.size());
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
                joints.push_back(Product(world[skin.joints[i]], skin.inverseBind[i]));
            }
        }
        Transform(primitive, world[instance.node], joints, mesh);
        Append(meshes[primitive.material], mesh);
    }
    SourceFrame frame;
    for (std::size_t i = 0; i < meshes.size(); ++i) {
        frame.meshes.push_back({i, std::move(meshes[i])});
    }
    return frame;
}

}  // namespace Nimb::Authoring
