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

// Writes the keys of the script below root; with sharedOnly only those outside CLSID, in
// the registry view given, without deleting ForceRemove keys first.
LONG Register(const std::vector<ScriptKey>& keys, HKEY root, bool sharedOnly, REGSAM view) {
    KeyHandles handles(keys.size());
    std::vector<bool> classKeys(keys.size()); // CLSID and the keys below it
    for (size_t i = 0; i < keys.size(); ++i) {
        const ScriptKey& k = keys[i];
        classKeys[i] = k.parent < 0 ? SameWord(k.name, "CLSID") : classKeys[static_cast<size_t>(k.parent)];
        if (sharedOnly && classKeys[i]) continue;
        HKEY parent = k.parent < 0 ? root : handles[static_cast<size_t>(k.parent)];
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

LONG Unregister(const std::vector<ScriptKey>& keys, HKEY root) {
    for (size_t i = keys.size(); i-- > 0;) {
        const ScriptKey& k = keys[i];
        if (k.noRemove) continue;
        const OleString path = PathOf(keys, i);
        LONG rc = k.forceRemove ? RegDeleteTreeW(root, path.c_str()) : RegDeleteKeyW(root, path.c_str());
        // Gone already, or still holding subkeys that are not ours.
        if (rc == ERROR_FILE_NOT_FOUND || (!k.forceRemove && rc == ERROR_ACCESS_DENIED)) rc = ERROR_SUCCESS;
        if (rc != ERROR_SUCCESS) return rc;
    }
    return ERROR_SUCCESS;
}

// Records what registering the script is going to change: each outermost key that is not
// NoRemove with everything below it, each NoRemove key above those by the values the script
// gives it.
HRESULT SaveScriptKeys(const std::vector<ScriptKey>& keys, HKEY root, RegistryBackup& backup) {
    // Whether each key lies below a key that is recorded as a tree.
    std::vector<bool> covered(keys.size(), false);
    for (size_t i = 0; i < keys.size(); ++i) {
        const ScriptKey& k = keys[i];
        const bool parentCovered = k.parent >= 0 && covered[static_cast<size_t>(k.parent)];
        covered[i] = parentCovered || !k.noRemove;
        if (parentCovered) continue;
        HRESULT hr;
        if (k.noRemove) {
            std::vector<OleString> names;
            if (k.hasDefault) names.emplace_back();
            for (const auto& v : k.values) names.push_back(v.first);
            hr = backup.SaveValues(root, PathOf(keys, i), names);
        } else {
            hr = backup.SaveTree(root, PathOf(keys, i));
        }
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

HRESULT FromWin32(LONG rc) { return rc == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(static_cast<unsigned long>(rc)); }

OleString Join(const OleString& path, const OleString& sub) {
    return sub.empty() ? path : path.empty() ? sub : path + OLESTR("\\") + sub;
}

// The values of an open key, in the order the registry lists them.
LONG ReadValues(HKEY key, std::vector<OleString>& names, std::vector<DWORD>& types,
                std::vector<std::vector<BYTE>>& data) {
    std::vector<OLECHAR> name(16384); // the longest value name and its terminator
    for (DWORD i = 0;; ++i) {
        DWORD length = static_cast<DWORD>(name.size()), type = REG_NONE, size = 0;
        LONG rc = RegEnumValueW(key, i, name.data(), &length, nullptr, &type, nullptr, &size);
        if (rc == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
        if (rc != ERROR_SUCCESS) return rc;
        names.emplace_back(name.data(), length);
        std::vector<BYTE> bytes(size);
        rc = RegQueryValueExW(key, names.back().c_str(), nullptr, &type, size ? bytes.data() : nullptr, &size);
        if (rc != ERROR_SUCCESS) return rc;
        bytes.resize(size);
        types.push_back(type);
        data.push_back(std::move(bytes));
    }
}

} // namespace

HRESULT RegistryBackup::SaveTree(HKEY root, const OleString& path) {
    try {
        Record record;
        record.root = root;
        record.path = path;
        record.whole = true;
        // Keys are visited from a list of pending paths, not by recursion: no depth of the
        // tree costs native stack.
        std::vector<OleString> pending{OleString()};
        while (!pending.empty()) {
            const OleString relative = std::move(pending.back());
            pending.pop_back();
            HKEY key = nullptr;
            LONG rc = RegOpenKeyExW(root, Join(path, relative).c_str(), 0, KEY_READ, &key);
            if (rc == ERROR_FILE_NOT_FOUND && relative.empty()) break; // the tree is missing
            if (rc != ERROR_SUCCESS) return FromWin32(rc);
            record.existed = true;
            SavedKey saved;
            saved.path = relative;
            std::vector<OleString> names;
            std::vector<DWORD> types;
            std::vector<std::vector<BYTE>> data;
            rc = ReadValues(key, names, types, data);
            for (DWORD i = 0; rc == ERROR_SUCCESS; ++i) {
                OLECHAR name[256]; // the longest key name and its terminator
                DWORD length = 256;
                rc = RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr);
                if (rc == ERROR_NO_MORE_ITEMS) {
                    rc = ERROR_SUCCESS;
                    break;
                }
                if (rc == ERROR_SUCCESS) pending.push_back(Join(relative, OleString(name, length)));
            }
            RegCloseKey(key);
            if (rc != ERROR_SUCCESS) return FromWin32(rc);
            for (size_t v = 0; v < names.size(); ++v)
                saved.values.push_back(SavedValue{std::move(names[v]), true, types[v], std::move(data[v])});
            record.keys.push_back(std::move(saved));
        }
        m_Records.push_back(std::move(record));
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT RegistryBackup::SaveValues(HKEY root, const OleString& path, const std::vector<OleString>& names) {
    try {
        Record record;
        record.root = root;
        record.path = path;
        SavedKey saved;
        HKEY key = nullptr;
        const LONG rc = RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key);
        if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return FromWin32(rc);
        record.existed = rc == ERROR_SUCCESS;
        for (const OleString& name : names) {
            SavedValue value;
            value.name = name;
            DWORD size = 0;
            if (key && RegQueryValueExW(key, name.c_str(), nullptr, &value.type, nullptr, &size) == ERROR_SUCCESS) {
                value.data.resize(size);
                value.present = RegQueryValueExW(key, name.c_str(), nullptr, &value.type,
                                                 size ? value.data.data() : nullptr, &size) == ERROR_SUCCESS;
                value.data.resize(size);
            }
            saved.values.push_back(std::move(value));
        }
        if (key) RegCloseKey(key);
        record.keys.push_back(std::move(saved));
        m_Records.push_back(std::move(record));
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT RegistryBackup::Restore() {
    LONG first = ERROR_SUCCESS;
    auto note = [&first](LONG rc) {
        if (first == ERROR_SUCCESS) first = rc;
    };
    auto setValue = [&note](HKEY key, const SavedValue& v) {
        const LONG rc = RegSetValueExW(key, v.name.c_str(), 0, v.type, v.data.empty() ? nullptr : v.data.data(),
                                       static_cast<DWORD>(v.data.size()));
        if (rc != ERROR_SUCCESS) note(rc);
    };
    try {
        for (size_t r = m_Records.size(); r-- > 0;) {
            const Record& record = m_Records[r];
            if (record.whole) {
                const LONG rc = RegDeleteTreeW(record.root, record.path.c_str());
                if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) note(rc);
                if (!record.existed) continue;
                for (const SavedKey& saved : record.keys) {
                    HKEY key = nullptr;
                    const OleString path = Join(record.path, saved.path);
                    const LONG created = RegCreateKeyExW(record.root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                                         KEY_WRITE, nullptr, &key, nullptr);
                    if (created != ERROR_SUCCESS) {
                        note(created);
                        continue;
                    }
                    for (const SavedValue& v : saved.values) setValue(key, v);
                    RegCloseKey(key);
                }
                continue;
            }
            HKEY key = nullptr;
            LONG rc = RegOpenKeyExW(record.root, record.path.c_str(), 0, KEY_READ | KEY_WRITE, &key);
            if (rc == ERROR_FILE_NOT_FOUND) continue; // nothing was written to it
            if (rc != ERROR_SUCCESS) {
                note(rc);
                continue;
            }
            for (const SavedValue& v : record.keys.front().values) {
                if (v.present) {
                    setValue(key, v);
                    continue;
                }
                rc = RegDeleteValueW(key, v.name.c_str());
                if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) note(rc);
            }
            RegCloseKey(key);
            // A key that registration created goes again, unless others' keys are below it now.
            if (!record.existed) {
                rc = RegDeleteKeyW(record.root, record.path.c_str());
                if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND && rc != ERROR_ACCESS_DENIED) note(rc);
            }
        }
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return FromWin32(first);
}

HRESULT RunRegistryScript(const char* script, size_t length, RegistryMode mode,
                          const std::vector<RegistryReplacement>& replacements, HKEY root, RegistryBackup* backup,
                          REGSAM view) {
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
        if (mode == RegistryMode::Unregister) return FromWin32(Unregister(keys, root));
        if (mode == RegistryMode::RegisterShared) return FromWin32(Register(keys, root, true, view));
        RegistryBackup local;
        RegistryBackup& saved = backup ? *backup : local;
        const HRESULT hr = SaveScriptKeys(keys, root, saved);
        if (FAILED(hr)) return hr;
        const LONG rc = Register(keys, root, false, view);
        if (rc != ERROR_SUCCESS) saved.Restore(); // the write's failure is the answer
        return FromWin32(rc);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}
