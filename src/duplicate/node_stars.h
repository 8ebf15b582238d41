#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "duplicate/solid_elements.h"

namespace quorl::meldra3d::detail {

/// The elements around a node as a graph: numbered from 0 on in the order in which they are met, each with its
/// neighbours. The memory is kept for the next node.
class node_star {
public:
    static constexpr unsigned outside = no_node;
    static constexpr std::array<unsigned, 6> alone{outside, outside, outside, outside, outside, outside};

    struct member {
        unsigned element;
        unsigned places;              ///< of the node, as a set; empty where an element does not hold it
        unsigned unseen;              ///< faces behind which nobody has looked yet, as a set
        std::array<unsigned, 6> next; ///< the member across each face, or `outside`
    };

    /// Empty, for another node.
    void begin(unsigned of) {
        node = of;
        size = reached = waiting = 0;
        if (++round_ == 0) {
            round_ = 1;
            std::fill(places_.begin(), places_.end(), place{0, 0, 0});
        }
    }

    /// The number of an element. It is `size - 1` and `is_new` where the element had not been met. False when there is
    /// no memory.
    bool meet(unsigned element, unsigned& number, bool& is_new) {
        if (size == members_.size() && !grow())
            return false;
        number = enter(element, size);
        is_new = number == size;
        if (is_new)
            members_.data()[size++] = {element, 0, 0, alone};
        return true;
    }

    member* members() { return members_.data(); }
    unsigned* order() { return order_.data(); } ///< room for each member
    unsigned* stack() { return stack_.data(); } ///< likewise

    unsigned node = no_node;
    unsigned size = 0;    ///< of the members
    unsigned reached = 0; ///< of `order`: those reached through faces that hold the node, in depth-first order
    unsigned waiting = 0; ///< of `stack`

private:
    /// Of a table by open addressing with linear probing over multiplicative hashing (Knuth, The Art of Computer
    /// Programming 3, section 6.4). It counts as free unless it was taken in the present round.
    struct place {
        unsigned element;
        unsigned number;
        unsigned round;
    };

    unsigned enter(unsigned element, unsigned number) {
        place* const places = places_.data();
        const std::size_t last = places_.size() - 1;
        std::size_t at = std::size_t((element * std::uint64_t(0x9E3779B97F4A7C15)) >> shift_);
        for (; places[at].round == round_; at = (at + 1) & last)
            if (places[at].element == element)
                return places[at].number;
        places[at] = {element, number, round_};
        return number;
    }

    /// Twice as much room; the table has two places for each member.
    bool grow() {
        const std::size_t room = members_.empty() ? 64 : 2 * members_.size();
        dense1D<place, 8> places;
        if (!places.resize(2 * room, place{0, 0, 0}) || !members_.resize(room) || !order_.resize(room) ||
            !stack_.resize(room))
            return false;
        places_ = std::move(places);
        for (shift_ = 63; room >> (64 - shift_) != 0;)
            --shift_;
        round_ = 1;
        for (unsigned k = 0; k < size; ++k)
            enter(members_[k].element, k);
        return true;
    }

    dense1D<member, 8> members_;
    dense1D<unsigned, 8> order_;
    dense1D<unsigned, 8> stack_;
    dense1D<place, 8> places_;
    unsigned round_ = 0;
    unsigned shift_ = 64; // leaves the number of a place
};

/// The stars of a few nodes. The walks from one element to the next are bound by the latency of memory where a mesh has
/// no order, so those of several nodes take turns: while one waits for an element the others go on.
class node_stars {
public:
    static constexpr std::size_t most = 8;

    struct start {
        unsigned node;
        unsigned element; ///< holds the node
    };

    /// Gathers the stars of `count` nodes. False when there is no memory.
    bool gather(const solid_elements& mesh, const start* starts, std::size_t count) {
        for (std::size_t k = 0; k < count; ++k) {
            unsigned first = 0;
            bool is_new = false;
            stars_[k].begin(starts[k].node);
            if (!stars_[k].meet(starts[k].element, first, is_new))
                return false;
            stars_[k].stack()[stars_[k].waiting++] = first;
        }
        for (bool walking = true; walking;) {
            walking = false;
            for (std::size_t k = 0; k < count; ++k) {
                if (stars_[k].waiting == 0)
                    continue;
                walking = true;
                if (!visit_next(mesh, stars_[k]))
                    return false;
            }
        }
        for (std::size_t k = 0; k < count; ++k)
            if (!close(mesh, stars_[k]))
                return false;
        return true;
    }

    node_star& operator[](std::size_t k) { return stars_[k]; }

private:
    /// Goes on through the faces that hold the node, the last of them pushed first.
    static bool visit_next(const solid_elements& mesh, node_star& star) {
        const unsigned number = star.stack()[--star.waiting];
        const unsigned element = star.members()[number].element;
        const unsigned places = mesh.places_of(star.node, element);
        const solid_kind& kind = mesh.kind(element);
        const unsigned* const neighbors = mesh.neighbors(element);
        for (unsigned f = 0; f < kind.shape->faces; ++f)
            if (neighbors[f] != no_node) // behind the other faces, too: whether it holds the node will be asked
                mesh.prefetch_nodes(neighbors[f]);
        const unsigned with_node = kind.faces_with(places);
        std::array<unsigned, 6> known = node_star::alone;
        for (unsigned faces = with_node; faces != 0;) {
            const auto f = static_cast<unsigned>(std::bit_width(faces) - 1);
            faces ^= 1u << f;
            bool is_new = false;
            if (neighbors[f] == no_node)
                continue;
            if (!star.meet(neighbors[f], known[f], is_new))
                return false;
            if (is_new) {
                star.stack()[star.waiting++] = known[f];
                mesh.prefetch_neighbors(neighbors[f]);
            }
        }
        star.members()[number] = {element, places, places == 0 ? 0 : kind.all_faces() & ~with_node, known};
        star.order()[star.reached++] = number;
        return true;
    }

    /// Looks behind the faces that do not hold the node. What lies there does not hold it either, but in a mesh that is
    /// pinched or has wrong neighbours.
    static bool close(const solid_elements& mesh, node_star& star) {
        for (unsigned number = 0; number < star.size; ++number) {
            const unsigned* const neighbors = mesh.neighbors(star.members()[number].element);
            for (unsigned unseen = star.members()[number].unseen; unseen != 0; unseen &= unseen - 1) {
                const auto f = static_cast<unsigned>(std::countr_zero(unseen));
                unsigned there = node_star::outside;
                if (!find_behind(mesh, star, neighbors[f], there))
                    return false;
                star.members()[number].next[f] = there;
            }
        }
        return true;
    }

    static bool find_behind(const solid_elements& mesh, node_star& star, unsigned next, unsigned& there) {
        const unsigned places = next == no_node ? 0 : mesh.places_of(star.node, next);
        bool is_new = false;
        if (places == 0)
            return true;
        if (!star.meet(next, there, is_new))
            return false;
        if (is_new) {
            star.members()[there].places = places;
            star.members()[there].unseen = mesh.kind(next).all_faces();
        }
        return true;
    }

    std::array<node_star, most> stars_{};
};

} // namespace quorl::meldra3d::detail
