#include "objectmodel/collections.h"

#include "objectmodel/reporterror.h"
#include "objectmodel/text.h"

void CEnumVariant::Bind(IUnknown* owner, const CVariantVector* store, size_t position) {
    if (owner) owner->AddRef();
    if (m_pOwner) m_pOwner->Release();
    m_pOwner = owner;
    m_pStore = store;
    m_nPosition = position;
}

CEnumVariant::~CEnumVariant() {
    if (m_pOwner) m_pOwner->Release();
}

IUnknown* CEnumVariant::FindInterface(REFIID iid) {
    if (IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IEnumVARIANT)) return static_cast<IEnumVARIANT*>(this);
    return nullptr;
}

HRESULT CEnumVariant::Next(ULONG count, VARIANT* elements, ULONG* fetched) {
    if (!elements || (count > 1 && !fetched)) return E_POINTER;
    if (fetched) *fetched = 0;
    if (!m_pStore) return E_FAIL;
    ULONG done = 0;
    while (done < count && m_nPosition < m_pStore->Size()) {
        HRESULT hr = m_pStore->CopyTo(m_nPosition, &elements[done]);
        if (FAILED(hr)) {
            for (ULONG i = 0; i < done; ++i) VariantClear(&elements[i]);
            return hr;
        }
        ++done;
        ++m_nPosition;
    }
    if (fetched) *fetched = done;
    return done == count ? S_OK : S_FALSE;
}

HRESULT CEnumVariant::Skip(ULONG count) {
    if (!m_pStore) return E_FAIL;
    for (ULONG i = 0; i < count; ++i) {
        if (m_nPosition >= m_pStore->Size()) return S_FALSE;
        ++m_nPosition;
    }
    return S_OK;
}

HRESULT CEnumVariant::Reset() {
    if (!m_pStore) return E_FAIL;
    m_nPosition = 0;
    return S_OK;
}

HRESULT CEnumVariant::Clone(IEnumVARIANT** result) {
    if (!result) return E_POINTER;
    *result = nullptr;
    if (!m_pStore) return E_FAIL;
    CEnumVariant* copy = nullptr;
    HRESULT hr = CEnumVariant::CreateInstance(&copy);
    if (FAILED(hr)) return hr;
    copy->Bind(m_pOwner, m_pStore, m_nPosition);
    copy->AddRef();
    *result = copy;
    return S_OK;
}

HRESULT CreateEnumerator(IUnknown* owner, const CVariantVector* store, IUnknown** result) {
    CEnumVariant* enumerator = nullptr;
    HRESULT hr = CEnumVariant::CreateInstance(&enumerator);
    if (FAILED(hr)) return hr;
    enumerator->Bind(owner, store, 0);
    enumerator->AddRef();
    *result = static_cast<IEnumVARIANT*>(enumerator);
    return S_OK;
}

HRESULT cGenericStack::Push(VARIANT value) { return m_Elements.AppendCopy(value); }

HRESULT cGenericStack::CopyFront(VARIANT* value) {
    if (!value) return E_POINTER;
    if (m_Elements.Empty()) return ReportError(CLSID_GenericStack, "Stack is empty");
    // An out-parameter: whatever it held is overwritten, not cleared.
    return m_Elements.CopyTo(0, value);
}

HRESULT cGenericStack::Pop(VARIANT* value) {
    HRESULT hr = CopyFront(value);
    if (SUCCEEDED(hr)) m_Elements.RemoveFront();
    return hr;
}

HRESULT cGenericStack::Peek(VARIANT* value) { return CopyFront(value); }

HRESULT cGenericStack::get_AsName(BSTR* name) { return NarrowToBSTR(m_strName.View(), name); }
