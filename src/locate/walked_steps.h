#pragma once

#include <array>
#include <cstddef>

#include "frame/quickest.h"
#include "locate/tetra_mesh.h"
#include "locate/walk.h"

namespace quorl::meldra3d::detail {

/// What walks towards one point have passed that ended at the boundary. How a walk goes on depends on its element and
/// the number of its steps only: one that comes to an element with as many steps as another ends as that one did. What
/// an element is to the point depends on nothing else, and is kept as well.
class walked_steps {
public:
    /// Begins with another point.
    void forget() {
        if (++point_ == 0) {
            passed_.fill({});
            seen_.fill({});
        }
        point_ += point_ == 0;
    }

    /// Walks to the end, or to where an earlier walk has been.
    void finish(walk& w, const tetra_mesh& mesh) {
        quickest([&]() __attribute__((always_inline)) {
            walk copy = w;
            const auto sides_at = [&](unsigned element) __attribute__((always_inline)) {
                return sides(copy, mesh, element);
            };
            while (copy.step(mesh, sides_at) && !has_been_passed(copy.next_element(), copy.steps())) {
            }
            w = copy;
        });
    }

private:
    struct step {
        unsigned point = 0;
        unsigned element = 0;
        std::size_t steps = 0;
    };

    struct seen {
        unsigned point = 0;
        unsigned element = 0;
        tetra_sides sides{};
    };

    /// Walks from around a node come through the same elements again and again.
    [[gnu::always_inline]] const tetra_sides& sides(const walk& w, const tetra_mesh& mesh, unsigned element) {
        seen& s = seen_[element % seen_.size()];
        if (s.point != point_ || s.element != element)
            s = {point_, element, w.sides(mesh, element)};
        return s.sides;
    }

    /// Also notes it. What another step displaces is only walked again.
    [[gnu::always_inline]] bool has_been_passed(unsigned element, std::size_t steps) {
        step& s = passed_[(std::size_t(element) * 7 + steps * 31) % passed_.size()];
        if (s.point == point_ && s.element == element && s.steps == steps)
            return true;
        s = {point_, element, steps};
        return false;
    }

    unsigned point_ = 0;
    std::array<step, 256> passed_{};
    std::array<seen, 256> seen_{};
};

} // namespace quorl::meldra3d::detail
