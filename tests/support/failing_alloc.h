#pragma once

#include <cstddef>

// Lets chosen allocations fail. failing_alloc.cpp puts its own functions in the place of malloc and its family and of
// all forms of `operator new`, for the whole program. Under a sanitizer, which has a malloc of its own, it replaces the
// library's raw allocation instead of malloc; so it does where SPARE_MALLOC is defined, for tests of a library that
// calls others. A program that uses it must link the shared library.
//
// Between the call that chooses and `stop_failing` a test does nothing but call the library, since its own allocations
// count as well.
namespace test {

/// Makes the k-th allocation from now on fail (k from 1), and all others succeed.
void fail_allocation(std::size_t k);

/// Makes the k-th allocation from now on and all behind it fail.
void fail_allocations_from(std::size_t k);

/// Makes all allocations succeed again. Number of those that failed.
std::size_t stop_failing();

/// Blocks that are in use now, those of the test program included (under a sanitizer: those of arrays and of
/// `operator new`).
std::size_t live_blocks();

} // namespace test
