// Centres of circumscribed spheres: the centre of the circle around the face opposite node 0, moved along the normal
// of that face. Both steps start from the shortest edges, so that slivers keep their accuracy.

#include <meldra3d/measure.h>

#include <cmath>
#include <limits>

#include <meldra/meldra.h>

#include "frame/id_count.h"
#include "frame/lanes.h"
#include "frame/quickest.h"
#include "measure/element_columns.h"
#include "measure/face_normal.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr int no_memory = -199;
constexpr double unbounded = std::numeric_limits<double>::max();

template <class Real>
struct circle {
    point<Real> centre;
    Real square_radius; ///< `unbounded` where the points lie on a line; the centre is then the last of them
};

template <class Real>
[[gnu::always_inline]] inline circle<Real> circumcircle(const point<Real>& a, const point<Real>& b,
                                                        const point<Real>& c) {
    const point<Real> ab = b - a, ca = a - c, cb = b - c;
    const Real square_ab = dot(ab, ab), square_ca = dot(ca, ca);
    const auto from_a = (square_ab < square_ca) & (square_ab < dot(cb, cb));
    const point<Real> base = choose(from_a, a, c);
    const point<Real> u = choose(from_a, c - a, ca);
    const point<Real> v = choose(from_a, ab, cb);
    const Real uu = dot(u, u), vv = dot(v, v), uv = dot(u, v);
    const Real determinant = uu * vv - uv * uv;
    const auto regular = determinant > 1e-12 * uu * vv;
    const Real inverse = 1 / determinant;
    const Real along_u = (uu * vv - uv * vv) * inverse, along_v = (uu * vv - uv * uu) * inverse;
    const point<Real> radius = (Real{} + 0.5) * (along_u * u + along_v * v);
    return {choose(regular, base + radius, c), choose(regular, dot(radius, radius), Real{} + unbounded)};
}

/// The centre of the sphere around a tetrahedron of positive volume. A flat or inverted one gets the centre of the
/// circle around its face 1, 2, 3, and its node 3 where that face is flat, too.
template <class Real>
[[gnu::always_inline]] inline point<Real> circumcenter(const point<Real> (&p)[4]) {
    const circle<Real> face = circumcircle(p[1], p[2], p[3]);
    const point<Real> normal = face_normal(p[1], p[2], p[3]);
    const point<Real> d = p[0] - face.centre;
    const Real height = dot(d, normal), square = dot(d, d);
    const auto has_sphere = (face.square_radius != Real{} + unbounded) & (height > Real{}) &
                            (height * height > 1e-24 * square * dot(normal, normal));
    const Real s = (square - face.square_radius) * (0.5 / height);
    return choose(has_sphere, face.centre + s * normal, face.centre);
}

} // namespace

int circumcenters(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, dense2D<double>& centers) {
    const dense2D<double> points = pos; // keeps them where `centers` is the same matrix
    centers.clear();
    if (points.rows() != 3)
        return -1;
    if (connectM.rows() != 4 || !meldra::check_IDs(connectM, ET_TH4, id_count(points.cols())))
        return -2;
    if (!centers.resize(3, connectM.cols()))
        return no_memory;
    double* const out = centers.data();
    visit_columns<4>(
        points, connectM, [out](const auto& p, std::size_t e) __attribute__((always_inline)) {
            const auto centre = circumcenter(p);
            for (std::size_t g = 0; g < lane_count<decltype(centre.x)>; ++g) {
                out[3 * (e + g)] = lane(centre.x, g);
                out[3 * (e + g) + 1] = lane(centre.y, g);
                out[3 * (e + g) + 2] = lane(centre.z, g);
            }
        });
    return 0;
}

} // namespace quorl::meldra3d
