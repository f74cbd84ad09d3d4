#include "objectmodel/variantvector.h"

#include <cstring>

#include "objectmodel/objectpool.h"

// Clearing an object reference is releasing it; the stores hold little else.
static void ClearElement(VARIANT& v) {
    if (V_VT(&v) == VT_DISPATCH) {
        if (IDispatch* object = V_DISPATCH(&v)) object->Release();
        V_VT(&v) = VT_EMPTY;
    } else {
        VariantClear(&v);
    }
}

CVariantVector::~CVariantVector() {
    Clear();
    ObjectPool::Free(m_pItems, m_nCapacity * sizeof(VARIANT));
}

// Doubles the storage (the first one holds several elements at once). VARIANTs are plain
// data and move bytewise.
bool CVariantVector::Grow() {
    if (m_nCapacity > static_cast<size_t>(-1) / 2) return false;
    return MoveTo(m_nCapacity ? m_nCapacity * 2 : kFirstCapacity);
}

// Moves the live elements to the start of new storage for capacity elements.
bool CVariantVector::MoveTo(size_t capacity) {
    const size_t live = Size();
    if (capacity < live || capacity > static_cast<size_t>(-1) / sizeof(VARIANT)) return false;
    auto* items = static_cast<VARIANT*>(ObjectPool::Allocate(capacity * sizeof(VARIANT)));
    if (!items) return false;
    if (live) std::memcpy(static_cast<void*>(items), m_pItems + m_nHead, live * sizeof(VARIANT));
    ObjectPool::Free(m_pItems, m_nCapacity * sizeof(VARIANT));
    m_pItems = items;
    m_nCapacity = capacity;
    m_nHead = 0;
    m_nEnd = live;
    return true;
}

HRESULT CVariantVector::AppendOwned(VARIANT& value) {
    if (m_nEnd == m_nCapacity && !Grow()) {
        VariantClear(&value);
        return E_OUTOFMEMORY;
    }
    m_pItems[m_nEnd++] = value;
    VariantInit(&value);
    return S_OK;
}

HRESULT CVariantVector::AppendCopy(const VARIANT& value) {
    VARIANT copy;
    VariantInit(&copy);
    HRESULT hr = VariantCopy(&copy, const_cast<VARIANT*>(&value));
    if (FAILED(hr)) return hr;
    return AppendOwned(copy);
}

void CVariantVector::RemoveFront() {
    if (Empty()) return;
    ClearElement(m_pItems[m_nHead]);
    ++m_nHead;
    // Compact once the dead prefix is half the store: amortised O(1) per removal.
    if (m_nHead == m_nEnd) {
        m_nHead = m_nEnd = 0;
    } else if (m_nHead >= 64 && m_nHead * 2 >= m_nEnd) {
        std::memmove(static_cast<void*>(m_pItems), m_pItems + m_nHead, Size() * sizeof(VARIANT));
        m_nEnd -= m_nHead;
        m_nHead = 0;
    }
}

void CVariantVector::Clear() {
    for (size_t i = m_nHead; i < m_nEnd; ++i) ClearElement(m_pItems[i]);
    m_nHead = m_nEnd = 0;
}
