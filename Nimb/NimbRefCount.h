// Reference counting for every concrete class of the core.
#pragma once

#include "Nimb/NimbAssert.h"
#include "Nimb/NimbInterfaces.h"

#include <atomic>

namespace Nimb {

/// Mix-in base of every concrete class, next to its interfaces. An object starts with count 0; its creator calls AddRef
/// once before handing it out, and the Release that brings the count to 0 destroys it. Both are lock-free and may be
/// called from any thread.
class CNimbRefCount {
public:
    CNimbRefCount() noexcept = default;
    CNimbRefCount(const CNimbRefCount&) = delete;
    CNimbRefCount& operator=(const CNimbRefCount&) = delete;
    virtual ~CNimbRefCount() = 0;  // a mix-in is not an object by itself

    /// Returns the new count. Asserts that destruction has not begun.
    virtual ULONG AddRef() {
        NIMB_ASSERT_MSG(m_DestructionFlag.load(std::memory_order_acquire) == 0, "m_DestructionFlag == 0");
        return m_RefCount.fetch_add(1, std::memory_order_acq_rel) + 1;
    }

    /// Returns the new count. Of several threads that see 0, the one that sets the flag destroys; the others do
    /// nothing.
    virtual ULONG Release() {
        const ULONG count = m_RefCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (count != 0) {
            return count;
        }
        std::uint8_t flag = 0;
        while (
            !m_DestructionFlag.compare_exchange_weak(flag, 1, std::memory_order_acq_rel, std::memory_order_acquire)) {
            if (flag != 0) {
                return 0;
            }
        }
        delete this;
        return 0;
    }

private:
    std::atomic<std::uint32_t> m_RefCount{0};
    std::atomic<std::uint8_t> m_DestructionFlag{0};
};

inline CNimbRefCount::~CNimbRefCount() = default;

}  // namespace Nimb
