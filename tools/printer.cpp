#include "tools/printer.h"

#include <cstdio>
#include <vector>

#include "tools/walker.h"

namespace {

std::string JsonString(const std::string& s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

// Writes the walk as it comes. Text: one line per property or list element, indented two
// spaces per level; an object or list property on a line of its own ("Name:",
// "Name (count):"), a scalar after " = "; list elements numbered from 1 ("[1]"). JSON:
// objects, arrays and scalars, enumerations as bare numbers.
class CPrinter : public CModelVisitor {
public:
    CPrinter(bool json, std::string& out) : m_bJson(json), m_Out(out) {}

    void BeginObject(const char* name, IDispatch*) override { Open(name, '{', std::string()); }
    void EndObject() override { Close('}'); }
    void BeginList(const char* name, long count) override { Open(name, '[', " (" + std::to_string(count) + ")"); }
    void EndList() override { Close(']'); }
    void Text(const char* name, const std::string& utf8) override {
        Scalar(name, m_bJson ? JsonString(utf8) : "\"" + utf8 + "\"");
    }
    void Number(const char* name, double value) override {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%.15g", value);
        Scalar(name, buf);
    }
    void Enumeration(const char* name, long value, const char* valueName) override {
        Scalar(name, m_bJson ? std::to_string(value) : std::to_string(value) + " (" + valueName + ")");
    }

private:
    struct Level {
        bool list;
        long index; // of the last element written, in a list
    };

    // The start of an entry of the current level: its name or element number.
    void Key(const char* name) {
        if (m_Levels.empty()) return;
        Level& level = m_Levels.back();
        if (m_bJson) {
            if (level.index++) m_Out += ',';
            if (!level.list) m_Out += JsonString(name) + ":";
            return;
        }
        m_Out.append((m_Levels.size() - 1) * 2, ' ');
        m_Out += level.list ? "[" + std::to_string(++level.index) + "]" : std::string(name);
    }
    void Scalar(const char* name, const std::string& text) {
        Key(name);
        if (m_bJson) {
            m_Out += text;
            return;
        }
        m_Out += (m_Levels.empty() || m_Levels.back().list ? " " : " = ") + text + "\n";
    }
    // A composite entry; the outermost object has no line of its own.
    void Open(const char* name, char bracket, const std::string& countText) {
        const bool outermost = m_Levels.empty();
        Key(name);
        if (m_bJson) {
            m_Out += bracket;
        } else if (!outermost) {
            m_Out += m_Levels.back().list ? "\n" : (bracket == '[' ? countText : std::string()) + ":\n";
        }
        m_Levels.push_back({bracket == '[', 0});
    }
    void Close(char bracket) {
        m_Levels.pop_back();
        if (m_bJson) m_Out += bracket;
    }

    bool m_bJson;
    std::string& m_Out;
    std::vector<Level> m_Levels;
};

} // namespace

std::string PrintStatement(IParser* parser, bool json) {
    std::string out;
    CPrinter printer(json, out);
    WalkStatement(parser, printer);
    if (json) out += "\n";
    return out;
}
