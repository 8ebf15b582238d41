#include "cell_grid.h"

#include <bit>
#include <cmath>
#include <limits>

namespace quorl::meldra3d_mpi::detail {

void cell_grid::cover(box* boxes) const {
    std::fill_n(boxes, most_boxes, box::none());
    piece pieces[most_boxes] = {shrink({{0, 0, 0}, {cells - 1, cells - 1, cells - 1}})};
    if (pieces[0].marked == 0)
        return;
    std::size_t count = 1;
    for (; count < most_boxes; ++count) {
        piece& largest = *std::max_element(pieces, pieces + count,
                                           [](const piece& a, const piece& b) { return a.idle() < b.idle(); });
        if (largest.idle() == 0)
            break;
        unsigned axis = 0;
        double longest = 0;
        for (unsigned i = 0; i < 3; ++i)
            if (const double length = (largest.high[i] - largest.low[i]) * edge(i); length > longest) {
                longest = length;
                axis = i;
            }
        piece first = largest, second = largest;
        first.high[axis] = (largest.low[axis] + largest.high[axis]) / 2;
        second.low[axis] = first.high[axis] + 1;
        largest = shrink(first);
        pieces[count] = shrink(second);
    }
    for (std::size_t k = 0; k < count; ++k)
        boxes[k] = box_of(pieces[k]);
}

/// What is marked in a piece.
cell_grid::piece cell_grid::shrink(const piece& in) const {
    piece to{{cells, cells, cells}, {0, 0, 0}};
    std::uint64_t along = 0;
    const std::uint64_t in_piece = ~std::uint64_t(0) >> (cells - 1 - (in.high[0] - in.low[0])) << in.low[0];
    for (unsigned z = in.low[2]; z <= in.high[2]; ++z)
        for (unsigned y = in.low[1]; y <= in.high[1]; ++y) {
            const std::uint64_t row = rows_[row_of(y, z)] & in_piece;
            if (row == 0)
                continue;
            along |= row;
            to.marked += std::size_t(std::popcount(row));
            to.low[1] = std::min(to.low[1], y);
            to.high[1] = std::max(to.high[1], y);
            to.low[2] = std::min(to.low[2], z);
            to.high[2] = std::max(to.high[2], z);
        }
    if (to.marked != 0) {
        to.low[0] = unsigned(std::countr_zero(along));
        to.high[0] = cells - 1 - unsigned(std::countl_zero(along));
    }
    return to;
}

/// Around all points whose cells are in a piece, however their places were rounded.
box cell_grid::box_of(const piece& in) const {
    box result = around_;
    for (unsigned i = 0; i < 3; ++i) {
        if (!std::isfinite(edge(i)))
            continue;
        const double low = around_.low[i], high = around_.high[i], step = edge(i) / cells;
        const double slack = 1e-12 * edge(i) + 1e-15 * std::max(std::fabs(low), std::fabs(high));
        if (in.low[i] != 0)
            result.low[i] = std::max(low, low + in.low[i] * step - slack);
        if (in.high[i] != cells - 1)
            result.high[i] = std::min(high, low + (in.high[i] + 1) * step + slack);
    }
    return result;
}

} // namespace quorl::meldra3d_mpi::detail
