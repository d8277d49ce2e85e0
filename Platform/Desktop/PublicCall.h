// What every exported function does first and last: look the handle up, and let no exception out.
#pragma once

#include "Platform/Desktop/HandleTable.h"

#include <new>
#include <utility>

namespace Nimb::Desktop {

template <class Body>
MLResult PublicCall(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return MLResult_AllocFailed;
    } catch (...) {
        return MLResult_UnspecifiedFailure;
    }
}

/// `body(object)` on the object of that handle, which lives until it returns.
template <class T, class Body>
MLResult CallOn(MLHandle handle, Body&& body) noexcept {
    return PublicCall([&] {
        const std::shared_ptr<T> object = HandleTable::Get().Find<T>(handle);
        return object != nullptr ? body(*object) : MLResult{MLResult_InvalidParam};
    });
}

}  // namespace Nimb::Desktop
