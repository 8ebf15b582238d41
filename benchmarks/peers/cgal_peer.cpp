// Location in the Delaunay triangulation of CGAL: the same random nodes, and so the same tetrahedra. The points are
// sorted in space first, and each search begins where the one before has ended, as CGAL's manual advises.

#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
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

void BM_locate(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const triangulation& t = triangulation_of(m);
    const dense2D<double> points = bench::points_in(m, m.connect.cols());
    std::vector<kernel::Point_3> unsorted;
    for (std::size_t k = 0; k < points.cols(); ++k)
        unsorted.emplace_back(points(0, k), points(1, k), points(2, k));
    std::size_t inside = 0;
    for (auto _ : state) {
        std::vector<kernel::Point_3> sorted = unsorted;
        CGAL::spatial_sort(sorted.begin(), sorted.end());
        triangulation::Cell_handle at;
        inside = 0;
        for (const auto& p : sorted) {
            at = t.locate(p, at);
            inside += t.is_infinite(at) ? 0 : 1;
        }
    }
    const bench::located ours = bench::locate(m, points);
    const std::size_t found = ours.found();
    bench::check(state, inside > found - 10 && inside < found + 10, "not found"); // the tolerance may tell a few apart
    bench::count(state, points.cols(), bytes_of(points));
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4"}, bench::million, {bench::order::delaunay})) {
        bench::add("get_elements_containing_points", s, bench::BM_get_elements_containing_points);
        bench::add("get_elements_containing_points:cgal", s, BM_locate);
    }
});

} // namespace
