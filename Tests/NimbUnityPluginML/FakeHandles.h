// The objects behind the fake platform's handles.
#pragma once

#include "Tests/NimbUnityPluginML/FakePlatform.h"

#include <map>
#include <memory>
#include <mutex>

namespace Fake {

class Object {
public:
    explicit Object(Kind kind, Media media = Media::None) : m_Kind(kind), m_Media(media) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    const Kind m_Kind;
    const Media m_Media;
    std::mutex m_Mutex;
};

/// All handles of the process. They are never used twice, so a dead one stays dead.
class HandleTable {
public:
    static HandleTable& Instance();

    /// Under a new handle, or under 0.
    MLHandle Add(std::shared_ptr<Object> object, bool asNull = false);

    /// Null when there is no object of this type under the handle.
    template <class T>
    std::shared_ptr<T> Find(MLHandle handle) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        const auto it = m_Objects.find(handle);
        return it == m_Objects.end() ? nullptr : std::dynamic_pointer_cast<T>(it->second);
    }

    /// The object, which has no handle any more; null as with Find.
    template <class T>
    std::shared_ptr<T> Remove(MLHandle handle) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        const auto it = m_Objects.find(handle);
        auto object = it == m_Objects.end() ? nullptr : std::dynamic_pointer_cast<T>(it->second);
        if (object != nullptr) {
            m_Objects.erase(it);
        }
        return object;
    }

    int Count(std::optional<Kind> kind);
    void Clear();

private:
    std::mutex m_Mutex;
    std::map<MLHandle, std::shared_ptr<Object>> m_Objects;
    MLHandle m_Next = 100;
};

/// A track's description; codecs look at it to know what they decode.
class Format : public Object {
public:
    Format(const Track& track, std::size_t largestSample)
        : Object(Kind::Format), m_Track(track), m_LargestSample(largestSample) {}

    const Track m_Track;
    const std::size_t m_LargestSample;
};

/// Runs `operation` on the object of type T under the handle, unless the script or a dead handle is against it.
template <class T, class Operation>
MLResult With(const char* function, MLHandle handle, Operation&& operation) {
    const Inside inside;
    const auto object = HandleTable::Instance().Find<T>(handle);
    if (object == nullptr) {
        return MLResult_InvalidParam;
    }
    if (const auto scripted = Enter(function, object->m_Media)) {
        return *scripted;
    }
    return operation(*object);
}

/// The same under the object's mutex.
template <class T, class Operation>
MLResult WithLocked(const char* function, MLHandle handle, Operation&& operation) {
    return With<T>(function, handle, [&operation](T& object) {
        const std::lock_guard<std::mutex> lock(object.m_Mutex);
        return operation(object);
    });
}

template <class T>
MLResult Destroy(const char* function, MLHandle handle) {
    const Inside inside;
    Enter(function);
    return HandleTable::Instance().Remove<T>(handle) != nullptr ? MLResult_Ok : MLResult_InvalidParam;
}

std::shared_ptr<const Clip> FindClip(const std::string& uri);

}  // namespace Fake
