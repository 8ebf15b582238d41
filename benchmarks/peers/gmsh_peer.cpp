// Gmsh on the same work: a mesh made quadratic, a mesh cut into hexahedra, a surface swept into layers. Only its own
// work is timed, not what brings the mesh in. One thread.

#include <gmsh.h>

#include "harness.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

namespace model = gmsh::model;

constexpr int gmsh_tetrahedron = 4;
constexpr int gmsh_hexahedron = 5;
constexpr int gmsh_tetrahedron_of_10 = 11;
constexpr int gmsh_hexahedron_of_27 = 12;

/// A new model with the mesh in one volume.
void hand_over(const mesh& m) {
    gmsh::clear();
    model::add("mesh");
    model::addDiscreteEntity(3, 1);
    std::vector<std::size_t> tags(m.pos.cols());
    for (std::size_t v = 0; v < tags.size(); ++v)
        tags[v] = v + 1;
    model::mesh::addNodes(3, 1, tags, std::vector<double>(m.pos.data(), m.pos.data() + m.pos.size()));
    std::vector<std::size_t> nodes(m.connect.size());
    for (std::size_t k = 0; k < nodes.size(); ++k)
        nodes[k] = std::size_t(m.connect.data()[k]) + 1;
    model::mesh::addElementsByType(1, m.connect.rows() == 4 ? gmsh_tetrahedron : gmsh_hexahedron, {}, nodes);
}

std::size_t elements_of(int type) {
    std::vector<std::size_t> elements, nodes;
    model::mesh::getElementsByType(type, elements, nodes);
    return elements.size();
}

void BM_setOrder(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    for (auto _ : state) {
        state.PauseTiming();
        hand_over(m);
        state.ResumeTiming();
        model::mesh::setOrder(2);
    }
    const bool tetrahedra = m.connect.rows() == 4;
    bench::check(state, elements_of(tetrahedra ? gmsh_tetrahedron_of_10 : gmsh_hexahedron_of_27) == m.connect.cols(),
                 "not quadratic");
    bench::count(state, m.connect.cols(), bytes_of(m.connect));
    gmsh::clear();
}

void BM_refine(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    constexpr double none = 0, hexahedra_only = 2;
    gmsh::option::setNumber("Mesh.SubdivisionAlgorithm", hexahedra_only);
    for (auto _ : state) {
        state.PauseTiming();
        hand_over(m);
        state.ResumeTiming();
        model::mesh::refine();
    }
    gmsh::option::setNumber("Mesh.SubdivisionAlgorithm", none);
    bench::check(state, elements_of(gmsh_hexahedron) == m.connect.rows() * m.connect.cols(), "not refined");
    bench::count(state, m.connect.cols(), bytes_of(m.connect));
    gmsh::clear();
}

constexpr unsigned layers = 10;

/// A square with a mesh of n x n quadrangles, to be swept.
void square_to_sweep(unsigned n) {
    gmsh::clear();
    model::add("square");
    const double side = n;
    const int a = model::geo::addPoint(0, 0, 0), b = model::geo::addPoint(side, 0, 0),
              c = model::geo::addPoint(side, side, 0), d = model::geo::addPoint(0, side, 0);
    const std::vector<int> lines{model::geo::addLine(a, b), model::geo::addLine(b, c), model::geo::addLine(c, d),
                                 model::geo::addLine(d, a)};
    const int face = model::geo::addPlaneSurface({model::geo::addCurveLoop(lines)});
    for (const int line : lines)
        model::geo::mesh::setTransfiniteCurve(line, int(n) + 1);
    model::geo::mesh::setTransfiniteSurface(face);
    model::geo::mesh::setRecombine(2, face);
    gmsh::vectorpair swept;
    model::geo::extrude({{2, face}}, 0, 0, layers, swept, {int(layers)}, {}, true);
    model::geo::synchronize();
    model::mesh::generate(2);
}

void BM_extrude(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    for (auto _ : state) {
        state.PauseTiming();
        square_to_sweep(unsigned(std::lround(std::sqrt(double(m.connect.cols())))));
        state.ResumeTiming();
        model::mesh::generate(3);
    }
    bench::check(state, elements_of(gmsh_hexahedron) == layers * m.connect.cols(), "not swept");
    bench::count(state, layers * m.connect.cols(), bytes_of(m.connect));
    gmsh::clear();
}

void BM_extrude_translate(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    int status = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> solids;
        status |= meldra3d::extrude_translate(pos, m.connect, {0, 0, layers}, layers, solids);
        benchmark::DoNotOptimize(solids.data());
    }
    bench::check(state, status == 0, "not swept");
    bench::count(state, layers * m.connect.cols(), bytes_of(m.connect));
}

void BM_convert_into_quadratic(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    int status = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> connect = m.connect;
        status |= meldra3d::convert_into_quadratic(pos, connect);
    }
    bench::check(state, status == 0, "not quadratic");
    bench::count(state, m.connect.cols(), bytes_of(m.connect));
}

void BM_split_into_H8(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense2D<unsigned> none;
    int status = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> hexahedra;
        status |= meldra3d::split_into_H8(pos, m.connect, hexahedra, none, none);
    }
    bench::check(state, status == 0, "not cut");
    bench::count(state, m.connect.cols(), bytes_of(m.connect));
}

const bench::suite all([] {
    gmsh::initialize();
    gmsh::option::setNumber("General.Terminal", 0);
    gmsh::option::setNumber("General.NumThreads", 1);
    const auto meshes = bench::samples({"TH4", "H8"}, bench::million, {bench::order::shuffled, bench::order::delaunay});
    for (const sample& s : meshes) {
        bench::add("convert_into_quadratic", s, BM_convert_into_quadratic);
        bench::add("convert_into_quadratic:gmsh", s, BM_setOrder);
        bench::add("split_into_H8", s, BM_split_into_H8);
        bench::add("split_into_H8:gmsh", s, BM_refine);
    }
    for (const sample& s : bench::samples({"Q4"}, bench::million, {bench::order::grid})) {
        bench::add("extrude_translate", s, BM_extrude_translate);
        bench::add("extrude_translate:gmsh", s, BM_extrude);
    }
});

} // namespace
