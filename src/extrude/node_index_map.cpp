#include "extrude/node_index_map.h"

#include <algorithm>
#include <utility>

namespace quorl::meldra3d::detail {

namespace {

/// Calls enter(id) for each node of a connectivity as long as it returns true, and expect(id) some 100 ns before, which
/// is the latency of memory.
template <class Enter, class Expect>
bool enter_columns(const dense2D<unsigned>& connect, Enter enter, Expect expect) {
    constexpr std::size_t ahead = 16;
    const std::size_t rows = connect.rows();
    for (std::size_t j = 0; j < connect.cols(); ++j) {
        const unsigned* const column = connect.col(j);
        for (std::size_t i = 0; i < rows && j + ahead < connect.cols(); ++i)
            expect(column[ahead * connect.ld() + i]);
        for (std::size_t i = 0; i < rows; ++i)
            if (column[i] != no_node && !enter(column[i]))
                return false;
    }
    return true;
}

} // namespace

bool node_index_map::insert_all(const dense2D<unsigned>& connect, std::size_t nodes) noexcept {
    // A table has two to four places of eight bytes for each ID, and a node of a surface belongs to some six corners.
    if (nodes <= connect.size())
        return list_all(connect, nodes);
    return enter_columns(
        connect, [this](unsigned id) { return insert(id); },
        [this](unsigned id) __attribute__((always_inline)) { prefetch(id); });
}

bool node_index_map::list_all(const dense2D<unsigned>& connect, std::size_t nodes) noexcept {
    if (!by_id_.resize(nodes, no_node) || !ids_.resize(nodes))
        return false;
    unsigned* const index = by_id_.data();
    unsigned* const ids = ids_.data();
    unsigned count = 0;
    enter_columns(
        connect,
        [&](unsigned id) {
            if (index[id] == no_node) {
                ids[count] = id;
                index[id] = count++;
            }
            return true;
        },
        [index](unsigned id) __attribute__((always_inline)) { __builtin_prefetch(index + id); });
    return ids_.resize(count);
}

bool node_index_map::insert(unsigned id) noexcept {
    if (2 * (ids_.size() + 1) > table_.size() && !grow())
        return false;
    place* const table = table_.data();
    const std::size_t last = table_.size() - 1;
    std::size_t at = home(id);
    for (; table[at].id != no_node; at = (at + 1) & last)
        if (table[at].id == id)
            return true;
    if (!ids_.push_back(id))
        return false;
    table[at] = {id, static_cast<unsigned>(ids_.size() - 1)};
    return true;
}

unsigned node_index_map::find_hashed(unsigned id) const noexcept {
    if (table_.empty() || id == no_node)
        return no_node;
    const place* const table = table_.data();
    const std::size_t last = table_.size() - 1;
    for (std::size_t at = home(id); table[at].id != no_node; at = (at + 1) & last)
        if (table[at].id == id)
            return table[at].index;
    return no_node;
}

bool node_index_map::grow() noexcept {
    const std::size_t places = table_.empty() ? 64 : 2 * table_.size();
    dense1D<place, 8> table;
    if (!table.resize(places, place{no_node, 0}))
        return false;
    table_ = std::move(table);
    shift_ = 64;
    for (std::size_t runs = places >> run_bits; runs > 1; runs /= 2)
        --shift_;
    for (std::size_t k = 0; k < ids_.size(); ++k) {
        std::size_t at = home(ids_[k]);
        while (table_[at].id != no_node)
            at = (at + 1) & (places - 1);
        table_[at] = {ids_[k], static_cast<unsigned>(k)};
    }
    return true;
}

} // namespace quorl::meldra3d::detail
