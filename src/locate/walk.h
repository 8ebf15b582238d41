#pragma once

#include <cstdint>

#include "locate/tetra_kernels.h"
#include "locate/tetra_mesh.h"

// The stochastic walk (O. Devillers, S. Pion, M. Teillaud, "Walking in a triangulation", 2002): from element to element
// through a face beyond which the point lies. The face is the first in an order that varies at random, so that no cycle
// of elements holds the walk for ever, and it comes from the same numbers each time, so that the walk is the same.
namespace quorl::meldra3d::detail {

/// Draws the face behind which the order of trial begins: two bits at a time of the states of a 32-bit FNV-1a hash.
class face_chooser {
public:
    unsigned draw() {
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

/// Walks from an element towards a point. Steps are counted in `steps`, and as many are allowed as there are elements.
/// On success `element` holds the point within the tolerance (see tetra_exit_face); else it becomes `no_node`.
/// A walk that is given up because the steps are used up counts one more and has left.
inline int walk_to_element(const tetra_mesh& mesh, const point<double>& p, double tolerance, unsigned& element,
                           std::size_t& steps) {
    face_chooser chooser;
    int status = walk_left;
    unsigned at = element;
    element = no_node;
    steps = 0;
    while (at < mesh.elements && steps++ < mesh.elements) {
        const unsigned first = chooser.draw();
        if (!mesh.has_nodes(at)) {
            status = walk_degenerate;
            break;
        }
        const tetrahedron t = tetrahedron_of(mesh.pos, mesh.pos_ld, mesh.nodes_of(at));
        int face = tetra_exit_face(t, p, tolerance, first);
        if (face == point_inside) {
            element = at;
            return walk_found;
        }
        if (face == degenerate_element) {
            status = walk_degenerate;
            break;
        }
        unsigned next = mesh.neighbor(unsigned(face), at);
        // At the boundary the point may still be beyond another face, which another order of trial finds.
        for (unsigned k = 1; k <= 3 && next == no_node; ++k) {
            face = tetra_exit_face(t, p, tolerance, (first + k) % 4);
            next = mesh.neighbor(unsigned(face), at);
        }
        at = next;
    }
    return steps == mesh.elements ? int(walk_at_limit) : status;
}

} // namespace quorl::meldra3d::detail
