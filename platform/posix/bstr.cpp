// BSTR functions of the native build. Layout as on Windows: a 32-bit byte count stored
// just before the characters, and a 16-bit NUL after them.
#include "platform/platform.h"

#include <cstdlib>
#include <cstring>

namespace {

BSTR AllocBytes(const void* source, UINT byteLength) {
    // Room for the prefix, the bytes and a two-byte terminator (three for odd lengths).
    size_t total = sizeof(uint32_t) + size_t(byteLength) + sizeof(OLECHAR) + 1;
    char* block = static_cast<char*>(std::malloc(total));
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
    if (text) std::free(reinterpret_cast<char*>(text) - sizeof(uint32_t));
}
