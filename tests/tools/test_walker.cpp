// The walk over the object model: every property under its own name and read through the
// right getter, each item type with the properties of its own interface, lists as long as
// their Count, elements that are not model objects, references given back, and nesting far
// deeper than a recursive walk could go.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "component/classfactory.h"
#include "objectmodel/collections.h"
#include "objectmodel/module.h"
#include "tools/walker.h"

namespace {

// Records the walk as "path = value" entries ("SelectStmt.TableIdentList[1].Name") and
// checks as it goes that objects and lists are closed in order and that each list has as
// many elements as it announced.
class CRecorder : public CModelVisitor {
public:
    std::map<std::string, std::string> values;
    std::vector<std::string> order; // paths of scalar entries, in walk order
    size_t deepest = 0;
    size_t objects = 0;

    void BeginObject(const char* name, IDispatch* object) override {
        EXPECT_NE(object, nullptr);
        ++objects;
        Open(name, false, 0);
    }
    void EndObject() override { Close(false); }
    void BeginList(const char* name, long count) override { Open(name, true, count); }
    void EndList() override { Close(true); }
    void Text(const char* name, const std::string& utf8) override { Put(name, utf8); }
    void Number(const char* name, double value) override {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%g", value);
        Put(name, buf);
    }
    void Enumeration(const char* name, long value, const char* valueName) override {
        Put(name, std::to_string(value) + " " + valueName);
    }

    bool Closed() const { return m_Levels.empty(); }
    std::string At(const std::string& path) const {
        auto it = values.find(path);
        return it == values.end() ? "<absent>" : it->second;
    }

private:
    struct Level {
        std::string path;
        bool list;
        long count, seen;
    };

    std::string PathOf(const char* name) {
        if (m_Levels.empty()) return name ? name : "";
        Level& level = m_Levels.back();
        if (level.list) {
            EXPECT_EQ(name, nullptr) << "list elements have no name";
            return level.path + "[" + std::to_string(++level.seen) + "]";
        }
        EXPECT_NE(name, nullptr) << "properties have a name, in " << level.path;
        return (level.path.empty() ? "" : level.path + ".") + (name ? name : "?");
    }
    void Open(const char* name, bool list, long count) {
        const std::string path = PathOf(name);
        m_Levels.push_back({path, list, count, 0});
        if (m_Levels.size() > deepest) deepest = m_Levels.size();
    }
    void Close(bool list) {
        ASSERT_FALSE(m_Levels.empty()) << "an end without a beginning";
        EXPECT_EQ(m_Levels.back().list, list) << m_Levels.back().path;
        if (list) {
            EXPECT_EQ(m_Levels.back().seen, m_Levels.back().count) << m_Levels.back().path;
        }
        m_Levels.pop_back();
    }
    void Put(const char* name, const std::string& value) {
        const std::string path = PathOf(name);
        EXPECT_EQ(values.count(path), 0u) << "reported twice: " << path;
        values[path] = value;
        order.push_back(path);
    }

    std::vector<Level> m_Levels;
};

std::basic_string<OLECHAR> Wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

// A parser from the component's class factory, as a host gets it.
class WalkerTest : public ::testing::Test {
protected:
    void SetUp() override {
        IClassFactory* factory = nullptr;
        ASSERT_EQ(DllGetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&m_pParser)), S_OK);
        factory->Release();
    }
    void TearDown() override {
        if (m_pParser) m_pParser->Release();
        EXPECT_EQ(CModule::LiveObjects(), 0) << "objects leaked by this test";
    }

    CRecorder Walk(const std::string& sql) {
        const std::basic_string<OLECHAR> wide = Wide(sql);
        BSTR text = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
        EXPECT_EQ(m_pParser->ParseSQL(text), S_OK) << sql;
        SysFreeString(text);
        CRecorder recorder;
        WalkStatement(m_pParser, recorder);
        EXPECT_TRUE(recorder.Closed()) << sql;
        return recorder;
    }
    IGenericStack* WhereStack() {
        ISelectStmt* select = nullptr;
        EXPECT_EQ(m_pParser->get_SelectStmt(&select), S_OK);
        IGenericStack* where = nullptr;
        if (select) select->get_WhereExpressionStack(&where);
        if (select) select->Release();
        return where;
    }

    IParser* m_pParser = nullptr;
};

TEST_F(WalkerTest, SelectReportsEveryClauseUnderItsName) {
    CRecorder r = Walk("SELECT DISTINCT t.a AS x, COUNT(*) FROM t u WHERE b = 'k' GROUP BY c HAVING COUNT(*) > 1 "
                       "ORDER BY a DESC, d");
    EXPECT_EQ(r.At("StatementType"), "2 SELECT");
    EXPECT_NE(r.At("SelectStmt.Distinct"), "0");
    EXPECT_EQ(r.At("SelectStmt.Top"), "0");
    EXPECT_EQ(r.At("SelectStmt.SelectExpressionList[1].AsName"), "x");
    EXPECT_EQ(r.At("SelectStmt.SelectExpressionList[1].Items[1].TableName"), "t");
    EXPECT_EQ(r.At("SelectStmt.SelectExpressionList[1].Items[1].ColumnName"), "a");
    // An empty AsName is left out.
    EXPECT_EQ(r.At("SelectStmt.SelectExpressionList[2].AsName"), "<absent>");
    EXPECT_EQ(r.At("SelectStmt.SelectExpressionList[2].Items[2].ItemType"), "0 AGGREGATEFUNCTION");
    EXPECT_EQ(r.At("SelectStmt.TableIdentList[1].Name"), "t");
    EXPECT_EQ(r.At("SelectStmt.TableIdentList[1].Alias"), "u");
    // A plain table has no join stack.
    EXPECT_EQ(r.At("SelectStmt.TableIdentList[1].JoinedTable"), "0");
    EXPECT_EQ(r.values.count("SelectStmt.TableIdentList[1].JoinExpressionStack.Items[1].AsString"), 0u);
    EXPECT_EQ(r.At("SelectStmt.WhereExpressionStack.Items[1].ColumnName"), "b");
    EXPECT_EQ(r.At("SelectStmt.WhereExpressionStack.Items[2].AsString"), "k");
    EXPECT_EQ(r.At("SelectStmt.WhereExpressionStack.Items[3].ItemType"), "5 COMPAREOPERATOR");
    EXPECT_EQ(r.At("SelectStmt.GroupByObjList[1].ColumnName"), "c");
    EXPECT_EQ(r.At("SelectStmt.HavingExpressionStack.Items[3].AsString"), "1");
    EXPECT_EQ(r.At("SelectStmt.OrderByObjList[1].Asc"), "0");
    EXPECT_EQ(r.At("SelectStmt.OrderByObjList[1].ColumnIdent.ColumnName"), "a");
    EXPECT_NE(r.At("SelectStmt.OrderByObjList[2].Asc"), "0");
    EXPECT_EQ(r.At("SelectStmt.OrderByObjList[2].ColumnIdent.ColumnName"), "d");
    // No other statement object is reported.
    for (const auto& entry : r.values) EXPECT_TRUE(entry.first.rfind("SelectStmt", 0) == 0 || entry.first == "StatementType")
        << entry.first;
}

TEST_F(WalkerTest, EveryStatementTypeReportsItsOwnObject) {
    const struct {
        const char* sql;
        const char* type;
        const char* path;
        const char* value;
    } kCases[] = {
        {"UPDATE t SET a = b + 1 WHERE c = 2", "1 UPDATE", "UpdateStmt.UpdateItemList[1].ColumnIdent.ColumnName", "a"},
        {"UPDATE t SET a = b + 1 WHERE c = 2", "1 UPDATE", "UpdateStmt.UpdateItemList[1].ExpressionStack.Items[3].AsString", "+"},
        {"UPDATE t SET a = 1 WHERE c = 2", "1 UPDATE", "UpdateStmt.WhereExpressionStack.Items[1].ColumnName", "c"},
        {"INSERT INTO t (a, b) VALUES (1, 'x')", "3 INSERT", "InsertStmt.ColumnIdentList[2].ColumnName", "b"},
        {"INSERT INTO t (a, b) VALUES (1, 'x')", "3 INSERT", "InsertStmt.InsertExpressionList[2].Items[1].AsString", "x"},
        {"DELETE FROM t WHERE a = 1", "4 DELETE", "DeleteStmt.TableIdent.Name", "t"},
        {"CREATE TABLE t (a INTEGER, b CHAR(20))", "5 CREATETABLE", "CreateTableStmt.CreateTableItemList[2].ColName", "b"},
        {"CREATE TABLE t (a INTEGER, b CHAR(20))", "5 CREATETABLE", "CreateTableStmt.CreateTableItemList[2].DataLength", "20"},
        {"DROP TABLE t", "6 DROPTABLE", "DropTableStmt.TableIdent.Name", "t"},
        {"SELECT a FROM t UNION SELECT b FROM u", "7 SETOPERATIONS", "SetOperationsStmt.SetOperationType", "-1"},
        {"SELECT a FROM t UNION SELECT b FROM u", "7 SETOPERATIONS", "SetOperationsStmt.IsUnionAll", "0"},
        // A statement inside a stack is walked like the parser's own.
        {"SELECT a FROM t UNION SELECT b FROM u", "7 SETOPERATIONS",
         "SetOperationsStmt.SetOperationsExpressionStack.Items[2].SelectExpressionList[1].Items[1].ColumnName", "b"},
    };
    for (const auto& c : kCases) {
        CRecorder r = Walk(c.sql);
        EXPECT_EQ(r.At("StatementType"), c.type) << c.sql;
        EXPECT_EQ(r.At(c.path), c.value) << c.sql;
    }
}

TEST_F(WalkerTest, EachItemTypeHasThePropertiesOfItsOwnInterface) {
    const std::map<std::string, std::vector<std::string>> kOwn = {
        {"AGGREGATEFUNCTION", {"AggregateFunction", "Distinct"}},
        {"SELECTSTAR", {}},
        {"COLUMNIDENT", {"TableName", "ColumnName"}},
        {"ARITOPERATOR", {"AritOperator"}},
        {"BOOLOPERATOR", {"BoolOperator"}},
        {"COMPAREOPERATOR", {"CompareOperator"}},
        {"DATEFUNCTION", {"DateFunction"}},
        {"LITERALVALUE", {"DataType"}},
        {"MATHFUNCTION", {"MathFunction"}},
        {"NULLEXPRESSION", {}},
        {"JOINOPERATOR", {"JoinType", "JoinCondition"}},
        {"TABLEIDENT", {"Name", "Alias", "JoinedTable"}},
        {"CASESTATE", {"CaseState"}},
        {"CONDITIONALSTATEMENT", {"ConditionalStatement"}},
        {"SETOPERATOR", {"SetOperator"}},
    };
    std::set<std::string> seen;
    for (const char* sql : {"SELECT * FROM t", "SELECT COUNT(DISTINCT a), ABS(b) * 2, GETDATE() FROM t WHERE b IS NULL",
                            "SELECT CASE WHEN a = 1 THEN 'x' END FROM t1 INNER JOIN t2 ON t1.a = t2.b",
                            "SELECT a FROM t WHERE CASESTATE_selected OR a <> 1",
                            "SELECT a FROM t EXCEPT SELECT b FROM u"}) {
        CRecorder r = Walk(sql);
        // The scalar entries of one item: AsString, ItemType, then its own properties.
        for (size_t i = 0; i + 1 < r.order.size(); ++i) {
            const std::string& path = r.order[i];
            if (path.size() < 9 || path.compare(path.size() - 9, 9, ".AsString") != 0) continue;
            const std::string item = path.substr(0, path.size() - 8);
            ASSERT_EQ(r.order[i + 1], item + "ItemType") << sql;
            const std::string type = r.At(item + "ItemType").substr(r.At(item + "ItemType").find(' ') + 1);
            ASSERT_EQ(kOwn.count(type), 1u) << type;
            seen.insert(type);
            std::vector<std::string> own;
            for (size_t k = i + 2; k < r.order.size() && r.order[k].rfind(item, 0) == 0; ++k) {
                const std::string rest = r.order[k].substr(item.size());
                if (rest.find('.') == std::string::npos) own.push_back(rest);
            }
            EXPECT_EQ(own, kOwn.at(type)) << item << " in " << sql;
        }
    }
    EXPECT_EQ(seen.size(), kOwn.size()) << "a statement above lost an item type";
}

TEST_F(WalkerTest, JoinStacksAndConditionStacksAreWalked) {
    CRecorder r = Walk("SELECT a FROM t1 LEFT JOIN t2 ON t1.a = t2.b");
    const std::string joined = "SelectStmt.TableIdentList[1].";
    EXPECT_EQ(r.At(joined + "JoinedTable"), "1");
    EXPECT_EQ(r.At(joined + "JoinExpressionStack.Items[1].Name"), "t1");
    EXPECT_EQ(r.At(joined + "JoinExpressionStack.Items[2].Name"), "t2");
    EXPECT_EQ(r.At(joined + "JoinExpressionStack.Items[3].ItemType"), "10 JOINOPERATOR");
    EXPECT_EQ(r.At(joined + "JoinExpressionStack.Items[3].JoinConditionStack.Items[2].TableName"), "t2");
    EXPECT_EQ(r.At(joined + "JoinExpressionStack.Items[3].JoinConditionStack.Items[3].AsString"), "=");
}

// Pushes a copy of v on stack.
void Push(cGenericStack* stack, VARIANT v) { ASSERT_EQ(stack->Push(v), S_OK); }

TEST_F(WalkerTest, ElementsThatAreNoModelObjects) {
    Walk("SELECT a FROM t WHERE b = 1");
    cGenericStack* stack = nullptr;
    ASSERT_EQ(cGenericStack::CreateInstance(&stack), S_OK);
    stack->AddRef();
    VARIANT v;
    VariantInit(&v);
    Push(stack, v); // empty
    V_VT(&v) = VT_I4;
    V_I4(&v) = 7;
    Push(stack, v); // not an object
    // A text with a character outside the basic plane: a surrogate pair in UTF-16.
    const OLECHAR pair[] = {'x', 0xD83D, 0xDE00, 0};
    V_VT(&v) = VT_BSTR;
    V_BSTR(&v) = SysAllocString(pair);
    Push(stack, v);
    VariantClear(&v);
    // A collection is an object the walk does not know as an element.
    ISelectStmt* select = nullptr;
    ASSERT_EQ(m_pParser->get_SelectStmt(&select), S_OK);
    IGenericStackList* list = nullptr;
    select->get_SelectExpressionList(&list);
    V_VT(&v) = VT_DISPATCH;
    V_DISPATCH(&v) = list;
    Push(stack, v);
    VariantClear(&v);
    // A statement object inside a stack is walked with all it holds.
    V_VT(&v) = VT_DISPATCH;
    V_DISPATCH(&v) = select;
    Push(stack, v);
    VariantClear(&v);

    CRecorder r;
    WalkObject(stack->Dispatch(), r);
    EXPECT_TRUE(r.Closed());
    EXPECT_EQ(r.At("Items[1]"), "<empty>");
    EXPECT_EQ(r.At("Items[2]"), "<empty>");
    EXPECT_EQ(r.At("Items[3]"), "x\xF0\x9F\x98\x80");
    EXPECT_EQ(r.At("Items[4]"), "<object>");
    EXPECT_EQ(r.At("Items[5].SelectExpressionList[1].Items[1].ColumnName"), "a");
    EXPECT_EQ(r.At("Items[5].WhereExpressionStack.Items[1].ColumnName"), "b");
    EXPECT_EQ(r.objects, 1u + 1 + 1 + 1 + 1 + 3 + 1 + 1); // the stack, the select, its stacks and items
    stack->Release();
}

TEST_F(WalkerTest, AnObjectThatHoldsItselfIsNotWalkedIntoAgain) {
    Walk("SELECT a FROM t WHERE b = 1");
    ISelectStmt* select = nullptr;
    ASSERT_EQ(m_pParser->get_SelectStmt(&select), S_OK);
    IGenericStack* where = nullptr;
    select->get_WhereExpressionStack(&where);
    // The statement in its own WHERE stack, and the stack in itself.
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_DISPATCH;
    V_DISPATCH(&v) = select;
    ASSERT_EQ(where->Push(v), S_OK);
    V_DISPATCH(&v) = where;
    ASSERT_EQ(where->Push(v), S_OK);

    CRecorder r;
    WalkStatement(m_pParser, r);
    EXPECT_TRUE(r.Closed());
    EXPECT_EQ(r.At("SelectStmt.WhereExpressionStack.Items[4]"), "<cycle>");
    EXPECT_EQ(r.At("SelectStmt.WhereExpressionStack.Items[5]"), "<cycle>");
    // Walked from the stack, the statement is new and only its stack repeats.
    CRecorder fromStack;
    WalkObject(where, fromStack);
    EXPECT_EQ(fromStack.At("Items[4].SelectExpressionList[1].Items[1].ColumnName"), "a");
    EXPECT_EQ(fromStack.At("Items[4].WhereExpressionStack"), "<cycle>");
    EXPECT_EQ(fromStack.At("Items[5]"), "<cycle>");
    // The same object twice side by side is walked twice.
    cGenericStack* pair = nullptr;
    ASSERT_EQ(cGenericStack::CreateInstance(&pair), S_OK);
    pair->AddRef();
    V_DISPATCH(&v) = select;
    ASSERT_EQ(pair->Push(v), S_OK);
    ASSERT_EQ(pair->Push(v), S_OK);
    CRecorder twice;
    WalkObject(pair->Dispatch(), twice);
    EXPECT_EQ(twice.At("Items[1].SelectExpressionList[1].Items[1].ColumnName"), "a");
    EXPECT_EQ(twice.At("Items[2].SelectExpressionList[1].Items[1].ColumnName"), "a");
    pair->Release();
    select->Release();
    // Emptied, so that the cycles go before the objects do.
    for (VARIANT popped; VariantInit(&popped), where->Pop(&popped) == S_OK;) VariantClear(&popped);
    where->Release();
}

TEST_F(WalkerTest, TheWalkGivesBackEveryReferenceItTakes) {
    Walk("SELECT a FROM t1 INNER JOIN t2 ON t1.a = t2.b WHERE c = 1 ORDER BY a");
    IGenericStack* where = WhereStack();
    ASSERT_NE(where, nullptr);
    where->AddRef();
    const ULONG before = where->Release();
    m_pParser->AddRef();
    const ULONG parserBefore = m_pParser->Release();
    CRecorder r;
    WalkObject(where, r);
    CRecorder all;
    WalkStatement(m_pParser, all);
    where->AddRef();
    EXPECT_EQ(where->Release(), before);
    m_pParser->AddRef();
    EXPECT_EQ(m_pParser->Release(), parserBefore);
    EXPECT_GT(all.objects, 10u);
    where->Release();
    // Null objects are walked as nothing.
    CRecorder none;
    WalkStatement(nullptr, none);
    WalkObject(nullptr, none);
    EXPECT_TRUE(none.values.empty());
    EXPECT_EQ(none.objects, 0u);
}

// Counts objects and the deepest nesting, keeping nothing per level but the depth.
class CDepth : public CModelVisitor {
public:
    size_t objects = 0, depth = 0, deepest = 0, elements = 0;
    void BeginObject(const char*, IDispatch*) override {
        ++objects;
        Enter();
    }
    void EndObject() override { --depth; }
    void BeginList(const char*, long count) override {
        elements += static_cast<size_t>(count);
        Enter();
    }
    void EndList() override { --depth; }
    void Text(const char*, const std::string&) override {}
    void Number(const char*, double) override {}
    void Enumeration(const char*, long, const char*) override {}

private:
    void Enter() {
        if (++depth > deepest) deepest = depth;
    }
};

TEST_F(WalkerTest, NestingDeeperThanAnyCallStackIsWalked) {
    // Stacks pushed into stacks, 200,000 deep: a walk that recursed per level would run
    // out of call stack long before the end.
    constexpr int kDepth = 200000;
    std::vector<cGenericStack*> stacks(kDepth);
    for (auto& stack : stacks) {
        ASSERT_EQ(cGenericStack::CreateInstance(&stack), S_OK);
        stack->AddRef();
    }
    for (int i = 0; i + 1 < kDepth; ++i) {
        VARIANT v;
        VariantInit(&v);
        V_VT(&v) = VT_DISPATCH;
        V_DISPATCH(&v) = stacks[i + 1]->Dispatch();
        ASSERT_EQ(stacks[i]->Push(v), S_OK);
    }
    CDepth d;
    WalkObject(stacks[0]->Dispatch(), d);
    EXPECT_EQ(d.depth, 0u);
    EXPECT_EQ(d.objects, static_cast<size_t>(kDepth));
    EXPECT_EQ(d.elements, static_cast<size_t>(kDepth - 1));
    EXPECT_EQ(d.deepest, static_cast<size_t>(2 * kDepth)); // an object and its Items list per level
    // Emptied one by one, so that no release chain runs as deep as the nesting.
    for (auto* stack : stacks) {
        VARIANT popped;
        VariantInit(&popped);
        stack->Pop(&popped);
        VariantClear(&popped);
    }
    for (auto* stack : stacks) stack->Release();
}

} // namespace
