#pragma once

#include <cstddef>

// Lets chosen allocations of the library fail. failing_alloc.cpp puts its own functions in the place of the library's
// raw allocation and of `operator new(std::nothrow)`, so a program that uses it must link the shared library.
namespace test {

/// Makes the k-th allocation from now on fail (k from 1), and all others succeed.
void fail_allocation(std::size_t k);

/// Makes all allocations succeed again. True when the chosen one was reached.
bool stop_failing();

/// Blocks that the library holds now.
std::size_t live_blocks();

/// Runs `attempt` with its first, second, ... allocation failing until one run gets by without a failure.
/// `attempt(failed)` is called inside; `after(failed)` behind each run. Returns the number of failures injected.
template <class Attempt, class After>
std::size_t for_each_failing_allocation(Attempt attempt, After after) {
    for (std::size_t k = 1;; ++k) {
        fail_allocation(k);
        attempt();
        const bool failed = stop_failing();
        after(failed);
        if (!failed)
            return k - 1;
    }
}

} // namespace test
