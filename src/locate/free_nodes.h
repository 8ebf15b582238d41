#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>

#include <meldra/meldra.h>
#include <numcore/numcore.h>

#include "locate/element_search.h"

// The frame of the interpolations: nodes that belong to no element get values from the element that holds them, or from
// the node that is closest to them.
namespace quorl::meldra3d::detail {

/// A mesh of tetrahedra with values at its nodes, and what the search in it needs. `connectivity` may name anything.
struct valued_mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connectivity;
    dense2D<unsigned int> neighbors;
    dense1D<unsigned int, 8> ancestors;

    /// A node of no element; an entry that the ancestors lack is none.
    bool is_free(unsigned node) const { return node >= ancestors.size() || ancestors[node] == no_node; }
};

/// Makes coordinates that values between two addresses may share storage with ones of their own: they have to stay what
/// they are while values are written. False when memory ran out.
inline bool keep_apart(dense2D<double>& pos, const double* begin, const double* end) {
    const std::less<const double*> before;
    const double* const last = pos.data() + pos.ld() * pos.cols();
    return !before(begin, last) || !before(pos.data(), end) || pos.copy(pos);
}

/// Gives free nodes their values: values.combine(node, nodes of the element, local coordinates) for one that an element
/// holds, which may wait for values.finish(), values.copy(node, closest node) for another, and values.expect(node) some
/// time before for all nodes whose values it takes or gives. Free nodes are only written and the nodes of elements only
/// read, so that the order does not matter.
template <class Values>
class value_giver {
public:
    value_giver(const valued_mesh& mesh, const meldra::node_detector& detector, Values& values)
        : mesh_(mesh), detector_(detector), values_(values),
          search_(mesh.pos, mesh.connectivity, mesh.neighbors, mesh.ancestors, detector) {}

    /// For the nodes that the keys hold. False when memory ran out.
    bool give(dense1D<morton_key, 8>& nodes) {
        constexpr double tolerance = 1e-6;
        const double* const points = mesh_.pos.data();
        const std::size_t ld = mesh_.pos.ld();
        if (!order_points(points, ld, nodes, work_) ||
            !block_search<value_giver>(search_, points, ld, nodes, tolerance, *this).run())
            return false;
        values_.finish();
        return true;
    }

    [[gnu::always_inline]] void expect(std::size_t node) const { values_.expect(unsigned(node)); }

    void expect_at(const unsigned* nodes) const {
        for (unsigned i = 0; i < 4; ++i)
            values_.expect(nodes[i]);
    }

    void found(std::size_t node, unsigned element, const vector_fixed<double, 3>& local) {
        values_.combine(unsigned(node), search_.mesh().nodes_of(element), local);
    }

    void missed(std::size_t node, int) {
        const double* const x = mesh_.pos.col(node);
        if (const unsigned closest = detector_.find_closest({x[0], x[1], x[2]}); closest != no_node)
            values_.copy(unsigned(node), closest);
    }

private:
    const valued_mesh& mesh_;
    const meldra::node_detector& detector_;
    Values& values_;
    element_search search_;
    dense1D<morton_key, 8> work_;
};

/// The whole of it for checked arguments: for the nodes of a list (`no_node` is skipped) that are free and for which
/// wanted(node) holds. The values lie between values.begin() and values.end(). Returns 0, or -199 when memory ran out.
template <class Values, class Wanted>
int give_values(valued_mesh mesh, const dense1D<unsigned int, 8>& nodes, const Wanted& wanted, Values& values,
                std::size_t block_size = points_in_block) {
    if (!keep_apart(mesh.pos, values.begin(), values.end()))
        return search_out_of_memory;
    dense1D<morton_key, 8> keys;
    meldra::node_detector detector;
    value_giver<Values> giver(mesh, detector, values);
    bool prepared = false;
    for (const unsigned* node = nodes.begin(); node != nodes.end();) {
        if (!keys.resize(std::min(block_size, std::size_t(nodes.end() - node))))
            return search_out_of_memory;
        std::size_t count = 0;
        for (; node != nodes.end() && count != keys.size(); ++node)
            if (*node != no_node && mesh.is_free(*node) && wanted(*node))
                keys[count++] = *node;
        if (count == 0)
            break;
        // The other checks of the detector have been made.
        if (!keys.resize(count) || (!prepared && detector.reinit(mesh.pos, mesh.connectivity) != 0) ||
            !giver.give(keys))
            return search_out_of_memory;
        prepared = true;
    }
    return 0;
}

} // namespace quorl::meldra3d::detail
