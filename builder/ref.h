// Ownership helpers of the builders. Objects are created with a reference count of 0; a
// CRef takes the first reference and gives it back when it goes out of scope, so an
// object that was never appended anywhere is destroyed even when building stops halfway.
#pragma once

#include <new>
#include <utility>

#include "platform/platform.h"

// Thrown inside the builders when an object cannot be created or appended; ParseSQL turns
// it into its result code.
struct CBuildError {
    HRESULT hr;
};

inline void Check(HRESULT hr) {
    if (FAILED(hr)) throw CBuildError{hr};
}

template <class T> class CRef {
public:
    CRef() = default;
    explicit CRef(T* p) : m_p(p) {
        if (m_p) m_p->AddRef();
    }
    CRef(const CRef&) = delete;
    CRef& operator=(const CRef&) = delete;
    CRef(CRef&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    ~CRef() {
        if (m_p) m_p->Release();
    }
    T* operator->() const { return m_p; }
    T* Get() const { return m_p; }
    // Hands the reference to the caller.
    T* Detach() { return std::exchange(m_p, nullptr); }

private:
    T* m_p = nullptr;
};

// Creates an object of class T, holding its first reference.
template <class T> CRef<T> New() {
    T* p = nullptr;
    Check(T::CreateInstance(&p));
    return CRef<T>(p);
}
