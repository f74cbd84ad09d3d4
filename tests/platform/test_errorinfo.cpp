// Error information: the object CreateErrorInfo makes, and the per-thread slot of
// SetErrorInfo and GetErrorInfo with its references.
#include "helpers.h"

#include <thread>

namespace {

using platformtest::Narrow;

// An error object that counts its references, to see what the slot holds.
struct CountedErrorInfo : IErrorInfo {
    ULONG refs = 1;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
    HRESULT STDMETHODCALLTYPE GetGUID(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD*) override { return E_NOTIMPL; }
};

std::string Read(IErrorInfo* info, HRESULT (STDMETHODCALLTYPE IErrorInfo::*get)(BSTR*)) {
    BSTR text = nullptr;
    EXPECT_EQ((info->*get)(&text), S_OK);
    std::string s = text ? Narrow(text, SysStringLen(text)) : "(null)";
    SysFreeString(text);
    return s;
}

IErrorInfo* NewErrorInfo(ICreateErrorInfo** create, const OLECHAR* description = nullptr) {
    EXPECT_EQ(CreateErrorInfo(create), S_OK);
    if (description) (*create)->SetDescription(const_cast<LPOLESTR>(description));
    IErrorInfo* info = nullptr;
    EXPECT_EQ((*create)->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    return info;
}

// Takes the thread's error object and returns its description; "" when there is none.
std::string Take() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK) return "";
    std::string s = Read(info, &IErrorInfo::GetDescription);
    info->Release();
    return s;
}

class ErrorInfo : public ::testing::Test {
protected:
    void SetUp() override { SetErrorInfo(0, nullptr); }
    void TearDown() override { SetErrorInfo(0, nullptr); }
};

TEST_F(ErrorInfo, FieldsRoundTripAndOneObjectAnswersBothInterfaces) {
    const GUID guid = {0x3F2A1C5B, 0x7D4E, 0x4B6A, {0x9C, 0x8D, 0x1E, 0x2F, 0x3A, 0x4B, 0x5C, 0x6D}};
    ICreateErrorInfo* create = nullptr;
    IErrorInfo* info = NewErrorInfo(&create);
    // A fresh object: no source, context 0; an out-parameter is overwritten, not freed.
    BSTR source = SysAllocString(OLESTR("stale"));
    BSTR stale = source;
    EXPECT_EQ(info->GetSource(&source), S_OK);
    EXPECT_EQ(source, nullptr);
    SysFreeString(stale);
    DWORD context = 7;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 0u);

    EXPECT_EQ(create->SetGUID(guid), S_OK);
    EXPECT_EQ(create->SetSource(const_cast<LPOLESTR>(OLESTR("Tarvolin.Parser.1"))), S_OK);
    EXPECT_EQ(create->SetDescription(const_cast<LPOLESTR>(OLESTR("Stack is empty"))), S_OK);
    EXPECT_EQ(create->SetHelpFile(const_cast<LPOLESTR>(OLESTR("help.chm"))), S_OK);
    EXPECT_EQ(create->SetHelpContext(42), S_OK);
    GUID read = GUID_NULL;
    EXPECT_EQ(info->GetGUID(&read), S_OK);
    EXPECT_TRUE(IsEqualGUID(read, guid));
    EXPECT_EQ(Read(info, &IErrorInfo::GetSource), "Tarvolin.Parser.1");
    EXPECT_EQ(Read(info, &IErrorInfo::GetHelpFile), "help.chm");
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 42u);
    BSTR first = nullptr, second = nullptr; // every read hands out a string of its own
    info->GetDescription(&first);
    info->GetDescription(&second);
    EXPECT_NE(first, second);
    EXPECT_EQ(Narrow(first), "Stack is empty");
    EXPECT_EQ(SysStringLen(second), 14u);
    SysFreeString(first);
    SysFreeString(second);
    create->SetDescription(nullptr); // a null setter clears
    EXPECT_EQ(Read(info, &IErrorInfo::GetDescription), "(null)");

    IUnknown* a = nullptr;
    IUnknown* b = nullptr;
    ICreateErrorInfo* again = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&a)), S_OK);
    ASSERT_EQ(info->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&b)), S_OK);
    EXPECT_EQ(a, b);
    EXPECT_EQ(info->QueryInterface(IID_ICreateErrorInfo, reinterpret_cast<void**>(&again)), S_OK);
    EXPECT_EQ(again, create);
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(info->QueryInterface(IID_IClassFactory, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetGUID(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetHelpContext(nullptr), E_INVALIDARG);
    for (IUnknown* p : {static_cast<IUnknown*>(again), static_cast<IUnknown*>(info), a, b}) p->Release();
    create->Release();
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
}

TEST_F(ErrorInfo, SlotHoldsOneReferenceAndGetTransfersIt) {
    CountedErrorInfo first, second;
    EXPECT_EQ(SetErrorInfo(0, &first), S_OK);
    EXPECT_EQ(first.refs, 2u);
    SetErrorInfo(0, &second); // replaces
    EXPECT_EQ(first.refs, 1u);
    SetErrorInfo(0, &second); // the same object again: still one reference
    EXPECT_EQ(second.refs, 2u);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    EXPECT_EQ(info, &second);
    EXPECT_EQ(second.refs, 2u); // the slot's reference now belongs to the caller
    info->Release();
    info = reinterpret_cast<IErrorInfo*>(1);
    EXPECT_EQ(GetErrorInfo(0, &info), S_FALSE); // taken: the slot is empty
    EXPECT_EQ(info, nullptr);
    SetErrorInfo(0, &first);
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK); // null clears
    EXPECT_EQ(first.refs, 1u);
}

TEST_F(ErrorInfo, ThreadsDoNotSeeEachOthersErrors) {
    auto publish = [](const OLECHAR* text) {
        ICreateErrorInfo* create = nullptr;
        IErrorInfo* info = NewErrorInfo(&create, text);
        SetErrorInfo(0, info);
        info->Release();
        create->Release();
    };
    publish(OLESTR("main"));
    std::string seenByOther = "not run", otherOwn;
    std::thread other([&] {
        seenByOther = Take();
        publish(OLESTR("other"));
        otherOwn = Take();
    });
    other.join();
    EXPECT_EQ(seenByOther, "");
    EXPECT_EQ(otherOwn, "other");
    EXPECT_EQ(Take(), "main");
    EXPECT_EQ(Take(), ""); // taken once
}

} // namespace
