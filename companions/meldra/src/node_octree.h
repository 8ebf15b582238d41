#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

// The nodes of a mesh in an octree, for finding those near a point.
namespace quorl::meldra::detail {

/// Coordinates between 2^-500 and 2^500 are taken as they are; larger or smaller ones are brought near 1 by a power of
/// two, so that extents and squares of distances are numbers.
inline constexpr double magnify = 0x1p600;
inline constexpr double reduce = 0x1p-600;

/// The cube around the nodes, and the 32-bit coordinates in it.
struct octree_frame {
    std::array<double, 3> lowest; // the box of the nodes
    std::array<double, 3> highest;
    double unit = 1;              // coordinates times this are those of `origin` and `edge`: 1, `magnify` or `reduce`
    std::array<double, 3> origin; // the corner of the cube
    double edge = 0;              // of the cube
    double scale = 0;             // quanta per unit of length
    double slack = 0;             // what rounding may move a node across a plane between two cells

    bool holds(const vector_fixed<double, 3>& p) const;
    /// What is not above 0 (NaN included) is 0; keeps the order of coordinates.
    std::uint32_t quantum(double x, unsigned axis) const {
        const double q = (x * unit - origin[axis]) * scale;
        return static_cast<std::uint32_t>(std::min(std::max(0.0, q), last_quantum));
    }
    static constexpr double last_quantum = 4294967295.0;
};

/// An octree over nodes, as a sorted list: the nodes stand in Morton order (G. M. Morton 1966; I. Gargantini, "An
/// effective way to represent quadtrees", CACM 25(12), 1982), so that each cell is a range of them. A cell of more than
/// `leaf_nodes` nodes is divided into eight, down to cells of one quantum, which hold any number. The tree depends only
/// on the set of nodes. Nothing changes once it is built, so any number of threads may search it.
class node_octree final : public numcore::ref_counted {
public:
    static constexpr std::uint32_t leaf_nodes = 7;
    static constexpr unsigned levels = 32;
    static constexpr std::size_t read_over = 7; // nodes behind the last that are read with it: at infinity

    /// The nodes from `begin` up to the `begin` of the cell behind it. `children` is the block of the eight parts in
    /// the order 4 z + 2 y + x, or 0 for a leaf.
    struct cell {
        std::uint32_t begin;
        std::uint32_t children;
    };
    using block = std::array<cell, 8>;

    /// True for cells that are quicker gone through than divided.
    static bool is_range(const cell& c, std::uint32_t end) { return c.children == 0 || end - c.begin <= few; }
    static constexpr std::uint32_t few = 64;

    /// Fills an empty tree with the nodes that the connectivity names (below the columns of `pos`, or `no_node`) and
    /// whose coordinates are finite. False when memory ran out.
    bool build(const dense2D<double>& pos, const dense2D<unsigned int>& connect);

    /// A node near the point: the nearest of its leaf, or of the first of the cells beside it that holds one. None
    /// (`no_node`) for a point outside the box of the nodes.
    unsigned close_node(const vector_fixed<double, 3>& p) const;

    /// The nearest node, of equally near ones that with the lowest ID. None when there are no nodes or the point is not
    /// finite.
    unsigned closest_node(const vector_fixed<double, 3>& p) const;

private:
    template <class Measure>
    friend class nearest_search;
    friend class octree_builder;
    friend struct octree_descent;

    /// Goes from a cell that is divided to one of its children.
    void step_down(cell& c, std::uint32_t& end, unsigned slot) const {
        const block& children = blocks_[c.children];
        if (slot != 7)
            end = children[slot + 1].begin;
        c = children[slot];
    }

    octree_frame frame_;
    dense1D<block, 8> blocks_;    // the first one holds only the root, and behind it the end of the nodes
    dense2D<double> coordinates_; // of the nodes in Morton order, a column an axis, and a few more rows to read over
    dense1D<unsigned int, 8> ids_;
};

} // namespace quorl::meldra::detail
