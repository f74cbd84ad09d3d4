// Conversion between UTF-8 and UTF-16, the same code on every system (it is not the ANSI
// code page conversion of MultiByteToWideChar).
//
// Decoding UTF-8 never fails. Well-formed sequences (shortest form, no surrogate code
// points, nothing above U+10FFFF) give their character, as a surrogate pair above U+FFFF.
// A byte that does not begin a well-formed sequence is taken alone as the Latin-1
// character of the same value, and decoding goes on with the next byte: plain Latin-1
// text reads as it was meant, and no byte is lost.
//
// Encoding UTF-16 never fails either. A surrogate pair gives its four-byte sequence; a
// surrogate that is not part of a pair gives U+FFFD, so the result is always well-formed
// UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/olechar.h"

// Header-only, so that hosts of the C++ interface need no library for it. The names in
// utf_detail are the codec's own.

namespace utf_detail {

inline constexpr char32_t kLastOneByte = 0x7F;
inline constexpr char32_t kLastTwoByte = 0x7FF;
inline constexpr char32_t kLastThreeByte = 0xFFFF;
inline constexpr char32_t kReplacement = 0xFFFD;
inline constexpr char32_t kFirstSupplementary = 0x10000;
inline constexpr char32_t kHighSurrogate = 0xD800;
inline constexpr char32_t kLowSurrogate = 0xDC00;
inline constexpr char32_t kPastSurrogates = 0xE000;
inline constexpr unsigned kPayloadBits = 6; // of a continuation byte
inline constexpr unsigned kPayloadMask = 0x3F;
inline constexpr unsigned char kContinuation = 0x80;
inline constexpr unsigned kSurrogateBits = 10;
inline constexpr unsigned kSurrogateMask = 0x3FF;

// How a lead byte begins a well-formed sequence: the number of continuation bytes, the
// payload bits of the lead byte, and the range the first continuation byte must lie in
// (narrower than 80-BF where a wider one would allow an overlong form, a surrogate or a
// code point above U+10FFFF). extra is 0 for a byte that begins no multi-byte sequence.
struct Lead {
    unsigned extra;
    unsigned char payloadMask;
    unsigned char low, high;
};

inline Lead LeadOf(unsigned char byte) {
    if (byte < 0xC2) return {0, 0, 0, 0}; // ASCII, a continuation byte, or an overlong C0/C1
    if (byte <= 0xDF) return {1, 0x1F, 0x80, 0xBF};
    if (byte == 0xE0) return {2, 0x0F, 0xA0, 0xBF};
    if (byte == 0xED) return {2, 0x0F, 0x80, 0x9F}; // D800-DFFF are not characters
    if (byte <= 0xEF) return {2, 0x0F, 0x80, 0xBF};
    if (byte == 0xF0) return {3, 0x07, 0x90, 0xBF};
    if (byte <= 0xF3) return {3, 0x07, 0x80, 0xBF};
    if (byte == 0xF4) return {3, 0x07, 0x80, 0x8F}; // nothing above U+10FFFF
    return {0, 0, 0, 0};
}

inline bool IsContinuation(unsigned char byte) {
    return (byte & 0xC0) == kContinuation;
}

// The character of the well-formed sequence at text[i], with its length; length 0 when
// there is none.
inline char32_t DecodeAt(std::string_view text, size_t i, size_t& length) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const Lead shape = LeadOf(lead);
    length = 0;
    if (shape.extra == 0 || text.size() - i <= shape.extra) return 0;
    const auto first = static_cast<unsigned char>(text[i + 1]);
    if (first < shape.low || first > shape.high) return 0;
    char32_t code = lead & shape.payloadMask;
    for (unsigned k = 1; k <= shape.extra; ++k) {
        const auto byte = static_cast<unsigned char>(text[i + k]);
        if (!IsContinuation(byte)) return 0;
        code = (code << kPayloadBits) | (byte & kPayloadMask);
    }
    length = shape.extra + 1;
    return code;
}

inline void AppendUtf8(std::string& out, char32_t code) {
    if (code <= kLastOneByte) {
        out += static_cast<char>(code);
        return;
    }
    unsigned extra = code <= kLastTwoByte ? 1 : code <= kLastThreeByte ? 2 : 3;
    // The lead byte's marker bits, by the number of continuation bytes.
    static constexpr unsigned char kLeadMarker[] = {0x00, 0xC0, 0xE0, 0xF0};
    out += static_cast<char>(kLeadMarker[extra] | (code >> (kPayloadBits * extra)));
    while (extra-- > 0)
        out += static_cast<char>(kContinuation | ((code >> (kPayloadBits * extra)) & kPayloadMask));
}

inline bool IsHigh(char32_t unit) {
    return unit >= kHighSurrogate && unit < kLowSurrogate;
}
inline bool IsLow(char32_t unit) {
    return unit >= kLowSurrogate && unit < kPastSurrogates;
}

} // namespace utf_detail

inline std::basic_string<OLECHAR> Utf8ToUtf16(std::string_view text) {
    using namespace utf_detail;
    std::basic_string<OLECHAR> out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        size_t length = 0;
        char32_t code = DecodeAt(text, i, length);
        if (length == 0) {
            code = static_cast<unsigned char>(text[i]); // ASCII, or a byte taken as Latin-1
            length = 1;
        }
        i += length;
        if (code < kFirstSupplementary) {
            out += static_cast<OLECHAR>(code);
            continue;
        }
        code -= kFirstSupplementary;
        out += static_cast<OLECHAR>(kHighSurrogate + (code >> kSurrogateBits));
        out += static_cast<OLECHAR>(kLowSurrogate + (code & kSurrogateMask));
    }
    return out;
}

// out = the UTF-8 of text (out's buffer is reused). Runs of ASCII, most of what a statement
// holds, are copied a run at a time.
inline void AssignUtf16AsUtf8(std::string& out, const OLECHAR* text, size_t length) {
    using namespace utf_detail;
    out.clear();
    size_t i = 0;
    while (i < length) {
        size_t ascii = i;
        while (ascii < length && static_cast<uint16_t>(text[ascii]) <= kLastOneByte)
            ++ascii;
        if (ascii > i) {
            const size_t at = out.size();
            out.resize(at + (ascii - i));
            char* to = &out[at];
            for (size_t k = i; k < ascii; ++k)
                *to++ = static_cast<char>(text[k]);
            i = ascii;
            if (i == length) break;
        }
        char32_t code = static_cast<uint16_t>(text[i]);
        if (IsHigh(code) && i + 1 < length && IsLow(static_cast<uint16_t>(text[i + 1]))) {
            const char32_t low = static_cast<uint16_t>(text[++i]);
            code = kFirstSupplementary + ((code - kHighSurrogate) << kSurrogateBits) + (low - kLowSurrogate);
        } else if (IsHigh(code) || IsLow(code)) {
            code = kReplacement;
        }
        AppendUtf8(out, code);
        ++i;
    }
}

inline std::string Utf16ToUtf8(const OLECHAR* text, size_t length) {
    std::string out;
    out.reserve(length);
    AssignUtf16AsUtf8(out, text, length);
    return out;
}

// A NUL-terminated text; null gives the empty text.
inline std::string Utf16ToUtf8(const OLECHAR* text) {
    size_t length = 0;
    while (text && text[length])
        ++length;
    return Utf16ToUtf8(text, length);
}
