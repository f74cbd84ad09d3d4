// Statement objects and their items where they read differently from what is stored, and
// sub-objects that outlive their owner. Their contents after a parse are checked through
// the tool (tests/sql).
#include "common.h"

namespace {

using StatementObjects = ObjectTest;

TEST_F(StatementObjects, TopPercentShowsOnlyWithItsFlag) {
    Held<cSelectStmt> s;
    double d = 9.0;
    LONG n = 9;
    s->m_dTopPercent = 42.5;
    EXPECT_EQ(s->get_TopPercent(&d), S_OK);
    EXPECT_EQ(d, 0.0);
    s->m_bTopPercent = true;
    s->get_TopPercent(&d);
    EXPECT_EQ(d, 42.5);
    s->get_IsTopPercent(&n);
    EXPECT_EQ(n, -1);
}

TEST_F(StatementObjects, DataLengthReadsAsItsLow16Bits) {
    Held<cCreateTableItem> item;
    const struct {
        LONG stored;
        SHORT read;
    } rows[] = {{40, 40}, {32767, 32767}, {32768, -32768}, {70000, 4464}, {-1, -1}};
    for (const auto& r : rows) {
        item->SetDataLength(r.stored);
        SHORT length = 0;
        EXPECT_EQ(item->get_DataLength(&length), S_OK);
        EXPECT_EQ(length, r.read) << r.stored;
    }
}

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

} // namespace
