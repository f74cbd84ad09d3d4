// The two containers of the parse tree. Neither owns its elements.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "parsetree/object.h"

// An ordered, growable, contiguous array of pointers in insertion order. Add is the parse's
// hot path: its growth is kept out of line so that the common case stays a store and an
// increment.
template <class T> class CObArrayTempl : public CObject {
public:
    CObArrayTempl() = default;
    ~CObArrayTempl() override { ::operator delete(m_pData); }

    void Add(T p) {
        if (m_pEnd == m_pLimit) Grow(GetSize() + 1);
        *m_pEnd++ = p;
    }
    size_t GetSize() const { return static_cast<size_t>(m_pEnd - m_pData); }
    T GetAt(size_t i) const { return m_pData[i]; }
    // Room for n elements in all, so that adding up to n moves nothing. A capacity of a
    // few hundred kilobytes and more is mapped on first touch, so a reserve that a parse
    // does not fill costs address space rather than memory. Throws std::bad_alloc.
    void Reserve(size_t n) {
        if (n > Capacity()) Reallocate(n);
    }
    size_t Capacity() const { return static_cast<size_t>(m_pLimit - m_pData); }
    // Empties the array and keeps its storage.
    void RemoveAll() { m_pEnd = m_pData; }
    // Gives the storage of an empty array back when it is larger than a statement of
    // ordinary size needs.
    void Trim() {
        if (m_pEnd != m_pData || Capacity() <= kKeptCapacity) return;
        ::operator delete(m_pData);
        m_pData = m_pEnd = m_pLimit = nullptr;
    }

private:
    static constexpr size_t kKeptCapacity = 1 << 16;

    [[gnu::noinline]] void Grow(size_t needed) {
        const size_t capacity = Capacity();
        Reallocate(std::max(needed, capacity < 64 ? size_t(64) : capacity * 2));
    }
    void Reallocate(size_t capacity) {
        if (capacity > SIZE_MAX / sizeof(T)) throw std::bad_alloc();
        T* data = static_cast<T*>(::operator new(capacity * sizeof(T)));
        const size_t size = GetSize();
        if (size) std::memcpy(data, m_pData, size * sizeof(T));
        ::operator delete(m_pData);
        m_pData = data;
        m_pEnd = data + size;
        m_pLimit = data + capacity;
    }

    T* m_pData = nullptr;
    T* m_pEnd = nullptr;
    T* m_pLimit = nullptr;
};

// A map from narrow-string keys to pointers, in byte-wise key order; the first value
// stored under a key stays. A statement names a handful of nodes, so the entries are a
// sorted vector, whose storage a tree reuses from statement to statement.
template <class T> class CMapStringToObjectPtrTempl : public CObject {
public:
    using Entry = std::pair<std::string, T>;

    void SetAt(std::string_view key, T value) {
        auto it = LowerBound(key);
        if (it != m_Entries.end() && it->first == key) return;
        m_Entries.emplace(it, std::string(key), value);
    }
    T Lookup(std::string_view key) const {
        auto it = LowerBound(key);
        return it != m_Entries.end() && it->first == key ? it->second : nullptr;
    }
    void RemoveAll() { m_Entries.clear(); }
    size_t GetCount() const { return m_Entries.size(); }
    const std::vector<Entry>& Entries() const { return m_Entries; }

private:
    // std::string_view compares its bytes as unsigned char, and a shorter prefix first.
    typename std::vector<Entry>::const_iterator LowerBound(std::string_view key) const {
        return std::lower_bound(m_Entries.begin(), m_Entries.end(), key,
                                [](const Entry& e, std::string_view k) { return std::string_view(e.first) < k; });
    }
    typename std::vector<Entry>::iterator LowerBound(std::string_view key) {
        return std::lower_bound(m_Entries.begin(), m_Entries.end(), key,
                                [](const Entry& e, std::string_view k) { return std::string_view(e.first) < k; });
    }

    std::vector<Entry> m_Entries;
};
