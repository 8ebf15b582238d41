#pragma once

#include "arguments.h"

namespace fuzz {

/// The rule of `check_IDs` for element types, from the words of its comment.
inline bool suits(const snapshot<unsigned>& connect, quorl::element_type type, unsigned nodes) {
    using namespace quorl;
    if (connect.empty())
        return true;
    const std::size_t rows = connect.rows;
    const auto has = [&](std::initializer_list<std::size_t> counts) {
        return columns_have(connect, counts, rows, nodes);
    };
    const auto one_kind = [&](std::size_t kind_rows) { return rows == kind_rows && has({kind_rows}); };
    switch (int(type)) {
    case ET_NODE:
        return one_kind(1);
    case ET_EDGE2:
        return one_kind(2);
    case ET_EDGE3:
    case ET_T3:
        return one_kind(3);
    case 4:
    case ET_Q4:
    case ET_TH4:
        return one_kind(4);
    case ET_PY5:
        return one_kind(5);
    case ET_T6:
    case ET_W6:
        return one_kind(6);
    case ET_Q8:
    case ET_H8:
        return one_kind(8);
    case ET_Q9:
        return one_kind(9);
    case ET_TH10:
        return one_kind(10);
    case ET_PY13:
        return one_kind(13);
    case ET_PY14:
        return one_kind(14);
    case ET_W15:
        return one_kind(15);
    case ET_W18:
        return one_kind(18);
    case ET_H20:
        return one_kind(20);
    case ET_H27:
        return one_kind(27);
    case ET_FACE_MIX:
        return one_kind(3) || (rows == 4 && has({3, 4}));
    case ET_FACE_MIX_Q:
        return rows == 9 && has({6, 8, 9});
    case ET_SOLID_MIX:
        return one_kind(4) || one_kind(5) || one_kind(6) || (rows == 8 && has({4, 5, 6, 8}));
    case ET_SOLID_MIX_Q:
        return (rows == 13 || rows == 14 || rows == 15 || rows == 18 || rows == 20 || rows == 27) &&
               has({10, 13, 14, 15, 18, 20, 27});
    default:
        return false;
    }
}

} // namespace fuzz
