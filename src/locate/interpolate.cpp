// Linear interpolation of nodal fields at nodes that belong to no element.

#include <meldra3d/locate.h>

#include <algorithm>

#include "frame/id_count.h"
#include "locate/free_nodes.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

/// All checks; `fits` tells whether there is a value for each node.
int check(const valued_mesh& mesh, bool fits, const dense1D<unsigned int, 8>& nodes) {
    if (mesh.pos.rows() != 3)
        return -1;
    if (!meldra::check_IDs(mesh.connectivity, ET_TH4, id_count(mesh.pos.cols())))
        return -2;
    const unsigned elements = id_count(mesh.connectivity.cols());
    if (mesh.neighbors.cols() != mesh.connectivity.cols() || mesh.neighbors.rows() != 4 ||
        !meldra::check_IDs(mesh.neighbors, elements))
        return -3;
    if (!meldra::check_IDs(mesh.ancestors, elements))
        return -4;
    if (!fits)
        return -5;
    return meldra::check_IDs(nodes, id_count(mesh.pos.cols())) ? 0 : -6;
}

/// A field at the nodes: `components` values each, at a distance of `ld`.
class linear_values {
public:
    linear_values(double* data, std::size_t nodes, std::size_t ld, std::size_t components)
        : data_(data), nodes_(nodes), ld_(ld), components_(components) {}

    const double* begin() const { return data_; }
    const double* end() const { return at(nodes_); }

    [[gnu::always_inline]] void expect(unsigned node) const { __builtin_prefetch(at(node), 1); }

    void combine(unsigned node, const unsigned* nodes, const vector_fixed<double, 3>& w) const {
        const double *const f0 = at(nodes[0]), *const f1 = at(nodes[1]), *const f2 = at(nodes[2]),
                            *const f3 = at(nodes[3]);
        double* const f = at(node);
        for (std::size_t i = 0; i < components_; ++i)
            f[i] = (f0[i] - f3[i]) * w[0] + (f1[i] - f3[i]) * w[1] + (f2[i] - f3[i]) * w[2] + f3[i];
    }

    void finish() const {}

    void copy(unsigned node, unsigned from) const {
        if (node != from)
            std::copy_n(at(from), components_, at(node));
    }

private:
    double* at(std::size_t node) const { return data_ + node * ld_; }

    double* const data_;
    const std::size_t nodes_;
    const std::size_t ld_;
    const std::size_t components_;
};

int interpolate_at(const valued_mesh& mesh, bool fits, linear_values values, const dense1D<unsigned int, 8>& nodes) {
    if (nodes.empty())
        return 0;
    if (const int status = check(mesh, fits, nodes); status != 0)
        return status;
    return give_values(
        mesh, nodes, [](unsigned) { return true; }, values);
}

} // namespace

int interpolate(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                dense2D<double>& field, const dense1D<unsigned int, 8>& nodes) {
    return interpolate_at({pos, connectivity, neighbors, ancestors}, field.cols() == pos.cols(),
                          {field.data(), field.cols(), field.ld(), field.rows()}, nodes);
}

int interpolate(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                dense1D<double, 8>& field, const dense1D<unsigned int, 8>& nodes) {
    return interpolate_at({pos, connectivity, neighbors, ancestors}, field.size() == pos.cols(),
                          {field.data(), field.size(), 1, 1}, nodes);
}

} // namespace quorl::meldra3d
