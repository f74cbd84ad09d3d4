// Modules, files and languages of the native build: what the component asks at load time
// to find its own file and a satellite resource library for the user's language.
#include "platform/platform.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

// UTF-8 (file names) to UTF-16; bytes that are not valid UTF-8 become U+FFFD.
std::u16string FromUtf8(const std::string& in) {
    std::u16string out;
    for (size_t i = 0; i < in.size();) {
        const unsigned char b = static_cast<unsigned char>(in[i]);
        const int extra = b < 0x80 ? 0 : (b >> 5) == 6 ? 1 : (b >> 4) == 14 ? 2 : (b >> 3) == 30 ? 3 : -1;
        char32_t c = extra == 0 ? b : extra == 1 ? (b & 0x1F) : extra == 2 ? (b & 0x0F) : (b & 0x07);
        bool ok = extra >= 0 && i + extra < in.size();
        for (int k = 1; ok && k <= extra; ++k) {
            const unsigned char t = static_cast<unsigned char>(in[i + k]);
            ok = (t >> 6) == 2;
            c = (c << 6) | (t & 0x3F);
        }
        if (!ok) {
            out += u'\xFFFD';
            ++i;
            continue;
        }
        i += 1 + extra;
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (c >> 10));
            out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
    }
    return out;
}

std::string ToUtf8(LPCWSTR in) {
    std::string out;
    for (size_t i = 0; in[i]; ++i) {
        char32_t c = in[i];
        if (c >= 0xD800 && c < 0xDC00 && in[i + 1] >= 0xDC00 && in[i + 1] < 0xE000)
            c = 0x10000 + ((c - 0xD800) << 10) + (in[++i] - 0xDC00);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// The language name of a POSIX locale name: "de_DE.UTF-8@euro" gives "de-DE"; "C",
// "POSIX" and the empty name give nothing.
std::u16string LanguageOf(const char* locale) {
    if (!locale) return {};
    std::string name(locale);
    name = name.substr(0, name.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") return {};
    for (auto& c : name)
        if (c == '_') c = '-';
    return FromUtf8(name);
}

} // namespace

DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) {
    if (module && module != GetModuleHandleW(nullptr)) return 0;
    if (!buffer || size == 0) return 0;
    std::string path(4096, '\0');
    const ssize_t n = readlink("/proc/self/exe", &path[0], path.size());
    if (n <= 0) return 0;
    path.resize(static_cast<size_t>(n));
    const std::u16string wide = FromUtf8(path);
    if (wide.size() >= size) {
        // Truncated and terminated; the result is the buffer size.
        wide.copy(buffer, size - 1);
        buffer[size - 1] = 0;
        return size;
    }
    wide.copy(buffer, wide.size());
    buffer[wide.size()] = 0;
    return static_cast<DWORD>(wide.size());
}

BOOL DisableThreadLibraryCalls(HMODULE module) { return module ? TRUE : FALSE; }

BOOL GetThreadPreferredUILanguages(DWORD flags, ULONG* count, LPWSTR buffer, ULONG* size) {
    if (!count || !size || (flags & MUI_LANGUAGE_ID)) return FALSE; // only names are offered
    std::u16string language;
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) {
            language = LanguageOf(value);
            break;
        }
    }
    if (language.empty()) language = u"en-US";
    // One name, its terminator and the terminator of the list.
    const ULONG needed = static_cast<ULONG>(language.size() + 2);
    if (buffer) {
        if (*size < needed) {
            *size = needed;
            return FALSE;
        }
        language.copy(buffer, language.size());
        buffer[language.size()] = 0;
        buffer[language.size() + 1] = 0;
    }
    *count = 1;
    *size = needed;
    return TRUE;
}

BOOL PathFileExistsW(LPCWSTR path) {
    if (!path) return FALSE;
    struct stat info;
    return stat(ToUtf8(path).c_str(), &info) == 0 ? TRUE : FALSE;
}

HMODULE LoadLibraryExW(LPCWSTR, void*, DWORD) { return nullptr; }

BOOL FreeLibrary(HMODULE module) { return module ? TRUE : FALSE; }
