// Sweep along a straight vector: each level is the surface moved by a fraction of the vector.

#include <meldra3d/extrude.h>

#include "extrude/spacing.h"
#include "extrude/sweep.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr sweep_codes codes{-4, -5, -7, -8, -9, -10};

class translation final : public sweep_path {
public:
    explicit translation(const vector_fixed<double, 3>& dir) : dir_(dir) {}

    double length() const override { return vector_length(dir_[0], dir_[1], dir_[2]); }

    void place(const sweep_level& level) const override {
        // A fraction of exactly 0 moves nothing, not even where the vector is not finite.
        vector_fixed<double, 3> shift{0, 0, 0};
        if (level.t != 0)
            shift = {level.t * dir_[0], level.t * dir_[1], level.t * dir_[2]};
        const double* x = level.originals;
        double* image = level.images;
        for (std::size_t j = 0; j < level.count; ++j, x += 3, image += 3) {
            image[0] = x[0] + shift[0];
            image[1] = x[1] + shift[1];
            image[2] = x[2] + shift[2];
        }
    }

private:
    const vector_fixed<double, 3> dir_;
};

} // namespace

int extrude_translate(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const vector_fixed<double, 3>& dir,
                      double size_start, double size_end, bool even_layers, dense2D<unsigned int>& connectE,
                      const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                      dense2D<unsigned int>& connectT) {
    translation path(dir);
    return sweep({pos, connectS, connectE, edges, connectQ, connectT}, codes, {size_start, size_end, even_layers},
                 path);
}

int extrude_translate(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const vector_fixed<double, 3>& dir,
                      double size_start, double size_end, bool even_layers, dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_translate(pos, connectS, dir, size_start, size_end, even_layers, connectE, edges, connectQ,
                             connectT);
}

int extrude_translate(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const vector_fixed<double, 3>& dir,
                      unsigned int nlayers, dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges,
                      dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT) {
    translation path(dir);
    return sweep_equal_layers({pos, connectS, connectE, edges, connectQ, connectT}, codes, nlayers, path);
}

int extrude_translate(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const vector_fixed<double, 3>& dir,
                      unsigned int nlayers, dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_translate(pos, connectS, dir, nlayers, connectE, edges, connectQ, connectT);
}

} // namespace quorl::meldra3d
