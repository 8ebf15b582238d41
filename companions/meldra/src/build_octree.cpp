// Building an octree: a radix sort of the nodes by the bits of their coordinates, after which the cells are ranges of
// the list.

#include "node_octree.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include <meldra/element_type.h>

#include "frame/id_count.h"
#include "frame/morton_order.h"

namespace quorl::meldra::detail {

namespace {

constexpr double largest_double = std::numeric_limits<double>::max();

bool is_finite(const double* x) {
    return std::isfinite(x[0]) && std::isfinite(x[1]) && std::isfinite(x[2]);
}

using meldra3d::detail::morton_bits;
using meldra3d::detail::morton_key;
using meldra3d::detail::number_of;
using meldra3d::detail::sort_by_place;

/// The place of a node from the given level on, of which the key holds as many bits as there are.
morton_key key_of(const octree_frame& frame, const double* x, unsigned id, unsigned level) {
    const auto bits = [&](unsigned i) { return frame.quantum(x[i], i) << level >> (32 - morton_bits); };
    return meldra3d::detail::morton_key_of(bits(0), bits(1), bits(2), id);
}

/// The child that holds a node, in a cell of the given level.
unsigned slot_of(morton_key key, unsigned level) {
    return unsigned(key >> (32 + 3 * (morton_bits - 1 - level % morton_bits))) & 7;
}

} // namespace

bool octree_frame::holds(const vector_fixed<double, 3>& p) const {
    for (unsigned i = 0; i < 3; ++i)
        if (p[i] < lowest[i] || p[i] > highest[i])
            return false;
    return true;
}

class octree_builder {
public:
    octree_builder(node_octree& tree, const dense2D<double>& pos) : tree_(tree), pos_(pos) {}

    bool run(const dense2D<unsigned int>& connect) {
        return mark_nodes(connect) && set_frame() && list_keys() && divide_root() && place_nodes();
    }

private:
    using block = node_octree::block;

    /// Calls visit(id, coordinates) for each node of the mesh, in the order of the IDs.
    template <class Visit>
    void for_each_node(Visit visit) const {
        for (std::size_t word = 0; word < marks_.size(); ++word)
            for (std::uint64_t left = marks_[word]; left != 0; left &= left - 1) {
                const std::size_t id = 64 * word + unsigned(std::countr_zero(left));
                visit(static_cast<unsigned>(id), pos_.col(id));
            }
    }

    bool mark_nodes(const dense2D<unsigned int>& connect) {
        if (!marks_.resize(meldra3d::detail::id_count(pos_.cols()) / 64 + 1, 0))
            return false;
        std::uint64_t* const marks = marks_.data();
        for (std::size_t j = 0; !connect.empty() && j < connect.cols(); ++j) {
            const unsigned* const column = connect.col(j);
            for (std::size_t i = 0; i < connect.rows(); ++i)
                if (column[i] != no_node)
                    marks[column[i] / 64] |= std::uint64_t(1) << column[i] % 64;
        }
        return true;
    }

    /// Measures the box, forgets the nodes that are not finite, and lays the cube around the box.
    bool set_frame() {
        octree_frame& frame = tree_.frame_;
        frame.lowest.fill(largest_double);
        frame.highest.fill(-largest_double);
        for_each_node([&](unsigned id, const double* x) {
            if (!is_finite(x)) {
                marks_[id / 64] &= ~(std::uint64_t(1) << id % 64);
                return;
            }
            ++nodes_;
            for (unsigned i = 0; i < 3; ++i) {
                frame.lowest[i] = std::min(frame.lowest[i], x[i]);
                frame.highest[i] = std::max(frame.highest[i], x[i]);
            }
        });
        if (nodes_ != 0)
            lay_cube(frame);
        return nodes_ < meldra3d::detail::id_limit;
    }

    static void lay_cube(octree_frame& frame) {
        double largest = 0;
        for (unsigned i = 0; i < 3; ++i)
            largest = std::max({largest, std::fabs(frame.lowest[i]), std::fabs(frame.highest[i])});
        frame.unit = largest > 0x1p500 ? reduce : largest < 0x1p-500 ? magnify : 1;
        double extent = 0;
        for (unsigned i = 0; i < 3; ++i)
            extent = std::max(extent, frame.highest[i] * frame.unit - frame.lowest[i] * frame.unit);
        const double size = extent > 0 ? extent * 1.000000000001 : 1e-12;
        double farthest = 0;
        for (unsigned i = 0; i < 3; ++i) {
            const double centre = (frame.highest[i] * frame.unit + frame.lowest[i] * frame.unit) * 0.5;
            frame.origin[i] = centre - size * 0.5;
            farthest = std::max(farthest, std::fabs(frame.origin[i]));
        }
        frame.scale = octree_frame::last_quantum / size;
        frame.edge = (octree_frame::last_quantum + 1) / frame.scale;
        frame.slack = 0x1p-44 * (farthest + frame.edge); // some 500 roundings of a coordinate
    }

    bool list_keys() {
        if (!keys_.resize(nodes_) || !work_.resize(nodes_))
            return false;
        morton_key* key = keys_.data();
        for_each_node([&](unsigned id, const double* x) { *key++ = key_of(tree_.frame_, x, id, 0); });
        sort_by_place(keys_.data(), work_.data(), nodes_);
        return true;
    }

    bool divide_root() {
        const auto n = static_cast<std::uint32_t>(nodes_);
        block root{};
        root.fill({n, 0});
        root[0].begin = 0;
        return tree_.blocks_.push_back(root) && divide(0, 0, 0, n, 0);
    }

    /// Divides a cell, the given one of a block, as far as it has to be. Not deeper than there are levels.
    bool divide(std::uint32_t in_block, unsigned in_slot, std::uint32_t begin, std::uint32_t end, unsigned level) {
        if (end - begin <= node_octree::leaf_nodes || level == node_octree::levels)
            return true;
        if (level != 0 && level % morton_bits == 0)
            sort_from(begin, end, level);
        const std::size_t number = tree_.blocks_.size();
        if (number >= no_node || !tree_.blocks_.push_back(parts(begin, end, level)))
            return false;
        tree_.blocks_[in_block][in_slot].children = static_cast<std::uint32_t>(number);
        for (unsigned slot = 0; slot < 8; ++slot) {
            const block& children = tree_.blocks_[number]; // may have moved
            const std::uint32_t next = slot == 7 ? end : children[slot + 1].begin;
            if (!divide(static_cast<std::uint32_t>(number), slot, children[slot].begin, next, level + 1))
                return false;
        }
        return true;
    }

    /// Nodes that the levels so far have not told apart are sorted by the next ones.
    void sort_from(std::uint32_t begin, std::uint32_t end, unsigned level) {
        for (std::uint32_t k = begin; k < end; ++k) {
            const unsigned id = number_of(keys_[k]);
            keys_[k] = key_of(tree_.frame_, pos_.col(id), id, level);
        }
        sort_by_place(keys_.data() + begin, work_.data(), end - begin);
    }

    block parts(std::uint32_t begin, std::uint32_t end, unsigned level) const {
        const morton_key* const keys = keys_.data();
        block children{};
        std::uint32_t at = begin;
        for (unsigned slot = 0; slot < 8; ++slot) {
            children[slot].begin = at;
            if (end - begin < 64)
                while (at < end && slot_of(keys[at], level) == slot)
                    ++at;
            else
                at = static_cast<std::uint32_t>(
                    std::partition_point(keys + at, keys + end,
                                         [=](morton_key key) { return slot_of(key, level) <= slot; }) -
                    keys);
        }
        return children;
    }

    bool place_nodes() {
        if (nodes_ == 0)
            return true;
        if (!tree_.coordinates_.resize(nodes_ + node_octree::read_over, 3) || !tree_.ids_.resize(nodes_))
            return false;
        double* const axis[3] = {tree_.coordinates_.col(0), tree_.coordinates_.col(1), tree_.coordinates_.col(2)};
        for (std::size_t k = 0; k < nodes_; ++k) {
            const unsigned id = number_of(keys_[k]);
            const double* const x = pos_.col(id);
            for (unsigned i = 0; i < 3; ++i)
                axis[i][k] = x[i];
            tree_.ids_[k] = id;
        }
        for (double* const values : axis)
            std::fill_n(values + nodes_, node_octree::read_over, std::numeric_limits<double>::infinity());
        return true;
    }

    node_octree& tree_;
    const dense2D<double>& pos_;
    std::size_t nodes_ = 0;
    dense1D<std::uint64_t, 8> marks_; // one bit a node
    dense1D<morton_key, 8> keys_;
    dense1D<morton_key, 8> work_;
};

bool node_octree::build(const dense2D<double>& pos, const dense2D<unsigned int>& connect) {
    return octree_builder(*this, pos).run(connect);
}

} // namespace quorl::meldra::detail
