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

// Takes the thread's error object and returns its description; "" when there is none.
std::string Take() {
    IErrorInfo* info = nullptr;
    BSTR text = reinterpret_cast<BSTR>(1); // overwritten, not freed
    if (GetErrorInfo(0, &info) != S_OK) return "";
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    info->Release();
    const std::string s = Narrow(text, SysStringLen(text));
    SysFreeString(text);
    return s;
}

TEST(ErrorInfo, OneObjectAnswersBothInterfaces) {
    ICreateErrorInfo* create = nullptr;
    IErrorInfo* info = NewErrorInfo(nullptr, &create);
    BSTR source = reinterpret_cast<BSTR>(1); // never set: overwritten with null
    EXPECT_EQ(info->GetSource(&source), S_OK);
    EXPECT_EQ(source, nullptr);
    EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetGUID(nullptr), E_INVALIDARG);
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

    // Threads do not see each other's errors.
    auto publish = [](const OLECHAR* text) {
        IErrorInfo* published = NewErrorInfo(text);
        SetErrorInfo(0, published);
        published->Release();
    };
    publish(OLESTR("main"));
    std::string seenByOther = "not run", otherOwn;
    std::thread other([&] {
        seenByOther = Take();
        publish(OLESTR("other"));
        otherOwn = Take();
    });
    other.join();
    EXPECT_EQ(seenByOther + "/" + otherOwn, "/other");
    EXPECT_EQ(Take(), "main");
    EXPECT_EQ(Take(), ""); // taken once
}

} // namespace
