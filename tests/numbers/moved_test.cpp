// Meshes far from the origin. Where coordinates are multiples of 1/64 and the mesh is moved by 2^27 times its size,
// about 1e8, the differences of nodes are exact, so what is computed from them must have the same bits. Of other
// coordinates the move itself rounds away 27 bits, and no export loses much more.

#include "properties/random_solids.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

constexpr double far_away[] = {134217728, -268435456, 402653184}; // 1, -2 and 3 times 2^27

dense2D<double> on_grid(const dense2D<double>& pos) {
    dense2D<double> result;
    RC_ASSERT(result.copy(pos));
    for (std::size_t k = 0; k < result.size(); ++k)
        result.data()[k] = std::round(64 * result.data()[k]) / 64;
    return result;
}

dense2D<double> moved(const dense2D<double>& pos) {
    dense2D<double> result;
    RC_ASSERT(result.copy(pos));
    for (std::size_t j = 0; j < result.cols(); ++j)
        for (unsigned i = 0; i < 3; ++i)
            result(i, j) += far_away[i];
    return result;
}

solid_mesh random_mesh_on_grid() {
    const solid_mesh m = *rc::gen::inRange(0, 2) == 0 ? random_solids() : random_tetrahedra();
    return {on_grid(m.pos), m.connect};
}

} // namespace

TEST(NumbersMoved, VolumesAndAnglesHaveTheSameBits) {
    expect_property([] {
        const solid_mesh m = random_mesh_on_grid(), far{moved(m.pos), m.connect};
        RC_ASSERT(volume_of(m) == volume_of(far));
        const std::size_t n = m.connect.cols();
        for (const auto angles : {solid_angles, dihedral_angles}) {
            dense1D<double> a(n), b(n), c(n), d(n);
            RC_ASSERT(angles(m.pos, m.connect, true, a, b) == 0 && angles(far.pos, m.connect, true, c, d) == 0);
            RC_ASSERT(std::equal(a.begin(), a.end(), c.begin()) && std::equal(b.begin(), b.end(), d.begin()));
        }
    });
}

TEST(NumbersMoved, NormalsHaveTheSameBits) {
    expect_property([] {
        patch p = pierced_patch();
        for (std::size_t j = 0; j < p.pos.cols(); ++j)
            p.pos(2, j) = coordinate();
        const dense2D<double> near = on_grid(p.pos);
        dense2D<double> a, b;
        RC_ASSERT(meldra2d::normals(near, p.faces, 0, true, a) == 0);
        RC_ASSERT(meldra2d::normals(moved(near), p.faces, 0, true, b) == 0);
        RC_ASSERT(entries(a) == entries(b));
    });
}

TEST(NumbersMoved, CircumcentresMoveAlongWithinTheShapeOfTheirElements) {
    // The centre of the circle around a face is rounded to a place far away, about 6e-8, before the centre of the
    // sphere is sought from there. Elements of this mesh multiply that by less than 100.
    expect_property([] {
        const solid_mesh any = random_tetrahedra(), m{on_grid(any.pos), any.connect};
        dense2D<double> a, b;
        RC_ASSERT(circumcenters(m.pos, m.connect, a) == 0 && circumcenters(moved(m.pos), m.connect, b) == 0);
        for (std::size_t j = 0; j < a.cols(); ++j)
            for (unsigned i = 0; i < 3; ++i)
                RC_ASSERT(std::fabs(a(i, j) + far_away[i] - b(i, j)) <= 100 * 1.1e-16 * 402653184);
    });
}

TEST(NumbersMoved, NewNodesMoveAlong) {
    expect_property([] {
        const solid_mesh m = random_mesh_on_grid();
        const dense2D<unsigned> nothing;
        solid_mesh a = m.deep_copy(), b{moved(m.pos), m.deep_copy().connect};
        RC_ASSERT(convert_into_quadratic(a.pos, a.connect) == 0 && convert_into_quadratic(b.pos, b.connect) == 0);
        RC_ASSERT(entries(moved(a.pos)) == entries(b.pos)); // halves, quarters and eighths of sums of few bits

        dense2D<unsigned> pieces, other, none;
        a = m.deep_copy();
        b = {moved(m.pos), m.connect};
        RC_ASSERT(split_into_H8(a.pos, a.connect, pieces, none, none) == 0);
        RC_ASSERT(split_into_H8(b.pos, b.connect, other, none, none) == 0);
        for (std::size_t j = 0; j < a.pos.cols(); ++j) // thirds are rounded, and sums of them some times
            for (unsigned i = 0; i < 3; ++i)
                RC_ASSERT(std::fabs(a.pos(i, j) + far_away[i] - b.pos(i, j)) <= 8 * 1.1e-16 * 402653184);
    });
}

TEST(NumbersMoved, SweptNodesMoveAlong) {
    expect_property([] {
        const patch p = pierced_patch();
        const vector_fixed<double, 3> axis{-8, 0.25, 1}, turn{0, 1.25, 0.5}, dir{1, 2, 4};
        const vector_fixed<double, 3> far_axis{axis[0] + far_away[0], axis[1] + far_away[1], axis[2] + far_away[2]};
        for (unsigned kind = 0; kind < 4; ++kind) {
            dense2D<double> a = on_grid(p.pos), b = moved(a);
            dense2D<unsigned> solids, other;
            const auto sweep = [&](dense2D<double>& pos, const vector_fixed<double, 3>& at, dense2D<unsigned>& out) {
                switch (kind) {
                case 0:
                    return extrude_translate(pos, p.faces, dir, 0.5, 0.25, false, out);
                case 1:
                    return extrude_rotate(pos, p.faces, at, turn, 0.5, 0.25, false, out);
                case 2:
                    return extrude_spiral(pos, p.faces, at, turn, dir, 0.5, 0.25, false, out);
                default:
                    return extrude_normal(pos, p.faces, 2, 0.5, 0.25, false, out);
                }
            };
            RC_ASSERT(sweep(a, axis, solids) == 0 && sweep(b, far_axis, other) == 0);
            RC_ASSERT(entries(solids) == entries(other)); // as many layers
            for (std::size_t j = 0; j < a.cols(); ++j)
                for (unsigned i = 0; i < 3; ++i)
                    RC_ASSERT(std::fabs(a(i, j) + far_away[i] - b(i, j)) <= 4 * 1.1e-16 * 402653184);
        }
    });
}

TEST(NumbersMoved, SearchesAndInterpolationsHaveTheSameBits) {
    expect_property([] {
        searchable m = cube_of_tetrahedra(2, 0.2);
        m.pos = on_grid(m.pos);
        RC_ASSERT(m.prepare());
        const unsigned inner = *rc::gen::inRange(0u, unsigned(m.connect.cols()));
        double x[3] = {0, 0, 0};
        for (unsigned v = 0; v < 4; ++v)
            for (unsigned i = 0; i < 3; ++i)
                x[i] += m.pos(i, m.connect(v, inner)) / 4;
        m.pos.append(x);
        const unsigned node = unsigned(m.pos.cols()) - 1;
        m.ancestors.push_back(no_node);
        dense1D<double, 8> near(m.pos.cols(), 0.0), far(m.pos.cols(), 0.0);
        for (unsigned v = 0; v < node; ++v)
            near[v] = far[v] = coordinate();
        const dense2D<double> there = moved(m.pos);
        dense1D<unsigned, 8> found, found_there;
        dense2D<double> local, local_there;
        RC_ASSERT(get_elements_containing_nodes(m.pos, m.connect, ET_TH4, {node}, found, local, 1e-6) == 0);
        RC_ASSERT(get_elements_containing_nodes(there, m.connect, ET_TH4, {node}, found_there, local_there, 1e-6) == 0);
        RC_ASSERT(found[0] == inner && found_there[0] == inner);
        RC_ASSERT(entries(local) == entries(local_there));
        RC_ASSERT(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, near, {node}) == 0);
        RC_ASSERT(interpolate(there, m.connect, m.neighbors, m.ancestors, far, {node}) == 0);
        RC_ASSERT(near[node] == far[node]);
    });
}

TEST(NumbersMoved, OfOtherCoordinatesTheMoveRoundsHalfOfTheDigitsAway) {
    // 2^27 times the size leaves 26 bits of a coordinate, 1e-8 or so; elements here are a third of the size or more.
    expect_property([] {
        const solid_mesh m = random_tetrahedra(), far{moved(m.pos), m.connect};
        RC_ASSERT(std::fabs(volume_of(far) - volume_of(m)) <= 1e-6 * volume_of(m));
        const std::size_t n = m.connect.cols();
        dense1D<double> a(n), b(n), c(n), d(n);
        RC_ASSERT(solid_angles(m.pos, m.connect, false, a, b) == 0 &&
                  solid_angles(far.pos, m.connect, false, c, d) == 0);
        for (std::size_t e = 0; e < n; ++e)
            RC_ASSERT(std::fabs(a[e] - c[e]) <= 1e-5 && std::fabs(b[e] - d[e]) <= 1e-5);
    });
}
