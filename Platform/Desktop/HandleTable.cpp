// The handle table: generation in the upper half of a handle, slot in the lower.
#include "Platform/Desktop/HandleTable.h"

#include <utility>

namespace Nimb::Desktop {
namespace {

constexpr size_t c_NoSlot = ~size_t{0};
// Generations start at 1 and end before this one, so that no handle is 0 or ML_INVALID_HANDLE.
constexpr uint32_t c_LastGeneration = 0xFFFFFFFEu;

MLHandle MakeHandle(uint32_t generation, uint32_t slot) {
    return (MLHandle{generation} << 32) | slot;
}

}  // namespace

HandleTable& HandleTable::Get() {
    static HandleTable* const table = new HandleTable;
    return *table;
}

MLHandle HandleTable::Add(std::shared_ptr<Object> object) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Free.empty()) {
        // Room to free every slot again: Erase must not fail.
        m_Free.reserve(m_Slots.size() + 1);
        m_Slots.emplace_back();
        m_Free.push_back(static_cast<uint32_t>(m_Slots.size() - 1));
    }
    const uint32_t index = m_Free.back();
    m_Free.pop_back();
    Slot& slot = m_Slots[index];
    slot.object = std::move(object);
    return MakeHandle(slot.generation, index);
}

size_t HandleTable::SlotOf(MLHandle handle) const {
    const size_t index = handle & 0xFFFFFFFFu;
    if (index >= m_Slots.size() || m_Slots[index].generation != handle >> 32) {
        return c_NoSlot;
    }
    return m_Slots[index].object != nullptr ? index : c_NoSlot;
}

std::shared_ptr<Object> HandleTable::FindObject(MLHandle handle) const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const size_t index = SlotOf(handle);
    return index != c_NoSlot ? m_Slots[index].object : nullptr;
}

bool HandleTable::Erase(MLHandle handle) {
    std::shared_ptr<Object> erased;  // outlives the lock: destructors may take their time
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const size_t index = SlotOf(handle);
    if (index == c_NoSlot) {
        return false;
    }
    Slot& slot = m_Slots[index];
    erased = std::move(slot.object);
    slot.object = nullptr;
    if (slot.generation++ < c_LastGeneration) {
        m_Free.push_back(static_cast<uint32_t>(index));
    }
    return true;
}

}  // namespace Nimb::Desktop
