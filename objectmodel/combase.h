// The COM object mechanics, written once for every class of the component:
//
//   CComObjectBase<Derived>  reference counting, the module's live-object count, creation
//                            routines that hand out objects with a count of 0, and
//                            QueryInterface over the class's interface table.
//   CComDual<Derived, Itf, &IID_Itf, &IID_Base>
//                            a dual automation object: Itf plus IDispatch served from the
//                            registered type library, and ISupportErrorInfo answering S_OK
//                            only for Itf (a tear-off, made when it is asked for: hosts ask
//                            for it only when a call fails, and every object of a statement
//                            saves the word of a second interface pointer).
//
// Objects are apartment-threaded: the reference count is a plain counter.
#pragma once

#include <new>

#include "objectmodel/module.h"
#include "objectmodel/objectpool.h"
#include "platform/platform.h"

// The type information of one interface of our type library, loaded from the registered
// library once and cached for the life of the module. Fails with the loader's error when
// the library is not registered.
HRESULT GetInterfaceTypeInfo(REFIID iid, ITypeInfo** info);

template <class Derived> class CComObjectBase {
public:
    // Creation routine: *result is set to null first; the new object has a reference
    // count of 0 and the receiver takes the first reference.
    static HRESULT CreateInstance(Derived** result) {
        if (!result) return E_POINTER;
        *result = nullptr;
        Derived* object = new (std::nothrow) Derived();
        if (!object) return E_OUTOFMEMORY;
        HRESULT hr = object->FinalConstruct();
        if (FAILED(hr)) {
            delete object;
            return hr;
        }
        *result = object;
        return S_OK;
    }

    // Classes with sub-objects create them here; a failure discards the object.
    HRESULT FinalConstruct() { return S_OK; }

    ULONG InternalAddRef() { return ++m_nRef; }
    ULONG InternalRelease() {
        ULONG n = --m_nRef;
        if (n == 0) delete static_cast<Derived*>(this);
        return n;
    }
    HRESULT InternalQueryInterface(REFIID iid, void** result) {
        if (!result) return E_POINTER;
        *result = nullptr;
        IUnknown* found = static_cast<Derived*>(this)->FindInterface(iid);
        if (!found) return E_NOINTERFACE;
        found->AddRef();
        *result = found;
        return S_OK;
    }

    // Objects live in the calling thread's object pool, which counts them from allocation to
    // free (the module's live-object count). Allocation can fail (null, or std::bad_alloc for
    // the throwing form) like any heap allocation.
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
        return ObjectPool::AllocateObject(size);
    }
    static void* operator new(std::size_t size) {
        if (void* p = ObjectPool::AllocateObject(size)) return p;
        throw std::bad_alloc();
    }
    // The size is the most derived class's, passed by the virtual destructors.
    static void operator delete(void* p, std::size_t size) noexcept { ObjectPool::FreeObject(p, size); }
    // Reached only when the constructor of an object made by CreateInstance throws; that
    // object is a Derived.
    static void operator delete(void* p, const std::nothrow_t&) noexcept {
        ObjectPool::FreeObject(p, sizeof(Derived));
    }

protected:
    CComObjectBase() = default;
    ~CComObjectBase() = default;
    CComObjectBase(const CComObjectBase&) = delete;
    CComObjectBase& operator=(const CComObjectBase&) = delete;

private:
    ULONG m_nRef = 0;
};

// The IUnknown trio of a class, forwarded to its CComObjectBase. Only a class that can be
// aggregated (CAggregatable) carries the outer object's pointer: the many small objects of a
// statement cannot, and save the word.
#define TARVOLIN_IUNKNOWN                                                                                  \
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {                         \
        return this->InternalQueryInterface(iid, result);                                                   \
    }                                                                                                       \
    ULONG STDMETHODCALLTYPE AddRef() override { return this->InternalAddRef(); }                            \
    ULONG STDMETHODCALLTYPE Release() override { return this->InternalRelease(); }

// Answers IDispatch from the type information of the interface iid. Wine's
// ITypeInfo::Invoke matches the call kind strictly, and its JScript calls property gets
// (such as _NewEnum) as methods; a method call that fails with DISP_E_MEMBERNOTFOUND is
// therefore tried once more as a method-or-property-get.
HRESULT DispatchInvoke(IDispatch* self, REFIID iid, DISPID member, WORD flags, DISPPARAMS* params,
                       VARIANT* result, EXCEPINFO* exception, UINT* argumentError);
HRESULT DispatchGetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, DISPID* ids);
HRESULT DispatchGetTypeInfo(REFIID iid, UINT index, ITypeInfo** info);

// *result = a new ISupportErrorInfo of owner (holding a reference to it) that answers S_OK
// for iid only; E_OUTOFMEMORY when there is no memory for it.
HRESULT CreateSupportErrorInfo(IUnknown* owner, REFIID iid, void** result);

template <class Derived, class Itf, const IID* ItfIID, const IID* BaseIID = nullptr>
class CComDual : public Itf, public CComObjectBase<Derived> {
public:
    using InterfaceType = Itf;
    TARVOLIN_IUNKNOWN

    // IDispatch
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (!count) return E_POINTER;
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
        return DispatchGetTypeInfo(*ItfIID, index, info);
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
        return DispatchGetIDsOfNames(*ItfIID, names, count, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                                     EXCEPINFO* exception, UINT* argumentError) override {
        return DispatchInvoke(static_cast<Itf*>(this), *ItfIID, member, flags, params, result, exception,
                              argumentError);
    }

    // QueryInterface table: the base interface (IExpressionItem for items), the class's
    // own interface and IDispatch are one dual interface; then ISupportErrorInfo, where only
    // the class's own dual interface reports errors.
    IUnknown* FindInterface(REFIID iid) {
        if (IsBaseInterface(iid) || IsEqualGUID(iid, *ItfIID) || IsEqualGUID(iid, IID_IDispatch) ||
            IsEqualGUID(iid, IID_IUnknown))
            return static_cast<Itf*>(this);
        return nullptr;
    }
    // What the object's ISupportErrorInfo answers.
    HRESULT InterfaceSupportsErrorInfo(REFIID iid) const { return IsEqualGUID(iid, *ItfIID) ? S_OK : S_FALSE; }
    HRESULT InternalQueryInterface(REFIID iid, void** result) {
        if (result && IsEqualGUID(iid, IID_ISupportErrorInfo)) {
            *result = nullptr;
            return CreateSupportErrorInfo(static_cast<Itf*>(this), *ItfIID, result);
        }
        return CComObjectBase<Derived>::InternalQueryInterface(iid, result);
    }

    // The object's dual interface as IDispatch, for elements of collections.
    IDispatch* Dispatch() { return static_cast<Itf*>(this); }

protected:
    CComDual() = default;
    virtual ~CComDual() = default;

private:
    // Whether iid is the base interface; BaseIID is null for a class without one. The
    // pointer is read through a variable: tested directly, a template argument that is
    // the address of a GUID is a constant the compiler warns about.
    static bool IsBaseInterface(REFIID iid) {
        const IID* base = BaseIID;
        return base && IsEqualGUID(iid, *base);
    }
};

// A class that can be the inner part of an aggregate (CComAggObject): while it is one, its
// IUnknown belongs to the outer object.
template <class Base> class CAggregatable : public Base {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        return m_pOuterUnknown ? m_pOuterUnknown->QueryInterface(iid, result) : this->InternalQueryInterface(iid, result);
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return m_pOuterUnknown ? m_pOuterUnknown->AddRef() : this->InternalAddRef();
    }
    ULONG STDMETHODCALLTYPE Release() override {
        return m_pOuterUnknown ? m_pOuterUnknown->Release() : this->InternalRelease();
    }

    // Set when the object is the inner part of an aggregate.
    IUnknown* m_pOuterUnknown = nullptr;
};

// The aggregatable form of a class: the inner, non-delegating IUnknown that an outer
// object holds. Every other interface of the contained object delegates its IUnknown to
// the outer object.
template <class T> class CComAggObject final : public IUnknown {
public:
    // Creates the aggregate with a reference count of 0; outer must not be null.
    static HRESULT CreateInstance(IUnknown* outer, CComAggObject** result) {
        if (!result) return E_POINTER;
        *result = nullptr;
        auto* object = new (std::nothrow) CComAggObject(outer);
        if (!object) return E_OUTOFMEMORY;
        HRESULT hr = object->m_Contained.FinalConstruct();
        if (FAILED(hr)) {
            delete object;
            return hr;
        }
        *result = object;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (!result) return E_POINTER;
        *result = nullptr;
        if (IsEqualGUID(iid, IID_IUnknown)) {
            *result = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        return m_Contained.InternalQueryInterface(iid, result);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRef; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG n = --m_nRef;
        if (n == 0) delete this;
        return n;
    }

    T& Contained() { return m_Contained; }

    // The aggregate is one live object, counted as the contained object alone would be.
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
        return ObjectPool::AllocateObject(size);
    }
    static void operator delete(void* p, std::size_t size) noexcept { ObjectPool::FreeObject(p, size); }
    static void operator delete(void* p, const std::nothrow_t&) noexcept {
        ObjectPool::FreeObject(p, sizeof(CComAggObject));
    }

private:
    explicit CComAggObject(IUnknown* outer) { m_Contained.m_pOuterUnknown = outer; }
    T m_Contained;
    ULONG m_nRef = 0;
};
