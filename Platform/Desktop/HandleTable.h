// One table for all objects that the platform hands out as handles.
//
// A handle is a slot of the table and the generation of its contents, so a handle that outlives its object never names
// another one. Whoever is inside a call on an object owns it together with the table: an object that is destroyed
// meanwhile lives until that call returns.
#pragma once

#include <ml_types.h>

#include <memory>
#include <mutex>
#include <vector>

namespace Nimb::Desktop {

class Object {
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;
};

class HandleTable {
public:
    /// The process's table. It is never destroyed: threads may still make calls while the process ends.
    static HandleTable& Get();

    MLHandle Add(std::shared_ptr<Object> object);

    /// Null when the handle is not, or no longer, that of a `T`.
    template <class T>
    std::shared_ptr<T> Find(MLHandle handle) const {
        return std::dynamic_pointer_cast<T>(FindObject(handle));
    }

    /// Takes a `T` out of the table. When several threads remove the same object, one gets it and the others get null.
    template <class T>
    std::shared_ptr<T> Remove(MLHandle handle) {
        std::shared_ptr<T> found = Find<T>(handle);
        return found != nullptr && Erase(handle) ? found : nullptr;
    }

private:
    struct Slot {
        uint32_t generation = 1;
        std::shared_ptr<Object> object;
    };

    std::shared_ptr<Object> FindObject(MLHandle handle) const;
    bool Erase(MLHandle handle);
    size_t SlotOf(MLHandle handle) const;

    mutable std::mutex m_Mutex;
    std::vector<Slot> m_Slots;
    std::vector<uint32_t> m_Free;
};

}  // namespace Nimb::Desktop
