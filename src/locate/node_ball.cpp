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

} // namespace quorl::meldra3d::detail
