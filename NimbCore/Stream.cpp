// Stream, the sequential view of one frame's mesh payload in memory.
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace NimbCrossPlatform {

Stream::Stream(std::unique_ptr<BYTE[]> data, UINT32 size, UINT32 position)
    : m_Data(std::move(data)), m_Position(position), m_Size(size) {
    // Read counts on it: the bytes that remain are m_Size - m_Position, unsigned.
    NIMB_ASSERT(position <= size);
}

HRESULT Stream::QueryInterface(const _GUID&, void** ppv) {
    *ppv = nullptr;
    return E_NOINTERFACE;
}

HRESULT Stream::Read(void* pv, UINT32 cb, UINT32* pcbRead) {
    const UINT32 count = std::min(cb, m_Size - m_Position);
    *pcbRead = count;
    if (count != 0) {  // a read of nothing may come with a null `pv`
        std::memcpy(pv, m_Data.get() + m_Position, count);
        m_Position += count;
    }
    return S_OK;
}

}  // namespace NimbCrossPlatform
