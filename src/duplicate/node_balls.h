#pragma once

#include <array>
#include <cstddef>

#include "duplicate/element_walk.h"
#include "duplicate/solid_elements.h"

namespace quorl::meldra3d::detail {

/// The elements around a few nodes. The walks from one element to the next are bound by the latency of memory where a
/// mesh has no order, so those of several nodes take turns: while one waits for an element the others go on.
class node_balls {
public:
    static constexpr std::size_t most = 8;

    struct start {
        unsigned node;
        unsigned element; ///< holds the node
    };

    /// Gathers the balls of `count` nodes. False when there is no memory.
    bool gather(const solid_elements& mesh, const start* starts, std::size_t count) {
        for (std::size_t k = 0; k < count; ++k) {
            balls_[k].node = starts[k].node;
            balls_[k].elements.clear();
            if (!balls_[k].walk.begin(starts[k].element))
                return false;
        }
        for (bool walking = true; walking;) {
            walking = false;
            for (std::size_t k = 0; k < count; ++k) {
                if (balls_[k].walk.empty())
                    continue;
                walking = true;
                if (!visit_next(mesh, balls_[k]))
                    return false;
            }
        }
        return true;
    }

    /// The elements around the k-th node, in depth-first order from the one that was given.
    const dense1D<unsigned, 8>& operator[](std::size_t k) const { return balls_[k].elements; }

private:
    struct ball {
        unsigned node;
        element_walk walk;
        dense1D<unsigned, 8> elements;
    };

    /// Goes on through the faces that hold the node, the last of them pushed first.
    static bool visit_next(const solid_elements& mesh, ball& around) {
        const unsigned element = around.walk.pop();
        const unsigned places = mesh.places_of(around.node, element);
        const solid_kind& kind = mesh.kind(element);
        for (unsigned f = kind.shape->faces; f-- > 0;) {
            const unsigned next = mesh.neighbors(element)[f];
            if (next == no_node)
                continue;
            mesh.prefetch_nodes(next); // behind the other faces, too: whether it holds the node will be asked
            bool is_new = false;
            if ((places & kind.corners[f]) == 0)
                continue;
            if (!around.walk.meet(next, is_new) || (is_new && !around.walk.push(next)))
                return false;
            if (is_new)
                mesh.prefetch_neighbors(next);
        }
        return around.elements.push_back(element);
    }

    std::array<ball, most> balls_{};
};

} // namespace quorl::meldra3d::detail
