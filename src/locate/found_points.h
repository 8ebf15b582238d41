#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "frame/lanes.h"
#include "frame/quickest.h"
#include "locate/tetra_kernels.h"
#include "locate/tetra_mesh.h"

namespace quorl::meldra3d::detail {

/// Points that lie in known elements. Some are kept until their local coordinates are computed, for four at once, and
/// until the memory has come that their results were told to ask for: results.expect_at(nodes of the element), and then
/// results.found(number of the point, element, local coordinates).
template <class Results>
class found_points {
public:
    found_points(const tetra_mesh& mesh, Results& results) : mesh_(mesh), results_(results) {}

    void add(std::size_t number, unsigned element, const point<double>& p) {
        results_.expect_at(mesh_.nodes_of(element));
        waiting_[count_++] = {number, element, p};
        if (count_ == at_once)
            finish();
    }

    /// Hands on those that are still waiting.
    void finish() {
        quickest([&]() __attribute__((always_inline)) {
            for (std::size_t k = 0; k < count_; k += 4)
                hand_on(k, std::min(count_ - k, std::size_t(4)));
        });
        count_ = 0;
    }

private:
    struct one {
        std::size_t number;
        unsigned element;
        point<double> p;
    };
    static constexpr std::size_t at_once = 8;

    /// Those from the given one on, four at most: behind them others fill the vectors.
    [[gnu::always_inline]] void hand_on(std::size_t first, std::size_t count) {
        const auto gather = [&](auto point_of) __attribute__((always_inline)) {
            const point<double> a = point_of(waiting_[first]),
                                b = point_of(waiting_[first + std::min(count - 1, std::size_t(1))]),
                                c = point_of(waiting_[first + std::min(count - 1, std::size_t(2))]),
                                d = point_of(waiting_[first + count - 1]);
            return point<four_doubles>{{a.x, b.x, c.x, d.x}, {a.y, b.y, c.y, d.y}, {a.z, b.z, c.z, d.z}};
        };
        point<four_doubles> corner[4];
        for (unsigned i = 0; i < 4; ++i)
            corner[i] = gather([&](const one& w) __attribute__((always_inline)) {
                return point_at(mesh_.pos + mesh_.nodes_of(w.element)[i] * mesh_.pos_ld);
            });
        const auto local =
            tetra_local_coordinates(corner, gather([](const one& w) __attribute__((always_inline)) { return w.p; }));
        for (std::size_t g = 0; g < count; ++g)
            results_.found(waiting_[first + g].number, waiting_[first + g].element,
                           {local.x[g], local.y[g], local.z[g]});
    }

    const tetra_mesh& mesh_;
    Results& results_;
    std::array<one, at_once> waiting_;
    std::size_t count_ = 0;
};

} // namespace quorl::meldra3d::detail
