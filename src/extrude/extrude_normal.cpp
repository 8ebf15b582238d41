// Sweep of each node along a vector of its own: the normal of the surface there, or one that the caller gives.

#include <meldra3d/extrude.h>

#include <algorithm>

#include <meldra/meldra.h>
#include <meldra2d/meldra2d.h>

#include "extrude/sweep.h"
#include "frame/id_count.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr sweep_codes thickness_codes{-4, -5, -7, -8, -9, -10};
constexpr sweep_codes count_codes{0, 0, -5, 0, 0, -6};     // of the form with a thickness
constexpr sweep_codes vectors_codes{0, 0, -5, -6, -7, -8}; // this form has no sizes

/// A fraction of a vector for each node: `thickness` times column i of `vectors` is the whole way of node i.
class along_vectors : public sweep_path {
public:
    explicit along_vectors(double thickness) : thickness_(thickness) {}
    along_vectors(double thickness, const dense2D<double>& vectors) : thickness_(thickness), vectors_(vectors) {}

    double length() const final { return thickness_; }
    const dense2D<double>* vectors() const final { return &vectors_; }

    void place(const sweep_level& level) const final {
        const double d = level.t * thickness_;
        // A factor of exactly 0 moves nothing, not even where the vector is not finite.
        for (std::size_t k = 0; k < 3 * level.count; ++k)
            level.images[k] = d != 0 ? level.originals[k] + d * level.vectors[k] : level.originals[k];
    }

protected:
    const double thickness_;
    dense2D<double> vectors_;
};

class along_normals final : public along_vectors {
public:
    along_normals(const sweep_arrays& arrays, double thickness) : along_vectors(thickness), arrays_(arrays) {}

    int check() const override { return thickness_ > 0 ? 0 : -3; } // a NaN is refused, too

    int prepare() override {
        return std::min(meldra2d::normals(arrays_.pos, arrays_.connectS, 0.0, true, vectors_), 0);
    }

private:
    const sweep_arrays arrays_;
};

} // namespace

int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, double thickness, double size_start,
                   double size_end, bool even_layers, dense2D<unsigned int>& connectE,
                   const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                   dense2D<unsigned int>& connectT) {
    if (connectS.empty())
        return 0;
    if (pos.rows() != 3) // the other sweeps take 2 rows as well
        return -1;
    const sweep_arrays arrays{pos, connectS, connectE, edges, connectQ, connectT};
    along_normals path(arrays, thickness);
    return sweep(arrays, thickness_codes, {size_start, size_end, even_layers}, path);
}

int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, double thickness, double size_start,
                   double size_end, bool even_layers, dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_normal(pos, connectS, thickness, size_start, size_end, even_layers, connectE, edges, connectQ,
                          connectT);
}

int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, double thickness, unsigned int nlayers,
                   dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                   dense2D<unsigned int>& connectT) {
    if (nlayers == 0)
        return 0;
    // Two of the arguments are checked ahead of all others, with the numbers that the caller counts.
    dense2D<unsigned int> unchecked;
    const sweep_arrays solids_and_cap{pos, connectS, connectE, unchecked, unchecked, connectT};
    if (const int status = check_sweep_outputs(solids_and_cap, count_codes); status != 0)
        return status;
    const double size = thickness / nlayers;
    return extrude_normal(pos, connectS, thickness, size, size, false, connectE, edges, connectQ, connectT);
}

int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, double thickness, unsigned int nlayers,
                   dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_normal(pos, connectS, thickness, nlayers, connectE, edges, connectQ, connectT);
}

int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const dense2D<double>& node_shifts,
                   unsigned int nlayers, dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges,
                   dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT) {
    if (connectS.empty())
        return 0;
    if (pos.rows() != 3)
        return -1;
    const unsigned nodes = id_count(std::min(pos.cols(), node_shifts.cols()));
    if (!meldra::check_IDs(connectS, ET_FACE_MIX, nodes))
        return -2;
    if (node_shifts.rows() != 3)
        return -3;
    const sweep_arrays arrays{pos, connectS, connectE, edges, connectQ, connectT};
    if (const int status = check_sweep_outputs(arrays, vectors_codes); status != 0)
        return status;
    along_vectors path(1, node_shifts);
    return sweep_layers(arrays, nlayers, {1, 1, false}, path);
}

int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const dense2D<double>& node_shifts,
                   unsigned int nlayers, dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_normal(pos, connectS, node_shifts, nlayers, connectE, edges, connectQ, connectT);
}

} // namespace quorl::meldra3d
