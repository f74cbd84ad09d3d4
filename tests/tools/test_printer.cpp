// The tool's printer over the walk: JSON that is well formed whatever the texts hold, and
// text whose list headers count the elements printed under them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "component/classfactory.h"
#include "objectmodel/module.h"
#include "tools/printer.h"

namespace {

const char* const kStatements[] = {
    "SELECT DISTINCT t.a AS x, COUNT(*) FROM t u WHERE b = 'k' GROUP BY c HAVING COUNT(*) > 1 ORDER BY a DESC, d",
    "SELECT a FROM t1 LEFT JOIN t2 ON t1.a = t2.b INNER JOIN t3 ON t3.c = t1.a",
    "SELECT a FROM t UNION SELECT b FROM u EXCEPT SELECT c FROM v",
    "UPDATE t SET a = 1, b = b + 2 WHERE c IS NOT NULL",
    "INSERT INTO t (a, b) VALUES (1, 'x')",
    "CREATE TABLE t (a INTEGER, b CHAR(20))",
    "DROP TABLE t",
    "SELECT * FROM t",
};

class PrinterTest : public ::testing::Test {
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

    std::string Print(const std::string& sql, bool json) {
        const std::basic_string<OLECHAR> wide(sql.begin(), sql.end());
        BSTR text = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
        EXPECT_EQ(m_pParser->ParseSQL(text), S_OK) << sql;
        SysFreeString(text);
        return PrintStatement(m_pParser, json);
    }

    IParser* m_pParser = nullptr;
};

// Checks the JSON grammar of the printer's output: one object, strings with escapes only
// of the forms \" \\ \uXXXX and no raw control characters, members as "key":value, commas
// only between values. Returns an empty text, or what is wrong and where.
std::string JsonProblem(const std::string& json) {
    enum { VALUE, AFTER_VALUE, KEY_OR_CLOSE, VALUE_OR_CLOSE } expect = VALUE;
    std::vector<char> open; // '{' or '['
    size_t i = 0;
    auto where = [&](const char* what) { return std::string(what) + " at " + std::to_string(i); };
    auto string = [&]() -> bool {
        for (++i; i < json.size() && json[i] != '"'; ++i) {
            if (static_cast<unsigned char>(json[i]) < 0x20) return false;
            if (json[i] != '\\') continue;
            if (json[i + 1] == '"' || json[i + 1] == '\\') ++i;
            else if (json[i + 1] == 'u' && json.find_first_not_of("0123456789abcdef", i + 2) >= i + 6) i += 5;
            else return false;
        }
        return i++ < json.size();
    };
    while (i < json.size()) {
        const char c = json[i];
        if (expect == AFTER_VALUE) {
            if (open.empty()) return c == '\n' && i + 1 == json.size() ? "" : where("text after the end");
            if (c == ',') {
                expect = open.back() == '{' ? KEY_OR_CLOSE : VALUE;
                if (json[i + 1] == '}' || json[i + 1] == ']') return where("a comma before a close");
                ++i;
            } else if (c == (open.back() == '{' ? '}' : ']')) {
                open.pop_back();
                ++i;
            } else {
                return where("no comma between values");
            }
            continue;
        }
        if ((expect == KEY_OR_CLOSE || expect == VALUE_OR_CLOSE) && (c == '}' || c == ']')) {
            if (c != (open.back() == '{' ? '}' : ']')) return where("a mismatched close");
            open.pop_back();
            ++i;
            expect = AFTER_VALUE;
            continue;
        }
        if (expect == KEY_OR_CLOSE) {
            if (c != '"' || !string() || i >= json.size() || json[i] != ':') return where("a bad key");
            ++i;
            expect = VALUE;
            continue;
        }
        if (c == '{' || c == '[') {
            open.push_back(c);
            ++i;
            expect = c == '{' ? KEY_OR_CLOSE : VALUE_OR_CLOSE;
        } else if (c == '"') {
            if (!string()) return where("a bad string");
            expect = AFTER_VALUE;
        } else {
            const size_t end = json.find_first_not_of("-0123456789.e+", i);
            if (end == i) return where("an unexpected character");
            i = end;
            expect = AFTER_VALUE;
        }
    }
    return "the output ends early";
}

TEST_F(PrinterTest, JsonIsWellFormedForEveryStatementKind) {
    for (const char* sql : kStatements) {
        const std::string json = Print(sql, true);
        EXPECT_EQ(JsonProblem(json), "") << sql << "\n" << json;
    }
}

TEST_F(PrinterTest, JsonEscapesQuotesBackslashesAndControlCharacters) {
    const std::string json = Print("SELECT 'q\"b\\s\tt\x01' FROM t", true);
    EXPECT_EQ(JsonProblem(json), "") << json;
    EXPECT_NE(json.find("\"AsString\":\"q\\\"b\\\\s\\u0009t\\u0001\""), std::string::npos) << json;
    // The text form shows the text as it is.
    EXPECT_NE(Print("SELECT 'q\"b' FROM t", false).find("AsString = \"q\"b\"\n"), std::string::npos);
}

TEST_F(PrinterTest, EnumerationsAreNamedInTextAndBareInJson) {
    EXPECT_EQ(Print("DROP TABLE t", false).substr(0, 29), "StatementType = 6 (DROPTABLE)");
    EXPECT_EQ(Print("DROP TABLE t", true).substr(0, 19), "{\"StatementType\":6,");
    EXPECT_NE(Print("SELECT * FROM t", false).find("ItemType = 1 (SELECTSTAR)"), std::string::npos);
}

// In the text form a list header "Name (n):" is followed, one level deeper, by exactly the
// elements [1] to [n], each entry indented two spaces per level.
TEST_F(PrinterTest, TextListHeadersCountTheirElements) {
    size_t headers = 0;
    for (const char* sql : kStatements) {
        const std::string text = Print(sql, false);
        std::vector<std::string> lines;
        for (size_t start = 0, end; start < text.size(); start = end + 1) {
            end = text.find('\n', start);
            ASSERT_NE(end, std::string::npos) << "the last line is not ended: " << sql;
            lines.push_back(text.substr(start, end - start));
        }
        for (size_t i = 0; i < lines.size(); ++i) {
            const std::string& line = lines[i];
            const size_t indent = line.find_first_not_of(' ');
            ASSERT_EQ(indent % 2, 0u) << line;
            const size_t open = line.rfind(" (");
            if (open == std::string::npos || line.back() != ':' || line.find(" = ") != std::string::npos) continue;
            ++headers;
            const long count = std::stol(line.substr(open + 2));
            long seen = 0;
            for (size_t k = i + 1; k < lines.size() && lines[k].find_first_not_of(' ') > indent; ++k) {
                if (lines[k].find_first_not_of(' ') != indent + 2) continue;
                EXPECT_EQ(lines[k].substr(indent + 2, 1 + std::to_string(seen + 1).size() + 1),
                          "[" + std::to_string(seen + 1) + "]")
                    << sql << ": " << lines[k];
                ++seen;
            }
            EXPECT_EQ(seen, count) << sql << ": " << line;
        }
    }
    EXPECT_GT(headers, 20u) << "the statements above have lists";
}

} // namespace
