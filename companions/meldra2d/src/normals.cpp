// Nodal normals weighted by corner angles: the shares of the corners of four faces are computed side by side and added
// to their nodes.

// Vectors never cross a call here: everything that takes one is inlined. (Known to both compilers by this name.)
#pragma GCC diagnostic ignored "-Wpsabi"

#include <meldra2d/meldra2d.h>

#include <algorithm>
#include <array>
#include <utility>

#include <meldra/meldra.h>

#include "corner_normal.h"
#include "frame/id_count.h"
#include "frame/quickest.h"

namespace quorl::meldra2d {

namespace {

using namespace detail;

constexpr std::size_t columns_ahead = 16; // some 100 ns of work: the latency of memory

[[gnu::always_inline]] inline four_vectors gather(const std::array<const double*, at_once>& at) {
    return {four_doubles{at[0][0], at[1][0], at[2][0], at[3][0]}, four_doubles{at[0][1], at[1][1], at[2][1], at[3][1]},
            four_doubles{at[0][2], at[1][2], at[2][2], at[3][2]}};
}

/// Coordinates, and the sums of the shares.
struct nodes {
    const double* pos;
    std::size_t ld;
    double* sums; // contiguous

    [[gnu::always_inline]] const double* position(unsigned id) const { return pos + id * ld; }
    [[gnu::always_inline]] double* sum(unsigned id) const { return sums + std::size_t(id) * 3; }

    /// Fetches the nodes of a face into the cache.
    [[gnu::always_inline]] void prefetch(const unsigned* face, std::size_t rows) const {
        for (std::size_t i = 0; i < rows; ++i) {
            const unsigned id = face[i] == no_node ? face[0] : face[i];
            __builtin_prefetch(position(id));
            __builtin_prefetch(sum(id), 1);
        }
    }
};

/// Up to four faces of one kind.
template <std::size_t Corners>
class face_group {
public:
    explicit face_group(const nodes& all) : nodes_(all) {}

    [[gnu::always_inline]] void add(const unsigned* face) {
        faces_[count_] = face;
        if (++count_ == at_once)
            finish();
    }

    /// Adds the shares of the faces that are here to their nodes.
    [[gnu::always_inline]] void finish() {
        if (count_ == 0)
            return;
        std::fill(faces_.begin() + count_, faces_.end(), faces_[0]); // computed, but not added
        std::array<four_vectors, Corners> share;
        compute(share);
        for (unsigned k = 0; k < count_; ++k)
            for (std::size_t c = 0; c < Corners; ++c) {
                double* const sum = nodes_.sum(faces_[k][c]);
                sum[0] += share[c].x[k];
                sum[1] += share[c].y[k];
                sum[2] += share[c].z[k];
            }
        count_ = 0;
    }

private:
    [[gnu::always_inline]] void compute(std::array<four_vectors, Corners>& share) const {
        std::array<four_vectors, Corners> corner, edge;
        for (std::size_t c = 0; c < Corners; ++c)
            corner[c] = gather({nodes_.position(faces_[0][c]), nodes_.position(faces_[1][c]),
                                nodes_.position(faces_[2][c]), nodes_.position(faces_[3][c])});
        for (std::size_t c = 0; c < Corners; ++c)
            edge[c] = scaled(corner[(c + 1) % Corners] - corner[c]);
        if constexpr (Corners == 3) {
            for (std::size_t c = 0; c < 3; ++c)
                share[c] = triangle_corner(edge[(c + 2) % 3], edge[c]);
        } else {
            const spanned_plane whole(scaled(corner[2] - corner[0]), scaled(corner[3] - corner[1]));
            for (std::size_t c = 0; c < 4; ++c)
                share[c] = quadrangle_corner(edge[(c + 3) % 4], edge[c], whole);
        }
    }

    const nodes nodes_;
    unsigned count_ = 0;
    std::array<const unsigned*, at_once> faces_{};
};

[[gnu::always_inline]] inline void add_corners(const dense2D<unsigned int>& surface, const nodes& all) {
    face_group<3> triangles(all);
    face_group<4> quadrangles(all);
    const unsigned* face = surface.data();
    for (std::size_t j = 0; j < surface.cols(); ++j, face += surface.ld()) {
        if (j + columns_ahead < surface.cols())
            all.prefetch(face + columns_ahead * surface.ld(), surface.rows());
        if (surface.rows() == 4 && face[3] != no_node)
            quadrangles.add(face);
        else
            triangles.add(face);
    }
    triangles.finish();
    quadrangles.finish();
}

/// Scales the sums to length 1 if asked, and sets those to zero that are too short.
[[gnu::always_inline]] inline void finish_normals(double tolerance, bool unit, dense2D<double>& sums) {
    double* at = sums.data();
    for (std::size_t j = 0; j < sums.cols(); j += at_once) {
        const std::size_t last = std::min<std::size_t>(at_once, sums.cols() - j) - 1;
        const four_vectors sum = gather(
            {at, at + 3 * std::min<std::size_t>(1, last), at + 3 * std::min<std::size_t>(2, last), at + 3 * last});
        const four_doubles scale = scale_of(sum);
        const four_vectors direction = scale * sum;
        const four_doubles length = root(dot(direction, direction));
        const four_doubles factor = unit ? 1 / length : 1 / scale;
        // The comparison fails for the zero vector, too.
        const four_vectors normal = choose(length > tolerance * scale, factor * direction, four_vectors{});
        for (std::size_t k = 0; k <= last; ++k, at += 3) {
            at[0] = normal.x[k];
            at[1] = normal.y[k];
            at[2] = normal.z[k];
        }
    }
}

} // namespace

int normals(const dense2D<double>& pos, const dense2D<unsigned int>& connectS, double tolerance, bool unit,
            dense2D<double>& normals) {
    const dense2D<double> positions = pos; // holds the input when `normals` is a view of it
    normals.clear();
    if (!connectS.empty()) {
        if (positions.rows() != 3)
            return -1;
        const auto count = meldra3d::detail::id_count(positions.cols());
        if (!meldra::check_IDs(connectS, ET_FACE_MIX, count))
            return -2;
        if (!(tolerance >= 0)) // negated: NaN is refused, too
            return -3;
    }
    dense2D<double> sums;
    if (!sums.resize(3, positions.cols(), 0.0))
        return -199;
    if (!connectS.empty())
        meldra3d::detail::quickest([&]() __attribute__((always_inline)) {
            add_corners(connectS, {positions.data(), positions.ld(), sums.data()});
            finish_normals(tolerance, unit, sums);
        });
    normals = std::move(sums);
    return 0;
}

} // namespace quorl::meldra2d
