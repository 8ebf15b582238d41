#include "calls/lists.h"

// Conversion of the order.
namespace test {

using namespace quorl;

namespace {

/// Nodes inside edges, quadrangles, triangles, hexahedra, tetrahedra, wedges and pyramids.
struct node_counts {
    unsigned edge, quadrangle, triangle, hexahedron, tetrahedron, wedge, pyramid;
};

constexpr node_counts quadratic{1, 1, 0, 1, 0, 0, 0};
constexpr node_counts all_one{1, 1, 1, 1, 1, 1, 1};
constexpr node_counts many{2, 4, 1, 8, 1, 2, 1};
constexpr node_counts most{3, 9, 3, 27, 1, 9, 1};

/// The first quadrangle or triangle of the mesh and its first edges, with nodes that are there.
arguments with_given_groups(cut kind, const node_counts& inside, unsigned n) {
    arguments a = of_solids(kind, n);
    const std::size_t corners = kind == cut::tetrahedra ? 3 : 4;
    const std::size_t in_face = kind == cut::tetrahedra ? inside.triangle : inside.quadrangle;
    const auto face = a.connect.sub(0, 0, corners, 1);
    a.faces = with_rows(face, corners * (1 + inside.edge) + in_face, a.pos.cols());
    a.edges = with_rows(a.connect.sub(0, 0, 2, 4), 2 + inside.edge, a.pos.cols());
    return a;
}

std::vector<made> all_kinds(const node_counts& inside, bool given) {
    std::vector<made> meshes;
    for (const auto& [name, kind] : {std::pair("tetrahedra", cut::tetrahedra), std::pair("pyramids", cut::pyramids),
                                     std::pair("wedges", cut::wedges), std::pair("hexahedra", cut::hexahedra),
                                     std::pair("all kinds", cut::all_kinds)}) {
        meshes.push_back({name, [kind = kind](unsigned n) { return of_solids(kind, n); }});
        if (given)
            meshes.push_back({std::string(name) + ", given groups",
                              [kind = kind, inside](unsigned n) { return with_given_groups(kind, inside, n); }});
    }
    return meshes;
}

std::vector<made> quadratic_meshes() {
    std::vector<made> meshes;
    for (const auto& [name, kind, rows] :
         {std::tuple("10 rows", cut::tetrahedra, 10u), std::tuple("13 rows", cut::pyramids, 13u),
          std::tuple("14 rows", cut::pyramids, 14u), std::tuple("15 rows", cut::wedges, 15u),
          std::tuple("18 rows", cut::wedges, 18u), std::tuple("20 rows", cut::hexahedra, 20u),
          std::tuple("27 rows", cut::all_kinds, 27u)})
        meshes.push_back({name, [kind = kind, rows = rows](unsigned n) {
                              arguments a = of_solids(kind, n);
                              meldra3d::convert_into_quadratic(a.pos, a.connect);
                              a.connect.resize(rows, a.connect.cols());
                              return a;
                          }});
    return meshes;
}

} // namespace

void add_convert_calls(call_list& all) {
    const call_list::rules core{{argument::pos, leaves::as_it_was}, {argument::out, leaves::nothing}};
    const call_list::rules in_place{{argument::pos, leaves::as_it_was}, {argument::connect, leaves::nothing_too}};
    for (const node_counts& c : {quadratic, all_one, many, most}) {
        all.add(
            "convert_into_high_order", "into another matrix", all_kinds(c, true),
            [c](arguments& a) {
                return meldra3d::convert_into_high_order(a.pos, a.connect, c.edge, c.quadrangle, c.triangle,
                                                         c.hexahedron, c.tetrahedron, c.wedge, c.pyramid, a.out,
                                                         a.faces, a.edges);
            },
            core);
        all.add(
            "convert_into_high_order", "in place", all_kinds(c, true),
            [c](arguments& a) {
                return meldra3d::convert_into_high_order(a.pos, a.connect, c.edge, c.quadrangle, c.triangle,
                                                         c.hexahedron, c.tetrahedron, c.wedge, c.pyramid, a.faces,
                                                         a.edges);
            },
            in_place);
    }
    all.add(
        "convert_into_quadratic", "", all_kinds(quadratic, false),
        [](arguments& a) { return meldra3d::convert_into_quadratic(a.pos, a.connect); }, in_place);
    all.add(
        "convert_into_quadratic", "given groups", all_kinds(quadratic, true),
        [](arguments& a) { return meldra3d::convert_into_quadratic(a.pos, a.connect, a.faces, a.edges); }, in_place);
    all.add("convert_into_linear", "", quadratic_meshes(),
            [](arguments& a) { return meldra3d::convert_into_linear(a.connect); },
            {{argument::connect, leaves::some_done}});
}

} // namespace test
