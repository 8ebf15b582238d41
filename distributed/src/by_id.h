#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <numcore/numcore.h>

namespace quorl::meldra3d_mpi::detail {

/// The places of a list of global IDs in ascending order of these. Where the list is in that order, as those of most
/// parts are, it needs no memory.
class id_order {
public:
    /// Takes `count` IDs; id_at(k) is the k-th. False when memory ran out.
    template <class IdAt>
    bool build(std::size_t count, const IdAt& id_at) {
        count_ = count;
        order_.clear();
        bool rises = true;
        for (std::size_t k = 1; k < count && rises; ++k)
            rises = id_at(k - 1) <= id_at(k);
        if (rises)
            return true;
        if (!order_.resize(count))
            return false;
        for (std::size_t k = 0; k < count; ++k)
            order_[k] = {id_at(k), k};
        return sort();
    }

    std::size_t size() const { return count_; }

    /// Where the k-th in the order stands in the list.
    std::size_t operator[](std::size_t k) const { return order_.empty() ? k : order_[k].at; }

    /// Where an ID of the list stands in it.
    template <class IdAt>
    std::size_t find(std::uint64_t id, const IdAt& id_at) const {
        std::size_t first = 0;
        for (std::size_t end = count_; first < end;)
            if (const std::size_t middle = first + (end - first) / 2; id_at((*this)[middle]) < id)
                first = middle + 1;
            else
                end = middle;
        return (*this)[first];
    }

private:
    struct numbered {
        std::uint64_t id;
        std::size_t at;
    };

    /// A radix sort, the lowest digits first, of as many as the IDs differ in.
    bool sort() {
        constexpr unsigned digit_bits = 11;
        constexpr std::size_t digits = std::size_t{1} << digit_bits;
        const auto less = [](const numbered& a, const numbered& b) { return a.id < b.id; };
        if (count_ < digits) {
            std::sort(order_.begin(), order_.end(), less);
            return true;
        }
        const auto [least, most] = std::minmax_element(order_.begin(), order_.end(), less);
        const std::uint64_t low = least->id, range = most->id - low;
        dense1D<numbered, 8> work(count_);
        if (work.empty())
            return false;
        for (unsigned shift = 0; shift < 64 && range >> shift != 0; shift += digit_bits) {
            std::size_t next[digits + 1] = {};
            const auto digit = [&](const numbered& one) { return ((one.id - low) >> shift) & (digits - 1); };
            for (const numbered& one : order_)
                ++next[digit(one) + 1];
            for (std::size_t d = 1; d < digits; ++d)
                next[d] += next[d - 1];
            for (const numbered& one : order_)
                work[next[digit(one)]++] = one;
            std::swap(order_, work);
        }
        return true;
    }

    std::size_t count_ = 0;
    dense1D<numbered, 8> order_;
};

} // namespace quorl::meldra3d_mpi::detail
