#pragma once

#include <cstddef>
#include <cstdint>

#include <numcore/dense1D.h>

namespace quorl::meldra3d::detail {

/// Numbers distinct node IDs from 0 in the order in which they first come: a map from ID to index, and the list of the
/// IDs. Open addressing with linear probing over multiplicative hashing (Knuth, The Art of Computer Programming 3,
/// section 6.4); needs memory for the IDs that are in it, not for all nodes of a mesh. Runs of sixteen IDs stay
/// together in the table, since the nodes of a face mostly have near numbers: most searches find their place in cache.
class node_index_map {
public:
    /// Enters an ID below `no_node` unless it is there. Returns false when there is no memory.
    bool insert(unsigned id) noexcept;

    /// The index of an ID, `no_node` when it was never entered.
    unsigned find(unsigned id) const noexcept;

    /// Fetches into the cache what `insert` or `find` of an ID will read.
    void prefetch(unsigned id) const noexcept {
        if (!table_.empty())
            __builtin_prefetch(table_.data() + home(id));
    }

    /// The IDs in the order in which they came.
    const unsigned* ids() const noexcept { return ids_.data(); }
    std::size_t size() const noexcept { return ids_.size(); }

private:
    struct place {
        unsigned id;
        unsigned index;
    };

    static constexpr unsigned run_bits = 4;

    std::size_t home(unsigned id) const noexcept {
        const auto run = std::size_t(((id >> run_bits) * std::uint64_t(0x9E3779B97F4A7C15)) >> shift_);
        return run << run_bits | (id & ((1u << run_bits) - 1));
    }
    bool grow() noexcept;

    dense1D<unsigned, 8> ids_;
    dense1D<place, 8> table_; // a power of two of places, at most half of them taken
    unsigned shift_ = 64;     // leaves the number of a run of places
};

} // namespace quorl::meldra3d::detail
