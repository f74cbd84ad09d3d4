// A bump allocator for the tokens, token texts and nodes of one parse. Reset keeps blocks
// up to a fixed total, so a parser that handles statement after statement allocates
// nothing in steady state, while the memory of a huge statement is given back. Rewind
// keeps every block, for a parse tree that decides what to give back once it knows the
// length of the next statement (Trim): huge statements in a row then reuse memory that is
// already mapped instead of faulting fresh pages in.
#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <vector>

class CArena {
public:
    CArena() = default;
    CArena(const CArena&) = delete;
    CArena& operator=(const CArena&) = delete;
    ~CArena() {
        for (const Block& b : m_Blocks) ::operator delete(b.data);
    }

    // Memory for an object of size bytes, aligned for pointers. Throws std::bad_alloc
    // when no memory is left.
    void* Allocate(size_t size) {
        size = (size + kAlign - 1) & ~(kAlign - 1);
        if (size > m_nLeft) NextBlock(size);
        void* p = m_pFree;
        m_pFree += size;
        m_nLeft -= size;
        return p;
    }

    // Frees every allocation at once; blocks beyond the kept total go back to the heap.
    void Reset() {
        Rewind();
        Trim(0);
    }

    // Frees every allocation at once and keeps every block.
    void Rewind() {
        m_nCurrent = 0;
        m_pFree = m_Blocks.empty() ? nullptr : m_Blocks[0].data;
        m_nLeft = m_Blocks.empty() ? 0 : m_Blocks[0].size;
    }

    // After a Rewind (nothing allocated since): gives back the blocks beyond keep bytes in
    // all, or beyond the kept total when that is larger.
    void Trim(size_t keep) {
        if (keep < kKeptBytes) keep = kKeptBytes;
        size_t kept = 0, n = 0;
        while (n < m_Blocks.size() && kept + m_Blocks[n].size <= keep) kept += m_Blocks[n++].size;
        for (size_t i = n; i < m_Blocks.size(); ++i) ::operator delete(m_Blocks[i].data);
        m_Blocks.resize(n);
        Rewind();
    }

    // Bytes in blocks handed out since the last Rewind, the current block counted whole.
    size_t BytesInUse() const {
        size_t bytes = 0;
        for (size_t i = 0; i < m_Blocks.size() && i <= m_nCurrent; ++i) bytes += m_Blocks[i].size;
        return bytes;
    }

    size_t BlockCount() const { return m_Blocks.size(); }

private:
    static constexpr size_t kAlign = alignof(void*);
    static constexpr size_t kFirstBlock = 64 * 1024;
    static constexpr size_t kLargestBlock = 1024 * 1024;
    static constexpr size_t kKeptBytes = 2 * 1024 * 1024;

    struct Block {
        char* data;
        size_t size;
    };

    // Moves on to the next kept block that has room, or adds a block; blocks grow twofold
    // up to kLargestBlock (more for a single larger request).
    [[gnu::noinline]] void NextBlock(size_t atLeast) {
        while (m_nCurrent + 1 < m_Blocks.size()) {
            const Block& b = m_Blocks[++m_nCurrent];
            if (b.size >= atLeast) {
                m_pFree = b.data;
                m_nLeft = b.size;
                return;
            }
        }
        size_t size = m_Blocks.empty() ? kFirstBlock : m_Blocks.back().size * 2;
        if (size > kLargestBlock) size = kLargestBlock;
        if (size < atLeast) size = atLeast;
        m_Blocks.reserve(m_Blocks.size() + 1);
        char* data = static_cast<char*>(::operator new(size));
        m_Blocks.push_back({data, size});
        m_nCurrent = m_Blocks.size() - 1;
        m_pFree = data;
        m_nLeft = size;
    }

    std::vector<Block> m_Blocks;
    size_t m_nCurrent = 0; // the block m_pFree points into
    char* m_pFree = nullptr;
    size_t m_nLeft = 0;
};
