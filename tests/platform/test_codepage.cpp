// The ANSI code page: Windows-1252, both directions, the 0x80-0x9F block, characters it
// cannot represent, and the size queries callers make before converting.
#include "helpers.h"

#include <vector>

namespace {

std::string ToAnsi(const std::vector<OLECHAR>& wide, DWORD flags = WC_NO_BEST_FIT_CHARS, BOOL* usedDefault = nullptr,
                   LPCSTR defaultChar = nullptr) {
    const int n = static_cast<int>(wide.size());
    std::string narrow(wide.size(), '\0');
    const int written = WideCharToMultiByte(CP_ACP, flags, reinterpret_cast<LPCWSTR>(wide.data()), n, &narrow[0], n,
                                            defaultChar, usedDefault);
    EXPECT_EQ(written, n);
    return narrow;
}

std::vector<OLECHAR> FromAnsi(const std::string& narrow) {
    const int n = static_cast<int>(narrow.size());
    std::vector<OLECHAR> wide(narrow.size());
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, narrow.data(), n, reinterpret_cast<LPWSTR>(wide.data()), n), n);
    return wide;
}

TEST(CodePage, EveryByteRoundTripsAndLatin1IsItsOwnCode) {
    std::string all;
    for (int b = 1; b < 256; ++b) all += static_cast<char>(b);
    const std::vector<OLECHAR> wide = FromAnsi(all);
    EXPECT_EQ(ToAnsi(wide), all);
    for (int b = 1; b < 256; ++b)
        if (b < 0x80 || b >= 0xA0) {
            EXPECT_EQ(wide[b - 1], b) << b;
        }
}

TEST(CodePage, TheBlockFrom80To9F) {
    struct Pair {
        unsigned char byte;
        OLECHAR wide;
    };
    // A sample of the assigned characters (euro sign, quotes, dashes, letters with caron,
    // trade mark) and the five unassigned bytes, which keep their value.
    const Pair pairs[] = {{0x80, 0x20AC}, {0x82, 0x201A}, {0x85, 0x2026}, {0x8A, 0x0160}, {0x8C, 0x0152},
                          {0x8E, 0x017D}, {0x91, 0x2018}, {0x94, 0x201D}, {0x96, 0x2013}, {0x97, 0x2014},
                          {0x99, 0x2122}, {0x9A, 0x0161}, {0x9F, 0x0178}, {0x81, 0x0081}, {0x8D, 0x008D},
                          {0x8F, 0x008F}, {0x90, 0x0090}, {0x9D, 0x009D}};
    for (const Pair& p : pairs) {
        SCOPED_TRACE(static_cast<int>(p.byte));
        const std::string byte(1, static_cast<char>(p.byte));
        EXPECT_EQ(FromAnsi(byte), std::vector<OLECHAR>{p.wide});
        EXPECT_EQ(ToAnsi({p.wide}), byte);
    }
}

TEST(CodePage, UnmappableCharactersBecomeTheDefault) {
    // U+0101 (a with macron) has no code in 1252; U+4E2D not even a best fit.
    BOOL usedDefault = FALSE;
    EXPECT_EQ(ToAnsi({'c', 0x0101, 'r'}, WC_NO_BEST_FIT_CHARS, &usedDefault), "c?r");
    EXPECT_EQ(usedDefault, TRUE);
    EXPECT_EQ(ToAnsi({0x4E2D}, 0, &usedDefault), "?");
    EXPECT_EQ(usedDefault, TRUE);
    EXPECT_EQ(ToAnsi({0x4E2D, 'x'}, 0, &usedDefault, "*"), "*x");
    EXPECT_EQ(ToAnsi({'c', 'a', 'f', 0xE9, 0x20AC}, 0, &usedDefault), "caf\xE9\x80");
    EXPECT_EQ(usedDefault, FALSE);
}

TEST(CodePage, SizeQueriesAndShortBuffers) {
    const OLECHAR wide[] = {'a', 0x20AC, 'b', 0};
    const LPCWSTR w = reinterpret_cast<LPCWSTR>(wide);
    // -1 converts up to and including the terminator.
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, w, -1, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, w, 3, nullptr, 0, nullptr, nullptr), 3);
    char narrow[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, w, -1, narrow, 4, nullptr, nullptr), 4);
    EXPECT_EQ(std::string(narrow), "a\x80" "b");
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, w, -1, narrow, 3, nullptr, nullptr), 0); // too small

    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\x80z", -1, nullptr, 0), 4);
    OLECHAR back[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\x80z", -1, reinterpret_cast<LPWSTR>(back), 4), 4);
    EXPECT_EQ(back[1], 0x20AC);
    EXPECT_EQ(back[3], 0);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\x80z", -1, reinterpret_cast<LPWSTR>(back), 2), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", 0, reinterpret_cast<LPWSTR>(back), 4), 0); // nothing to convert
}

} // namespace
