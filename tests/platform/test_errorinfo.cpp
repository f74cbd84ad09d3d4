// Error information: the object CreateErrorInfo makes, and the per-thread slot of
// SetErrorInfo and GetErrorInfo with its references.
#include "helpers.h"

#include <thread>

namespace {

using platformtest::Narrow;
using platformtest::Refs;

IErrorInfo* NewErrorInfo(const OLECHAR* description, ICreateErrorInfo** create = nullptr) {
    ICreateErrorInfo* c = nullptr;
    IErrorInfo* info = nullptr;
    EXPECT_EQ(CreateErrorInfo(&c), S_OK);
    c->SetDescription(const_cast<LPOLESTR>(description));
    EXPECT_EQ(c->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    if (create) *create = c;
    else c->Release();
    return info;
}

std::string Read(IErrorInfo* info, HRESULT (STDMETHODCALLTYPE IErrorInfo::*get)(BSTR*)) {
    BSTR text = reinterpret_cast<BSTR>(1); // overwritten, not freed
    EXPECT_EQ((info->*get)(&text), S_OK);
    std::string s = text ? Narrow(text, SysStringLen(text)) : "(null)";
    SysFreeString(text);
    return s;
}

// Takes the thread's error object and returns its description; "" when there is none.
std::string Take() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK) return "";
    std::string s = Read(info, &IErrorInfo::GetDescription);
    info->Release();
    return s;
}

TEST(ErrorInfo, FieldsRoundTripAndOneObjectAnswersBothInterfaces) {
    const GUID guid = {0x3F2A1C5B, 0x7D4E, 0x4B6A, {0x9C, 0x8D, 0x1E, 0x2F, 0x3A, 0x4B, 0x5C, 0x6D}};
    ICreateErrorInfo* create = nullptr;
    IErrorInfo* info = NewErrorInfo(nullptr, &create);
    DWORD context = 7;
    GUID read = GUID_NULL;
    EXPECT_EQ(Read(info, &IErrorInfo::GetSource), "(null)"); // a fresh object has nothing
    EXPECT_EQ(create->SetGUID(guid), S_OK);
    EXPECT_EQ(create->SetSource(const_cast<LPOLESTR>(OLESTR("Tarvolin.Parser.1"))), S_OK);
    EXPECT_EQ(create->SetHelpFile(const_cast<LPOLESTR>(OLESTR("help.chm"))), S_OK);
    EXPECT_EQ(create->SetHelpContext(42), S_OK);
    EXPECT_EQ(info->GetGUID(&read), S_OK);
    EXPECT_TRUE(IsEqualGUID(read, guid));
    EXPECT_EQ(Read(info, &IErrorInfo::GetSource) + Read(info, &IErrorInfo::GetHelpFile), "Tarvolin.Parser.1help.chm");
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 42u);
    EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetGUID(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetHelpContext(nullptr), E_INVALIDARG);

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
    for (IUnknown* p : {static_cast<IUnknown*>(again), static_cast<IUnknown*>(info), a, b}) p->Release();
    EXPECT_EQ(create->Release(), 0u);
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
}

TEST(ErrorInfo, SlotHoldsOneReferenceAndGetTransfersIt) {
    IErrorInfo* first = NewErrorInfo(OLESTR("first"));
    IErrorInfo* second = NewErrorInfo(OLESTR("second"));
    EXPECT_EQ(SetErrorInfo(0, first), S_OK);
    EXPECT_EQ(Refs(first), 2u);
    SetErrorInfo(0, second); // replaces
    SetErrorInfo(0, second); // the same object again: still one reference
    EXPECT_EQ(Refs(first), 1u);
    EXPECT_EQ(Refs(second), 2u);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    EXPECT_EQ(info, second);
    EXPECT_EQ(Refs(second), 2u); // the slot's reference now belongs to the caller
    info->Release();
    info = reinterpret_cast<IErrorInfo*>(1);
    EXPECT_EQ(GetErrorInfo(0, &info), S_FALSE); // taken: the slot is empty
    EXPECT_EQ(info, nullptr);
    SetErrorInfo(0, first);
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK); // null clears
    EXPECT_EQ(first->Release(), 0u);
    EXPECT_EQ(second->Release(), 0u);
}

TEST(ErrorInfo, ThreadsDoNotSeeEachOthersErrors) {
    auto publish = [](const OLECHAR* text) {
        IErrorInfo* info = NewErrorInfo(text);
        SetErrorInfo(0, info);
        info->Release();
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
