// Lack of memory anywhere in a parse or build: ParseSQL answers E_OUTOFMEMORY, leaves the
// parser empty and leaks nothing. Every allocation through operator new is failed in turn,
// from the first one on, until the statement parses.
#include <gtest/gtest.h>

#include "builder/parser.h"
#include "objectmodel/module.h"
#include "objectmodel/objectpool.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <new>

namespace {

std::atomic<long> g_Countdown{-1}; // allocations left before one fails; -1: never fail

bool ShouldFail() {
    long left = g_Countdown.load(std::memory_order_relaxed);
    if (left < 0) return false;
    if (left == 0) return true;
    g_Countdown.store(left - 1, std::memory_order_relaxed);
    return false;
}

} // namespace

// The replacement allocation functions pair malloc with free by design.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
    if (ShouldFail()) throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (ShouldFail()) return nullptr;
    return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

#pragma GCC diagnostic pop

namespace {

TEST(OutOfMemory, EveryFailedAllocationGivesEOutOfMemoryAndLeavesNothing) {
    const char* const statements[] = {
        "SELECT TOP 5 a, b + 1 AS c, COUNT(DISTINCT d) FROM t x JOIN u ON x.k = u.k LEFT JOIN v USING (k, l) "
        "WHERE a IN (1, 2) AND b BETWEEN 1 AND 2 OR CASE WHEN a = 1 THEN 2 ELSE 3 END = 2 "
        "GROUP BY a HAVING COUNT(*) > 1 ORDER BY a DESC LIMIT 3, 4",
        "SELECT a FROM t UNION ALL SELECT b FROM u EXCEPT SELECT c FROM v",
        "UPDATE t SET a = 1, b = COALESCE(b, 2) WHERE c = 3",
        "INSERT INTO t (a, b) VALUES (1, 'x')",
        // names and values too long to be kept inside their objects
        "UPDATE a_long_table_name SET a_long_column_name = 'a long string value' WHERE t.b_long_column_name = 1",
        "CREATE TABLE t (a CHAR(10), b INTEGER)",
        "SELECT a b FROM t", // a rejected statement: the report must survive too
        // an expression long enough for its items to gather before they go to the stack
        "SELECT a FROM t WHERE a IN (1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20)",
    };
    for (const char* sql : statements) {
        bool succeeded = false;
        long failures = 0;
        std::basic_string<OLECHAR> wide(sql, sql + std::strlen(sql));
        BSTR text = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
        for (long n = 0; !succeeded && n < 100000; ++n) {
            // Blocks of the object pool would serve objects without reaching operator new:
            // every piece takes a block of its own, so that every allocation can fail.
            ObjectPool::SetBlockPerPiece(true);
            cParser* parser = nullptr;
            ASSERT_EQ(cParser::CreateInstance(&parser), S_OK);
            parser->AddRef();
            g_Countdown = n;
            const HRESULT hr = parser->ParseSQL(text);
            g_Countdown = -1;
            STATEMENT_TYPE type = STATEMENT_TYPE_SELECT;
            parser->get_StatementType(&type);
            if (hr == E_OUTOFMEMORY) {
                ++failures;
                EXPECT_EQ(type, STATEMENT_TYPE_UNKNOWN) << sql << " at allocation " << n;
            } else {
                EXPECT_TRUE(hr == S_OK || hr == DISP_E_EXCEPTION) << std::hex << hr;
                succeeded = true;
            }
            parser->Release();
            ObjectPool::SetBlockPerPiece(false);
            ASSERT_EQ(CModule::LiveObjects(), 0) << sql << " leaked at allocation " << n;
        }
        SysFreeString(text);
        EXPECT_TRUE(succeeded) << sql;
        EXPECT_GT(failures, 10) << sql; // the injection did reach the parse and the build
    }
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) == S_OK) info->Release();
}

} // namespace
