// Resources of the native build: what generated code registers per module from a resource
// script (string tables and file resources such as TYPELIB or REGISTRY), and the Windows
// functions that find and load them.
#include "platform/posix/internal.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace {

// A resource type or name: an integer id, or an upper-case string.
struct Key {
    WORD id = 0;
    std::u16string name;
    bool operator==(const Key& other) const { return name.empty() ? id == other.id : name == other.name; }
};

char16_t Upper(char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c; }

// As on Windows: an integer resource, "#123" for id 123, or a name in any case.
bool ParseKey(LPCWSTR text, Key& key) {
    key = Key();
    if (!text) return false;
    if (IS_INTRESOURCE(text)) {
        key.id = static_cast<WORD>(reinterpret_cast<ULONG_PTR>(text));
        return true;
    }
    if (text[0] == u'#') {
        ULONG value = 0;
        size_t i = 1;
        for (; text[i] >= u'0' && text[i] <= u'9' && value <= 0xFFFF; ++i) value = value * 10 + (text[i] - u'0');
        if (i == 1 || text[i] || value > 0xFFFF) return false;
        key.id = static_cast<WORD>(value);
        return true;
    }
    for (size_t i = 0; text[i]; ++i) key.name += Upper(text[i]);
    return !key.name.empty();
}

// What an HRSRC points to.
struct Resource {
    Key type;
    Key name;
    const void* data = nullptr;
    DWORD size = 0;
    std::vector<WCHAR> block; // the data of a string-table block, built at registration
};

// One registered table with the resources made from it.
struct Registered {
    const ResourceTable* table = nullptr;
    std::vector<std::unique_ptr<Resource>> resources;
};

struct Modules {
    std::mutex lock;
    std::map<HMODULE, std::vector<std::unique_ptr<Registered>>> modules;
};

// Kept for the life of the process: libraries unregister when they are unloaded, which may
// be after the program's static objects are gone.
Modules& TheModules() {
    static auto* modules = new Modules();
    return *modules;
}

HMODULE Resolve(HMODULE module) { return module ? module : GetModuleHandleW(nullptr); }

const WORD kStringType = 6;

// Builds the string-table blocks of a table: block n + 1 holds ids 16n to 16n + 15, each a
// 16-bit length and that many characters, as windres lays them out.
void AddStringBlocks(const ResourceTable& table, Registered& registered) {
    std::map<UINT, std::vector<const StringTableEntry*>> blocks;
    for (size_t i = 0; i < table.stringCount; ++i) {
        const StringTableEntry& entry = table.strings[i];
        if (entry.id > 0xFFFF) continue; // not a valid string id
        auto& slots = blocks[entry.id / 16];
        if (slots.empty()) slots.assign(16, nullptr);
        if (!slots[entry.id % 16]) slots[entry.id % 16] = &entry;
    }
    for (const auto& b : blocks) {
        auto resource = std::make_unique<Resource>();
        resource->type.id = kStringType;
        resource->name.id = static_cast<WORD>(b.first + 1);
        for (const StringTableEntry* entry : b.second) {
            size_t length = 0;
            while (entry && entry->text[length] && length < 0xFFFF) ++length;
            resource->block.push_back(static_cast<WCHAR>(length));
            if (length) resource->block.insert(resource->block.end(), entry->text, entry->text + length);
        }
        resource->data = resource->block.data();
        resource->size = static_cast<DWORD>(resource->block.size() * sizeof(WCHAR));
        registered.resources.push_back(std::move(resource));
    }
}

// The registered resource behind a handle, or null. Called under the lock.
const Resource* Validate(Modules& m, HMODULE module, HRSRC handle) {
    auto it = m.modules.find(Resolve(module));
    if (it == m.modules.end() || !handle) return nullptr;
    for (const auto& registered : it->second)
        for (const auto& resource : registered->resources)
            if (reinterpret_cast<HRSRC>(resource.get()) == handle) return resource.get();
    return nullptr;
}

// The resource of a module by type and name, or null with the error Windows gives. Called
// under the lock.
const Resource* Find(Modules& m, HMODULE module, const Key& name, const Key& type) {
    auto it = m.modules.find(Resolve(module));
    if (it == m.modules.end()) {
        SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
        return nullptr;
    }
    bool typeSeen = false;
    for (const auto& registered : it->second) {
        for (const auto& resource : registered->resources) {
            if (!(resource->type == type)) continue;
            typeSeen = true;
            if (resource->name == name) return resource.get();
        }
    }
    SetLastError(typeSeen ? ERROR_RESOURCE_NAME_NOT_FOUND : ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
}

// The text of a string-table entry (not terminated) and its length; false when the block
// is missing. Called under the lock.
bool FindString(Modules& m, HMODULE module, UINT id, const WCHAR*& text, size_t& length) {
    Key name, type;
    name.id = static_cast<WORD>((id & 0xFFFF) / 16 + 1);
    type.id = kStringType;
    const Resource* block = Find(m, module, name, type);
    if (!block) return false;
    const size_t count = block->block.size();
    size_t at = 0;
    for (UINT slot = 0; slot < (id & 0xFFFF) % 16 && at < count; ++slot) at += 1 + block->block[at];
    text = nullptr;
    length = 0;
    if (at < count) {
        length = std::min<size_t>(block->block[at], count - at - 1);
        text = block->block.data() + at + 1;
    }
    return true;
}

} // namespace

bool RegisterResources(HMODULE module, const ResourceTable* table) {
    if (!module || !table) return false;
    try {
        auto registered = std::make_unique<Registered>();
        registered->table = table;
        AddStringBlocks(*table, *registered);
        for (size_t i = 0; i < table->resourceCount; ++i) {
            const ResourceEntry& entry = table->resources[i];
            auto resource = std::make_unique<Resource>();
            if (!ParseKey(entry.type, resource->type) || !ParseKey(entry.name, resource->name)) continue;
            resource->data = entry.data;
            resource->size = entry.size;
            registered->resources.push_back(std::move(resource));
        }
        Modules& m = TheModules();
        std::lock_guard<std::mutex> guard(m.lock);
        m.modules[module].push_back(std::move(registered));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void UnregisterResources(HMODULE module, const ResourceTable* table) {
    Modules& m = TheModules();
    std::lock_guard<std::mutex> guard(m.lock);
    auto it = m.modules.find(module);
    if (it == m.modules.end()) return;
    auto& tables = it->second;
    tables.erase(std::remove_if(tables.begin(), tables.end(),
                                [table](const std::unique_ptr<Registered>& r) { return r->table == table; }),
                 tables.end());
    if (tables.empty()) m.modules.erase(it);
}

HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type) {
    Key nameKey, typeKey;
    if (!ParseKey(name, nameKey)) {
        SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
        return nullptr;
    }
    if (!ParseKey(type, typeKey)) {
        SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
        return nullptr;
    }
    Modules& m = TheModules();
    std::lock_guard<std::mutex> guard(m.lock);
    return reinterpret_cast<HRSRC>(const_cast<Resource*>(Find(m, module, nameKey, typeKey)));
}

HRSRC FindResourceA(HMODULE module, LPCSTR name, LPCSTR type) {
    // Integer ids pass as they are; names are ANSI text.
    auto widen = [](LPCSTR text, std::u16string& wide) -> LPCWSTR {
        if (!text || IS_INTRESOURCE(text)) return reinterpret_cast<LPCWSTR>(text);
        const int n = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
        wide.assign(n > 0 ? static_cast<size_t>(n) : 1, u'\0');
        if (n > 0) MultiByteToWideChar(CP_ACP, 0, text, -1, &wide[0], n);
        return wide.c_str();
    };
    try {
        std::u16string wideName, wideType;
        return FindResourceW(module, widen(name, wideName), widen(type, wideType));
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_OUTOFMEMORY);
        return nullptr;
    }
}

HGLOBAL LoadResource(HMODULE module, HRSRC handle) {
    Modules& m = TheModules();
    std::lock_guard<std::mutex> guard(m.lock);
    const Resource* resource = Validate(m, module, handle);
    if (!resource) {
        SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
        return nullptr;
    }
    return const_cast<void*>(resource->data);
}

LPVOID LockResource(HGLOBAL data) { return data; }

DWORD SizeofResource(HMODULE module, HRSRC handle) {
    Modules& m = TheModules();
    std::lock_guard<std::mutex> guard(m.lock);
    const Resource* resource = Validate(m, module, handle);
    if (!resource) {
        SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
        return 0;
    }
    return resource->size;
}

// Resources need no freeing; on Windows too this is a no-op that returns FALSE.
BOOL FreeResource(HGLOBAL) { return FALSE; }

int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size) {
    if (!buffer || size < 0) return 0;
    Modules& m = TheModules();
    std::lock_guard<std::mutex> guard(m.lock);
    const WCHAR* text = nullptr;
    size_t length = 0;
    if (!FindString(m, module, id, text, length)) return 0;
    if (size == 0) {
        // The read-only text itself, which lives as long as the module.
        *reinterpret_cast<const WCHAR**>(buffer) = text;
        return static_cast<int>(length);
    }
    const size_t n = std::min(length, static_cast<size_t>(size - 1));
    if (n) std::copy(text, text + n, buffer);
    buffer[n] = 0;
    return static_cast<int>(n);
}

int LoadStringA(HINSTANCE module, UINT id, LPSTR buffer, int size) {
    if (!buffer || size <= 0) return 0;
    Modules& m = TheModules();
    std::lock_guard<std::mutex> guard(m.lock);
    const WCHAR* text = nullptr;
    size_t length = 0;
    int n = 0;
    if (FindString(m, module, id, text, length)) {
        // One byte per character in code page 1252: convert what fits.
        const int fit = static_cast<int>(std::min(length, static_cast<size_t>(size - 1)));
        if (fit) n = WideCharToMultiByte(CP_ACP, 0, text, fit, buffer, fit, nullptr, nullptr);
    }
    buffer[n] = '\0';
    return n;
}
