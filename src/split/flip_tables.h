#pragma once

#include <array>
#include <cstddef>

#include "frame/element_tables.h"

// The rows that change places when an element is flipped, as data.
namespace quorl::meldra3d::detail {

/// Pairs of rows whose values change places; the first `count` of them count.
struct exchange_list {
    unsigned count;
    std::array<node_pair, 9> pair;
};

struct flip_record {
    element_type type;
    exchange_list exchanges;
};

/// What `flip` does to a type. Types that are not here stay as they are.
inline constexpr std::array<flip_record, 8> flip_records{{
    {ET_TH4, {1, {{{0, 2}}}}},
    {ET_TH10, {3, {{{0, 2}, {4, 6}, {7, 9}}}}},
    {ET_PY5, {1, {{{0, 2}}}}},
    {ET_PY14, {5, {{{0, 2}, {5, 7}, {6, 8}, {9, 10}, {11, 12}}}}},
    {ET_W6, {2, {{{0, 2}, {3, 5}}}}},
    {ET_W18, {6, {{{0, 2}, {3, 5}, {6, 8}, {9, 11}, {12, 14}, {15, 17}}}}},
    {ET_H8, {2, {{{0, 2}, {4, 6}}}}},
    {ET_H27, {9, {{{0, 2}, {4, 6}, {8, 9}, {10, 11}, {12, 13}, {14, 15}, {16, 18}, {20, 23}, {21, 22}}}}},
}};

/// What else befalls a hexahedron of the quadratic mixture. Callers rely on it, though it spoils the element.
inline constexpr exchange_list mixed_hexahedron_exchanges{1, {{{3, 5}}}};

// The flips of a single kind turn other rows than `flip` does.
inline constexpr flip_record flip_TH4_record{ET_TH4, {1, {{{0, 1}}}}};
inline constexpr flip_record flip_W6_record{ET_W6, {3, {{{0, 3}, {1, 4}, {2, 5}}}}};
inline constexpr flip_record flip_H8_record{ET_H8, {4, {{{0, 4}, {1, 5}, {2, 6}, {3, 7}}}}};

/// The exchanges of a type of `flip_records`.
consteval const exchange_list& exchanges_of(element_type type) {
    std::size_t k = 0;
    while (flip_records[k].type != type)
        ++k;
    return flip_records[k].exchanges;
}

// What must hold of the tables, whoever edits them.
namespace table_checks {

/// Every row lies within the type and is moved once at most: then a second flip undoes the first.
consteval bool undoes_itself(const flip_record& record) {
    std::array<unsigned, 27> moves{};
    for (unsigned k = 0; k < record.exchanges.count; ++k)
        for (const unsigned row : record.exchanges.pair[k])
            if (row >= rows_of(record.type) || ++moves[row] > 1)
                return false;
    return true;
}

consteval bool all_undo_themselves() {
    for (const flip_record& record : flip_records)
        if (!undoes_itself(record))
            return false;
    return true;
}

static_assert(all_undo_themselves());
static_assert(undoes_itself(flip_TH4_record) && undoes_itself(flip_W6_record) && undoes_itself(flip_H8_record));

} // namespace table_checks

} // namespace quorl::meldra3d::detail
