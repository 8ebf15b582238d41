#include "extrude/node_index_map.h"

#include <utility>

#include <meldra/element_type.h>

namespace quorl::meldra3d::detail {

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

unsigned node_index_map::find(unsigned id) const noexcept {
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
