// Checks of node IDs: a connectivity is read once, in blocks that the compiler turns into vector code and that end
// early when an ID is bad.

// Vectors never cross a call here: everything that takes one is inlined. (Known to both compilers by this name.)
#pragma GCC diagnostic ignored "-Wpsabi"

#include <meldra/meldra.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "frame/element_tables.h"
#include "frame/quickest.h"

namespace quorl::meldra {

namespace {

using namespace meldra3d::detail;

constexpr std::size_t block = 4096; // entries between two looks at the verdict

/// What an entry may be besides a node.
enum class unused { allowed, forbidden };

/// True when all entries are below `nodes`, or `no_node` where it is allowed. The largest tells; `no_node` is taken out
/// of the comparison by adding 1 to all, so that it wraps to 0.
template <unused Unused>
[[gnu::always_inline]] inline bool all_good(const unsigned* ids, std::size_t n, unsigned nodes) {
    constexpr unsigned added = Unused == unused::allowed ? 1 : 0;
    for (std::size_t first = 0; first < n; first += block) {
        const std::size_t last = std::min(n, first + block);
        unsigned largest = 0;
        for (std::size_t k = first; k < last; ++k)
            largest = std::max(largest, ids[k] + added);
        if (added != 0 ? largest > nodes : largest >= nodes)
            return false;
    }
    return true;
}

/// Likewise for a matrix, in one run when it is contiguous.
template <unused Unused>
[[gnu::always_inline]] inline bool all_good(const dense2D<unsigned int>& connect, unsigned nodes) {
    if (connect.empty())
        return true;
    if (connect.ld() == connect.rows())
        return all_good<Unused>(connect.data(), connect.size(), nodes);
    for (std::size_t j = 0; j < connect.cols(); ++j)
        if (!all_good<Unused>(connect.col(j), connect.rows(), nodes))
            return false;
    return true;
}

/// Some rows of a column at once.
using four_ids = unsigned __attribute__((vector_size(4 * sizeof(unsigned))));
using eight_ids = unsigned __attribute__((vector_size(8 * sizeof(unsigned))));

template <class Ids>
[[gnu::always_inline]] inline void load(const unsigned* from, Ids& ids) {
    std::memcpy(&ids, from, sizeof ids);
}

/// All bits set in the rows before which a column of a mixed type may end.
using ends = std::array<unsigned, 27>;

constexpr ends ends_of(const mixed_record& record) {
    ends allowed{};
    for (unsigned k = 0; k + 1 < record.kinds; ++k)
        allowed[rows_of(record.kind[k])] = no_node;
    return allowed;
}

/// Adds a non-zero lane to `found` for a row that is neither a node nor unused, that ends a column where it may not
/// end, or that holds a node behind an unused slot.
template <class Ids>
[[gnu::always_inline]] inline void find_faults(const Ids& id, const Ids& row_before, const Ids& may_end, unsigned nodes,
                                               Ids& found) {
    const Ids unused = Ids(id == no_node);
    const Ids unused_before = Ids(row_before == no_node);
    found |= Ids(id + 1 > nodes) | (unused_before & ~unused) | (unused & ~unused_before & ~may_end);
}

[[gnu::always_inline]] inline void shift_down(const four_ids& id, four_ids& shifted) {
    shifted = __builtin_shufflevector(four_ids{}, id, 0, 4, 5, 6);
}

[[gnu::always_inline]] inline void shift_down(const eight_ids& id, eight_ids& shifted) {
    shifted = __builtin_shufflevector(eight_ids{}, id, 0, 8, 9, 10, 11, 12, 13, 14);
}

/// Checks columns of a mixed type, as many rows at once as Ids holds; `Rows` is their number, or 0 where it is not
/// known when compiling. A column that is full is of the kind of as many nodes as there are rows.
template <std::size_t Rows, class Ids>
[[gnu::always_inline]] inline bool check_mixed_columns(const dense2D<unsigned int>& connect, unsigned nodes,
                                                       const ends& allowed) {
    constexpr std::size_t N = sizeof(Ids) / sizeof(unsigned);
    const std::size_t rows = Rows != 0 ? Rows : connect.rows();
    const std::size_t columns_in_block = block / 8;
    const unsigned* column = connect.data();
    for (std::size_t first = 0; first < connect.cols(); first += columns_in_block) {
        const std::size_t last = std::min(connect.cols(), first + columns_in_block);
        Ids found{};
        for (std::size_t j = first; j < last; ++j, column += connect.ld()) {
            Ids id, before, may_end;
            load(column, id);
            shift_down(id, before);
            load(allowed.data(), may_end);
            find_faults(id, before, may_end, nodes, found);
            for (std::size_t i = N; i < rows; i += N) {
                const std::size_t at = std::min(i, rows - N); // the last rows may have been seen in part
                load(column + at, id);
                load(column + at - 1, before);
                load(allowed.data() + at, may_end);
                find_faults(id, before, may_end, nodes, found);
            }
        }
        unsigned any = 0;
        for (std::size_t lane = 0; lane < N; ++lane)
            any |= found[lane];
        if (any != 0)
            return false;
    }
    return true;
}

[[gnu::always_inline]] inline bool check_mixed(const dense2D<unsigned int>& connect, const mixed_record& record,
                                               unsigned nodes) {
    const ends allowed = ends_of(record);
    switch (connect.rows()) {
    case 4:
        return check_mixed_columns<4, four_ids>(connect, nodes, allowed);
    case 8:
        return check_mixed_columns<8, eight_ids>(connect, nodes, allowed);
    case 27:
        return check_mixed_columns<27, eight_ids>(connect, nodes, allowed);
    default: // nine rows or more
        return check_mixed_columns<0, eight_ids>(connect, nodes, allowed);
    }
}

/// True for the row counts below its own that a mixed type admits.
bool admits_fewer_rows(const mixed_record& record, std::size_t rows) {
    for (unsigned k = 0; k + 1 < record.kinds; ++k)
        if (rows_of(record.kind[k]) == rows)
            // The quadratic mixes hold at least a pyramid or a quadrangle: fewer rows are a type of their own.
            return record.type == ET_FACE_MIX || record.type == ET_SOLID_MIX ||
                   (record.type == ET_SOLID_MIX_Q && k > 0);
    return false;
}

} // namespace

bool check_IDs(const dense1D<unsigned int, 8>& ids, unsigned int nodes) {
    return quickest([&]() __attribute__((always_inline)) {
        return all_good<unused::allowed>(ids.data(), ids.size(), nodes);
    });
}

bool check_IDs(const dense2D<unsigned int>& connect, unsigned int nodes) {
    return quickest([&]() __attribute__((always_inline)) { return all_good<unused::allowed>(connect, nodes); });
}

bool check_IDs(const dense2D<unsigned int>& connect, element_type type, unsigned int nodes) {
    if (connect.empty())
        return true;
    const element_record* const record = find_record(type);
    if (!record)
        return false;
    const mixed_record* const mixed = find_mixed_record(type);
    if (connect.rows() != record->rows && !(mixed && admits_fewer_rows(*mixed, connect.rows())))
        return false;
    const bool one_linear_kind = mixed && record->linear == type && connect.rows() != record->rows;
    return quickest([&]() __attribute__((always_inline)) {
        if (mixed && !one_linear_kind)
            return check_mixed(connect, *mixed, nodes);
        return all_good<unused::forbidden>(connect, nodes);
    });
}

} // namespace quorl::meldra
