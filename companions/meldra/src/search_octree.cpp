// Nearest nodes. A search goes through the cell that holds the point, and then down the octree into those cells that
// are no farther than the best node so far (J. H. Friedman, J. L. Bentley, R. A. Finkel, "An algorithm for finding best
// matches in logarithmic expected time", ACM TOMS 3(3), 1977). Cells of a few dozen nodes are not divided but gone
// through, four nodes at once.
//
// That the nearest node is never missed for rounding rests on monotonicity: the distance to a cell is computed by the
// very operations that give the distance of a node, from a plane that no node of the cell lies before, and each
// rounded operation keeps the order of its operands.

#include "node_octree.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

#include <meldra/element_type.h>

#include "frame/lanes.h"
#include "frame/quickest.h"

namespace quorl::meldra::detail {

namespace {

using meldra3d::detail::all;
using meldra3d::detail::bits;
using meldra3d::detail::four_doubles; // four nodes, or three axes and a lane that does not count
using meldra3d::detail::four_masks;
using meldra3d::detail::load;
using meldra3d::detail::quickest;

/// How the difference of two coordinates is taken before it is squared: as it is, or brought near 1 where its square
/// would be no number any more. Like all rounded operations, each keeps the order of its operands.
struct plainly {
    template <class Real>
    [[gnu::always_inline]] static inline Real difference(const Real& a, const Real& b) {
        return a - b;
    }
};
struct magnified {
    template <class Real>
    [[gnu::always_inline]] static inline Real difference(const Real& a, const Real& b) {
        return (a - b) * magnify;
    }
};
struct reduced {
    template <class Real>
    [[gnu::always_inline]] static inline Real difference(const Real& a, const Real& b) {
        return a * reduce - b * reduce;
    }
};

/// The lanes of the axes whose bits are set in the number.
constexpr four_masks lanes_of[8] = {{0, 0, 0, 0},  {-1, 0, 0, 0},  {0, -1, 0, 0},  {-1, -1, 0, 0},
                                    {0, 0, -1, 0}, {-1, 0, -1, 0}, {0, -1, -1, 0}, {-1, -1, -1, 0}};

/// The child in which the bits of a place lie, at a level.
[[gnu::always_inline]] inline unsigned slot_of(const std::uint32_t (&q)[3], unsigned level) {
    const unsigned bit = node_octree::levels - 1 - level;
    return (q[0] >> bit & 1) | (q[1] >> bit & 1) << 1 | (q[2] >> bit & 1) << 2;
}

bool is_finite(const vector_fixed<double, 3>& p) {
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

} // namespace

/// The way from the root to a cell that holds a place, or to the one beside it where that holds no node.
struct octree_descent {
    std::uint32_t q[3];
    node_octree::cell cell[node_octree::levels + 1]; // of each level, with the place in it
    std::uint32_t end[node_octree::levels + 1];
    unsigned level = 0; // of the last cell

    /// Goes down to a cell for which is_last(cell, end).
    template <class IsLast>
    [[gnu::always_inline]] octree_descent(const node_octree& tree, const vector_fixed<double, 3>& p, IsLast is_last) {
        for (unsigned i = 0; i < 3; ++i)
            q[i] = tree.frame_.quantum(p[i], i);
        cell[0] = tree.blocks_[0][0];
        end[0] = tree.blocks_[0][1].begin;
        while (!is_last(cell[level], end[level])) {
            cell[level + 1] = cell[level];
            end[level + 1] = end[level];
            tree.step_down(cell[level + 1], end[level + 1], slot_of(q, level));
            ++level;
        }
    }
};

namespace {

/// The cells of one level, by their places along the axes, that may hold what is not farther from a point than a
/// distance.
struct cells_around {
    std::uint32_t own[3]; // that of the point
    std::uint32_t low[3];
    std::uint32_t high[3];

    [[gnu::always_inline]] cells_around(const octree_frame& frame, const vector_fixed<double, 3>& p,
                                        const std::uint32_t (&q)[3], unsigned level, double squared_distance) {
        const double radius = std::sqrt(squared_distance) * (1 + 0x1p-40); // more than rounding can take away
        const unsigned shift = node_octree::levels - level;
        for (unsigned i = 0; i < 3; ++i) {
            own[i] = q[i] >> shift;
            low[i] = frame.quantum(p[i] - radius, i) >> shift;
            high[i] = frame.quantum(p[i] + radius, i) >> shift;
        }
    }

    /// True when they are the own cell and, along each axis, at most one that touches it.
    bool are_near() const {
        std::uint32_t most = 0;
        for (unsigned i = 0; i < 3; ++i)
            most = std::max(most, high[i] - low[i]);
        return most <= 1;
    }

    /// The deepest level, up to the given one, of which one cell holds them all.
    unsigned common_level(unsigned level) const {
        std::uint32_t different = 0;
        for (unsigned i = 0; i < 3; ++i)
            different |= low[i] ^ high[i];
        return level - unsigned(std::bit_width(different));
    }
};

} // namespace

/// A cell of the tree in space: its corner and edge, and the squared distances of the point to it along the axes, or
/// less. (The lengths are in the frame of the tree, the distances are of the measure.)
struct octree_candidate {
    node_octree::cell cell;
    std::uint32_t end; // of its nodes
    double edge;
    four_doubles corner;
    four_doubles gap;
};

/// Keeps the best of the nodes that it goes through.
template <class Measure>
class nearest_search {
public:
    [[gnu::always_inline]] nearest_search(const node_octree& tree, const vector_fixed<double, 3>& p)
        : p_{p[0], p[1], p[2], 0}, of_p_{all(p[0]), all(p[1]), all(p[2])}, tree_(tree), x_(tree.coordinates_.col(0)),
          y_(tree.coordinates_.col(1)), z_(tree.coordinates_.col(2)), ids_(tree.ids_.data()) {}

    double squared_distance() const { return best_; }

    /// The nearest node; of equally near ones that with the lowest ID.
    [[gnu::always_inline]] unsigned found() {
        settle();
        return found_;
    }

    /// Whether the point is where the node that has been found is.
    bool is_at_point() const { return x_[found_at_] == p_[0] && y_[found_at_] == p_[1] && z_[found_at_] == p_[2]; }

    /// Goes through a range of nodes.
    void through(std::uint32_t begin, std::uint32_t end) {
        for (std::uint32_t k = begin; k < end; ++k) {
            const double x = Measure::difference(p_[0], x_[k]);
            const double y = Measure::difference(p_[1], y_[k]);
            const double z = Measure::difference(p_[2], z_[k]);
            const double distance = x * x + y * y + z * z;
            if (distance > best_)
                continue;
            if (distance < best_)
                found_ = no_node;
            best_ = distance;
            take(k);
        }
    }

    /// Goes through the nodes of a leaf, all at once.
    [[gnu::always_inline]] void through_leaf(std::uint32_t begin, std::uint32_t end) {
        if (end - begin > node_octree::leaf_nodes) { // of one quantum
            through(begin, end);
            return;
        }
        const four_doubles count = all(double(end - begin)), at{0, 1, 2, 3};
        const four_doubles none = all(std::numeric_limits<double>::infinity());
        const four_doubles some = at < count ? squared_distances(begin) : none;
        const four_doubles others = at + all(4) < count ? squared_distances(begin + 4) : none;
        const four_doubles less = some < others ? some : others;
        const double nearest = std::min(std::min(less[0], less[1]), std::min(less[2], less[3]));
        if (nearest > best_)
            return;
        if (nearest < best_)
            found_ = no_node;
        best_ = nearest;
        unsigned equal = bits(some == all(nearest)) | bits(others == all(nearest)) << 4;
        for (; equal != 0; equal &= equal - 1)
            take(begin + unsigned(std::countr_zero(equal)));
    }

    /// Goes through a range and up to seven nodes behind it, eight at once. Which node is the nearest is left open, for
    /// another range may hold a nearer one.
    [[gnu::always_inline]] void through_and_over(std::uint32_t begin, std::uint32_t end) {
        four_doubles least = all(std::numeric_limits<double>::infinity());
        for (std::uint32_t k = begin; k < end; k += 8) {
            const four_doubles some = squared_distances(k), others = squared_distances(k + 4);
            const four_doubles less = some < others ? some : others;
            least = less < least ? less : least;
        }
        const double nearest = std::min(std::min(least[0], least[1]), std::min(least[2], least[3]));
        if (nearest > best_)
            return;
        if (nearest == best_)
            settle();
        else
            found_ = no_node;
        best_ = nearest;
        open_begin_ = begin;
        open_end_ = end;
    }

    /// Goes through the nodes of a cell as far as they may be nearer than the best one, but for the range that begins
    /// at `known`. With `Over`, some nodes of other cells are taken along.
    template <bool Over>
    [[gnu::always_inline]] void inside(const octree_candidate& whole, std::uint32_t known) {
        octree_candidate waiting[7 * node_octree::levels + 1];
        unsigned count = 0;
        if (node_octree::is_range(whole.cell, whole.end))
            through_range<Over>(whole.cell.begin, whole.end);
        else
            waiting[count++] = whole;
        while (count != 0) {
            const octree_candidate c = waiting[--count];
            if (c.gap[0] + c.gap[1] + c.gap[2] <= best_)
                count += divide<Over>(c, known, waiting + count);
        }
    }

    /// Goes through the cells that touch the one at the end of the way, at most one along each axis on either side.
    [[gnu::always_inline]] void through_neighbors(const octree_descent& way, const cells_around& cells,
                                                  std::uint32_t known) {
        const octree_candidate own = at_level(way.cell[way.level], way.end[way.level], way.q, way.level);
        const four_doubles slack = all(tree_.frame_.slack), unit = all(1 / tree_.frame_.unit);
        const four_doubles below = Measure::difference(p_, (own.corner + slack) * unit);
        const four_doubles above = Measure::difference((own.corner + all(own.edge) - slack) * unit, p_);
        const four_doubles is_low{double(cells.low[0] < cells.own[0]), double(cells.low[1] < cells.own[1]),
                                  double(cells.low[2] < cells.own[2]), 0};
        const four_doubles beside = is_low != 0 ? below : above;
        const four_doubles gap = beside > 0 ? beside * beside : all(0);
        const four_doubles x{own.gap[0], gap[0], own.gap[0], gap[0]};
        const four_doubles y{own.gap[1], own.gap[1], gap[1], gap[1]};
        unsigned left = bits(x + y + all(own.gap[2]) <= all(best_)) | bits(x + y + all(gap[2]) <= all(best_)) << 4;
        unsigned reached = 0;
        for (unsigned i = 0; i < 3; ++i)
            reached |= unsigned(cells.low[i] != cells.high[i]) << i;
        constexpr unsigned char within[8] = {0x01, 0x03, 0x05, 0x0F, 0x11, 0x33, 0x55, 0xFF};
        left &= within[reached];
        if (known != no_node)
            left &= ~1u;
        std::uint32_t seen[8]; // where the ranges begin that are larger than a cell of this level
        unsigned seen_count = 0;
        const unsigned shift = node_octree::levels - way.level;
        while (left != 0) {
            const unsigned flipped = unsigned(std::countr_zero(left));
            left &= left - 1;
            std::uint32_t at[3], q[3];
            std::uint32_t different = 0;
            for (unsigned i = 0; i < 3; ++i) {
                // The other cell of the two is low + high - own.
                at[i] = flipped >> i & 1 ? cells.low[i] + cells.high[i] - cells.own[i] : cells.own[i];
                different |= at[i] ^ cells.own[i];
                q[i] = at[i] << shift;
            }
            unsigned level = way.level - unsigned(std::bit_width(different));
            node_octree::cell cell = way.cell[level];
            std::uint32_t end = way.end[level];
            for (; level < way.level && !node_octree::is_range(cell, end); ++level)
                tree_.step_down(cell, end, slot_of(q, level));
            if (cell.begin == end)
                continue;
            if (!node_octree::is_range(cell, end)) {
                inside<true>(at_level(cell, end, q, level), known);
                continue;
            }
            if (level < way.level) {
                if (std::find(seen, seen + seen_count, cell.begin) != seen + seen_count)
                    continue;
                seen[seen_count++] = cell.begin;
            }
            through_and_over(cell.begin, end);
        }
    }

    /// The cell of the given level that holds the quantum q.
    [[gnu::always_inline]] octree_candidate at_level(const node_octree::cell& cell, std::uint32_t end,
                                                     const std::uint32_t (&q)[3], unsigned level) const {
        const octree_frame& frame = tree_.frame_;
        // A cell of level l measures 2^-l of the cube.
        const double edge = frame.edge * std::bit_cast<double>(std::uint64_t(1023 - level) << 52);
        const auto corner = [&](unsigned i) {
            return frame.origin[i] + double(std::uint64_t(q[i]) >> (node_octree::levels - level)) * edge;
        };
        const four_doubles low{corner(0), corner(1), corner(2), 0};
        const four_doubles slack = all(frame.slack), unit = all(1 / frame.unit);
        const four_doubles before = Measure::difference((low - slack) * unit, p_);
        const four_doubles behind = Measure::difference(p_, (low + all(edge) + slack) * unit);
        const four_doubles gap = before > behind ? before : behind;
        return {cell, end, edge, low, gap > 0 ? gap * gap : all(0)};
    }

private:
    [[gnu::always_inline]] four_doubles squared_distances(std::uint32_t k) const {
        const four_doubles x = Measure::difference(of_p_[0], load(x_ + k));
        const four_doubles y = Measure::difference(of_p_[1], load(y_ + k));
        const four_doubles z = Measure::difference(of_p_[2], load(z_ + k));
        return x * x + y * y + z * z;
    }

    void take(std::uint32_t k) {
        if (ids_[k] < found_) {
            found_ = ids_[k];
            found_at_ = k;
        }
    }

    /// Takes the nodes of the open range that are at the best distance. There is one, as a rule: it is found without a
    /// branch that could be foretold wrongly.
    [[gnu::always_inline]] void settle() {
        if (open_begin_ == open_end_)
            return;
        four_doubles at{0, 1, 2, 3}; // behind the begin of the range
        four_doubles last = all(-1), number = all(0);
        for (std::uint32_t k = open_begin_; k < open_end_; k += 4, at += all(4)) {
            const auto equal = squared_distances(k) == all(best_);
            last = equal ? at : last;
            number += equal ? all(1) : all(0);
        }
        if (number[0] + number[1] + number[2] + number[3] == 1)
            take(open_begin_ + std::uint32_t(std::max(std::max(last[0], last[1]), std::max(last[2], last[3]))));
        else
            for (std::uint32_t k = open_begin_; k < open_end_; k += 4)
                for (unsigned equal = bits(squared_distances(k) == all(best_)); equal != 0; equal &= equal - 1)
                    take(k + unsigned(std::countr_zero(equal)));
        open_end_ = open_begin_;
    }

    template <bool Over>
    [[gnu::always_inline]] void through_range(std::uint32_t begin, std::uint32_t end) {
        if constexpr (Over)
            through_and_over(begin, end);
        else
            through(begin, end);
    }

    /// Goes through the children of a cell that may hold a node as near as the best. Those that are to be divided are
    /// written to a list, the nearest last; returns their number.
    template <bool Over>
    [[gnu::always_inline]] unsigned divide(const octree_candidate& c, std::uint32_t known, octree_candidate* list) {
        const double half = c.edge * 0.5;
        const four_doubles slack = all(tree_.frame_.slack), unit = all(1 / tree_.frame_.unit);
        const four_doubles middle = c.corner + all(half);
        const four_masks upper = p_ >= middle * unit;
        const four_doubles to_lower = Measure::difference(p_, (middle + slack) * unit);
        const four_doubles to_upper = Measure::difference((middle - slack) * unit, p_);
        const four_doubles to_other = upper ? to_lower : to_upper;
        const four_doubles across = to_other > 0 ? to_other * to_other : all(0);

        const four_doubles x{c.gap[0], across[0], c.gap[0], across[0]};
        const four_doubles y{c.gap[1], c.gap[1], across[1], across[1]};
        unsigned left = bits(x + y + all(c.gap[2]) <= all(best_)) | bits(x + y + all(across[2]) <= all(best_)) << 4;
        const node_octree::block& cells = tree_.blocks_[c.cell.children];
        const unsigned nearest = bits(upper) & 7;
        unsigned count = 0;
        while (left != 0) {
            const unsigned flipped = 31 - unsigned(std::countl_zero(left)); // the axes along which the child is across
            left ^= 1u << flipped;
            const unsigned slot = nearest ^ flipped;
            const std::uint32_t begin = cells[slot].begin, end = slot == 7 ? c.end : cells[slot + 1].begin;
            if (begin == end)
                continue;
            if (!node_octree::is_range(cells[slot], end))
                list[count++] = {cells[slot], end, half, lanes_of[slot] ? middle : c.corner,
                                 lanes_of[flipped] ? across : c.gap};
            else if (begin != known)
                through_range<Over>(begin, end);
        }
        return count;
    }

    four_doubles p_;
    four_doubles of_p_[3]; // each of its coordinates in all lanes
    const node_octree& tree_;
    const double* x_;
    const double* y_;
    const double* z_;
    const unsigned* ids_;
    double best_ = std::numeric_limits<double>::max();
    unsigned found_ = no_node;
    std::uint32_t found_at_ = 0;
    std::uint32_t open_begin_ = 0;
    std::uint32_t open_end_ = 0;
};

namespace {

template <class Measure, class Search>
[[gnu::noinline]] unsigned search_again(const node_octree& tree, const vector_fixed<double, 3>& p,
                                        const Search& search) {
    nearest_search<Measure> state(tree, p);
    search(state);
    return state.found();
}

/// Runs search(nearest_search&) with the measure that the distance of the result needs.
template <class Search>
[[gnu::always_inline]] inline unsigned search_with_any(const node_octree& tree, const vector_fixed<double, 3>& p,
                                                       const Search& search) {
    nearest_search<plainly> state(tree, p);
    search(state);
    const unsigned found = state.found();
    if (found == no_node) // the square overflows
        return search_again<reduced>(tree, p, search);
    if (state.squared_distance() < 0x1p-900 && !state.is_at_point()) // it may underflow
        return search_again<magnified>(tree, p, search);
    return found;
}

} // namespace

unsigned node_octree::close_node(const vector_fixed<double, 3>& p) const {
    if (ids_.empty() || !frame_.holds(p) || !is_finite(p))
        return no_node;
    return quickest([&]() __attribute__((always_inline)) {
        const octree_descent way(*this, p, [](const cell& c, std::uint32_t) { return c.children == 0; });
        const unsigned level = way.level;
        const std::uint32_t begin = way.cell[level].begin, end = way.end[level];
        if (begin != end)
            return search_with_any(
                *this, p, [=](auto& state) __attribute__((always_inline)) { state.through_leaf(begin, end); });

        // A leaf without nodes has a cell beside it that holds some, for its parent was divided.
        const block& cells = blocks_[way.cell[level - 1].children];
        const unsigned slot = slot_of(way.q, level - 1);
        for (const unsigned flipped : {1u, 2u, 4u, 6u, 5u, 3u, 7u}) {
            const unsigned beside = slot ^ flipped;
            const std::uint32_t beside_end = beside == 7 ? way.end[level - 1] : cells[beside + 1].begin;
            if (cells[beside].begin == beside_end)
                continue;
            std::uint32_t q[3];
            for (unsigned i = 0; i < 3; ++i)
                q[i] = way.q[i] ^ (flipped >> i & 1) << (levels - level);
            return search_with_any(
                *this, p, [&](auto& state) __attribute__((always_inline)) {
                    state.template inside<false>(state.at_level(cells[beside], beside_end, q, level), no_node);
                });
        }
        return no_node;
    });
}

unsigned node_octree::closest_node(const vector_fixed<double, 3>& p) const {
    if (ids_.empty() || !is_finite(p))
        return no_node;
    return quickest([&]() __attribute__((always_inline)) {
        const octree_descent way(*this, p, [](const cell& c, std::uint32_t end) { return is_range(c, end); });
        std::uint32_t begin = way.cell[way.level].begin, end = way.end[way.level], known = begin;
        if (begin == end) { // where no node is, those before and behind in Morton order are not far
            begin -= std::min(begin, few / 4);
            end += std::min(way.end[0] - end, few / 4);
            known = no_node;
        }
        return search_with_any(
            *this, p, [&]<class Measure>(nearest_search<Measure> & state) __attribute__((always_inline)) {
                state.through_and_over(begin, end);
                if (way.level == 0)
                    return;
                unsigned level = 0;
                if constexpr (std::is_same_v<Measure, plainly>) {
                    const cells_around cells(frame_, p, way.q, way.level, state.squared_distance());
                    level = cells.common_level(way.level);
                    if (level == way.level && known != no_node)
                        return;
                    if (cells.are_near()) {
                        state.through_neighbors(way, cells, known);
                        return;
                    }
                }
                state.template inside<true>(state.at_level(way.cell[level], way.end[level], way.q, level), known);
            });
    });
}

} // namespace quorl::meldra::detail
