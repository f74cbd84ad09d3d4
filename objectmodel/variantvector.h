// The element store of every collection: owned VARIANTs, first appended first. Removing
// the first element advances a head index, so popping a whole stack costs O(n), not O(n^2).
#pragma once

#include <vector>

#include "platform/platform.h"

class CVariantVector {
public:
    CVariantVector() = default;
    CVariantVector(const CVariantVector&) = delete;
    CVariantVector& operator=(const CVariantVector&) = delete;
    ~CVariantVector() { Clear(); }

    size_t Size() const { return m_Items.size() - m_nHead; }
    bool Empty() const { return Size() == 0; }
    const VARIANT& At(size_t i) const { return m_Items[m_nHead + i]; }

    // Appends a copy (VariantCopy semantics); on failure the store is unchanged.
    HRESULT AppendCopy(const VARIANT& value);
    // Appends an object reference; the store takes one reference of its own.
    HRESULT AppendDispatch(IDispatch* object);
    // Appends a VARIANT whose ownership passes to the store (even on failure).
    HRESULT AppendOwned(VARIANT& value);
    // Clears and removes the first element.
    void RemoveFront();
    void Clear();

private:
    std::vector<VARIANT> m_Items;
    size_t m_nHead = 0;
};
