// Opens a mesh along a surface: each node of the surface gets a copy, which the elements on one side of the surface
// around it take. Those are found by a walk around the node that never crosses the surface, from the element that has
// the face in the direction of that side. All is read from the connectivity as given and written to a copy of it, so
// that nodes can be handled in any order, and each for both sides together, once the copies are numbered.

#include <meldra3d/duplicate.h>

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <utility>

#include <meldra/meldra.h>

#include "duplicate/element_walk.h"
#include "duplicate/node_balls.h"
#include "duplicate/solid_elements.h"
#include "frame/element_tables.h"
#include "frame/hbuckets.h"
#include "frame/id_count.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr int no_memory = -199;

/// The surface type that goes with a type of solids; ET_NONE where there is none.
constexpr element_type surface_of(element_type solids) {
    switch (solids) {
    case ET_TH4:
        return ET_T3;
    case ET_H8:
        return ET_Q4;
    case ET_SOLID_MIX:
        return ET_FACE_MIX;
    default:
        return ET_NONE;
    }
}

struct opening_inputs {
    dense2D<unsigned int> connectM;
    dense2D<unsigned int> neighbors;
    dense1D<unsigned int, 8> ancestors;
    dense2D<unsigned int> connectS;
    dense1D<unsigned int, 8> excluded_nodes;
    element_type type;
};

int check(const dense2D<double>& pos, const opening_inputs& in) {
    if (pos.rows() != 3)
        return -1;
    const unsigned nodes = id_count(pos.cols());
    if (!meldra::check_IDs(in.connectM, in.type, nodes))
        return -2;
    if (in.neighbors.cols() != in.connectM.cols() || in.neighbors.rows() != find_record(in.type)->faces ||
        !meldra::check_IDs(in.neighbors, id_count(in.connectM.cols())))
        return -3;
    if (!meldra::check_IDs(in.connectM, id_count(in.ancestors.size())))
        return -4;
    const element_type surface = surface_of(in.type);
    if (surface == ET_NONE)
        return -9;
    return meldra::check_IDs(in.connectS, surface, nodes) ? 0 : -5;
}

using face = elfes::face_mix;

/// True when two faces are the same cycle in the same direction.
bool runs_like(const face& x, const face& y) {
    const unsigned n = x.is_triangle() ? 3 : 4;
    if (x.is_triangle() != y.is_triangle())
        return false;
    for (unsigned start = 0; start < n; ++start) {
        unsigned same = 0;
        while (same < n && x.id[same] == y.id[(start + same) % n])
            ++same;
        if (same == n)
            return true;
    }
    return false;
}

/// Tells of most faces outside a set that they are not in it, without a look at the set: a bit for the hash of each
/// face (Bloom 1970), 16 bits for each face on the average.
class face_filter {
public:
    bool init(std::size_t faces) {
        std::size_t words = 1;
        shift_ = 64;
        for (; words < faces / 4; words *= 2)
            --shift_;
        return bits_.resize(words, 0);
    }
    void enter(std::uint64_t hash) { bits_[word(hash)] |= bit(hash); }
    bool may_hold(std::uint64_t hash) const { return (bits_[word(hash)] & bit(hash)) != 0; }

private:
    static std::uint64_t scattered(std::uint64_t hash) { return hash * 0x9E3779B97F4A7C15; }
    std::size_t word(std::uint64_t hash) const { return shift_ == 64 ? 0 : std::size_t(scattered(hash) >> shift_); }
    static std::uint64_t bit(std::uint64_t hash) { return std::uint64_t(1) << (scattered(hash) & 63); }

    dense1D<std::uint64_t, 8> bits_;
    unsigned shift_ = 64;
};

enum side : unsigned { plus, minus };

enum class outcome { done, refused, out_of_memory };

/// A node of the surface, and where each side meets it first.
struct opened_node {
    unsigned id;
    std::array<unsigned, 2> copy;   ///< of each side, or `no_node`
    std::array<unsigned, 2> column; ///< of the surface
};

class surface_opening {
public:
    surface_opening(dense2D<double>& pos, const opening_inputs& in)
        : pos_(pos), connect_(in.connectM), ancestors_(in.ancestors), surface_(in.connectS),
          excluded_(in.excluded_nodes), mesh_(in.connectM, in.neighbors) {}

    /// Finds the faces and the nodes to be copied, and makes room for the copies. False without memory.
    bool prepare(bool plus_side, bool minus_side) {
        return enter_faces() && enter_nodes() &&
               reserve(nodes_.size() * (std::size_t(plus_side) + std::size_t(minus_side))) &&
               (!plus_side || number_copies(plus)) && (!minus_side || number_copies(minus)) && working_.copy(connect_);
    }

    /// Gives the copies to the elements, some nodes at a time.
    outcome open() {
        std::array<node_balls::start, node_balls::most> starts;
        for (std::size_t first = 0; first < opened_.size(); first += starts.size()) {
            const std::size_t count = std::min(starts.size(), opened_.size() - first);
            for (std::size_t k = 0; k < count; ++k) {
                const unsigned node = opened_[first + k].id;
                expect_start(first + k);
                starts[k] = {node, start_of(node)};
                if (starts[k].element >= mesh_.count() || mesh_.places_of(node, starts[k].element) == 0)
                    return outcome::refused;
            }
            if (!balls_.gather(mesh_, starts.data(), count))
                return outcome::out_of_memory;
            for (std::size_t k = 0; k < count; ++k)
                for (const unsigned element : balls_[k])
                    __builtin_prefetch(working_.col(element), 1);
            for (std::size_t k = 0; k < count; ++k)
                for (const side s : {plus, minus})
                    if (opened_[first + k].copy[s] != no_node && !open_side(opened_[first + k], s, balls_[k]))
                        return outcome::out_of_memory;
        }
        return outcome::done;
    }

    /// Appends the copies to the coordinates, for which there is room. Returns their number.
    int append_copies() {
        pos_.resize(3, pos_.cols() + copies_);
        for (const opened_node& node : opened_)
            for (const unsigned copy : node.copy)
                if (copy != no_node)
                    std::copy_n(pos_.col(node.id), 3, pos_.col(copy));
        return static_cast<int>(copies_);
    }

    dense2D<unsigned int>& connectivity() { return working_; }

private:
    /// A surface element, with its first and third node exchanged for the minus side.
    face surface_face(std::size_t j, side which) const {
        const unsigned* const column = surface_.col(j);
        face nodes{{column[0], column[1], column[2], surface_.rows() == 4 ? column[3] : no_node}};
        if (which == minus)
            std::swap(nodes.id[0], nodes.id[2]);
        return nodes;
    }

    bool enter_faces() {
        if (!faces_.init(surface_.cols(), fewest_buckets, 1.0) || !filter_.init(surface_.cols()))
            return false;
        for (std::size_t j = 0; j < surface_.cols(); ++j) {
            const face nodes = surface_face(j, plus);
            filter_.enter(nodes.hash());
            if (!faces_.insert(nodes.hash(), nodes))
                return false;
        }
        return true;
    }

    bool enter_nodes() {
        if (!nodes_.init(surface_.cols(), fewest_buckets, 1.0))
            return false;
        for (std::size_t j = 0; j < surface_.cols(); ++j)
            for (const unsigned id : surface_face(j, plus).id)
                if (id != no_node && !nodes_.insert(hash_of(id), {id, no_node}))
                    return false;
        for (const unsigned id : excluded_)
            if (const std::uint64_t place = nodes_.find(hash_of(id), id); place != nodes_.used_length())
                nodes_.vacate(place);
        return true;
    }

    /// False as well when the new nodes could not be numbered or their number not be returned.
    bool reserve(std::uint64_t copies) {
        return copies <= std::uint64_t(std::numeric_limits<int>::max()) && pos_.cols() + copies <= id_limit &&
               pos_.reserve(3, pos_.cols() + copies, 1);
    }

    /// Numbers the copies for one side, in the order in which its faces meet the nodes.
    bool number_copies(side which) {
        for (std::size_t j = 0; j < surface_.cols(); ++j)
            for (const unsigned id : surface_face(j, which).id) {
                const std::uint64_t place = id == no_node ? nodes_.used_length() : nodes_.find(hash_of(id), id);
                if (place == nodes_.used_length())
                    continue;
                unsigned& index = nodes_.value(place).payload;
                if (index == no_node) {
                    index = static_cast<unsigned>(opened_.size());
                    if (!opened_.push_back({id, {no_node, no_node}, {}}))
                        return false;
                }
                opened_node& node = opened_[index];
                if (node.copy[which] == no_node) {
                    node.copy[which] = static_cast<unsigned>(pos_.cols() + copies_++);
                    node.column[which] = static_cast<unsigned>(j);
                }
            }
        return true;
    }

    unsigned start_of(unsigned node) const { return node < ancestors_.size() ? ancestors_[node] : no_node; }

    /// Fetches what the nodes of the next turns begin with.
    [[gnu::always_inline]] void expect_start(std::size_t k) const {
        if (k + 2 * node_balls::most < opened_.size())
            __builtin_prefetch(ancestors_.data() + opened_[k + 2 * node_balls::most].id);
        if (k + node_balls::most < opened_.size())
            if (const unsigned start = start_of(opened_[k + node_balls::most].id); start < mesh_.count()) {
                mesh_.prefetch_nodes(start);
                mesh_.prefetch_neighbors(start);
            }
    }

    /// True when an element has a face that runs like the given one.
    bool has_face(unsigned element, const face& oriented) const {
        unsigned shared = 0;
        for (const unsigned id : oriented.id)
            shared |= id == no_node ? 0 : mesh_.places_of(id, element);
        const solid_kind& kind = mesh_.kind(element);
        for (unsigned f = 0; f < kind.shape->faces; ++f)
            if ((kind.corners[f] & ~shared) == 0 && runs_like(oriented, mesh_.face(element, kind.shape->face[f])))
                return true;
        return false;
    }

    bool on_surface(const face& nodes) const {
        const std::uint64_t hash = nodes.hash();
        return filter_.may_hold(hash) && faces_.find(hash, nodes) != faces_.used_length();
    }

    /// Gives a copy to the elements around its node that are reached, from the one behind the face, without crossing
    /// the surface. An element counts as met when it is first looked at, be it across the surface: then it stays out.
    bool open_side(const opened_node& node, side which, const dense1D<unsigned, 8>& around) {
        const face oriented = surface_face(node.column[which], which);
        const auto* const start =
            std::find_if(around.begin(), around.end(), [&](unsigned element) { return has_face(element, oriented); });
        if (start == around.end())
            return true;
        if (!walk_.begin(*start))
            return false;
        while (!walk_.empty()) {
            const unsigned element = walk_.pop();
            give(element, node.id, node.copy[which]);
            if (!meet_neighbors(element, node.id))
                return false;
        }
        return true;
    }

    /// Puts the copy in the first place of the node. An element that the other side has reached, too, may no longer
    /// hold the node.
    void give(unsigned element, unsigned node, unsigned copy) {
        unsigned* const column = working_.col(element);
        for (unsigned places = mesh_.places_of(node, element); places != 0; places &= places - 1)
            if (unsigned& id = column[std::countr_zero(places)]; id == node) {
                id = copy;
                return;
            }
    }

    bool meet_neighbors(unsigned element, unsigned node) {
        const shape_record& shape = *mesh_.kind(element).shape;
        for (unsigned f = 0; f < shape.faces; ++f) {
            const unsigned next = mesh_.neighbors(element)[f];
            bool is_new = false;
            if (next == no_node)
                continue;
            if (!walk_.meet(next, is_new))
                return false;
            if (!is_new || mesh_.places_of(node, next) == 0)
                continue;
            if (!on_surface(mesh_.face(element, shape.face[f])) && !walk_.push(next))
                return false;
        }
        return true;
    }

    dense2D<double>& pos_;
    const dense2D<unsigned int>& connect_;
    const dense1D<unsigned int, 8>& ancestors_;
    const dense2D<unsigned int>& surface_;
    const dense1D<unsigned int, 8>& excluded_;
    const solid_elements mesh_;
    hbuckets<face> faces_;
    face_filter filter_;
    hbuckets<keyed<std::uint32_t, unsigned>> nodes_; ///< with their places in `opened_`
    dense1D<opened_node, 8> opened_;
    std::size_t copies_ = 0;
    dense2D<unsigned int> working_;
    node_balls balls_;
    element_walk walk_;
};

} // namespace

int duplicate_surface_nodes(dense2D<double>& pos, dense2D<unsigned int>& connectM,
                            const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                            const dense2D<unsigned int>& connectS, const dense1D<unsigned int, 8>& excluded_nodes,
                            bool plus_side, bool minus_side, element_type type) {
    if (connectM.empty() || connectS.empty() || (!plus_side && !minus_side))
        return 0;
    const opening_inputs in{connectM, neighbors, ancestors, connectS, excluded_nodes, type};
    if (const int status = check(pos, in); status != 0)
        return status;
    surface_opening opening(pos, in);
    if (!opening.prepare(plus_side, minus_side))
        return no_memory;
    if (const outcome result = opening.open(); result != outcome::done)
        return result == outcome::refused ? 0 : no_memory;
    connectM = std::move(opening.connectivity());
    return opening.append_copies();
}

} // namespace quorl::meldra3d
