// An output buffer under construction: allocated within the size ceiling, locked, and handed out only when complete.
//
// The size of a new buffer is the one that was asked for: what an allocator gives beyond it is left alone.
#pragma once

#include "Nimb/NimbInterfaces.h"
#include "NimbCore/NimbMeshReader.h"

namespace Nimb {

class LockedBuffer {
public:
    LockedBuffer() = default;
    LockedBuffer(const LockedBuffer&) = delete;
    LockedBuffer& operator=(const LockedBuffer&) = delete;
    ~LockedBuffer() { Unlock(); }

    /// Allocates and locks `size` bytes. E_UNEXPECTED beyond c_MaxBufferBytes or when the allocator gives less;
    /// otherwise the status of the allocator or of the lock.
    HRESULT Create(const NIMBCORE::CComPtr<INimbBufferAllocator>& pAllocator, UINT64 size, UINT32 elementSize) {
        const HRESULT hr = Allocate(pAllocator, size, elementSize);
        return Failed(hr) ? hr : Lock();
    }

    /// The two halves of Create.
    HRESULT Allocate(const NIMBCORE::CComPtr<INimbBufferAllocator>& pAllocator, UINT64 size, UINT32 elementSize) {
        if (size > c_MaxBufferBytes) {
            return E_UNEXPECTED;
        }
        m_Size = static_cast<UINT32>(size);
        return pAllocator->AllocateBuffer(m_Size, elementSize, 0, &m_pBuffer);
    }
    HRESULT Lock() {
        const HRESULT hr = m_pBuffer->LockBuffer(&m_Memory);
        m_Locked = Succeeded(hr);
        return m_Locked && m_Memory.cbMaxLength < m_Size ? E_UNEXPECTED : hr;
    }

    /// Locks all of an existing buffer, which stays shared with its other owners.
    HRESULT Open(INimbBuffer* pBuffer) {
        m_pBuffer = pBuffer;
        const HRESULT hr = Lock();
        m_Size = m_Memory.cbMaxLength;
        return hr;
    }

    BYTE* Data() const noexcept { return m_Memory.pData; }
    UINT32 Size() const noexcept { return m_Size; }
    INimbBuffer* Get() const noexcept { return m_pBuffer; }

    /// Unlocks and gives the reference away.
    INimbBuffer* Detach() {
        Unlock();
        return m_pBuffer.Detach();
    }

private:
    void Unlock() {
        if (m_Locked) {
            m_pBuffer->UnlockBuffer();
            m_Locked = false;
        }
    }

    NIMBCORE::CComPtr<INimbBuffer> m_pBuffer;
    NimbLockedMemory m_Memory{};
    UINT32 m_Size = 0;
    bool m_Locked = false;
};

}  // namespace Nimb
