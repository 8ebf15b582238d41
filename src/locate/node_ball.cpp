#include "locate/node_ball.h"

#include <algorithm>

namespace quorl::meldra3d::detail {

bool node_ball::begin(const tetra_mesh& mesh, unsigned node, unsigned first_element) {
    node_ = node;
    closed_ = true;
    waiting_.clear();
    if (node == no_node || first_element >= mesh.elements)
        return true;
    if (visited_.size() != mesh.elements || ++number_ == 0) {
        visited_.clear();
        if (!visited_.resize(mesh.elements, 0))
            return false;
        number_ = 1;
    }
    return visit(first_element);
}

bool node_ball::visit(unsigned element) {
    if (visited_[element] == number_)
        return true;
    visited_[element] = number_;
    return waiting_.push_back(element);
}

node_ball::outcome node_ball::next(const tetra_mesh& mesh, unsigned& element) {
    if (waiting_.empty())
        return outcome::end;
    element = waiting_[waiting_.size() - 1];
    waiting_.resize(waiting_.size() - 1); // a shorter list never needs memory
    const unsigned* const nodes = mesh.nodes_of(element);
    if (std::all_of(nodes, nodes + 4, [this](unsigned n) { return n == node_; }))
        return outcome::stopped;
    for (unsigned k = 4; k-- > 0;) {
        if (nodes[k] == node_)
            continue;
        const unsigned across = mesh.neighbor(k, element);
        if (across == no_node)
            closed_ = false;
        else if (!visit(across))
            return outcome::out_of_memory;
    }
    return outcome::element;
}

int gather_node_ball(const tetra_mesh& mesh, unsigned node, unsigned first_element, node_ball& ball,
                     dense1D<unsigned, 8>& elements, bool& closed) {
    elements.clear();
    closed = true;
    if (!ball.begin(mesh, node, first_element))
        return -199;
    for (unsigned element = no_node;;) {
        const node_ball::outcome got = ball.next(mesh, element);
        closed = ball.closed();
        if (got == node_ball::outcome::element && elements.push_back(element))
            continue;
        return got == node_ball::outcome::end ? 0 : got == node_ball::outcome::stopped ? -1 : -199;
    }
}

} // namespace quorl::meldra3d::detail
