// Interfaces, status codes, scalar types and attribute ids shared by every unit.
//
// The decoding core is written against a small family of reference-counted interfaces: every object is reached through
// an interface pointer, lives while its count is positive, answers QueryInterface by a 16-byte id, and reports through
// a 32-bit status whose sign alone says whether it failed. Slot orders below are part of the binary interface.
#pragma once

#include <cstdint>
#include <cstring>

using BYTE = std::uint8_t;
using UINT = std::uint32_t;
using UINT32 = std::uint32_t;
using UINT64 = std::uint64_t;
using ULONG = std::uint32_t;
using INT32 = std::int32_t;
using LONGLONG = std::int64_t;

/// Status of an operation: negative means failure, callers test the sign only.
using HRESULT = std::int32_t;

constexpr HRESULT S_OK = 0;
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);

constexpr bool Failed(HRESULT hr) noexcept {
    return hr < 0;
}
constexpr bool Succeeded(HRESULT hr) noexcept {
    return hr >= 0;
}

/// A 16-byte id. The three leading fields are stored little-endian, so the object's bytes are the stored bytes.
/// Ids are compared and ordered as plain byte strings (memcmp), never field by field.
struct _GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
static_assert(sizeof(_GUID) == 16, "ids are 16 bytes without padding");

inline bool operator==(const _GUID& a, const _GUID& b) noexcept {
    return std::memcmp(&a, &b, sizeof(_GUID)) == 0;
}
inline bool operator!=(const _GUID& a, const _GUID& b) noexcept {
    return !(a == b);
}
inline bool operator<(const _GUID& a, const _GUID& b) noexcept {
    return std::memcmp(&a, &b, sizeof(_GUID)) < 0;
}

namespace NIMBCORE {

/// Root of every interface. Interfaces are never deleted through their own pointer; the last Release destroys.
/// AddRef and Release may be called from any thread.
class IUnknown {
public:
    /// Stores another face of the same object in `*ppv` with one more reference, or null and E_NOINTERFACE.
    virtual HRESULT QueryInterface(const _GUID& riid, void** ppv) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IUnknown() = default;
};

}  // namespace NIMBCORE

/// What LockBuffer hands out. The pointer stays valid while the buffer lives; only `pData` and `cbMaxLength` matter.
struct NimbLockedMemory {
    BYTE* pData;             ///< first usable byte, aligned to 16 bytes, owned by the buffer
    UINT32 cbCurrentLength;  ///< always 0
    UINT32 cbMaxLength;      ///< usable size in bytes
    UINT32 cbReserved;       ///< always 0
};

/// A block of bytes. One thread fills it before it is published to others.
class INimbBuffer : public NIMBCORE::IUnknown {
public:
    virtual HRESULT LockBuffer(NimbLockedMemory* pLockedMemory) = 0;
    virtual HRESULT UnlockBuffer() = 0;
    virtual HRESULT GetSize(UINT32* pSize) = 0;

protected:
    ~INimbBuffer() = default;
};

/// A store of untagged 8-byte values keyed by id. The type of a value is a convention of its key (table below); reading
/// with another accessor than the one that wrote returns the raw bytes. Get of an absent key is E_FAIL and leaves the
/// out-parameter alone. Not synchronised.
class INimbAttributesCore : public NIMBCORE::IUnknown {
public:
    virtual HRESULT OnGetAttribute() = 0;
    virtual HRESULT GetUINT32(const _GUID& key, UINT32* pValue) = 0;
    virtual HRESULT GetUINT64(const _GUID& key, UINT64* pValue) = 0;
    virtual HRESULT GetDouble(const _GUID& key, double* pValue) = 0;
    virtual HRESULT SetUINT32(const _GUID& key, UINT32 value) = 0;
    virtual HRESULT SetUINT64(const _GUID& key, UINT64 value) = 0;
    virtual HRESULT SetDouble(const _GUID& key, double value) = 0;

protected:
    ~INimbAttributesCore() = default;
};

/// Factory of the reader's output buffers. AllocateBuffer hands out one reference, owned by the caller.
class INimbBufferAllocator : public NIMBCORE::IUnknown {
public:
    virtual HRESULT AllocateBuffer(UINT32 size, UINT32 elementSize, UINT32 flags, INimbBuffer** ppBuffer) = 0;
    virtual HRESULT ReleaseBuffer(INimbBuffer* pBuffer) = 0;

protected:
    ~INimbBufferAllocator() = default;
};

/// A sequential source of bytes. A short read is a success: the caller compares `*pcbRead` with what it asked for.
class IStream : public NIMBCORE::IUnknown {
public:
    virtual HRESULT Read(void* pv, UINT32 cb, UINT32* pcbRead) = 0;

protected:
    ~IStream() = default;
};

// Ids are exported objects, so that other modules can look them up by name; unless whoever compiles them says
// otherwise.
#if defined(NIMB_EXPORTED_OBJECT)
#elif defined(_WIN32)
#define NIMB_EXPORTED_OBJECT extern "C"
#else
#define NIMB_EXPORTED_OBJECT extern "C" __attribute__((visibility("default")))
#endif

// The only interface ids. Buffers recognise both, other objects none.
NIMB_EXPORTED_OBJECT const _GUID IID_INimbAttributesCore;
NIMB_EXPORTED_OBJECT const _GUID IID_INimbBuffer;

// Media types.
NIMB_EXPORTED_OBJECT const _GUID NimbMediaType_VertexStream;
NIMB_EXPORTED_OBJECT const _GUID NimbMediaType_IndexStream;

// Attributes. The comment names the accessor; those without one are reserved ids that nothing here reads or writes.
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_Version;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_Width;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_Height;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_Inverted;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_Stride;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_NumVertices;     // UINT32
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_NumFaces;        // UINT32
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_NumIndices;      // UINT32
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_BBoxMinX;        // double, metres of the source like all boxes
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_BBoxMinY;        // double
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_BBoxMinZ;        // double
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_BBoxMaxX;        // double
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_BBoxMaxY;        // double
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_BBoxMaxZ;        // double
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_UseTriList;      // UINT32, 0 or 1
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_VertHasNormals;  // UINT32, 0 or 1
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_UseUnsignedUVs;  // UINT32, 0 or 1
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_BBoxFull;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_FrameId;            // UINT32
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_FrameTimestamp;     // UINT64, 100-nanosecond units
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_VertexFormatFlags;  // UINT32, the whole version word of the frame header
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_IsKeyFrame;         // UINT32, 0 or 1
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_FrameCount;         // UINT32, of the file
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_MaxVertexCount;     // UINT32, of the file
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_MaxIndexCount;      // UINT32, of the file
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_LocalFullPath;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_HasAudio;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_Duration100ns;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_BitrateMbps;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_H264Wrapper;
NIMB_EXPORTED_OBJECT const _GUID NimbAttrib_HasVertexNormals;  // UINT32, of the file
