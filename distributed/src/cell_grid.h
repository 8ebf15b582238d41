#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "space_order.h"

namespace quorl::meldra3d_mpi::detail {

/// A box in cells, 64 along each axis, that are marked or not: a bit each, 32 KiB. A coordinate that is larger never
/// has a lower cell, however it is rounded; so the cells of a box are those of all points in it.
class cell_grid {
public:
    static constexpr std::size_t most_boxes = 64;

    /// Takes the box, and unmarks all. False when memory ran out.
    bool reset(const box& around) {
        around_ = around;
        for (unsigned i = 0; i < 3; ++i)
            scale_[i] = cells / edge(i); // infinite, 0 or NaN for some; then there are one or two cells
        return rows_.resize(std::size_t(cells) * cells, 0);
    }

    /// Marks the cell of a point.
    void mark(const double* x) { rows_[row_of(place(1, x), place(2, x))] |= std::uint64_t(1) << place(0, x); }

    /// Cells from low[i] to the one that is so many before the end along each axis. As bytes, of which the lesser ones
    /// are those of a range around two.
    struct range {
        std::uint8_t low[4], before_end[4];

        unsigned high(unsigned axis) const { return 255u - before_end[axis]; }

        bool is_none() const { return low[0] > high(0); }

        static range none() { return {{255, 255, 255, 255}, {255, 255, 255, 255}}; }

        [[gnu::always_inline]] range around(const range& other) const {
            using bytes = std::uint8_t __attribute__((vector_size(8)));
            const auto a = std::bit_cast<bytes>(*this), b = std::bit_cast<bytes>(other);
            return std::bit_cast<range>(a < b ? a : b);
        }
    };

    /// The cells of a box, one that is not empty.
    range range_of(const box& one) const {
        range in = range::none();
        for (unsigned i = 0; i < 3; ++i) {
            in.low[i] = place(i, one.low);
            in.before_end[i] = static_cast<std::uint8_t>(255 - place(i, one.high));
        }
        return in;
    }

    void mark(const range& in) {
        visit_rows(rows_.data(), in, [](std::uint64_t& row, std::uint64_t in_range) {
            row |= in_range;
            return false;
        });
    }

    /// Whether a point is in a marked cell.
    bool is_marked(const double* x) const {
        for (unsigned i = 0; i < 3; ++i)
            if (!(around_.low[i] <= x[i] && x[i] <= around_.high[i]))
                return false;
        return (rows_[row_of(place(1, x), place(2, x))] >> place(0, x) & 1) != 0;
    }

    /// Whether a cell of a range is marked.
    bool is_marked(const range& in) const {
        return visit_rows(rows_.data(), in,
                          [](std::uint64_t row, std::uint64_t in_range) { return (row & in_range) != 0; });
    }

    /// How large a cell is along an axis.
    double step(unsigned axis) const { return edge(axis) / cells; }

    /// Boxes around all marked cells, most_boxes ones: the box that has most cells that are not marked is halved again
    /// and again. Those that are not needed are empty.
    void cover(box* boxes) const;

private:
    static constexpr unsigned cells = 64;

    /// Cells from low[i] to high[i] along each axis, and how many of them are marked.
    struct piece {
        unsigned low[3], high[3];
        std::size_t marked = 0;

        std::size_t idle() const {
            return std::size_t(high[0] - low[0] + 1) * (high[1] - low[1] + 1) * (high[2] - low[2] + 1) - marked;
        }
    };

    double edge(unsigned axis) const { return around_.high[axis] - around_.low[axis]; }

    std::uint8_t place(unsigned axis, const double* x) const {
        const double steps = std::max(0.0, (x[axis] - around_.low[axis]) * scale_[axis]); // max(0, NaN) is 0
        return static_cast<std::uint8_t>(std::min(steps, double(cells - 1)));
    }

    static std::size_t row_of(unsigned y, unsigned z) { return std::size_t(cells) * z + y; }

    /// Which cells of a row are in a range.
    static std::uint64_t bits_of(const range& in) {
        return ~std::uint64_t(0) >> (cells - 1 - (in.high(0) - in.low[0])) << in.low[0];
    }

    /// Calls visit(row, which of its cells are in the range) until one is true. Whether it was.
    template <class Row, class Visit>
    static bool visit_rows(Row* rows, const range& in, const Visit& visit) {
        if (in.is_none())
            return false;
        const unsigned first_y = in.low[1], last_y = in.high(1), first_z = in.low[2], last_z = in.high(2);
        const std::uint64_t in_range = bits_of(in);
        if (last_y - first_y < 3 && last_z - first_z < 3) { // as a rule, and without a branch that cannot be foreseen
            bool any = false;
            for (const unsigned z : {first_z, (first_z + last_z) / 2, last_z})
                for (const unsigned y : {first_y, (first_y + last_y) / 2, last_y})
                    any |= visit(rows[row_of(y, z)], in_range);
            return any;
        }
        for (unsigned z = first_z; z <= last_z; ++z)
            for (unsigned y = first_y; y <= last_y; ++y)
                if (visit(rows[row_of(y, z)], in_range))
                    return true;
        return false;
    }

    piece shrink(const piece& in) const;
    box box_of(const piece& in) const;

    box around_{};
    double scale_[3]{};
    dense1D<std::uint64_t, 8> rows_; ///< along the first axis
};

} // namespace quorl::meldra3d_mpi::detail
