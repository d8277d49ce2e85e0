#include "NimbUnityPluginML/MeshUpload.h"

#include <algorithm>
#include <cmath>
#include <cstring>

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

void Normalise(Vertex& vertex) {
    const float scale = 1.0f / std::sqrt(vertex.nx * vertex.nx + vertex.ny * vertex.ny + vertex.nz * vertex.nz);
    vertex.nx *= scale;
    vertex.ny *= scale;
    vertex.nz *= scale;
}

void AddFaceNormal(Vertex& a, Vertex& b, Vertex& c) {
    const float ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z;
    const float vx = c.x - a.x, vy = c.y - a.y, vz = c.z - a.z;
    const float nx = uy * vz - uz * vy;
    const float ny = uz * vx - ux * vz;
    const float nz = ux * vy - uy * vx;
    for (Vertex* const vertex : {&a, &b, &c}) {
        vertex->nx += nx;
        vertex->ny += ny;
        vertex->nz += nz;
    }
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
    for (std::size_t i = 0; i + 2 < numIndices; i += 3) {
        const UINT32 a = indices[i], b = indices[i + 1], c = indices[i + 2];
        if (a >= numVertices || b >= numVertices || c >= numVertices) {
            outOfBounds(a, b, c, numVertices);
            continue;
        }
        AddFaceNormal(vertices[a], vertices[b], vertices[c]);
    }
    std::for_each(vertices, vertices + numVertices, Normalise);
}

}  // namespace MeshUpload
