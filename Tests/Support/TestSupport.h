// Streams and allocators that fail on demand, small meshes, and a compact way to decode frames from bytes.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbCore/NimbMeshReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace NimbTest {

using ByteVector = std::vector<BYTE>;

/// Reads bytes that outlive it. `failAt` is the number of the read that returns E_FAIL, as do all after it. Lives on
/// the stack, so counting references is a formality.
class MemoryStream final : public IStream {
public:
    MemoryStream(const BYTE* data, std::size_t size, std::size_t failAt = std::numeric_limits<std::size_t>::max())
        : m_Data(data), m_Left(size), m_ReadsLeft(failAt) {}

    HRESULT QueryInterface(const _GUID&, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT Read(void* pv, UINT32 cb, UINT32* pcbRead) override {
        *pcbRead = 0;
        if (m_ReadsLeft == 0) {
            return E_FAIL;
        }
        --m_ReadsLeft;
        const std::size_t count = std::min<std::size_t>(cb, m_Left);
        if (count > 0) {
            std::memcpy(pv, m_Data, count);
        }
        m_Data += count;
        m_Left -= count;
        *pcbRead = static_cast<UINT32>(count);
        return S_OK;
    }

    std::size_t Left() const { return m_Left; }

private:
    const BYTE* m_Data;
    std::size_t m_Left;
    std::size_t m_ReadsLeft;
};

/// Fills new buffers with a pattern, so that bytes which a decoder forgets show, and refuses sizes above a limit.
/// Buffers have `extra` bytes more than they should.
class PatternAllocator final : public INimbBufferAllocator {
public:
    explicit PatternAllocator(BYTE pattern, UINT32 largest = 16u << 20, INT32 extra = 0)
        : m_Pattern(pattern), m_Largest(largest), m_Extra(extra) {}

    HRESULT QueryInterface(const _GUID&, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT AllocateBuffer(UINT32 size, UINT32, UINT32, INimbBuffer** ppBuffer) override {
        *ppBuffer = nullptr;
        if (size > m_Largest) {
            return E_FAIL;
        }
        size += static_cast<UINT32>(m_Extra);
        NIMBCORE::CComPtr<INimbBuffer> buffer(new NimbCrossPlatform::Buffer(size));
        NimbLockedMemory memory{};
        buffer->LockBuffer(&memory);
        std::memset(memory.pData, m_Pattern, size);
        *ppBuffer = buffer.Detach();
        return S_OK;
    }
    HRESULT ReleaseBuffer(INimbBuffer* pBuffer) override {
        pBuffer->Release();
        return S_OK;
    }

private:
    BYTE m_Pattern;
    UINT32 m_Largest;
    INT32 m_Extra;
};

/// One decoded frame by value.
struct DecodedFrame {
    HRESULT hr = E_FAIL;
    ByteVector vertices;
    std::vector<UINT32> indices;

    template <class T>
    T Field(std::size_t offset) const {
        T value;
        std::memcpy(&value, vertices.data() + offset, sizeof(value));
        return value;
    }
    friend bool operator==(const DecodedFrame& a, const DecodedFrame& b) {
        return a.hr == b.hr && a.vertices == b.vertices && a.indices == b.indices;
    }
};

template <class T>
std::vector<T> Contents(INimbBuffer* buffer) {
    NimbLockedMemory memory{};
    buffer->LockBuffer(&memory);
    std::vector<T> values(memory.cbMaxLength / sizeof(T));
    if (!values.empty()) {
        std::memcpy(values.data(), memory.pData, values.size() * sizeof(T));
    }
    buffer->UnlockBuffer();
    return values;
}

/// A reader with an allocator of its own.
class FrameReader {
public:
    explicit FrameReader(UINT32 vertexFormat, BYTE pattern = 0xCD, UINT32 largestBuffer = 16u << 20,
                         INT32 extraBytes = 0)
        : m_Allocator(pattern, largestBuffer, extraBytes) {
        m_Reader.Initialize(&m_Allocator, vertexFormat);
    }

    DecodedFrame Decode(const ByteVector& frame) { return Decode(frame.data(), frame.size()); }
    DecodedFrame Decode(const BYTE* data, std::size_t size) {
        MemoryStream stream(data, size);
        return Decode(stream);
    }
    DecodedFrame Decode(IStream& stream) {
        NIMBCORE::CComPtr<INimbBuffer> vertices, indices;
        DecodedFrame out;
        out.hr = m_Reader.ReadMesh(&stream, 0, &vertices, &indices);
        if (vertices != nullptr) {
            out.vertices = Contents<BYTE>(vertices);
        }
        if (indices != nullptr) {
            out.indices = Contents<UINT32>(indices);
        }
        return out;
    }

private:
    PatternAllocator m_Allocator;
    Nimb::CNimbMeshReader m_Reader;
};

inline Nimb::Authoring::Vec3 PositionOf(const DecodedFrame& frame, std::size_t vertex, std::size_t stride) {
    return {frame.Field<float>(vertex * stride), frame.Field<float>(vertex * stride + 4),
            frame.Field<float>(vertex * stride + 8)};
}

inline double Distance(const Nimb::Authoring::Vec3& a, const Nimb::Authoring::Vec3& b) {
    const double dx = static_cast<double>(a.x) - b.x, dy = static_cast<double>(a.y) - b.y;
    const double dz = static_cast<double>(a.z) - b.z;
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

/// Largest distance between the float positions of a frame and those of the mesh that it was made from, where decoded
/// vertex i stands for vertex order[i]; infinite when the frame has another number of vertices.
inline double ErrorOf(const DecodedFrame& frame, std::size_t stride, const Nimb::Authoring::Mesh& mesh,
                      const std::vector<UINT32>& order) {
    if (frame.vertices.size() != order.size() * stride) {
        return std::numeric_limits<double>::infinity();
    }
    double error = 0;
    for (std::size_t i = 0; i < order.size(); ++i) {
        error = std::max(error, Distance(mesh.positions.at(order[i]), PositionOf(frame, i, stride)));
    }
    return error;
}

/// Faces as a set: indices replaced by order[index] if there is an order, each face rotated to start with its smallest
/// vertex, all sorted.
inline std::vector<std::vector<UINT32>> FaceSet(const std::vector<UINT32>& indices,
                                                const std::vector<UINT32>& order = {}) {
    const auto vertex = [&](std::size_t i) { return order.empty() ? indices[i] : order.at(indices[i]); };
    std::vector<std::vector<UINT32>> faces;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        std::vector<UINT32> face{vertex(i), vertex(i + 1), vertex(i + 2)};
        std::rotate(face.begin(), std::min_element(face.begin(), face.end()), face.end());
        // Of two rotations of a degenerate face, (a, a, b) and (a, b, a), the smaller stands for both.
        std::vector<UINT32> other{face[2], face[0], face[1]};
        faces.push_back(std::min(face, other));
    }
    std::sort(faces.begin(), faces.end());
    return faces;
}

/// Small numbers that are the same everywhere.
class Random {
public:
    explicit Random(UINT32 seed) : m_State(seed * 2654435761u + 1) {}
    UINT32 Next() {
        m_State = m_State * 1664525u + 1013904223u;
        return m_State >> 8;
    }
    /// 0 to bound - 1.
    UINT32 Below(UINT32 bound) { return Next() % bound; }
    /// A multiple of 1/4096 from -1 to 1.
    float Signed() { return (static_cast<float>(Below(8193)) - 4096.0f) / 4096.0f; }

private:
    UINT32 m_State;
};

/// A bumpy sheet of columns x rows vertices with normals, made of integers alone so that it is the same everywhere.
inline Nimb::Authoring::Mesh MakeSheet(UINT32 columns, UINT32 rows, UINT32 seed = 1) {
    Random random(seed);
    Nimb::Authoring::Mesh mesh;
    for (UINT32 r = 0; r < rows; ++r) {
        for (UINT32 c = 0; c < columns; ++c) {
            mesh.positions.push_back({static_cast<float>(c) / 8, static_cast<float>(r) / 8, random.Signed() / 16});
            mesh.texCoords.push_back({static_cast<float>(c) / 64, static_cast<float>(r) / 64});
            mesh.normals.push_back({random.Signed(), random.Signed(), random.Signed()});
        }
    }
    for (UINT32 r = 0; r + 1 < rows; ++r) {
        for (UINT32 c = 0; c + 1 < columns; ++c) {
            const UINT32 a = r * columns + c;
            mesh.faces.push_back({{a, a + 1, a + columns}});
            mesh.faces.push_back({{a + 1, a + columns + 1, a + columns}});
        }
    }
    return mesh;
}

/// The mesh `frame` frames later: it drifts, shears back and forth, and ripples.
inline Nimb::Authoring::Mesh Moved(Nimb::Authoring::Mesh mesh, UINT32 frame) {
    Random random(frame + 77);
    const float drift = static_cast<float>(frame) / 256;
    const float swing = static_cast<float>(frame % 16 < 8 ? frame % 8 : 8 - frame % 8) / 128;
    for (Nimb::Authoring::Vec3& p : mesh.positions) {
        p = {p.x + drift + swing * p.y, p.y - drift / 2, p.z + random.Signed() / 1024};
    }
    return mesh;
}

}  // namespace NimbTest
