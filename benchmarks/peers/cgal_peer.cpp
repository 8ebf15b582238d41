// Location in the Delaunay triangulation of CGAL: the same random nodes, and so the same tetrahedra. The points are
// sorted in space first, and each search begins where the one before has ended, as CGAL's manual advises. Each point
// gets its cell and its coordinates in it, as from the library.

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Spatial_sort_traits_adapter_3.h>
#include <CGAL/property_map.h>
#include <CGAL/spatial_sort.h>

#include "harness.h"
#include "points.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

using kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using triangulation = CGAL::Delaunay_triangulation_3<kernel>;

/// Made once: the search of each repetition is in the same.
const triangulation& triangulation_of(const mesh& m) {
    static triangulation made;
    static const mesh* of = nullptr;
    if (of != &m) {
        std::vector<kernel::Point_3> nodes;
        for (std::size_t v = 0; v < m.pos.cols(); ++v)
            nodes.emplace_back(m.pos(0, v), m.pos(1, v), m.pos(2, v));
        made.clear();
        made.insert(nodes.begin(), nodes.end());
        of = &m;
    }
    return made;
}

/// The cell of each point, none for a point outside the hull, and the point's coordinates for the first three vertices.
struct located {
    std::vector<triangulation::Cell_handle> cells;
    std::vector<double> local;
};

/// Volumes of CGAL's own give the coordinates.
located locate_all(const triangulation& t, const std::vector<kernel::Point_3>& points) {
    using numbered = std::pair<kernel::Point_3, std::size_t>;
    std::vector<numbered> sorted;
    sorted.reserve(points.size());
    for (const auto& p : points)
        sorted.emplace_back(p, sorted.size());
    CGAL::spatial_sort(sorted.begin(), sorted.end(),
                       CGAL::Spatial_sort_traits_adapter_3<kernel, CGAL::First_of_pair_property_map<numbered>>());
    located result{std::vector<triangulation::Cell_handle>(points.size()), std::vector<double>(3 * points.size())};
    triangulation::Cell_handle at;
    for (const auto& [p, number] : sorted) {
        at = t.locate(p, at);
        if (t.is_infinite(at))
            continue;
        result.cells[number] = at;
        const auto& a = at->vertex(0)->point();
        const auto& b = at->vertex(1)->point();
        const auto& c = at->vertex(2)->point();
        const auto& d = at->vertex(3)->point();
        const double whole = CGAL::volume(a, b, c, d);
        double* const w = &result.local[3 * number];
        w[0] = CGAL::volume(p, b, c, d) / whole;
        w[1] = CGAL::volume(a, p, c, d) / whole;
        w[2] = CGAL::volume(a, b, p, d) / whole;
    }
    return result;
}

/// Points that have a cell which holds them.
std::size_t count_right(const located& found, const std::vector<kernel::Point_3>& points) {
    std::size_t right = 0;
    for (std::size_t k = 0; k < points.size(); ++k) {
        const auto cell = found.cells[k];
        if (cell == triangulation::Cell_handle())
            continue;
        const double* const w = &found.local[3 * k];
        const double last = 1 - w[0] - w[1] - w[2];
        double off = 0;
        for (int i = 0; i < 3; ++i)
            off += std::fabs(w[0] * cell->vertex(0)->point()[i] + w[1] * cell->vertex(1)->point()[i] +
                             w[2] * cell->vertex(2)->point()[i] + last * cell->vertex(3)->point()[i] - points[k][i]);
        right += off < 1e-9 && std::min({w[0], w[1], w[2], last}) > -1e-9;
    }
    return right;
}

void BM_locate(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const triangulation& t = triangulation_of(m);
    const dense2D<double> points = bench::points_in(m, m.connect.cols());
    std::vector<kernel::Point_3> unsorted;
    for (std::size_t k = 0; k < points.cols(); ++k)
        unsorted.emplace_back(points(0, k), points(1, k), points(2, k));
    located result;
    for (auto _ : state)
        result = locate_all(t, unsorted);
    const std::size_t right = count_right(result, unsorted), found = bench::locate(m, points).found();
    bench::check(state, right > found - 10 && right < found + 10, "not found"); // the tolerance may tell a few apart
    bench::count(state, points.cols(), bytes_of(points));
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4"}, bench::million, {bench::order::delaunay})) {
        bench::add("get_elements_containing_points", s, bench::BM_get_elements_containing_points);
        bench::add("get_elements_containing_points:cgal", s, BM_locate);
    }
});

} // namespace
