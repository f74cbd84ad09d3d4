// Statements read from a script, with every read size from one byte up, so that each case
// is also split across reads at every byte: in a statement, in a quote, between CR and LF
// and inside a UTF-8 sequence. And where a rejected statement's error is shown.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/position.h"
#include "tools/script.h"

namespace {

// "LINE:COLUMN|TEXT" per statement, read with the given chunk size.
std::vector<std::string> Read(const std::string& script, bool lineMode, size_t chunk) {
    std::FILE* in = std::tmpfile();
    std::fwrite(script.data(), 1, script.size(), in);
    std::rewind(in);
    CScriptReader reader(in, lineMode, chunk);
    std::vector<std::string> out;
    ScriptStatement s;
    while (reader.Next(s)) out.push_back(std::to_string(s.line) + ":" + std::to_string(s.column) + "|" + s.text);
    EXPECT_FALSE(reader.Failed());
    EXPECT_EQ(reader.BytesRead(), script.size());
    std::fclose(in);
    return out;
}

void ExpectStatements(const std::string& script, bool lineMode, const std::vector<std::string>& expected) {
    for (size_t chunk : {size_t(1), size_t(2), size_t(3), size_t(5), size_t(7), size_t(1) << 16})
        EXPECT_EQ(Read(script, lineMode, chunk), expected) << "chunk " << chunk << ": " << script;
}

TEST(ScriptReader, SplitsAtSemicolonsOutsideQuotes) {
    ExpectStatements("select 1;\n  select\n  2 ;; ;select 3", false, {"1:1|select 1", "2:3|select\n  2 ", "3:9|select 3"});
    // Semicolons in quotes, brackets and braces; doubled and escaped quotes; a quote that
    // spans lines.
    ExpectStatements("a 'x;y' [p;q] \"r;s\";b 'it''s;' 'c\\';d';e {d '1;2'};f 'l1;\nl2';",
                     false, {"1:1|a 'x;y' [p;q] \"r;s\"", "1:21|b 'it''s;' 'c\\';d'", "1:40|e {d '1;2'}",
                             "1:52|f 'l1;\nl2'"});
    // A backslash takes no line end with it: the quote ends on the next line.
    ExpectStatements("x '\\\n';y", false, {"1:1|x '\\\n'", "2:3|y"});
}

TEST(ScriptReader, LineEndsAndWhiteSpace) {
    // CR LF becomes LF everywhere, quotes included; a lone CR stays; a CR at the end goes.
    ExpectStatements("a\r\nb 'q\r\nq';\r\n\r\n c\rd;\t\r\n;e\r", false, {"1:1|a\nb 'q\nq'", "5:2|c\rd", "6:2|e"});
    // Statements of white space only are skipped, and so is an empty script.
    ExpectStatements(" \t\r\n ; \n;", false, {});
    ExpectStatements("", false, {});
}

TEST(ScriptReader, ColumnsCountCharacters) {
    // é and € are one character each; an invalid byte (0xFF) counts as one too.
    ExpectStatements("caf\xC3\xA9; \xE2\x82\xAC;\xFF;x", false,
                     {"1:1|caf\xC3\xA9", "1:7|\xE2\x82\xAC", "1:9|\xFF", "1:11|x"});
    EXPECT_EQ(CountCharacters("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", 9), 3u);
    EXPECT_EQ(CountCharacters("\xC0\xAF\xED\xA0\x80", 5), 5u); // overlong form, surrogate
}

TEST(ScriptReader, LineMode) {
    ExpectStatements("select 1;\r\n \t\nselect 'a\nb'\nlast\r", true, {"1:1|select 1;", "3:1|select 'a", "4:1|b'", "5:1|last"});
}

TEST(ScriptReader, LongLinesKeepColumns) {
    // A line longer than what is kept of it: the column still counts every character.
    const std::string first(10000, 'x');
    ExpectStatements(first + ";y", false, {"1:1|" + first, "1:10002|y"});
}

TEST(ScriptReader, ReadErrorIsReported) {
    std::FILE* in = std::fopen("/", "rb"); // a directory: opening may work, reading fails
    if (!in) GTEST_SKIP() << "a directory cannot be opened here";
    CScriptReader reader(in, false);
    ScriptStatement s;
    EXPECT_FALSE(reader.Next(s));
    EXPECT_TRUE(reader.Failed());
    std::fclose(in);
}

// "LINE:COLUMN|LINE TEXT|CARET" of an error at `offset` in the statement.
std::string Place(const ScriptStatement& s, size_t offset, bool ansi = false) {
    const ErrorPlace p = LocateError(s, offset, ansi);
    return std::to_string(p.line) + ":" + std::to_string(p.column) + "|" + p.lineText + "|" + p.caret;
}

TEST(ErrorPlace, LineColumnAndCaret) {
    // On the first line the text before the statement is shown; tabs stay under tabs.
    EXPECT_EQ(Place({"select\ta b", 3, 5, "x;\t ", false}, 9), "3:14|x;\t select\ta b|  \t       \t  ^");
    // On a later line the column counts from that line; é is two bytes but one column.
    EXPECT_EQ(Place({"select a\nfrom caf\xC3\xA9 x y", 1, 1, "", false}, 22),
              "2:13|from caf\xC3\xA9 x y|            ^");
    // In the ANSI code page é is one byte: offset 5 is the blank after it.
    EXPECT_EQ(Place({"caf\xC3\xA9 x", 1, 1, "", false}, 5, true).substr(0, 4), "1:6|");
    // At the end of the statement the caret stands after it.
    const ErrorPlace p = LocateError({"select", 1, 1, "", false}, 6, false);
    EXPECT_EQ(FormatRejection("f.sql", p, "Parse error\n"), "f.sql:1:7: Parse error\nselect\n      ^\n");
    EXPECT_EQ(FormatRejection(nullptr, p, "no line end"), "1:7: no line end\nselect\n      ^\n");
}

} // namespace
