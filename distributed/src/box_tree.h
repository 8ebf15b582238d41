#pragma once

#include <array>
#include <cstddef>
#include <cstring>

#include <meldra/element_type.h>

#include "frame/lanes.h"
#include "space_order.h"

namespace quorl::meldra3d_mpi::detail {

/// Boxes, and which of them hold a point: a tree in which each box is around four others, those of items that are
/// neighbours in space. (A hierarchy of bounding volumes, made bottom up along a curve: I. Kamel, C. Faloutsos, "On
/// packing R-trees", 1993.) 64 bytes an item.
class box_tree {
public:
    /// Takes n boxes: box_of(k) gives the k-th, which may be empty. False when memory ran out.
    template <class BoxOf>
    bool build(std::size_t n, const BoxOf& box_of) {
        if (!order_in_space(n, center_of(box_of), order_) || !make_levels(n))
            return false;
        for (std::size_t k = 0; k < n; ++k)
            set(0, k, box_of(order_[k]));
        join_levels(n);
        return true;
    }

    /// Calls visit(item) for each item whose box holds a point, its surface included. `visit` is always_inline.
    template <class Visit>
    [[gnu::always_inline]] void visit_around(const double* x, const Visit& visit) const {
        struct {
            unsigned level;
            std::size_t node;
        } waiting[4 * most_levels];
        unsigned count = 0;
        if (levels_ != 0)
            waiting[count++] = {levels_ - 1, 0};
        const meldra3d::detail::four_doubles p[3] = {meldra3d::detail::all(x[0]), meldra3d::detail::all(x[1]),
                                                     meldra3d::detail::all(x[2])};
        while (count != 0) {
            const auto [level, number] = waiting[--count];
            const node& one = nodes_[first_[level] + number];
            for (unsigned hits = holding(one, p); hits != 0; hits &= hits - 1) {
                const std::size_t child = 4 * number + unsigned(__builtin_ctz(hits));
                if (level == 0)
                    visit(order_[child]);
                else
                    waiting[count++] = {level - 1, child};
            }
        }
    }

    /// At most `limit` boxes (4 or more) that together are around all; the others of `boxes` become empty.
    void cover(box* boxes, std::size_t limit) const;

private:
    /// Four boxes.
    struct node {
        double low[3][4];
        double high[3][4];
    };
    static constexpr unsigned most_levels = 17; // 4^16 items are more than have numbers

    template <class BoxOf>
    static auto center_of(const BoxOf& box_of) {
        return [&](std::size_t k, double* x) {
            const box one = box_of(k);
            for (unsigned i = 0; i < 3; ++i)
                x[i] = 0.5 * one.low[i] + 0.5 * one.high[i];
        };
    }

    [[gnu::always_inline]] static unsigned holding(const node& one, const meldra3d::detail::four_doubles (&p)[3]) {
        meldra3d::detail::four_masks inside = meldra3d::detail::four_masks{} - 1;
        for (unsigned i = 0; i < 3; ++i) {
            meldra3d::detail::four_doubles low, high;
            std::memcpy(&low, one.low[i], sizeof low);
            std::memcpy(&high, one.high[i], sizeof high);
            inside &= (low <= p[i]) & (p[i] <= high);
        }
        return meldra3d::detail::bits(inside);
    }

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
