// Error information objects and the per-thread slot that SetErrorInfo and GetErrorInfo use.
#include "platform/platform.h"

#include <atomic>
#include <new>

namespace {

class CErrorInfo final : public IErrorInfo, public ICreateErrorInfo {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IErrorInfo))
            *object = static_cast<IErrorInfo*>(this);
        else if (IsEqualGUID(iid, IID_ICreateErrorInfo))
            *object = static_cast<ICreateErrorInfo*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRef; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG n = --m_nRef;
        if (!n) delete this;
        return n;
    }

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) override {
        if (!guid) return E_INVALIDARG;
        *guid = m_Guid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override { return Copy(m_Source, source); }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override { return Copy(m_Description, description); }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* helpFile) override { return Copy(m_HelpFile, helpFile); }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* context) override {
        if (!context) return E_INVALIDARG;
        *context = m_nHelpContext;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetGUID(REFGUID guid) override {
        m_Guid = guid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR source) override { return Store(m_Source, source); }
    HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR description) override { return Store(m_Description, description); }
    HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR helpFile) override { return Store(m_HelpFile, helpFile); }
    HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD context) override {
        m_nHelpContext = context;
        return S_OK;
    }

    ~CErrorInfo() {
        SysFreeString(m_Source);
        SysFreeString(m_Description);
        SysFreeString(m_HelpFile);
    }

private:
    static HRESULT Copy(BSTR stored, BSTR* out) {
        if (!out) return E_INVALIDARG;
        *out = stored ? SysAllocStringLen(stored, SysStringLen(stored)) : nullptr;
        return stored && !*out ? E_OUTOFMEMORY : S_OK;
    }
    static HRESULT Store(BSTR& slot, LPOLESTR text) {
        BSTR copy = text ? SysAllocString(text) : nullptr;
        if (text && !copy) return E_OUTOFMEMORY;
        SysFreeString(slot);
        slot = copy;
        return S_OK;
    }

    std::atomic<ULONG> m_nRef{1};
    GUID m_Guid = GUID_NULL;
    BSTR m_Source = nullptr;
    BSTR m_Description = nullptr;
    BSTR m_HelpFile = nullptr;
    DWORD m_nHelpContext = 0;
};

// The thread's current error object; released when the thread ends.
struct Slot {
    IErrorInfo* info = nullptr;
    ~Slot() {
        if (info) info->Release();
    }
};
thread_local Slot t_Slot;

} // namespace

HRESULT CreateErrorInfo(ICreateErrorInfo** result) {
    if (!result) return E_INVALIDARG;
    CErrorInfo* info = new (std::nothrow) CErrorInfo();
    *result = info;
    return info ? S_OK : E_OUTOFMEMORY;
}

HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info) {
    if (reserved) return E_INVALIDARG;
    if (info) info->AddRef();
    // The old object is released only after the slot holds the new one, in case its
    // destruction publishes error information of its own.
    IErrorInfo* old = t_Slot.info;
    t_Slot.info = info;
    if (old) old->Release();
    return S_OK;
}

HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info) {
    if (reserved || !info) return E_INVALIDARG;
    *info = t_Slot.info;
    t_Slot.info = nullptr;
    return *info ? S_OK : S_FALSE;
}
