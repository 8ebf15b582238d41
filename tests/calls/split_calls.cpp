#include "calls/lists.h"

// Splits, flips and the opening of a mesh.
namespace test {

using namespace quorl;

namespace {

arguments for_hexahedra(cut kind, bool given, unsigned n) {
    arguments a = of_solids(kind, n);
    a.out = with_rows(a.connect.sub(0, 0, 4, 2), 8, a.pos.cols());
    if (given) {
        if (a.connect.rows() != 4)
            a.faces = with_rows(a.connect.sub(0, 0, 4, 1), 9, a.pos.cols());
        a.edges = with_rows(a.connect.sub(0, 0, 2, 4), 3, a.pos.cols());
    }
    return a;
}

void add_split_into_hexahedra(call_list& all) {
    std::vector<made> meshes;
    for (const auto& [name, kind] : {std::pair("tetrahedra", cut::tetrahedra), std::pair("pyramids", cut::pyramids),
                                     std::pair("wedges", cut::wedges), std::pair("hexahedra", cut::hexahedra),
                                     std::pair("wedges and hexahedra", cut::wedges_of_8)})
        for (const bool given : {false, true})
            meshes.push_back({std::string(name) + (given ? ", given groups" : ""),
                              [kind = kind, given](unsigned n) { return for_hexahedra(kind, given, n); }});
    all.add("split_into_H8", "", meshes,
            [](arguments& a) { return meldra3d::split_into_H8(a.pos, a.connect, a.out, a.faces, a.edges); },
            {{argument::pos, leaves::longer}, {argument::out, leaves::as_it_was}});
}

/// Quadrangles to cut: those of an inner surface, and sides of every third hexahedron or wedge.
arguments with_quadrangles(cut kind, unsigned n) {
    arguments a = of_solids(kind, n);
    a.faces = dense2D<unsigned>(4, 0);
    const auto faces = inner_surface(kind, n);
    for (std::size_t j = 0; j < faces.cols(); ++j)
        if (faces(3, j) != no_node)
            a.faces.append(faces.col(j));
    for (std::size_t e = 0; e < a.connect.cols(); e += 3) {
        const unsigned* const v = a.connect.col(e);
        const unsigned of_hexahedron[] = {v[0], v[1], v[5], v[4]}, of_wedge[] = {v[0], v[1], v[4], v[3]};
        if (v[5] != no_node)
            a.faces.append(v[6] == no_node ? of_wedge : of_hexahedron);
    }
    for (unsigned k = 0; k < a.faces.cols(); ++k)
        a.ids.push_back(k / 2 % 2);
    return a;
}

void add_split_along_quadrangles(call_list& all) {
    all.add_swallowing(
        "split_solid_Q4", "",
        {{"hexahedra", [](unsigned n) { return with_quadrangles(cut::hexahedra, n); }},
         {"wedges and hexahedra", [](unsigned n) { return with_quadrangles(cut::wedges_of_8, n); }},
         {"all kinds", [](unsigned n) { return with_quadrangles(cut::all_kinds, n); }}},
        [](arguments& a) { return meldra3d::split_solid_Q4(a.pos, a.connect, a.faces, a.ids, 1e-9, a.list, a.out); },
        {{argument::pos, leaves::longer}, {argument::list, leaves::anything}, {argument::out, leaves::anything}});
}

arguments quadratic_solids(cut kind, unsigned n) {
    arguments a = of_solids(kind, n);
    meldra3d::convert_into_quadratic(a.pos, a.connect);
    return a;
}

void add_flips(call_list& all) {
    const call_list::rules in_place{{argument::connect, leaves::some_done}};
    const auto add = [&](const char* name, element_type type, cut kind, auto make) {
        all.add(
            "flip", "", {{name, [kind, make](unsigned n) { return make(kind, n); }}},
            [type](arguments& a) { return meldra3d::flip(a.connect, type); }, in_place);
    };
    add("ET_TH4", ET_TH4, cut::tetrahedra, of_solids);
    add("ET_PY5", ET_PY5, cut::pyramids, of_solids);
    add("ET_W6", ET_W6, cut::wedges, of_solids);
    add("ET_H8", ET_H8, cut::hexahedra, of_solids);
    add("ET_TH10", ET_TH10, cut::tetrahedra, quadratic_solids);
    add("ET_PY14", ET_PY14, cut::pyramids, quadratic_solids);
    add("ET_W18", ET_W18, cut::wedges, quadratic_solids);
    add("ET_H27", ET_H27, cut::hexahedra, quadratic_solids);
    add("ET_SOLID_MIX", ET_SOLID_MIX, cut::all_kinds, quadratic_solids);
    all.add(
        "flip_H8", "", {{"hexahedra", [](unsigned n) { return of_solids(cut::hexahedra, n); }}},
        [](arguments& a) { return meldra3d::flip_H8(a.connect); }, in_place);
    all.add(
        "flip_TH4", "", {{"tetrahedra", [](unsigned n) { return of_solids(cut::tetrahedra, n); }}},
        [](arguments& a) { return meldra3d::flip_TH4(a.connect); }, in_place);
    all.add(
        "flip_W6", "", {{"wedges", [](unsigned n) { return of_solids(cut::wedges, n); }}},
        [](arguments& a) { return meldra3d::flip_W6(a.connect); }, in_place);
}

arguments to_open(cut kind, element_type type, unsigned n) {
    arguments a = of_solids(kind, n);
    meldra::get_neighbors(a.connect, type, false, a.neighbors);
    meldra::get_ancestors(a.connect, a.ancestors);
    a.faces = inner_surface(kind, n);
    a.ids = {a.faces(0, 0), a.faces(1, 0), no_node};
    return a;
}

void add_openings(call_list& all) {
    for (const auto& [name, kind, type] :
         {std::tuple("tetrahedra", cut::tetrahedra, ET_TH4), std::tuple("hexahedra", cut::hexahedra, ET_H8),
          std::tuple("tetrahedra of 8 rows", cut::tetrahedra_of_8, ET_SOLID_MIX),
          std::tuple("all kinds", cut::all_kinds, ET_SOLID_MIX)})
        for (const auto& [side, plus, minus] :
             {std::tuple(", plus side", true, false), std::tuple(", minus side", false, true),
              std::tuple(", both sides", true, true)})
            all.add(
                "duplicate_surface_nodes", "",
                {{std::string(name) + side, [kind = kind, type = type](unsigned n) { return to_open(kind, type, n); }}},
                [type = type, plus = plus, minus = minus](arguments& a) {
                    return meldra3d::duplicate_surface_nodes(a.pos, a.connect, a.neighbors, a.ancestors, a.faces, a.ids,
                                                             plus, minus, type);
                },
                {{argument::pos, leaves::as_it_was}, {argument::connect, leaves::as_it_was}});
}

} // namespace

void add_split_calls(call_list& all) {
    add_split_into_hexahedra(all);
    add_split_along_quadrangles(all);
    add_flips(all);
    add_openings(all);
}

} // namespace test
