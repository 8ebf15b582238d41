#include "locate/tetra_kernels.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "meldra/dice.h"
#include "support/meshes.h"

using namespace quorl;
using namespace quorl::meldra3d::detail;
using test::dice;

namespace {

sides_of_four four_sides(const tetrahedron (&t)[4], const point<double> (&p)[4], double tolerance) {
    point<four_doubles> corner[4];
    for (unsigned i = 0; i < 4; ++i)
        corner[i] = points_at({&t[0].corner[i].x, &t[1].corner[i].x, &t[2].corner[i].x, &t[3].corner[i].x});
    return {corner, points_at({&p[0].x, &p[1].x, &p[2].x, &p[3].x}), tolerance};
}

/// Where the sides of four are sure they are those of one.
unsigned count_sure(const tetrahedron (&t)[4], const point<double> (&p)[4], double tolerance) {
    const sides_of_four four = four_sides(t, p, tolerance);
    unsigned sure = 0;
    for (unsigned k = 0; k < 4; ++k) {
        const tetra_sides sides = sides_of(t[k], p[k], tolerance);
        if (!four.is_sure(k))
            continue;
        ++sure;
        EXPECT_EQ(four[k].degenerate, sides.degenerate) << k;
        EXPECT_EQ(four[k].beyond, sides.beyond) << k;
    }
    return sure;
}

/// By the sides of all faces at once; the measure of one face must be the same.
int tetra_exit_face(const tetrahedron& t, const point<double>& p, double tolerance, unsigned start_face) {
    count_sure({t, t, t, t}, {p, p, p, p}, tolerance);
    return tetra_exit_face(sides_of(t, p, tolerance), start_face);
}

double face_side_measure(const tetrahedron& t, unsigned face, const point<double>& p) {
    const auto& cycle = tetrahedron_record.face[face].node;
    const double one = face_side_measure(t.corner[cycle[0]], t.corner[cycle[1]], t.corner[cycle[2]], p);
    EXPECT_EQ(face_side_measures(t, p)[face], one);
    return one;
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

using barycentric = std::array<long double, 4>;

/// Direct: its nodes 0, 1, 2 turn clockwise seen from node 3.
tetrahedron unit() {
    return {{{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}}};
}

tetrahedron scaled(tetrahedron t, double by) {
    for (auto& c : t.corner)
        c = {c.x * by, c.y * by, c.z * by};
    return t;
}

/// The volume that remains when one corner is replaced by a point, over the whole one: Cramer's rule, in long double.
barycentric oracle(const tetrahedron& t, const point<double>& p) {
    using wide = point<long double>;
    const auto widened = [](const point<double>& x) { return wide{x.x, x.y, x.z}; };
    const auto volume = [](const wide(&c)[4]) { return dot(c[0] - c[3], cross(c[1] - c[3], c[2] - c[3])); };
    const wide whole[4] = {widened(t.corner[0]), widened(t.corner[1]), widened(t.corner[2]), widened(t.corner[3])};
    barycentric w{};
    for (unsigned k = 0; k < 4; ++k) {
        wide part[4] = {whole[0], whole[1], whole[2], whole[3]};
        part[k] = widened(p);
        w[k] = volume(part) / volume(whole);
    }
    return w;
}

point<double> blend(const tetrahedron& t, const std::array<double, 4>& w) {
    point<double> p{0, 0, 0};
    for (unsigned k = 0; k < 4; ++k)
        p = {p.x + w[k] * t.corner[k].x, p.y + w[k] * t.corner[k].y, p.z + w[k] * t.corner[k].z};
    return p;
}

double random_number(dice& random) {
    return (double(random(2001)) - 1000) / 500;
}

point<double> random_point(dice& random) {
    return {random_number(random), random_number(random), random_number(random)};
}

/// A direct tetrahedron that is not too flat.
tetrahedron random_tetrahedron(dice& random) {
    for (;;) {
        tetrahedron t{{random_point(random), random_point(random), random_point(random), random_point(random)}};
        if (six_volume(t.corner) < 0)
            std::swap(t.corner[0], t.corner[1]);
        if (six_volume(t.corner) > 0.05)
            return t;
    }
}

/// The rule of the exit face with exact coordinates; `none` when one of them is too near the threshold to tell.
constexpr int unclear = -3;
int expected_exit(const barycentric& w, double tolerance, unsigned start_face) {
    for (const long double coordinate : w)
        if (std::fabs(coordinate + tolerance) < 1e-11L)
            return unclear;
    for (unsigned k = 1; k <= 4; ++k)
        if (w[(start_face + k) % 4] < -tolerance)
            return int((start_face + k) % 4);
    return point_inside;
}

} // namespace

RC_GTEST_PROP(TetraKernels, TheExitFaceIsTheFirstWithACoordinateBelowTheTolerance, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const tetrahedron t = random_tetrahedron(random);
    const point<double> p = random_point(random);
    const double tolerance = std::array{0.0, 1e-6, 0.1, -0.1, 3.0}[random(5)];
    for (unsigned start = 0; start < 4; ++start) {
        const int expected = expected_exit(oracle(t, p), tolerance, start);
        if (expected != unclear)
            RC_ASSERT(tetra_exit_face(t, p, tolerance, start) == expected);
    }
}

RC_GTEST_PROP(TetraKernels, TheFaceMeasureIsVolumeTimesCoordinate, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const tetrahedron t = random_tetrahedron(random);
    const point<double> p = random_point(random);
    const double volume = six_volume(t.corner);
    for (unsigned face = 0; face < 4; ++face)
        RC_ASSERT(std::fabs(face_side_measure(t, face, p) - volume * double(oracle(t, p)[face])) < 1e-12);
}

RC_GTEST_PROP(TetraKernels, LocalCoordinatesAreThoseOfCramersRule, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const tetrahedron t = random_tetrahedron(random);
    const point<double> p = random_point(random);
    const auto w = tetra_local_coordinates(t, p);
    const barycentric expected = oracle(t, p);
    for (unsigned k = 0; k < 3; ++k)
        RC_ASSERT(std::fabs(w[k] - double(expected[k])) < 1e-12);
}

RC_GTEST_PROP(TetraKernels, FourAtOnceAreSureOfWhatIsClear, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const double by = std::ldexp(1.0, int(random(560)) - 280), tolerance = std::array{1e-6, 0.1}[random(2)];
    tetrahedron t[4];
    point<double> p[4];
    unsigned clear = 0;
    for (unsigned k = 0; k < 4; ++k) {
        t[k] = random_tetrahedron(random);
        p[k] = random_point(random);
        clear += expected_exit(oracle(t[k], p[k]), tolerance, 0) != unclear;
        t[k] = scaled(t[k], by);
        p[k] = {p[k].x * by, p[k].y * by, p[k].z * by};
    }
    RC_ASSERT(count_sure(t, p, tolerance) >= clear);
}

RC_GTEST_PROP(TetraKernels, FourAtOnceAreNotSureOfWhatIsNearALimit, ()) {
    // Corners anywhere, flat and inverted ones among them, and points that differ from one on a face by a few units of
    // rounding. Whichever answer is given for sure, it is that of one tetrahedron.
    dice random(*rc::gen::arbitrary<unsigned>());
    const double by = std::ldexp(1.0, int(random(700)) - 350), away = random(2) == 0 ? 0 : 1e3 * random_number(random);
    const double tolerance = std::array{0.0, 1e-15, 1e-12, -1e-12}[random(4)];
    tetrahedron t[4];
    point<double> p[4];
    for (unsigned k = 0; k < 4; ++k) {
        for (auto& corner : t[k].corner) {
            const point<double> x = random_point(random);
            corner = {(x.x + away) * by, x.y * by, (random(4) == 0 ? 0 : x.z) * by};
        }
        std::array<double, 4> w{0.5, 0.25, 0.25, 0};
        std::swap(w[random(4)], w[3]);
        p[k] = blend(t[k], w);
        for (double* const x : {&p[k].x, &p[k].y, &p[k].z})
            for (unsigned n = random(4); n != 0; --n)
                *x = std::nextafter(*x, random(2) == 0 ? -infinity : infinity);
    }
    count_sure(t, p, tolerance);
}

TEST(TetraKernels, FourAtOnceLeaveAPointOnAFaceOpen) {
    const tetrahedron t = unit();
    const point<double> on_face{0.25, 0.25, 0}, beside{0.25, 0.25, 0x1p-60}, inside{0.25, 0.25, 0.25};
    EXPECT_FALSE(four_sides({t, t, t, t}, {on_face, beside, inside, inside}, 0).is_sure(0));
    EXPECT_FALSE(four_sides({t, t, t, t}, {on_face, beside, inside, inside}, 0).is_sure(1));
    EXPECT_TRUE(four_sides({t, t, t, t}, {on_face, beside, inside, inside}, 0).is_sure(2));
    EXPECT_EQ(count_sure({t, t, t, t}, {on_face, beside, inside, inside}, 1e-6), 4u);
}

RC_GTEST_PROP(TetraKernels, PowersOfTwoChangeNoBit, ()) {
    // The measure is a product of three lengths, which may lie between 2^-340 and 2^340.
    dice random(*rc::gen::arbitrary<unsigned>());
    const tetrahedron t = random_tetrahedron(random);
    const point<double> p = random_point(random);
    const double by = std::ldexp(1.0, int(random(600)) - 300);
    const point<double> q{p.x * by, p.y * by, p.z * by};
    for (unsigned start = 0; start < 4; ++start)
        RC_ASSERT(tetra_exit_face(scaled(t, by), q, 1e-6, start) == tetra_exit_face(t, p, 1e-6, start));
    const auto w = tetra_local_coordinates(t, p), same = tetra_local_coordinates(scaled(t, by), q);
    for (unsigned k = 0; k < 3; ++k)
        RC_ASSERT(w[k] == same[k]);
}

TEST(TetraKernels, CornersAreUnitVectors) {
    const tetrahedron t = unit();
    for (unsigned corner = 0; corner < 4; ++corner) {
        const auto w = tetra_local_coordinates(t, t.corner[corner]);
        for (unsigned k = 0; k < 3; ++k)
            EXPECT_EQ(w[k], k == corner ? 1 : 0) << corner;
    }
}

TEST(TetraKernels, TheCentroidHasQuarters) {
    const tetrahedron t{{{1, 2, 3}, {1, 6, 3}, {5, 2, 3}, {1, 2, 7}}};
    const auto w = tetra_local_coordinates(t, blend(t, {0.25, 0.25, 0.25, 0.25}));
    for (unsigned k = 0; k < 3; ++k)
        EXPECT_EQ(w[k], 0.25);
}

TEST(TetraKernels, FacesEdgesAndCornersAreInsideWithoutAnyTolerance) {
    const tetrahedron t = unit();
    const std::array<double, 4> boundary[] = {
        {0, 0.25, 0.25, 0.5}, {0.5, 0, 0.25, 0.25}, {0.25, 0.5, 0, 0.25}, {0.25, 0.25, 0.5, 0}, {0, 0, 0.5, 0.5},
        {0.5, 0.5, 0, 0},     {1, 0, 0, 0},         {0, 1, 0, 0},         {0, 0, 1, 0},         {0, 0, 0, 1}};
    for (const auto& w : boundary)
        for (unsigned start = 0; start < 4; ++start)
            EXPECT_EQ(tetra_exit_face(t, blend(t, w), 0, start), point_inside);
}

TEST(TetraKernels, TheToleranceIsThatOfTheCoordinates) {
    for (const double size : {1.0, 1e-90, 1e-30, 1e30, 1e90}) {
        const tetrahedron t = scaled(unit(), size);
        // Beyond face 3 (z = 0) by a coordinate of -1e-6 (1 +- 1e-9).
        const point<double> within{0.25 * size, 0.25 * size, -0.999999999e-6 * size};
        const point<double> beyond{0.25 * size, 0.25 * size, -1.000000001e-6 * size};
        for (unsigned start = 0; start < 4; ++start) {
            EXPECT_EQ(tetra_exit_face(t, within, 1e-6, start), point_inside) << size;
            EXPECT_EQ(tetra_exit_face(t, beyond, 1e-6, start), 3) << size;
            EXPECT_EQ(tetra_exit_face(t, within, 0, start), 3) << size;
        }
    }
    // On the threshold itself: still inside. Powers of two, so that nothing is rounded.
    EXPECT_EQ(tetra_exit_face(unit(), {0.25, 0.25, -0.125}, 0.125, 0), point_inside);
    EXPECT_EQ(tetra_exit_face(unit(), {0.25, 0.25, std::nextafter(-0.125, -1)}, 0.125, 0), 3);
    // A hair beyond the face.
    EXPECT_EQ(tetra_exit_face(unit(), {0.25, 0.25, -std::numeric_limits<double>::min()}, 0, 0), 3);
}

TEST(TetraKernels, TheFacesAreTriedBehindTheFirstOne) {
    // Beyond faces 1, 2 and 3, which lie at y = 0, x = 0 and z = 0 (node 0 is the origin): the coordinates of nodes
    // 1, 2, 3 are y, x and z.
    const point<double> p{-1, -1, -1};
    const int first[4] = {1, 2, 3, 1};
    for (unsigned start = 0; start < 4; ++start)
        EXPECT_EQ(tetra_exit_face(unit(), p, 0, start), first[start]);
    // Beyond all faces only with a negative tolerance.
    for (unsigned start = 0; start < 4; ++start)
        EXPECT_EQ(tetra_exit_face(unit(), {0.25, 0.25, 0.25}, -0.5, start), int(start + 1) % 4);
}

TEST(TetraKernels, ElementsWithoutAPositiveFiniteVolumeAreDegenerate) {
    tetrahedron inverted = unit();
    std::swap(inverted.corner[1], inverted.corner[2]);
    tetrahedron flat = unit();
    flat.corner[3] = {1, 1, 0};
    tetrahedron no_number = unit();
    no_number.corner[2].y = not_a_number;
    tetrahedron far_away = unit();
    far_away.corner[2].x = infinity;
    // Their six-fold volumes, 1e-330 and 1e330, are no doubles.
    for (const tetrahedron& t : {inverted, flat, no_number, far_away, scaled(unit(), 1e-110), scaled(unit(), 1e110),
                                 scaled(unit(), 1e-150), scaled(unit(), 1e150)})
        for (const point<double>& p :
             {point<double>{0.25, 0.25, 0.25}, {9, 9, 9}, {not_a_number, 0, 0}, {0, -infinity, 0}})
            for (unsigned start = 0; start < 4; ++start)
                EXPECT_EQ(tetra_exit_face(t, p, 1e-6, start), degenerate_element);
}

TEST(TetraKernels, APointThatIsNoNumberIsOutside) {
    for (unsigned start = 0; start < 4; ++start) {
        EXPECT_EQ(tetra_exit_face(unit(), {not_a_number, not_a_number, not_a_number}, 1e-6, start), int(start + 1) % 4);
        EXPECT_EQ(tetra_exit_face(unit(), {not_a_number, not_a_number, not_a_number}, infinity, start),
                  int(start + 1) % 4);
        EXPECT_NE(tetra_exit_face(unit(), {infinity, 0, 0}, 1e-6, start), point_inside);
        EXPECT_NE(tetra_exit_face(unit(), {-infinity, 0, 0}, 1e-6, start), point_inside);
    }
}

TEST(TetraKernels, ExtremeTolerances) {
    const point<double> inside{0.25, 0.25, 0.25}, outside{5, 6, 7};
    for (unsigned start = 0; start < 4; ++start) {
        EXPECT_EQ(tetra_exit_face(unit(), inside, not_a_number, start), int(start + 1) % 4);
        EXPECT_EQ(tetra_exit_face(unit(), outside, infinity, start), point_inside);
        EXPECT_EQ(tetra_exit_face(unit(), outside, 1e300, start), point_inside);
        EXPECT_EQ(tetra_exit_face(unit(), inside, -infinity, start), int(start + 1) % 4);
    }
}

TEST(TetraKernels, FlatAndTinyElementsHaveZeroCoordinates) {
    tetrahedron flat = unit();
    flat.corner[3] = {1, 1, 0};
    for (const tetrahedron& t : {flat, scaled(unit(), 1e-110), scaled(unit(), 1e-150)}) {
        const auto w = tetra_local_coordinates(t, {0.25, 0.25, 0.25});
        for (unsigned k = 0; k < 3; ++k)
            EXPECT_EQ(w[k], 0);
    }
    tetrahedron no_number = unit();
    no_number.corner[2].y = not_a_number;
    const auto w = tetra_local_coordinates(no_number, {0.25, 0.25, 0.25});
    for (unsigned k = 0; k < 3; ++k)
        EXPECT_EQ(w[k], 0);
}

TEST(TetraKernels, NodesAreReadThroughTheirIDs) {
    const auto pos = test::as_window(test::points({{9, 9, 9}, {1, 0, 0}, {0, 0, 0}, {0, 0, 1}, {0, 1, 0}}), 7.0);
    const unsigned nodes[] = {2, 4, 1, 3};
    const tetrahedron t = tetrahedron_of(pos.data(), pos.ld(), nodes);
    for (unsigned k = 0; k < 4; ++k) {
        EXPECT_EQ(t.corner[k].x, unit().corner[k].x);
        EXPECT_EQ(t.corner[k].y, unit().corner[k].y);
        EXPECT_EQ(t.corner[k].z, unit().corner[k].z);
    }
}

TEST(TetraKernels, APointFarAwayIsMeasuredFromTheNearestCorner) {
    // A needle of a thousand to one: what rounding leaves of a coordinate near the far corners is still right.
    const tetrahedron t{{{0, 0, 0}, {1, 0, 0}, {0, 0, 1}, {0, 1000, 0}}};
    ASSERT_GT(six_volume(t.corner), 0);
    const point<double> p{1e-9, 999.9999, 1e-9};
    const barycentric expected = oracle(t, p);
    for (unsigned face = 0; face < 4; ++face)
        EXPECT_NEAR(face_side_measure(t, face, p) / six_volume(t.corner), double(expected[face]),
                    1e-15 + 1e-12 * std::fabs(double(expected[face])));
}

RC_GTEST_PROP(TetraKernels, TheFaceMeasureIsRoundedAsDescribed, ()) {
    // The measure once more, in words that leave no choice: which two edges make the normal and which corner the point
    // is measured from shows in the last bits only.
    using vec = std::array<double, 3>;
    const auto minus = [](const vec& a, const vec& b) { return vec{a[0] - b[0], a[1] - b[1], a[2] - b[2]}; };
    const auto times = [](const vec& a, const vec& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; };
    const auto square = [&](const vec& a, const vec& b) { return times(minus(a, b), minus(a, b)); };
    dice random(*rc::gen::arbitrary<unsigned>());
    const auto any = [&] { return vec{random_number(random), random_number(random), random_number(random)}; };
    const vec a = any(), b = any(), c = any(), p = any();
    const double shorter = square(a, c) < square(b, c) ? square(a, c) : square(b, c);
    const vec first = minus(a, c), second = square(b, a) > shorter ? minus(b, c) : minus(b, a);
    const vec normal{first[1] * second[2] - first[2] * second[1], first[2] * second[0] - first[0] * second[2],
                     first[0] * second[1] - first[1] * second[0]};
    const double pa = square(p, a), pb = square(p, b), pc = square(p, c);
    const vec& nearest = pa <= pb && pa <= pc ? a : pc <= pb ? c : b;
    const auto measure =
        face_side_measure(point<double>{a[0], a[1], a[2]}, {b[0], b[1], b[2]}, {c[0], c[1], c[2]}, {p[0], p[1], p[2]});
    RC_PRE(pa != pb && pb != pc && pc != pa);
    RC_ASSERT(measure == times(normal, minus(p, nearest)));
}
