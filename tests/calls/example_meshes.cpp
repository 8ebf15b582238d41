#include "calls/example_meshes.h"

#include <algorithm>

namespace test {

namespace {

void append_node(dense2D<double>& pos, double x, double y, double z) {
    const double node[] = {x, y, z};
    pos.append(node);
}

template <class Nodes>
void append_element(dense2D<unsigned>& connect, const Nodes& nodes) {
    std::array<unsigned, 8> column;
    column.fill(no_node);
    std::copy(std::begin(nodes), std::end(nodes), column.begin());
    connect.append(column.data());
}

struct grid {
    unsigned n;

    unsigned node(unsigned i, unsigned j, unsigned k) const { return i + (n + 1) * (j + (n + 1) * k); }

    std::array<unsigned, 8> cell(unsigned i, unsigned j, unsigned k) const {
        return {node(i, j, k),     node(i + 1, j, k),     node(i + 1, j + 1, k),     node(i, j + 1, k),
                node(i, j, k + 1), node(i + 1, j, k + 1), node(i + 1, j + 1, k + 1), node(i, j + 1, k + 1)};
    }
};

/// The place of level i of n along an axis; inner ones are moved by up to a twentieth of a cell.
double place(unsigned i, unsigned n, std::uint64_t seed) {
    const double t = double(i) / n;
    const double shift = i == 0 || i == n ? 0 : (scattered(seed) - 0.5) * 0.1 / n;
    return t * (0.7 + 0.3 * t) + shift;
}

dense2D<double> grid_nodes(unsigned n) {
    dense2D<double> pos(3, 0);
    std::uint64_t seed = 0;
    for (unsigned k = 0; k <= n; ++k)
        for (unsigned j = 0; j <= n; ++j)
            for (unsigned i = 0; i <= n; ++i, seed += 3)
                append_node(pos, place(i, n, seed), place(j, n, seed + 1), place(k, n, seed + 2));
    return pos;
}

using cell_nodes = std::array<unsigned, 8>;

void add_wedges(mesh& m, const cell_nodes& c) {
    append_element(m.connect, std::array{c[0], c[1], c[2], c[4], c[5], c[6]});
    append_element(m.connect, std::array{c[0], c[2], c[3], c[4], c[6], c[7]});
}

void add_tetrahedra(mesh& m, const cell_nodes& c) {
    for (const auto& [a, b] : {std::array{2u, 1u}, {3u, 2u}, {7u, 3u}, {4u, 7u}, {5u, 4u}, {1u, 5u}})
        append_element(m.connect, std::array{c[0], c[a], c[b], c[6]});
}

/// Around a new node in the middle; the pyramid below may be cut into tetrahedra.
void add_pyramids(mesh& m, const cell_nodes& c, bool cut_below) {
    const auto apex = unsigned(m.pos.cols());
    std::array<double, 3> middle{};
    for (const unsigned node : c)
        for (unsigned i = 0; i < 3; ++i)
            middle[i] += m.pos(i, node) / 8;
    append_node(m.pos, middle[0], middle[1], middle[2]);
    if (cut_below) {
        append_element(m.connect, std::array{c[0], c[2], c[1], apex});
        append_element(m.connect, std::array{c[0], c[3], c[2], apex});
    } else {
        append_element(m.connect, std::array{c[0], c[1], c[2], c[3], apex});
    }
    for (const auto& base :
         {std::array{4u, 7u, 6u, 5u}, {0u, 3u, 7u, 4u}, {1u, 5u, 6u, 2u}, {0u, 4u, 5u, 1u}, {3u, 2u, 6u, 7u}})
        append_element(m.connect, std::array{c[base[0]], c[base[1]], c[base[2]], c[base[3]], apex});
}

/// How the cells above a square of the ground are cut: those that stand on each other alike, so that they fit.
cut cut_of_column(cut kind, unsigned i, unsigned j) {
    constexpr cut of_all_kinds[] = {cut::hexahedra, cut::wedges, cut::pyramids};
    switch (kind) {
    case cut::all_kinds:
        return of_all_kinds[(i + j) % 3];
    case cut::wedges_of_8:
        return of_all_kinds[(i + j) % 2];
    case cut::tetrahedra_of_8:
        return cut::tetrahedra;
    default:
        return kind;
    }
}

std::size_t rows_of(cut kind) {
    switch (kind) {
    case cut::tetrahedra:
        return 4;
    case cut::pyramids:
        return 5;
    case cut::wedges:
        return 6;
    default:
        return 8;
    }
}

} // namespace

double scattered(std::uint64_t k) {
    k = (k + 1) * 0x9E3779B97F4A7C15u;
    k = (k ^ (k >> 30)) * 0xBF58476D1CE4E5B9u;
    k = (k ^ (k >> 27)) * 0x94D049BB133111EBu;
    return double((k ^ (k >> 31)) >> 11) / double(std::uint64_t(1) << 53);
}

mesh solids(cut kind, unsigned n) {
    mesh m{grid_nodes(n), dense2D<unsigned>(rows_of(kind), 0)};
    for (unsigned k = 0; k < n; ++k)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned i = 0; i < n; ++i) {
                const cell_nodes c = grid{n}.cell(i, j, k);
                const cut here = cut_of_column(kind, i, j);
                if (here == cut::hexahedra)
                    append_element(m.connect, c);
                else if (here == cut::wedges)
                    add_wedges(m, c);
                else if (here == cut::tetrahedra)
                    add_tetrahedra(m, c);
                else
                    add_pyramids(m, c, kind == cut::all_kinds && k == 0);
            }
    return m;
}

dense2D<unsigned> inner_surface(cut kind, unsigned n) {
    dense2D<unsigned> faces(kind == cut::tetrahedra ? 3 : 4, 0);
    for (unsigned j = 0; j < n; ++j)
        for (unsigned i = 0; i < n; ++i) {
            const cell_nodes c = grid{n}.cell(i, j, n / 2);
            const cut here = cut_of_column(kind, i, j);
            if (here == cut::hexahedra || here == cut::pyramids) {
                append_element(faces, std::array{c[0], c[1], c[2], c[3]});
            } else {
                append_element(faces, std::array{c[0], c[1], c[2]});
                append_element(faces, std::array{c[0], c[2], c[3]});
            }
        }
    return faces;
}

mesh surface(std::size_t rows, unsigned n) {
    mesh m{dense2D<double>(3, 0), dense2D<unsigned>(rows, 0)};
    for (unsigned j = 0; j <= n; ++j)
        for (unsigned i = 0; i <= n; ++i) {
            const double x = place(i, n, 2 * m.pos.cols()), y = place(j, n, 2 * m.pos.cols() + 1);
            append_node(m.pos, x, y, 0.2 * (x * x + 0.5 * y * y));
        }
    for (unsigned j = 0; j < n; ++j)
        for (unsigned i = 0; i < n; ++i) {
            const unsigned a = i + (n + 1) * j, b = a + 1, c = b + n + 1, d = a + n + 1;
            if (rows == 4 && (i + j) % 2 == 0) {
                append_element(m.connect, std::array{a, b, c, d});
            } else {
                append_element(m.connect, std::array{a, b, c});
                append_element(m.connect, std::array{a, c, d});
            }
        }
    return m;
}

dense2D<unsigned> border(unsigned n) {
    dense2D<unsigned> edges(2, n);
    for (unsigned i = 0; i < n; ++i) {
        edges(0, i) = i;
        edges(1, i) = i + 1;
    }
    return edges;
}

dense2D<unsigned> with_rows(const dense2D<unsigned>& connect, std::size_t rows, std::size_t nodes) {
    dense2D<unsigned> wider(rows, connect.cols());
    for (std::size_t j = 0; j < connect.cols(); ++j)
        for (std::size_t i = 0; i < rows; ++i)
            wider(i, j) = i < connect.rows() ? connect(i, j) : unsigned((7 * j + 3 * i) % nodes);
    return wider;
}

} // namespace test
