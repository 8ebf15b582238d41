#include "locate/element_search.h"

#include <array>
#include <limits>

namespace quorl::meldra3d::detail {

int element_search::find(const point<double>& p, double tolerance, bool fall_back, unsigned& element) {
    if (element == no_node)
        element = element_of(close_node(p));
    if (element == no_node)
        return walk_left;
    const unsigned start = element;
    walk first(p, tolerance, start);
    finish(first, mesh_);
    element = first.element();
    if (first.status() == walk_left && fall_back)
        return find_around_closest(p, tolerance, start, element);
    return first.status();
}

int element_search::find_around_closest(const point<double>& p, double tolerance, unsigned walked_from,
                                        unsigned& element) {
    element = no_node;
    // The ball is gathered as far as the walks need it, which changes neither their order nor what they find.
    const unsigned node = detector_.find_closest({p.x, p.y, p.z});
    if (!ball_.begin(mesh_, node, element_of(node)))
        return search_out_of_memory;
    walked_.forget();
    for (node_ball::outcome got = node_ball::outcome::element; got == node_ball::outcome::element;) {
        unsigned starts[4];
        std::size_t count = 0;
        while (count < 4 && (got = ball_.next(mesh_, starts[count])) == node_ball::outcome::element)
            count += starts[count] != walked_from;
        if (count != 0)
            walked_.look_at(starts, count, mesh_, p, tolerance);
        for (std::size_t k = 0; k < count; ++k) {
            walk again(p, tolerance, starts[k]);
            walked_.finish(again, mesh_);
            if (again.status() != walk_left) {
                element = again.element();
                return again.status();
            }
        }
        if (got == node_ball::outcome::out_of_memory)
            return search_out_of_memory;
    }
    return walk_left;
}

bool order_points(const double* points, std::size_t ld, dense1D<morton_key, 8>& keys, dense1D<morton_key, 8>& work) {
    if (!work.resize(keys.size()))
        return false;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    std::array<double, 3> low{infinity, infinity, infinity};
    std::array<double, 3> high{-infinity, -infinity, -infinity};
    for (const morton_key key : keys)
        for (unsigned i = 0; i < 3; ++i) {
            const double x = points[i + number_of(key) * ld];
            if (std::isfinite(x)) {
                low[i] = std::min(low[i], x);
                high[i] = std::max(high[i], x);
            }
        }
    constexpr double cells = 1u << morton_bits;
    double edge = 0;
    for (unsigned i = 0; i < 3; ++i)
        edge = std::max(edge, high[i] - low[i]);
    const double scale = cells / edge; // infinite or 0 for a box that is a point or too large, which orders nothing
    for (morton_key& key : keys) {
        const std::uint32_t number = number_of(key);
        const auto place = [&](unsigned i) {
            const double q = (points[i + number * ld] - low[i]) * scale;
            return static_cast<std::uint32_t>(std::min(std::max(0.0, q), cells - 1));
        };
        key = morton_key_of(place(0), place(1), place(2), number);
    }
    sort_by_place(keys.data(), work.data(), keys.size());
    return true;
}

} // namespace quorl::meldra3d::detail
