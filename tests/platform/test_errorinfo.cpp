// Error information: the object CreateErrorInfo makes, and the per-thread slot of
// SetErrorInfo and GetErrorInfo with its references.
#include "helpers.h"

#include <thread>

namespace {

using platformtest::Narrow;

// {3F2A1C5B-7D4E-4B6A-9C8D-1E2F3A4B5C6D}, a GUID only these tests use.
const GUID kSomeGuid = {0x3F2A1C5B, 0x7D4E, 0x4B6A, {0x9C, 0x8D, 0x1E, 0x2F, 0x3A, 0x4B, 0x5C, 0x6D}};

// An error object that counts its references, to see what the slot holds.
struct CountedErrorInfo : IErrorInfo {
    ULONG refs = 1;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        if (!IsEqualGUID(iid, IID_IUnknown) && !IsEqualGUID(iid, IID_IErrorInfo)) return E_NOINTERFACE;
        *object = static_cast<IErrorInfo*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
    HRESULT STDMETHODCALLTYPE GetGUID(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD*) override { return E_NOTIMPL; }
};

std::string Description(IErrorInfo* info) {
    BSTR text = nullptr;
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    std::string s = text ? Narrow(text, SysStringLen(text)) : "(null)";
    SysFreeString(text);
    return s;
}

// Publishes a new error object with a description on the calling thread.
void Publish(const OLECHAR* description) {
    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    create->SetDescription(const_cast<LPOLESTR>(description));
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    EXPECT_EQ(SetErrorInfo(0, info), S_OK);
    info->Release();
    create->Release();
}

// Takes the thread's error object and returns its description; "" when there is none.
std::string Take() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK) return "";
    std::string s = Description(info);
    info->Release();
    return s;
}

class ErrorInfo : public ::testing::Test {
protected:
    void SetUp() override { SetErrorInfo(0, nullptr); }
    void TearDown() override { SetErrorInfo(0, nullptr); }
};

TEST_F(ErrorInfo, EveryFieldRoundTrips) {
    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    ASSERT_NE(create, nullptr);
    EXPECT_EQ(create->SetGUID(kSomeGuid), S_OK);
    EXPECT_EQ(create->SetSource(const_cast<LPOLESTR>(OLESTR("Tarvolin.Parser.1"))), S_OK);
    EXPECT_EQ(create->SetDescription(const_cast<LPOLESTR>(OLESTR("Stack is empty"))), S_OK);
    EXPECT_EQ(create->SetHelpFile(const_cast<LPOLESTR>(OLESTR("help.chm"))), S_OK);
    EXPECT_EQ(create->SetHelpContext(42), S_OK);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);

    GUID guid = GUID_NULL;
    EXPECT_EQ(info->GetGUID(&guid), S_OK);
    EXPECT_TRUE(IsEqualGUID(guid, kSomeGuid));
    BSTR text = nullptr;
    EXPECT_EQ(info->GetSource(&text), S_OK);
    EXPECT_EQ(Narrow(text), "Tarvolin.Parser.1");
    SysFreeString(text);
    EXPECT_EQ(info->GetHelpFile(&text), S_OK);
    EXPECT_EQ(Narrow(text), "help.chm");
    SysFreeString(text);
    DWORD context = 0;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 42u);

    // Every read hands out a string of its own.
    BSTR first = nullptr, second = nullptr;
    EXPECT_EQ(info->GetDescription(&first), S_OK);
    EXPECT_EQ(info->GetDescription(&second), S_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(Narrow(first), "Stack is empty");
    EXPECT_EQ(SysStringLen(second), 14u);
    SysFreeString(first);
    SysFreeString(second);

    // A later setter replaces, a null one clears.
    create->SetDescription(const_cast<LPOLESTR>(OLESTR("other")));
    EXPECT_EQ(Description(info), "other");
    create->SetDescription(nullptr);
    EXPECT_EQ(Description(info), "(null)");
    info->Release();
    create->Release();
}

TEST_F(ErrorInfo, FreshObjectHasNothingSet) {
    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    // (The GUID of a fresh object is not checked: Wine leaves it uninitialised, and
    // reporters set it anyway.)
    BSTR source = SysAllocString(OLESTR("stale"));
    BSTR stale = source;
    EXPECT_EQ(info->GetSource(&source), S_OK);
    EXPECT_EQ(source, nullptr); // overwritten, not freed: it is an out-parameter
    SysFreeString(stale);
    DWORD context = 7;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 0u);
    info->Release();
    create->Release();
}

TEST_F(ErrorInfo, OneObjectAnswersBothInterfaces) {
    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    IUnknown* a = nullptr;
    IUnknown* b = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&a)), S_OK);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    ASSERT_EQ(info->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&b)), S_OK);
    EXPECT_EQ(a, b); // the same object's identity
    ICreateErrorInfo* again = nullptr;
    EXPECT_EQ(info->QueryInterface(IID_ICreateErrorInfo, reinterpret_cast<void**>(&again)), S_OK);
    EXPECT_EQ(again, create);
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(info->QueryInterface(IID_IClassFactory, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    for (IUnknown* p : {static_cast<IUnknown*>(again), static_cast<IUnknown*>(info), a, b}) p->Release();
    create->Release();
}

TEST_F(ErrorInfo, SlotHoldsOneReferenceAndGetTransfersIt) {
    CountedErrorInfo error;
    EXPECT_EQ(SetErrorInfo(0, &error), S_OK);
    EXPECT_EQ(error.refs, 2u);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    EXPECT_EQ(info, &error);
    EXPECT_EQ(error.refs, 2u); // the slot's reference now belongs to the caller
    info->Release();
    EXPECT_EQ(GetErrorInfo(0, &info), S_FALSE); // taken: the slot is empty
    EXPECT_EQ(info, nullptr);
    EXPECT_EQ(error.refs, 1u);
}

TEST_F(ErrorInfo, SettingReplacesAndNullClears) {
    CountedErrorInfo first, second;
    SetErrorInfo(0, &first);
    SetErrorInfo(0, &second);
    EXPECT_EQ(first.refs, 1u);
    EXPECT_EQ(second.refs, 2u);
    SetErrorInfo(0, &second); // the same object again: still one reference
    EXPECT_EQ(second.refs, 2u);
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
    EXPECT_EQ(second.refs, 1u);
    IErrorInfo* info = reinterpret_cast<IErrorInfo*>(1);
    EXPECT_EQ(GetErrorInfo(0, &info), S_FALSE);
    EXPECT_EQ(info, nullptr);
}

TEST_F(ErrorInfo, ThreadsDoNotSeeEachOthersErrors) {
    Publish(OLESTR("main"));
    std::string seenByOther = "not run";
    std::string otherOwn;
    std::thread other([&] {
        seenByOther = Take();
        Publish(OLESTR("other"));
        otherOwn = Take();
    });
    other.join();
    EXPECT_EQ(seenByOther, "");
    EXPECT_EQ(otherOwn, "other");
    EXPECT_EQ(Take(), "main");
    EXPECT_EQ(Take(), ""); // taken once
}

TEST_F(ErrorInfo, NullOutPointersAreRejected) {
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetGUID(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetHelpContext(nullptr), E_INVALIDARG);
    info->Release();
    create->Release();
}

} // namespace
