#pragma once

#include <cstddef>
#include <cstdint>

#include <meldra/element_type.h>
#include <numcore/numcore.h>

namespace quorl::meldra3d::detail {

/// Numbers distinct node IDs from 0 in the order in which they first come: a map from ID to index, and the list of the
/// IDs. Where the IDs are many among all nodes of a mesh, a plain list of the indices by ID; elsewhere open addressing
/// with linear probing over multiplicative hashing (Knuth, The Art of Computer Programming 3, section 6.4), which needs
/// memory for the IDs that are in it, not for all nodes. Runs of sixteen IDs stay together in the table, since the
/// nodes of a face mostly have near numbers: most searches find their place in cache.
class node_index_map {
public:
    /// Enters all nodes of a connectivity, columns from top to bottom, into a map that is empty. All IDs but `no_node`
    /// lie below `nodes`. Returns false when there is no memory.
    bool insert_all(const dense2D<unsigned>& connect, std::size_t nodes) noexcept;

    /// The index of an ID, `no_node` when it was never entered.
    unsigned find(unsigned id) const noexcept {
        if (by_id_.empty())
            return find_hashed(id);
        return id < by_id_.size() ? by_id_[id] : no_node;
    }

    /// Fetches into the cache what `find` of an ID will read. Inlined always: a call of a function that
    /// only prefetches has no effect in the eyes of a compiler, and is left out.
    [[gnu::always_inline]] void prefetch(unsigned id) const noexcept {
        if (!by_id_.empty())
            __builtin_prefetch(by_id_.data() + id);
        else if (!table_.empty())
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
    /// Enters an ID below `no_node` into the table unless it is there. False when there is no memory.
    bool insert(unsigned id) noexcept;
    bool list_all(const dense2D<unsigned>& connect, std::size_t nodes) noexcept;
    unsigned find_hashed(unsigned id) const noexcept;
    bool grow() noexcept;

    dense1D<unsigned, 8> ids_;
    dense1D<unsigned, 8> by_id_; // the index of each node, or empty
    dense1D<place, 8> table_;    // a power of two of places, at most half of them taken
    unsigned shift_ = 64;        // leaves the number of a run of places
};

} // namespace quorl::meldra3d::detail
