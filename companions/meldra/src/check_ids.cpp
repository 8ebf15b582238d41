// Checks of node IDs: a connectivity is read once, in blocks that the compiler turns into vector code and that end
// early when an ID is bad.

#include <meldra/meldra.h>

#include <algorithm>
#include <cstdint>

#include "frame/element_tables.h"

namespace quorl::meldra {

namespace {

using namespace meldra3d::detail;

constexpr std::size_t block = 4096; // entries between two looks at the verdict

/// True when no entry is bad.
template <class Bad>
bool none_bad(const unsigned* ids, std::size_t n, Bad bad) {
    for (std::size_t first = 0; first < n; first += block) {
        const std::size_t last = std::min(n, first + block);
        unsigned found = 0;
        for (std::size_t k = first; k < last; ++k)
            found |= unsigned(bad(ids[k]));
        if (found != 0)
            return false;
    }
    return true;
}

/// Likewise for a matrix, in one run when it is contiguous.
template <class Bad>
bool none_bad(const dense2D<unsigned int>& connect, Bad bad) {
    if (connect.empty())
        return true;
    if (connect.ld() == connect.rows())
        return none_bad(connect.data(), connect.size(), bad);
    for (std::size_t j = 0; j < connect.cols(); ++j)
        if (!none_bad(connect.col(j), connect.rows(), bad))
            return false;
    return true;
}

/// True when an entry is neither a node nor `no_node`, which wraps to 0.
auto neither_node_nor_none(unsigned nodes) {
    return [nodes](unsigned id) { return id + 1 > nodes; };
}

/// Bit n is set when a column of a mixed type may have n nodes.
constexpr std::uint32_t admitted_counts(const mixed_record& record, std::size_t rows) {
    std::uint32_t counts = 0;
    for (unsigned k = 0; k < record.kinds; ++k)
        if (rows_of(record.kind[k]) <= rows)
            counts |= std::uint32_t(1) << rows_of(record.kind[k]);
    return counts;
}

/// Checks columns of a mixed type: nodes first, then unused slots, in an admitted number of nodes. `rows` is a
/// constant where Rows is not 0.
template <unsigned Rows>
bool check_mixed_columns(const dense2D<unsigned int>& connect, unsigned nodes, std::uint32_t admitted) {
    const std::size_t rows = Rows != 0 ? Rows : connect.rows();
    const std::size_t columns_in_block = block / 8;
    for (std::size_t first = 0; first < connect.cols(); first += columns_in_block) {
        const std::size_t last = std::min(connect.cols(), first + columns_in_block);
        unsigned bad = 0;
        for (std::size_t j = first; j < last; ++j) {
            const unsigned* const id = connect.col(j);
            unsigned used = 0;
            unsigned column_bad = unsigned(id[0] + 1 > nodes);
            used += unsigned(id[0] != no_node);
            for (std::size_t i = 1; i < rows; ++i) {
                column_bad |= unsigned(id[i] + 1 > nodes);
                column_bad |= unsigned(id[i - 1] == no_node) & unsigned(id[i] != no_node);
                used += unsigned(id[i] != no_node);
            }
            bad |= column_bad | (~(admitted >> used) & 1u);
        }
        if (bad != 0)
            return false;
    }
    return true;
}

bool check_mixed(const dense2D<unsigned int>& connect, const mixed_record& record, unsigned nodes) {
    const std::uint32_t admitted = admitted_counts(record, connect.rows());
    switch (connect.rows()) {
    case 4:
        return check_mixed_columns<4>(connect, nodes, admitted);
    case 8:
        return check_mixed_columns<8>(connect, nodes, admitted);
    case 27:
        return check_mixed_columns<27>(connect, nodes, admitted);
    default:
        return check_mixed_columns<0>(connect, nodes, admitted);
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
    return none_bad(ids.data(), ids.size(), neither_node_nor_none(nodes));
}

bool check_IDs(const dense2D<unsigned int>& connect, unsigned int nodes) {
    return none_bad(connect, neither_node_nor_none(nodes));
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
    if (mixed && !one_linear_kind)
        return check_mixed(connect, *mixed, nodes);
    // An ID is a node only below no_node, whatever the count says.
    return none_bad(connect, [nodes](unsigned id) { return id >= nodes; });
}

} // namespace quorl::meldra
