// Narrow text (ANSI code page) to and from automation strings, and the compact form in which
// the objects of a statement keep their names and values.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/platform.h"

// *result = a new BSTR holding text converted with the thread's ANSI code page; an empty
// text gives an empty BSTR. E_POINTER for a null result, E_OUTOFMEMORY when allocation
// fails (nothing is written then).
HRESULT NarrowToBSTR(std::string_view text, BSTR* result);

// The same for a UTF-16 text that is already wide.
HRESULT WideToBSTR(const OLECHAR* text, size_t length, BSTR* result);

// A narrow text of an object of the model in 16 bytes: up to kInline bytes inside the
// object itself (most names and numbers), a longer text in one block of the object pool.
// The text is not NUL-terminated.
class CCompactText {
public:
    static constexpr size_t kInline = 12;

    CCompactText() = default;
    CCompactText(const CCompactText&) = delete;
    CCompactText& operator=(const CCompactText&) = delete;
    ~CCompactText() { FreeHeap(); }

    std::string_view View() const { return std::string_view(Data(), m_nLength); }
    bool Empty() const { return m_nLength == 0; }

    // Replaces the text (text may be a view of this one). Throws std::bad_alloc when a
    // long text finds no memory; the old text stays then.
    void Assign(std::string_view text) {
        if (text.size() <= kInline && !IsHeap()) {
            if (!text.empty()) std::memmove(m_Bytes, text.data(), text.size());
            m_nLength = static_cast<uint32_t>(text.size());
            return;
        }
        AssignSlow(text);
    }

private:
    bool IsHeap() const { return m_nLength > kInline; }
    const char* Data() const {
        if (!IsHeap()) return m_Bytes;
        const char* heap;
        std::memcpy(&heap, m_Bytes, sizeof heap);
        return heap;
    }
    void AssignSlow(std::string_view text);
    void FreeHeap() {
        if (IsHeap()) FreeHeapSlow();
    }
    void FreeHeapSlow();

    // The text itself, or (for a text longer than kInline) the address of its block.
    char m_Bytes[kInline];
    uint32_t m_nLength = 0;
};
