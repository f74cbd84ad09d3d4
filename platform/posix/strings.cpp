// String tables of the native build: the resource scripts' STRINGTABLE entries, registered
// per module by generated code, and the Windows functions that find and load them.
#include "platform/platform.h"

#include <map>
#include <mutex>
#include <string>

namespace {

struct Tables {
    std::mutex lock;
    std::map<HINSTANCE, std::map<UINT, std::string>> modules;
};

Tables& TheTables() {
    static auto* tables = new Tables();
    return *tables;
}

// The handle of "the executable" and, natively, of the component linked into it.
char g_MainModule;

} // namespace

HMODULE GetModuleHandleW(LPCWSTR name) { return name ? nullptr : static_cast<HMODULE>(&g_MainModule); }

bool RegisterStringTable(HINSTANCE module, const StringTableEntry* entries, size_t count) {
    Tables& t = TheTables();
    std::lock_guard<std::mutex> guard(t.lock);
    auto& table = t.modules[module];
    for (size_t i = 0; i < count; ++i) table.emplace(entries[i].id, entries[i].text);
    return true;
}

// String tables are stored in blocks of 16 ids; block n + 1 holds ids 16n to 16n + 15.
HRSRC FindResourceA(HMODULE module, LPCSTR name, LPCSTR type) {
    if (type != RT_STRING) return nullptr;
    const UINT block = static_cast<UINT>(reinterpret_cast<uintptr_t>(name));
    Tables& t = TheTables();
    std::lock_guard<std::mutex> guard(t.lock);
    auto m = t.modules.find(module);
    if (m == t.modules.end() || block == 0) return nullptr;
    auto e = m->second.lower_bound((block - 1) * 16);
    if (e == m->second.end() || e->first / 16 != block - 1) return nullptr;
    return reinterpret_cast<HRSRC>(static_cast<uintptr_t>(block));
}

int LoadStringA(HINSTANCE module, UINT id, LPSTR buffer, int size) {
    if (!buffer || size <= 0) return 0;
    Tables& t = TheTables();
    std::lock_guard<std::mutex> guard(t.lock);
    auto m = t.modules.find(module);
    const std::string* text = nullptr;
    if (m != t.modules.end()) {
        auto e = m->second.find(id);
        if (e != m->second.end()) text = &e->second;
    }
    const size_t n = text ? std::min(text->size(), static_cast<size_t>(size - 1)) : 0;
    if (n) std::memcpy(buffer, text->data(), n);
    buffer[n] = '\0';
    return static_cast<int>(n);
}
