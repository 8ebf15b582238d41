// Meshes of other sizes. A power of two scales every product and sum without rounding, so within the range of its
// intermediate results an export gives the same bits, scaled. 2^500 is about 3e150. Beyond its range it must still
// return what its comment says.

#include "properties/random_solids.h"

#include <functional>
#include <numbers>

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

double scaled(double x, int k) {
    return std::ldexp(x, k);
}

vector_fixed<double, 3> scaled(const vector_fixed<double, 3>& v, int k) {
    return {scaled(v[0], k), scaled(v[1], k), scaled(v[2], k)};
}

dense2D<double> scaled(const dense2D<double>& pos, int k) {
    dense2D<double> result;
    RC_ASSERT(result.copy(pos));
    for (std::size_t i = 0; i < result.size(); ++i)
        result.data()[i] = scaled(result.data()[i], k);
    return result;
}

constexpr int far_exponents[] = {-500, -1, 1, 500};

/// What a sweep by unit `k` makes of a surface: every length is given in that unit.
using sweep =
    std::function<int(dense2D<double>& pos, const dense2D<unsigned>& faces, dense2D<unsigned>& solids, int k)>;

void scales_exactly(const sweep& call) {
    expect_property([&] {
        const patch p = pierced_patch();
        for (const int k : far_exponents) {
            dense2D<double> pos = scaled(p.pos, 0), other = scaled(p.pos, k);
            dense2D<unsigned> solids, other_solids;
            RC_ASSERT(call(pos, p.faces, solids, 0) == 0);
            RC_ASSERT(call(other, p.faces, other_solids, k) == 0);
            RC_ASSERT(entries(solids) == entries(other_solids));
            RC_ASSERT(entries(scaled(pos, k)) == entries(other));
        }
    });
}

} // namespace

TEST(NumbersScaled, ConversionsAndSplitsScaleExactly) {
    expect_property([] {
        const solid_mesh m = *rc::gen::inRange(0, 2) == 0 ? random_solids() : random_tetrahedra();
        const dense2D<unsigned> nothing;
        for (const int k : far_exponents) {
            solid_mesh a = m.deep_copy(), b{scaled(m.pos, k), m.deep_copy().connect};
            RC_ASSERT(convert_into_high_order(a.pos, a.connect, 2, 4, 3, 8, 1, 6, 1, nothing, nothing) == 0);
            RC_ASSERT(convert_into_high_order(b.pos, b.connect, 2, 4, 3, 8, 1, 6, 1, nothing, nothing) == 0);
            RC_ASSERT(entries(scaled(a.pos, k)) == entries(b.pos));
            a = m.deep_copy();
            b = {scaled(m.pos, k), m.connect};
            dense2D<unsigned> pieces, none;
            RC_ASSERT(split_into_H8(a.pos, a.connect, pieces, none, none) == 0);
            RC_ASSERT(split_into_H8(b.pos, b.connect, pieces, none, none) == 0);
            RC_ASSERT(entries(scaled(a.pos, k)) == entries(b.pos));
        }
    });
}

TEST(NumbersScaled, SweepsScaleExactly) {
    const vector_fixed<double, 3> dir{0.5, 1, 3}, axis{-9, 0.25, 1}, turn{0.1, 1.5, 0.2};
    scales_exactly([&](auto& pos, auto& faces, auto& solids, int k) {
        return extrude_translate(pos, faces, scaled(dir, k), scaled(0.7, k), scaled(0.2, k), true, solids);
    });
    scales_exactly([&](auto& pos, auto& faces, auto& solids, int k) {
        return extrude_rotate(pos, faces, scaled(axis, k), turn, scaled(0.7, k), scaled(0.9, k), false, solids);
    });
    scales_exactly([&](auto& pos, auto& faces, auto& solids, int k) {
        return extrude_spiral(pos, faces, scaled(axis, k), turn, scaled(dir, k), 3, solids);
    });
    scales_exactly([&](auto& pos, auto& faces, auto& solids, int k) {
        return extrude_normal(pos, faces, scaled(1.5, k), scaled(0.7, k), scaled(0.9, k), false, solids);
    });
    scales_exactly([&](auto& pos, auto& faces, auto& solids, int) {
        const dense2D<double> ways = scaled(pos, 0); // each node moves by its own coordinates
        return extrude_normal(pos, faces, ways, 2, solids);
    });
    scales_exactly([&](auto& pos, auto& faces, auto& solids, int k) {
        const dense1D<unsigned, 8> line{0, 1, 3, 2};
        return extrude_line(pos, faces, line, scaled(dir, k), dense1D<double, 8>{1, 2, 0.5}, solids);
    });
}

TEST(NumbersScaled, NormalsHaveTheSameBits) {
    expect_property([] {
        patch p = pierced_patch();
        for (std::size_t j = 0; j < p.pos.cols(); ++j)
            p.pos(2, j) = coordinate();
        for (const int k : {-900, -500, 500, 900}) {
            dense2D<double> a, b;
            RC_ASSERT(meldra2d::normals(p.pos, p.faces, 0, false, a) == 0);
            RC_ASSERT(meldra2d::normals(scaled(p.pos, k), p.faces, 0, false, b) == 0);
            RC_ASSERT(entries(a) == entries(b));
        }
    });
}

TEST(NumbersScaled, TheVolumeIsTheThirdPowerWithinItsRange) {
    expect_property([] {
        const solid_mesh m = *rc::gen::inRange(0, 2) == 0 ? random_solids() : random_tetrahedra();
        for (const int k : {-300, -1, 1, 300})
            RC_ASSERT(volume_of({scaled(m.pos, k), m.connect}) == scaled(volume_of(m), 3 * k));
        RC_ASSERT(volume_of({scaled(m.pos, -500), m.connect}) == 0);
        RC_ASSERT(!std::isfinite(volume_of({scaled(m.pos, 500), m.connect})));
    });
}

TEST(NumbersScaled, AnglesHaveTheSameBitsWithinTheirRange) {
    const auto angles_of = [](auto angles, const solid_mesh& m) {
        const std::size_t n = m.connect.cols();
        dense1D<double> least(n), most(n);
        RC_ASSERT(angles(m.pos, m.connect, false, least, most) == 0);
        std::vector<double> all(least.begin(), least.end());
        all.insert(all.end(), most.begin(), most.end());
        return all;
    };
    expect_property([&] {
        const solid_mesh m = *rc::gen::inRange(0, 2) == 0 ? random_solids() : random_tetrahedra();
        for (const int k : {-490, -100, 100, 490}) // squares of lengths
            RC_ASSERT(angles_of(solid_angles, {scaled(m.pos, k), m.connect}) == angles_of(solid_angles, m));
        for (const int k : {-110, -10, 10, 110}) // their eighth powers
            RC_ASSERT(angles_of(dihedral_angles, {scaled(m.pos, k), m.connect}) == angles_of(dihedral_angles, m));
        // Beyond it every face seems to have no area, or the quotient of two infinities says nothing.
        for (const double angle : angles_of(dihedral_angles, {scaled(m.pos, -500), m.connect}))
            RC_ASSERT(angle == 0);
        for (const double angle : angles_of(dihedral_angles, {scaled(m.pos, 500), m.connect}))
            RC_ASSERT(angle >= 0 && angle <= std::numbers::pi);
    });
}

TEST(NumbersScaled, CircumcentresScaleExactlyWithinTheirRange) {
    expect_property([] {
        const solid_mesh m = random_tetrahedra();
        dense2D<double> a, b;
        RC_ASSERT(circumcenters(m.pos, m.connect, a) == 0);
        for (const int k : {-155, -1, 1, 155}) { // sixth powers of lengths
            RC_ASSERT(circumcenters(scaled(m.pos, k), m.connect, b) == 0);
            RC_ASSERT(entries(scaled(a, k)) == entries(b));
        }
        for (const int k : {-500, 500}) { // as of a tetrahedron whose face has no area: node 3
            const dense2D<double> pos = scaled(m.pos, k);
            RC_ASSERT(circumcenters(pos, m.connect, b) == 0);
            for (std::size_t j = 0; j < m.connect.cols(); ++j)
                for (unsigned i = 0; i < 3; ++i)
                    RC_ASSERT(b(i, j) == pos(i, m.connect(3, j)));
        }
    });
}

TEST(NumbersScaled, TheNearestNodeIsTheSameAtEverySize) {
    expect_property([] {
        const solid_mesh m = random_tetrahedra();
        const vector_fixed<double, 3> p = {coordinate() / 4, coordinate() / 4, coordinate() / 4};
        meldra::node_detector a, b;
        RC_ASSERT(a.reinit(m.pos, m.connect) == 0);
        for (const int k : {-900, -500, 500, 900}) {
            RC_ASSERT(b.reinit(scaled(m.pos, k), m.connect) == 0);
            RC_ASSERT(a.find_closest(p) == b.find_closest(scaled(p, k)));
            RC_ASSERT(a.find_close(p) == b.find_close(scaled(p, k)));
        }
    });
}

TEST(NumbersScaled, SearchesAndInterpolationsHaveTheSameBitsWhileVolumesAreDoubles) {
    expect_property([] {
        searchable m = cube_of_tetrahedra(2, 0.2);
        RC_ASSERT(m.prepare());
        const double inner[] = {positive(1), positive(1), positive(1)};
        m.pos.append(inner);
        const unsigned node = unsigned(m.pos.cols()) - 1;
        m.ancestors.push_back(no_node);
        dense2D<double> field(1, m.pos.cols(), 0.0);
        for (std::size_t j = 0; j < node; ++j)
            field(0, j) = coordinate();
        const auto run = [&](int k, unsigned& element, vector_fixed<double, 3>& local, double& value) {
            const dense2D<double> pos = scaled(m.pos, k);
            meldra::node_detector detector;
            RC_ASSERT(detector.reinit(pos, m.connect) == 0);
            dense2D<double> values;
            RC_ASSERT(values.copy(field));
            RC_ASSERT(interpolate(pos, m.connect, m.neighbors, m.ancestors, values, {node}) == 0);
            value = values(0, node);
            return get_element_containing_point(pos, m.connect, m.neighbors, m.ancestors, detector, ET_TH4,
                                                {pos(0, node), pos(1, node), pos(2, node)}, element, local, 1e-6);
        };
        unsigned element_a = 0, element_b = 0;
        vector_fixed<double, 3> a{}, b{};
        double value_a = 0, value_b = 0;
        RC_ASSERT(run(0, element_a, a, value_a) == 1);
        for (const int k : {-300, -1, 1, 300}) {
            RC_ASSERT(run(k, element_b, b, value_b) == 1);
            RC_ASSERT(element_a == element_b && value_a == value_b);
            RC_ASSERT(a[0] == b[0] && a[1] == b[1] && a[2] == b[2]);
        }
        for (const int k : {-500, 500}) { // no element has a volume: none holds the point
            RC_ASSERT(run(k, element_b, b, value_b) < 1);
            RC_ASSERT(element_b == no_node);
            RC_ASSERT(std::isfinite(value_b)); // that of the nearest node
        }
    });
}

TEST(NumbersScaled, InterpolatedSizesScaleExactlyAndMetricsWithinRounding) {
    expect_property([] {
        searchable m = one_tetrahedron();
        const double inner[] = {0.25, 0.25, 0.125};
        m.pos.append(inner);
        RC_ASSERT(m.prepare());
        m.ancestors.push_back(no_node);
        dense1D<double, 8> sizes(5, 0.0);
        dense2D<double> metrics(6, 5, 0.0);
        for (unsigned v = 0; v < 4; ++v) {
            sizes[v] = positive(5);
            for (const unsigned i : {0u, 2u, 5u})
                metrics(i, v) = 2 + positive(3);
            for (const unsigned i : {1u, 3u, 4u})
                metrics(i, v) = coordinate() / 8;
        }
        const auto run_metrics = [&](int k) {
            dense2D<double> values = scaled(metrics, k);
            RC_ASSERT(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, values, {4}, false) == 0);
            return values;
        };
        const auto run_sizes = [&](int k) {
            dense1D<double, 8> values(5, 0.0);
            for (unsigned v = 0; v < 4; ++v)
                values[v] = scaled(sizes[v], k);
            RC_ASSERT(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, values, {4}, false) == 0);
            return values[4];
        };
        const dense2D<double> a = run_metrics(0);
        RC_ASSERT(a(0, 4) > 0);
        for (const int k : {-1000, -500, -300, 300, 500, 1000}) {
            RC_ASSERT(run_sizes(k) == scaled(run_sizes(0), k));
            const dense2D<double> b = run_metrics(k);
            for (unsigned i = 0; i < 6; ++i)
                RC_ASSERT(std::fabs(scaled(b(i, 4), -k) - a(i, 4)) <= 1e-12 * a(0, 4));
        }
    });
}

TEST(NumbersScaled, CutsAlongQuadranglesAreTheSameWhileVolumesAreDoubles) {
    const dense2D<double> cube =
        points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}});
    const auto cut = [&](int k, std::vector<double>& places) {
        dense2D<double> pos = scaled(cube, k);
        dense1D<unsigned, 8> failed;
        dense2D<unsigned> pieces;
        EXPECT_EQ(split_solid_Q4(pos, ids({{0, 1, 2, 3, 4, 5, 6, 7}}), ids({{0, 1, 2, 3}}), {0}, scaled(0.01, 3 * k),
                                 failed, pieces),
                  0);
        places = entries(scaled(pos, -k));
        return pieces.cols();
    };
    std::vector<double> places, others;
    ASSERT_EQ(cut(0, places), 7u);
    for (const int k : {-300, 300}) {
        EXPECT_EQ(cut(k, others), 7u);
        EXPECT_EQ(places, others);
    }
    for (const int k : {-500, 500}) // volumes of 0, or a limit that is infinite
        EXPECT_EQ(cut(k, others), 0u);
}

TEST(NumbersScaled, EdgesWhoseSquareIsNoDoubleHaveNoSolidAngle) {
    const solid_mesh m{points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}}), ids({{0, 1, 2, 3}})};
    for (const int k : {-600, 600}) {
        dense1D<double> least(1, 7.0), most(1, 7.0);
        ASSERT_EQ(solid_angles(scaled(m.pos, k), m.connect, false, least, most), 0);
        EXPECT_EQ(least[0], 0);
        EXPECT_EQ(most[0], 0);
    }
}
