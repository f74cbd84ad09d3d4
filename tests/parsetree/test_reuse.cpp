// One CParseTree parsing statement after statement keeps its scanner, scan buffer and
// arena (tests/sql/reuse.sql runs a sequence of narrow statements through the tool): wide
// text after narrow, token texts until the next parse, and the arena's blocks.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "parsetree/arena.h"
#include "parsetree/parsetree.h"

namespace {

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
