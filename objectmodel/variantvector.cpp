#include "objectmodel/variantvector.h"

#include <new>

HRESULT CVariantVector::AppendOwned(VARIANT& value) {
    try {
        // Most stacks hold a handful of items: start with room for several at once.
        if (m_Items.capacity() == 0) m_Items.reserve(8);
        m_Items.push_back(value);
    } catch (const std::bad_alloc&) {
        VariantClear(&value);
        return E_OUTOFMEMORY;
    }
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

HRESULT CVariantVector::AppendDispatch(IDispatch* object) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_DISPATCH;
    V_DISPATCH(&v) = object;
    if (object) object->AddRef();
    return AppendOwned(v);
}

void CVariantVector::RemoveFront() {
    if (Empty()) return;
    VariantClear(&m_Items[m_nHead]);
    ++m_nHead;
    // Compact once the dead prefix is half the store: amortised O(1) per removal.
    if (m_nHead == m_Items.size()) {
        m_Items.clear();
        m_nHead = 0;
    } else if (m_nHead >= 64 && m_nHead * 2 >= m_Items.size()) {
        m_Items.erase(m_Items.begin(), m_Items.begin() + static_cast<std::ptrdiff_t>(m_nHead));
        m_nHead = 0;
    }
}

void CVariantVector::Clear() {
    for (size_t i = m_nHead; i < m_Items.size(); ++i) VariantClear(&m_Items[i]);
    m_Items.clear();
    m_nHead = 0;
}
