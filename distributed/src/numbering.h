#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <meldra3d_mpi/meldra3d_mpi.h>

#include "ghost_layer.h"

// Serial functions number new nodes in the order in which the elements meet them. Called on an extended part, they
// number those of the part and its ghosts in the same order; here each gets the number that the call on the whole mesh
// would give it, and what the ghosts brought is cut off again.
namespace quorl::meldra3d_mpi::detail {

/// As `extend`, with the elements in that many rows, see `common_rows`.
int extend_in_rows(const distributed_mesh& part, std::size_t rows, extended_part& extended, MPI_Comm comm);

/// What a serial function made of each element of an extended part: one or more columns, which lie together.
struct extended_result {
    dense2D<unsigned int> connectivity;
    std::size_t each = 1;            ///< columns from each element, unless
    dense1D<std::size_t, 8> first{}; ///< the columns where those of each element begin, and their end, are given

    std::size_t begin(std::size_t element) const { return first.empty() ? element * each : first[element]; }
    std::size_t end(std::size_t element) const { return begin(element + 1); }
};

/// Consecutive IDs of an extended result, from `first` on, in the order in which its elements first name them.
struct id_range {
    unsigned first;
    unsigned count;

    /// The place of an ID in the range; `count` or more for others, `no_node` included.
    unsigned place(unsigned id) const { return id - first; }
    bool holds(unsigned id) const { return place(id) < count; }
};

/// A new node of the part that another rank has, too.
struct shared_new_node {
    int rank;
    unsigned place;
};

/// The new nodes that own elements name.
struct new_nodes {
    std::uint64_t in_all = 0;           ///< new nodes of the whole mesh
    dense1D<std::uint64_t, 8> numbers;  ///< theirs, ascending; from 0 in the order in which the whole mesh meets them
    dense1D<unsigned int, 8> source;    ///< the place of each in the range of the extended result
    dense1D<unsigned int, 8> place;     ///< of each in that range: its place here; `no_node` for what is cut off
    dense1D<shared_new_node, 8> shared; ///< by rank and number
    dense1D<unsigned int, 8> own;       ///< the element of the extended part that is each of the part's own
};

/// Numbers the new nodes of a result, those of a range of IDs. Collective over `comm`; the same status on all ranks: 0,
/// -20 when lists of shared nodes do not suit each other, -199, -200.
int number_new_nodes(const distributed_mesh& part, const extended_part& extended, const extended_result& result,
                     const id_range& range, new_nodes& found, MPI_Comm comm);

/// For each own element, the sum of the counts of all elements with a lower global ID, on whichever rank; and the sum
/// of all. Collective; 0, -199 or -200.
int sum_below(const distributed_mesh& part, const dense1D<unsigned int, 8>& counts, dense1D<std::uint64_t, 8>& sums,
              std::uint64_t& total, MPI_Comm comm);

/// The nodes of an extended result as those of a part: first the columns that the part has, then its new nodes in
/// ascending order of global IDs. There may be several levels of new nodes, each with those of `found` in their order.
class part_numbering {
public:
    /// `first_new`: in the extended result, where a level has as many nodes as found.place.
    part_numbering(const distributed_mesh& part, unsigned first_new, const new_nodes& found);

    /// The node of the part that a node of the extended result becomes, which an own element names, or `no_node`.
    unsigned operator()(unsigned id) const {
        if (id == no_node || id < part_nodes_)
            return id;
        const unsigned place = id - first_new_;
        if (place < per_level_) // without a division: conversions have one level
            return part_nodes_ + place_[place];
        const unsigned level = place / per_level_;
        return part_nodes_ + level * own_ + place_[place - level * per_level_];
    }

    const new_nodes& found() const { return found_; }
    unsigned first_new() const { return first_new_; }
    unsigned own_per_level() const { return own_; }

private:
    const new_nodes& found_;
    unsigned part_nodes_;
    unsigned first_new_;
    unsigned per_level_;
    unsigned own_;
    const unsigned* place_;
};

/// Fills `pos`, `node_ids`, `nodes` and the lists of shared nodes of a result from those of the part and the new nodes
/// on some levels. `pos` has the columns of the extended result, and is taken: what is not the part's is cut out of it.
/// Not collective: 0, -20 when lists of shared nodes do not suit each other, -199.
int cut_nodes(const distributed_mesh& part, dense2D<double>& pos, const part_numbering& numbering, std::uint64_t levels,
              distributed_mesh& cut);

/// Brings the columns that a result has of own elements into the order of these by write(from, to, k) for the k-th
/// column of each. Where the order is theirs already, in the storage of the result, which is taken; `to` is then at or
/// before `from`. False when memory ran out.
template <class Write>
bool move_elements(extended_result& result, const new_nodes& found, dense2D<unsigned int>& cut, const Write& write) {
    dense2D<unsigned int>& all = result.connectivity;
    const dense1D<unsigned int, 8>& own = found.own;
    std::size_t columns = 0;
    for (const std::size_t element : own)
        columns += result.end(element) - result.begin(element);
    const bool in_place = std::is_sorted(own.begin(), own.end());
    if (in_place)
        cut = all; // shares the storage
    else if (!cut.resize(all.rows(), columns))
        return false;
    unsigned* to = cut.data();
    for (const std::size_t element : own)
        for (std::size_t j = result.begin(element); j < result.end(element); ++j, to += all.rows())
            write(all.col(j), to, j - result.begin(element));
    all.clear();
    return cut.resize(cut.rows(), columns);
}

/// The same with the nodes renumbered.
bool cut_elements(extended_result& result, const part_numbering& numbering, dense2D<unsigned int>& cut);

} // namespace quorl::meldra3d_mpi::detail
