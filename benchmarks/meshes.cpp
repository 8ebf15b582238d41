#include "meshes.h"

#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <tuple>

#ifdef MELDRA3D_HAS_TETGEN
#include <tetgen.h>
#endif

namespace bench {

namespace {

auto& meshes() {
    static std::map<std::tuple<std::string, order, std::size_t>, std::unique_ptr<mesh>> made;
    return made;
}

[[noreturn]] void give_up(const std::string& why) {
    std::cerr << "benchmark mesh: " << why << '\n';
    std::exit(1);
}

/// The side of a cube that gives enough elements, with `pieces` a cell.
unsigned side_of_cube(std::size_t elements, std::size_t pieces) {
    unsigned n = 1;
    while (pieces * n * n * n < elements)
        ++n;
    return n;
}

unsigned side_of_square(std::size_t elements, double pieces) {
    return unsigned(std::ceil(std::sqrt(double(elements) / pieces)));
}

/// The random nodes are in no order, and the elements get one that is none.
mesh delaunay_tetrahedra(std::size_t elements) {
#ifdef MELDRA3D_HAS_TETGEN
    const auto n = std::size_t(double(elements) / 6.5); // some 6.7 tetrahedra a node, fewer near the boundary
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> unit(0, 1);
    mesh m;
    m.pos.resize(3, n);
    for (std::size_t k = 0; k < m.pos.size(); ++k)
        m.pos.data()[k] = unit(random);
    tetgenio in, out;
    in.numberofpoints = int(n);
    in.pointlist = new double[3 * n]; // which tetgenio deletes
    std::copy_n(m.pos.data(), 3 * n, in.pointlist);
    char options[] = "Q";
    tetrahedralize(options, &in, &out);
    m.connect.resize(4, std::size_t(out.numberoftetrahedra));
    for (std::size_t e = 0; e < m.connect.cols(); ++e) {
        unsigned* const column = m.connect.col(e);
        std::copy_n(out.tetrahedronlist + 4 * e, 4, column);
        double volume = 0;
        quorl::meldra3d::volume(m.pos, m.connect.sub(0, e, 4, 1), volume);
        if (volume < 0)
            std::swap(column[0], column[1]);
    }
    shuffle(m);
    return m;
#else
    give_up("no TetGen for " + std::to_string(elements) + " elements");
#endif
}

/// Hexahedra, wedges and tetrahedra, of which each has a third of the cells, one slab after another.
mesh mixed_solids(std::size_t elements) {
    const unsigned n = side_of_cube(elements, 3);
    mesh m = hexahedra(n, order::grid);
    const dense2D<unsigned> cells = m.connect;
    m.connect = dense2D<unsigned>(8, 0);
    m.connect.reserve(8, 6 * cells.cols(), 1);
    const auto add = [&](const unsigned* cell, std::initializer_list<unsigned> corners) {
        unsigned column[8];
        std::fill_n(column, 8, no_node);
        std::size_t k = 0;
        for (const unsigned corner : corners)
            column[k++] = cell[corner];
        m.connect.append(column);
    };
    for (std::size_t j = 0; j < cells.cols(); ++j) {
        const unsigned* const c = cells.col(j);
        switch (3 * (j % n) / n) {
        case 0:
            add(c, {0, 1, 2, 3, 4, 5, 6, 7});
            break;
        case 1:
            add(c, {0, 1, 2, 4, 5, 6});
            add(c, {0, 2, 3, 4, 6, 7});
            break;
        default:
            for (const auto& piece : tetrahedra_of_cell)
                add(c, {piece[0], piece[1], piece[2], piece[3]});
        }
    }
    return m;
}

mesh quadratic(const std::string& linear_kind, order o, std::size_t elements) {
    mesh m = mesh_of(linear_kind, o, elements); // shallow: the conversion replaces both arrays
    if (quorl::meldra3d::convert_into_quadratic(m.pos, m.connect) != 0)
        give_up("no quadratic form of " + linear_kind);
    return m;
}

mesh make(const std::string& kind, order o, std::size_t elements) {
    if (o == order::delaunay && kind != "TH10")
        return delaunay_tetrahedra(elements);
    if (kind == "TH4")
        return tetrahedra(side_of_cube(elements, 6), o);
    if (kind == "PY5")
        return pyramids(side_of_cube(elements, 3), o);
    if (kind == "W6")
        return wedges(side_of_cube(elements, 2), o);
    if (kind == "H8")
        return hexahedra(side_of_cube(elements, 1), o);
    if (kind == "TH10" || kind == "PY14" || kind == "W18" || kind == "H27")
        return quadratic(kind == "TH10" ? "TH4" : kind == "PY14" ? "PY5" : kind == "W18" ? "W6" : "H8", o, elements);
    if (kind == "SOLID_MIX_Q")
        return quadratic("SOLID_MIX", o, elements);
    if (kind == "Q4")
        return square(side_of_square(elements, 1), false, o);
    if (kind == "FACE_MIX")
        return square(side_of_square(elements, 1.5), true, o);
    mesh m;
    if (kind == "SOLID_MIX")
        m = mixed_solids(elements);
    else if (kind == "T3")
        m = triangles(side_of_square(elements, 2));
    else
        give_up("no kind " + kind);
    if (o == order::shuffled)
        shuffle(m);
    return m;
}

} // namespace

const mesh& mesh_of(const std::string& kind, order o, std::size_t elements) {
    auto& m = meshes()[{kind, o, elements}];
    if (!m)
        m = std::make_unique<mesh>(make(kind, o, elements));
    return *m;
}

void forget_meshes() {
    meshes().clear();
}

bool has_delaunay() {
#ifdef MELDRA3D_HAS_TETGEN
    return true;
#else
    return false;
#endif
}

} // namespace bench
