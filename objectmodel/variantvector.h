// The element store of every collection: owned VARIANTs, first appended first. Removing
// the first element advances a head index, so popping a whole stack costs O(n), not O(n^2).
// The storage comes from the object pool: most stacks hold a handful of items, and their
// storage is recycled with the objects.
#pragma once

#include <cstddef>

#include "platform/platform.h"

class CVariantVector {
public:
    CVariantVector() = default;
    CVariantVector(const CVariantVector&) = delete;
    CVariantVector& operator=(const CVariantVector&) = delete;
    ~CVariantVector();

    size_t Size() const { return m_nEnd - m_nHead; }
    bool Empty() const { return m_nEnd == m_nHead; }
    const VARIANT& At(size_t i) const { return m_pItems[m_nHead + i]; }

    // Appends a copy (VariantCopy semantics); on failure the store is unchanged.
    HRESULT AppendCopy(const VARIANT& value);
    // Appends an object reference; the store takes one reference of its own. On failure
    // that reference is given back at once, so an object nobody else holds is destroyed.
    HRESULT AppendDispatch(IDispatch* object) {
        if (m_nEnd == m_nCapacity && !Grow()) {
            if (object) {
                object->AddRef();
                object->Release();
            }
            return E_OUTOFMEMORY;
        }
        VARIANT& v = m_pItems[m_nEnd++];
        V_VT(&v) = VT_DISPATCH;
        V_DISPATCH(&v) = object;
        if (object) object->AddRef();
        return S_OK;
    }
    // Appends a VARIANT whose ownership passes to the store (even on failure).
    HRESULT AppendOwned(VARIANT& value);
    // Clears and removes the first element.
    void RemoveFront();
    // Clears every element; the storage stays for reuse.
    void Clear();

    // Elements the store can hold without allocating.
    size_t Capacity() const { return m_nCapacity; }
    // Makes room for count elements in all (the live ones included), exactly when the store
    // has to move for it. False when memory runs out; the store is unchanged then.
    bool Reserve(size_t count) { return count <= m_nCapacity - m_nHead || MoveTo(count); }

private:
    static constexpr size_t kFirstCapacity = 8;
    bool Grow();
    bool MoveTo(size_t capacity);

    VARIANT* m_pItems = nullptr;
    size_t m_nCapacity = 0;
    size_t m_nHead = 0; // first live element
    size_t m_nEnd = 0;  // one past the last
};
