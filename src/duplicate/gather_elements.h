#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

#include "frame/hbuckets.h"

namespace quorl::meldra3d::detail {

/// A walk over elements that meets each of them once: those still to be visited, last in, first out, and those that
/// have been met. Both keep their memory for the next walk.
class element_walk {
public:
    /// Forgets everything. Operations return false when there is no memory.
    bool restart() {
        stack_.clear();
        return met_.init(0, fewest_buckets, 1.0);
    }

    /// Notes an element as met. `is_new` tells whether it had not been met before.
    bool meet(unsigned element, bool& is_new) {
        const std::uint64_t before = met_.size();
        const bool done = met_.insert(hash_of(element), element) != nullptr;
        is_new = met_.size() != before;
        return done;
    }

    bool push(unsigned element) { return stack_.push_back(element); }
    bool empty() const { return stack_.empty(); }
    unsigned pop() {
        const unsigned element = stack_[stack_.size() - 1];
        stack_.resize(stack_.size() - 1);
        return element;
    }

private:
    dense1D<unsigned, 8> stack_;
    hbuckets<std::uint32_t> met_;
};

/// The faces of an element through which the gathering goes on, in this order.
struct crossed_faces {
    unsigned count = 0;
    std::array<unsigned, 6> face{};
};

/// The elements around a node, in depth-first order from one of them.
struct gathered_elements {
    dense1D<unsigned, 8> elements;
    bool closed; ///< false when a boundary face was among those crossed
};

/// Gathers the elements that are reached from `start` across faces. crossed(element, faces) fills in the faces of an
/// element that hold the node, and returns false to end the gathering before that element.
/// Returns 0, -1 when `crossed` ended it, -199 when there was no memory.
template <class Crossed>
int gather_elements(unsigned start, const dense2D<unsigned int>& neighbors, const Crossed& crossed, element_walk& walk,
                    gathered_elements& around) {
    constexpr int no_memory = -199;
    around.elements.clear();
    around.closed = true;
    bool is_new = false;
    if (!walk.restart() || !walk.meet(start, is_new) || !walk.push(start))
        return no_memory;
    while (!walk.empty()) {
        const unsigned element = walk.pop();
        crossed_faces faces;
        if (!crossed(element, faces))
            return -1;
        if (!around.elements.push_back(element))
            return no_memory;
        for (unsigned k = 0; k < faces.count; ++k) {
            const unsigned next = neighbors(faces.face[k], element);
            if (next == no_node) {
                around.closed = false;
                continue;
            }
            if (!walk.meet(next, is_new) || (is_new && !walk.push(next)))
                return no_memory;
        }
    }
    return 0;
}

} // namespace quorl::meldra3d::detail
