// The element store of every collection: owned VARIANTs, first appended first. Removing
// the first element advances a head index, so popping a whole stack costs O(n), not O(n^2).
// The storage comes from the object pool: most stacks hold a handful of items, and their
// storage is recycled with the objects.
//
// The elements are nearly always object references (VT_DISPATCH): as long as they all are,
// the store keeps only their pointers, a third of the VARIANTs' size. The first element of
// another type moves the store to full VARIANTs for good. Either way, what goes in and comes
// out is the same VARIANT.
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
    // Element i, still owned by the store. While the store holds only object references, the
    // VARIANT is made in a place of the calling thread, valid until its next call of At.
    const VARIANT& At(size_t i) const;
    // *copy = element i copied (VariantCopy semantics); *copy is overwritten, not cleared.
    HRESULT CopyTo(size_t i, VARIANT* copy) const {
        if (m_bFull) return CopyFull(i, copy);
        IDispatch* object = Objects()[m_nHead + i];
        VariantInit(copy);
        V_VT(copy) = VT_DISPATCH;
        V_DISPATCH(copy) = object;
        if (object) object->AddRef();
        return S_OK;
    }

    // Appends a copy (VariantCopy semantics); on failure the store is unchanged.
    HRESULT AppendCopy(const VARIANT& value);
    // Appends an object reference; the store takes one reference of its own. On failure
    // that reference is given back at once, so an object nobody else holds is destroyed.
    HRESULT AppendDispatch(IDispatch* object) {
        if (m_bFull || m_nEnd == m_nCapacity) return AppendDispatchSlow(object);
        Objects()[m_nEnd++] = object;
        if (object) object->AddRef();
        return S_OK;
    }
    // Appends an object reference that the caller has added for the store; on failure it is
    // released at once.
    HRESULT AppendReference(IDispatch* object) {
        if (m_bFull || m_nEnd == m_nCapacity) return AppendReferenceSlow(object);
        Objects()[m_nEnd++] = object;
        return S_OK;
    }
    // Appends count object references that the caller has added for the store, in one move:
    // the storage grows to exactly the room they need. On failure the store is unchanged and
    // the references stay the caller's.
    HRESULT AppendReferences(IDispatch* const* objects, size_t count);
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
    bool Reserve(size_t count) { return count <= m_nCapacity - m_nHead || MoveTo(count, m_bFull); }
    // True while every element is an object reference kept as a bare pointer.
    bool IsCompact() const { return !m_bFull; }

private:
    static constexpr size_t kFirstCapacity = 8;
    size_t ElementBytes(bool full) const { return full ? sizeof(VARIANT) : sizeof(IDispatch*); }
    bool Grow();
    bool MoveTo(size_t capacity, bool full);
    HRESULT AppendDispatchSlow(IDispatch* object);
    HRESULT AppendReferenceSlow(IDispatch* object);
    HRESULT CopyFull(size_t i, VARIANT* copy) const;

    IDispatch** Objects() const { return static_cast<IDispatch**>(m_pItems); }
    VARIANT* Variants() const { return static_cast<VARIANT*>(m_pItems); }

    void* m_pItems = nullptr; // pointers in the compact form, VARIANTs in the full one
    size_t m_nCapacity = 0;
    size_t m_nHead = 0; // first live element
    size_t m_nEnd = 0;  // one past the last
    bool m_bFull = false;
};
