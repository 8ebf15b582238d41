#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

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
        if (++point_ == 0)
            seen_.fill({});
        point_ += point_ == 0;
    }

    /// Looks at elements through which walks are to come, four at most.
    void look_at(const unsigned* elements, std::size_t count, const tetra_mesh& mesh, const point<double>& p,
                 double tolerance) {
        quickest([&]() __attribute__((always_inline)) {
            const auto some = [&](std::size_t g) __attribute__((always_inline)) {
                return elements[std::min(g, count - 1)];
            };
            const sides_of_four sides = mesh.sides({some(0), some(1), some(2), some(3)}, {&p, &p, &p, &p}, tolerance);
            for (std::size_t g = 0; g < count; ++g)
                if (seen& s = place_of(elements[g]); sides.is_sure(g) && !is_of(s, elements[g]))
                    s = {point_, elements[g], 0, sides[g]};
        });
    }

    /// Walks to the end, or to where an earlier walk has been.
    void finish(walk& w, const tetra_mesh& mesh) {
        quickest([&]() __attribute__((always_inline)) {
            walk copy = w;
            for (;;) {
                const unsigned element = copy.next_element();
                seen& s = place_of(element);
                if (!is_of(s, element))
                    s = {point_, element, 0, copy.sides(mesh, element)};
                const std::uint64_t step = copy.steps() < 64 ? std::uint64_t(1) << copy.steps() : 0;
                if ((s.passed & step) != 0)
                    break;
                s.passed |= step;
                if (!copy.step(
                        mesh, [&](unsigned) __attribute__((always_inline)) { return s.sides; }))
                    break;
            }
            w = copy;
        });
    }

private:
    struct seen {
        unsigned point = 0;
        unsigned element = 0;
        std::uint64_t passed = 0; // bit k: by a walk behind its first k steps
        tetra_sides sides{};
    };

    /// Where an element is kept. What another displaces is only looked at and walked through again.
    [[gnu::always_inline]] seen& place_of(unsigned element) { return seen_[element % seen_.size()]; }
    [[gnu::always_inline]] bool is_of(const seen& s, unsigned element) const {
        return s.point == point_ && s.element == element;
    }

    unsigned point_ = 0;
    std::array<seen, 256> seen_{};
};

} // namespace quorl::meldra3d::detail
