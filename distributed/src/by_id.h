#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

namespace quorl::meldra3d_mpi::detail {

/// A global ID and where it stands in a list.
struct numbered {
    std::uint64_t id;
    std::size_t at;
    bool operator<(const numbered& other) const { return id < other.id; }
};

/// The places of a list of IDs in the order of the IDs; id_at(k) is the k-th. False when memory ran out.
template <class IdAt>
bool order_by_id(std::size_t count, IdAt id_at, dense1D<numbered, 8>& order) {
    if (!order.resize(count))
        return false;
    for (std::size_t k = 0; k < count; ++k)
        order[k] = {id_at(k), k};
    if (!std::is_sorted(order.begin(), order.end()))
        std::sort(order.begin(), order.end());
    return true;
}

} // namespace quorl::meldra3d_mpi::detail
