// NIMBCORE::CComPtr, the owning pointer through which the core holds every interface.
#pragma once

#include "Nimb/NimbAssert.h"

#include <memory>
#include <utility>

namespace NIMBCORE {

/// Holds one reference, or nothing. Copying adds a reference, moving hands it over.
template <class T>
class CComPtrBase {
public:
    CComPtrBase(const CComPtrBase&) = delete;
    CComPtrBase& operator=(const CComPtrBase&) = delete;

    ~CComPtrBase() {
        if (p != nullptr) {
            p->Release();
        }
    }

    T* operator->() const {
        NIMB_ASSERT_MSG(p != nullptr, "p != __null");
        return p;
    }

    /// For out-parameters: the pointer must be empty before a call fills it with a reference.
    T** operator&() {
        NIMB_ASSERT_MSG(p == nullptr, "p == __null");
        return &p;
    }

    operator T*() const noexcept { return p; }

    /// Gives the reference away without changing the count.
    T* Detach() noexcept { return std::exchange(p, nullptr); }

    /// Drops the reference held, if any.
    void Release() {
        if (T* const old = Detach()) {
            old->Release();
        }
    }

    T* p = nullptr;

protected:
    CComPtrBase() noexcept = default;
    explicit CComPtrBase(T* other) : p(other) {
        if (p != nullptr) {
            p->AddRef();
        }
    }

    /// The new one is referenced before the old one is released, so that an object which only the old one keeps alive
    /// survives the exchange.
    void Assign(T* other) {
        if (p == other) {
            return;
        }
        if (other != nullptr) {
            other->AddRef();
        }
        T* const old = std::exchange(p, other);
        if (old != nullptr) {
            old->Release();
        }
    }
};

template <class T>
class CComPtr : public CComPtrBase<T> {
public:
    CComPtr() noexcept = default;
    CComPtr(T* other) : CComPtrBase<T>(other) {}
    CComPtr(const CComPtr& other) : CComPtrBase<T>(other.p) {}
    CComPtr(CComPtr&& other) noexcept { this->p = other.Detach(); }

    CComPtr& operator=(T* other) {
        this->Assign(other);
        return *this;
    }
    CComPtr& operator=(const CComPtr& other) {
        this->Assign(other.p);
        return *this;
    }
    CComPtr& operator=(CComPtr&& other) noexcept {
        // As in Assign: nothing happens between two pointers to the same object, and the old object is released last.
        // It may be the one that holds `other`, or look at this pointer while it is destroyed.
        if (this->p != other.p) {
            T* const old = std::exchange(this->p, other.Detach());
            if (old != nullptr) {
                old->Release();
            }
        }
        return *this;
    }
};

}  // namespace NIMBCORE
