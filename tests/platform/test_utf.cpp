// The UTF-8/UTF-16 codec: sequence lengths at every boundary, surrogate pairs both ways,
// ill-formed UTF-8 read byte by byte as Latin-1, and lone surrogates written as U+FFFD.
#include <gtest/gtest.h>

#include <string>

#include "platform/utf.h"

namespace {

using Wide = std::basic_string<OLECHAR>;

Wide W(std::initializer_list<unsigned> units) {
    Wide out;
    for (unsigned u : units) out += static_cast<OLECHAR>(u);
    return out;
}

std::string Encode(const Wide& wide) { return Utf16ToUtf8(wide.data(), wide.size()); }

// UTF-16 of one scalar value, built from the definition of a surrogate pair.
Wide UnitsOf(char32_t c) {
    const unsigned v = static_cast<unsigned>(c - 0x10000);
    return c < 0x10000 ? W({static_cast<unsigned>(c)}) : W({0xD800 + (v >> 10), 0xDC00 + (v & 0x3FF)});
}

TEST(Utf, EveryScalarValueRoundTripsWithTheRightSequence) {
    const std::pair<char32_t, std::string> kBoundaries[] = {
        {0x0000, std::string(1, '\0')}, {0x007F, "\x7F"},         {0x0080, "\xC2\x80"},
        {0x07FF, "\xDF\xBF"},           {0x0800, "\xE0\xA0\x80"}, {0xD7FF, "\xED\x9F\xBF"},
        {0xE000, "\xEE\x80\x80"},       {0xFFFF, "\xEF\xBF\xBF"}, {0x10000, "\xF0\x90\x80\x80"},
        {0x1F600, "\xF0\x9F\x98\x80"},  {0x10FFFF, "\xF4\x8F\xBF\xBF"}};
    for (const auto& c : kBoundaries) {
        EXPECT_EQ(Encode(UnitsOf(c.first)), c.second) << std::hex << c.first;
        EXPECT_EQ(Utf8ToUtf16(c.second), UnitsOf(c.first)) << std::hex << c.first;
    }
    std::string all;
    Wide units;
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c < 0xE000) continue;
        const std::string utf8 = Encode(UnitsOf(c));
        ASSERT_EQ(utf8.size(), c < 0x80 ? 1u : c < 0x800 ? 2u : c < 0x10000 ? 3u : 4u) << std::hex << c;
        all += utf8;
        units += UnitsOf(c);
    }
    // The whole text at once: no state leaks from one character into the next.
    EXPECT_EQ(Utf8ToUtf16(all), units);
    EXPECT_EQ(Encode(units), all);
}

TEST(Utf, IllFormedBytesAreReadOneByOneAsLatin1) {
    const std::pair<std::string, Wide> kCases[] = {
        {"x\xE9y", W({'x', 0xE9, 'y'})},                   // Latin-1 text
        {"\x80\xBF", W({0x80, 0xBF})},                     // continuation bytes alone
        {"\xE0\x80\xAF", W({0xE0, 0x80, 0xAF})},           // overlong three bytes
        {"\xF0\x80\x80\xAF", W({0xF0, 0x80, 0x80, 0xAF})}, // overlong four bytes
        {"\xED\xA0\x80", W({0xED, 0xA0, 0x80})},           // an encoded surrogate
        {"\xF4\x90\x80\x80", W({0xF4, 0x90, 0x80, 0x80})}, // above U+10FFFF
        {"\xF0\x9F\x98", W({0xF0, 0x9F, 0x98})},           // cut short at the end
        {"\xE2\x41\xE2\x82\xAC", W({0xE2, 'A', 0x20AC})}, // cut short by ASCII
        {"\xC3\xC3\xA9", W({0xC3, 0xE9})},               // a lead byte, then a sequence
        {std::string("a\0b", 3), W({'a', 0, 'b'})},       // NUL is a character
    };
    for (const auto& c : kCases) EXPECT_EQ(Utf8ToUtf16(c.first), c.second) << c.first;
}

TEST(Utf, LoneSurrogatesBecomeTheReplacementCharacter) {
    const std::string kReplacement = "\xEF\xBF\xBD", kPair = "\xF0\x9F\x98\x80";
    EXPECT_EQ(Encode(W({0xD800})), kReplacement);                        // high at the end
    EXPECT_EQ(Encode(W({0xDFFF})), kReplacement);                        // low alone
    EXPECT_EQ(Encode(W({0xD800, 'a'})), kReplacement + "a");             // high before a non-surrogate
    EXPECT_EQ(Encode(W({0xDC00, 0xD800})), kReplacement + kReplacement); // the wrong order
    EXPECT_EQ(Encode(W({0xD83D, 0xD83D, 0xDE00})), kReplacement + kPair); // only the first is lone
    EXPECT_EQ(Encode(W({0xD83D, 0xDE00, 0xD83D, 0xDE00})), kPair + kPair);
    // A pair split by the given length is two halves, not a character.
    EXPECT_EQ(Utf16ToUtf8(W({0xD83D, 0xDE00}).data(), 1), kReplacement);
    // Terminated texts stop at their NUL.
    const OLECHAR text[] = {'a', 0xE9, 0, 'b', 0};
    EXPECT_EQ(Utf16ToUtf8(text), "a\xC3\xA9");
    EXPECT_EQ(Utf16ToUtf8(text, 4), std::string("a\xC3\xA9\0b", 5));
    EXPECT_EQ(Utf16ToUtf8(static_cast<const OLECHAR*>(nullptr)) + Utf16ToUtf8(text, 0), "");
    EXPECT_EQ(Utf8ToUtf16(""), Wide());
}

} // namespace
