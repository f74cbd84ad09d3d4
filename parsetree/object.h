// Root class of the parse-tree classes.
#pragma once

#include <atomic>
#include <cstdint>

class CObject {
public:
    CObject() = default;
    CObject(const CObject&) = delete;
    CObject& operator=(const CObject&) = delete;
    virtual ~CObject() = default;

    // Raised once, atomically, when the tree adopts a token or node; nothing reads it
    // and ownership never depends on it.
    std::atomic<int32_t> m_nRefCount{0};
};
