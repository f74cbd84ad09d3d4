// IDispatch served from the registered type library, shared by every dual class.
#include <mutex>
#include <utility>
#include <vector>

#include "interfaces/interfaces.h"
#include "objectmodel/combase.h"

namespace {

std::mutex g_CacheLock;
std::vector<std::pair<IID, ITypeInfo*>>& Cache() {
    // Type information stays cached for the life of the process.
    static auto* cache = new std::vector<std::pair<IID, ITypeInfo*>>();
    return *cache;
}

} // namespace

HRESULT GetInterfaceTypeInfo(REFIID iid, ITypeInfo** info) {
    if (!info) return E_POINTER;
    *info = nullptr;
    std::lock_guard<std::mutex> lock(g_CacheLock);
    for (auto& entry : Cache()) {
        if (IsEqualGUID(entry.first, iid)) {
            entry.second->AddRef();
            *info = entry.second;
            return S_OK;
        }
    }
    ITypeLib* library = nullptr;
    HRESULT hr = LoadRegTypeLib(LIBID_TARVOLINLib, 1, 0, 0, &library);
    if (FAILED(hr)) return hr;
    ITypeInfo* found = nullptr;
    hr = library->GetTypeInfoOfGuid(iid, &found);
    library->Release();
    if (FAILED(hr)) return hr;
    try {
        Cache().emplace_back(iid, found);
    } catch (const std::bad_alloc&) {
        found->Release();
        return E_OUTOFMEMORY;
    }
    found->AddRef();
    *info = found;
    return S_OK;
}

HRESULT DispatchGetTypeInfo(REFIID iid, UINT index, ITypeInfo** info) {
    if (!info) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    return GetInterfaceTypeInfo(iid, info);
}

HRESULT DispatchGetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, DISPID* ids) {
    ITypeInfo* info = nullptr;
    HRESULT hr = GetInterfaceTypeInfo(iid, &info);
    if (FAILED(hr)) return hr;
    hr = info->GetIDsOfNames(names, count, ids);
    info->Release();
    return hr;
}

HRESULT DispatchInvoke(IDispatch* self, REFIID iid, DISPID member, WORD flags, DISPPARAMS* params, VARIANT* result,
                       EXCEPINFO* exception, UINT* argumentError) {
    ITypeInfo* info = nullptr;
    HRESULT hr = GetInterfaceTypeInfo(iid, &info);
    if (FAILED(hr)) return hr;
    hr = info->Invoke(self, member, flags, params, result, exception, argumentError);
    if (hr == DISP_E_MEMBERNOTFOUND && flags == DISPATCH_METHOD)
        hr = info->Invoke(self, member, DISPATCH_METHOD | DISPATCH_PROPERTYGET, params, result, exception,
                          argumentError);
    info->Release();
    return hr;
}

namespace {

// The ISupportErrorInfo of a dual object: its IUnknown is the object's, and it keeps the
// object alive while it is held.
class CSupportErrorInfo final : public ISupportErrorInfo {
public:
    CSupportErrorInfo(IUnknown* owner, REFIID iid) : m_pOwner(owner), m_Iid(iid) { owner->AddRef(); }
    ~CSupportErrorInfo() { m_pOwner->Release(); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        return m_pOwner->QueryInterface(iid, result);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRef; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG n = --m_nRef;
        if (n == 0) delete this;
        return n;
    }
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
        return IsEqualGUID(iid, m_Iid) ? S_OK : S_FALSE;
    }

    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return ObjectPool::Allocate(size); }
    static void operator delete(void* p, std::size_t size) noexcept { ObjectPool::Free(p, size); }
    static void operator delete(void* p, const std::nothrow_t&) noexcept {
        ObjectPool::Free(p, sizeof(CSupportErrorInfo));
    }

private:
    IUnknown* m_pOwner;
    IID m_Iid;
    ULONG m_nRef = 1;
};

} // namespace

HRESULT CreateSupportErrorInfo(IUnknown* owner, REFIID iid, void** result) {
    auto* support = new (std::nothrow) CSupportErrorInfo(owner, iid);
    if (!support) return E_OUTOFMEMORY;
    *result = static_cast<ISupportErrorInfo*>(support);
    return S_OK;
}
