// VTK on the same work: cells that hold points by its locators, values at points by its probe filter, surfaces swept by
// its extrusion filters. One thread.

#include <cstdlib>

#include <vtkCellLocator.h>
#include <vtkCellTreeLocator.h>
#include <vtkDoubleArray.h>
#include <vtkGenericCell.h>
#include <vtkIdTypeArray.h>
#include <vtkLinearExtrusionFilter.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkProbeFilter.h>
#include <vtkStaticCellLocator.h>
#include <vtkUnstructuredGrid.h>

#include "harness.h"
#include "points.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

/// A copy, as VTK takes ownership of what it is given.
vtkNew<vtkPoints> points_of(const dense2D<double>& pos) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(vtkIdType(pos.cols()));
    for (std::size_t v = 0; v < pos.cols(); ++v)
        points->SetPoint(vtkIdType(v), pos.col(v));
    return points;
}

vtkNew<vtkCellArray> cells_of(const dense2D<unsigned>& connect) {
    vtkNew<vtkIdTypeArray> offsets, nodes;
    offsets->SetNumberOfValues(vtkIdType(connect.cols() + 1));
    nodes->SetNumberOfValues(vtkIdType(connect.size()));
    for (std::size_t j = 0; j <= connect.cols(); ++j)
        offsets->SetValue(vtkIdType(j), vtkIdType(j * connect.rows()));
    for (std::size_t k = 0; k < connect.size(); ++k)
        nodes->SetValue(vtkIdType(k), vtkIdType(connect.data()[k]));
    vtkNew<vtkCellArray> cells;
    cells->SetData(offsets, nodes);
    return cells;
}

vtkNew<vtkUnstructuredGrid> grid_of(const mesh& m) {
    vtkNew<vtkUnstructuredGrid> grid;
    grid->SetPoints(points_of(m.pos));
    grid->SetCells(VTK_TETRA, cells_of(m.connect));
    return grid;
}

template <class Locator>
void build(Locator& locator, vtkUnstructuredGrid* grid) {
    locator.SetDataSet(grid);
    locator.CacheCellBoundsOn();
    locator.BuildLocator();
}

/// The search alone or, `from_scratch`, with what the locator needs for it.
template <class Locator>
void BM_find_cell(benchmark::State& state, const sample& s, bool from_scratch) {
    const mesh& m = s.mesh();
    const dense2D<double> points = bench::points_in(m, m.connect.cols());
    const vtkNew<vtkUnstructuredGrid> grid = grid_of(m);
    vtkNew<Locator> once;
    if (!from_scratch)
        build(*once, grid);
    vtkNew<vtkGenericCell> cell;
    std::vector<vtkIdType> elements(points.cols());
    for (auto _ : state) {
        vtkNew<Locator> anew;
        if (from_scratch)
            build(*anew, grid);
        Locator* const locator = from_scratch ? anew.Get() : once.Get();
        double local[3], weights[8];
        for (std::size_t k = 0; k < points.cols(); ++k) {
            double at[3] = {points(0, k), points(1, k), points(2, k)};
            elements[k] = locator->FindCell(at, 0.0, cell, local, weights);
        }
    }
    const bench::located ours = bench::locate(m, points);
    std::size_t differ = 0; // points on faces, and such near the hull
    for (std::size_t k = 0; k < points.cols(); ++k)
        differ += (elements[k] < 0 ? no_node : unsigned(elements[k])) != ours.elements[k];
    bench::check(state, differ < points.cols() / 100, "other elements");
    bench::count(state, points.cols(), bytes_of(points));
}

/// A mesh, nodes outside of any element at random, and coordinates as values that are to be found there.
struct interpolation {
    mesh m;
    dense2D<double> points, pos, field;
    dense1D<unsigned> ancestors, nodes;

    explicit interpolation(const mesh& given)
        : m(given), points(bench::points_in(given, given.connect.cols())), pos(3, m.pos.cols() + points.cols()),
          field(3, pos.cols(), -1.0), ancestors(pos.cols(), no_node), nodes(points.cols()) {
        std::copy_n(m.pos.data(), m.pos.size(), pos.data());
        std::copy_n(points.data(), points.size(), pos.col(m.pos.cols()));
        std::copy_n(m.pos.data(), m.pos.size(), field.data());
        const auto& known = bench::aids_of(given).ancestors;
        std::copy_n(known.data(), known.size(), ancestors.data());
        std::iota(nodes.data(), nodes.data() + nodes.size(), unsigned(m.pos.cols()));
    }

    /// The share of the points where a linear field is not what it should be: those outside of the mesh.
    template <class Value>
    double wrong(Value value) const {
        std::size_t n = 0;
        for (std::size_t k = 0; k < points.cols(); ++k)
            n += std::fabs(value(k, 0) - points(0, k)) + std::fabs(value(k, 2) - points(2, k)) < 1e-9 ? 0 : 1;
        return double(n) / double(points.cols());
    }
};

void BM_interpolate(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    interpolation i(m);
    int status = 0;
    for (auto _ : state)
        status |= meldra3d::interpolate(i.pos, m.connect, bench::aids_of(m).neighbors, i.ancestors, i.field, i.nodes);
    const auto value = [&](std::size_t k, unsigned row) { return i.field(row, m.pos.cols() + k); };
    bench::check(state, status == 0 && i.wrong(value) < 0.05, "wrong values");
    bench::count(state, i.points.cols(), 2 * bytes_of(i.points));
}

void BM_probe(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const interpolation i(m);
    const vtkNew<vtkUnstructuredGrid> grid = grid_of(m);
    vtkNew<vtkDoubleArray> values;
    values->SetName("values");
    values->SetNumberOfComponents(3);
    values->SetNumberOfTuples(vtkIdType(m.pos.cols()));
    std::copy_n(m.pos.data(), m.pos.size(), values->GetPointer(0));
    grid->GetPointData()->AddArray(values);
    vtkNew<vtkPolyData> sought;
    sought->SetPoints(points_of(i.points));
    vtkNew<vtkStaticCellLocator> locator; // quicker here than the default of the filter
    vtkDoubleArray* found = nullptr;
    vtkNew<vtkProbeFilter> filter;
    filter->SetInputData(sought);
    filter->SetSourceData(grid);
    filter->SetCellLocatorPrototype(locator);
    for (auto _ : state) {
        filter->Modified();
        filter->Update();
        found = vtkDoubleArray::SafeDownCast(filter->GetOutput()->GetPointData()->GetArray("values"));
    }
    const auto value = [&](std::size_t k, unsigned row) { return found->GetComponent(vtkIdType(k), int(row)); };
    bench::check(state, found && i.wrong(value) < 0.05, "wrong values");
    bench::count(state, i.points.cols(), 2 * bytes_of(i.points));
}

constexpr unsigned layers = 10;

template <class Sweep>
void sweep(benchmark::State& state, const sample& s, Sweep call) {
    const mesh& m = s.mesh();
    int status = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> solids;
        status |= call(pos, m.connect, solids);
        benchmark::DoNotOptimize(solids.data());
    }
    bench::check(state, status == 0, "not swept");
    bench::count(state, layers * m.connect.cols(), bytes_of(m.connect));
}

void BM_extrude_translate(benchmark::State& state, const sample& s) {
    sweep(state, s, [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_translate(pos, surface, {0, 0, layers}, layers, solids);
    });
}

/// The filter makes the two end surfaces and the sides of the outline, no solids, which is less than one layer of the
/// sweep: as many passes as there are layers stand for it.
template <class Filter>
void BM_extrusion_filter(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    vtkNew<vtkPolyData> surface;
    surface->SetPoints(points_of(m.pos));
    surface->SetPolys(cells_of(m.connect));
    vtkNew<Filter> filter;
    filter->SetInputData(surface);
    vtkIdType faces = 0;
    for (auto _ : state)
        for (unsigned layer = 0; layer < layers; ++layer) {
            filter->Modified();
            filter->Update();
            faces = filter->GetOutput()->GetNumberOfPolys();
        }
    bench::check(state, faces >= vtkIdType(2 * m.connect.cols()), "not swept");
    bench::count(state, layers * m.connect.cols(), bytes_of(m.connect));
}

const bench::suite all([] {
    setenv("VTK_SMP_MAX_THREADS", "1", 1); // its own header is no C++20
    for (const sample& s : bench::samples({"TH4"}, bench::million, {bench::order::delaunay})) {
        bench::add("get_elements_containing_points", s, bench::BM_get_elements_containing_points);
        bench::add("get_elements_containing_points:vtkStaticCellLocator", s, BM_find_cell<vtkStaticCellLocator>, false);
        bench::add("get_elements_containing_points:vtkCellLocator", s, BM_find_cell<vtkCellLocator>, false);
        bench::add("get_elements_containing_points:vtkCellTreeLocator", s, BM_find_cell<vtkCellTreeLocator>, false);
        bench::add("get_elements_containing_nodes", s, bench::BM_get_elements_containing_nodes);
        bench::add("get_elements_containing_nodes:vtkStaticCellLocator", s, BM_find_cell<vtkStaticCellLocator>, true);
        bench::add("interpolate", s, BM_interpolate);
        bench::add("interpolate:vtkProbeFilter", s, BM_probe);
    }
    for (const sample& s : bench::samples({"Q4"}, bench::million, {bench::order::shuffled})) {
        bench::add("extrude_translate", s, BM_extrude_translate);
        bench::add("extrude_translate:vtkLinearExtrusionFilter", s, BM_extrusion_filter<vtkLinearExtrusionFilter>);
    }
});

} // namespace
