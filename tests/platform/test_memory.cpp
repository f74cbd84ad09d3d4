// Virtual memory: regions at 64 KB alignment that read as zeros, pages committed inside a
// reservation only, decommitted pages that read as zeros again once recommitted, and the
// parameters that VirtualAlloc and VirtualFree refuse.
#include "helpers.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr SIZE_T k64K = 64 * 1024;

bool AllZero(const void* p, size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(p);
    for (size_t i = 0; i < size; ++i)
        if (bytes[i]) return false;
    return true;
}

TEST(VirtualMemory, RegionsAreAlignedZeroedAndDistinct) {
    std::vector<char*> regions;
    for (SIZE_T size : {SIZE_T(1), k64K, k64K + 1, 5 * k64K + 100}) {
        auto* p = static_cast<char*>(VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        ASSERT_NE(p, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % k64K, 0u) << size;
        EXPECT_TRUE(AllZero(p, size)) << size;
        std::memset(p, 0x5A, size);
        regions.push_back(p);
    }
    for (size_t i = 1; i < regions.size(); ++i) EXPECT_NE(regions[i], regions[i - 1]);
    for (char* p : regions) EXPECT_EQ(p[0], 0x5A); // each kept its own bytes
    for (char* p : regions) EXPECT_TRUE(VirtualFree(p, 0, MEM_RELEASE));
}

TEST(VirtualMemory, CommitAndDecommitInsideAReservation) {
    auto* base = static_cast<char*>(VirtualAlloc(nullptr, 4 * k64K, MEM_RESERVE, PAGE_NOACCESS));
    ASSERT_NE(base, nullptr);
    char* middle = base + k64K;
    ASSERT_EQ(VirtualAlloc(middle, k64K, MEM_COMMIT, PAGE_READWRITE), middle);
    EXPECT_TRUE(AllZero(middle, k64K));
    std::memset(middle, 1, k64K);
    EXPECT_TRUE(VirtualFree(middle, k64K, MEM_DECOMMIT));
    ASSERT_EQ(VirtualAlloc(middle, k64K, MEM_COMMIT, PAGE_READWRITE), middle);
    EXPECT_TRUE(AllZero(middle, k64K)); // the old bytes went with the pages
    // Beyond the reservation, or inside it with a release that is not from its base.
    SetLastError(0);
    EXPECT_EQ(VirtualAlloc(base + 3 * k64K, 2 * k64K, MEM_COMMIT, PAGE_READWRITE), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_ADDRESS));
    EXPECT_FALSE(VirtualFree(middle, 0, MEM_RELEASE));
    EXPECT_FALSE(VirtualFree(base, k64K, MEM_RELEASE)); // a release takes size 0
    EXPECT_TRUE(VirtualFree(base, 0, MEM_RELEASE));
    EXPECT_FALSE(VirtualFree(base, 0, MEM_RELEASE)); // released already
}

TEST(VirtualMemory, RefusedParameters) {
    SetLastError(0);
    EXPECT_EQ(VirtualAlloc(nullptr, 0, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(VirtualAlloc(nullptr, k64K, MEM_RESERVE | MEM_COMMIT, 0), nullptr);
    EXPECT_EQ(VirtualAlloc(nullptr, k64K, MEM_RELEASE, PAGE_READWRITE), nullptr);
    EXPECT_EQ(VirtualAlloc(nullptr, SIZE_T(-1) - 4096, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE), nullptr);
    EXPECT_NE(GetLastError(), 0u);
}

} // namespace
