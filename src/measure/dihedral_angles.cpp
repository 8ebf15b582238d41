// Dihedral angles at the edges of solids, from the normals of the two faces that meet there.

#include <meldra3d/measure.h>

#include <array>
#include <cmath>

#include <meldra/meldra.h>

#include "frame/element_tables.h"
#include "frame/id_count.h"
#include "measure/angle_range.h"
#include "measure/element_columns.h"
#include "measure/face_normal.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

/// A solid by its number of vertices, with what makes the angles of the regular element 1: one factor for the edges
/// from `change` on, another for those before.
template <std::size_t N>
struct solid;

template <>
struct solid<4> {
    static constexpr const auto& record = tetrahedron_record;
    static constexpr std::size_t change = 0;
    static constexpr double first_factor = 0;
    static constexpr double factor = 0.8123744665444353; // 1 / arccos(1/3), to 13 digits
};

template <>
struct solid<5> {
    static constexpr const auto& record = pyramid_record;
    static constexpr std::size_t change = 4;
    static constexpr double first_factor = 0.5233866872132998; // lateral edges: 1 / (2 arctan(sqrt(2)))
    static constexpr double factor = 1.0467733744265997;       // edges of the base: 1 / arctan(sqrt(2))
};

template <>
struct solid<6> {
    static constexpr const auto& record = wedge_record;
    static constexpr std::size_t change = 3;
    static constexpr double first_factor = 0.954929658551372; // edges between the triangles: 3 / pi
    static constexpr double factor = 0.6366197723675814;      // edges of the triangles: 2 / pi
};

template <>
struct solid<8> {
    static constexpr const auto& record = hexahedron_record;
    static constexpr std::size_t change = 0;
    static constexpr double first_factor = 0;
    static constexpr double factor = 0.6366197723675814; // 2 / pi
};

/// The cosine of the angle between two faces by their normals; 1, the cosine of 0, where one has none.
double cosine_between(const point<double>& u, double square_u, const point<double>& w, double square_w) {
    const double squares = square_u * square_w;
    if (!(squares > 0))
        return 1;
    const double cosine = -dot(u, w) / std::sqrt(squares);
    return cosine < 1 ? (cosine > -1 ? cosine : -1) : 1;
}

/// The angles at the edges of an element, in the order of its record.
template <std::size_t N>
std::array<double, solid<N>::record.edges> edge_angles(const point<double> (&p)[N]) {
    constexpr const shape_record& record = solid<N>::record;
    static constexpr auto sides = faces_at_edges<record.edges>(record);
    std::array<point<double>, record.faces> normal;
    std::array<double, record.faces> square;
    for (std::size_t f = 0; f < record.faces; ++f) {
        const auto& node = record.face[f].node;
        normal[f] = face_normal(p[node[0]], p[node[1]], p[node[2]]);
        square[f] = dot(normal[f], normal[f]);
    }
    std::array<double, record.edges> angles;
    for (std::size_t e = 0; e < record.edges; ++e) {
        const auto [f, g] = sides[e];
        angles[e] = std::acos(cosine_between(normal[f], square[f], normal[g], square[g]));
    }
    return angles;
}

template <std::size_t N>
angle_range range_of_edges(const point<double> (&p)[N], bool normalized) {
    auto angles = edge_angles(p);
    for (std::size_t e = 0; normalized && e < angles.size(); ++e)
        angles[e] *= e < solid<N>::change ? solid<N>::first_factor : solid<N>::factor;
    angle_range range(angles[0]);
    for (const double angle : angles)
        range.include(angle);
    return range;
}

} // namespace

int dihedral_angles(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, bool normalized,
                    dense1D<double>& min_angles, dense1D<double>& max_angles) {
    if (!meldra::check_IDs(connectM, type_of_rows(connectM.rows()), id_count(pos.cols())))
        return -2;
    if (connectM.empty())
        return 0;
    measure_elements(
        pos, connectM, [&](const auto& p) { return range_of_edges(p, normalized); },
        [least = min_angles.data(), most = max_angles.data()](std::size_t e, const angle_range& range) {
            least[e] = range.least();
            most[e] = range.most();
        });
    return 0;
}

} // namespace quorl::meldra3d
