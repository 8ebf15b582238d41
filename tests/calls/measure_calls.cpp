#include <cstring>

#include "calls/lists.h"

// Measures, and the version.
namespace test {

using namespace quorl;

namespace {

arguments measured(cut kind, unsigned n) {
    arguments a = of_solids(kind, n);
    a.numbers = dense1D<double, 8>(a.connect.cols(), 9.0);
    a.more_numbers = dense1D<double, 8>(a.connect.cols(), 9.0);
    return a;
}

} // namespace

void add_measure_calls(call_list& all) {
    const std::vector<made> meshes{
        {"tetrahedra", [](unsigned n) { return measured(cut::tetrahedra, n); }},
        {"pyramids", [](unsigned n) { return measured(cut::pyramids, n); }},
        {"wedges", [](unsigned n) { return measured(cut::wedges, n); }},
        {"hexahedra", [](unsigned n) { return measured(cut::hexahedra, n); }},
        {"all kinds", [](unsigned n) { return measured(cut::all_kinds, n); }},
    };
    all.add("volume", "", meshes, [](arguments& a) { return meldra3d::volume(a.pos, a.connect, a.number); },
            {{argument::number, leaves::nothing}});
    const call_list::rules angles{{argument::numbers, leaves::some_done}, {argument::more_numbers, leaves::some_done}};
    for (const bool normalized : {false, true}) {
        all.add(
            "solid_angles", "", meshes,
            [normalized](arguments& a) {
                return meldra3d::solid_angles(a.pos, a.connect, normalized, a.numbers, a.more_numbers);
            },
            angles);
        all.add(
            "dihedral_angles", "", meshes,
            [normalized](arguments& a) {
                return meldra3d::dihedral_angles(a.pos, a.connect, normalized, a.numbers, a.more_numbers);
            },
            angles);
    }
    all.add("circumcenters", "", {meshes[0]},
            [](arguments& a) { return meldra3d::circumcenters(a.pos, a.connect, a.reals); },
            {{argument::reals, leaves::nothing}});
    all.add("version", "", {{"none", [](unsigned) { return arguments(); }}},
            [](arguments&) { return std::strcmp(meldra3d::version(), "5.6.0.0"); });
}

} // namespace test
