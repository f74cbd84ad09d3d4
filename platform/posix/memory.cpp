// Virtual memory of the native build: VirtualAlloc and VirtualFree over mmap. The system
// gives pages at page alignment; a region is mapped with room to spare and trimmed to the
// 64 KB alignment of Windows. The regions are recorded (base and size) so that MEM_RELEASE
// finds a region's size and MEM_COMMIT and MEM_DECOMMIT stay inside one.
#include "platform/posix/internal.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <map>
#include <mutex>

namespace {

constexpr uintptr_t kGranularity = 64 * 1024;

uintptr_t PageSize() {
    static const uintptr_t size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    return size;
}

std::mutex g_Lock;

// Base -> size of every region handed out. Never destroyed: regions may be released while
// the program ends.
std::map<uintptr_t, uintptr_t>& Regions() {
    static auto* regions = new std::map<uintptr_t, uintptr_t>();
    return *regions;
}

int Protection(DWORD protect) {
    switch (protect) {
    case PAGE_NOACCESS: return PROT_NONE;
    case PAGE_READONLY: return PROT_READ;
    case PAGE_READWRITE: return PROT_READ | PROT_WRITE;
    default: return -1;
    }
}

// The pages that hold [address, address + size), when they lie inside one region (lock held).
bool InsideRegion(uintptr_t address, uintptr_t size, uintptr_t* first, uintptr_t* bytes) {
    const uintptr_t page = PageSize();
    if (size == 0 || address + size < address) return false;
    *first = address & ~(page - 1);
    const uintptr_t end = (address + size + page - 1) & ~(page - 1);
    auto it = Regions().upper_bound(*first);
    if (it == Regions().begin()) return false;
    --it;
    if (end > it->first + it->second) return false;
    *bytes = end - *first;
    return true;
}

LPVOID Fail(DWORD error) {
    SetLastError(error);
    return nullptr;
}

} // namespace

LPVOID VirtualAlloc(LPVOID address, SIZE_T size, DWORD type, DWORD protect) {
    const int protection = Protection(protect);
    if (protection < 0 || size == 0 || !(type & (MEM_COMMIT | MEM_RESERVE)) || (type & ~(MEM_COMMIT | MEM_RESERVE)))
        return Fail(ERROR_INVALID_PARAMETER);
    const uintptr_t page = PageSize();
    if (address) {
        // Committing pages of a reserved region.
        if (!(type & MEM_COMMIT) || (type & MEM_RESERVE)) return Fail(ERROR_INVALID_PARAMETER);
        std::lock_guard<std::mutex> lock(g_Lock);
        uintptr_t first = 0, bytes = 0;
        if (!InsideRegion(reinterpret_cast<uintptr_t>(address), size, &first, &bytes))
            return Fail(ERROR_INVALID_ADDRESS);
        if (mprotect(reinterpret_cast<void*>(first), bytes, protection) != 0) return Fail(ERROR_NOT_ENOUGH_MEMORY);
        return reinterpret_cast<LPVOID>(first);
    }
    // A new region (MEM_COMMIT alone reserves it too, as on Windows).
    if (size > UINTPTR_MAX - 2 * kGranularity) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    const uintptr_t bytes = (size + page - 1) & ~(page - 1);
    const uintptr_t mapped = bytes + kGranularity - page;
    const bool commit = (type & MEM_COMMIT) != 0;
    void* raw = mmap(nullptr, mapped, commit ? protection : PROT_NONE,
                     MAP_PRIVATE | MAP_ANONYMOUS | (commit ? 0 : MAP_NORESERVE), -1, 0);
    if (raw == MAP_FAILED) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    const uintptr_t start = reinterpret_cast<uintptr_t>(raw);
    const uintptr_t base = (start + kGranularity - 1) & ~(kGranularity - 1);
    if (base > start) munmap(raw, base - start);
    if (start + mapped > base + bytes) munmap(reinterpret_cast<void*>(base + bytes), start + mapped - (base + bytes));
    try {
        std::lock_guard<std::mutex> lock(g_Lock);
        Regions()[base] = bytes;
    } catch (...) {
        munmap(reinterpret_cast<void*>(base), bytes);
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    return reinterpret_cast<LPVOID>(base);
}

BOOL VirtualFree(LPVOID address, SIZE_T size, DWORD type) {
    const auto at = reinterpret_cast<uintptr_t>(address);
    std::lock_guard<std::mutex> lock(g_Lock);
    if (type == MEM_RELEASE) {
        auto it = Regions().find(at);
        if (size != 0 || it == Regions().end()) {
            SetLastError(it == Regions().end() ? ERROR_INVALID_ADDRESS : ERROR_INVALID_PARAMETER);
            return FALSE;
        }
        const uintptr_t bytes = it->second;
        Regions().erase(it); // before the pages go, so that a new region there is recorded anew
        munmap(address, bytes);
        return TRUE;
    }
    if (type != MEM_DECOMMIT) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    // Size 0 from a region's base decommits the whole region.
    uintptr_t first = 0, bytes = 0;
    auto whole = Regions().find(at);
    if (size == 0 && whole != Regions().end()) {
        first = at;
        bytes = whole->second;
    } else if (!InsideRegion(at, size, &first, &bytes)) {
        SetLastError(ERROR_INVALID_ADDRESS);
        return FALSE;
    }
    // Fresh inaccessible pages in place of the old ones: their memory goes back.
    if (mmap(reinterpret_cast<void*>(first), bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE,
             -1, 0) == MAP_FAILED) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    return TRUE;
}
