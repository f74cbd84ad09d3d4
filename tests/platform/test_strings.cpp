// Strings: the BSTR layout (a 32-bit byte count before the characters, a 16-bit NUL after
// them, lengths that count embedded NULs) and the ANSI code page, Windows-1252.
#include "helpers.h"

#include <cstring>
#include <thread>
#include <utility>
#include <vector>

namespace {

uint32_t Prefix(BSTR s) {
    uint32_t prefix;
    std::memcpy(&prefix, reinterpret_cast<const char*>(s) - sizeof prefix, sizeof prefix);
    return prefix;
}

TEST(Bstr, LengthsNullEmptyAndImpossible) {
    std::vector<OLECHAR> text(100000, 'a');
    text[1] = 0;
    for (UINT length : {3u, 100000u}) {
        BSTR s = SysAllocStringLen(text.data(), length);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(Prefix(s), 2 * length);
        EXPECT_EQ(SysStringLen(s), length);
        EXPECT_EQ(SysStringByteLen(s), 2 * length);
        EXPECT_EQ(std::memcmp(s, text.data(), length * sizeof(OLECHAR)), 0);
        EXPECT_EQ(s[length], 0);
        // A copy by byte length keeps what SysAllocString drops at the first NUL.
        BSTR bytes = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(s), SysStringByteLen(s));
        BSTR cut = SysAllocString(s);
        EXPECT_EQ(SysStringLen(bytes), length);
        EXPECT_EQ(SysStringLen(cut), 1u);
        for (BSTR b : {s, bytes, cut}) SysFreeString(b);
    }
    BSTR odd = SysAllocStringByteLen("abc", 3);
    EXPECT_EQ(SysStringByteLen(odd), 3u);
    EXPECT_EQ(SysStringLen(odd), 1u); // whole characters only
    EXPECT_EQ(std::memcmp(odd, "abc\0\0", 5), 0); // two NUL bytes follow the data
    SysFreeString(odd);

    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);
    // Empty strings are real allocations: a caller can tell "" from null. Without a source
    // the length is still allocated and terminated.
    const std::pair<BSTR, UINT> made[] = {{SysAllocString(OLESTR("")), 0},
                                          {SysAllocStringLen(nullptr, 0), 0},
                                          {SysAllocStringByteLen(nullptr, 0), 0},
                                          {SysAllocStringLen(nullptr, 4), 4}};
    for (const auto& m : made) {
        ASSERT_NE(m.first, nullptr);
        EXPECT_EQ(SysStringLen(m.first), m.second);
        EXPECT_EQ(m.first[m.second], 0);
        SysFreeString(m.first);
    }
    EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFEu), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x7FFFFFFFu), nullptr);
}

// Freed strings may be kept for the next ones of their size, on any thread. Strings of every
// short length made, freed and made again in a mixed order, some on threads that end and
// some freed by another thread: each keeps its characters, its length and its terminator
// while the others are written, so no block is handed out too small for its string.
TEST(Bstr, StringsMadeAgainInAnyOrderAndOnAnyThreadKeepTheirTexts) {
    std::vector<BSTR> live(150, nullptr);
    auto fill = [&](size_t i, unsigned round) {
        const UINT length = static_cast<UINT>((i * 37 + round * 11) % 90);
        if (live[i]) SysFreeString(live[i]);
        live[i] = SysAllocStringLen(nullptr, length);
        ASSERT_NE(live[i], nullptr);
        for (UINT k = 0; k < length; ++k) live[i][k] = static_cast<OLECHAR>('A' + (i + round) % 26);
    };
    auto check = [&](unsigned round) {
        for (size_t i = 0; i < live.size(); ++i) {
            const UINT length = static_cast<UINT>((i * 37 + round * 11) % 90);
            ASSERT_EQ(SysStringLen(live[i]), length) << i;
            EXPECT_EQ(live[i][length], 0) << i;
            EXPECT_EQ(platformtest::Narrow(live[i], length), std::string(length, static_cast<char>('A' + (i + round) % 26))) << i;
        }
    };
    for (unsigned round = 0; round < 4; ++round) {
        // Half of the strings are made on a thread of their own, which then ends.
        std::thread maker([&] {
            for (size_t i = 0; i < live.size(); i += 2) fill(i, round);
        });
        maker.join();
        for (size_t i = 1; i < live.size(); i += 2) fill(i, round);
        check(round);
    }
    for (BSTR& s : live) SysFreeString(s);
}

TEST(CodePage, EveryByteRoundTrips) {
    // Outside 0x80-0x9F a byte is its own code; inside, a sample of the assigned characters
    // (euro sign, caron, Y diaeresis) and of the five unassigned bytes, which keep theirs.
    const OLECHAR block[][2] = {{0x80, 0x20AC}, {0x8A, 0x0160}, {0x9F, 0x0178}, {0x81, 0x81}, {0x9D, 0x9D}};
    char all[256], back[256];
    OLECHAR wide[256];
    for (int b = 1; b < 256; ++b) all[b - 1] = static_cast<char>(b);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, all, 255, wide, 255), 255);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, 255, back, 255, nullptr, nullptr), 255);
    EXPECT_EQ(std::memcmp(all, back, 255), 0);
    for (int b = 1; b < 256; ++b) {
        if (b < 0x80 || b >= 0xA0) {
            EXPECT_EQ(wide[b - 1], b) << b;
        }
    }
    for (const auto& p : block) EXPECT_EQ(wide[p[0] - 1], p[1]) << p[0];
    // U+0101 (a with macron) has no code in 1252 and, without a best fit, becomes the default
    // character.
    const OLECHAR unmappable[] = {'c', 0x0101, 0x20AC};
    BOOL usedDefault = FALSE;
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, unmappable, 3, back, 3, nullptr, &usedDefault), 3);
    EXPECT_EQ(std::string(back, 3), "c?\x80");
    EXPECT_EQ(usedDefault, TRUE);
}

TEST(CodePage, SizeQueriesAndShortBuffers) {
    const OLECHAR wide[] = {'a', 0x20AC, 'b', 0};
    // -1 converts up to and including the terminator; a buffer of exactly that size will do.
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, 3, nullptr, 0, nullptr, nullptr), 3);
    char narrow[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, 4, nullptr, nullptr), 4);
    EXPECT_EQ(std::string(narrow), "a\x80"
                                   "b");
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, 3, nullptr, nullptr), 0);

    OLECHAR back[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\x80z", -1, nullptr, 0), 4);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\x80z", -1, back, 4), 4);
    EXPECT_EQ(back[1], 0x20AC);
    EXPECT_EQ(back[3], 0);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\x80z", -1, back, 2), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", 0, back, 4), 0); // nothing to convert
}

} // namespace
