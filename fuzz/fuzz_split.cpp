// Flips of random matrices: status, the rows that change places, and nothing else changed. Cuts along quadrangles of
// random meshes within the stated conditions: only nodes that there are, every piece large enough, nothing lost.

#include <array>
#include <utility>

#include "arguments.h"

namespace {

using namespace fuzz;
using namespace quorl;

using pairs = std::vector<std::array<unsigned, 2>>;

/// Rows of a type, from the words of its comment; 99 for a type that does not exist.
unsigned rows_of(int type) {
    constexpr unsigned rows[] = {0, 1, 2, 3, 4, 4, 9, 3, 6, 4, 8, 9, 27, 27, 4, 10, 5, 13, 14, 6, 15, 18, 8, 20, 27};
    return type < 0 || type > 24 ? 99 : rows[type];
}

pairs exchanges(int type, const unsigned* column) {
    switch (type) {
    case ET_TH4:
    case ET_PY5:
        return {{0, 2}};
    case ET_TH10:
        return {{0, 2}, {4, 6}, {7, 9}};
    case ET_PY14:
        return {{0, 2}, {5, 7}, {6, 8}, {9, 10}, {11, 12}};
    case ET_W6:
        return {{0, 2}, {3, 5}};
    case ET_W18:
        return {{0, 2}, {3, 5}, {6, 8}, {9, 11}, {12, 14}, {15, 17}};
    case ET_H8:
        return {{0, 2}, {4, 6}};
    case ET_H27:
        return {{0, 2}, {4, 6}, {8, 9}, {10, 11}, {12, 13}, {14, 15}, {16, 18}, {20, 23}, {21, 22}};
    case ET_SOLID_MIX: {
        if (column[10] == no_node)
            return exchanges(ET_TH10, column);
        if (column[14] == no_node)
            return exchanges(ET_PY14, column);
        if (column[18] == no_node)
            return exchanges(ET_W18, column);
        pairs all = exchanges(ET_H27, column);
        all.push_back({3, 5});
        return all;
    }
    default:
        return {};
    }
}

void swap_rows(snapshot<unsigned>& connect, const std::vector<pairs>& per_column) {
    for (std::size_t j = 0; j < per_column.size(); ++j)
        for (const auto& [a, b] : per_column[j])
            std::swap(connect.entries[j * connect.rows + a], connect.entries[j * connect.rows + b]);
}

void check_flips(arguments& args) {
    const int type = args.rarely(12) ? int(args.integer()) : int(args.below(25));
    const unsigned dedicated = args.below(6); // 0 to 2: the flip of one kind
    constexpr unsigned dedicated_rows[] = {4, 6, 8};
    const unsigned wanted = dedicated < 3 ? dedicated_rows[dedicated] : rows_of(type);
    const unsigned rows = args.rarely(6) || wanted == 99 ? args.below(30) : wanted;
    dense2D<unsigned> connect = args.connectivity(rows, {4, 5, 6, 8, 10, 13, 14, 15, 18, 20, 27}, 50);
    snapshot<unsigned> expected(connect);
    const dense2D<unsigned> shared = connect;

    int status = 0;
    std::vector<pairs> per_column;
    const bool fits = rows == wanted && connect.cols() != 0;
    const std::size_t columns = connect.empty() ? 0 : connect.cols(); // without rows there is nothing to exchange
    if (dedicated < 3) {
        constexpr int (*call[])(dense2D<unsigned>&) = {meldra3d::flip_TH4, meldra3d::flip_W6, meldra3d::flip_H8};
        const pairs per_kind[] = {{{0, 1}}, {{0, 3}, {1, 4}, {2, 5}}, {{0, 4}, {1, 5}, {2, 6}, {3, 7}}};
        status = call[dedicated](connect);
        per_column.assign(fits ? columns : 0, per_kind[dedicated]);
    } else {
        status = meldra3d::flip(connect, element_type(type));
        for (std::size_t j = 0; fits && j < columns; ++j)
            per_column.push_back(exchanges(type, expected.col(j)));
    }
    require(status == (fits || connect.cols() == 0 ? 0 : dedicated < 3 ? -1 : -2), "the status");
    if (fits)
        swap_rows(expected, per_column);
    require(expected.same(connect), "the rows exchanged, and no others");
    require(expected.same(shared), "every view sees the change");
}

unsigned nodes_of(const unsigned* column) {
    return column[4] == no_node ? 4 : column[5] == no_node ? 5 : column[6] == no_node ? 6 : 8;
}

/// The cycles of the quadrangular faces, from docs/numbering.md.
std::vector<std::array<unsigned, 4>> quadrangular_faces(unsigned nodes) {
    switch (nodes) {
    case 5:
        return {{0, 1, 2, 3}};
    case 6:
        return {{2, 1, 4, 5}, {0, 2, 5, 3}, {1, 0, 3, 4}};
    case 8:
        return {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}};
    default:
        return {};
    }
}

/// Whether some quadrangle is, in one direction or the other, the cycle of a face.
bool has_marked_face(const unsigned* column, const snapshot<unsigned>& quadrangles) {
    for (const auto& face : quadrangular_faces(nodes_of(column)))
        for (std::size_t j = 0; j < quadrangles.cols; ++j)
            for (unsigned shift = 0; shift < 4; ++shift) {
                bool forwards = true, backwards = true;
                for (unsigned k = 0; k < 4; ++k) {
                    forwards &= column[face[k]] == quadrangles.col(j)[(shift + k) % 4];
                    backwards &= column[face[k]] == quadrangles.col(j)[(shift + 4 - k) % 4];
                }
                if (forwards || backwards)
                    return true;
            }
    return false;
}

bool names_a_node_twice(const unsigned* ids, unsigned n) {
    for (unsigned i = 0; i < n; ++i)
        if (std::count(ids, ids + n, ids[i]) != 1)
            return true;
    return false;
}

/// Walks through the result: copies, and pieces that are large enough.
void check_pieces(const dense2D<double>& pos, const snapshot<unsigned>& solids, const snapshot<unsigned>& quadrangles,
                  const dense1D<unsigned, 8>& failed, const dense2D<unsigned>& out, double min_volume, unsigned nodes) {
    const auto last_node = [&](std::size_t piece) { return out(nodes_of(out.col(piece)) - 1, piece); };
    std::size_t at = 0;
    for (std::size_t j = 0; j < solids.cols; ++j) {
        const unsigned* const column = solids.col(j);
        if (names_a_node_twice(column, nodes_of(column)))
            return; // which of its faces are equal is a matter of definition
        const bool fails = std::find(failed.begin(), failed.end(), j) != failed.end();
        if (!has_marked_face(column, quadrangles)) {
            require(!fails && at < out.cols() && std::equal(column, column + 8, out.col(at)), "others are copied");
            ++at;
        } else if (!fails) {
            require(at + 2 <= out.cols(), "two pieces at least");
            std::size_t end = at + 2;
            while (last_node(at) >= nodes && end < out.cols() && last_node(end) == last_node(at))
                ++end; // all around one centroid
            for (; at < end; ++at) {
                double vol = 0;
                require(meldra3d::volume(pos, out.sub(0, at, 8, 1), vol) == 0 && vol > min_volume, "large pieces");
            }
        }
    }
    require(at == out.cols(), "nothing else");
}

void check_cuts(arguments& args) {
    const unsigned nodes = 8 + args.below(16);
    dense2D<double> pos(3, nodes);
    for (std::size_t k = 0; k < pos.size(); ++k)
        pos.data()[k] = args.number();
    dense2D<unsigned> solids(8, 0), quadrangles(4, 0);
    dense1D<unsigned, 8> diagonals, failed{1, 2, 3};
    for (unsigned k = args.below(8); k > 0; --k) {
        constexpr unsigned counts[] = {4, 5, 6, 8};
        const unsigned n = counts[args.below(4)];
        std::array<unsigned, 8> column;
        for (unsigned i = 0; i < 8; ++i)
            column[i] = i < n ? args.below(nodes) : no_node;
        solids.append(column.data());
        for (const auto& face : quadrangular_faces(n))
            if (args.flag()) {
                const unsigned from = args.below(4), step = args.flag() ? 1 : 3;
                std::array<unsigned, 4> cycle;
                for (unsigned i = 0; i < 4; ++i)
                    cycle[i] = column[face[(from + i * step) % 4]];
                quadrangles.append(cycle.data());
                diagonals.push_back(args.below(2));
            }
    }
    const double min_volume = args.flag() ? args.number() : 0;
    const snapshot<unsigned> solids_before(solids), quadrangles_before(quadrangles);
    const snapshot<double> pos_before(pos);
    dense2D<unsigned> fresh;
    dense2D<unsigned>& out = args.rarely(4) ? solids : fresh;

    require(meldra3d::split_solid_Q4(pos, solids, quadrangles, diagonals, min_volume, failed, out) == 0, "status 0");

    require(quadrangles_before.same(quadrangles) && (&out == &solids || solids_before.same(solids)), "inputs kept");
    require(pos_before.same(pos.sub(0, 0, 3, nodes)), "the nodes stay");
    require(std::is_sorted(failed.begin(), failed.end()), "failed elements in their order");
    for (std::size_t j = 0; j < out.cols(); ++j)
        require(
            std::all_of(out.col(j), out.col(j) + nodes_of(out.col(j)), [&](unsigned id) { return id < pos.cols(); }),
            "nodes that there are");
    check_pieces(pos, solids_before, quadrangles_before, failed, out, min_volume, nodes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    if (args.flag())
        check_flips(args);
    else
        check_cuts(args);
    return 0;
}
