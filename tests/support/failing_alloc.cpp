#include "support/failing_alloc.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <new>

#include <numcore/memory.h>

#if defined(SPARE_MALLOC)
// as the test asks
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SPARE_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define SPARE_MALLOC 1
#endif
#endif

#ifndef SPARE_MALLOC
extern "C" { // glibc's own functions, by the names that stay when malloc is replaced
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* block);
}
#endif

namespace {

constexpr std::size_t never = std::numeric_limits<std::size_t>::max();

std::size_t asked = 0; // since failures were chosen
std::size_t first_failure = never;
std::size_t last_failure = 0;
std::size_t failed = 0;
std::size_t live = 0;

void choose(std::size_t first, std::size_t last) {
    asked = 0;
    failed = 0;
    first_failure = first;
    last_failure = last;
}

bool this_one_fails() {
    if (++asked < first_failure || asked > last_failure)
        return false;
    ++failed;
    return true;
}

/// The block of an allocation that is to succeed, counted.
void* counted(void* block) {
    live += block != nullptr;
    return block;
}

#ifdef SPARE_MALLOC
void* plain_block(std::size_t bytes) {
    return std::malloc(bytes);
}

void* aligned_block(std::size_t alignment, std::size_t bytes) {
    return std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
}

void give_back(void* block) {
    std::free(block);
}
#else
void* plain_block(std::size_t bytes) {
    return __libc_malloc(bytes);
}

void* aligned_block(std::size_t alignment, std::size_t bytes) {
    return __libc_memalign(alignment, bytes);
}

void give_back(void* block) {
    __libc_free(block);
}
#endif

void* allocate(std::size_t bytes) {
    return this_one_fails() ? nullptr : counted(plain_block(bytes));
}

void* allocate(std::size_t alignment, std::size_t bytes) {
    return this_one_fails() ? nullptr : counted(aligned_block(alignment, bytes));
}

void release(void* block) {
    live -= block != nullptr;
    give_back(block);
}

void* or_throw(void* block) {
    if (!block)
        throw std::bad_alloc();
    return block;
}

} // namespace

namespace test {

void fail_allocation(std::size_t k) {
    choose(k, k);
}

void fail_allocations_from(std::size_t k) {
    choose(k, never);
}

std::size_t stop_failing() {
    first_failure = never;
    last_failure = 0;
    return failed;
}

std::size_t live_blocks() {
    return live;
}

} // namespace test

#ifdef SPARE_MALLOC

namespace quorl::numcore {

void* __vector_num_alloc(std::size_t bytes) noexcept {
    return allocate(bytes);
}

void __vector_num_free(void* block) noexcept {
    release(block);
}

} // namespace quorl::numcore

#else

extern "C" {

void* malloc(std::size_t bytes) noexcept {
    return allocate(bytes);
}

void* calloc(std::size_t count, std::size_t bytes) noexcept {
    return this_one_fails() ? nullptr : counted(__libc_calloc(count, bytes));
}

void* realloc(void* block, std::size_t bytes) noexcept {
    if (!block)
        return allocate(bytes);
    if (bytes == 0) {
        release(block);
        return nullptr;
    }
    return this_one_fails() ? nullptr : __libc_realloc(block, bytes);
}

void* memalign(std::size_t alignment, std::size_t bytes) noexcept {
    return allocate(alignment, bytes);
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
    return allocate(alignment, bytes);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept {
    *block = allocate(alignment, bytes);
    return *block ? 0 : ENOMEM;
}

void free(void* block) noexcept {
    release(block);
}

} // extern "C"

#endif

void* operator new(std::size_t bytes) {
    return or_throw(allocate(bytes));
}

void* operator new[](std::size_t bytes) {
    return or_throw(allocate(bytes));
}

void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return allocate(bytes);
}

void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return allocate(bytes);
}

void* operator new(std::size_t bytes, std::align_val_t alignment) {
    return or_throw(allocate(std::size_t(alignment), bytes));
}

void* operator new[](std::size_t bytes, std::align_val_t alignment) {
    return or_throw(allocate(std::size_t(alignment), bytes));
}

void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(std::size_t(alignment), bytes);
}

void* operator new[](std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(std::size_t(alignment), bytes);
}

void operator delete(void* block) noexcept {
    release(block);
}

void operator delete[](void* block) noexcept {
    release(block);
}

void operator delete(void* block, std::size_t) noexcept {
    release(block);
}

void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}

void operator delete(void* block, std::align_val_t) noexcept {
    release(block);
}

void operator delete[](void* block, std::align_val_t) noexcept {
    release(block);
}

void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    release(block);
}

void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
