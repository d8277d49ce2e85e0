#include "Authoring/Codec/VertexStreams.h"

#include <cmath>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

constexpr float c_LargestCoordinate = 1e18f;  // extents and their products with 65535 stay far from overflow

void CheckNumber(float value) {
    // Written so that a NaN fails.
    if (!(std::fabs(value) <= c_LargestCoordinate)) {
        throw std::invalid_argument("a mesh holds a number that is not finite or beyond 1e18");
    }
}

/// The code from `lowest` to `lowest + 65535` that `decode` brings nearest to `target`, of two equally near ones the
/// smaller; `estimate` is within one of it.
template <class Decode>
INT32 NearestCode(double estimate, INT32 lowest, float target, Decode decode) {
    const double clamped = std::min(std::max(estimate, double{0}), 65535.0);
    const INT32 middle = lowest + static_cast<INT32>(std::lround(clamped));
    INT32 best = middle;
    double bestError = -1;
    for (INT32 code = std::max(lowest, middle - 1); code <= std::min(lowest + 65535, middle + 1); ++code) {
        const double error = std::fabs(static_cast<double>(decode(code)) - target);
        if (bestError < 0 || error < bestError) {
            best = code;
            bestError = error;
        }
    }
    return best;
}

/// The same steps in single precision as the decoder's, for one component.
INT32 QuantisePosition(float value, float min, float max) {
    const float extent = max - min;
    if (!(extent > 0)) {
        return 0;
    }
    const double estimate = (static_cast<double>(value) - min) / extent * 65535;
    return NearestCode(estimate, -32768, value, [&](INT32 code) {
        const float fraction = (static_cast<float>(code) + 32768.0f) / 65535.0f;
        const float offset = fraction * extent;
        return min + offset;
    });
}

INT32 QuantiseTexCoord(float value) {
    return NearestCode(static_cast<double>(value) * 65535, -32768, value, [](INT32 code) {
        const float t = static_cast<float>(code) + 32768.0f;
        return (((t + t) / 65535.0f + -1.0f) + 1.0f) * 0.5f;
    });
}

INT32 QuantiseNormal(float value) {
    return NearestCode((static_cast<double>(value) + 1) / 2 * 65535, 0, value, [](INT32 code) {
        const float n = static_cast<float>(code) / 65535.0f;
        return (n + n) + -1.0f;
    });
}

void WriteNormal(const Vec3& normal, ByteWriter& out) {
    for (const float component : {normal.x, normal.y, normal.z}) {
        out.U16(static_cast<UINT32>(QuantiseNormal(component)));
    }
}

}  // namespace

void CheckMesh(const Mesh& mesh) {
    const std::size_t count = mesh.positions.size();
    if (mesh.texCoords.size() != count || (!mesh.normals.empty() && mesh.normals.size() != count)) {
        throw std::invalid_argument("a mesh needs texture coordinates, and normals if any, for each vertex");
    }
    constexpr std::size_t largestRecord = 32;
    if (count > Nimb::c_MaxBufferBytes / largestRecord || mesh.faces.size() > Nimb::c_MaxBufferBytes / 12) {
        throw std::invalid_argument("a mesh is too large for a reader's buffers");
    }
    for (const Vec3& p : mesh.positions) {
        CheckNumber(p.x);
        CheckNumber(p.y);
        CheckNumber(p.z);
    }
    for (const Vec2& t : mesh.texCoords) {
        CheckNumber(t.u);
        CheckNumber(t.v);
    }
    for (const Vec3& n : mesh.normals) {
        CheckNumber(n.x);
        CheckNumber(n.y);
        CheckNumber(n.z);
    }
    for (const TarnMeshFace& face : mesh.faces) {
        if (face.v[0] >= count || face.v[1] >= count || face.v[2] >= count) {
            throw std::invalid_argument("a face names a vertex that the mesh does not have");
        }
    }
}

void WriteVertexRecords(const Mesh& mesh, const Box& box, bool withNormals, ByteWriter& out) {
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        const Vec3& p = mesh.positions[i];
        out.U16(static_cast<UINT32>(QuantisePosition(p.x, box.min.x, box.max.x)));
        out.U16(static_cast<UINT32>(QuantisePosition(p.y, box.min.y, box.max.y)));
        out.U16(static_cast<UINT32>(QuantisePosition(p.z, box.min.z, box.max.z)));
        out.U16(0);
        if (withNormals) {
            WriteNormal(mesh.normals[i], out);
            out.U16(0);
        }
        out.U16(static_cast<UINT32>(QuantiseTexCoord(mesh.texCoords[i].u)));
        out.U16(static_cast<UINT32>(QuantiseTexCoord(mesh.texCoords[i].v)));
    }
}

void WriteNormalBlock(const std::vector<Vec3>& normals, ByteWriter& out) {
    for (const Vec3& normal : normals) {
        WriteNormal(normal, out);
    }
}

}  // namespace Nimb::Authoring
