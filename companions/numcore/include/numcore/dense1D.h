#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <new>
#include <utility>

#include <numcore/ptr.h>
#include <numcore/vector_num.h>

namespace quorl {

template <class T>
class dense2D;

/// A one-dimensional view on shared storage: copies are shallow, and writing through one is seen by the other.
///
/// Growing or resizing never shows through another view: elements are added in place only while no other view holds
/// the block and the block is the library's own; otherwise the view moves to a new block. Every operation that needs
/// memory returns false when there is none, and then leaves the view as it was; a constructor leaves it empty.
template <class T, unsigned N = 8>
class dense1D {
public:
    using value_type = T;

    dense1D() noexcept = default;
    /// n elements of unspecified value.
    explicit dense1D(std::size_t n) noexcept { resize(n); }
    dense1D(std::size_t n, const T& fill) noexcept { resize(n, fill); }
    dense1D(std::initializer_list<T> values) noexcept {
        if (resize(values.size()))
            std::copy(values.begin(), values.end(), begin());
    }
    dense1D(const dense1D&) noexcept = default;
    dense1D(dense1D&& other) noexcept
        : storage_(std::move(other.storage_)), size_(std::exchange(other.size_, 0)),
          start_(std::exchange(other.start_, 0)) {}
    dense1D& operator=(const dense1D&) noexcept = default;
    dense1D& operator=(dense1D&& other) noexcept {
        dense1D taken(std::move(other));
        __swap(taken);
        return *this;
    }
    ~dense1D() = default;

    /// Lays a view over n elements of the caller's memory, which the library never frees. The memory must outlive
    /// every view of it. A null pointer or n = 0 gives an empty view, and so does a lack of memory.
    static dense1D view(T* data, std::size_t n) noexcept {
        dense1D laid;
        if (!data || n == 0)
            return laid;
        Ptr<vector_num<T, N>> block(new (std::nothrow) vector_num<T, N>);
        if (!block)
            return laid;
        block->__lay_over(data, n);
        laid.storage_ = std::move(block);
        laid.size_ = n;
        return laid;
    }

    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    T& operator[](std::size_t k) noexcept { return data()[k]; }
    const T& operator[](std::size_t k) const noexcept { return data()[k]; }
    /// Address of element 0; null when there is no storage.
    T* data() noexcept { return storage_ ? storage_->data() + start_ : nullptr; }
    const T* data() const noexcept { return storage_ ? storage_->data() + start_ : nullptr; }
    T* begin() noexcept { return data(); }
    T* end() noexcept { return data() + size_; }
    const T* begin() const noexcept { return data(); }
    const T* end() const noexcept { return data() + size_; }

    /// n elements: the first ones are kept, those added are unspecified.
    bool resize(std::size_t n) noexcept {
        if (n > size_ && !__grows_in_place(n) && !__move_to_new_block(n))
            return false;
        size_ = n;
        return true;
    }

    /// n elements: the first ones are kept, those added equal `fill`.
    bool resize(std::size_t n, const T& fill) noexcept {
        const T value = fill; // `fill` may be an element of this very array
        const std::size_t kept = size_;
        if (!resize(n))
            return false;
        if (n > kept)
            std::fill_n(data() + kept, n - kept, value);
        return true;
    }

    /// Makes room for n elements in all without changing the contents; n up to size() does nothing. A block that has
    /// to grow becomes at least m times as large as what the view holds: 2 for appending one by one, 0 or 1 for just n.
    bool reserve(std::size_t n, std::size_t m) noexcept {
        if (n <= size_ || __grows_in_place(n))
            return true;
        return __move_to_new_block(__at_least(n, m));
    }

    bool push_back(const T& element) noexcept {
        const T value = element; // may be an element of this very array
        if (!__grows_in_place(size_ + 1) && !__move_to_new_block(__at_least(size_ + 1, 2)))
            return false;
        storage_->data()[start_ + size_++] = value;
        return true;
    }

    /// Deep copy into storage of its own.
    bool copy(const dense1D& other) noexcept {
        dense1D own;
        if (!own.resize(other.size_))
            return false;
        std::copy_n(other.data(), other.size_, own.data());
        __swap(own);
        return true;
    }

    /// Shares the other's storage.
    void shallow_copy(const dense1D& other) noexcept { *this = other; }

    /// Size 0. A block that this view alone holds is kept for later growth.
    void clear() noexcept {
        if (storage_ && !__holds_alone())
            storage_ = nullptr;
        size_ = 0;
        start_ = 0;
    }

private:
    friend class dense2D<T>;

    bool __holds_alone() const noexcept { return storage_ && storage_->__owned() && storage_->__unique(); }

    bool __grows_in_place(std::size_t n) const noexcept {
        return __holds_alone() && n <= storage_->capacity() - start_;
    }

    std::size_t __at_least(std::size_t n, std::size_t factor) const noexcept {
        if (factor != 0 && size_ > static_cast<std::size_t>(-1) / factor)
            return n;
        return std::max(n, size_ * factor);
    }

    bool __move_to_new_block(std::size_t capacity) noexcept {
        vector_num<T, N>* const block = __new_block(data(), size_, std::max(capacity, size_));
        if (!block)
            return false;
        storage_ = block;
        start_ = 0;
        return true;
    }

    /// A block with room for `capacity` elements that begins with a copy of n of them; null when there is no memory.
    /// It is not told of the view, so that the members of one which grows in a loop can stay in registers.
    static vector_num<T, N>* __new_block(const T* from, std::size_t n, std::size_t capacity) noexcept {
        auto* const block = new (std::nothrow) vector_num<T, N>;
        if (block && block->__grow(capacity, 0, 1)) {
            std::copy_n(from, n, block->data());
            return block;
        }
        delete block;
        return nullptr;
    }

    void __swap(dense1D& other) noexcept {
        std::swap(storage_, other.storage_);
        std::swap(size_, other.size_);
        std::swap(start_, other.start_);
    }

    Ptr<vector_num<T, N>> storage_;
    std::size_t size_ = 0;
    std::size_t start_ = 0;
};

} // namespace quorl
