// A mesh frame in memory, as a stream for the core that keeps count of what was read.
#pragma once

#include "Nimb/NimbRefCount.h"
#include "NimbClip/ByteSource.h"

#include <algorithm>
#include <cstring>

namespace Nimb {
namespace Clip {

/// Does not own the bytes. Lives on the heap, in a CComPtr.
class FrameStream final : public IStream, public CNimbRefCount {
public:
    explicit FrameStream(const Bytes& bytes, std::size_t position = 0) : m_Bytes(bytes), m_Position(position) {}

    HRESULT QueryInterface(const _GUID&, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return CNimbRefCount::AddRef(); }
    ULONG Release() override { return CNimbRefCount::Release(); }

    HRESULT Read(void* pv, UINT32 cb, UINT32* pcbRead) override {
        const UINT32 count = static_cast<UINT32>(std::min<std::size_t>(cb, m_Bytes.size() - m_Position));
        if (count != 0) {
            std::memcpy(pv, m_Bytes.data() + m_Position, count);
        }
        m_Position += count;
        m_Missing += cb - count;
        *pcbRead = count;
        return S_OK;
    }

    std::size_t Position() const { return m_Position; }
    std::size_t Unread() const { return m_Bytes.size() - m_Position; }
    std::uint64_t Missing() const { return m_Missing; }  ///< bytes that were asked for beyond the end

private:
    const Bytes& m_Bytes;
    std::size_t m_Position;
    std::uint64_t m_Missing = 0;
};

}  // namespace Clip
}  // namespace Nimb
