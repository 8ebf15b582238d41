#pragma once

#include <cstdint>

#include "frame/quickest.h"
#include "locate/tetra_kernels.h"
#include "locate/tetra_mesh.h"

// The stochastic walk (O. Devillers, S. Pion, M. Teillaud, "Walking in a triangulation", 2002): from element to element
// through a face beyond which the point lies. The face is the first in an order that varies at random, so that no cycle
// of elements holds the walk for ever, and it comes from the same numbers each time, so that the walk is the same.
namespace quorl::meldra3d::detail {

/// Draws the face behind which the order of trial begins: two bits at a time of the states of a 32-bit FNV-1a hash.
class face_chooser {
public:
    [[gnu::always_inline]] unsigned draw() {
        if (draws_left_ == 0) {
            state_ = (state_ ^ 0x811C9DC5u) * 16777619u;
            bits_ = state_;
            draws_left_ = 16;
        }
        const unsigned face = bits_ & 3;
        bits_ >>= 2;
        --draws_left_;
        return face;
    }

private:
    std::uint32_t state_ = 1;
    std::uint32_t bits_ = 0;
    unsigned draws_left_ = 0;
};

enum walk_status : int {
    walk_found = 1,
    walk_left = 0,        // through the boundary, or given up
    walk_degenerate = -1, // an element without a positive, finite volume was met
    walk_at_limit = -2    // the last step allowed was one of these two
};

/// A walk from an element towards a point, step by step. As many steps are allowed as there are elements.
class walk {
public:
    walk() = default;
    walk(const point<double>& p, double tolerance, unsigned element)
        : p_(p), tolerance_(tolerance), element_(element) {}

    const point<double>& target() const { return p_; }

    /// Once the walk has ended: its status, and the element that holds the point within the tolerance (see sides_of) if
    /// there is one, else `no_node`.
    int status() const { return status_; }
    unsigned element() const { return element_; }
    /// Steps taken; one more when the walk was given up because they were used up.
    std::size_t steps() const { return steps_; }

    /// The element of the next step.
    unsigned next_element() const { return element_; }

    /// What an element is to the point. One that lacks nodes is degenerate.
    [[gnu::always_inline]] tetra_sides sides(const tetra_mesh& mesh, unsigned element) const {
        return mesh.has_nodes(element) ? sides_of(mesh.element(element), p_, tolerance_) : tetra_sides{true, 0};
    }

    /// Makes one step. False when the walk has ended.
    [[gnu::always_inline]] bool step(const tetra_mesh& mesh) {
        return step(
            mesh, [&](unsigned element) __attribute__((always_inline)) { return sides(mesh, element); });
    }

    /// The same where sides_at(element) is known to the caller.
    template <class SidesAt>
    [[gnu::always_inline]] bool step(const tetra_mesh& mesh, const SidesAt& sides_at) {
        if (element_ >= mesh.elements || steps_++ >= mesh.elements)
            return end(mesh, walk_left);
        const unsigned first = chooser_.draw();
        const tetra_sides sides = sides_at(element_);
        const int face = tetra_exit_face(sides, first);
        if (face == point_inside) {
            status_ = walk_found;
            return false;
        }
        if (face == degenerate_element)
            return end(mesh, walk_degenerate);
        unsigned next = mesh.neighbor(unsigned(face), element_);
        // At the boundary the point may still be beyond another face, which another order of trial finds.
        for (unsigned k = 1; k <= 3 && next == no_node; ++k)
            next = mesh.neighbor(unsigned(tetra_exit_face(sides, (first + k) % 4)), element_);
        element_ = next;
        return next != no_node || end(mesh, walk_left);
    }

private:
    bool end(const tetra_mesh& mesh, int status) {
        status_ = steps_ == mesh.elements ? int(walk_at_limit) : status;
        element_ = no_node;
        return false;
    }

    point<double> p_{};
    double tolerance_ = 0;
    std::size_t steps_ = 0;
    unsigned element_ = no_node;
    int status_ = walk_left;
    face_chooser chooser_;
};

/// Walks to the end.
inline void finish(walk& w, const tetra_mesh& mesh) {
    quickest([&]() __attribute__((always_inline)) {
        walk copy = w;
        while (copy.step(mesh)) {
        }
        w = copy;
    });
}

} // namespace quorl::meldra3d::detail
