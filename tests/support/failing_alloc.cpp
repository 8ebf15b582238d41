#include "support/failing_alloc.h"

#include <cstdlib>
#include <new>

#include <numcore/memory.h>

namespace {

std::size_t countdown = 0; // 0: nothing fails
bool reached = false;
std::size_t live = 0;

bool this_one_fails() {
    if (countdown == 0 || --countdown != 0)
        return false;
    reached = true;
    return true;
}

} // namespace

namespace test {

void fail_allocation(std::size_t k) {
    countdown = k;
    reached = false;
}

bool stop_failing() {
    countdown = 0;
    return reached;
}

std::size_t live_blocks() {
    return live;
}

} // namespace test

namespace quorl::numcore {

void* __vector_num_alloc(std::size_t bytes) noexcept {
    void* const block = this_one_fails() ? nullptr : std::malloc(bytes);
    live += block != nullptr;
    return block;
}

void __vector_num_free(void* block) noexcept {
    live -= block != nullptr;
    std::free(block);
}

} // namespace quorl::numcore

void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return this_one_fails() ? nullptr : std::malloc(bytes);
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

void* operator new(std::size_t bytes) {
    if (void* const block = std::malloc(bytes))
        return block;
    throw std::bad_alloc();
}
