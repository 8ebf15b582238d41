// The elements of a part that hold points. The library's own search is asked first. Where it finds a point far inside
// an element, no other element of a valid mesh holds the point, and that is the result. The rest, points that walks
// miss at the border of the part, which may run in and out, and points at faces, edges and nodes, which several
// elements hold, are looked for among the boxes of all elements that are near them. So what is found does not depend on
// how the mesh is cut.

#include "part_search.h"

#include <algorithm>
#include <limits>

#include "box_tree.h"
#include "exchange.h"
#include "frame/id_count.h"
#include "frame/quickest.h"
#include "locate/found_points.h"

namespace quorl::meldra3d_mpi::detail {

namespace {

using meldra3d::detail::found_points;
using meldra3d::detail::point_at;
using meldra3d::detail::quickest;
using meldra3d::detail::sides_of;
using meldra3d::detail::tetra_mesh;

/// Points that are neighbours, and for each the element with the lowest global ID that holds it, of those visited.
/// Elements are visited by their places in a list of columns.
class holding_elements {
public:
    holding_elements(const tetra_mesh& mesh, const unsigned* list, const std::uint64_t* ids, const double* points,
                     unsigned count, double tolerance)
        : mesh_(mesh), list_(list), ids_(ids), points_(points), tolerance_(tolerance) {
        std::fill_n(columns_, count, no_node);
        std::fill_n(best_, count, no_id);
    }

    [[gnu::always_inline]] void expect(unsigned item) const {
        __builtin_prefetch(mesh_.nodes_of(list_[item]));
        __builtin_prefetch(ids_ + list_[item]);
    }

    [[gnu::always_inline]] void prepare(unsigned item) const {
        for (unsigned i = 0; i < 4; ++i)
            __builtin_prefetch(mesh_.pos + mesh_.nodes_of(list_[item])[i] * mesh_.pos_ld);
    }

    [[gnu::always_inline]] void visit(unsigned item, const std::uint16_t* which, unsigned n) {
        const unsigned column = list_[item];
        const auto corners = mesh_.element(column);
        const std::uint64_t id = ids_[column];
        for (unsigned i = 0; i < n; ++i) {
            const unsigned k = which[i];
            if (best_[k] < id)
                continue;
            const auto sides = sides_of(corners, point_at(points_ + std::size_t{3} * k), tolerance_);
            if (sides.degenerate || sides.beyond != 0)
                continue;
            columns_[k] = column;
            best_[k] = id;
        }
    }

    /// The element of a point, or `no_node`.
    unsigned operator[](std::size_t point) const { return columns_[point]; }

private:
    const tetra_mesh& mesh_;
    const unsigned* list_;
    const std::uint64_t* ids_;
    const double* points_;
    double tolerance_;
    unsigned columns_[box_tree::most_points];
    std::uint64_t best_[box_tree::most_points];
};

/// Takes local coordinates.
struct local_list {
    vector_fixed<double, 3>* local;

    void expect_at(const unsigned*) const {}
    void found(std::size_t k, unsigned, const vector_fixed<double, 3>& w) const { local[k] = w; }
};

double margin_of(double edge, double growth) {
    return edge > 0 ? edge * growth : 0; // infinite, but never NaN
}

void grow(box& one, double growth) {
    for (unsigned i = 0; i < 3; ++i) {
        const double margin = margin_of(one.high[i] - one.low[i], growth);
        one.low[i] -= margin;
        one.high[i] += margin;
    }
}

} // namespace

/// A point whose barycentric coordinates are -t or more lies in the element enlarged 1 + 4 t times about its centre.
/// The rest of the growth is for rounding.
part_search::part_search(const distributed_mesh& mesh, double tolerance)
    : mesh_(mesh), tetrahedra_(mesh.pos, mesh.connectivity, {}), tolerance_(tolerance),
      growth_(4 * std::max(0.0, tolerance) + 1e-12) {} // max(0, NaN) is 0

/// Around the points that an element holds, and its finite nodes; empty where it has none.
box part_search::box_of(std::size_t column) const {
    box around = box::none();
    for (unsigned k = 0; k < 4; ++k)
        around.include(mesh_.pos.col(mesh_.connectivity(k, column)));
    grow(around, growth_);
    return around;
}

bool part_search::build() {
    around_ = box_around(mesh_.pos);
    double margin[3]; // no element has a larger one
    for (unsigned i = 0; i < 3; ++i)
        margin[i] = margin_of(around_.high[i] - around_.low[i], growth_);
    grow(around_, growth_);
    dense1D<cell_grid::range, 8> of_nodes(mesh_.node_ids.size(), cell_grid::range::none());
    if (of_nodes.size() != mesh_.node_ids.size() || !cells_.resize(mesh_.element_ids.size()) || !where_.reset(around_))
        return false;
    for (std::size_t k = 0; k < of_nodes.size(); ++k)
        if (const double* const x = mesh_.pos.col(k); is_finite(x)) {
            box one;
            for (unsigned i = 0; i < 3; ++i) {
                one.low[i] = x[i] - margin[i];
                one.high[i] = x[i] + margin[i];
            }
            of_nodes[k] = where_.range_of(one);
        }
    unsigned most[3] = {0, 0, 0};
    for (std::size_t j = 0; j < cells_.size(); ++j) {
        const unsigned* const n = mesh_.connectivity.col(j);
        const cell_grid::range in = of_nodes[n[0]].around(of_nodes[n[1]]).around(of_nodes[n[2]].around(of_nodes[n[3]]));
        cells_[j] = in;
        where_.mark(in);
        for (unsigned i = 0; i < 3 && !in.is_none(); ++i)
            most[i] = std::max(most[i], in.high(i) - in.low[i] + 1);
    }
    for (unsigned i = 0; i < 3; ++i)
        longest_ += most[i] * where_.step(i);
    return true;
}

bool part_search::find(const dense1D<asked_point, 8>& points, double longest, dense1D<unsigned, 8>& columns,
                       dense1D<vector_fixed<double, 3>, 8>& local) const {
    std::fill(columns.begin(), columns.end(), no_node);
    dense1D<unsigned, 8> sought, rest;
    if (!sought.resize(points.size()))
        return false;
    std::size_t count = 0;
    for (std::size_t k = 0; k < points.size(); ++k) {
        sought[count] = static_cast<unsigned>(k);
        count += where_.is_marked(points[k].x) ? 1 : 0;
    }
    sought.resize(count);
    if (count == 0)
        return true;
    dense2D<double> coordinates(3, count);
    found_by_walks found;
    if (coordinates.empty())
        return false;
    for (std::size_t k = 0; k < count; ++k)
        std::copy_n(points[sought[k]].x, 3, coordinates.col(k));
    if (!walk(coordinates, found))
        return false;

    // An element that holds a point with some tolerance is nearer to it than four times the tolerance times its length.
    // So far from the faces of one that is around the point no other can be, and rounding does not count. With a
    // negative tolerance that one need not hold it.
    constexpr double infinity = std::numeric_limits<double>::infinity();
    keep_far_inside(tolerance_ >= 0 ? (growth_ + 1e-10) * longest : infinity, found);
    for (std::size_t k = 0; k < count; ++k) {
        if (found.elements[k] != no_node) {
            columns[sought[k]] = found.elements[k];
            std::copy_n(found.local.col(k), 3, local[sought[k]].values);
        } else if (!rest.push_back(sought[k])) {
            return false;
        }
    }
    return rest.empty() || search_tree(points, rest, columns, local);
}

/// The library's search among the elements of the part.
bool part_search::walk(const dense2D<double>& points, found_by_walks& found) const {
    // Whatever the caller's tolerance is: a point far inside an element is found with this one, and no walk goes round
    // in circles between elements that do not hold a point on their common face.
    constexpr double usual = 1e-6;
    const std::size_t n = mesh_.element_ids.size();
    if (n >= meldra3d::detail::id_limit)
        return false;
    // A flat element beyond the faces that have no neighbour: it ends a walk that leaves the part. Walks that end at a
    // boundary would be followed by others, from all around the nearest node, at many times the cost.
    dense2D<unsigned> corners, neighbors;
    dense1D<unsigned, 8> ancestors;
    meldra::node_detector detector;
    if (!corners.resize(4, n + 1))
        return false;
    for (std::size_t j = 0; j < n; ++j)
        std::copy_n(mesh_.connectivity.col(j), 4, corners.col(j));
    std::fill_n(corners.col(n), 4, 0);
    if (meldra::get_neighbors(corners, ET_TH4, false, neighbors) < 0 || meldra::get_ancestors(corners, ancestors) < 0 ||
        detector.reinit(mesh_.pos, corners) < 0)
        return false;
    std::replace(neighbors.data(), neighbors.col(n), no_node, static_cast<unsigned>(n));
    // Of the other statuses, each says that the last point was not found.
    return meldra3d::get_elements_containing_points(mesh_.pos, corners, neighbors, ancestors, detector, ET_TH4, points,
                                                    found.elements, found.local, usual) != no_memory;
}

/// Takes away the elements whose points are not farther than a margin from each of their faces.
void part_search::keep_far_inside(double margin, found_by_walks& found) const {
    constexpr std::size_t ahead = 8;
    dense1D<unsigned, 8>& elements = found.elements;
    const std::size_t n = elements.size();
    const auto expected = [&](std::size_t k) { return k < n && elements[k] != no_node; };
    for (std::size_t k = 0; k < n; ++k) {
        if (expected(k + 2 * ahead))
            __builtin_prefetch(tetrahedra_.nodes_of(elements[k + 2 * ahead]));
        for (unsigned i = 0; i < 4 && expected(k + ahead); ++i)
            __builtin_prefetch(mesh_.pos.col(tetrahedra_.nodes_of(elements[k + ahead])[i]));
        if (elements[k] == no_node)
            continue;
        // A barycentric coordinate is the distance from a face by its height, which is the six-fold volume by the
        // length of its normal. That is no longer than the product of two edges, and these no longer than twice the
        // longest of three.
        const auto corners = tetrahedra_.element(elements[k]);
        double square = 0;
        for (unsigned i = 0; i < 3; ++i) {
            const auto edge = corners.corner[i] - corners.corner[3];
            square = std::max(square, dot(edge, edge));
        }
        const double* const w = found.local.col(k);
        const double least = std::min({w[0], w[1], w[2], 1 - w[0] - w[1] - w[2]});
        if (!(least * six_volume(corners.corner) > 4 * square * margin))
            elements[k] = no_node;
    }
}

/// The element with the lowest ID that holds a point, for those of some points: among the elements that are near them.
bool part_search::search_tree(const dense1D<asked_point, 8>& points, const dense1D<unsigned, 8>& numbers,
                              dense1D<unsigned, 8>& columns, dense1D<vector_fixed<double, 3>, 8>& local) const {
    cell_grid cells_of_points;
    dense1D<unsigned, 8> near;
    box_tree tree;
    if (!cells_of_points.reset(around_))
        return false;
    for (const unsigned k : numbers)
        cells_of_points.mark(points[k].x);
    for (std::size_t j = 0; j < cells_.size(); ++j)
        if (cells_of_points.is_marked(cells_[j]) && !near.push_back(static_cast<unsigned>(j)))
            return false;
    if (!tree.build(near.size(), around_, [&](std::size_t k) { return box_of(near[k]); }))
        return false;

    local_list results{local.data()};
    found_points<local_list> found(tetrahedra_, results);
    double block[3 * box_tree::most_points];
    for (std::size_t first = 0; first < numbers.size(); first += box_tree::most_points) {
        const auto count = static_cast<unsigned>(std::min<std::size_t>(numbers.size() - first, box_tree::most_points));
        for (unsigned k = 0; k < count; ++k)
            std::copy_n(points[numbers[first + k]].x, 3, block + std::size_t{3} * k);
        holding_elements elements(tetrahedra_, near.data(), mesh_.element_ids.data(), block, count, tolerance_);
        quickest([&]() __attribute__((always_inline)) { tree.visit_around(block, count, elements); });
        for (unsigned k = 0; k < count; ++k)
            if (elements[k] != no_node) {
                columns[numbers[first + k]] = elements[k];
                found.add(numbers[first + k], elements[k], point_at(points[numbers[first + k]].x));
            }
    }
    found.finish();
    return true;
}

} // namespace quorl::meldra3d_mpi::detail
