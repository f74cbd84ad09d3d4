// The two containers of the parse tree. Neither owns its elements.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "parsetree/object.h"

// An ordered, growable, contiguous array of pointers in insertion order.
template <class T> class CObArrayTempl : public CObject {
public:
    void Add(T p) { m_Items.push_back(p); }
    size_t GetSize() const { return m_Items.size(); }
    T GetAt(size_t i) const { return m_Items[i]; }
    void SetAt(size_t i, T p) { m_Items[i] = p; }
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
// stored under a key stays.
template <class T> class CMapStringToObjectPtrTempl : public CObject {
public:
    void SetAt(const std::string& key, T value) { m_Map.emplace(key, value); }
    T Lookup(const std::string& key) const {
        auto it = m_Map.find(key);
        return it == m_Map.end() ? nullptr : it->second;
    }
    void RemoveAll() { m_Map.clear(); }
    size_t GetCount() const { return m_Map.size(); }
    const std::map<std::string, T>& Entries() const { return m_Map; }

private:
    // std::string compares its bytes as unsigned char, and a shorter prefix first.
    std::map<std::string, T> m_Map;
};
