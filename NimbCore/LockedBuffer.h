// An output buffer under construction: allocated within the size ceiling, locked, and handed out only when complete.
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

    /// Allocates count x elementSize bytes and locks them. E_UNEXPECTED beyond c_MaxBufferBytes; otherwise the status
    /// of the allocator or of the lock.
    HRESULT Allocate(const NIMBCORE::CComPtr<INimbBufferAllocator>& pAllocator, UINT64 count, UINT32 elementSize) {
        if (count > c_MaxBufferBytes || count * elementSize > c_MaxBufferBytes) {
            return E_UNEXPECTED;
        }
        const UINT32 size = static_cast<UINT32>(count * elementSize);
        const HRESULT hr = pAllocator->AllocateBuffer(size, elementSize, 0, &m_pBuffer);
        return Failed(hr) ? hr : Lock();
    }

    /// Locks an existing buffer, which stays shared with its other owners.
    HRESULT Open(INimbBuffer* pBuffer) {
        m_pBuffer = pBuffer;
        return Lock();
    }

    BYTE* Data() const noexcept { return m_Memory.pData; }
    UINT32 Size() const noexcept { return m_Memory.cbMaxLength; }
    INimbBuffer* Get() const noexcept { return m_pBuffer; }

    /// Unlocks and gives the reference away.
    INimbBuffer* Detach() {
        Unlock();
        return m_pBuffer.Detach();
    }

private:
    HRESULT Lock() {
        const HRESULT hr = m_pBuffer->LockBuffer(&m_Memory);
        m_Locked = Succeeded(hr);
        return hr;
    }

    void Unlock() {
        if (m_Locked) {
            m_pBuffer->UnlockBuffer();
            m_Locked = false;
        }
    }

    NIMBCORE::CComPtr<INimbBuffer> m_pBuffer;
    NimbLockedMemory m_Memory{};
    bool m_Locked = false;
};

}  // namespace Nimb
