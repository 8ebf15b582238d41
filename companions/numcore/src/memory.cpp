#include <numcore/memory.h>

#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace quorl::numcore {

#if defined(__linux__)

namespace {

constexpr std::size_t huge_page = std::size_t(2) << 20;

/// A block from the start of a huge page on. The system is asked to serve it in such pages, which are mapped and
/// cleared in a few hundred calls instead of a hundred thousand. The last, partial one stays in ordinary pages, so
/// no more memory is taken. Where the system declines, nothing but the speed changes.
void* allocate_large(std::size_t bytes) noexcept {
    void* block = nullptr;
    if (posix_memalign(&block, huge_page, bytes) != 0)
        return nullptr;
    (void)madvise(block, bytes / huge_page * huge_page, MADV_HUGEPAGE);
    return block;
}

} // namespace

void* __vector_num_alloc(std::size_t bytes) noexcept {
    return bytes >= 2 * huge_page ? allocate_large(bytes) : std::malloc(bytes);
}

#else

void* __vector_num_alloc(std::size_t bytes) noexcept {
    return std::malloc(bytes);
}

#endif

void __vector_num_free(void* block) noexcept {
    std::free(block);
}

} // namespace quorl::numcore
