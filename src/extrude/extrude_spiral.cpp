// Sweep about an axis and along a vector: each level is the surface turned by a fraction of the whole rotation and
// moved by the same fraction of the whole shift.

#include <meldra3d/extrude.h>

#include "extrude/spacing.h"
#include "extrude/sweep.h"
#include "extrude/turned_level.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;
using vec3 = vector_fixed<double, 3>;

// The codes of the rotation, although the shift moves the later arguments one place on: callers rely on them.
constexpr sweep_codes codes{-5, -6, -8, -9, -10, -11};

class spiral_path final : public sweep_path {
public:
    spiral_path(const vec3& axis_point, const vec3& rotation, const vec3& shift)
        : axis_point_(axis_point), rotation_(rotation), shift_(shift) {}

    /// The shift alone: turning plays no part in the number of layers.
    double length() const override { return vector_length(shift_[0], shift_[1], shift_[2]); }

    void begin(const level_group& levels) override {
        for (std::uint32_t k = 0; k < levels.count; ++k) {
            const double t = levels.t[k];
            const vec3 moved{axis_point_[0] + t * shift_[0], axis_point_[1] + t * shift_[1],
                             axis_point_[2] + t * shift_[2]};
            motions_[k] = {axis_point_, rotation_matrix({t * rotation_[0], t * rotation_[1], t * rotation_[2]}), moved};
        }
    }

    void place(const sweep_level& level) const override { place_moved(level, motions_[level.place]); }

private:
    const vec3 axis_point_;
    const vec3 rotation_;
    const vec3 shift_;
    level_motions motions_{};
};

} // namespace

int extrude_spiral(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                   const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                   const vector_fixed<double, 3>& shift, double size_start, double size_end, bool even_layers,
                   dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                   dense2D<unsigned int>& connectT) {
    spiral_path path(axis_point, rotation, shift);
    return sweep({pos, connectS, connectE, edges, connectQ, connectT}, codes, {size_start, size_end, even_layers},
                 path);
}

int extrude_spiral(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                   const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                   const vector_fixed<double, 3>& shift, double size_start, double size_end, bool even_layers,
                   dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_spiral(pos, connectS, axis_point, rotation, shift, size_start, size_end, even_layers, connectE,
                          edges, connectQ, connectT);
}

int extrude_spiral(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                   const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                   const vector_fixed<double, 3>& shift, unsigned int nlayers, dense2D<unsigned int>& connectE,
                   const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                   dense2D<unsigned int>& connectT) {
    if (nlayers == 0)
        return 0;
    if (!suits_rows(connectE, 6, 8))
        return -7;
    if (!suits_rows(connectT, 3, 4))
        return -8; // not its position, but what callers know
    spiral_path path(axis_point, rotation, shift);
    return sweep_equal_layers({pos, connectS, connectE, edges, connectQ, connectT}, codes, nlayers, path);
}

int extrude_spiral(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                   const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                   const vector_fixed<double, 3>& shift, unsigned int nlayers, dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_spiral(pos, connectS, axis_point, rotation, shift, nlayers, connectE, edges, connectQ, connectT);
}

} // namespace quorl::meldra3d
