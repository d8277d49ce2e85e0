#include "NimbUnityPluginML/MeshUpload.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace Nimb::Plugin {

namespace MeshUpload {
namespace {

constexpr std::size_t c_UploadStride = 32;
constexpr std::size_t c_FloatStride = 20;
constexpr std::size_t c_QuantisedStride = 12;

float Dequantise(std::int16_t q, double min, double max) {
    return static_cast<float>(min + (max - min) * (q + 32768.0) / 65535.0);
}

Vertex FromQuantised(const Source& source, const BYTE* p) {
    std::int16_t q[6];
    std::memcpy(q, p, sizeof(q));
    Vertex vertex{};
    vertex.x = Dequantise(q[0], source.boxMin[0], source.boxMax[0]);
    vertex.y = Dequantise(q[1], source.boxMin[1], source.boxMax[1]);
    vertex.z = Dequantise(q[2], source.boxMin[2], source.boxMax[2]);
    vertex.u = Dequantise(q[4], 0, 1);
    vertex.v = Dequantise(q[5], 0, 1);
    return vertex;
}

/// Four lanes at once, of which three count: x, y, z.
using Float4 = float __attribute__((vector_size(16)));

Float4 LoadPosition(const Vertex& vertex) {
    Float4 position;
    std::memcpy(&position, &vertex.x, sizeof(position));  // with nx, which nobody reads
    return position;
}

Float4 Cross(Float4 u, Float4 v) {
    const Float4 uyzx = __builtin_shufflevector(u, u, 1, 2, 0, 3), uzxy = __builtin_shufflevector(u, u, 2, 0, 1, 3);
    const Float4 vyzx = __builtin_shufflevector(v, v, 1, 2, 0, 3), vzxy = __builtin_shufflevector(v, v, 2, 0, 1, 3);
    return uyzx * vzxy - uzxy * vyzx;
}

void StoreNormalised(Float4 n, Vertex& vertex) {
    const float scale = 1.0f / std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    vertex.nx = n[0] * scale;
    vertex.ny = n[1] * scale;
    vertex.nz = n[2] * scale;
}

}  // namespace

Source MakeSource(const BYTE* data, std::size_t numBytes, std::size_t vertexCount, const double (&boxMin)[3],
                  const double (&boxMax)[3]) {
    Source source{data, 0, c_UploadStride, {}, {}};
    std::copy_n(boxMin, 3, source.boxMin);
    std::copy_n(boxMax, 3, source.boxMax);
    for (const std::size_t stride : {c_UploadStride, c_FloatStride, c_QuantisedStride}) {
        if (vertexCount != 0 && numBytes / vertexCount == stride) {
            source.stride = stride;
            source.numVertices = vertexCount;
        }
    }
    return source;
}

void Convert(const Source& source, std::size_t first, std::size_t count, bool dropNormals, Vertex* out) {
    const BYTE* in = source.data + first * source.stride;
    if (source.stride == c_UploadStride && count != 0) {
        std::memcpy(static_cast<void*>(out), in, count * sizeof(Vertex));
    }
    for (std::size_t i = 0; i < count; ++i, in += source.stride) {
        Vertex& vertex = out[i];
        if (source.stride == c_FloatStride) {
            std::memcpy(&vertex.x, in, 12);
            std::memcpy(&vertex.u, in + 12, 8);
            vertex.nx = vertex.ny = vertex.nz = 0.0f;
        } else if (source.stride == c_QuantisedStride) {
            vertex = FromQuantised(source, in);
        } else if (dropNormals) {
            vertex.nx = vertex.ny = vertex.nz = 0.0f;
        }
    }
}

void ComputeNormals(Vertex* vertices, UINT32 numVertices, const UINT32* indices, std::size_t numIndices,
                    const OutOfBounds& outOfBounds) {
    std::vector<Float4> normals(numVertices);
    for (std::size_t i = 0; i + 2 < numIndices; i += 3) {
        const UINT32 a = indices[i], b = indices[i + 1], c = indices[i + 2];
        if (a >= numVertices || b >= numVertices || c >= numVertices) {
            outOfBounds(a, b, c, numVertices);
            continue;
        }
        const Float4 origin = LoadPosition(vertices[a]);
        const Float4 normal = Cross(LoadPosition(vertices[b]) - origin, LoadPosition(vertices[c]) - origin);
        normals[a] += normal;
        normals[b] += normal;
        normals[c] += normal;
    }
    for (UINT32 i = 0; i < numVertices; ++i) {
        StoreNormalised(normals[i], vertices[i]);
    }
}

}  // namespace MeshUpload

}  // namespace Nimb::Plugin
