// Centres of circumscribed spheres: the centre of the circle around the face opposite node 0, moved along the normal
// of that face. Both steps start from the shortest edges, so that slivers keep their accuracy.

#include <meldra3d/measure.h>

#include <cmath>
#include <limits>

#include <meldra/meldra.h>

#include "frame/id_count.h"
#include "measure/element_columns.h"
#include "measure/face_normal.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr int no_memory = -199;
constexpr double unbounded = std::numeric_limits<double>::max();

struct circle {
    point<double> centre;
    double square_radius; ///< `unbounded` where the points lie on a line; the centre is then the last of them
};

circle circumcircle(const point<double>& a, const point<double>& b, const point<double>& c) {
    const point<double> ab = b - a, ca = a - c, cb = b - c;
    const double square_ab = dot(ab, ab), square_ca = dot(ca, ca);
    const bool from_a = square_ab < square_ca && square_ab < dot(cb, cb);
    const point<double> base = from_a ? a : c;
    const point<double> u = from_a ? c - a : ca;
    const point<double> v = from_a ? ab : cb;
    const double uu = dot(u, u), vv = dot(v, v), uv = dot(u, v);
    const double determinant = uu * vv - uv * uv;
    if (!(determinant > 1e-12 * uu * vv))
        return {c, unbounded};
    const double inverse = 1 / determinant;
    const double along_u = (uu * vv - uv * vv) * inverse, along_v = (uu * vv - uv * uu) * inverse;
    const point<double> radius = 0.5 * (along_u * u + along_v * v);
    return {base + radius, dot(radius, radius)};
}

/// The centre of the sphere around a tetrahedron of positive volume. A flat or inverted one gets the centre of the
/// circle around its face 1, 2, 3, and its node 3 where that face is flat, too.
point<double> circumcenter(const point<double> (&p)[4]) {
    const circle face = circumcircle(p[1], p[2], p[3]);
    if (face.square_radius == unbounded)
        return face.centre;
    const point<double> normal = face_normal(p[1], p[2], p[3]);
    const point<double> d = p[0] - face.centre;
    const double height = dot(d, normal), square = dot(d, d);
    if (height > 0 && height * height > 1e-24 * square * dot(normal, normal)) {
        const double s = (square - face.square_radius) * (0.5 / height);
        return face.centre + s * normal;
    }
    return face.centre;
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
    measure_columns<4>(
        coordinate_reader(points), connectM, [](const point<double>(&p)[4]) { return circumcenter(p); },
        [&](std::size_t e, const point<double>& centre) {
            double* const column = centers.col(e);
            column[0] = centre.x;
            column[1] = centre.y;
            column[2] = centre.z;
        });
    return 0;
}

} // namespace quorl::meldra3d
