// Sub-objects of statements that outlive their owner (the contents of statements after a
// parse are checked through the tool, tests/sql), the message of an automation error and
// the release that shows such errors, and LoadResourceText over the program's string
// table (strings.rc).
#include "common.h"

#include "objectmodel/reporterror.h"
#include "objectmodel/resources.h"

namespace {

using StatementObjects = ObjectTest;

TEST_F(StatementObjects, SubObjectsAreCreatedOnceAndOutliveTheirOwner) {
    IColumnIdent* kept = nullptr;
    IGenericStack* where = nullptr;
    {
        Held<cUpdateItem> item;
        item->Column()->SetColumnName("kept");
        IColumnIdent* again = nullptr;
        item->get_ColumnIdent(&kept);
        item->get_ColumnIdent(&again);
        EXPECT_EQ(kept, again);
        again->Release();
        Held<cDeleteStmt> del;
        del->get_WhereExpressionStack(&where);
    }
    BSTR column = nullptr;
    kept->get_ColumnName(&column);
    EXPECT_EQ(Narrow(column), "kept");
    SysFreeString(column);
    kept->Release();
    LONG count = -1;
    EXPECT_EQ(where->get_Count(&count), S_OK);
    EXPECT_EQ(count, 0);
    where->Release();
}

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

TEST(Resources, LoadsWholeEntriesOnly) {
    const struct {
        unsigned id;
        std::string text;
    } rows[] = {{101, "Parse error"},
                {105, " ------- Parse trace -------"},
                {110, "say \"hi\""},
                {200, std::string(300, 'x')},   // needs a second, larger buffer
                {202, std::string(1534, 'z')},  // fits the last buffer with its terminator
                {201, "unchanged"},             // fills it and might have been cut
                {103, "unchanged"},             // a missing entry of an existing block
                {999, "unchanged"},             // a block that does not exist
                {100, "Tarvolin"}};             // the first entry of the first block
    for (const auto& r : rows) {
        std::string text = "unchanged";
        LoadResourceText(text, r.id);
        EXPECT_EQ(text, r.text) << r.id;
    }
}

} // namespace
