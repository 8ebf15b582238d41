#include "calls/lists.h"

// The sweeps.
namespace test {

using namespace quorl;

namespace {

using vec3 = vector_fixed<double, 3>;

constexpr vec3 along{0.1, -0.2, 1}, axis_point{-1.5, 0.2, 0.1}, rotation{0.1, 0.4, -0.05}, shift{0.1, 0.5, 0.2},
    dir0{0, 0, 1};

/// A surface of 3 or 4 rows and 2 n cells along a side; where `out_rows` is not 0, the outputs hold something.
arguments for_sweep(std::size_t rows, std::size_t out_rows, std::size_t cap_rows, unsigned n) {
    arguments a = of_mesh(surface(rows, 2 * n));
    a.edges = border(2 * n);
    if (out_rows != 0) {
        a.out = dense2D<unsigned>(out_rows, 2, 1u);
        a.sides = dense2D<unsigned>(4, 3, 2u);
        a.cap = dense2D<unsigned>(cap_rows, 1, 3u);
    }
    return a;
}

arguments of_two_rows(unsigned n) {
    arguments a = for_sweep(3, 8, 4, n);
    a.pos.resize(2, a.pos.cols());
    return a;
}

arguments without_edges(unsigned n) {
    arguments a = for_sweep(3, 8, 3, n);
    a.edges = dense2D<unsigned>();
    return a;
}

const std::vector<made> surfaces{{"triangles", [](unsigned n) { return for_sweep(3, 0, 0, n); }},
                                 {"triangles, behind mixed solids", [](unsigned n) { return for_sweep(3, 8, 4, n); }},
                                 {"triangles without edges", without_edges},
                                 {"both, behind wedges", [](unsigned n) { return for_sweep(4, 6, 3, n); }},
                                 {"both, behind mixed solids", [](unsigned n) { return for_sweep(4, 8, 4, n); }}};

std::vector<made> surfaces_of_the_plane() {
    std::vector<made> meshes = surfaces;
    meshes.push_back({"triangles with two coordinates", of_two_rows});
    return meshes;
}

const call_list::rules all_outputs{{argument::pos, leaves::cut_back},
                                   {argument::out, leaves::cut_back},
                                   {argument::sides, leaves::cut_back},
                                   {argument::cap, leaves::cut_back}};
const call_list::rules solids_only{{argument::pos, leaves::cut_back}, {argument::out, leaves::cut_back}};

void add_translations(call_list& all) {
    using meldra3d::extrude_translate;
    const auto meshes = surfaces_of_the_plane();
    all.add(
        "extrude_translate", "sizes", meshes,
        [](arguments& a) {
            return extrude_translate(a.pos, a.connect, along, 0.1, 0.3, true, a.out, a.edges, a.sides, a.cap);
        },
        all_outputs);
    all.add(
        "extrude_translate", "sizes, solids only", meshes,
        [](arguments& a) { return extrude_translate(a.pos, a.connect, along, 0.1, 0.3, false, a.out); }, solids_only);
    all.add(
        "extrude_translate", "layers", meshes,
        [](arguments& a) { return extrude_translate(a.pos, a.connect, along, 3, a.out, a.edges, a.sides, a.cap); },
        all_outputs);
    all.add(
        "extrude_translate", "layers, solids only", meshes,
        [](arguments& a) { return extrude_translate(a.pos, a.connect, along, 3, a.out); }, solids_only);
}

void add_rotations(call_list& all) {
    using meldra3d::extrude_rotate;
    const auto meshes = surfaces_of_the_plane();
    all.add(
        "extrude_rotate", "sizes", meshes,
        [](arguments& a) {
            return extrude_rotate(a.pos, a.connect, axis_point, rotation, 0.1, 0.3, true, a.out, a.edges, a.sides,
                                  a.cap);
        },
        all_outputs);
    all.add(
        "extrude_rotate", "sizes, solids only", meshes,
        [](arguments& a) { return extrude_rotate(a.pos, a.connect, axis_point, rotation, 0.1, 0.3, false, a.out); },
        solids_only);
    all.add(
        "extrude_rotate", "layers", meshes,
        [](arguments& a) {
            return extrude_rotate(a.pos, a.connect, axis_point, rotation, 3, a.out, a.edges, a.sides, a.cap);
        },
        all_outputs);
    all.add(
        "extrude_rotate", "layers, solids only", meshes,
        [](arguments& a) { return extrude_rotate(a.pos, a.connect, axis_point, rotation, 3, a.out); }, solids_only);
}

void add_spirals(call_list& all) {
    using meldra3d::extrude_spiral;
    const auto meshes = surfaces_of_the_plane();
    all.add(
        "extrude_spiral", "sizes", meshes,
        [](arguments& a) {
            return extrude_spiral(a.pos, a.connect, axis_point, rotation, shift, 0.1, 0.2, true, a.out, a.edges,
                                  a.sides, a.cap);
        },
        all_outputs);
    all.add(
        "extrude_spiral", "sizes, solids only", meshes,
        [](arguments& a) {
            return extrude_spiral(a.pos, a.connect, axis_point, rotation, shift, 0.1, 0.2, false, a.out);
        },
        solids_only);
    all.add(
        "extrude_spiral", "layers", meshes,
        [](arguments& a) {
            return extrude_spiral(a.pos, a.connect, axis_point, rotation, shift, 3, a.out, a.edges, a.sides, a.cap);
        },
        all_outputs);
    all.add(
        "extrude_spiral", "layers, solids only", meshes,
        [](arguments& a) { return extrude_spiral(a.pos, a.connect, axis_point, rotation, shift, 3, a.out); },
        solids_only);
}

/// A way of its own for each node.
std::vector<made> with_shifts() {
    std::vector<made> meshes;
    for (const auto& [name, make] : surfaces)
        meshes.push_back({name, [make = make](unsigned n) {
                              arguments a = make(n);
                              a.values = dense2D<double>(3, a.pos.cols());
                              for (std::size_t k = 0; k < a.values.size(); ++k)
                                  a.values.data()[k] = scattered(k);
                              return a;
                          }});
    return meshes;
}

void add_normals(call_list& all) {
    using meldra3d::extrude_normal;
    all.add(
        "extrude_normal", "sizes", surfaces,
        [](arguments& a) {
            return extrude_normal(a.pos, a.connect, 0.5, 0.1, 0.2, true, a.out, a.edges, a.sides, a.cap);
        },
        all_outputs);
    all.add(
        "extrude_normal", "sizes, solids only", surfaces,
        [](arguments& a) { return extrude_normal(a.pos, a.connect, 0.5, 0.1, 0.2, false, a.out); }, solids_only);
    all.add(
        "extrude_normal", "layers", surfaces,
        [](arguments& a) { return extrude_normal(a.pos, a.connect, 0.5, 3, a.out, a.edges, a.sides, a.cap); },
        all_outputs);
    all.add(
        "extrude_normal", "layers, solids only", surfaces,
        [](arguments& a) { return extrude_normal(a.pos, a.connect, 0.5, 3, a.out); }, solids_only);
    all.add(
        "extrude_normal", "shifts", with_shifts(),
        [](arguments& a) { return extrude_normal(a.pos, a.connect, a.values, 3, a.out, a.edges, a.sides, a.cap); },
        all_outputs);
    all.add(
        "extrude_normal", "shifts, solids only", with_shifts(),
        [](arguments& a) { return extrude_normal(a.pos, a.connect, a.values, 3, a.out); }, solids_only);
}

/// A line of four nodes that begins at the surface or beside it, with a metric and a size at each.
arguments for_line(const std::function<arguments(unsigned)>& make, bool from_surface, unsigned n) {
    arguments a = make(n);
    const double way[4][3] = {{0.1, 0.1, 0.1}, {0.1, 0.2, 0.6}, {0.3, 0.1, 1.1}, {0.9, 0.2, 1.4}};
    for (unsigned k = 0; k < 4; ++k) {
        a.ids.push_back(from_surface && k == 0 ? 0 : unsigned(a.pos.cols()));
        a.pos.append(way[k]);
        const double metric[] = {1.0 + k, 0.1, 1.5 + k, 0.2, -0.1, 2.0};
        if (k == 0)
            a.values = dense2D<double>(6, 0);
        a.values.append(metric);
        a.numbers.push_back(1 + 0.25 * k);
    }
    return a;
}

std::vector<made> with_lines() {
    std::vector<made> meshes;
    for (const auto& [name, make] : surfaces)
        for (const bool from_surface : {false, true})
            meshes.push_back({name + (from_surface ? ", line from a node of it" : ", line beside it"),
                              [make = make, from_surface](unsigned n) { return for_line(make, from_surface, n); }});
    return meshes;
}

void add_lines(call_list& all) {
    using meldra3d::extrude_line;
    all.add(
        "extrude_line", "metrics", with_lines(),
        [](arguments& a) {
            return extrude_line(a.pos, a.connect, a.ids, dir0, a.values, a.out, a.edges, a.sides, a.cap);
        },
        all_outputs);
    all.add(
        "extrude_line", "metrics, solids only", with_lines(),
        [](arguments& a) { return extrude_line(a.pos, a.connect, a.ids, dir0, a.values, a.out); }, solids_only);
    all.add(
        "extrude_line", "sizes", with_lines(),
        [](arguments& a) {
            return extrude_line(a.pos, a.connect, a.ids, dir0, a.numbers, a.out, a.edges, a.sides, a.cap);
        },
        all_outputs);
    all.add(
        "extrude_line", "sizes, solids only", with_lines(),
        [](arguments& a) { return extrude_line(a.pos, a.connect, a.ids, dir0, a.numbers, a.out); }, solids_only);
}

} // namespace

void add_extrude_calls(call_list& all) {
    add_translations(all);
    add_rotations(all);
    add_spirals(all);
    add_normals(all);
    add_lines(all);
}

} // namespace test
