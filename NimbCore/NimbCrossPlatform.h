// Byte buffers, their allocator, the in-memory stream, and access to what a volumetric file carries in its container:
// the mesh payload of a video sample and the file attribute atom.
#pragma once

#include "Nimb/NimbInterfaces.h"
#include "Nimb/NimbRefCount.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace NimbCrossPlatform {

/// A block of bytes that carries attributes. Every decoded vertex or index array is one. Contents and attributes are
/// written by one thread before the buffer is published; only the reference count is synchronised.
class Buffer final : public INimbBuffer, public INimbAttributesCore, public Nimb::CNimbRefCount {
public:
    /// An attribute's value. The store keeps no type beside it: each key's type is a convention.
    union var {
        UINT32 u32;
        UINT64 u64;
        double f64;
    };

    /// `size` usable bytes, uninitialised, and no reference. Throws std::bad_alloc.
    explicit Buffer(UINT32 size);
    ~Buffer() override;

    // All interfaces: E_POINTER for a null `ppv`; recognises IID_INimbAttributesCore and IID_INimbBuffer, nothing else.
    HRESULT QueryInterface(const _GUID& riid, void** ppv) override;
    ULONG AddRef() override { return CNimbRefCount::AddRef(); }
    ULONG Release() override { return CNimbRefCount::Release(); }

    // INimbBuffer. Locking pins and counts nothing: every call hands out the same 16-byte aligned pointer.
    HRESULT LockBuffer(NimbLockedMemory* pLockedMemory) override;
    HRESULT UnlockBuffer() override { return S_OK; }
    HRESULT GetSize(UINT32* pSize) override;

    // INimbAttributesCore. A setter writes its own width and leaves the value's other bytes as they were.
    HRESULT OnGetAttribute() override { return S_OK; }
    HRESULT GetUINT32(const _GUID& key, UINT32* pValue) override;
    HRESULT GetUINT64(const _GUID& key, UINT64* pValue) override;
    HRESULT GetDouble(const _GUID& key, double* pValue) override;
    HRESULT SetUINT32(const _GUID& key, UINT32 value) override;
    HRESULT SetUINT64(const _GUID& key, UINT64 value) override;
    HRESULT SetDouble(const _GUID& key, double value) override;

private:
    template <class T>
    HRESULT GetValue(const _GUID& key, T* pValue) const;
    template <class T>
    HRESULT SetValue(const _GUID& key, T value);

    std::map<_GUID, var> m_Attributes;
    std::unique_ptr<BYTE[]> m_Data;  // m_Size + 15 bytes, so that the aligned view always holds m_Size
    UINT32 m_Size;
};

/// Makes Buffers. Stateless; element size and flags are accepted and ignored.
class BufferAllocator final : public INimbBufferAllocator, public Nimb::CNimbRefCount {
public:
    HRESULT QueryInterface(const _GUID& riid, void** ppv) override;
    ULONG AddRef() override { return CNimbRefCount::AddRef(); }
    ULONG Release() override { return CNimbRefCount::Release(); }

    /// `*ppBuffer` receives a new buffer of `size` bytes with one reference. Throws std::bad_alloc.
    HRESULT AllocateBuffer(UINT32 size, UINT32 elementSize, UINT32 flags, INimbBuffer** ppBuffer) override;
    HRESULT ReleaseBuffer(INimbBuffer* pBuffer) override;
};

/// Read-only sequential stream over a block of memory that it owns. Used by one thread at a time.
class Stream final : public IStream, public Nimb::CNimbRefCount {
public:
    /// Takes `size` valid bytes and starts reading at `position`, which must not exceed `size` (asserted). Count 0.
    Stream(std::unique_ptr<BYTE[]> data, UINT32 size, UINT32 position);

    HRESULT QueryInterface(const _GUID& riid, void** ppv) override;
    ULONG AddRef() override { return CNimbRefCount::AddRef(); }
    ULONG Release() override { return CNimbRefCount::Release(); }

    /// Copies min(cb, bytes left) bytes to `pv`, stores their number in `*pcbRead` (not null) and returns S_OK always.
    HRESULT Read(void* pv, UINT32 cb, UINT32* pcbRead) override;

    /// Presentation time of the sample that the bytes came from, set by whoever extracted it (nanoseconds).
    LONGLONG m_Time = 0;

private:
    std::unique_ptr<BYTE[]> m_Data;
    UINT32 m_Position;
    UINT32 m_Size;
};

/// Finds the mesh NAL unit in one video sample (Annex B byte stream), removes its escaping and returns the payload as a
/// new stream with reference count 0, positioned at the mesh frame header (byte 8 of the payload). Null when there is
/// no such unit, when its payload overruns the sample, when it unescapes to fewer than 8 bytes, or when a check fails
/// in report mode. The layout of the unit is in Docs/format.md. Thread-safe; throws std::bad_alloc.
Stream* FindCompressedMesh(const std::uint8_t* data, std::size_t size);

/// Finds the "Xtra" atom in a block of bytes (the player passes a file's last 1024) and stores its values under their
/// attribute ids: frame count, maximal vertex and index counts, bounding box, and whether vertices carry normals (the
/// only optional one). False, after a line on standard output in most cases, when the atom or a required value is
/// missing or malformed; values stored before that stay stored. Thread-safe with respect to different stores.
bool ReadXtraAttributes(const void* data, std::size_t size, INimbAttributesCore* attributes);

/// The same without printing: `say` gets the line instead. Violations are for the caller (Nimb/NimbAssert.h).
bool FindXtraAttributes(const void* data, std::size_t size, INimbAttributesCore* attributes,
                        const std::function<void(const char*)>& say);

/// Whether one of the three configured content origins occurs anywhere in `url` (containment, not a prefix test).
bool IsValidStreamingURL(const char* url);

}  // namespace NimbCrossPlatform
