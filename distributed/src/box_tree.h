#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include <meldra/element_type.h>

#include "frame/lanes.h"
#include "space_order.h"

namespace quorl::meldra3d_mpi::detail {

/// Boxes, and which of them hold points: a tree in which each box is around four others, those of items that are
/// neighbours in space (a packed R-tree: N. Roussopoulos, D. Leifker, "Direct spatial search on pictorial databases
/// using packed R-trees", 1985). 68 bytes an item.
class box_tree {
public:
    /// Takes n boxes: box_of(k) gives the k-th, which may be empty; `around` tells about where they are. False when
    /// memory ran out.
    template <class BoxOf>
    bool build(std::size_t n, const box& around, const BoxOf& box_of) {
        if (!order_items(n, around, box_of) || !put_large_last(box_of) || !make_levels(order_.size()))
            return false;
        for (std::size_t k = 0; k < order_.size(); ++k)
            set(0, k, order_[k] == no_item ? box::none() : box_of(order_[k]));
        join_levels(order_.size());
        return true;
    }

    /// So many points at most go down the tree together.
    static constexpr unsigned most_points = 256;

    /// Calls visitor.visit(item, which, n) for the items whose boxes hold some of the points, their surfaces included:
    /// n of them, with the numbers which[0] to which[n - 1]. The points have three coordinates each, one behind the
    /// other, and should be neighbours: each box is read once for all that come to it. Some time before an item is
    /// visited, visitor.expect(item) may ask for the memory that it needs, and once that has come visitor.prepare(item)
    /// for more. All three are always_inline.
    template <class Visitor>
    [[gnu::always_inline]] void visit_around(const double* points, unsigned count, Visitor&& visitor) const {
        struct {
            std::size_t node;
            unsigned level, first, count; ///< its points stand in `lists`
        } waiting[4 * most_levels];
        std::uint16_t lists[(4 * most_levels + 1) * most_points];
        unsigned tasks = 0;
        if (levels_ != 0)
            waiting[tasks++] = {0, levels_ - 1, 0, count};
        for (unsigned k = 0; k < count; ++k)
            lists[k] = static_cast<std::uint16_t>(k);
        const node* const nodes = nodes_.data();
        const unsigned* const order = order_.data();
        while (tasks != 0) {
            const auto at = waiting[--tasks];
            const four_boxes boxes(nodes[first_[at.level] + at.node]);
            // The lists of the four follow that of the node, behind which nothing is needed any more.
            unsigned begin[4], end[4];
            for (unsigned c = 0; c < 4; ++c)
                begin[c] = end[c] = at.first + (c + 1) * at.count;
            for (unsigned i = 0; i < at.count; ++i) {
                const std::uint16_t k = lists[at.first + i];
                const unsigned holding = boxes.holding(points + std::size_t{3} * k);
                for (unsigned c = 0; c < 4; ++c) {
                    lists[end[c]] = k;
                    end[c] += holding >> c & 1;
                }
            }
            if (at.level != 0) {
                for (unsigned c = 0; c < 4; ++c)
                    if (end[c] != begin[c])
                        waiting[tasks++] = {4 * at.node + c, at.level - 1, begin[c], end[c] - begin[c]};
                continue;
            }
            const unsigned* const items = order + 4 * at.node;
            for (unsigned c = 0; c < 4; ++c)
                if (end[c] != begin[c])
                    visitor.expect(items[c]);
            for (unsigned c = 0; c < 4; ++c)
                if (end[c] != begin[c])
                    visitor.prepare(items[c]);
            for (unsigned c = 0; c < 4; ++c)
                if (end[c] != begin[c])
                    visitor.visit(items[c], lists + begin[c], end[c] - begin[c]);
        }
    }

private:
    static constexpr unsigned no_item = 0xFFFFFFFF;

    static double longest_edge(const box& one) {
        double longest = 0; // of an empty box, too
        for (unsigned i = 0; i < 3; ++i)
            longest = std::max(longest, one.high[i] - one.low[i]);
        return longest;
    }

    /// The centre of an item's box.
    struct centre {
        float x[3];
        unsigned item;
    };

    /// Orders them so that each aligned range of 4, 16, 64, ... keeps together: by halving ranges along their longest
    /// edge.
    static void halve(centre* list, std::size_t n);

    template <class BoxOf>
    bool order_items(std::size_t n, const box& around, const BoxOf& box_of) {
        dense1D<centre, 8> list(n);
        if (list.size() != n || !order_.resize(n))
            return false;
        const double longest = longest_edge(around);
        const double scale = longest > 0 && longest < std::numeric_limits<double>::infinity() ? 1 / longest : 0;
        for (std::size_t k = 0; k < n; ++k) {
            const box one = box_of(k);
            list[k].item = static_cast<unsigned>(k);
            for (unsigned i = 0; i < 3; ++i) { // max(0, NaN) is 0
                const double x = (0.5 * one.low[i] + 0.5 * one.high[i] - around.low[i]) * scale;
                list[k].x[i] = static_cast<float>(std::min(std::max(0.0, x), 1.0));
            }
        }
        halve(list.data(), n);
        for (std::size_t k = 0; k < n; ++k)
            order_[k] = list[k].item;
        return true;
    }

    /// Moves the items behind the others that are much larger than their neighbours: one such would make all boxes
    /// above it large. (Flat elements at the hull of a Delaunay mesh are many times as long as those inside.) Their
    /// places stay empty, so that ranges keep together.
    template <class BoxOf>
    bool put_large_last(const BoxOf& box_of) {
        constexpr std::size_t group = 64;
        constexpr double much = 3;
        const std::size_t n = order_.size();
        for (std::size_t first = 0; first < n; first += group) {
            const std::size_t count = std::min(group, n - first);
            double edge[group], sorted[group];
            for (std::size_t k = 0; k < count; ++k)
                sorted[k] = edge[k] = longest_edge(box_of(order_[first + k]));
            std::nth_element(sorted, sorted + count / 2, sorted + count);
            for (std::size_t k = 0; k < count; ++k)
                if (edge[k] > much * sorted[count / 2]) {
                    if (!order_.push_back(order_[first + k]))
                        return false;
                    order_[first + k] = no_item;
                }
        }
        return true;
    }

    /// Four boxes.
    struct node {
        double low[3][4];
        double high[3][4];
    };
    static constexpr unsigned most_levels = 17; // 4^16 items are more than have numbers

    /// The same in registers.
    struct four_boxes {
        meldra3d::detail::four_doubles low[3], high[3];

        [[gnu::always_inline]] explicit four_boxes(const node& one) {
            std::memcpy(low, one.low, sizeof low);
            std::memcpy(high, one.high, sizeof high);
        }

        /// Bit c: box c holds the point.
        [[gnu::always_inline]] unsigned holding(const double* x) const {
            using meldra3d::detail::all;
            return meldra3d::detail::bits((low[0] <= all(x[0])) & (all(x[0]) <= high[0]) & (low[1] <= all(x[1])) &
                                          (all(x[1]) <= high[1]) & (low[2] <= all(x[2])) & (all(x[2]) <= high[2]));
        }
    };

    bool make_levels(std::size_t n);
    void set(unsigned level, std::size_t k, const box& one);
    box get(unsigned level, std::size_t k) const;
    void join_levels(std::size_t n);
    std::size_t nodes_of(unsigned level) const { return first_[level + 1] - first_[level]; }

    dense1D<unsigned, 8> order_;                       ///< the items, in the order of the lowest boxes
    dense1D<node, 8> nodes_;                           ///< level after level, the root last
    std::array<std::size_t, most_levels + 1> first_{}; ///< where each level begins
    unsigned levels_ = 0;
};

} // namespace quorl::meldra3d_mpi::detail
