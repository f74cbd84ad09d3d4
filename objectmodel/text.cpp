#include "objectmodel/text.h"

#include <new>

#include "objectmodel/objectpool.h"

HRESULT NarrowToBSTR(std::string_view text, BSTR* result) {
    if (!result) return E_POINTER;
    if (text.size() > INT32_MAX) return E_OUTOFMEMORY; // no BSTR is that long
    const auto length = static_cast<UINT>(text.size());
    // Text in the ASCII range reads the same in every ANSI code page: it is widened while it
    // is copied, and only text with other characters goes through the code-page conversion.
    BSTR out = SysAllocStringLen(nullptr, length);
    if (!out) return E_OUTOFMEMORY;
    unsigned high = 0;
    for (UINT i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        high |= byte;
        out[i] = byte;
    }
    if (high >= 0x80) {
        SysFreeString(out);
        const int wide = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(length), nullptr, 0);
        if (wide <= 0) return E_OUTOFMEMORY;
        out = SysAllocStringLen(nullptr, static_cast<UINT>(wide));
        if (!out) return E_OUTOFMEMORY;
        MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(length), reinterpret_cast<LPWSTR>(out), wide);
    }
    *result = out;
    return S_OK;
}

HRESULT WideToBSTR(const OLECHAR* text, size_t length, BSTR* result) {
    if (!result) return E_POINTER;
    BSTR out = SysAllocStringLen(text, static_cast<UINT>(length));
    if (!out) return E_OUTOFMEMORY;
    *result = out;
    return S_OK;
}

void CCompactText::AssignSlow(std::string_view text) {
    if (text.size() > UINT32_MAX) throw std::bad_alloc();
    char* heap = nullptr;
    if (text.size() > kInline) {
        heap = static_cast<char*>(ObjectPool::Allocate(text.size()));
        if (!heap) throw std::bad_alloc();
        std::memcpy(heap, text.data(), text.size());
    }
    char inlineCopy[kInline];
    if (!heap && !text.empty()) std::memcpy(inlineCopy, text.data(), text.size()); // text may be in the old block
    FreeHeap();
    m_nLength = static_cast<uint32_t>(text.size());
    if (heap)
        std::memcpy(m_Bytes, &heap, sizeof heap);
    else if (!text.empty())
        std::memcpy(m_Bytes, inlineCopy, text.size());
}

void CCompactText::FreeHeapSlow() {
    char* heap;
    std::memcpy(&heap, m_Bytes, sizeof heap);
    ObjectPool::Free(heap, m_nLength);
    m_nLength = 0;
}
