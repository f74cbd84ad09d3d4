// An in-memory stand-in for HKEY_CLASSES_ROOT: keys with string values, case-insensitive
// like the Windows registry, shared by the whole process. Registration fills it;
// ProgIDFromCLSID reads it.
#include "platform/platform.h"

#include <map>
#include <mutex>
#include <new>
#include <string>

namespace {

using Text = std::u16string;

struct Key {
    std::map<Text, Text> values; // by lower-cased name; "" is the default value
};

struct Registry {
    std::mutex lock;
    std::map<Text, Key> keys; // by lower-cased full path below HKEY_CLASSES_ROOT
};

Registry& TheRegistry() {
    static auto* registry = new Registry();
    return *registry;
}

struct OpenKey {
    Text path;
};

Text Lower(Text s) {
    for (auto& c : s)
        if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
    return s;
}

Text PathOf(HKEY parent, LPCWSTR sub) {
    Text base = parent == HKEY_CLASSES_ROOT ? Text() : reinterpret_cast<OpenKey*>(parent)->path;
    Text child = sub ? Text(sub) : Text();
    if (base.empty()) return Lower(child);
    return child.empty() ? base : base + u"\\" + Lower(child);
}

bool ValidKey(HKEY key) { return key == HKEY_CLASSES_ROOT || key != nullptr; }

LONG Open(const Text& path, HKEY* result) {
    auto* key = new (std::nothrow) OpenKey{path};
    if (!key) return ERROR_OUTOFMEMORY;
    *result = reinterpret_cast<HKEY>(key);
    return ERROR_SUCCESS;
}

} // namespace

LONG RegCreateKeyExW(HKEY parent, LPCWSTR sub, DWORD, LPWSTR, DWORD, REGSAM, void*, HKEY* result, DWORD* disposition) {
    if (!ValidKey(parent) || !result) return ERROR_INVALID_PARAMETER;
    Text path = PathOf(parent, sub);
    Registry& r = TheRegistry();
    {
        std::lock_guard<std::mutex> guard(r.lock);
        // Every ancestor exists as a key of its own.
        bool created = !r.keys.count(path);
        for (size_t p = path.find(u'\\'); p != Text::npos; p = path.find(u'\\', p + 1)) r.keys[path.substr(0, p)];
        r.keys[path];
        if (disposition) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    }
    return Open(path, result);
}

LONG RegOpenKeyExW(HKEY parent, LPCWSTR sub, DWORD, REGSAM, HKEY* result) {
    if (!ValidKey(parent) || !result) return ERROR_INVALID_PARAMETER;
    Text path = PathOf(parent, sub);
    Registry& r = TheRegistry();
    {
        std::lock_guard<std::mutex> guard(r.lock);
        if (!path.empty() && !r.keys.count(path)) return ERROR_FILE_NOT_FOUND;
    }
    return Open(path, result);
}

LONG RegCloseKey(HKEY key) {
    if (key != HKEY_CLASSES_ROOT) delete reinterpret_cast<OpenKey*>(key);
    return ERROR_SUCCESS;
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    if (!ValidKey(key) || key == HKEY_CLASSES_ROOT) return ERROR_INVALID_PARAMETER;
    if (type != REG_SZ) return ERROR_INVALID_PARAMETER;
    Text value(reinterpret_cast<const char16_t*>(data), size / sizeof(char16_t));
    while (!value.empty() && value.back() == 0) value.pop_back();
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto it = r.keys.find(reinterpret_cast<OpenKey*>(key)->path);
    if (it == r.keys.end()) return ERROR_FILE_NOT_FOUND;
    it->second.values[Lower(name ? Text(name) : Text())] = value;
    return ERROR_SUCCESS;
}

LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
    if (!ValidKey(key) || key == HKEY_CLASSES_ROOT) return ERROR_INVALID_PARAMETER;
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto it = r.keys.find(reinterpret_cast<OpenKey*>(key)->path);
    if (it == r.keys.end()) return ERROR_FILE_NOT_FOUND;
    auto v = it->second.values.find(Lower(name ? Text(name) : Text()));
    if (v == it->second.values.end()) return ERROR_FILE_NOT_FOUND;
    const DWORD needed = static_cast<DWORD>((v->second.size() + 1) * sizeof(char16_t));
    if (type) *type = REG_SZ;
    if (data) {
        if (!size || *size < needed) {
            if (size) *size = needed;
            return ERROR_MORE_DATA;
        }
        std::memcpy(data, v->second.c_str(), needed);
    }
    if (size) *size = needed;
    return ERROR_SUCCESS;
}

LONG RegDeleteTreeW(HKEY key, LPCWSTR sub) {
    if (!ValidKey(key)) return ERROR_INVALID_PARAMETER;
    Text path = PathOf(key, sub);
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    if (!path.empty() && !r.keys.count(path)) return ERROR_FILE_NOT_FOUND;
    for (auto it = r.keys.begin(); it != r.keys.end();) {
        const Text& k = it->first;
        bool inside = path.empty() || k == path || (k.size() > path.size() && k.compare(0, path.size(), path) == 0 &&
                                                    k[path.size()] == u'\\');
        if (inside && !(k == path && !sub)) // RegDeleteTree(key, NULL) keeps the key itself
            it = r.keys.erase(it);
        else
            ++it;
    }
    if (!sub) {
        auto self = r.keys.find(path);
        if (self != r.keys.end()) self->second.values.clear();
    }
    return ERROR_SUCCESS;
}

LONG RegDeleteKeyW(HKEY key, LPCWSTR sub) {
    if (!ValidKey(key) || !sub) return ERROR_INVALID_PARAMETER;
    Text path = PathOf(key, sub);
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    if (!r.keys.count(path)) return ERROR_FILE_NOT_FOUND;
    auto next = r.keys.upper_bound(path);
    if (next != r.keys.end() && next->first.compare(0, path.size() + 1, path + u"\\") == 0) return ERROR_ACCESS_DENIED;
    r.keys.erase(path);
    return ERROR_SUCCESS;
}

HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR* progId) {
    if (!progId) return E_INVALIDARG;
    *progId = nullptr;
    OLECHAR guid[40];
    StringFromGUID2(clsid, guid, 40);
    Text sub = u"CLSID\\" + Text(guid) + u"\\ProgID";
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, sub.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return REGDB_E_CLASSNOTREG;
    DWORD size = 0;
    LONG rc = RegQueryValueExW(key, nullptr, nullptr, nullptr, nullptr, &size);
    if (rc == ERROR_SUCCESS) {
        *progId = static_cast<LPOLESTR>(CoTaskMemAlloc(size));
        rc = *progId ? RegQueryValueExW(key, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(*progId), &size)
                     : ERROR_OUTOFMEMORY;
    }
    RegCloseKey(key);
    if (rc == ERROR_OUTOFMEMORY) return E_OUTOFMEMORY;
    if (rc != ERROR_SUCCESS) {
        CoTaskMemFree(*progId);
        *progId = nullptr;
        return REGDB_E_CLASSNOTREG;
    }
    return S_OK;
}
