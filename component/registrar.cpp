#include "component/registrar.h"

#include <cstring>
#include <new>

namespace {

// One key the script names, in the order the script names them: every key comes before
// the keys below it, so walking the list backwards visits the deepest keys first.
struct ScriptKey {
    int parent = -1; // index of the enclosing key; -1 for the root
    OleString name;
    bool noRemove = false;
    bool forceRemove = false;
    bool hasDefault = false;
    OleString defaultValue;
    std::vector<std::pair<OleString, OleString>> values;
};

enum class TokenKind { End, Word, Quoted, Equals, Open, Close };

struct Token {
    TokenKind kind = TokenKind::End;
    OleString text;
};

bool IsSpace(OLECHAR c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool SameWord(const OleString& a, const char* b) {
    const size_t n = std::strlen(b);
    if (a.size() != n) return false;
    for (size_t i = 0; i < n; ++i) {
        OLECHAR c = a[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<OLECHAR>(c - 'A' + 'a');
        char d = b[i];
        if (d >= 'A' && d <= 'Z') d = static_cast<char>(d - 'A' + 'a');
        if (c != static_cast<OLECHAR>(static_cast<unsigned char>(d))) return false;
    }
    return true;
}

class Tokenizer {
public:
    Tokenizer(const OleString& text, const std::vector<RegistryReplacement>& replacements)
        : m_Text(text), m_Replacements(replacements) {}

    // False when the text is malformed (an unterminated quote, an unknown %NAME%).
    bool Next(Token& token) {
        while (m_Pos < m_Text.size() && IsSpace(m_Text[m_Pos])) ++m_Pos;
        token.text.clear();
        if (m_Pos == m_Text.size()) {
            token.kind = TokenKind::End;
            return true;
        }
        const OLECHAR c = m_Text[m_Pos];
        if (c == '=') {
            ++m_Pos;
            token.kind = TokenKind::Equals;
            return true;
        }
        OleString raw;
        if (c == '\'') {
            token.kind = TokenKind::Quoted;
            for (++m_Pos;; ++m_Pos) {
                if (m_Pos == m_Text.size()) return false;
                if (m_Text[m_Pos] == '\'') {
                    if (m_Pos + 1 < m_Text.size() && m_Text[m_Pos + 1] == '\'') {
                        raw += '\'';
                        ++m_Pos;
                        continue;
                    }
                    ++m_Pos;
                    break;
                }
                raw += m_Text[m_Pos];
            }
        } else {
            while (m_Pos < m_Text.size() && !IsSpace(m_Text[m_Pos]) && m_Text[m_Pos] != '=' && m_Text[m_Pos] != '\'')
                raw += m_Text[m_Pos++];
            if (raw.size() == 1 && (raw[0] == '{' || raw[0] == '}')) {
                token.kind = raw[0] == '{' ? TokenKind::Open : TokenKind::Close;
                return true;
            }
            token.kind = TokenKind::Word;
        }
        return Substitute(raw, token.text);
    }

private:
    bool Substitute(const OleString& raw, OleString& out) const {
        for (size_t i = 0; i < raw.size(); ++i) {
            if (raw[i] != '%') {
                out += raw[i];
                continue;
            }
            const size_t end = raw.find('%', i + 1);
            if (end == OleString::npos) return false;
            const OleString name = raw.substr(i + 1, end - i - 1);
            if (name.empty()) {
                out += '%';
            } else {
                const RegistryReplacement* found = nullptr;
                for (const auto& r : m_Replacements)
                    if (r.name == name) found = &r;
                if (!found) return false;
                out += found->value;
            }
            i = end;
        }
        return true;
    }

    const OleString& m_Text;
    const std::vector<RegistryReplacement>& m_Replacements;
    size_t m_Pos = 0;
};

// Parses the script into its keys. Nesting is tracked with the index of the enclosing
// key, so no depth of braces costs native stack.
bool ParseScript(const OleString& text, const std::vector<RegistryReplacement>& replacements,
                 std::vector<ScriptKey>& keys) {
    Tokenizer tokenizer(text, replacements);
    Token token;
    if (!tokenizer.Next(token)) return false;
    // The enclosing keys of the current position: -1 for the root block itself; empty
    // outside every root.
    std::vector<int> open;
    while (token.kind != TokenKind::End) {
        if (open.empty()) {
            // A root: only HKEY_CLASSES_ROOT is known, followed by its block.
            if (token.kind != TokenKind::Word || !(SameWord(token.text, "HKCR") || SameWord(token.text, "HKEY_CLASSES_ROOT")))
                return false;
            if (!tokenizer.Next(token) || token.kind != TokenKind::Open) return false;
            open.push_back(-1);
            if (!tokenizer.Next(token)) return false;
            continue;
        }
        if (token.kind == TokenKind::Close) {
            open.pop_back();
            if (!tokenizer.Next(token)) return false;
            continue;
        }
        const int parent = open.back();
        if (token.kind == TokenKind::Word && SameWord(token.text, "val")) {
            // val Name = s 'text', a value of the enclosing key.
            if (parent < 0) return false;
            Token name, equals, type, value;
            if (!tokenizer.Next(name) || (name.kind != TokenKind::Word && name.kind != TokenKind::Quoted)) return false;
            if (!tokenizer.Next(equals) || equals.kind != TokenKind::Equals) return false;
            if (!tokenizer.Next(type) || type.kind != TokenKind::Word || !SameWord(type.text, "s")) return false;
            if (!tokenizer.Next(value) || value.kind != TokenKind::Quoted) return false;
            keys[static_cast<size_t>(parent)].values.emplace_back(std::move(name.text), std::move(value.text));
            if (!tokenizer.Next(token)) return false;
            continue;
        }
        ScriptKey key;
        key.parent = parent;
        while (token.kind == TokenKind::Word && (SameWord(token.text, "NoRemove") || SameWord(token.text, "ForceRemove"))) {
            (SameWord(token.text, "NoRemove") ? key.noRemove : key.forceRemove) = true;
            if (!tokenizer.Next(token)) return false;
        }
        if (token.kind != TokenKind::Word && token.kind != TokenKind::Quoted) return false;
        if (token.text.empty() || token.text.find('\\') != OleString::npos) return false; // one key per name
        key.name = std::move(token.text);
        if (!tokenizer.Next(token)) return false;
        if (token.kind == TokenKind::Equals) {
            Token type;
            if (!tokenizer.Next(type) || type.kind != TokenKind::Word || !SameWord(type.text, "s")) return false;
            if (!tokenizer.Next(token) || token.kind != TokenKind::Quoted) return false;
            key.hasDefault = true;
            key.defaultValue = std::move(token.text);
            if (!tokenizer.Next(token)) return false;
        }
        keys.push_back(std::move(key));
        if (token.kind == TokenKind::Open) {
            open.push_back(static_cast<int>(keys.size() - 1));
            if (!tokenizer.Next(token)) return false;
        }
    }
    return open.empty();
}

class KeyHandles {
public:
    explicit KeyHandles(size_t n) : m_Handles(n, nullptr) {}
    ~KeyHandles() {
        for (HKEY h : m_Handles)
            if (h) RegCloseKey(h);
    }
    KeyHandles(const KeyHandles&) = delete;
    KeyHandles& operator=(const KeyHandles&) = delete;
    HKEY& operator[](size_t i) { return m_Handles[i]; }

private:
    std::vector<HKEY> m_Handles;
};

LONG SetString(HKEY key, const OLECHAR* name, const OleString& value) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>((value.size() + 1) * sizeof(OLECHAR)));
}

// Writes the keys of the script; with sharedOnly only those outside CLSID, in the registry
// view given, without deleting ForceRemove keys first.
LONG Register(const std::vector<ScriptKey>& keys, bool sharedOnly, REGSAM view) {
    KeyHandles handles(keys.size());
    std::vector<bool> classKeys(keys.size()); // CLSID and the keys below it
    for (size_t i = 0; i < keys.size(); ++i) {
        const ScriptKey& k = keys[i];
        classKeys[i] = k.parent < 0 ? SameWord(k.name, "CLSID") : classKeys[static_cast<size_t>(k.parent)];
        if (sharedOnly && classKeys[i]) continue;
        HKEY parent = k.parent < 0 ? HKEY_CLASSES_ROOT : handles[static_cast<size_t>(k.parent)];
        if (k.forceRemove && !sharedOnly) {
            const LONG rc = RegDeleteTreeW(parent, k.name.c_str());
            if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return rc;
        }
        LONG rc = RegCreateKeyExW(parent, k.name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                  KEY_READ | KEY_WRITE | view, nullptr, &handles[i], nullptr);
        if (rc != ERROR_SUCCESS) return rc;
        if (k.hasDefault && (rc = SetString(handles[i], nullptr, k.defaultValue)) != ERROR_SUCCESS) return rc;
        for (const auto& v : k.values)
            if ((rc = SetString(handles[i], v.first.c_str(), v.second)) != ERROR_SUCCESS) return rc;
    }
    return ERROR_SUCCESS;
}

OleString PathOf(const std::vector<ScriptKey>& keys, size_t i) {
    OleString path = keys[i].name;
    for (int p = keys[i].parent; p >= 0; p = keys[static_cast<size_t>(p)].parent)
        path = keys[static_cast<size_t>(p)].name + OLESTR("\\") + path;
    return path;
}

LONG Unregister(const std::vector<ScriptKey>& keys) {
    for (size_t i = keys.size(); i-- > 0;) {
        const ScriptKey& k = keys[i];
        if (k.noRemove) continue;
        const OleString path = PathOf(keys, i);
        LONG rc = k.forceRemove ? RegDeleteTreeW(HKEY_CLASSES_ROOT, path.c_str())
                                : RegDeleteKeyW(HKEY_CLASSES_ROOT, path.c_str());
        // Gone already, or still holding subkeys that are not ours.
        if (rc == ERROR_FILE_NOT_FOUND || (!k.forceRemove && rc == ERROR_ACCESS_DENIED)) rc = ERROR_SUCCESS;
        if (rc != ERROR_SUCCESS) return rc;
    }
    return ERROR_SUCCESS;
}

} // namespace

HRESULT RunRegistryScript(const char* script, size_t length, RegistryMode mode,
                          const std::vector<RegistryReplacement>& replacements, REGSAM view) {
    if (!script && length) return E_INVALIDARG;
    try {
        // The script is narrow text in the ANSI code page.
        OleString text;
        if (length) {
            if (length > 0x7FFFFFFF) return E_INVALIDARG;
            const int n = static_cast<int>(length);
            const int wide = MultiByteToWideChar(CP_ACP, 0, script, n, nullptr, 0);
            if (wide <= 0) return E_INVALIDARG;
            text.resize(static_cast<size_t>(wide));
            MultiByteToWideChar(CP_ACP, 0, script, n, &text[0], wide);
        }
        std::vector<ScriptKey> keys;
        if (!ParseScript(text, replacements, keys)) return E_INVALIDARG;
        const LONG rc = mode == RegistryMode::Unregister ? Unregister(keys)
                                                         : Register(keys, mode == RegistryMode::RegisterShared, view);
        return rc == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(static_cast<unsigned long>(rc));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}
