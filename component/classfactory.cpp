#include "component/classfactory.h"

#include <atomic>
#include <mutex>

#include "builder/parser.h"

namespace {

class CParserFactory final : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (!result) return E_POINTER;
        *result = nullptr;
        if (!IsEqualGUID(iid, IID_IUnknown) && !IsEqualGUID(iid, IID_IClassFactory)) return E_NOINTERFACE;
        *result = static_cast<IClassFactory*>(this);
        AddRef();
        return S_OK;
    }
    // The count starts at 1, the module's own reference; the first outside reference locks
    // the module and the last one unlocks it.
    ULONG STDMETHODCALLTYPE AddRef() override {
        ULONG n = ++m_nRef;
        if (n == 2) CModule::LockServer(true);
        return n;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG n = --m_nRef;
        if (n == 1) CModule::LockServer(false);
        return n;
    }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** result) override {
        if (!result) return E_POINTER;
        *result = nullptr;
        if (outer && !IsEqualGUID(iid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
        IUnknown* object = nullptr;
        if (outer) {
            CComAggObject<cParser>* aggregate = nullptr;
            HRESULT hr = CComAggObject<cParser>::CreateInstance(outer, &aggregate);
            if (FAILED(hr)) return hr;
            object = aggregate;
        } else {
            cParser* parser = nullptr;
            HRESULT hr = cParser::CreateInstance(&parser);
            if (FAILED(hr)) return hr;
            object = static_cast<IParser*>(parser);
        }
        // The object's count is 0: QueryInterface takes the first reference, and a failed
        // one leaves an object nobody holds, which a reference pair then destroys.
        object->AddRef();
        HRESULT hr = object->QueryInterface(iid, result);
        object->Release();
        return hr;
    }

    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        CModule::LockServer(lock != FALSE);
        return S_OK;
    }

private:
    std::atomic<ULONG> m_nRef{1};
};

} // namespace

IClassFactory* ParserClassFactory() {
    // Created once under the class-table lock and kept until the module is unloaded.
    static std::mutex classTableLock;
    static CParserFactory* factory = nullptr;
    std::lock_guard<std::mutex> guard(classTableLock);
    if (!factory) factory = new (std::nothrow) CParserFactory();
    return factory;
}

STDAPI DllCanUnloadNow(void) { return CModule::LockCount() == 0 ? S_OK : S_FALSE; }

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* result) {
    if (!result) return E_POINTER;
    *result = nullptr;
    if (!IsEqualGUID(clsid, CLSID_Parser)) return CLASS_E_CLASSNOTAVAILABLE;
    IClassFactory* factory = ParserClassFactory();
    if (!factory) return E_OUTOFMEMORY;
    return factory->QueryInterface(iid, result);
}
