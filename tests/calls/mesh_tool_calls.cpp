#include <utility>

#include "calls/lists.h"

// The companions: checks, neighbours, ancestors, detector, removal of nodes, normals, eigenvalues.
namespace test {

using namespace quorl;

namespace {

struct typed_mesh {
    const char* name;
    element_type type;
    std::function<arguments(unsigned)> make;
};

/// Solids, with rows of further nodes or without.
arguments solids_of_rows(cut kind, std::size_t rows, unsigned n) {
    arguments a = of_solids(kind, n);
    a.connect = with_rows(a.connect, rows, a.pos.cols());
    return a;
}

arguments quadrangles(std::size_t rows, unsigned n) {
    arguments a = of_mesh(surface(3, n));
    a.connect = dense2D<unsigned>(4, 0);
    for (unsigned j = 0; j < n; ++j)
        for (unsigned i = 0; i < n; ++i) {
            const unsigned c = i + (n + 1) * j;
            const unsigned column[] = {c, c + 1, c + n + 2, c + n + 1};
            a.connect.append(column);
        }
    a.connect = with_rows(a.connect, rows, a.pos.cols());
    return a;
}

arguments triangles(std::size_t rows, unsigned n) {
    arguments a = of_mesh(surface(3, n));
    a.connect = with_rows(a.connect, rows, a.pos.cols());
    return a;
}

/// Quadratic, of all kinds in one matrix.
arguments quadratic_solids(cut kind, unsigned n) {
    arguments a = of_solids(kind, n);
    meldra3d::convert_into_quadratic(a.pos, a.connect);
    return a;
}

arguments mixed_quadratic_faces(unsigned n) {
    arguments a = quadrangles(9, n);
    for (std::size_t j = 0; j < a.connect.cols(); j += 2)
        for (std::size_t i = 6; i < 9; ++i)
            a.connect(i, j) = no_node;
    return a;
}

template <auto Make, auto What>
arguments with(unsigned n) {
    return Make(What, n);
}

template <auto Make, auto Kind, std::size_t Rows>
arguments with(unsigned n) {
    return Make(Kind, Rows, n);
}

const typed_mesh typed_meshes[] = {
    {"ET_T3", ET_T3, with<triangles, 3u>},
    {"ET_T6", ET_T6, with<triangles, 6u>},
    {"ET_Q4", ET_Q4, with<quadrangles, 4u>},
    {"ET_Q8", ET_Q8, with<quadrangles, 8u>},
    {"ET_Q9", ET_Q9, with<quadrangles, 9u>},
    {"ET_FACE_MIX", ET_FACE_MIX, [](unsigned n) { return of_mesh(surface(4, n)); }},
    {"ET_FACE_MIX_Q", ET_FACE_MIX_Q, mixed_quadratic_faces},
    {"ET_TH4", ET_TH4, with<of_solids, cut::tetrahedra>},
    {"ET_TH10", ET_TH10, with<quadratic_solids, cut::tetrahedra>},
    {"ET_PY5", ET_PY5, with<of_solids, cut::pyramids>},
    {"ET_PY13", ET_PY13, with<solids_of_rows, cut::pyramids, 13u>},
    {"ET_PY14", ET_PY14, with<quadratic_solids, cut::pyramids>},
    {"ET_W6", ET_W6, with<of_solids, cut::wedges>},
    {"ET_W15", ET_W15, with<solids_of_rows, cut::wedges, 15u>},
    {"ET_W18", ET_W18, with<quadratic_solids, cut::wedges>},
    {"ET_H8", ET_H8, with<of_solids, cut::hexahedra>},
    {"ET_H20", ET_H20, with<solids_of_rows, cut::hexahedra, 20u>},
    {"ET_H27", ET_H27, with<quadratic_solids, cut::hexahedra>},
    {"ET_SOLID_MIX", ET_SOLID_MIX, with<of_solids, cut::all_kinds>},
    {"ET_SOLID_MIX_Q", ET_SOLID_MIX_Q, with<quadratic_solids, cut::all_kinds>},
};

void add_connectivity_calls(call_list& all) {
    for (const auto& [name, type, make] : typed_meshes) {
        const made mesh{name, make};
        all.add("check_IDs", "of a type", {mesh}, [kind = type](arguments& a) {
            return meldra::check_IDs(a.connect, kind, unsigned(a.pos.cols())) ? 0 : -1;
        });
        all.add("check_IDs", "of a matrix", {mesh},
                [](arguments& a) { return meldra::check_IDs(a.connect, unsigned(a.pos.cols())) ? 0 : -1; });
        all.add("check_IDs", "of a list", {mesh},
                [](arguments& a) { return meldra::check_IDs(a.connect.as_vector(), unsigned(a.pos.cols())) ? 0 : -1; });
        for (const bool strict : {false, true})
            all.add("get_neighbors", "", {{std::string(name) + (strict ? ", strict" : ""), make}},
                    [kind = type, strict](arguments& a) {
                        return meldra::get_neighbors(a.connect, kind, strict, a.neighbors);
                    },
                    {{argument::neighbors, leaves::nothing}});
        all.add("get_ancestors", "", {mesh}, [](arguments& a) { return meldra::get_ancestors(a.connect, a.ancestors); },
                {{argument::ancestors, leaves::nothing}});
        all.add("node_detector::reinit", "", {mesh}, [](arguments& a) { return a.detector.reinit(a.pos, a.connect); },
                {{argument::detector, leaves::nothing}});
    }
}

/// A detector, and points in its mesh and around it.
arguments searched(unsigned n) {
    arguments a = of_solids(cut::tetrahedra, n);
    a.detector.reinit(a.pos, a.connect);
    a.values = dense2D<double>(3, std::size_t(20) * n);
    for (std::size_t k = 0; k < a.values.size(); ++k)
        a.values.data()[k] = 1.4 * scattered(k) - 0.2;
    a.list = id_list(a.values.cols(), 0u);
    return a;
}

template <auto Find>
int find_each(arguments& a) {
    for (std::size_t k = 0; k < a.values.cols(); ++k)
        a.list[k] = (a.detector.*Find)({a.values(0, k), a.values(1, k), a.values(2, k)});
    return 0;
}

/// Two matrices that use half of the nodes.
arguments half_used(unsigned n) {
    arguments a = of_solids(cut::hexahedra, n);
    a.connect.resize(8, a.connect.cols() / 2);
    a.faces = surface(4, n).connect;
    return a;
}

int simplify_both(arguments& a, unsigned n0) {
    dense2D<unsigned> range[] = {std::move(a.connect), std::move(a.faces)};
    const int status = meldra::simplify(a.pos, range, range + 2, a.list, n0);
    a.connect = std::move(range[0]);
    a.faces = std::move(range[1]);
    return status;
}

arguments symmetric_matrix(unsigned n) {
    arguments a;
    a.numbers = dense1D<double, 8>(n * (n + 1) / 2);
    for (std::size_t k = 0; k < a.numbers.size(); ++k)
        a.numbers[k] = scattered(k) - 0.5;
    a.more_numbers = dense1D<double, 8>(n, 0.0);
    a.reals = dense2D<double>(n, n, 0.0);
    a.values = dense2D<double>(3, n, 0.0);
    return a;
}

} // namespace

void add_mesh_tool_calls(call_list& all) {
    add_connectivity_calls(all);
    const call_list::rules found{{argument::list, leaves::some_done}};
    all.add("node_detector::find_close", "", {{"points", searched}}, find_each<&meldra::node_detector::find_close>,
            found);
    all.add("node_detector::find_closest", "", {{"points", searched}}, find_each<&meldra::node_detector::find_closest>,
            found);
    const call_list::rules renumbered{{argument::pos, leaves::as_it_was},
                                      {argument::connect, leaves::as_it_was},
                                      {argument::faces, leaves::as_it_was},
                                      {argument::list, leaves::as_it_was}};
    all.add(
        "simplify", "", {{"half in use", half_used}}, [](arguments& a) { return simplify_both(a, 0); }, renumbered);
    all.add(
        "simplify", "", {{"half in use, some kept", half_used}}, [](arguments& a) { return simplify_both(a, 40); },
        renumbered);
    for (const bool unit : {false, true})
        all.add("normals", "",
                {{"triangles", [](unsigned n) { return of_mesh(surface(3, n)); }},
                 {"triangles and quadrangles", [](unsigned n) { return of_mesh(surface(4, n)); }}},
                [unit](arguments& a) { return meldra2d::normals(a.pos, a.connect, 1e-9, unit, a.reals); },
                {{argument::reals, leaves::nothing}});
    all.add("dspev", "", {{"a packed matrix", symmetric_matrix}},
            [](arguments& a) {
                long info = 0;
                const long n = long(a.more_numbers.size());
                return lapack::dspev('V', 'U', n, a.numbers.data(), a.more_numbers.data(), a.reals.data(), n,
                                     a.values.data(), info);
            },
            {{argument::numbers, leaves::some_done},
             {argument::more_numbers, leaves::some_done},
             {argument::reals, leaves::some_done},
             {argument::values, leaves::some_done}});
}

} // namespace test
