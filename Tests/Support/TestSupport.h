// Streams and allocators that fail on demand, and a compact way to decode frames, or sections of them, from bytes.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbCore/NimbMeshReader.h"
#include "Tests/Support/Meshes.h"

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

/// One decoded frame, by value and as the buffers that came out.
struct DecodedFrame {
    HRESULT hr = E_FAIL;
    ByteVector vertices;
    std::vector<UINT32> indices;
    NIMBCORE::CComPtr<INimbBuffer> vertexBuffer, indexBuffer;

    std::vector<float> Floats() const { return Contents<float>(vertexBuffer); }
    std::vector<std::int16_t> Words() const { return Contents<std::int16_t>(vertexBuffer); }

    static UINT32 Attribute(INimbBuffer* buffer, const _GUID& key) {
        NIMBCORE::CComPtr<INimbAttributesCore> attributes;
        UINT32 value = 0xDEADBEEF;
        if (Succeeded(buffer->QueryInterface(IID_INimbAttributesCore, reinterpret_cast<void**>(&attributes)))) {
            attributes->GetUINT32(key, &value);
        }
        return value;
    }
    UINT32 Attribute(const _GUID& key) const { return Attribute(vertexBuffer, key); }

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

/// A reader with an allocator of its own.
class FrameReader {
public:
    explicit FrameReader(UINT32 vertexFormat, BYTE pattern = 0xCD, UINT32 largestBuffer = 16u << 20,
                         INT32 extraBytes = 0)
        : m_Allocator(pattern, largestBuffer, extraBytes) {
        reader.Initialize(&m_Allocator, vertexFormat);
    }

    DecodedFrame Decode(const ByteVector& bytes) {
        MemoryStream stream(bytes.data(), bytes.size());
        return Decode(&stream);
    }
    DecodedFrame Decode(IStream* stream, LONGLONG time = 0) {
        DecodedFrame out;
        out.hr = reader.ReadMesh(stream, time, &out.vertexBuffer, &out.indexBuffer);
        if (out.vertexBuffer != nullptr) {
            out.vertices = Contents<BYTE>(out.vertexBuffer);
        }
        if (out.indexBuffer != nullptr) {
            out.indices = Contents<UINT32>(out.indexBuffer);
        }
        return out;
    }
    HRESULT Read(const ByteVector& bytes, LONGLONG time = 0) {
        MemoryStream stream(bytes.data(), bytes.size());
        frame = Decode(&stream, time);
        return frame.hr;
    }

    DecodedFrame frame;  ///< that Read read last
    Nimb::CNimbMeshReader reader;

private:
    PatternAllocator m_Allocator;
};

/// Runs single stages of a reader on one context.
class SectionReader {
public:
    using Stage = decltype(&Nimb::CNimbMeshReader::ReadVertices);

    explicit SectionReader(UINT32 vertexFormat, BYTE pattern = 0xCD, UINT32 largestBuffer = 16u << 20)
        : m_Frames(vertexFormat, pattern, largestBuffer) {}

    HRESULT Run(Stage stage, const ByteVector& section) { return Run(stage, section.data(), section.size()); }
    HRESULT Run(Stage stage, const BYTE* data, std::size_t size) {
        MemoryStream stream(data, size);
        buffer.Release();
        const HRESULT hr =
            Nimb::GuardAssertions([&] { return (m_Frames.reader.*stage)(&ctx, &stream, &header, &buffer); });
        left = stream.Left();
        return hr;
    }

    template <class T>
    std::vector<T> Output() const {
        return buffer != nullptr ? Contents<T>(buffer) : std::vector<T>();
    }

    Nimb::CNimbMeshReaderCtx ctx;
    CStreamingMeshHeader header;
    NIMBCORE::CComPtr<INimbBuffer> buffer;
    std::size_t left = 0;  ///< bytes that were not read

private:
    FrameReader m_Frames;
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

}  // namespace NimbTest
