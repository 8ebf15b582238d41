#pragma once

#include <cstring>
#include <numeric>
#include <vector>

#include "extrude/random_patch.h"
#include "locate/tetra_meshes.h"
#include "support/properties.h"

// Random meshes of solids, and the same mesh with its nodes numbered and its elements ordered in another way.
namespace test {

/// A number between -4 and 4.
inline double coordinate() {
    return *rc::gen::inRange(-1000, 1001) / 250.0;
}

inline vector_fixed<double, 3> random_vector() {
    const double x = coordinate(), y = coordinate();
    return {x, y, coordinate()};
}

/// A random patch of which some faces are missing, so that it has holes and parts that meet in a corner.
inline patch pierced_patch() {
    patch p = random_patch();
    dense2D<unsigned> kept(4, 0);
    for (std::size_t j = 0; j < p.faces.cols(); ++j)
        if (j == 0 || *rc::gen::inRange(0, 3) != 0)
            kept.append(p.faces.col(j));
    p.faces = kept;
    return p;
}

struct solid_mesh {
    dense2D<double> pos;
    dense2D<unsigned> connect;

    solid_mesh deep_copy() const {
        solid_mesh own;
        RC_ASSERT(own.pos.copy(pos) && own.connect.copy(connect));
        return own;
    }
};

/// Wedges and hexahedra in 8 rows, with plane faces, sheared and stretched.
inline solid_mesh random_solids() {
    patch p = pierced_patch();
    solid_mesh m{p.pos, {}};
    const unsigned layers = *rc::gen::inRange(1u, 4u);
    RC_ASSERT(quorl::meldra3d::extrude_translate(m.pos, p.faces, {coordinate(), coordinate(), positive(5)}, layers,
                                                 m.connect) == 0);
    const double stretch = positive(3), shear = coordinate();
    for (std::size_t j = 0; j < m.pos.cols(); ++j)
        m.pos(0, j) = stretch * m.pos(0, j) + shear * m.pos(1, j);
    return m;
}

/// The faces between two layers of a sweep: the upper face of the lower solid of each pair.
inline dense2D<unsigned> level_between_two_layers(const dense2D<unsigned>& solids) {
    dense2D<unsigned> level(4, 0);
    for (std::size_t j = 0; j < solids.cols(); j += 2) {
        const unsigned* const c = solids.col(j);
        const unsigned triangle[] = {c[3], c[4], c[5], no_node}, quadrangle[] = {c[4], c[5], c[6], c[7]};
        level.append(c[6] == no_node ? triangle : quadrangle);
    }
    return level;
}

/// Tetrahedra in a cube.
inline solid_mesh random_tetrahedra() {
    const searchable m = cube_of_tetrahedra(*rc::gen::inRange(1u, 4u), 0.2);
    return {m.pos, m.connect};
}

inline std::vector<unsigned> random_order(std::size_t n) {
    std::vector<unsigned> order(n);
    std::iota(order.begin(), order.end(), 0u);
    for (std::size_t k = n; k > 1; --k)
        std::swap(order[k - 1], order[*rc::gen::inRange<std::size_t>(0, k)]);
    return order;
}

inline std::vector<unsigned> same_order(std::size_t n) {
    std::vector<unsigned> order(n);
    std::iota(order.begin(), order.end(), 0u);
    return order;
}

/// Column `order[j]` becomes column j.
template <class T>
dense2D<T> reordered(const dense2D<T>& matrix, const std::vector<unsigned>& order) {
    dense2D<T> result(matrix.rows(), 0);
    for (const unsigned j : order)
        result.append(matrix.col(j));
    return result;
}

/// Node i becomes node `number[i]`.
inline dense2D<double> renumbered_nodes(const dense2D<double>& pos, const std::vector<unsigned>& number) {
    dense2D<double> result(pos.rows(), pos.cols());
    for (std::size_t i = 0; i < pos.cols(); ++i)
        std::copy_n(pos.col(i), pos.rows(), result.col(number[i]));
    return result;
}

inline dense2D<unsigned> renamed(const dense2D<unsigned>& connect, const std::vector<unsigned>& number) {
    dense2D<unsigned> result;
    result.copy(connect);
    for (std::size_t k = 0; k < result.size(); ++k)
        if (unsigned& id = result.data()[k]; id != no_node)
            id = number[id];
    return result;
}

/// A mesh under other numbers: node i is `node[i]`, and column j is what was column `element[j]`.
struct renumbering {
    std::vector<unsigned> node, element;

    solid_mesh operator()(const solid_mesh& m) const {
        return {renumbered_nodes(m.pos, node), reordered(renamed(m.connect, node), element)};
    }
};

inline renumbering random_renumbering(const solid_mesh& m) {
    std::vector<unsigned> node = random_order(m.pos.cols());
    return {std::move(node), random_order(m.connect.cols())};
}

/// The coordinates of the nodes of an element, one behind the other; nothing for unused rows.
inline std::vector<double> shape(const dense2D<double>& pos, const unsigned* column, std::size_t rows) {
    std::vector<double> values;
    for (std::size_t i = 0; i < rows; ++i)
        if (column[i] != no_node)
            values.insert(values.end(), pos.col(column[i]), pos.col(column[i]) + pos.rows());
    return values;
}

inline std::vector<std::vector<double>> shapes(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    std::vector<std::vector<double>> all;
    for (std::size_t j = 0; j < connect.cols(); ++j)
        all.push_back(shape(pos, connect.col(j), connect.rows()));
    return all;
}

inline double volume_of(const solid_mesh& m) {
    double vol = 0;
    RC_ASSERT(quorl::meldra3d::volume(m.pos, m.connect, vol) == 0);
    return vol;
}

} // namespace test
