#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

#include <meldra/meldra.h>
#include <numcore/numcore.h>

#include "locate/element_search.h"

// The frame of the interpolations: nodes that belong to no element get values from the element that holds them, or from
// the node that is closest to them.
namespace quorl::meldra3d::detail {

/// A mesh of tetrahedra with its values at nodes and what the search in it needs. `connectivity` may name anything.
struct valued_mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connectivity;
    dense2D<unsigned int> neighbors;
    dense1D<unsigned int, 8> ancestors;

    /// A node of no element; an entry that the ancestors lack is none.
    bool is_free(unsigned node) const { return node >= ancestors.size() || ancestors[node] == no_node; }
};

/// The nodes to be given values, with their coordinates: copies, since the values may share storage with `pos`.
class free_nodes {
public:
    /// Takes those of a list (`no_node` is skipped) that are free and for which wanted(node) holds.
    template <class Wanted>
    bool take(const valued_mesh& mesh, const dense1D<unsigned int, 8>& nodes, const Wanted& wanted) {
        if (!ids_.reserve(nodes.size(), 1))
            return false;
        for (const unsigned node : nodes)
            if (node != no_node && mesh.is_free(node) && wanted(node) && !ids_.push_back(node))
                return false;
        if (!points_.resize(3, ids_.size()))
            return false;
        for (std::size_t k = 0; k < ids_.size(); ++k)
            std::copy_n(mesh.pos.col(ids_[k]), 3, points_.col(k));
        return true;
    }

    std::size_t size() const { return ids_.size(); }
    unsigned id(std::size_t k) const { return ids_[k]; }
    /// Asks for an ID.
    [[gnu::always_inline]] void expect(std::size_t k) const { __builtin_prefetch(ids_.data() + k); }
    const dense2D<double>& points() const { return points_; }

private:
    dense1D<unsigned int, 8> ids_;
    dense2D<double> points_;
};

/// Gives the free nodes their values: values.combine(node, nodes of the element, local coordinates) for one that an
/// element holds, which may wait for values.finish(), values.copy(node, closest node) for another, and
/// values.expect(node) some time before for all nodes whose values it takes. Free nodes are only written and the nodes
/// of elements only read, so that the order does not matter.
template <class Values>
class value_giver {
public:
    value_giver(const valued_mesh& mesh, const free_nodes& nodes, const meldra::node_detector& detector, Values& values)
        : nodes_(nodes), detector_(detector), values_(values),
          search_(mesh.pos, mesh.connectivity, mesh.neighbors, mesh.ancestors, detector) {}

    /// Returns 0, or -199 when memory ran out.
    int run() {
        constexpr double tolerance = 1e-6;
        if (!done_.resize(nodes_.size(), 0) ||
            find_all(search_, nodes_.points(), tolerance, *this) == search_out_of_memory)
            return search_out_of_memory;
        values_.finish();
        for (std::size_t k = 0; k < nodes_.size(); ++k)
            if (done_[k] == 0)
                copy_closest(k);
        return 0;
    }

    [[gnu::always_inline]] void expect(std::size_t k) const { nodes_.expect(k); }

    void expect_at(const unsigned* nodes) const {
        for (unsigned i = 0; i < 4; ++i)
            values_.expect(nodes[i]);
    }

    void found(std::size_t k, unsigned element, const vector_fixed<double, 3>& local) {
        done_[k] = 1;
        values_.combine(nodes_.id(k), search_.mesh().nodes_of(element), local);
    }

private:
    void copy_closest(std::size_t k) {
        const double* const x = nodes_.points().col(k);
        if (const unsigned closest = detector_.find_closest({x[0], x[1], x[2]}); closest != no_node)
            values_.copy(nodes_.id(k), closest);
    }

    const free_nodes& nodes_;
    const meldra::node_detector& detector_;
    Values& values_;
    element_search search_;
    dense1D<unsigned char, 8> done_; ///< for each of the nodes, whether an element holds it
};

/// The whole of it for checked arguments. Returns 0, or -199 when memory ran out.
template <class Values, class Wanted>
int give_values(const valued_mesh& mesh, const dense1D<unsigned int, 8>& nodes, const Wanted& wanted, Values& values) {
    free_nodes wanted_nodes;
    meldra::node_detector detector;
    if (!wanted_nodes.take(mesh, nodes, wanted))
        return search_out_of_memory;
    if (wanted_nodes.size() == 0)
        return 0;
    if (detector.reinit(mesh.pos, mesh.connectivity) != 0)
        return search_out_of_memory; // its other checks have been made
    return value_giver<Values>(mesh, wanted_nodes, detector, values).run();
}

} // namespace quorl::meldra3d::detail
