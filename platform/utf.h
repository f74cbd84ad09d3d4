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
#include <string>
#include <string_view>

#include "platform/olechar.h"

std::basic_string<OLECHAR> Utf8ToUtf16(std::string_view text);

std::string Utf16ToUtf8(const OLECHAR* text, size_t length);
// A NUL-terminated text; null gives the empty text.
std::string Utf16ToUtf8(const OLECHAR* text);
