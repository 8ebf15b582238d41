#pragma once

#include <numcore/numcore.h>

#include "locate/tetra_mesh.h"

namespace quorl::meldra3d::detail {

/// The elements around a node, one after another: from a first one on, depth first through the faces that hold the
/// node. An element that does not hold it is passed through all its faces. The working memory, 4 bytes for each element
/// of the mesh, is kept from one ball to the next.
class node_ball {
public:
    enum class outcome {
        element,      // there is one more
        end,          // there are no more
        stopped,      // an element has the node in all four places
        out_of_memory // or there was none
    };

    /// Begins anew. Without a node (`no_node`) the ball is empty. False when memory ran out.
    bool begin(const tetra_mesh& mesh, unsigned node, unsigned first_element);

    outcome next(const tetra_mesh& mesh, unsigned& element);

    /// False once a face at the node has been without a neighbour.
    bool closed() const { return closed_; }

private:
    bool visit(unsigned element);

    unsigned node_ = no_node;
    bool closed_ = true;
    unsigned number_ = 0;          // of the ball
    dense1D<unsigned, 8> visited_; // for each element, the last ball that has had it
    dense1D<unsigned, 8> waiting_; // a stack
};

} // namespace quorl::meldra3d::detail
