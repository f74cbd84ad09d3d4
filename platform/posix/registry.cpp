// An in-memory stand-in for HKEY_CLASSES_ROOT and HKEY_CURRENT_USER, shared by the whole
// process: two trees of keys whose names and value names compare case-insensitively (and
// keep the case they were created with), values stored as the bytes and type they were
// written with. Registration fills them; ProgIDFromCLSID reads them, the user's classes
// (HKEY_CURRENT_USER\Software\Classes) first, as Windows merges them into its view of
// HKEY_CLASSES_ROOT.
#include "platform/platform.h"

#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace {

using Text = std::u16string;

struct Value {
    Text name; // as first written
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

struct Node {
    std::map<Text, std::shared_ptr<Node>> children; // by lower-cased name
    std::map<Text, Value> values;                   // by lower-cased name; "" is the default value
    Node* parent = nullptr;                         // valid while the key is not deleted
    Text name;                                      // lower-cased, the key in the parent's map
    Text display;                                   // as created
    bool deleted = false;                           // open handles outlive their key
    bool isVolatile = false;                        // REG_OPTION_VOLATILE: only volatile keys below
};

// What an HKEY other than HKEY_CLASSES_ROOT points to.
struct OpenKey {
    std::shared_ptr<Node> node;
};

struct Registry {
    std::mutex lock;
    std::shared_ptr<Node> root = std::make_shared<Node>();     // HKEY_CLASSES_ROOT
    std::shared_ptr<Node> userRoot = std::make_shared<Node>(); // HKEY_CURRENT_USER
    // The write that fails next: after `writesLeft` more writes succeed, one fails with
    // `failure` (ERROR_SUCCESS: none is armed).
    unsigned long writesLeft = 0;
    LONG failure = ERROR_SUCCESS;
};

Registry& TheRegistry() {
    static auto* registry = new Registry();
    return *registry;
}

Text Lower(const OLECHAR* s) {
    Text t = s ? Text(s) : Text();
    for (auto& c : t)
        if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
    return t;
}

// The components of a subkey path as given; empty components are ignored.
std::vector<Text> Components(LPCWSTR path) {
    std::vector<Text> parts;
    Text all = path ? Text(path) : Text();
    size_t start = 0;
    while (start <= all.size()) {
        size_t end = all.find(u'\\', start);
        if (end == Text::npos) end = all.size();
        if (end > start) parts.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

// The node of a handle, or the error Windows gives for it. Called under the lock.
LONG Resolve(HKEY key, std::shared_ptr<Node>& node) {
    if (key == HKEY_CLASSES_ROOT)
        node = TheRegistry().root;
    else if (key == HKEY_CURRENT_USER)
        node = TheRegistry().userRoot;
    else if (key)
        node = reinterpret_cast<OpenKey*>(key)->node;
    else
        return ERROR_INVALID_HANDLE;
    return node->deleted ? ERROR_KEY_DELETED : ERROR_SUCCESS;
}

// Walks from a node along a path; null when a component is missing.
std::shared_ptr<Node> Find(std::shared_ptr<Node> node, const std::vector<Text>& parts) {
    for (const Text& part : parts) {
        auto it = node->children.find(Lower(part.c_str()));
        if (it == node->children.end()) return nullptr;
        node = it->second;
    }
    return node;
}

void MarkDeleted(Node& node) {
    node.deleted = true;
    for (auto& child : node.children) MarkDeleted(*child.second);
    node.children.clear();
    node.values.clear();
}

// Deletes a key with everything below it. The root is never deleted.
void DeleteNode(Node& node) {
    Node* parent = node.parent;
    const Text name = node.name; // erasing may destroy the node
    MarkDeleted(node);
    if (parent) parent->children.erase(name);
}

bool IsRoot(const Registry& r, const std::shared_ptr<Node>& node) { return node == r.root || node == r.userRoot; }

// Counts a write that is about to change the registry; the armed failure, when its turn has
// come. Called under the lock.
LONG CountWrite(Registry& r) {
    if (r.failure == ERROR_SUCCESS) return ERROR_SUCCESS;
    if (r.writesLeft) {
        --r.writesLeft;
        return ERROR_SUCCESS;
    }
    const LONG failure = r.failure;
    r.failure = ERROR_SUCCESS;
    return failure;
}

LONG Open(std::shared_ptr<Node> node, HKEY* result) {
    auto* key = new (std::nothrow) OpenKey{std::move(node)};
    if (!key) return ERROR_OUTOFMEMORY;
    *result = reinterpret_cast<HKEY>(key);
    return ERROR_SUCCESS;
}

// Runs f(registry, node) under the registry's lock with the node of an open handle, or
// returns the error the handle gives.
template <class F> LONG WithKey(HKEY key, F f) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    std::shared_ptr<Node> node;
    const LONG rc = Resolve(key, node);
    return rc == ERROR_SUCCESS ? f(r, node) : rc;
}

// A key's or value's name into the caller's buffer, as the enumeration functions give it.
LONG CopyName(const Text& text, LPWSTR name, DWORD* nameLength) {
    if (text.size() >= *nameLength) return ERROR_MORE_DATA;
    text.copy(name, text.size());
    name[text.size()] = 0;
    *nameLength = static_cast<DWORD>(text.size());
    return ERROR_SUCCESS;
}

// A value's type and data into the caller's buffers: ERROR_MORE_DATA when data is too small
// for it; *size is the data's size either way.
LONG CopyData(const Value& value, DWORD* type, BYTE* data, DWORD* size) {
    const DWORD needed = static_cast<DWORD>(value.data.size());
    LONG rc = ERROR_SUCCESS;
    if (type) *type = value.type;
    if (data && *size < needed)
        rc = ERROR_MORE_DATA;
    else if (data && needed)
        std::memcpy(data, value.data.data(), needed);
    if (size) *size = needed;
    return rc;
}

} // namespace

LONG RegCreateKeyExW(HKEY parent, LPCWSTR sub, DWORD, LPWSTR, DWORD options, REGSAM, void*, HKEY* result,
                     DWORD* disposition) {
    if (!result) return ERROR_INVALID_PARAMETER;
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    std::shared_ptr<Node> node;
    LONG rc = Resolve(parent, node);
    if (rc != ERROR_SUCCESS) return rc;
    const std::vector<Text> parts = Components(sub);
    // The deepest key that exists; below a volatile one only volatile keys can be created.
    std::shared_ptr<Node> existing = node;
    size_t found = 0;
    for (; found < parts.size(); ++found) {
        auto it = existing->children.find(Lower(parts[found].c_str()));
        if (it == existing->children.end()) break;
        existing = it->second;
    }
    const bool isVolatile = (options & REG_OPTION_VOLATILE) != 0;
    if (found < parts.size()) {
        if (existing->isVolatile && !isVolatile) return ERROR_CHILD_MUST_BE_VOLATILE;
        // Creating keys is one write, which fails before anything is created.
        if ((rc = CountWrite(r)) != ERROR_SUCCESS) return rc;
    }
    bool created = false;
    for (const Text& part : parts) {
        const Text name = Lower(part.c_str());
        auto& child = node->children[name];
        if (!child) {
            child = std::make_shared<Node>();
            child->parent = node.get();
            child->name = name;
            child->display = part;
            child->isVolatile = isVolatile;
            created = true;
        }
        node = child;
    }
    rc = Open(node, result);
    if (rc == ERROR_SUCCESS && disposition) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    return rc;
}

LONG RegOpenKeyExW(HKEY parent, LPCWSTR sub, DWORD, REGSAM, HKEY* result) {
    if (!result) return ERROR_INVALID_PARAMETER;
    return WithKey(parent, [&](Registry&, std::shared_ptr<Node>& node) -> LONG {
        node = Find(node, Components(sub));
        return node ? Open(node, result) : ERROR_FILE_NOT_FOUND;
    });
}

LONG RegCloseKey(HKEY key) {
    if (!key) return ERROR_INVALID_HANDLE;
    if (key != HKEY_CLASSES_ROOT && key != HKEY_CURRENT_USER) {
        Registry& r = TheRegistry();
        std::lock_guard<std::mutex> guard(r.lock); // the handle may hold the last reference to a deleted key
        delete reinterpret_cast<OpenKey*>(key);
    }
    return ERROR_SUCCESS;
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    if (!data && size) return ERROR_INVALID_PARAMETER; // ERROR_NOACCESS on Windows
    return WithKey(key, [&](Registry& r, std::shared_ptr<Node>& node) -> LONG {
        const LONG rc = CountWrite(r);
        if (rc != ERROR_SUCCESS) return rc;
        // As on Windows, a string whose given bytes lack the terminator while the character
        // after them is one gets the terminator stored too.
        if (data && (type == REG_SZ || type == REG_EXPAND_SZ) && size >= sizeof(OLECHAR) &&
            size % sizeof(OLECHAR) == 0) {
            const OLECHAR* text = reinterpret_cast<const OLECHAR*>(data);
            const DWORD n = size / sizeof(OLECHAR);
            if (text[n - 1] && !text[n]) size += sizeof(OLECHAR);
        }
        Value& value = node->values[Lower(name)];
        if (value.type == REG_NONE && value.data.empty() && name) value.name = name;
        value.type = type;
        value.data.assign(data, data + size);
        return ERROR_SUCCESS;
    });
}

LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
    if (data && !size) return ERROR_INVALID_PARAMETER;
    return WithKey(key, [&](Registry&, std::shared_ptr<Node>& node) -> LONG {
        auto it = node->values.find(Lower(name));
        return it == node->values.end() ? ERROR_FILE_NOT_FOUND : CopyData(it->second, type, data, size);
    });
}

LONG RegDeleteTreeW(HKEY key, LPCWSTR sub) {
    return WithKey(key, [&](Registry& r, std::shared_ptr<Node>& node) -> LONG {
        LONG rc;
        if (!sub) {
            // Without a subkey the key itself stays, emptied of its subkeys and values.
            if ((rc = CountWrite(r)) != ERROR_SUCCESS) return rc;
            while (!node->children.empty()) DeleteNode(*node->children.begin()->second);
            node->values.clear();
            return ERROR_SUCCESS;
        }
        std::shared_ptr<Node> target = Find(node, Components(sub));
        if (!target) return ERROR_FILE_NOT_FOUND;
        if (IsRoot(r, target)) return ERROR_ACCESS_DENIED;
        if ((rc = CountWrite(r)) != ERROR_SUCCESS) return rc;
        DeleteNode(*target);
        return ERROR_SUCCESS;
    });
}

// An empty subkey deletes the key of the handle itself, as on Windows.
LONG RegDeleteKeyW(HKEY key, LPCWSTR sub) {
    if (!sub) return ERROR_INVALID_PARAMETER;
    return WithKey(key, [&](Registry& r, std::shared_ptr<Node>& node) -> LONG {
        std::shared_ptr<Node> target = Find(node, Components(sub));
        if (!target) return ERROR_FILE_NOT_FOUND;
        // Only a key without subkeys goes.
        if (IsRoot(r, target) || !target->children.empty()) return ERROR_ACCESS_DENIED;
        const LONG rc = CountWrite(r);
        if (rc == ERROR_SUCCESS) DeleteNode(*target);
        return rc;
    });
}

LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameLength, DWORD*, LPWSTR keyClass,
                   DWORD* classLength, FILETIME* lastWriteTime) {
    if (!name || !nameLength) return ERROR_INVALID_PARAMETER;
    return WithKey(key, [&](Registry&, std::shared_ptr<Node>& node) -> LONG {
        if (index >= node->children.size()) return ERROR_NO_MORE_ITEMS;
        auto it = node->children.begin();
        std::advance(it, index);
        const LONG rc = CopyName(it->second->display, name, nameLength);
        if (rc != ERROR_SUCCESS) return rc;
        if (keyClass && classLength && *classLength) keyClass[0] = 0;
        if (classLength) *classLength = 0;
        if (lastWriteTime) *lastWriteTime = FILETIME{0, 0};
        return ERROR_SUCCESS;
    });
}

LONG RegDeleteValueW(HKEY key, LPCWSTR name) {
    return WithKey(key, [&](Registry& r, std::shared_ptr<Node>& node) -> LONG {
        auto it = node->values.find(Lower(name));
        if (it == node->values.end()) return ERROR_FILE_NOT_FOUND;
        const LONG rc = CountWrite(r);
        if (rc == ERROR_SUCCESS) node->values.erase(it);
        return rc;
    });
}

LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameLength, DWORD*, DWORD* type, BYTE* data,
                   DWORD* dataSize) {
    if (!name || !nameLength || (data && !dataSize)) return ERROR_INVALID_PARAMETER;
    return WithKey(key, [&](Registry&, std::shared_ptr<Node>& node) -> LONG {
        if (index >= node->values.size()) return ERROR_NO_MORE_ITEMS;
        auto it = node->values.begin();
        std::advance(it, index);
        const LONG rc = CopyName(it->second.name, name, nameLength);
        return rc == ERROR_SUCCESS ? CopyData(it->second, type, data, dataSize) : rc;
    });
}

void TarvolinFailRegistryWrite(unsigned long after, LONG error) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    r.writesLeft = after;
    r.failure = error;
}

namespace {

// The class's ProgID key in one view of the classes; false when it is not there.
bool OpenProgIdKey(HKEY root, const Text& sub, HKEY* key) {
    return RegOpenKeyExW(root, sub.c_str(), 0, KEY_READ, key) == ERROR_SUCCESS;
}

} // namespace

HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR* progId) {
    if (!progId) return E_INVALIDARG;
    *progId = nullptr;
    OLECHAR guid[39];
    StringFromGUID2(clsid, guid, 39);
    Text sub = u"CLSID\\" + Text(guid) + u"\\ProgID";
    HKEY key = nullptr;
    if (!OpenProgIdKey(HKEY_CURRENT_USER, u"Software\\Classes\\" + sub, &key) &&
        !OpenProgIdKey(HKEY_CLASSES_ROOT, sub, &key))
        return REGDB_E_CLASSNOTREG;
    DWORD size = 0;
    LONG rc = RegQueryValueExW(key, nullptr, nullptr, nullptr, nullptr, &size);
    LPOLESTR text = nullptr;
    if (rc == ERROR_SUCCESS) {
        // Room for a terminator that the stored value may lack.
        const DWORD length = size / sizeof(OLECHAR);
        text = static_cast<LPOLESTR>(CoTaskMemAlloc((length + 1) * sizeof(OLECHAR)));
        if (!text) {
            RegCloseKey(key);
            return E_OUTOFMEMORY;
        }
        rc = RegQueryValueExW(key, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
        text[rc == ERROR_SUCCESS ? size / sizeof(OLECHAR) : 0] = 0;
    }
    RegCloseKey(key);
    if (rc != ERROR_SUCCESS) {
        CoTaskMemFree(text);
        return REGDB_E_CLASSNOTREG;
    }
    *progId = text;
    return S_OK;
}
