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

static void ReleaseObject(IDispatch* object) {
    if (object) object->Release();
}

CVariantVector::~CVariantVector() {
    Clear();
    ObjectPool::Free(m_pItems, m_nCapacity * ElementBytes(m_bFull));
}

const VARIANT& CVariantVector::At(size_t i) const {
    if (m_bFull) return Variants()[m_nHead + i];
    thread_local VARIANT t_View;
    V_VT(&t_View) = VT_DISPATCH;
    V_DISPATCH(&t_View) = Objects()[m_nHead + i];
    return t_View;
}

HRESULT CVariantVector::CopyFull(size_t i, VARIANT* copy) const {
    VariantInit(copy);
    return VariantCopy(copy, &Variants()[m_nHead + i]);
}

// Doubles the storage (the first one holds several elements at once).
bool CVariantVector::Grow() {
    if (m_nCapacity > static_cast<size_t>(-1) / 2) return false;
    return MoveTo(m_nCapacity ? m_nCapacity * 2 : kFirstCapacity, m_bFull);
}

// Moves the live elements to the start of new storage for capacity elements, in the full
// form when full is set (a compact store is widened on the way; VARIANTs are plain data
// and move bytewise).
bool CVariantVector::MoveTo(size_t capacity, bool full) {
    const size_t live = Size();
    if (capacity < live || capacity > static_cast<size_t>(-1) / ElementBytes(full)) return false;
    void* items = ObjectPool::Allocate(capacity * ElementBytes(full));
    if (!items) return false;
    if (full && !m_bFull) {
        auto* variants = static_cast<VARIANT*>(items);
        for (size_t i = 0; i < live; ++i) {
            VariantInit(&variants[i]);
            V_VT(&variants[i]) = VT_DISPATCH;
            V_DISPATCH(&variants[i]) = Objects()[m_nHead + i];
        }
    } else if (live) {
        std::memcpy(items, static_cast<char*>(m_pItems) + m_nHead * ElementBytes(full), live * ElementBytes(full));
    }
    ObjectPool::Free(m_pItems, m_nCapacity * ElementBytes(m_bFull));
    m_pItems = items;
    m_nCapacity = capacity;
    m_nHead = 0;
    m_nEnd = live;
    m_bFull = full;
    return true;
}

HRESULT CVariantVector::AppendReferenceSlow(IDispatch* object) {
    if (m_nEnd == m_nCapacity && !Grow()) {
        if (object) object->Release();
        return E_OUTOFMEMORY;
    }
    if (m_bFull) {
        VARIANT& v = Variants()[m_nEnd++];
        VariantInit(&v);
        V_VT(&v) = VT_DISPATCH;
        V_DISPATCH(&v) = object;
    } else {
        Objects()[m_nEnd++] = object;
    }
    return S_OK;
}

HRESULT CVariantVector::AppendReferences(IDispatch* const* objects, size_t count) {
    if (count > static_cast<size_t>(-1) - m_nEnd || !Reserve(Size() + count)) return E_OUTOFMEMORY;
    if (m_bFull) {
        for (size_t i = 0; i < count; ++i) {
            VARIANT& v = Variants()[m_nEnd + i];
            VariantInit(&v);
            V_VT(&v) = VT_DISPATCH;
            V_DISPATCH(&v) = objects[i];
        }
    } else {
        std::memcpy(Objects() + m_nEnd, objects, count * sizeof(IDispatch*));
    }
    m_nEnd += count;
    return S_OK;
}

HRESULT CVariantVector::AppendDispatchSlow(IDispatch* object) {
    if (object) object->AddRef();
    return AppendReferenceSlow(object);
}

HRESULT CVariantVector::AppendOwned(VARIANT& value) {
    const bool object = V_VT(&value) == VT_DISPATCH;
    if (m_nEnd == m_nCapacity || (!object && !m_bFull)) {
        // Room for one more, in the form the new element needs.
        const bool full = m_bFull || !object;
        size_t capacity = m_nCapacity;
        if (m_nEnd == m_nCapacity)
            capacity = m_nCapacity > static_cast<size_t>(-1) / 2 ? 0 : m_nCapacity ? m_nCapacity * 2 : kFirstCapacity;
        if (!capacity || !MoveTo(capacity, full)) {
            VariantClear(&value);
            return E_OUTOFMEMORY;
        }
    }
    if (m_bFull)
        Variants()[m_nEnd++] = value;
    else
        Objects()[m_nEnd++] = V_DISPATCH(&value);
    VariantInit(&value);
    return S_OK;
}

HRESULT CVariantVector::AppendCopy(const VARIANT& value) {
    if (V_VT(&value) == VT_DISPATCH) return AppendDispatch(V_DISPATCH(&value));
    VARIANT copy;
    VariantInit(&copy);
    HRESULT hr = VariantCopy(&copy, const_cast<VARIANT*>(&value));
    if (FAILED(hr)) return hr;
    return AppendOwned(copy);
}

void CVariantVector::RemoveFront() {
    if (Empty()) return;
    if (m_bFull)
        ClearElement(Variants()[m_nHead]);
    else
        ReleaseObject(Objects()[m_nHead]);
    ++m_nHead;
    // Compact once the dead prefix is half the store: amortised O(1) per removal.
    if (m_nHead == m_nEnd) {
        m_nHead = m_nEnd = 0;
    } else if (m_nHead >= 64 && m_nHead * 2 >= m_nEnd) {
        const size_t bytes = ElementBytes(m_bFull);
        std::memmove(m_pItems, static_cast<char*>(m_pItems) + m_nHead * bytes, Size() * bytes);
        m_nEnd -= m_nHead;
        m_nHead = 0;
    }
}

void CVariantVector::Clear() {
    if (m_bFull) {
        for (size_t i = m_nHead; i < m_nEnd; ++i) ClearElement(Variants()[i]);
    } else {
        for (size_t i = m_nHead; i < m_nEnd; ++i) ReleaseObject(Objects()[i]);
    }
    m_nHead = m_nEnd = 0;
}
