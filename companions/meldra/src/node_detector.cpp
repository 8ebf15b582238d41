#include <meldra/meldra.h>

#include <algorithm>
#include <new>

#include "frame/id_count.h"
#include "node_octree.h"

namespace quorl::meldra {

namespace {

const detail::node_octree& octree(const numcore::ref_counted& tree) {
    return static_cast<const detail::node_octree&>(tree);
}

} // namespace

int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity) {
    tree_ = nullptr;
    if (connectivity.empty())
        return 0;
    if (pos.rows() != 3)
        return -1;
    if (!check_IDs(connectivity, meldra3d::detail::id_count(pos.cols())))
        return -2;
    const Ptr<detail::node_octree> tree(new (std::nothrow) detail::node_octree);
    if (!tree || !tree->build(pos, connectivity))
        return -199;
    tree_ = tree.get();
    return 0;
}

unsigned int node_detector::find_close(const vector_fixed<double, 3>& point) const {
    return tree_ ? octree(*tree_).close_node(point) : no_node;
}

unsigned int node_detector::find_closest(const vector_fixed<double, 3>& point) const {
    return tree_ ? octree(*tree_).closest_node(point) : no_node;
}

} // namespace quorl::meldra
