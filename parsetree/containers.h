// The two containers of the parse tree. Neither owns its elements.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "parsetree/object.h"

// An ordered, growable, contiguous array of pointers in insertion order.
template <class T> class CObArrayTempl : public CObject {
public:
    void Add(T p) { m_Items.push_back(p); }
    size_t GetSize() const { return m_Items.size(); }
    T GetAt(size_t i) const { return m_Items[i]; }
    // Empties the array; storage grown by a huge parse is given back.
    void RemoveAll() {
        m_Items.clear();
        if (m_Items.capacity() > kKeptCapacity) std::vector<T>().swap(m_Items);
    }

private:
    static constexpr size_t kKeptCapacity = 1 << 16;
    std::vector<T> m_Items;
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
