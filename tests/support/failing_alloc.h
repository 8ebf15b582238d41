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

} // namespace test
