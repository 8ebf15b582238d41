#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include <numcore/memory.h>
#include <numcore/ref_counted.h>

namespace quorl {

/// The storage block behind every array: `capacity` elements of T from `data` on, shared by reference counting.
/// The data pointer of a block of its own is aligned to 16 bytes. T is copied as bytes.
/// The second parameter is a tag of the family of arrays and has no effect.
template <class T, unsigned N = 8>
class vector_num : public numcore::ref_counted {
    static_assert(std::is_trivially_copyable<T>::value, "elements are moved as bytes");
    static_assert(alignof(T) <= 16, "blocks are aligned to 16 bytes");

public:
    /// Alignment shift that marks a block whose memory the storage does not own and never frees.
    static constexpr std::uint16_t not_owned = 65535;

    vector_num() noexcept = default;
    ~vector_num() override { __free(); }

    T* data() const noexcept { return data_; }
    std::size_t capacity() const noexcept { return static_cast<std::size_t>(capacity_); }
    std::uint16_t shift() const noexcept { return shift_; }
    bool __owned() const noexcept { return shift_ != not_owned; }

    /// Moves the elements to a larger block: at least `capacity`, 2 and `factor` times the present capacity.
    /// The first `keep` elements, as far as there are so many and room for them, are copied; the others are
    /// unspecified, or T's `__empty()` where T has one. Returns false, with everything as it was, when there is no
    /// memory or a size does not fit.
    bool __grow(std::size_t capacity, std::size_t keep, std::size_t factor) noexcept;

    /// Lays the block over `n` elements of memory that it does not own.
    void __lay_over(T* data, std::size_t n) noexcept {
        __free();
        data_ = data;
        capacity_ = n;
        shift_ = not_owned;
    }

    /// Frees the memory (if owned) and leaves the block without any.
    void __free() noexcept {
        if (data_ && __owned())
            numcore::__vector_num_free(reinterpret_cast<char*>(data_) - shift_);
        data_ = nullptr;
        capacity_ = 0;
        shift_ = 0;
    }

private:
    template <class U, class = void>
    struct has_empty : std::false_type {};
    template <class U>
    struct has_empty<U, decltype(static_cast<void>(U::__empty()))> : std::true_type {};

    T* data_ = nullptr;
    std::uint64_t capacity_ = 0;
    std::uint16_t shift_ = 0;
};

template <class T, unsigned N>
bool vector_num<T, N>::__grow(std::size_t capacity, std::size_t keep, std::size_t factor) noexcept {
    constexpr std::size_t alignment = 16;
    const std::size_t old = this->capacity();
    if (factor != 0 && old > std::numeric_limits<std::size_t>::max() / factor)
        return false;
    const std::size_t wanted = std::max<std::size_t>({old * factor, 2, capacity});
    std::size_t bytes = 0;
    if (!numcore::__byte_count(wanted, 1, sizeof(T), bytes))
        return false;
    bytes += alignment - 1;
    char* block = static_cast<char*>(numcore::__vector_num_alloc(bytes));
    if (!block)
        return false;

    const std::size_t misfit = reinterpret_cast<std::uintptr_t>(block) % alignment;
    const auto shift = static_cast<std::uint16_t>(misfit == 0 ? 0 : alignment - misfit);
    T* data = reinterpret_cast<T*>(block + shift);
    const std::size_t room = (bytes - shift) / sizeof(T);
    keep = std::min({keep, old, room});
    if (keep != 0)
        std::memcpy(static_cast<void*>(data), static_cast<const void*>(data_), keep * sizeof(T));
    if constexpr (has_empty<T>::value)
        for (std::size_t k = keep; k < room; ++k)
            data[k] = T::__empty();
    __free();
    data_ = data;
    capacity_ = room;
    shift_ = shift;
    return true;
}

} // namespace quorl
