#include "measure.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <type_traits>

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
struct shape;

template <>
struct shape<4> {
    static constexpr int corners[4][4] = {{0, 2, 1, 3}, {1, 0, 2, 3}, {2, 1, 0, 3}, {3, 1, 2, 0}};
    static constexpr int faces[6][2][3] = {{{1, 2, 3}, {2, 1, 0}}, {{2, 0, 3}, {2, 1, 0}}, {{0, 1, 3}, {2, 1, 0}},
                                           {{0, 1, 3}, {2, 0, 3}}, {{1, 2, 3}, {0, 1, 3}}, {{2, 0, 3}, {1, 2, 3}}};
};

template <>
struct shape<5> { // the last two corners are one
    static constexpr int corners[6][4] = {{0, 1, 3, 4}, {1, 2, 0, 4}, {2, 3, 1, 4},
                                          {3, 0, 2, 4}, {4, 0, 3, 2}, {4, 2, 1, 0}};
    static constexpr int faces[8][2][3] = {{{0, 4, 1}, {3, 4, 0}}, {{0, 4, 1}, {1, 4, 2}}, {{1, 4, 2}, {2, 4, 3}},
                                           {{2, 4, 3}, {3, 4, 0}}, {{0, 1, 2}, {0, 4, 1}}, {{0, 1, 2}, {1, 4, 2}},
                                           {{0, 1, 2}, {2, 4, 3}}, {{0, 1, 2}, {3, 4, 0}}};
};

template <>
struct shape<6> {
    static constexpr int corners[6][4] = {{0, 1, 2, 3}, {1, 2, 0, 4}, {2, 0, 1, 5},
                                          {3, 5, 4, 0}, {4, 3, 5, 1}, {5, 4, 3, 2}};
    static constexpr int faces[9][2][3] = {{{0, 2, 5}, {1, 0, 3}}, {{2, 1, 4}, {1, 0, 3}}, {{2, 1, 4}, {0, 2, 5}},
                                           {{0, 1, 2}, {2, 1, 4}}, {{0, 1, 2}, {0, 2, 5}}, {{0, 1, 2}, {1, 0, 3}},
                                           {{3, 5, 4}, {2, 1, 4}}, {{3, 5, 4}, {0, 2, 5}}, {{3, 5, 4}, {1, 0, 3}}};
};

template <>
struct shape<8> {
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

struct extremes {
    double least, most;
};

/// Half a solid angle as the two arguments of atan2.
struct half_angle {
    double sine, cosine;

    double angle() const { return 2 * std::atan2(sine, cosine); }
    double cotangent() const { return cosine / sine; }
};

template <std::size_t N>
half_angle half_at(const vec (&p)[N], const int (&corner)[4]) {
    const vec at = p[corner[0]];
    const vec a = unit(p[corner[1]] - at), b = unit(p[corner[2]] - at), c = unit(p[corner[3]] - at);
    return {dot(a, cross(b, c)), dot(a + b, b + c)};
}

/// Each angle by itself, where a corner is turned inside out or, as the apex of a pyramid, made of two.
template <std::size_t N>
extremes angles_one_by_one(const vec (&p)[N]) {
    double angles[N] = {};
    for (std::size_t k = 0; k < std::size(shape<N>::corners); ++k)
        angles[std::min(k, N - 1)] += half_at(p, shape<N>::corners[k]).angle();
    return {*std::min_element(angles, angles + N), *std::max_element(angles, angles + N)};
}

template <std::size_t N>
extremes solid_angles_of(const vec (&p)[N]) {
    constexpr std::size_t single = N == 5 ? 4 : N; // corners that are one triple of edges
    half_angle least{0, 1}, most{0, -1};
    double greatest_cotangent = -std::numeric_limits<double>::infinity(), least_cotangent = -greatest_cotangent;
    for (std::size_t k = 0; k < single; ++k) {
        const half_angle half = half_at(p, shape<N>::corners[k]);
        if (!(half.sine > 0))
            return angles_one_by_one(p);
        const double cotangent = half.cotangent();
        if (cotangent > greatest_cotangent) {
            greatest_cotangent = cotangent;
            least = half;
        }
        if (cotangent < least_cotangent) {
            least_cotangent = cotangent;
            most = half;
        }
    }
    extremes found{least.angle(), most.angle()};
    if constexpr (N == 5) {
        const double apex = half_at(p, shape<N>::corners[4]).angle() + half_at(p, shape<N>::corners[5]).angle();
        found = {std::min(found.least, apex), std::max(found.most, apex)};
    }
    return found;
}

template <std::size_t N>
extremes dihedral_angles_of(const vec (&p)[N]) {
    double least = 1, most = -1; // cosines
    for (const auto& [f, g] : shape<N>::faces) {
        const vec u = normal(p[f[0]], p[f[1]], p[f[2]]), w = normal(p[g[0]], p[g[1]], p[g[2]]);
        const double squares = dot(u, u) * dot(w, w);
        const double cosine = squares > 0 ? std::clamp(-dot(u, w) / std::sqrt(squares), -1.0, 1.0) : 1;
        least = std::min(least, cosine);
        most = std::max(most, cosine);
    }
    return {std::acos(most), std::acos(least)};
}

vec circumcenter_of(const vec (&p)[4]) {
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

template <std::size_t N, class Store>
void for_each_element(const double* pos, const unsigned* connect, std::size_t cols, const Store& store) {
    for (std::size_t j = 0; j < cols; ++j, connect += N) {
        vec p[N];
        for (std::size_t k = 0; k < N; ++k) {
            const double* const at = pos + 3 * std::size_t(connect[k]);
            p[k] = {at[0], at[1], at[2]};
        }
        store(j, p);
    }
}

/// Calls run(number of rows as a constant).
template <class Run>
void with_rows(std::size_t rows, const Run& run) {
    switch (rows) {
    case 4:
        return run(std::integral_constant<std::size_t, 4>());
    case 5:
        return run(std::integral_constant<std::size_t, 5>());
    case 6:
        return run(std::integral_constant<std::size_t, 6>());
    default:
        return run(std::integral_constant<std::size_t, 8>());
    }
}

double six_volumes(const vec (&p)[4]) {
    const vec d = p[3];
    return dot(p[0] - d, cross(p[1] - d, p[2] - d));
}

} // namespace

double volume(const double* pos, const unsigned* connect, std::size_t cols) {
    double sum = 0;
    for_each_element<4>(pos, connect, cols, [&](std::size_t, const vec(&p)[4]) { sum += six_volumes(p); });
    return sum / 6;
}

double volume_checked(const double* pos, const unsigned* connect, std::size_t cols, unsigned nodes) {
    constexpr std::size_t ahead = 16;
    unsigned beyond = 0;
    for (std::size_t k = 0; k < 4 * cols; ++k)
        beyond |= connect[k] >= nodes ? 1u : 0u;
    if (beyond)
        return std::numeric_limits<double>::quiet_NaN();
    double sum = 0;
    const std::size_t last = cols > 0 ? cols - 1 : 0;
    for_each_element<4>(pos, connect, cols, [&](std::size_t j, const vec(&p)[4]) {
        const unsigned* const later = connect + 4 * std::min(j + ahead, last);
        for (std::size_t k = 0; k < 4; ++k)
            __builtin_prefetch(pos + 3 * std::size_t(later[k]));
        sum += six_volumes(p);
    });
    return sum / 6;
}

void solid_angles(const double* pos, const unsigned* connect, std::size_t rows, std::size_t cols, double* least,
                  double* most) {
    with_rows(rows, [&](auto n) {
        for_each_element<n()>(pos, connect, cols, [&](std::size_t j, const auto& p) {
            const extremes found = solid_angles_of(p);
            least[j] = found.least;
            most[j] = found.most;
        });
    });
}

void dihedral_angles(const double* pos, const unsigned* connect, std::size_t rows, std::size_t cols, double* least,
                     double* most) {
    with_rows(rows, [&](auto n) {
        for_each_element<n()>(pos, connect, cols, [&](std::size_t j, const auto& p) {
            const extremes found = dihedral_angles_of(p);
            least[j] = found.least;
            most[j] = found.most;
        });
    });
}

void circumcenters(const double* pos, const unsigned* connect, std::size_t cols, double* centers) {
    for_each_element<4>(pos, connect, cols, [&](std::size_t j, const vec(&p)[4]) {
        const vec centre = circumcenter_of(p);
        centers[3 * j] = centre.x;
        centers[3 * j + 1] = centre.y;
        centers[3 * j + 2] = centre.z;
    });
}

} // namespace BASELINES
