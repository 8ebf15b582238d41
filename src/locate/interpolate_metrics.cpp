// Interpolation of metrics and sizes at nodes that belong to no element.

#include <meldra3d/locate.h>

#include <algorithm>
#include <numeric>

#include "frame/id_count.h"
#include "locate/free_nodes.h"
#include "locate/metric_interpolation.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr int no_memory = -199;

/// All checks; `fits` tells whether there is a value for each node.
int check(const valued_mesh& mesh, bool fits, const dense1D<unsigned int, 8>& nodes) {
    if (mesh.pos.rows() != 3)
        return -1;
    if (mesh.connectivity.rows() != 4)
        return -2;
    if (mesh.neighbors.rows() != 4 || mesh.neighbors.cols() != mesh.connectivity.cols())
        return -3;
    if (mesh.ancestors.size() != mesh.pos.cols())
        return -4;
    if (!fits)
        return -5;
    return meldra::check_IDs(nodes, id_count(mesh.pos.cols())) ? 0 : -6;
}

/// Replaces IDs beyond the nodes, which make their elements useless, by `no_node`, in a copy. False without memory.
bool drop_bad_ids(valued_mesh& mesh) {
    const unsigned nodes = id_count(mesh.pos.cols());
    if (meldra::check_IDs(mesh.connectivity, nodes))
        return true;
    if (!mesh.connectivity.copy(mesh.connectivity))
        return false;
    unsigned* const ids = mesh.connectivity.data();
    std::replace_if(
        ids, ids + mesh.connectivity.size(), [nodes](unsigned id) { return id >= nodes; }, no_node);
    return true;
}

/// Metrics at the nodes, at a distance of `ld`. Points wait until there are eight, which are treated together.
class metric_values {
public:
    explicit metric_values(dense2D<double>& metrics)
        : data_(metrics.data()), count_(metrics.cols()), ld_(metrics.ld()) {}

    const double* begin() const { return data_; }
    const double* end() const { return at(count_); }

    bool is_valid(unsigned node) const { return is_valid_metric(load(node)); }

    [[gnu::always_inline]] void expect(unsigned node) const { __builtin_prefetch(at(node), 1); }

    void combine(unsigned node, const unsigned* nodes, const barycentric& w) {
        results_[waiting_] = at(node);
        points_[waiting_] = {{at(nodes[0]), at(nodes[1]), at(nodes[2]), at(nodes[3])}, w};
        if (++waiting_ == metrics_at_once)
            finish();
    }

    void finish() {
        combine_metrics(points_, waiting_, results_, &known_);
        waiting_ = 0;
    }

    void copy(unsigned node, unsigned from) const {
        const metric m = load(from);
        std::copy_n(m.values, 6, at(node));
    }

private:
    double* at(std::size_t node) const { return data_ + node * ld_; }
    metric load(unsigned node) const {
        metric m{};
        std::copy_n(at(node), 6, m.values);
        return m;
    }

    double* const data_;
    const std::size_t count_;
    const std::size_t ld_;
    unsigned waiting_ = 0;
    double* results_[metrics_at_once]{};
    metrics_around points_[metrics_at_once]{};
    solved_eigenproblems known_;
};

class size_values {
public:
    explicit size_values(dense1D<double, 8>& sizes) : data_(sizes.data()), count_(sizes.size()) {}

    const double* begin() const { return data_; }
    const double* end() const { return data_ + count_; }

    bool is_valid(unsigned node) const { return is_valid_size(data_[node]); }

    [[gnu::always_inline]] void expect(unsigned node) const { __builtin_prefetch(data_ + node, 1); }

    void combine(unsigned node, const unsigned* nodes, const barycentric& w) const {
        const double h[4] = {data_[nodes[0]], data_[nodes[1]], data_[nodes[2]], data_[nodes[3]]};
        if (const auto result = combine_sizes(h, w))
            data_[node] = *result;
    }

    void finish() const {}

    void copy(unsigned node, unsigned from) const { data_[node] = data_[from]; }

private:
    double* const data_;
    const std::size_t count_;
};

template <class Values>
int interpolate_at(valued_mesh mesh, bool fits, Values values, const dense1D<unsigned int, 8>& nodes, bool keep_valid) {
    if (nodes.empty())
        return 0;
    if (const int status = check(mesh, fits, nodes); status != 0)
        return status;
    if (!drop_bad_ids(mesh))
        return no_memory;
    return give_values(
        mesh, nodes, [&](unsigned node) { return !keep_valid || !values.is_valid(node); }, values);
}

/// The list of all columns. False when memory ran out or they have no IDs.
bool list_all(std::size_t count, dense1D<unsigned int, 8>& nodes) {
    if (count > id_limit || !nodes.resize(count))
        return false;
    std::iota(nodes.begin(), nodes.end(), 0u);
    return true;
}

} // namespace

int interpolate_metrics(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                        const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                        dense2D<double>& metrics, const dense1D<unsigned int, 8>& nodes, bool keep_valid) {
    return interpolate_at({pos, connectivity, neighbors, ancestors},
                          metrics.rows() == 6 && metrics.cols() == pos.cols(), metric_values(metrics), nodes,
                          keep_valid);
}

int interpolate_metrics(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                        const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                        dense2D<double>& metrics, bool keep_valid) {
    dense1D<unsigned int, 8> nodes;
    if (!list_all(pos.cols(), nodes))
        return no_memory;
    return interpolate_metrics(pos, connectivity, neighbors, ancestors, metrics, nodes, keep_valid);
}

int interpolate_metrics(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                        const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                        dense1D<double, 8>& sizes, const dense1D<unsigned int, 8>& nodes, bool keep_valid) {
    return interpolate_at({pos, connectivity, neighbors, ancestors}, sizes.size() == pos.cols(), size_values(sizes),
                          nodes, keep_valid);
}

int interpolate_metrics(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                        const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                        dense1D<double, 8>& sizes, bool keep_valid) {
    dense1D<unsigned int, 8> nodes;
    if (!list_all(pos.cols(), nodes))
        return no_memory;
    return interpolate_metrics(pos, connectivity, neighbors, ancestors, sizes, nodes, keep_valid);
}

} // namespace quorl::meldra3d
