// Buffer, a reference-counted block of bytes that carries attributes, and BufferAllocator, which makes them.
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <cstring>

namespace NimbCrossPlatform {
namespace {

constexpr std::uintptr_t c_Alignment = 16;

}  // namespace

// make_unique would zero the bytes, which decoders overwrite anyway.
Buffer::Buffer(UINT32 size) : m_Data(new BYTE[std::size_t{size} + (c_Alignment - 1)]), m_Size(size) {}

Buffer::~Buffer() = default;

// Deliberately narrow: there is no id for IUnknown.
HRESULT Buffer::QueryInterface(const _GUID& riid, void** ppv) {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    void* face = nullptr;
    if (riid == IID_INimbAttributesCore) {
        face = static_cast<INimbAttributesCore*>(this);
    } else if (riid == IID_INimbBuffer) {
        face = static_cast<INimbBuffer*>(this);
    }
    *ppv = nullptr;  // also of a buffer on its way out, which takes no new reference
    return Nimb::GuardAssertions([&] {
        if (face == nullptr) {
            return E_NOINTERFACE;
        }
        AddRef();
        *ppv = face;
        return S_OK;
    });
}

HRESULT Buffer::LockBuffer(NimbLockedMemory* pLockedMemory) {
    return Nimb::GuardAssertions([&] {
        NIMB_ASSERT(pLockedMemory);
        const std::uintptr_t misalignment = reinterpret_cast<std::uintptr_t>(m_Data.get()) % c_Alignment;
        pLockedMemory->pData = m_Data.get() + (c_Alignment - misalignment) % c_Alignment;
        pLockedMemory->cbCurrentLength = 0;
        pLockedMemory->cbMaxLength = m_Size;
        pLockedMemory->cbReserved = 0;
        return S_OK;
    });
}

HRESULT Buffer::GetSize(UINT32* pSize) {
    *pSize = m_Size;
    return S_OK;
}

// Values go in and out as raw bytes: reading a key with another accessor than the one that wrote it is defined.
template <class T>
HRESULT Buffer::GetValue(const _GUID& key, T* pValue) const {
    const auto entry = m_Attributes.find(key);
    if (entry == m_Attributes.end()) {
        return E_FAIL;
    }
    std::memcpy(pValue, &entry->second, sizeof(T));
    return S_OK;
}

template <class T>
HRESULT Buffer::SetValue(const _GUID& key, T value) {
    static_assert(sizeof(T) <= sizeof(var), "values have at most eight bytes");
    var zero;
    zero.u64 = 0;  // all eight bytes, whichever member a later setter writes
    std::memcpy(&m_Attributes.emplace(key, zero).first->second, &value, sizeof(T));
    return S_OK;
}

HRESULT Buffer::GetUINT32(const _GUID& key, UINT32* pValue) {
    return GetValue(key, pValue);
}
HRESULT Buffer::GetUINT64(const _GUID& key, UINT64* pValue) {
    return GetValue(key, pValue);
}
HRESULT Buffer::GetDouble(const _GUID& key, double* pValue) {
    return GetValue(key, pValue);
}
HRESULT Buffer::SetUINT32(const _GUID& key, UINT32 value) {
    return SetValue(key, value);
}
HRESULT Buffer::SetUINT64(const _GUID& key, UINT64 value) {
    return SetValue(key, value);
}
HRESULT Buffer::SetDouble(const _GUID& key, double value) {
    return SetValue(key, value);
}

HRESULT BufferAllocator::QueryInterface(const _GUID&, void** ppv) {
    *ppv = nullptr;
    return E_NOINTERFACE;
}

HRESULT BufferAllocator::AllocateBuffer(UINT32 size, UINT32, UINT32, INimbBuffer** ppBuffer) {
    return Nimb::GuardAssertions([&] {
        auto buffer = std::make_unique<Buffer>(size);
        buffer->AddRef();
        *ppBuffer = buffer.release();
        return S_OK;
    });
}

HRESULT BufferAllocator::ReleaseBuffer(INimbBuffer* pBuffer) {
    pBuffer->Release();
    return S_OK;
}

}  // namespace NimbCrossPlatform
