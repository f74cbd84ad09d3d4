// One CParseTree parsing statement after statement keeps its scanner, scan buffer and
// arena: every parse must come out exactly as it would on a fresh tree, whatever the
// previous statement left behind (a longer text, a failed parse stopped midway, the
// scanner in another start condition).
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "parsetree/arena.h"
#include "parsetree/dump.h"
#include "parsetree/parsetree.h"

namespace {

struct Outcome {
    int result;
    std::string tree; // DumpTree: nodes, token texts, named nodes and the error text
    std::string echo;
};

Outcome ParseWith(CParseTree& tree, const std::string& text) {
    std::ostringstream echo;
    tree.SetEchoStream(&echo);
    const int result = tree.ParseNarrow(text.data(), text.size());
    tree.SetEchoStream(nullptr);
    return {result, DumpTree(tree), echo.str()};
}

Outcome ParseFresh(const std::string& text) {
    CParseTree tree;
    return ParseWith(tree, text);
}

void ExpectSameAsFresh(CParseTree& reused, const std::string& text) {
    const Outcome expected = ParseFresh(text);
    const Outcome got = ParseWith(reused, text);
    EXPECT_EQ(got.result, expected.result) << text.substr(0, 80);
    EXPECT_EQ(got.tree, expected.tree) << text.substr(0, 80);
    EXPECT_EQ(got.echo, expected.echo) << text.substr(0, 80);
}

TEST(ParserReuse, EachParseMatchesAFreshTree) {
    const std::string literal(300000, 'q');
    const std::vector<std::string> sequence = {
        // Long, then a prefix of it: the stale bytes past the shorter text must not be
        // read (the prefix alone is incomplete and rejected).
        "SELECT a FROM t WHERE s = '" + literal + "' AND b IN (1, 2)",
        "SELECT a FROM t WHERE s",
        "SELECT a FROM t WHERE s = 'x'",
        // A parse that fails early, leaving most of its text unscanned.
        "SELECT a b c d FROM t WHERE x = 1",
        "DELETE FROM t WHERE x = 2",
        // The scanner ends inside the case-state start condition...
        "SELECT a FROM t WHERE CASESTATE",
        // ...which must not colour the first tokens of the next statement.
        "(selected) = 1",
        "-label",
        "UPDATE t SET a = 1 WHERE CASESTATE (hidden)",
        // Uncovered bytes and a case-state error, then clean statements.
        "SELECT a FROM t WHERE b = 1; #",
        "CASESTATE_foo",
        "SELECT COUNT(*) FROM t",
        "",
        "CREATE TABLE t (a CHAR(10), b INTEGER)",
    };
    CParseTree tree;
    for (const std::string& text : sequence) ExpectSameAsFresh(tree, text);
    // The same sequence backwards: every statement also follows every other kind.
    for (auto it = sequence.rbegin(); it != sequence.rend(); ++it) ExpectSameAsFresh(tree, *it);
}

TEST(ParserReuse, WideTextAfterNarrowAndNonAsciiAfterAscii) {
    CParseTree tree;
    std::ostringstream echo;
    tree.SetEchoStream(&echo);
    // A long ASCII statement, then one whose only non-ASCII character comes last.
    std::u16string ascii = u"SELECT a FROM t WHERE b = '" + std::u16string(5000, u'z') + u"'";
    ASSERT_EQ(tree.Parse(reinterpret_cast<const OLECHAR*>(ascii.c_str())), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text().size(), 5000u);
    std::u16string mixed = u"SELECT a FROM t WHERE b = 'abc\u20ac'";
    ASSERT_EQ(tree.Parse(reinterpret_cast<const OLECHAR*>(mixed.c_str())), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), "abc\x80");
    // Then narrow text, shorter than either.
    ASSERT_EQ(tree.ParseNarrow("t x", 3), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), "x");
    EXPECT_EQ(echo.str(), "");
}

TEST(ParserReuse, TokenTextsStayUntilTheNextParse) {
    CParseTree tree;
    ASSERT_EQ(tree.ParseNarrow("SELECT alpha, 'beta' FROM gamma", 31), 0);
    std::vector<std::string> before;
    for (size_t i = 0; i < tree.Tokens().GetSize(); ++i) before.push_back(tree.Tokens().GetAt(i)->GetText());
    // Scanning wrote end marks into the scan buffer; the texts the tree holds are intact.
    ASSERT_EQ(before, (std::vector<std::string>{"alpha", "beta", "gamma"}));
    for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(tree.Tokens().GetAt(i)->Text(), before[i]);
}

TEST(Arena, BlocksBeyondTheKeptTotalAreGivenBack) {
    CArena arena;
    // A single request larger than any block gets a block of its own.
    char* big = static_cast<char*>(arena.Allocate(8u << 20));
    big[(8u << 20) - 1] = 1;
    EXPECT_EQ(arena.BlockCount(), 1u);
    arena.Reset();
    EXPECT_EQ(arena.BlockCount(), 0u); // over the kept total: freed, even as the first block

    // Many small allocations fill several growing blocks; after a reset the same
    // addresses are handed out again.
    std::vector<void*> first;
    for (int i = 0; i < 20000; ++i) first.push_back(arena.Allocate(24));
    const size_t blocks = arena.BlockCount();
    EXPECT_GT(blocks, 1u);
    arena.Reset();
    EXPECT_EQ(arena.BlockCount(), blocks);
    for (int i = 0; i < 20000; ++i) ASSERT_EQ(arena.Allocate(24), first[static_cast<size_t>(i)]) << i;

    // Allocations are pointer-aligned whatever the requested sizes.
    arena.Reset();
    for (size_t size : {1u, 3u, 7u, 9u, 17u}) {
        void* p = arena.Allocate(size);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % alignof(void*), 0u);
    }
}

} // namespace
