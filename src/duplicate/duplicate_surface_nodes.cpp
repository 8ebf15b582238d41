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

#include "duplicate/node_stars.h"
#include "duplicate/solid_elements.h"
#include "frame/element_tables.h"
#include "frame/hbuckets.h"
#include "frame/id_count.h"
#include "frame/max_node_id.h"
#include "frame/morton_order.h"
#include "locate/element_search.h"

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
    // Where each node of `pos` has an ancestor, so has each node of the mesh.
    if (in.ancestors.size() < nodes && !meldra::check_IDs(in.connectM, id_count(in.ancestors.size())))
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
               reserve(copied_ * (std::size_t(plus_side) + std::size_t(minus_side))) &&
               (!plus_side || number_copies(plus)) && (!minus_side || number_copies(minus)) && order_nodes() &&
               working_.copy(connect_);
    }

    /// Gives the copies to the elements, some nodes at a time.
    outcome open() {
        std::array<node_stars::start, node_stars::most> starts;
        for (std::size_t first = 0; first < opened_.size(); first += starts.size()) {
            const std::size_t count = std::min(starts.size(), opened_.size() - first);
            for (std::size_t k = 0; k < count; ++k) {
                const unsigned node = opened_[first + k].id;
                expect_start(first + k);
                starts[k] = {node, start_of(node)};
                if (starts[k].element >= mesh_.count() || mesh_.places_of(node, starts[k].element) == 0)
                    return outcome::refused;
            }
            if (!stars_.gather(mesh_, starts.data(), count))
                return outcome::out_of_memory;
            for (std::size_t k = 0; k < count; ++k)
                for (unsigned m = 0; m < stars_[k].size; ++m)
                    __builtin_prefetch(working_.col(stars_[k].members()[m].element), 1);
            for (std::size_t k = 0; k < count; ++k)
                for (const side s : {plus, minus})
                    if (opened_[first + k].copy[s] != no_node && !open_side(opened_[first + k], s, stars_[k]))
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
    static constexpr unsigned unplaced = no_node - 1;

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

    /// Marks the nodes to be copied and counts them. An array of all nodes up to the last of the surface: to fill it
    /// is little beside the checks of the mesh, and a table would be asked for each node of each face.
    bool enter_nodes() {
        if (!place_.resize(std::size_t(largest_id(surface_).value_or(0)) + 1, no_node))
            return false;
        for (std::size_t j = 0; j < surface_.cols(); ++j)
            for (const unsigned id : surface_face(j, plus).id)
                if (id != no_node && std::exchange(place_[id], unplaced) == no_node)
                    ++copied_;
        for (const unsigned id : excluded_)
            if (id < place_.size() && std::exchange(place_[id], no_node) != no_node)
                --copied_;
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
                if (id == no_node || place_[id] == no_node)
                    continue;
                if (place_[id] == unplaced) {
                    place_[id] = static_cast<unsigned>(opened_.size());
                    if (!opened_.push_back({id, {no_node, no_node}, {}}))
                        return false;
                }
                opened_node& node = opened_[place_[id]];
                if (node.copy[which] == no_node) {
                    node.copy[which] = static_cast<unsigned>(pos_.cols() + copies_++);
                    node.column[which] = static_cast<unsigned>(j);
                }
            }
        return true;
    }

    /// Sorts the nodes by their places, so that neighbours find the elements that they share in the cache.
    bool order_nodes() {
        dense1D<morton_key, 8> keys, work;
        dense1D<opened_node, 8> ordered;
        if (!keys.resize(opened_.size()) || !ordered.resize(opened_.size()))
            return false;
        for (std::size_t k = 0; k < opened_.size(); ++k)
            keys[k] = opened_[k].id;
        if (!order_points(pos_.data(), pos_.ld(), keys, work))
            return false;
        for (std::size_t k = 0; k < opened_.size(); ++k)
            ordered[k] = opened_[place_[number_of(keys[k])]];
        opened_ = std::move(ordered);
        return true;
    }

    unsigned start_of(unsigned node) const { return node < ancestors_.size() ? ancestors_[node] : no_node; }

    /// Fetches what the nodes of the next turns begin with.
    [[gnu::always_inline]] void expect_start(std::size_t k) const {
        if (k + 2 * node_stars::most < opened_.size())
            __builtin_prefetch(ancestors_.data() + opened_[k + 2 * node_stars::most].id);
        if (k + node_stars::most < opened_.size())
            if (const unsigned start = start_of(opened_[k + node_stars::most].id); start < mesh_.count()) {
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
    bool open_side(const opened_node& node, side which, node_star& star) {
        const face oriented = surface_face(node.column[which], which);
        unsigned* const last = star.order() + star.reached;
        unsigned* const start = std::find_if(
            star.order(), last, [&](unsigned number) { return has_face(star.members()[number].element, oriented); });
        if (start == last)
            return true;
        if (!met_.resize(std::max<std::size_t>(met_.size(), star.size)))
            return false;
        const node_star::member* const members = star.members();
        bool* const met = met_.data();
        std::fill_n(met, star.size, false);
        met[*start] = true;
        star.stack()[star.waiting++] = *start;
        while (star.waiting != 0) {
            const node_star::member& here = members[star.stack()[--star.waiting]];
            give(here, node.id, node.copy[which]);
            const shape_record& shape = *mesh_.kind(here.element).shape;
            for (unsigned f = 0; f < shape.faces; ++f) {
                const unsigned next = here.next[f];
                if (next == node_star::outside || std::exchange(met[next], true) || members[next].places == 0)
                    continue;
                if (!on_surface(mesh_.face(here.element, shape.face[f])))
                    star.stack()[star.waiting++] = next;
            }
        }
        return true;
    }

    /// Puts the copy in the first place of the node. An element that the other side has reached, too, may no longer
    /// hold the node.
    void give(const node_star::member& to, unsigned node, unsigned copy) {
        unsigned* const column = working_.col(to.element);
        for (unsigned places = to.places; places != 0; places &= places - 1)
            if (unsigned& id = column[std::countr_zero(places)]; id == node) {
                id = copy;
                return;
            }
    }

    dense2D<double>& pos_;
    const dense2D<unsigned int>& connect_;
    const dense1D<unsigned int, 8>& ancestors_;
    const dense2D<unsigned int>& surface_;
    const dense1D<unsigned int, 8>& excluded_;
    const solid_elements mesh_;
    hbuckets<face> faces_;
    face_filter filter_;
    /// Of each node in `opened_`: `no_node` when it is not copied, `unplaced` before it is met.
    dense1D<unsigned, 8> place_;
    std::size_t copied_ = 0; ///< number of nodes that are
    dense1D<opened_node, 8> opened_;
    std::size_t copies_ = 0;
    dense2D<unsigned int> working_;
    node_stars stars_;
    dense1D<bool, 8> met_; ///< of the members of a star
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
