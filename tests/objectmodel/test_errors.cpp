// The message of an automation error and the release that shows such errors.
#include "common.h"

#include "objectmodel/reporterror.h"

namespace {

// An object whose last release raises an automation error.
struct Raising : IUnknown {
    ULONG refs = 1;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** p) override {
        *p = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override {
        if (--refs == 0) throw CAutomationError(static_cast<HRESULT>(0x8004F123));
        return refs;
    }
};

TEST(AutomationErrors, MessagesWithoutSystemText) {
    // Codes that no message table knows: OLE's dispatch range counts from 0x80040200.
    EXPECT_EQ(AutomationErrorMessage(static_cast<HRESULT>(0x8004F123)), "IDispatch error #61219");
    EXPECT_EQ(AutomationErrorMessage(static_cast<HRESULT>(0x80ABCDEF)), "Unknown error 0x80ABCDEF");
    EXPECT_LE(AutomationErrorMessage(static_cast<HRESULT>(0x8FFFFFFF)).size(), 31u);
}

TEST(AutomationErrors, ARaisingReleaseIsShownAndDoesNotEscape) {
    Raising object;
    ReleaseShowingErrors(&object); // prints the message instead of throwing
    EXPECT_EQ(object.refs, 0u);
    ReleaseShowingErrors(nullptr);
}

} // namespace
