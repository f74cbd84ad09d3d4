#include "tools/position.h"

#include "platform/platform.h"
#include "platform/utf.h"

namespace {

// The bytes one character takes in the ANSI code page.
size_t AnsiLength(const char* text, size_t length) {
    if (length == 1 && static_cast<unsigned char>(text[0]) < 0x80) return 1;
    const std::basic_string<OLECHAR> wide = Utf8ToUtf16(std::string_view(text, length));
    const int n = WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<LPCWSTR>(wide.data()), static_cast<int>(wide.size()),
                                      nullptr, 0, nullptr, nullptr);
    return n > 0 ? static_cast<size_t>(n) : 1;
}

} // namespace

ErrorPlace LocateError(const ScriptStatement& statement, size_t offset, bool ansi) {
    const std::string& text = statement.text;
    ErrorPlace place;
    place.line = statement.line;
    place.column = statement.column;
    size_t pos = 0, counted = 0, lineStart = 0;
    while (pos < text.size() && counted < offset) {
        const size_t n = CharacterLength(text.data() + pos, text.size() - pos);
        counted += ansi ? AnsiLength(text.data() + pos, n) : n;
        if (text[pos] == '\n') {
            ++place.line;
            place.column = 1;
            lineStart = pos + 1;
        } else {
            ++place.column;
        }
        pos += n;
    }
    size_t lineEnd = text.find('\n', lineStart);
    if (lineEnd == std::string::npos) lineEnd = text.size();
    // On the statement's first line, what precedes the statement belongs to the line.
    std::string before;
    if (place.line == statement.line) before = (statement.prefixCut ? "..." : "") + statement.prefix;
    place.lineText = before + text.substr(lineStart, lineEnd - lineStart);
    const std::string lead = before + text.substr(lineStart, pos - lineStart);
    for (size_t i = 0; i < lead.size(); i += CharacterLength(lead.data() + i, lead.size() - i))
        place.caret += lead[i] == '\t' ? '\t' : ' ';
    place.caret += '^';
    return place;
}

std::string FormatRejection(const char* file, const ErrorPlace& place, const std::string& report) {
    std::string out;
    if (file) out += std::string(file) + ":";
    out += std::to_string(place.line) + ":" + std::to_string(place.column) + ": " + report;
    if (out.empty() || out.back() != '\n') out += '\n';
    return out + place.lineText + "\n" + place.caret + "\n";
}
