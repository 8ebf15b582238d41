// Openings of random meshes, with the aids that the library makes and with wrong ones: the status of the checks, a
// valid mesh after an opening and the old one after none.

#include "suits.h"

namespace {

using namespace fuzz;
using quorl::dense1D;

struct opening {
    dense2D<double> pos;
    dense2D<unsigned> connect;
    dense2D<unsigned> neighbors;
    dense1D<unsigned, 8> ancestors;
    dense2D<unsigned> surface;
    dense1D<unsigned, 8> excluded;
    bool plus;
    bool minus;
    quorl::element_type type;
};

unsigned faces_of(quorl::element_type type) {
    switch (int(type)) {
    case quorl::ET_TH4:
        return 4;
    case quorl::ET_H8:
    case quorl::ET_SOLID_MIX:
        return 6;
    case quorl::ET_W6:
        return 5;
    default:
        return 0;
    }
}

opening read_opening(arguments& args) {
    opening o{};
    o.pos = args.coordinates();
    const auto nodes = named_columns(o.pos.cols());
    const quorl::element_type types[] = {quorl::ET_TH4, quorl::ET_H8, quorl::ET_SOLID_MIX, quorl::ET_W6};
    o.type = types[args.rarely(16) ? 3 : args.below(3)];
    const unsigned rows = o.type == quorl::ET_TH4 || (o.type == quorl::ET_SOLID_MIX && args.rarely(4)) ? 4
                          : o.type == quorl::ET_W6                                                     ? 6
                                                                                                       : 8;
    if (o.type == quorl::ET_SOLID_MIX)
        o.connect = args.connectivity(rows, {4, 5, 6, 8}, nodes);
    else
        o.connect = args.connectivity(rows, {rows}, nodes);
    if (args.rarely(3)) {
        o.neighbors =
            args.connectivity(args.rarely(8) ? args.below(7) : faces_of(o.type), {6}, named_columns(o.connect.cols()));
        for (unsigned n = args.below(24); n != 0; --n)
            o.ancestors.push_back(args.id(named_columns(o.connect.cols())));
    } else {
        quorl::meldra::get_neighbors(o.connect, o.type, false, o.neighbors);
        quorl::meldra::get_ancestors(o.connect, o.ancestors);
    }
    const unsigned surface_rows = args.rarely(12) ? args.below(6) : o.type == quorl::ET_TH4 ? 3 : 4;
    if (o.type == quorl::ET_SOLID_MIX)
        o.surface = args.connectivity(surface_rows, {3, 4}, nodes, {&o.connect});
    else
        o.surface = args.connectivity(surface_rows, {surface_rows}, nodes, {&o.connect});
    for (unsigned n = args.below(4); n != 0; --n)
        o.excluded.push_back(args.id(nodes));
    o.plus = args.flag();
    o.minus = args.flag();
    return o;
}

bool below(const snapshot<unsigned>& matrix, std::size_t n) {
    return std::all_of(matrix.entries.begin(), matrix.entries.end(),
                       [n](unsigned id) { return id < n || id == no_node; });
}

/// The status of the checks; 0 when they pass.
int expected_status(const opening& o) {
    const snapshot<unsigned> connect(o.connect), neighbors(o.neighbors), surface(o.surface);
    if (connect.empty() || surface.empty() || (!o.plus && !o.minus))
        return 0;
    const auto nodes = named_columns(o.pos.cols());
    if (o.pos.rows() != 3)
        return -1;
    if (!suits(connect, o.type, nodes))
        return -2;
    if (neighbors.cols != connect.cols || neighbors.rows != faces_of(o.type) || !below(neighbors, connect.cols))
        return -3;
    if (!below(connect, o.ancestors.size()))
        return -4;
    if (o.type == quorl::ET_W6)
        return -9;
    const auto surface_type = o.type == quorl::ET_TH4  ? quorl::ET_T3
                              : o.type == quorl::ET_H8 ? quorl::ET_Q4
                                                       : quorl::ET_FACE_MIX;
    return suits(surface, surface_type, nodes) ? 0 : -5;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const opening o = read_opening(args);
    dense2D<double> pos = o.pos;
    dense2D<unsigned> connect = o.connect;
    const snapshot<double> pos_before(pos);
    const snapshot<unsigned> connect_before(connect), neighbors_before(o.neighbors), surface_before(o.surface);

    const int expected = expected_status(o);
    const int status = quorl::meldra3d::duplicate_surface_nodes(pos, connect, o.neighbors, o.ancestors, o.surface,
                                                                o.excluded, o.plus, o.minus, o.type);
    require(expected == 0 ? status >= 0 : status == expected, "the status");
    if (status <= 0) {
        require(pos_before.same(pos) && connect_before.same(connect), "the mesh as it was");
    } else {
        require(pos.cols() == pos_before.cols + std::size_t(status), "a column for each copy");
        require(pos_before.same(pos.sub(0, 0, 3, pos_before.cols)), "the old nodes");
        require(suits(snapshot<unsigned>(connect), o.type, named_columns(pos.cols())), "a valid mesh");
    }
    require(pos_before.same(o.pos) && connect_before.same(o.connect), "other views unchanged");
    require(neighbors_before.same(o.neighbors) && surface_before.same(o.surface), "inputs unchanged");
    require(args.callers_memory_kept(), "the caller's memory unchanged");
    return 0;
}
