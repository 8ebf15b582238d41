// Each quadrangular face of each element is looked up in a hashed table of the quadrangles to cut, which knows both
// directions of a cycle. What is found decides how the element is cut; the pieces are gathered, and stored only when
// all of them are large enough.

#include <meldra3d/split.h>

#include <algorithm>
#include <array>

#include "frame/element_tables.h"
#include "frame/hbuckets.h"
#include "frame/id_count.h"
#include "measure/element_volumes.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

using cycle = std::array<unsigned, 4>;

/// A node of a cycle, which goes on from its end at its start. (Numbers below 0 wrap to the same node.)
constexpr unsigned at(const cycle& nodes, unsigned k) {
    return nodes[k % 4];
}

/// True when two cycles of the same nodes run the same way round.
constexpr bool same_direction(const elfes::faceQ4& x, const elfes::faceQ4& y) {
    const auto i = static_cast<unsigned>(elfes::smallest_place<4>(x.id.data()));
    const auto j = static_cast<unsigned>(elfes::smallest_place<4>(y.id.data()));
    return at(x.id, i + 1) == at(y.id, j + 1);
}

/// The quadrangles to cut, by their nodes.
class quadrangle_map {
public:
    quadrangle_map(const dense2D<unsigned int>& quadrangles, const dense1D<unsigned int, 8>& diagonals)
        : diagonals_(diagonals) {
        table_.init(quadrangles.cols(), fewest_buckets, 1.0); // without memory it finds nothing
        for (std::size_t j = 0; j < quadrangles.cols(); ++j) {
            elfes::faceQ4 key{};
            std::copy_n(quadrangles.col(j), 4, key.id.begin());
            if (auto* const node = table_.insert(key.hash(), {key, {}}))
                node->value.payload.column[direction(node->value.key, key)] = j; // of equal ones the last counts
        }
    }

    /// The bit of a face in its own listing; false when it is not to be cut. A quadrangle in the face's own direction
    /// goes before one in the other.
    bool find(const cycle& face, unsigned& bit) const {
        const elfes::faceQ4 key{face};
        const std::uint64_t place = table_.find(key.hash(), key);
        if (place == table_.used_length())
            return false;
        const auto& [stored_key, stored] = table_[place].value;
        const unsigned own = direction(stored_key, key);
        bit = stored.column[own] != nowhere ? diagonals_[stored.column[own]] : 1 - diagonals_[stored.column[1 - own]];
        return true;
    }

private:
    static constexpr std::uint64_t nowhere = ~std::uint64_t(0);

    /// The columns of a cycle: in the direction of its key, and in the other one.
    struct columns {
        std::array<std::uint64_t, 2> column{nowhere, nowhere};
    };

    static unsigned direction(const elfes::faceQ4& key, const elfes::faceQ4& other) {
        return same_direction(key, other) ? 0 : 1;
    }

    const dense1D<unsigned int, 8>& diagonals_;
    hbuckets<keyed<elfes::faceQ4, columns>> table_;
};

/// A column of the connectivity.
struct element {
    element_type kind;
    const shape_record& shape;
    const unsigned* node;

    explicit element(const unsigned* column)
        : kind(kind_of_column(*find_mixed_record(ET_SOLID_MIX), column, 8)),
          shape(*find_record(find_record(kind)->form)), node(column) {}

    /// The nodes of face k; a triangle has three.
    cycle face(unsigned k) const {
        cycle nodes{};
        for (unsigned i = 0; i < shape.face[k].size; ++i)
            nodes[i] = node[shape.face[k].node[i]];
        return nodes;
    }
};

/// The faces of an element that are to be cut, in their order, with their bits.
struct cut_list {
    struct cut {
        unsigned face;
        unsigned bit;
    };
    unsigned size = 0;
    std::array<cut, 6> item{};

    cut_list(const element& solid, const quadrangle_map& quadrangles) {
        for (unsigned k = 0; k < solid.shape.faces; ++k)
            if (unsigned bit = 0; solid.shape.face[k].size == 4 && quadrangles.find(solid.face(k), bit))
                item[size++] = {k, bit};
    }

    /// How a face is to be cut; null when it is not.
    const cut* find(unsigned face) const {
        for (unsigned k = 0; k < size; ++k)
            if (item[k].face == face)
                return &item[k];
        return nullptr;
    }
};

/// The pieces of one element. They count when each of them is large enough.
class piece_list {
public:
    piece_list(const dense2D<double>& pos, double min_volume) : pos_(pos), min_volume_(min_volume) {}

    template <std::size_t N>
    bool large_enough(const std::array<unsigned, N>& nodes) const {
        point<double> p[N];
        for (std::size_t k = 0; k < N; ++k) {
            const double* const x = pos_.col(nodes[k]);
            p[k] = {x[0], x[1], x[2]};
        }
        return six_volume(p) * one_sixth > min_volume_;
    }

    template <std::size_t N>
    bool add_if_large_enough(const std::array<unsigned, N>& nodes) {
        if (!large_enough(nodes))
            return false;
        auto& piece = pieces_[size_++];
        piece.fill(no_node);
        std::copy_n(nodes.begin(), N, piece.begin());
        return true;
    }

    void append_to(dense2D<unsigned int>& connect) const {
        for (unsigned k = 0; k < size_; ++k)
            connect.append(pieces_[k].data());
    }

private:
    const dense2D<double>& pos_;
    const double min_volume_;
    unsigned size_ = 0;
    std::array<std::array<unsigned, 8>, 12> pieces_; // two on each of six faces
};

/// Appends the mean of an element's nodes. Gives its ID, or `no_node` when there is no memory or no ID left.
unsigned append_centroid(const element& solid, dense2D<double>& pos) {
    std::array<double, 3> mean{};
    for (unsigned k = 0; k < solid.shape.nodes; ++k)
        for (unsigned i = 0; i < 3; ++i)
            mean[i] += pos(i, solid.node[k]);
    for (double& x : mean)
        x /= solid.shape.nodes;
    const std::size_t id = pos.cols();
    return id < id_limit && pos.append(mean.data()) ? static_cast<unsigned>(id) : no_node;
}

/// A pyramid on a quadrangle, or the tetrahedra on either side of its diagonal. The pyramid must be large enough
/// in both cases.
bool add_pyramid(const cycle& q, unsigned apex, const cut_list::cut* cut, piece_list& pieces) {
    const std::array<unsigned, 5> pyramid{q[0], q[1], q[2], q[3], apex};
    if (!cut)
        return pieces.add_if_large_enough(pyramid);
    const unsigned d = cut->bit;
    return pieces.large_enough(pyramid) &&
           pieces.add_if_large_enough<4>({at(q, d), at(q, d + 2), at(q, d + 1), apex}) &&
           pieces.add_if_large_enough<4>({at(q, d + 2), at(q, d), at(q, d + 3), apex});
}

/// A tetrahedron or pyramid on each face, with the centroid as apex. The faces turn counter-clockwise seen from there:
/// so do the bases of direct pyramids, and other than those of direct tetrahedra.
bool split_around_centroid(const element& solid, const cut_list& cuts, dense2D<double>& pos, piece_list& pieces) {
    const unsigned apex = append_centroid(solid, pos);
    if (apex == no_node)
        return false;
    for (unsigned k = 0; k < solid.shape.faces; ++k) {
        const cycle q = solid.face(k);
        const bool kept = solid.shape.face[k].size == 3 ? pieces.add_if_large_enough<4>({q[1], q[0], q[2], apex})
                                                        : add_pyramid(q, apex, cuts.find(k), pieces);
        if (!kept)
            return false;
    }
    return true;
}

/// Where the diagonal d of a face of a hexahedron ends that begins at d + 2: there an edge leads to the end 2 - d of
/// the diagonal d of the opposite face, and none to its other end. So equal bits stand for parallel diagonals.
consteval bool equal_bits_are_parallel() {
    const auto joined = [](unsigned a, unsigned b) {
        return std::any_of(hexahedron_record.edge.begin(), hexahedron_record.edge.end(),
                           [=](node_pair e) { return (e[0] == a && e[1] == b) || (e[0] == b && e[1] == a); });
    };
    for (unsigned k = 0; k < 6; k += 2)
        for (unsigned d = 0; d < 2; ++d) {
            const cycle& p = hexahedron_record.face[k].node;
            const cycle& q = hexahedron_record.face[k + 1].node;
            if (!joined(at(p, d + 2), at(q, 2 - d)) || joined(at(p, d + 2), at(q, 4 - d)))
                return false;
        }
    return true;
}
static_assert(equal_bits_are_parallel());

/// Two wedges, on either side of the plane through the diagonals of opposite faces.
bool split_hexahedron(const element& solid, const cut_list& cuts, piece_list& pieces) {
    const cycle p = solid.face(cuts.item[0].face);
    const cycle q = solid.face(cuts.item[1].face);
    const unsigned r = cuts.item[0].bit + 2;
    const unsigned s = 2 - cuts.item[1].bit;
    return pieces.add_if_large_enough<6>(
               {at(p, r), at(p, r + 1), at(p, r + 2), at(q, s), at(q, s - 1), at(q, s - 2)}) &&
           pieces.add_if_large_enough<6>({at(p, r + 2), at(p, r + 3), at(p, r), at(q, s + 2), at(q, s + 1), at(q, s)});
}

/// The place of a node in a list of n, the first one where it is there more than once; n when it is not there.
unsigned place_of(unsigned node, const unsigned* nodes, unsigned n) {
    return static_cast<unsigned>(std::find(nodes, nodes + n, node) - nodes);
}

/// A pyramid on the quadrangle that is not cut, with the node that the two diagonals share as apex, and the
/// tetrahedron that is left.
bool split_wedge(const element& solid, const cut_list& cuts, piece_list& pieces) {
    const auto [first, second] = std::array{cuts.item[0], cuts.item[1]};
    const cycle f = solid.face(first.face);
    const cycle g = solid.face(second.face);
    const std::array<unsigned, 4> ends{at(f, first.bit + 2), at(g, second.bit + 2), at(f, first.bit),
                                       at(g, second.bit)};
    const bool shares_1 = ends[1] == ends[0] || ends[1] == ends[2];
    const bool shares_3 = ends[3] == ends[0] || ends[3] == ends[2];
    if (!shares_1 && !shares_3)
        return false;
    const unsigned apex = shares_1 ? ends[1] : ends[3];

    std::array<unsigned, 4> other{};
    unsigned others = 0;
    for (const unsigned end : ends)
        if (end != apex)
            other[others++] = end;
    if (others != 2) // the element names a node more than once
        return false;

    const cycle base = solid.face(2 + 3 + 4 - first.face - second.face);
    if (!pieces.add_if_large_enough<5>({base[0], base[1], base[2], base[3], apex}))
        return false;
    if (place_of(other[0], base.data(), 4) == (place_of(other[1], base.data(), 4) + 1) % 4)
        std::swap(other[0], other[1]);
    const unsigned opposite = solid.node[(place_of(apex, solid.node, 6) + 3) % 6];
    return pieces.add_if_large_enough<4>({other[1], other[0], apex, opposite});
}

bool are_opposite(unsigned a, unsigned b) {
    return a / 2 == b / 2;
}

/// Cuts an element, in the way that the faces to be cut ask for. False when a piece is too small.
bool split(const element& solid, const cut_list& cuts, dense2D<double>& pos, piece_list& pieces) {
    if (cuts.size == 2) {
        const auto [first, second] = std::array{cuts.item[0], cuts.item[1]};
        if (solid.kind == ET_H8 && are_opposite(first.face, second.face) && first.bit == second.bit)
            return split_hexahedron(solid, cuts, pieces);
        if (solid.kind == ET_W6 && first.bit == (first.face + second.face == 5 ? 1 - second.bit : second.bit))
            return split_wedge(solid, cuts, pieces);
    }
    return split_around_centroid(solid, cuts, pos, pieces);
}

} // namespace

int split_solid_Q4(dense2D<double>& pos, const dense2D<unsigned int>& connectM, const dense2D<unsigned int>& connectQ4,
                   const dense1D<unsigned int, 8>& diagonals, double min_volume, dense1D<unsigned int, 8>& failed,
                   dense2D<unsigned int>& connectOut) {
    // Views of the inputs, which outlast an output that is the same matrix.
    const dense2D<unsigned int> solids = connectM;
    const dense2D<unsigned int> quadrangles = connectQ4;
    const dense1D<unsigned int, 8> bits = diagonals;
    failed.clear();
    connectOut.clear();
    if (solids.cols() == 0)
        return 0;
    const quadrangle_map map(quadrangles, bits);
    connectOut.resize(solids.rows(), 0);
    connectOut.reserve(solids.rows(), solids.cols(), 1);
    for (std::size_t j = 0; j < solids.cols(); ++j) {
        const element solid(solids.col(j));
        const cut_list cuts(solid, map);
        if (cuts.size == 0) {
            connectOut.append(solid.node);
            continue;
        }
        piece_list pieces(pos, min_volume);
        if (split(solid, cuts, pos, pieces))
            pieces.append_to(connectOut);
        else if (j < id_limit) // columns beyond it have no number that could be stored
            failed.push_back(static_cast<unsigned>(j));
    }
    return 0;
}

} // namespace quorl::meldra3d
