// Neighbours by a radix-partitioned hash join of the faces with themselves (S. Manegold, P. Boncz, M. Kersten,
// "Optimizing main-memory join on modern hardware", IEEE TKDE 14(4), 2002): the faces are written to partitions by
// the leading bits of a hash of their nodes, and each partition, small enough for the cache, is matched by open
// addressing. So a mesh in any order costs two sequential passes over its elements and one over the faces, where a
// single table of all faces would miss the cache at each of them.

#include <meldra/meldra.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <utility>

#include "frame/element_tables.h"
#include "frame/id_count.h"

namespace quorl::meldra {

namespace {

using namespace meldra3d::detail;

/// The nodes of a face in an order that does not depend on where the cycle begins nor on its direction.
/// A triangle among quadrangles holds `no_node` last.
template <std::size_t Corners>
using face_key = std::array<unsigned, Corners>;

void sort_two(unsigned& a, unsigned& b) {
    const unsigned low = std::min(a, b);
    b = std::max(a, b);
    a = low;
}

/// The least of the eight readings of a quadrangle, compared node by node.
face_key<4> least_reading(face_key<4> cycle) {
    face_key<4> least = cycle;
    for (unsigned start = 0; start < 4; ++start)
        for (const unsigned step : {1u, 3u})
            least = std::min(least, face_key<4>{cycle[start], cycle[(start + step) % 4], cycle[(start + 2 * step) % 4],
                                                cycle[(start + 3 * step) % 4]});
    return least;
}

face_key<4> quadrangle_key(unsigned a, unsigned b, unsigned c, unsigned d) {
    const unsigned least = std::min(std::min(a, b), std::min(c, d));
    const unsigned times = unsigned(a == least) + unsigned(b == least) + unsigned(c == least) + unsigned(d == least);
    if (times != 1) // a degenerate element
        return least_reading({a, b, c, d});
    // One diagonal holds the least node: that node, its neighbours in rising order, the node across.
    const bool first_diagonal = a == least || c == least;
    unsigned across = first_diagonal ? std::max(a, c) : std::max(b, d);
    unsigned low = first_diagonal ? b : a;
    unsigned high = first_diagonal ? d : c;
    sort_two(low, high);
    return {least, low, across, high};
}

/// The nodes of a face in the order of its cycle; a triangle among quadrangles holds `no_node` last.
/// Inlined always, so that the local nodes of the face are constants.
template <std::size_t Corners>
[[gnu::always_inline]] inline face_key<Corners> cycle_of(const face_cycle& face, const unsigned* column) {
    face_key<Corners> cycle{};
    for (unsigned k = 0; k < Corners; ++k)
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): a matrix with columns has a first one
        cycle[k] = k < face.size ? column[face.node[k]] : no_node;
    return cycle;
}

template <std::size_t Corners>
[[gnu::always_inline]] inline face_key<Corners> key_of(face_key<Corners> cycle) {
    if constexpr (Corners == 4)
        if (cycle[3] != no_node)
            return quadrangle_key(cycle[0], cycle[1], cycle[2], cycle[3]);
    sort_two(cycle[0], cycle[1]);
    if constexpr (Corners >= 3) {
        sort_two(cycle[1], cycle[2]);
        sort_two(cycle[0], cycle[1]);
    }
    return cycle;
}

template <std::size_t Corners>
bool same(const face_key<Corners>& a, const face_key<Corners>& b) {
    unsigned different = 0;
    for (std::size_t k = 0; k < Corners; ++k)
        different |= a[k] ^ b[k];
    return different == 0;
}

template <std::size_t Corners>
std::uint32_t hash_of(const face_key<Corners>& key) {
    // Odd constants of multiplicative hashing (Steele, Lea and Flood 2014, the mixing steps of SplitMix).
    std::uint64_t h = (key[0] | std::uint64_t(key[1]) << 32) * 0xBF58476D1CE4E5B9u;
    h ^= h >> 29;
    if constexpr (Corners == 3)
        h += key[2];
    if constexpr (Corners == 4)
        h += key[2] | std::uint64_t(key[3]) << 32;
    h *= 0x94D049BB133111EBu;
    return static_cast<std::uint32_t>(h >> 32);
}

/// A hash of the sum of the nodes, which is known before the nodes are in order (Fibonacci hashing).
template <std::size_t Corners>
[[gnu::always_inline]] inline std::uint32_t sum_hash_of(const face_key<Corners>& cycle) {
    unsigned sum = 0;
    for (const unsigned node : cycle)
        sum += node;
    return sum * 0x9E3779B1u;
}

/// A face of an element: `slot` is its place in the matrix of neighbours.
template <std::size_t Corners, class Slot>
struct face_entry {
    face_key<Corners> key;
    Slot slot;
};

/// Calls visit(cycle, slot) for each face of one element.
template <std::size_t Corners, const shape_record& Record, class Visit>
void visit_element(const unsigned* column, std::size_t first_slot, Visit& visit) {
    [&]<std::size_t... Face>(std::index_sequence<Face...>) {
        (visit(cycle_of<Corners>(Record.face[Face], column), first_slot + Face), ...);
    }
    (std::make_index_sequence<Record.faces>());
}

/// Calls visit(cycle, slot) for each face of each element, in order.
template <std::size_t Corners, std::size_t Faces, const shape_record& Record, class Visit>
void visit_elements(const dense2D<unsigned int>& connect, Visit& visit) {
    const unsigned* column = connect.data();
    for (std::size_t j = 0; j < connect.cols(); ++j, column += connect.ld())
        visit_element<Corners, Record>(column, j * Faces, visit);
}

template <std::size_t Corners, std::size_t Faces, class Visit>
void visit_mixed_elements(const dense2D<unsigned int>& connect, const mixed_record& mixed, Visit& visit) {
    const unsigned* column = connect.data();
    for (std::size_t j = 0; j < connect.cols(); ++j, column += connect.ld()) {
        const element_type kind = kind_of_column(mixed, column, connect.rows());
        switch (element_records[std::size_t(kind)].form) {
        case shape::triangle:
            visit_element<Corners, triangle_record>(column, j * Faces, visit);
            break;
        case shape::quadrangle:
            visit_element<Corners, quadrangle_record>(column, j * Faces, visit);
            break;
        case shape::tetrahedron:
            visit_element<Corners, tetrahedron_record>(column, j * Faces, visit);
            break;
        case shape::pyramid:
            visit_element<Corners, pyramid_record>(column, j * Faces, visit);
            break;
        case shape::wedge:
            visit_element<Corners, wedge_record>(column, j * Faces, visit);
            break;
        default:
            visit_element<Corners, hexahedron_record>(column, j * Faces, visit);
            break;
        }
    }
}

/// Matches the faces of one matrix of elements. Slot is wide enough for Faces x elements.
template <std::size_t Corners, std::size_t Faces, class Slot>
class face_matcher {
public:
    using entry = face_entry<Corners, Slot>;

    /// Fills `neighbors`, whose entries are all `no_node`. `for_each_face(visit)` must give the same faces each time.
    template <class ForEachFace>
    int match(std::size_t faces_at_most, bool strict, ForEachFace for_each_face, unsigned* neighbors) {
        if (!prepare(faces_at_most))
            return -199;
        auto count = [this](const face_key<Corners>& cycle, std::size_t) {
            ++ends_[partition_of(sum_hash_of<Corners>(cycle), hash_of(key_of(cycle))) + 1];
        };
        for_each_face(count);
        std::uint64_t largest = 0;
        for (std::size_t p = 1; p < ends_.size(); ++p) {
            largest = std::max(largest, ends_[p]);
            ends_[p] += ends_[p - 1];
        }
        // From here on ends_[p] is where partition p begins; filling it moves that to its end.
        const std::uint64_t total = ends_[ends_.size() - 1];
        const std::uint64_t room = std::min(total, std::max(total / most_rounds + largest, one_round));
        if (!reserve_table(largest) || !entries_.resize(static_cast<std::size_t>(room)))
            return -199;
        for (std::size_t first = 0, last; first + 1 < ends_.size(); first = last) {
            const std::uint64_t begin = ends_[first];
            last = first + 1;
            while (last + 1 < ends_.size() && ends_[last + 1] - begin <= room)
                ++last;
            distribute(first, last, for_each_face);
            if (!match_partitions(first, last, begin, neighbors) && strict)
                return -3;
        }
        return 0;
    }

private:
    /// The faces that a place of the table knows: 1 + their number in the partition, 0 for none.
    struct place {
        std::uint32_t first;
        std::uint32_t second;
    };
    static constexpr std::uint32_t many = 0xFFFFFFFF; // as `second`: more than two elements share the face

    static constexpr std::size_t partition_size = 8192; // with its table some 250 KiB: inside a second-level cache
    static constexpr unsigned most_bits = 11;           // more partitions would miss the address translation buffer

    // A large mesh is gone through several times, each time for the faces of some partitions, so that the entries take
    // about as much memory as the neighbours; up to a million tetrahedra one round is quicker.
    static constexpr std::uint64_t most_rounds = 4;
    static constexpr std::uint64_t one_round = std::uint64_t(1) << 22; // faces
    static constexpr std::size_t gathered = 256;

    // The leading bits of a partition come from the sum of the nodes of a face, so that a round tells at once which
    // faces are none of its own; the others from the hash of its key.
    static constexpr unsigned sum_bits = 6;

    std::size_t partition_of(std::uint32_t sum_hash, std::uint32_t hash) const {
        return std::size_t(sum_hash >> (32 - sum_bits) << (32 - sum_bits) | hash >> sum_bits) >> shift_;
    }

    bool prepare(std::size_t faces) {
        unsigned bits = 1;
        while (bits < most_bits && (faces >> bits) > partition_size)
            ++bits;
        shift_ = 32 - bits;
        return ends_.resize((std::size_t(1) << bits) + 1, 0);
    }

    bool reserve_table(std::uint64_t largest) {
        if (largest >= many / 4)
            return false;
        std::size_t places = 16;
        while (places < 2 * largest)
            places *= 2;
        return table_.resize(places);
    }

    /// Writes the faces of the partitions from `first` to before `last` to the entries. Those that may be among them
    /// are gathered without a branch, which would often be mispredicted, and then written some at a time.
    template <class ForEachFace>
    void distribute(std::size_t first, std::size_t last, ForEachFace for_each_face) {
        const std::uint64_t begin = ends_[first];
        const unsigned sum_shift = std::max(shift_, 32 - sum_bits);
        const std::size_t first_sum = first >> (sum_shift - shift_);
        const std::size_t sums = ((last - 1) >> (sum_shift - shift_)) - first_sum + 1;
        std::array<entry, gathered> faces;
        std::size_t n = 0;
        auto gather = [&](const face_key<Corners>& cycle, std::size_t slot) {
            faces[n] = {cycle, static_cast<Slot>(slot)};
            n += (std::size_t(sum_hash_of<Corners>(cycle)) >> sum_shift) - first_sum < sums ? 1 : 0;
            if (n == gathered) {
                write(faces.data(), n, first, last, begin);
                n = 0;
            }
        };
        for_each_face(gather);
        write(faces.data(), n, first, last, begin);
    }

    /// Writes those of n faces that belong to the partitions; they are given as cycles and get their keys.
    void write(const entry* faces, std::size_t n, std::size_t first, std::size_t last, std::uint64_t begin) {
        std::uint64_t* const ends = ends_.data();
        entry* const entries = entries_.data();
        for (std::size_t k = 0; k < n; ++k) {
            const face_key<Corners> key = key_of(faces[k].key);
            const std::size_t p = partition_of(sum_hash_of<Corners>(faces[k].key), hash_of(key));
            if (p - first < last - first)
                entries[ends[p]++ - begin] = {key, faces[k].slot};
        }
    }

    /// Matches the partitions that were just written; entry 0 is face `begin`. False as of match_partition.
    bool match_partitions(std::size_t first, std::size_t last, std::uint64_t begin, unsigned* neighbors) {
        bool manifold = true;
        const entry* entries = entries_.data();
        for (std::size_t p = first; p < last; ++p) {
            const std::uint64_t n = ends_[p] - begin;
            manifold = match_partition(entries, static_cast<std::uint32_t>(n), neighbors) && manifold;
            entries += n;
            begin = ends_[p];
        }
        return manifold;
    }

    /// Returns false when a face of the partition is shared by more than two elements.
    bool match_partition(const entry* entries, std::uint32_t n, unsigned* neighbors) {
        std::size_t places = 16;
        while (places < 2 * std::size_t(n))
            places *= 2;
        place* const table = table_.data();
        std::fill_n(table, places, place{0, 0});
        bool manifold = true;
        for (std::uint32_t k = 0; k < n; ++k) {
            const entry& face = entries[k];
            std::size_t at = hash_of(face.key) & (places - 1);
            while (table[at].first != 0 && !same(entries[table[at].first - 1].key, face.key))
                at = (at + 1) & (places - 1);
            place& found = table[at];
            if (found.first == 0) {
                found.first = k + 1;
                continue;
            }
            const Slot slot = entries[found.first - 1].slot;
            if (found.second == 0) {
                found.second = k + 1;
                neighbors[slot] = static_cast<unsigned>(face.slot / Faces);
                neighbors[face.slot] = static_cast<unsigned>(slot / Faces);
                continue;
            }
            manifold = false;
            if (found.second != many) {
                neighbors[slot] = no_node;
                neighbors[entries[found.second - 1].slot] = no_node;
                found.second = many;
            }
        }
        return manifold;
    }

    unsigned shift_ = 0;
    dense1D<std::uint64_t, 8> ends_;
    dense1D<entry, 8> entries_;
    dense1D<place, 8> table_;
};

template <std::size_t Corners, std::size_t Faces, class ForEachFace>
int match_faces(std::size_t elements, bool strict, ForEachFace for_each_face, dense2D<unsigned int>& neighbors) {
    // With 32-bit slots an entry is a quarter smaller; only meshes of more than 2^32 faces need the wide ones.
    if (elements <= std::numeric_limits<std::uint32_t>::max() / Faces)
        return face_matcher<Corners, Faces, std::uint32_t>().match(elements * Faces, strict, for_each_face,
                                                                   neighbors.data());
    return face_matcher<Corners, Faces, std::uint64_t>().match(elements * Faces, strict, for_each_face,
                                                               neighbors.data());
}

template <std::size_t Corners, std::size_t Faces, const shape_record& Record>
int match_one_kind(const dense2D<unsigned int>& connect, bool strict, dense2D<unsigned int>& neighbors) {
    return match_faces<Corners, Faces>(
        connect.cols(), strict, [&](auto& visit) { visit_elements<Corners, Faces, Record>(connect, visit); },
        neighbors);
}

template <std::size_t Corners, std::size_t Faces>
int match_mixed(const dense2D<unsigned int>& connect, const mixed_record& mixed, bool strict,
                dense2D<unsigned int>& neighbors) {
    return match_faces<Corners, Faces>(
        connect.cols(), strict, [&](auto& visit) { visit_mixed_elements<Corners, Faces>(connect, mixed, visit); },
        neighbors);
}

int match(const dense2D<unsigned int>& connect, element_type type, bool strict, dense2D<unsigned int>& neighbors) {
    if (const mixed_record* const mixed = find_mixed_record(type))
        return element_records[std::size_t(type)].faces == 4 ? match_mixed<2, 4>(connect, *mixed, strict, neighbors)
                                                             : match_mixed<4, 6>(connect, *mixed, strict, neighbors);
    switch (element_records[std::size_t(type)].form) {
    case shape::triangle:
        return match_one_kind<2, 3, triangle_record>(connect, strict, neighbors);
    case shape::quadrangle:
        return match_one_kind<2, 4, quadrangle_record>(connect, strict, neighbors);
    case shape::tetrahedron:
        return match_one_kind<3, 4, tetrahedron_record>(connect, strict, neighbors);
    case shape::pyramid:
        return match_one_kind<4, 5, pyramid_record>(connect, strict, neighbors);
    case shape::wedge:
        return match_one_kind<4, 5, wedge_record>(connect, strict, neighbors);
    default:
        return match_one_kind<4, 6, hexahedron_record>(connect, strict, neighbors);
    }
}

} // namespace

int get_neighbors(const dense2D<unsigned int>& connect, element_type type, bool strict,
                  dense2D<unsigned int>& neighbors) {
    const dense2D<unsigned int> elements = connect; // holds the input when `neighbors` is a view of it
    neighbors.clear();
    if (elements.empty())
        return 0;
    const element_record* const record = find_record(type);
    const bool has_faces = record && (find_mixed_record(type) || find_record(record->form));
    if (has_faces && !check_IDs(elements, type, no_node))
        return -1;
    if (!has_faces)
        return -2;
    dense2D<unsigned int> found;
    if (elements.cols() > id_limit || !found.resize(record->faces, elements.cols(), no_node))
        return -199;
    const int status = match(elements, type, strict, found);
    if (status == 0)
        neighbors = std::move(found);
    return status;
}

} // namespace quorl::meldra
