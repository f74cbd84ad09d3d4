// BSTR layout and lengths: a 32-bit byte count just before the characters, a 16-bit NUL
// after them, and lengths that count embedded NULs.
#include "helpers.h"

#include <cstring>
#include <vector>

namespace {

using platformtest::Narrow;

uint32_t Prefix(BSTR s) {
    uint32_t prefix;
    std::memcpy(&prefix, reinterpret_cast<const char*>(s) - sizeof prefix, sizeof prefix);
    return prefix;
}

TEST(Bstr, PrefixHoldsTheByteCountAndEmbeddedNulsCount) {
    const OLECHAR text[] = {'a', 0, 'b', 0};
    BSTR whole = SysAllocStringLen(text, 3);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(Prefix(whole), 6u);
    EXPECT_EQ(SysStringLen(whole), 3u);
    EXPECT_EQ(SysStringByteLen(whole), 6u);
    EXPECT_EQ(Narrow(whole, 4), std::string("a\0b\0", 4));
    BSTR prefix = SysAllocString(text); // stops at the first NUL
    EXPECT_EQ(SysStringLen(prefix), 1u);
    // A copy by byte length keeps what SysAllocString would drop.
    BSTR copy = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(whole), SysStringByteLen(whole));
    EXPECT_EQ(SysStringLen(copy), 3u);
    EXPECT_EQ(copy[2], 'b');
    SysFreeString(whole);
    SysFreeString(prefix);
    SysFreeString(copy);
}

TEST(Bstr, OddByteLengthsAreKeptAndTerminated) {
    BSTR odd = SysAllocStringByteLen("abc", 3);
    ASSERT_NE(odd, nullptr);
    EXPECT_EQ(SysStringByteLen(odd), 3u);
    EXPECT_EQ(SysStringLen(odd), 1u); // whole characters only
    const char* bytes = reinterpret_cast<const char*>(odd);
    EXPECT_EQ(std::string(bytes, 3), "abc");
    EXPECT_EQ(bytes[3], 0); // two NUL bytes follow the data
    EXPECT_EQ(bytes[4], 0);
    SysFreeString(odd);

    BSTR one = SysAllocStringByteLen("x", 1);
    EXPECT_EQ(SysStringByteLen(one), 1u);
    EXPECT_EQ(SysStringLen(one), 0u);
    SysFreeString(one);
}

TEST(Bstr, NullAndEmptyAreDifferent) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);

    // Empty strings are real allocations: a caller can tell "" from null.
    BSTR empty = SysAllocString(OLESTR(""));
    BSTR emptyLen = SysAllocStringLen(nullptr, 0);
    BSTR emptyBytes = SysAllocStringByteLen(nullptr, 0);
    for (BSTR s : {empty, emptyLen, emptyBytes}) {
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(SysStringLen(s), 0u);
        EXPECT_EQ(s[0], 0);
    }
    SysFreeString(empty);
    SysFreeString(emptyLen);
    SysFreeString(emptyBytes);

    // Without a source the length is still allocated and terminated.
    BSTR room = SysAllocStringLen(nullptr, 4);
    ASSERT_NE(room, nullptr);
    EXPECT_EQ(SysStringLen(room), 4u);
    EXPECT_EQ(room[4], 0);
    SysFreeString(room);
}

TEST(Bstr, LongStringsKeepEveryCharacter) {
    std::vector<OLECHAR> text(100000);
    for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<OLECHAR>('a' + i % 26);
    BSTR s = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringLen(s), 100000u);
    EXPECT_EQ(Prefix(s), 200000u);
    EXPECT_EQ(std::memcmp(s, text.data(), text.size() * sizeof(OLECHAR)), 0);
    EXPECT_EQ(s[100000], 0);
    SysFreeString(s);
}

TEST(Bstr, ImpossibleLengthsFail) {
    EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFEu), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x7FFFFFFFu), nullptr);
}

} // namespace
