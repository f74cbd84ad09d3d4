// A bump allocator for the tokens and nodes of one parse. Reset keeps the first block, so
// a parser that handles statement after statement allocates nothing in steady state.
#pragma once

#include <cstddef>
#include <new>
#include <vector>

class CArena {
public:
    CArena() = default;
    CArena(const CArena&) = delete;
    CArena& operator=(const CArena&) = delete;
    ~CArena() {
        for (char* b : m_Blocks) ::operator delete(b);
    }

    // Throws std::bad_alloc when no memory is left.
    void* Allocate(size_t size) {
        size = (size + kAlign - 1) & ~(kAlign - 1);
        if (size > m_nLeft) NewBlock(size);
        void* p = m_pFree;
        m_pFree += size;
        m_nLeft -= size;
        return p;
    }

    void Reset() {
        for (size_t i = 1; i < m_Blocks.size(); ++i) ::operator delete(m_Blocks[i]);
        if (m_Blocks.size() > 1) m_Blocks.resize(1);
        m_pFree = m_Blocks.empty() ? nullptr : m_Blocks[0];
        m_nLeft = m_Blocks.empty() ? 0 : kBlockSize;
    }

private:
    static constexpr size_t kAlign = alignof(std::max_align_t);
    static constexpr size_t kBlockSize = 64 * 1024;

    void NewBlock(size_t atLeast) {
        size_t size = atLeast > kBlockSize ? atLeast : kBlockSize;
        m_Blocks.reserve(m_Blocks.size() + 1);
        char* b = static_cast<char*>(::operator new(size));
        m_Blocks.push_back(b);
        m_pFree = b;
        m_nLeft = size;
    }

    std::vector<char*> m_Blocks;
    char* m_pFree = nullptr;
    size_t m_nLeft = 0;
};
