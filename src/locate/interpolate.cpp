// Linear interpolation of nodal fields at nodes that belong to no element.

#include <meldra3d/locate.h>

#include <algorithm>

#include "frame/id_count.h"
#include "locate/free_nodes.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

/// The checks ahead of that of the field.
int check(const valued_mesh& mesh) {
    if (mesh.pos.rows() != 3)
        return -1;
    if (!meldra::check_IDs(mesh.connectivity, ET_TH4, id_count(mesh.pos.cols())))
        return -2;
    const unsigned elements = id_count(mesh.connectivity.cols());
    if (mesh.neighbors.cols() != mesh.connectivity.cols() || mesh.neighbors.rows() != 4 ||
        !meldra::check_IDs(mesh.neighbors, elements))
        return -3;
    return meldra::check_IDs(mesh.ancestors, elements) ? 0 : -4;
}

/// A field at the nodes: `components` values each, at a distance of `ld`.
class linear_values {
public:
    linear_values(double* data, std::size_t ld, std::size_t components)
        : data_(data), ld_(ld), components_(components) {}

    [[gnu::always_inline]] void expect(unsigned node) const { __builtin_prefetch(at(node), 1); }

    void combine(unsigned node, const unsigned* nodes, const vector_fixed<double, 3>& w) const {
        const double *const f0 = at(nodes[0]), *const f1 = at(nodes[1]), *const f2 = at(nodes[2]),
                            *const f3 = at(nodes[3]);
        double* const f = at(node);
        for (std::size_t i = 0; i < components_; ++i)
            f[i] = (f0[i] - f3[i]) * w[0] + (f1[i] - f3[i]) * w[1] + (f2[i] - f3[i]) * w[2] + f3[i];
    }

    void copy(unsigned node, unsigned from) const {
        if (node != from)
            std::copy_n(at(from), components_, at(node));
    }

private:
    double* at(unsigned node) const { return data_ + node * ld_; }

    double* const data_;
    const std::size_t ld_;
    const std::size_t components_;
};

int interpolate_checked(const valued_mesh& mesh, const dense1D<unsigned int, 8>& nodes, linear_values values) {
    return give_values(
        mesh, nodes, [](unsigned) { return true; }, values);
}

} // namespace

int interpolate(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                dense2D<double>& field, const dense1D<unsigned int, 8>& nodes) {
    if (nodes.empty())
        return 0;
    const valued_mesh mesh{pos, connectivity, neighbors, ancestors};
    if (const int status = check(mesh); status != 0)
        return status;
    if (field.cols() != pos.cols())
        return -5;
    if (!meldra::check_IDs(nodes, id_count(pos.cols())))
        return -6;
    return interpolate_checked(mesh, nodes, {field.data(), field.ld(), field.rows()});
}

int interpolate(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                dense1D<double, 8>& field, const dense1D<unsigned int, 8>& nodes) {
    if (nodes.empty())
        return 0;
    const valued_mesh mesh{pos, connectivity, neighbors, ancestors};
    if (const int status = check(mesh); status != 0)
        return status;
    if (field.size() != pos.cols())
        return -5;
    if (!meldra::check_IDs(nodes, id_count(pos.cols())))
        return -6;
    return interpolate_checked(mesh, nodes, {field.data(), 1, 1});
}

} // namespace quorl::meldra3d
