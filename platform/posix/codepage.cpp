// Windows-1252 conversions for the native build. Characters that code page 1252 cannot
// represent become "?", the Windows default character. (Windows first tries a "best fit",
// such as "a" for U+0101; this layer does not.)
#include "platform/platform.h"

namespace {

// Unicode values of bytes 0x80 to 0x9F in Windows-1252; 0 marks the five unassigned
// bytes, which map to the control character of the same value.
const char16_t kHigh1252[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

char16_t ByteToWide(unsigned char b) {
    if (b < 0x80 || b >= 0xA0) return b;
    char16_t w = kHigh1252[b - 0x80];
    return w ? w : b;
}

char WideToByte(char16_t w, bool& usedDefault) {
    if (w < 0x80 || (w >= 0xA0 && w <= 0xFF)) return static_cast<char>(w);
    for (int i = 0; i < 32; ++i) {
        char16_t m = kHigh1252[i];
        if ((m && m == w) || (!m && w == 0x80 + i)) return static_cast<char>(0x80 + i);
    }
    usedDefault = true;
    return '?';
}

bool IsAnsi(UINT codePage) { return codePage == CP_ACP || codePage == CP_1252; }

} // namespace

int WideCharToMultiByte(UINT codePage, DWORD, LPCWSTR wide, int wideLen, LPSTR narrow, int narrowLen,
                        LPCSTR defaultChar, BOOL* usedDefault) {
    if (!IsAnsi(codePage) || !wide || wideLen == 0 || narrowLen < 0) return 0;
    if (wideLen < 0) {
        wideLen = 0;
        while (wide[wideLen]) ++wideLen;
        ++wideLen; // the terminator is converted too
    }
    // One byte per character: a size query (narrowLen 0) needs no conversion, except to
    // tell whether the default character would be used.
    if (narrowLen != 0 && narrowLen < wideLen) return 0;
    bool anyDefault = false;
    for (int i = 0; i < wideLen; ++i) {
        bool d = false;
        char c = WideToByte(wide[i], d);
        if (d) {
            anyDefault = true;
            if (defaultChar) c = *defaultChar;
        }
        if (narrowLen) narrow[i] = c;
    }
    if (usedDefault) *usedDefault = anyDefault ? TRUE : FALSE;
    return wideLen;
}

int MultiByteToWideChar(UINT codePage, DWORD, LPCSTR narrow, int narrowLen, LPWSTR wide, int wideLen) {
    if (!IsAnsi(codePage) || !narrow || narrowLen == 0 || wideLen < 0) return 0;
    if (narrowLen < 0) {
        narrowLen = 0;
        while (narrow[narrowLen]) ++narrowLen;
        ++narrowLen;
    }
    if (wideLen == 0) return narrowLen;
    if (wideLen < narrowLen) return 0;
    for (int i = 0; i < narrowLen; ++i) wide[i] = ByteToWide(static_cast<unsigned char>(narrow[i]));
    return narrowLen;
}
