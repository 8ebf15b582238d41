#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

#include <numcore/dense1D.h>
#include <numcore/ptr.h>
#include <numcore/vector_num.h>

namespace quorl {

/// A column-major matrix view on shared storage: element (i, j) lies `i + j * ld()` elements behind (0, 0).
/// Copies are shallow, and writing through one is seen by the other. The matrix is contiguous when ld equals rows,
/// and empty when rows * cols is 0 (the dimensions are kept all the same).
///
/// Resizing never shows through another view: contents are moved within a block only while no other view holds it and
/// it is the library's own. Otherwise a view that shrinks becomes a window of the block (ld stays), which needs no
/// memory and cannot fail, and a view that grows moves to a new block. Every operation that needs memory returns
/// false when there is none, and then leaves the view as it was; a constructor leaves it empty.
template <class T>
class dense2D {
public:
    using value_type = T;

    dense2D() noexcept = default;
    /// rows x cols elements of unspecified value.
    dense2D(std::size_t rows, std::size_t cols) noexcept { resize(rows, cols); }
    dense2D(std::size_t rows, std::size_t cols, const T& fill) noexcept { resize(rows, cols, fill); }
    dense2D(const dense2D&) noexcept = default;
    dense2D(dense2D&& other) noexcept { __swap(other); }
    dense2D& operator=(const dense2D&) noexcept = default;
    dense2D& operator=(dense2D&& other) noexcept {
        dense2D taken(std::move(other));
        __swap(taken);
        return *this;
    }
    ~dense2D() = default;

    /// Lays a view over the caller's memory (column j begins at data + j * ld), which the library never frees. The
    /// memory must outlive every view of it. A null pointer, no elements, an ld below rows or a size beyond memory
    /// gives an empty view, and so does a lack of memory.
    static dense2D view(T* data, std::size_t rows, std::size_t cols, std::size_t ld) noexcept {
        dense2D laid;
        std::size_t bytes = 0;
        if (!data || rows == 0 || cols == 0 || ld < rows || !numcore::__byte_count(ld, cols, sizeof(T), bytes))
            return laid;
        Ptr<vector_num<T, 8>> block(new (std::nothrow) vector_num<T, 8>);
        if (!block)
            return laid;
        block->__lay_over(data, ld * (cols - 1) + rows);
        laid.storage_ = std::move(block);
        laid.__set(rows, cols, ld);
        return laid;
    }

    std::size_t rows() const noexcept { return rows_; }
    std::size_t cols() const noexcept { return cols_; }
    std::size_t ld() const noexcept { return ld_; }
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    T& operator()(std::size_t i, std::size_t j) noexcept { return data()[i + j * ld_]; }
    const T& operator()(std::size_t i, std::size_t j) const noexcept { return data()[i + j * ld_]; }
    /// Address of (0, 0); null when there is no storage.
    T* data() noexcept { return storage_ ? storage_->data() + start_ : nullptr; }
    const T* data() const noexcept { return storage_ ? storage_->data() + start_ : nullptr; }
    T* col(std::size_t j) noexcept { return data() + j * ld_; }
    const T* col(std::size_t j) const noexcept { return data() + j * ld_; }

    /// Sets the dimensions and keeps the common upper-left block; new elements are unspecified.
    bool resize(std::size_t rows, std::size_t cols) noexcept { return __reshape(rows, cols, 1); }

    /// Sets the dimensions, and every element to `fill`. Other views of the block do not see that; the caller's memory
    /// does when one view alone lies over it and does not grow.
    bool resize(std::size_t rows, std::size_t cols, const T& fill) noexcept {
        if (rows == 0 || cols == 0)
            return resize(rows, cols);
        const T value = fill; // `fill` may be an element of this very matrix
        if (__fits(rows, cols, rows)) {
            __set(rows, cols, rows);
        } else if (storage_ && storage_->__unique() && rows <= rows_ && cols <= cols_) {
            __set(rows, cols, ld_); // the caller's memory, which no other view has
        } else {
            dense2D fresh;
            if (!fresh.__reshape(rows, cols, 1))
                return false;
            __swap(fresh);
        }
        for (std::size_t j = 0; j < cols_; ++j)
            std::fill_n(col(j), rows_, value);
        return true;
    }

    /// As `resize(rows, cols)`, and the rows that the kept columns gain take `fill`. What is added behind the kept
    /// columns stays unspecified: a caller that appends columns writes them whole, and need not write them twice.
    bool __resize_rows(std::size_t rows, std::size_t cols, const T& fill) noexcept {
        const T value = fill;
        const std::size_t old_rows = rows_;
        const std::size_t kept = std::min(cols, cols_);
        if (!__reshape(rows, cols, 1))
            return false;
        for (std::size_t j = 0; rows > old_rows && j < kept; ++j)
            std::fill_n(col(j) + old_rows, rows - old_rows, value);
        return true;
    }

    /// Makes room for a matrix of rows x cols without changing the contents; does nothing when the matrix is not
    /// smaller. A block that has to grow becomes at least n times as large as what the view holds: 2 for appending one
    /// by one, 0 or 1 for just rows x cols.
    bool reserve(std::size_t rows, std::size_t cols, std::size_t n) noexcept {
        if ((rows <= rows_ && cols <= cols_) || __fits(rows, cols, rows == rows_ ? ld_ : rows))
            return true;
        std::size_t bytes = 0;
        if (!numcore::__byte_count(rows, cols, sizeof(T), bytes))
            return false;
        return __move_to_new_block(rows_, cols_, __at_least(rows * cols, n));
    }

    /// Moves to storage of its own unless it has that already, so that writing elements shows through no other view.
    bool __detach() noexcept { return size_ == 0 || __holds_alone() || __move_to_new_block(rows_, cols_, size_); }

    /// One more column of rows() values, which may be a column of this very matrix; amortised O(rows).
    bool append(const T* column) noexcept {
        if (size_ != 0 && __holds_alone() && start_ + ld_ * cols_ + rows_ <= storage_->capacity()) {
            T* const added = storage_->data() + start_ + ld_ * cols_;
            for (std::size_t i = 0; i < rows_; ++i) // most columns are too short for a call of memcpy to pay
                added[i] = column[i];
            __set(rows_, cols_ + 1, ld_);
            return true;
        }
        const Ptr<vector_num<T, 8>> source = __fits(rows_, cols_ + 1, ld_) ? nullptr : storage_;
        if (cols_ + 1 == 0 || !__reshape(rows_, cols_ + 1, 2)) // `source` keeps what `column` may point to
            return false;
        if (rows_ != 0)
            std::memmove(static_cast<void*>(col(cols_ - 1)), column, rows_ * sizeof(T));
        return true;
    }

    /// Deep copy into storage of its own; the copy is contiguous.
    bool copy(const dense2D& other) noexcept {
        dense2D own(other);
        if (own.empty()) {
            own.storage_ = nullptr;
            own.__set(other.rows_, other.cols_, other.rows_);
        } else if (!own.__move_to_new_block(other.rows_, other.cols_, other.size_)) {
            return false;
        }
        __swap(own);
        return true;
    }

    /// Shares the other's storage.
    void shallow_copy(const dense2D& other) noexcept { *this = other; }

    /// All elements as one list that shares the storage. Only a contiguous matrix (or one column) can be read so:
    /// another gives an empty list.
    dense1D<T, 8> as_vector() const noexcept {
        dense1D<T, 8> list;
        if (size_ == 0 || (ld_ != rows_ && cols_ > 1))
            return list;
        list.storage_ = storage_;
        list.size_ = size_;
        list.start_ = start_;
        return list;
    }

    /// The window of rows x cols elements from (row0, col0) on: a view of the same storage.
    /// Empty, of no rows and columns, when it does not lie inside the matrix.
    dense2D sub(std::size_t row0, std::size_t col0, std::size_t rows, std::size_t cols) const noexcept {
        dense2D window;
        if (row0 > rows_ || rows > rows_ - row0 || col0 > cols_ || cols > cols_ - col0)
            return window;
        if (rows != 0 && cols != 0) {
            window.storage_ = storage_;
            window.start_ = start_ + row0 + col0 * ld_;
        }
        window.__set(rows, cols, ld_);
        return window;
    }

    /// Every dimension 0. A block that this view alone holds is kept for later growth.
    void clear() noexcept {
        if (storage_ && !__holds_alone())
            storage_ = nullptr;
        start_ = 0;
        __set(0, 0, 0);
    }

private:
    void __set(std::size_t rows, std::size_t cols, std::size_t ld) noexcept {
        rows_ = rows;
        cols_ = cols;
        ld_ = ld;
        size_ = rows * cols;
    }

    bool __holds_alone() const noexcept { return storage_ && storage_->__owned() && storage_->__unique(); }

    /// True when the block may hold rows x cols elements at this distance of columns without touching another view.
    bool __fits(std::size_t rows, std::size_t cols, std::size_t ld) const noexcept {
        std::size_t bytes = 0;
        if (!__holds_alone() || ld < rows || !numcore::__byte_count(ld, cols, sizeof(T), bytes))
            return false;
        const std::size_t span = rows == 0 || cols == 0 ? 0 : ld * (cols - 1) + rows;
        return span <= storage_->capacity() - start_;
    }

    std::size_t __at_least(std::size_t n, std::size_t factor) const noexcept {
        std::size_t bytes = 0;
        return numcore::__byte_count(size_, factor, sizeof(T), bytes) ? std::max(n, size_ * factor) : n;
    }

    /// Sets the dimensions and keeps the common block; a new block is at least `factor` times as large as the old.
    bool __reshape(std::size_t rows, std::size_t cols, std::size_t factor) noexcept {
        std::size_t bytes = 0;
        if (!numcore::__byte_count(rows, cols, sizeof(T), bytes))
            return false;
        if (rows == 0 || cols == 0 || size_ == 0) { // nothing to keep
            if (rows != 0 && cols != 0 && !__fits(rows, cols, rows) &&
                !__move_to_new_block(rows, cols, __at_least(rows * cols, factor)))
                return false;
            __set(rows, cols, rows);
            return true;
        }
        if (rows <= rows_ && cols <= cols_ && (rows == rows_ || !__holds_alone())) {
            __set(rows, cols, ld_);
            return true;
        }
        if (rows == rows_ && __fits(rows, cols, ld_)) {
            __set(rows, cols, ld_);
            return true;
        }
        if (rows != rows_ && __fits(rows, cols, rows)) {
            __move_columns(rows, std::min(cols, cols_));
            __set(rows, cols, rows);
            return true;
        }
        return __move_to_new_block(rows, cols, __at_least(rows * cols, factor));
    }

    /// Brings the first `cols` columns from the distance ld_ to the distance `ld`, inside the block.
    void __move_columns(std::size_t ld, std::size_t cols) noexcept {
        T* const first = data();
        const std::size_t bytes = std::min(ld, rows_) * sizeof(T);
        for (std::size_t k = 0; k < cols; ++k) {
            const std::size_t j = ld < ld_ ? k : cols - 1 - k; // no column runs over one that has still to move
            std::memmove(static_cast<void*>(first + j * ld), first + j * ld_, bytes);
        }
    }

    /// Moves to a new, contiguous block with room for `capacity` elements; the common upper-left block is kept.
    bool __move_to_new_block(std::size_t rows, std::size_t cols, std::size_t capacity) noexcept {
        Ptr<vector_num<T, 8>> block(new (std::nothrow) vector_num<T, 8>);
        if (!block || !block->__grow(std::max(capacity, rows * cols), 0, 1))
            return false;
        const std::size_t kept_rows = std::min(rows, rows_);
        const std::size_t kept_cols = size_ == 0 ? 0 : std::min(cols, cols_);
        if (kept_rows == rows && kept_rows == ld_)
            std::copy_n(data(), kept_rows * kept_cols, block->data());
        else
            for (std::size_t j = 0; j < kept_cols; ++j)
                std::copy_n(col(j), kept_rows, block->data() + j * rows);
        storage_ = std::move(block);
        start_ = 0;
        __set(rows, cols, rows);
        return true;
    }

    void __swap(dense2D& other) noexcept {
        std::swap(storage_, other.storage_);
        std::swap(size_, other.size_);
        std::swap(start_, other.start_);
        std::swap(rows_, other.rows_);
        std::swap(cols_, other.cols_);
        std::swap(ld_, other.ld_);
    }

    Ptr<vector_num<T, 8>> storage_;
    std::size_t size_ = 0;
    std::size_t start_ = 0;
    std::size_t rows_ = 0;
    std::size_t cols_ = 0;
    std::size_t ld_ = 0;
};

} // namespace quorl
