#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cmath>
#include <numbers>

#include "extrude/random_patch.h"
#include "support/properties.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_rotate;
using meldra3d::extrude_spiral;

namespace {

using vec3 = vector_fixed<double, 3>;

double coordinate() {
    return *rc::gen::inRange(-1000, 1001) / 250.0;
}

vec3 vector() {
    const double x = coordinate(), y = coordinate();
    return {x, y, coordinate()};
}

double length(const vec3& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

double distance(const dense2D<double>& pos, std::size_t a, std::size_t b) {
    return length({pos(0, a) - pos(0, b), pos(1, a) - pos(1, b), pos(2, a) - pos(2, b)});
}

/// The nodes of a random patch lie within 10 of the origin, and axes within 7.
constexpr double extent = 20;

} // namespace

TEST(ExtrudeRotateProperties, TheVolumeIsThatOfPappusForChords) {
    // A face in a plane with the axis that turns by a small angle d sweeps, between chords, sin d times its first
    // moment about the axis; the moment is the area times the distance of the centroid.
    expect_property([] {
        patch p = random_patch();
        double width = 0;
        for (std::size_t j = 0; j < p.pos.cols(); ++j)
            width = std::max(width, p.pos(0, j));
        const double gap = positive(5), angle = positive(6);
        const unsigned layers = *rc::gen::inRange(3u, 20u);
        dense2D<unsigned> solids;
        RC_ASSERT(extrude_rotate(p.pos, p.faces, {-gap, 0, 0}, {0, -angle, 0}, layers, solids) == 0);
        double vol = 0;
        RC_ASSERT(meldra3d::volume(p.pos, solids, vol) == 0);
        const double expected = layers * std::sin(angle / layers) * p.area * (gap + width / 2);
        RC_ASSERT(std::fabs(vol - expected) <= 1e-12 * expected);
    });
}

TEST(ExtrudeRotateProperties, OneRotationAfterAnotherIsTheirSum) {
    expect_property([] {
        const patch p = random_patch();
        const vec3 axis_point = vector(), rotation = vector();
        RC_PRE(length(rotation) > 0);
        const unsigned layers = *rc::gen::inRange(2u, 8u), first = *rc::gen::inRange(1u, layers);
        dense2D<double> whole, parts;
        whole.copy(p.pos);
        parts.copy(p.pos);
        dense2D<unsigned> solids, edges, sides, cap, ends, unwanted;
        const auto part = [&](unsigned k) {
            const double t = double(k) / layers;
            return vec3{t * rotation[0], t * rotation[1], t * rotation[2]};
        };
        const int at_once =
            extrude_rotate(whole, p.faces, axis_point, rotation, layers, solids, edges, sides, unwanted);
        RC_PRE(at_once == 0); // -5 when the point of the axis is the first node
        RC_ASSERT(extrude_rotate(parts, p.faces, axis_point, part(first), first, solids, edges, sides, cap) == 0);
        // Faces that close the first part, turned round to look along it again.
        dense2D<unsigned> onward(4, cap.cols());
        for (std::size_t j = 0; j < cap.cols(); ++j) {
            const unsigned corners = cap(3, j) == no_node ? 3 : 4;
            for (unsigned c = 0; c < 4; ++c)
                onward(c, j) = c < corners ? cap((corners - c) % corners, j) : no_node;
        }
        RC_ASSERT(extrude_rotate(parts, onward, axis_point, part(layers - first), layers - first, solids) == 0);
        RC_ASSERT(parts.cols() == whole.cols());
        for (std::size_t j = 0; j < whole.cols(); ++j)
            for (unsigned i = 0; i < 3; ++i)
                RC_ASSERT(std::fabs(whole(i, j) - parts(i, j)) <= 1e-14 * extent);
    });
}

TEST(ExtrudeRotateProperties, EachLevelIsCongruentWithTheSurface) {
    expect_property([] {
        patch p = random_patch();
        const unsigned layers = *rc::gen::inRange(1u, 5u);
        const vec3 shift = vector();
        RC_PRE(length(shift) > 0);
        dense2D<unsigned> solids;
        RC_ASSERT(extrude_spiral(p.pos, p.faces, vector(), vector(), shift, layers, solids) == 0);
        for (std::size_t e = 0; e < solids.cols(); ++e) {
            const unsigned corners = solids(6, e) == no_node ? 3 : 4;
            for (unsigned c = 0; c < corners; ++c) {
                const unsigned d = (c + 1) % corners;
                RC_ASSERT(std::fabs(distance(p.pos, solids(c, e), solids(d, e)) -
                                    distance(p.pos, solids(c + corners, e), solids(d + corners, e))) <= 1e-14 * extent);
            }
        }
    });
}

TEST(ExtrudeRotateProperties, ASpiralIsItsRotationMoved) {
    expect_property([] {
        const patch p = random_patch();
        const vec3 axis_point = vector(), rotation = vector(), shift = vector();
        RC_PRE(length(shift) > 0);
        const unsigned layers = *rc::gen::inRange(1u, 6u);
        dense2D<double> turned, spiral;
        turned.copy(p.pos);
        spiral.copy(p.pos);
        dense2D<unsigned> solids;
        RC_PRE(extrude_rotate(turned, p.faces, axis_point, rotation, layers, solids) == 0);
        RC_ASSERT(extrude_spiral(spiral, p.faces, axis_point, rotation, shift, layers, solids) == 0);
        const std::size_t nodes = p.pos.cols();
        for (std::size_t j = 0; j < spiral.cols(); ++j)
            for (unsigned i = 0; i < 3; ++i)
                RC_ASSERT(std::fabs(spiral(i, j) - turned(i, j) - double(j / nodes) / layers * shift[i]) <=
                          1e-14 * extent);
    });
}
