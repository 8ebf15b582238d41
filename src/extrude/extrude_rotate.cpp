// Sweep about an axis: each level is the surface turned by a fraction of the whole rotation.

#include <meldra3d/extrude.h>

#include <algorithm>

#include <meldra/element_type.h>

#include "extrude/spacing.h"
#include "extrude/sweep.h"
#include "extrude/turned_level.h"
#include "frame/id_count.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;
using vec3 = vector_fixed<double, 3>;

constexpr sweep_codes codes{-5, -6, -8, -9, -10, -11};
/// The form with a count checks the matrices at their own positions before it calls the form with sizes.
constexpr sweep_codes count_codes{0, 0, -6, -7, -8, -9};

class rotation_path final : public sweep_path {
public:
    rotation_path(const sweep_arrays& arrays, const vec3& axis_point, const vec3& rotation)
        : arrays_(arrays), axis_point_(axis_point), rotation_(rotation) {}

    /// The arc of the first node, as if the whole of its distance from the point of the axis were its radius.
    double length() const override {
        const double* const first = arrays_.pos.col(arrays_.connectS(0, 0));
        const double z = arrays_.pos.rows() == 3 ? first[2] : 0;
        return vector_length(rotation_[0], rotation_[1], rotation_[2]) *
               vector_length(first[0] - axis_point_[0], first[1] - axis_point_[1], z - axis_point_[2]);
    }

    void begin(const level_group& levels) override {
        for (std::uint32_t k = 0; k < levels.count; ++k) {
            const double t = levels.t[k];
            motions_[k] = {axis_point_, rotation_matrix({t * rotation_[0], t * rotation_[1], t * rotation_[2]}),
                           axis_point_};
        }
    }

    void place(const sweep_level& level) const override { place_moved(level, motions_[level.place]); }

private:
    const sweep_arrays& arrays_;
    const vec3 axis_point_;
    const vec3 rotation_;
    level_motions motions_{};
};

/// What the form with a count must know before it can ask for the length of the path.
int check_first_node(const sweep_arrays& arrays) {
    if (arrays.pos.rows() != 2 && arrays.pos.rows() != 3)
        return -1;
    if (arrays.connectS(0, 0) >= id_count(arrays.pos.cols()))
        return -2;
    return check_sweep_outputs(arrays, count_codes);
}

} // namespace

int extrude_rotate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                   const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                   double size_start, double size_end, bool even_layers, dense2D<unsigned int>& connectE,
                   const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                   dense2D<unsigned int>& connectT) {
    const sweep_arrays arrays{pos, connectS, connectE, edges, connectQ, connectT};
    rotation_path path(arrays, axis_point, rotation);
    return sweep(arrays, codes, {size_start, size_end, even_layers}, path);
}

int extrude_rotate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                   const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                   double size_start, double size_end, bool even_layers, dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_rotate(pos, connectS, axis_point, rotation, size_start, size_end, even_layers, connectE, edges,
                          connectQ, connectT);
}

int extrude_rotate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                   const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                   unsigned int nlayers, dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges,
                   dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT) {
    if (nlayers == 0 || connectS.empty())
        return 0;
    const sweep_arrays arrays{pos, connectS, connectE, edges, connectQ, connectT};
    if (const int status = check_first_node(arrays); status != 0)
        return status;
    rotation_path path(arrays, axis_point, rotation);
    return sweep_equal_layers(arrays, codes, nlayers, path);
}

int extrude_rotate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                   const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                   unsigned int nlayers, dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_rotate(pos, connectS, axis_point, rotation, nlayers, connectE, edges, connectQ, connectT);
}

} // namespace quorl::meldra3d
