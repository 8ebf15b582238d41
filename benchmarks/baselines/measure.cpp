#include "measure.h"

#include <algorithm>
#include <cmath>

namespace BASELINES {

namespace {

struct vec {
    double x, y, z;
};

vec operator-(const vec& a, const vec& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

vec operator+(const vec& a, const vec& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

vec operator*(double s, const vec& a) {
    return {s * a.x, s * a.y, s * a.z};
}

double dot(const vec& a, const vec& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

vec cross(const vec& a, const vec& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// Corners as a vertex and its three neighbours; edges as two triples of their faces.
template <std::size_t N>
struct solid;

template <>
struct solid<4> {
    static constexpr int corners[4][4] = {{0, 2, 1, 3}, {1, 0, 2, 3}, {2, 1, 0, 3}, {3, 1, 2, 0}};
    static constexpr int faces[6][2][3] = {{{1, 2, 3}, {2, 1, 0}}, {{2, 0, 3}, {2, 1, 0}}, {{0, 1, 3}, {2, 1, 0}},
                                           {{0, 1, 3}, {2, 0, 3}}, {{1, 2, 3}, {0, 1, 3}}, {{2, 0, 3}, {1, 2, 3}}};
};

template <>
struct solid<5> { // the last two corners are one
    static constexpr int corners[6][4] = {{0, 1, 3, 4}, {1, 2, 0, 4}, {2, 3, 1, 4},
                                          {3, 0, 2, 4}, {4, 0, 3, 2}, {4, 2, 1, 0}};
    static constexpr int faces[8][2][3] = {{{0, 4, 1}, {3, 4, 0}}, {{0, 4, 1}, {1, 4, 2}}, {{1, 4, 2}, {2, 4, 3}},
                                           {{2, 4, 3}, {3, 4, 0}}, {{0, 1, 2}, {0, 4, 1}}, {{0, 1, 2}, {1, 4, 2}},
                                           {{0, 1, 2}, {2, 4, 3}}, {{0, 1, 2}, {3, 4, 0}}};
};

template <>
struct solid<6> {
    static constexpr int corners[6][4] = {{0, 1, 2, 3}, {1, 2, 0, 4}, {2, 0, 1, 5},
                                          {3, 5, 4, 0}, {4, 3, 5, 1}, {5, 4, 3, 2}};
    static constexpr int faces[9][2][3] = {{{0, 2, 5}, {1, 0, 3}}, {{2, 1, 4}, {1, 0, 3}}, {{2, 1, 4}, {0, 2, 5}},
                                           {{0, 1, 2}, {2, 1, 4}}, {{0, 1, 2}, {0, 2, 5}}, {{0, 1, 2}, {1, 0, 3}},
                                           {{3, 5, 4}, {2, 1, 4}}, {{3, 5, 4}, {0, 2, 5}}, {{3, 5, 4}, {1, 0, 3}}};
};

template <>
struct solid<8> {
    static constexpr int corners[8][4] = {{0, 4, 1, 3}, {1, 5, 2, 0}, {2, 6, 3, 1}, {3, 7, 0, 2},
                                          {4, 0, 7, 5}, {5, 1, 4, 6}, {6, 2, 5, 7}, {7, 3, 6, 4}};
    static constexpr int faces[12][2][3] = {{{0, 1, 2}, {0, 4, 5}}, {{0, 1, 2}, {1, 5, 6}}, {{0, 1, 2}, {3, 2, 6}},
                                            {{0, 1, 2}, {0, 3, 7}}, {{4, 7, 6}, {0, 4, 5}}, {{4, 7, 6}, {1, 5, 6}},
                                            {{4, 7, 6}, {3, 2, 6}}, {{4, 7, 6}, {0, 3, 7}}, {{0, 4, 5}, {0, 3, 7}},
                                            {{0, 4, 5}, {1, 5, 6}}, {{3, 2, 6}, {1, 5, 6}}, {{3, 2, 6}, {0, 3, 7}}};
};

vec unit(const vec& a) {
    const double square = dot(a, a);
    return square == 0 || square == 1 ? a : (1 / std::sqrt(square)) * a;
}

vec normal(const vec& a, const vec& b, const vec& c) {
    const vec ab = b - a, ca = a - c, cb = b - c;
    return dot(ab, ab) > std::min(dot(ca, ca), dot(cb, cb)) ? cross(ca, cb) : cross(ca, ab);
}

/// Calls store(j, points) for each column.
template <std::size_t N, class Store>
bool each_element(const measured_mesh& m, const Store& store) {
    constexpr std::size_t ahead = 16;
    const unsigned* column = m.connect;
    for (std::size_t j = 0; j < m.cols; ++j, column += N) {
        if (j + ahead < m.cols)
            for (std::size_t k = 0; k < N; ++k)
                __builtin_prefetch(m.pos + 3 * std::size_t(column[ahead * N + k]));
        vec p[N];
        for (std::size_t k = 0; k < N; ++k) {
            if (column[k] >= m.nodes)
                return false;
            const double* const at = m.pos + 3 * std::size_t(column[k]);
            p[k] = {at[0], at[1], at[2]};
        }
        store(j, p);
    }
    return true;
}

struct cone {
    double y, x;
    double place; ///< rises with the angle of (x, y)
};

cone cone_at(const vec& at, const vec& b, const vec& c, const vec& d) {
    const vec u = unit(b - at), v = unit(c - at), w = unit(d - at);
    const double y = dot(u, cross(v, w)), x = dot(u + v, v + w), place = y / (std::fabs(x) + std::fabs(y));
    return {y, x, x < 0 ? std::copysign(2, y) - place : place};
}

double angle_of(const cone& c) {
    return 2 * std::atan2(c.y, c.x);
}

template <std::size_t N>
bool solid_angles_of(const measured_mesh& m, double* least, double* most) {
    return each_element<N>(m, [=](std::size_t j, const vec(&p)[N]) {
        constexpr std::size_t single = N == 5 ? 4 : N; // corners of one cone
        const auto corner = [&p](std::size_t k) {
            const auto& n = solid<N>::corners[k];
            return cone_at(p[n[0]], p[n[1]], p[n[2]], p[n[3]]);
        };
        cone low = corner(0), high = low;
        for (std::size_t k = 1; k < single; ++k) {
            const cone c = corner(k);
            low = c.place < low.place ? c : low;
            high = c.place > high.place ? c : high;
        }
        least[j] = angle_of(low);
        most[j] = angle_of(high);
        if constexpr (N == 5) {
            const double apex = angle_of(corner(4)) + angle_of(corner(5));
            least[j] = std::min(least[j], apex);
            most[j] = std::max(most[j], apex);
        }
    });
}

template <std::size_t N>
bool dihedral_angles_of(const measured_mesh& m, double* least, double* most) {
    return each_element<N>(m, [=](std::size_t j, const vec(&p)[N]) {
        double low = 1, high = -1;
        for (const auto& [f, g] : solid<N>::faces) {
            const vec u = normal(p[f[0]], p[f[1]], p[f[2]]), w = normal(p[g[0]], p[g[1]], p[g[2]]);
            const double squares = dot(u, u) * dot(w, w);
            const double cosine = squares > 0 ? std::clamp(-dot(u, w) / std::sqrt(squares), -1.0, 1.0) : 1;
            low = std::min(low, cosine);
            high = std::max(high, cosine);
        }
        least[j] = std::acos(high);
        most[j] = std::acos(low);
    });
}

vec circumcenter(const vec (&p)[4]) {
    const vec a = p[1], b = p[2], c = p[3], ab = b - a, ca = a - c, cb = b - c;
    const bool from_a = dot(ab, ab) < dot(ca, ca) && dot(ab, ab) < dot(cb, cb);
    const vec base = from_a ? a : c, u = from_a ? c - a : ca, v = from_a ? ab : cb;
    const double uu = dot(u, u), vv = dot(v, v), uv = dot(u, v), d = uu * vv - uv * uv;
    if (!(d > 1e-12 * uu * vv))
        return c;
    const vec radius = 0.5 * ((vv * (uu - uv) / d) * u + (uu * (vv - uv) / d) * v);
    const vec centre = base + radius, n = normal(a, b, c), to = p[0] - centre;
    const double height = dot(to, n), square = dot(to, to);
    if (!(height > 0 && height * height > 1e-24 * square * dot(n, n)))
        return centre;
    return centre + ((square - dot(radius, radius)) * (0.5 / height)) * n;
}

} // namespace

bool volume_loop(const measured_mesh& m, double& volume) {
    double sum = 0;
    const bool good = each_element<4>(
        m, [&sum](std::size_t, const vec(&p)[4]) { sum += dot(p[0] - p[3], cross(p[1] - p[3], p[2] - p[3])); });
    volume = sum / 6;
    return good;
}

bool solid_angle_loop(const measured_mesh& m, double* least, double* most) {
    return m.rows == 4   ? solid_angles_of<4>(m, least, most)
           : m.rows == 5 ? solid_angles_of<5>(m, least, most)
           : m.rows == 6 ? solid_angles_of<6>(m, least, most)
                         : solid_angles_of<8>(m, least, most);
}

bool dihedral_angle_loop(const measured_mesh& m, double* least, double* most) {
    return m.rows == 4   ? dihedral_angles_of<4>(m, least, most)
           : m.rows == 5 ? dihedral_angles_of<5>(m, least, most)
           : m.rows == 6 ? dihedral_angles_of<6>(m, least, most)
                         : dihedral_angles_of<8>(m, least, most);
}

bool circumcenter_loop(const measured_mesh& m, double* centers) {
    return each_element<4>(m, [=](std::size_t j, const vec(&p)[4]) {
        const vec centre = circumcenter(p);
        centers[3 * j] = centre.x;
        centers[3 * j + 1] = centre.y;
        centers[3 * j + 2] = centre.z;
    });
}

} // namespace BASELINES
