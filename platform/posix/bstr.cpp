// BSTR functions of the native build. Layout as on Windows: a 32-bit byte count stored
// just before the characters, and a 16-bit NUL after them.
#include "platform/platform.h"

#include <cstdlib>
#include <cstring>

namespace {

// A host reads texts by the thousand and frees each soon after, so freed strings of up to
// kCachedBytes are kept per thread for the next ones of their size, as the system's own
// BSTR functions do: blocks come in classes of kClassBytes, a class keeps up to kPerClass
// blocks, and what a thread keeps goes back to the heap when it ends. Under
// AddressSanitizer nothing is kept, so that a string used after it was freed is found.
#if defined(__SANITIZE_ADDRESS__)
#define TARVOLIN_BSTR_CACHE 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARVOLIN_BSTR_CACHE 0
#endif
#endif
#ifndef TARVOLIN_BSTR_CACHE
#define TARVOLIN_BSTR_CACHE 1
#endif

constexpr size_t kClassBytes = 16;
constexpr size_t kClasses = 8;
constexpr size_t kCachedBytes = kClasses * kClassBytes;
constexpr uint32_t kPerClass = 16;

// The bytes of a string's block: the prefix, the characters and a two-byte terminator
// (three for odd lengths).
size_t BlockBytes(UINT byteLength) { return sizeof(uint32_t) + size_t(byteLength) + sizeof(OLECHAR) + 1; }

// Trivially constructed and destroyed, so that reaching it costs no check; the thread-end
// work is armed when the first block is kept.
struct ThreadCache {
    void* blocks[kClasses][kPerClass];
    uint32_t counts[kClasses];
    bool armed;  // the thread-end release is registered
    bool closed; // the thread is ending: nothing is kept any more
};

thread_local ThreadCache t_Cache{};

struct ThreadCacheRelease {
    void Arm() {}
    ~ThreadCacheRelease() {
        ThreadCache& cache = t_Cache;
        cache.closed = true;
        for (size_t c = 0; c < kClasses; ++c)
            while (cache.counts[c]) std::free(cache.blocks[c][--cache.counts[c]]);
    }
};

thread_local ThreadCacheRelease t_CacheRelease;

// A block for a string of byteLength bytes; blocks of the cached sizes are made whole
// classes, so that any block of a class fits every string of it.
char* NewBlock(UINT byteLength) {
    const size_t bytes = BlockBytes(byteLength);
    if (!TARVOLIN_BSTR_CACHE || bytes > kCachedBytes) return static_cast<char*>(std::malloc(bytes));
    const size_t c = (bytes - 1) / kClassBytes;
    ThreadCache& cache = t_Cache;
    if (cache.counts[c]) return static_cast<char*>(cache.blocks[c][--cache.counts[c]]);
    return static_cast<char*>(std::malloc((c + 1) * kClassBytes));
}

void FreeBlock(char* block, UINT byteLength) {
    const size_t bytes = BlockBytes(byteLength);
    if (TARVOLIN_BSTR_CACHE && bytes <= kCachedBytes) {
        const size_t c = (bytes - 1) / kClassBytes;
        ThreadCache& cache = t_Cache;
        if (!cache.armed && !cache.closed) {
            t_CacheRelease.Arm();
            cache.armed = true;
        }
        if (!cache.closed && cache.counts[c] < kPerClass) {
            cache.blocks[c][cache.counts[c]++] = block;
            return;
        }
    }
    std::free(block);
}

BSTR AllocBytes(const void* source, UINT byteLength) {
    char* block = NewBlock(byteLength);
    if (!block) return nullptr;
    uint32_t prefix = byteLength;
    std::memcpy(block, &prefix, sizeof prefix);
    char* data = block + sizeof(uint32_t);
    // Without a source the characters are left for the caller to write, as on Windows.
    if (source) std::memcpy(data, source, byteLength);
    std::memset(data + byteLength, 0, sizeof(OLECHAR) + 1);
    return reinterpret_cast<BSTR>(data);
}

} // namespace

BSTR SysAllocString(const OLECHAR* text) {
    if (!text) return nullptr;
    UINT n = 0;
    while (text[n]) ++n;
    return SysAllocStringLen(text, n);
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
    if (length > 0x7FFFFFF0u / sizeof(OLECHAR)) return nullptr;
    return AllocBytes(text, length * UINT(sizeof(OLECHAR)));
}

BSTR SysAllocStringByteLen(LPCSTR bytes, UINT byteLength) {
    if (byteLength > 0x7FFFFFF0u) return nullptr;
    return AllocBytes(bytes, byteLength);
}

UINT SysStringByteLen(BSTR text) {
    if (!text) return 0;
    uint32_t prefix;
    std::memcpy(&prefix, reinterpret_cast<char*>(text) - sizeof(uint32_t), sizeof prefix);
    return prefix;
}

UINT SysStringLen(BSTR text) { return SysStringByteLen(text) / UINT(sizeof(OLECHAR)); }

void SysFreeString(BSTR text) {
    if (text) FreeBlock(reinterpret_cast<char*>(text) - sizeof(uint32_t), SysStringByteLen(text));
}
