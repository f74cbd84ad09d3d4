// Thread-local variables as the component uses them (in the Windows build through the lookup
// of windows/emutls.cpp): more variables than a thread's first list of them holds, read
// first in an order that makes it grow, each with its initial value on every thread, its
// alignment, and values that stay apart between threads and across the thread's end.
#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <utility>

namespace {

template <int N> thread_local long t_Value = 1000 + N;
struct alignas(64) Aligned {
    char bytes[64] = {'a'};
};
thread_local Aligned t_Aligned;

constexpr int kVariables = 48;

// Each variable read, checked against its initial value, then set to base + its number.
template <int... N> bool ReadAndSet(long base, std::integer_sequence<int, N...>) {
    bool initial = true;
    ((initial &= t_Value<kVariables - 1 - N> == 1000 + kVariables - 1 - N), ...);
    ((t_Value<N> = base + N), ...);
    return initial;
}
template <int... N> bool Holds(long base, std::integer_sequence<int, N...>) {
    return ((t_Value<N> == base + N) && ...);
}

TEST(ThreadLocal, EveryThreadHasItsOwnVariablesWithTheirInitialValues) {
    const auto all = std::make_integer_sequence<int, kVariables>();
    EXPECT_EQ(t_Value<0>, 1000); // numbered first, so that the others make the list grow
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&t_Aligned) % 64, 0u);
    EXPECT_EQ(t_Aligned.bytes[0], 'a');
    EXPECT_TRUE(ReadAndSet(0, all));
    for (int round = 1; round <= 3; ++round) {
        bool initial = false, own = false, aligned = false;
        std::thread other([&] {
            initial = ReadAndSet(round * 100, all);
            aligned = reinterpret_cast<uintptr_t>(&t_Aligned) % 64 == 0 && t_Aligned.bytes[0] == 'a';
            own = Holds(round * 100, all);
        });
        other.join();
        EXPECT_TRUE(initial) << round; // a new thread starts from the initial values
        EXPECT_TRUE(aligned) << round;
        EXPECT_TRUE(own) << round;
        EXPECT_TRUE(Holds(0, all)) << round; // and leaves this thread's alone
    }
}

} // namespace
