// The volume, beside just reading the same memory in the same order; the angles and circumcentres, beside plain loops
// over the same formulas. Items are elements.

#include <benchmark/benchmark.h>

#include "bench_meshes.h"

namespace {

using namespace quorl;
using bench::mesh;
using bench::order;

/// Reads each column and the coordinates of its nodes, and adds them in four sums that do not wait for one another.
double read_all(const mesh& m) {
    double sum[4] = {0, 0, 0, 0};
    const std::size_t rows = m.connect.rows();
    const double* const x = m.pos.data();
    const unsigned* column = m.connect.data();
    for (std::size_t j = 0; j < m.connect.cols(); ++j, column += rows)
        for (std::size_t k = 0; k < rows; ++k) {
            const double* const p = x + 3 * std::size_t(column[k]);
            sum[k % 4] += p[0] + p[1] + p[2];
        }
    return sum[0] + sum[1] + sum[2] + sum[3];
}

void count(benchmark::State& state, const mesh& m) {
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connect.cols()));
}

void BM_read(benchmark::State& state, mesh (*make)(unsigned, order), order o) {
    const mesh m = make(unsigned(state.range(0)), o);
    for (auto _ : state)
        benchmark::DoNotOptimize(read_all(m));
    count(state, m);
}

void BM_volume(benchmark::State& state, mesh (*make)(unsigned, order), order o) {
    const mesh m = make(unsigned(state.range(0)), o);
    double vol = 0;
    int status = 0;
    for (auto _ : state) {
        status |= meldra3d::volume(m.pos, m.connect, vol);
        benchmark::DoNotOptimize(vol);
    }
    const double n = double(state.range(0));
    if (status != 0 || std::fabs(vol / (n * n * n) - 1) > 0.05)
        state.SkipWithError("wrong volume");
    count(state, m);
}

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
struct plain;

template <>
struct plain<4> {
    static constexpr int corners[4][4] = {{0, 2, 1, 3}, {1, 0, 2, 3}, {2, 1, 0, 3}, {3, 1, 2, 0}};
    static constexpr int faces[6][2][3] = {{{1, 2, 3}, {2, 1, 0}}, {{2, 0, 3}, {2, 1, 0}}, {{0, 1, 3}, {2, 1, 0}},
                                           {{0, 1, 3}, {2, 0, 3}}, {{1, 2, 3}, {0, 1, 3}}, {{2, 0, 3}, {1, 2, 3}}};
};

template <>
struct plain<5> { // the last two corners are one
    static constexpr int corners[6][4] = {{0, 1, 3, 4}, {1, 2, 0, 4}, {2, 3, 1, 4},
                                          {3, 0, 2, 4}, {4, 0, 3, 2}, {4, 2, 1, 0}};
    static constexpr int faces[8][2][3] = {{{0, 4, 1}, {3, 4, 0}}, {{0, 4, 1}, {1, 4, 2}}, {{1, 4, 2}, {2, 4, 3}},
                                           {{2, 4, 3}, {3, 4, 0}}, {{0, 1, 2}, {0, 4, 1}}, {{0, 1, 2}, {1, 4, 2}},
                                           {{0, 1, 2}, {2, 4, 3}}, {{0, 1, 2}, {3, 4, 0}}};
};

template <>
struct plain<6> {
    static constexpr int corners[6][4] = {{0, 1, 2, 3}, {1, 2, 0, 4}, {2, 0, 1, 5},
                                          {3, 5, 4, 0}, {4, 3, 5, 1}, {5, 4, 3, 2}};
    static constexpr int faces[9][2][3] = {{{0, 2, 5}, {1, 0, 3}}, {{2, 1, 4}, {1, 0, 3}}, {{2, 1, 4}, {0, 2, 5}},
                                           {{0, 1, 2}, {2, 1, 4}}, {{0, 1, 2}, {0, 2, 5}}, {{0, 1, 2}, {1, 0, 3}},
                                           {{3, 5, 4}, {2, 1, 4}}, {{3, 5, 4}, {0, 2, 5}}, {{3, 5, 4}, {1, 0, 3}}};
};

template <>
struct plain<8> {
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

template <std::size_t N>
extremes plain_solid_angles(const vec (&p)[N]) {
    double angles[N] = {};
    for (std::size_t k = 0; k < std::size(plain<N>::corners); ++k) {
        const auto& corner = plain<N>::corners[k];
        const vec at = p[corner[0]];
        const vec a = unit(p[corner[1]] - at), b = unit(p[corner[2]] - at), c = unit(p[corner[3]] - at);
        angles[std::min(k, N - 1)] += 2 * std::atan2(dot(a, cross(b, c)), dot(a + b, b + c));
    }
    return {*std::min_element(angles, angles + N), *std::max_element(angles, angles + N)};
}

template <std::size_t N>
extremes plain_dihedral_angles(const vec (&p)[N]) {
    extremes found{10, -10};
    for (const auto& [f, g] : plain<N>::faces) {
        const vec u = normal(p[f[0]], p[f[1]], p[f[2]]), w = normal(p[g[0]], p[g[1]], p[g[2]]);
        const double squares = dot(u, u) * dot(w, w);
        const double angle = squares > 0 ? std::acos(std::clamp(-dot(u, w) / std::sqrt(squares), -1.0, 1.0)) : 0;
        found = {std::min(found.least, angle), std::max(found.most, angle)};
    }
    return found;
}

vec plain_circumcenter(const vec (&p)[4]) {
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
void plain_loop(const mesh& m, const Store& store) {
    const double* const x = m.pos.data();
    const unsigned* column = m.connect.data();
    for (std::size_t j = 0; j < m.connect.cols(); ++j, column += N) {
        vec p[N];
        for (std::size_t k = 0; k < N; ++k) {
            const double* const at = x + 3 * std::size_t(column[k]);
            p[k] = {at[0], at[1], at[2]};
        }
        store(j, p);
    }
}

using angle_export = int (*)(const dense2D<double>&, const dense2D<unsigned>&, bool, dense1D<double>&,
                             dense1D<double>&);

template <std::size_t N>
void BM_plain_angles(benchmark::State& state, mesh (*make)(unsigned, order), order o,
                     extremes (*angles)(const vec (&)[N])) {
    const mesh m = make(unsigned(state.range(0)), o);
    std::vector<double> least(m.connect.cols()), most(m.connect.cols());
    for (auto _ : state) {
        plain_loop<N>(m, [&](std::size_t j, const auto& p) {
            const extremes found = angles(p);
            least[j] = found.least;
            most[j] = found.most;
        });
        benchmark::DoNotOptimize(least.data());
    }
    count(state, m);
}

template <std::size_t N>
void BM_angles(benchmark::State& state, mesh (*make)(unsigned, order), order o, angle_export call,
               extremes (*angles)(const vec (&)[N])) {
    const mesh m = make(unsigned(state.range(0)), o);
    dense1D<double> least(m.connect.cols()), most(m.connect.cols());
    int status = 0;
    for (auto _ : state) {
        status |= call(m.pos, m.connect, false, least, most);
        benchmark::DoNotOptimize(least.data());
    }
    double farthest = 0;
    plain_loop<N>(m, [&](std::size_t j, const auto& p) {
        const extremes found = angles(p);
        // Mixed meshes are not padded here: hexahedra leave no slot unused.
        farthest = std::max({farthest, std::fabs(found.least - least[j]), std::fabs(found.most - most[j])});
    });
    if (status != 0 || farthest > 1e-12)
        state.SkipWithError("wrong angles");
    count(state, m);
}

void BM_plain_circumcenters(benchmark::State& state, order o) {
    const mesh m = bench::tetrahedra(unsigned(state.range(0)), o);
    for (auto _ : state) {
        dense2D<double> centers(3, m.connect.cols());
        plain_loop<4>(m, [out = centers.data()](std::size_t j, const vec(&p)[4]) {
            const vec centre = plain_circumcenter(p);
            out[3 * j] = centre.x;
            out[3 * j + 1] = centre.y;
            out[3 * j + 2] = centre.z;
        });
        benchmark::DoNotOptimize(centers.data());
    }
    count(state, m);
}

void BM_circumcenters(benchmark::State& state, order o) {
    const mesh m = bench::tetrahedra(unsigned(state.range(0)), o);
    dense2D<double> centers;
    int status = 0;
    for (auto _ : state)
        status |= meldra3d::circumcenters(m.pos, m.connect, centers);
    double farthest = 0;
    plain_loop<4>(m, [&](std::size_t j, const vec(&p)[4]) {
        const vec off = plain_circumcenter(p) - vec{centers(0, j), centers(1, j), centers(2, j)};
        farthest = std::max(farthest, std::sqrt(dot(off, off)));
    });
    if (status != 0 || !(farthest < 1e-6))
        state.SkipWithError("wrong centres");
    count(state, m);
}

} // namespace

#define PAIR(kind, make, n, o)                                                                                         \
    BENCHMARK_CAPTURE(BM_read, kind / o, make, order::o)->Arg(n)->Unit(benchmark::kMillisecond);                       \
    BENCHMARK_CAPTURE(BM_volume, kind / o, make, order::o)->Arg(n)->Unit(benchmark::kMillisecond)

PAIR(TH4, bench::tetrahedra, 94, grid);
PAIR(TH4, bench::tetrahedra, 94, shuffled);
PAIR(W6, bench::wedges, 79, grid);
PAIR(W6, bench::wedges, 79, shuffled);
PAIR(H8, bench::hexahedra, 136, grid);
PAIR(H8, bench::hexahedra, 136, shuffled);

#define ANGLES(kind, make, rows, n, o)                                                                                 \
    BENCHMARK_CAPTURE(BM_plain_angles, solid kind / o, make, order::o, plain_solid_angles<rows>)                       \
        ->Arg(n)                                                                                                       \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(BM_angles, solid kind / o, make, order::o, meldra3d::solid_angles, plain_solid_angles<rows>)     \
        ->Arg(n)                                                                                                       \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(BM_plain_angles, dihedral kind / o, make, order::o, plain_dihedral_angles<rows>)                 \
        ->Arg(n)                                                                                                       \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(BM_angles, dihedral kind / o, make, order::o, meldra3d::dihedral_angles,                         \
                      plain_dihedral_angles<rows>)                                                                     \
        ->Arg(n)                                                                                                       \
        ->Unit(benchmark::kMillisecond)

ANGLES(TH4, bench::tetrahedra, 4, 55, grid);
ANGLES(TH4, bench::tetrahedra, 4, 55, shuffled);
ANGLES(PY5, bench::pyramids, 5, 69, grid);
ANGLES(PY5, bench::pyramids, 5, 69, shuffled);
ANGLES(W6, bench::wedges, 6, 79, grid);
ANGLES(W6, bench::wedges, 6, 79, shuffled);
ANGLES(H8, bench::hexahedra, 8, 100, grid);
ANGLES(H8, bench::hexahedra, 8, 100, shuffled);

#define CENTERS(o)                                                                                                     \
    BENCHMARK_CAPTURE(BM_plain_circumcenters, o, order::o)->Arg(55)->Unit(benchmark::kMillisecond);                    \
    BENCHMARK_CAPTURE(BM_circumcenters, o, order::o)->Arg(55)->Unit(benchmark::kMillisecond)

CENTERS(grid);
CENTERS(shuffled);
