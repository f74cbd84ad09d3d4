// The collections handed to the host: six typed lists and the expression stack, over one
// shared shape (an ordered store of VARIANTs with a 1-based Item, Count and _NewEnum),
// and the IEnumVARIANT enumerator that for-each loops of automation clients use.
#pragma once

#include <string>
#include <string_view>

#include "interfaces/interfaces.h"
#include "objectmodel/combase.h"
#include "objectmodel/text.h"
#include "objectmodel/variantvector.h"

// Walks a collection's live store; holds a reference to the collection so that the store
// outlives it.
class CEnumVariant final : public IEnumVARIANT, public CComObjectBase<CEnumVariant> {
public:
    TARVOLIN_IUNKNOWN

    // Binds the enumerator to a collection (taking a reference to owner) at a position.
    void Bind(IUnknown* owner, const CVariantVector* store, size_t position);

    HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* elements, ULONG* fetched) override;
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** result) override;

    IUnknown* FindInterface(REFIID iid);
    ~CEnumVariant();

private:
    IUnknown* m_pOwner = nullptr;
    const CVariantVector* m_pStore = nullptr;
    size_t m_nPosition = 0;
};

// Creates an enumerator over store, owned by owner; returns its IUnknown.
HRESULT CreateEnumerator(IUnknown* owner, const CVariantVector* store, IUnknown** result);

// Count, Item and _NewEnum of every collection, and the builder's append.
template <class Derived, class Itf, const IID* ItfIID> class CCollection : public CComDual<Derived, Itf, ItfIID> {
public:
    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override {
        if (!count) return E_POINTER;
        *count = static_cast<LONG>(m_Elements.Size());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_Item(LONG index, VARIANT* item) override {
        if (!item) return E_POINTER;
        if (index < 1) return E_INVALIDARG;
        if (static_cast<size_t>(index) > m_Elements.Size()) return E_FAIL;
        return m_Elements.CopyTo(static_cast<size_t>(index) - 1, item);
    }

    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** result) override {
        if (!result) return E_POINTER;
        *result = nullptr;
        return CreateEnumerator(static_cast<Itf*>(this), &m_Elements, result);
    }

    // Builder side: appends an element object; the collection holds one reference.
    HRESULT Append(IDispatch* element) { return m_Elements.AppendDispatch(element); }
    // The same for an object of a known class, whose reference is added without a call
    // through its interface.
    template <class T> HRESULT AppendObject(T* element) {
        element->InternalAddRef();
        return m_Elements.AppendReference(element->Dispatch());
    }
    CVariantVector& Elements() { return m_Elements; }

protected:
    CVariantVector m_Elements;
};

class cTableIdentList final : public CCollection<cTableIdentList, ITableIdentList, &IID_ITableIdentList> {};
class cColumnIdentList final : public CCollection<cColumnIdentList, IColumnIdentList, &IID_IColumnIdentList> {};
class cOrderByObjList final : public CCollection<cOrderByObjList, IOrderByObjList, &IID_IOrderByObjList> {};
class cGenericStackList final : public CCollection<cGenericStackList, IGenericStackList, &IID_IGenericStackList> {};
class cUpdateItemList final : public CCollection<cUpdateItemList, IUpdateItemList, &IID_IUpdateItemList> {};
class cCreateTableItemList final
    : public CCollection<cCreateTableItemList, ICreateTableItemList, &IID_ICreateTableItemList> {};

// The expression stack: every reader starts at the first pushed element.
class cGenericStack final : public CCollection<cGenericStack, IGenericStack, &IID_IGenericStack> {
public:
    HRESULT STDMETHODCALLTYPE Push(VARIANT value) override;
    HRESULT STDMETHODCALLTYPE Pop(VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE Peek(VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE get_AsName(BSTR* name) override;

    // Builder side: the name of a select item written with a column alias.
    void SetName(std::string_view name) { m_strName.Assign(name); }
    std::string_view Name() const { return m_strName.View(); }

private:
    HRESULT CopyFront(VARIANT* value);
    CCompactText m_strName;
};
