// Flips of random matrices: status, the rows that change places, and nothing else changed.

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
    for (std::size_t j = 0; j < connect.cols; ++j)
        for (const auto& [a, b] : per_column[j])
            std::swap(connect.entries[j * connect.rows + a], connect.entries[j * connect.rows + b]);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
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
    if (dedicated < 3) {
        constexpr int (*call[])(dense2D<unsigned>&) = {meldra3d::flip_TH4, meldra3d::flip_W6, meldra3d::flip_H8};
        const pairs per_kind[] = {{{0, 1}}, {{0, 3}, {1, 4}, {2, 5}}, {{0, 4}, {1, 5}, {2, 6}, {3, 7}}};
        status = call[dedicated](connect);
        per_column.assign(fits ? connect.cols() : 0, per_kind[dedicated]);
    } else {
        status = meldra3d::flip(connect, element_type(type));
        for (std::size_t j = 0; fits && j < connect.cols(); ++j)
            per_column.push_back(exchanges(type, expected.col(j)));
    }
    require(status == (fits || connect.cols() == 0 ? 0 : dedicated < 3 ? -1 : -2), "the status");
    if (fits)
        swap_rows(expected, per_column);
    require(expected.same(connect), "the rows exchanged, and no others");
    require(expected.same(shared), "every view sees the change");
    return 0;
}
