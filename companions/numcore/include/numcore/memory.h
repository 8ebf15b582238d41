#pragma once

#include <cstddef>
#include <cstdint>

#include <numcore/export.h>

namespace quorl::numcore {

/// Gives a raw block of at least `bytes` bytes, aligned to 16, or null when there is no memory.
/// The block comes from the C runtime, so an allocator put in malloc's place serves the arrays too. On Linux a block of
/// 4 MiB or more is aligned to huge pages and asks for them, which makes the first writing several times as fast.
MELDRA3D_API void* __vector_num_alloc(std::size_t bytes) noexcept;

/// Gives a block of `__vector_num_alloc` back; null is accepted.
MELDRA3D_API void __vector_num_free(void* block) noexcept;

/// Number of bytes of `count` x `each` elements of `size` bytes (size > 0) in `bytes`;
/// false when that is more than an allocation can ever give.
constexpr bool __byte_count(std::size_t count, std::size_t each, std::size_t size, std::size_t& bytes) noexcept {
    constexpr std::size_t limit = PTRDIFF_MAX - 64; // room for the alignment of a block
    if (count != 0 && each > limit / size / count)
        return false;
    bytes = count * each * size;
    return true;
}

} // namespace quorl::numcore
