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
    // Only outside references are counted: the first one locks the module and the last
    // one unlocks it. The module's own reference is a flag, dropped at unload; the object
    // goes when neither remains.
    ULONG STDMETHODCALLTYPE AddRef() override {
        ULONG n = ++m_nRef;
        if (n == 1) CModule::LockServer(true);
        return n + (m_bModuleHolds.load() ? 1 : 0);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const bool held = m_bModuleHolds.load();
        ULONG n = --m_nRef;
        if (n == 0) {
            CModule::LockServer(false);
            if (!held) delete this;
        }
        return n + (held ? 1 : 0);
    }
    void ReleaseModuleReference() {
        m_bModuleHolds.store(false);
        if (m_nRef.load() == 0) delete this;
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
    std::atomic<ULONG> m_nRef{0};
    std::atomic<bool> m_bModuleHolds{true};
};

} // namespace

namespace {

std::mutex g_ClassTableLock;
CParserFactory* g_ParserFactory = nullptr;

} // namespace

IClassFactory* ParserClassFactory() {
    // Created once under the class-table lock and kept until the module is unloaded.
    std::lock_guard<std::mutex> guard(g_ClassTableLock);
    if (!g_ParserFactory) g_ParserFactory = new (std::nothrow) CParserFactory();
    return g_ParserFactory;
}

void ReleaseClassFactories() {
    std::lock_guard<std::mutex> guard(g_ClassTableLock);
    // A host that still holds the factory keeps using it; only the module's reference goes.
    if (g_ParserFactory) g_ParserFactory->ReleaseModuleReference();
    g_ParserFactory = nullptr;
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
