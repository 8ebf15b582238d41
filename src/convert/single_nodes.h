#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "frame/element_tables.h"

// The new nodes of straight elements that have at most one inside each edge and face and one in their interior: what
// `reference_nodes.h` gives, to the bit, with each corner read once.
namespace quorl::meldra3d::detail {

/// A point in two words that processors handle at once.
struct paired_point {
    using pair = double __attribute__((vector_size(2 * sizeof(double))));
    pair xy;
    double z;

    [[gnu::always_inline]] static paired_point at(const double* x) { return {pair{x[0], x[1]}, x[2]}; }
    [[gnu::always_inline]] void write(double* x) const {
        x[0] = xy[0];
        x[1] = xy[1];
        x[2] = z;
    }
    [[gnu::always_inline]] friend paired_point operator+(const paired_point& a, const paired_point& b) {
        return {a.xy + b.xy, a.z + b.z};
    }
    [[gnu::always_inline]] friend paired_point operator*(double t, const paired_point& p) {
        return {t * p.xy, t * p.z};
    }
    [[gnu::always_inline]] friend paired_point operator/(const paired_point& p, double t) {
        return {p.xy / t, p.z / t};
    }
};

/// Which of an element's edges, faces and interiors have a node.
struct single_counts {
    bool edges;
    bool triangles;
    bool quadrangles;
    bool interior;
};

template <const shape_record& Solid>
class single_nodes {
public:
    /// Of the element of these corners.
    [[gnu::always_inline]] single_nodes(const double* nodes, std::size_t ld, const unsigned* corners) {
        for (unsigned k = 0; k < Solid.nodes; ++k)
            corner_[k] = paired_point::at(nodes + corners[k] * ld);
    }

    /// Calls place(point) for the new nodes, in the order of their rows.
    template <class Place>
    [[gnu::always_inline]] void for_each(const single_counts& counts, const Place& place) const {
        if (counts.edges)
            [&]<std::size_t... E>(std::index_sequence<E...>) __attribute__((always_inline)) {
                (place(middle_of<E>()), ...);
            }
        (std::make_index_sequence<Solid.edges>());
        [&]<std::size_t... F>(std::index_sequence<F...>) __attribute__((always_inline)) {
            const auto place_one = [&]<std::size_t K>(std::integral_constant<std::size_t, K>)
                __attribute__((always_inline)) {
                if (Solid.face_nodes[K].size == 3 ? counts.triangles : counts.quadrangles)
                    place(centre_of<K>());
            };
            (place_one(std::integral_constant<std::size_t, F>()), ...);
        }
        (std::make_index_sequence<Solid.faces>());
        if (counts.interior)
            place(interior());
    }

private:
    template <std::size_t E>
    [[gnu::always_inline]] paired_point middle_of() const {
        return middle(corner_[Solid.edge[E][0]], corner_[Solid.edge[E][1]]);
    }

    template <std::size_t F>
    [[gnu::always_inline]] paired_point centre_of() const {
        constexpr face_cycle face = Solid.face_nodes[F];
        if constexpr (face.size == 3)
            return mean<3>({face.node[0], face.node[1], face.node[2]});
        else
            return centre(face.node);
    }

    [[gnu::always_inline]] paired_point interior() const {
        if constexpr (Solid.nodes == 8)
            return middle(centre({0, 1, 2, 3}), centre({4, 5, 6, 7}));
        else if constexpr (Solid.nodes == 6)
            return middle(mean<3>({0, 1, 2}), mean<3>({3, 4, 5}));
        else if constexpr (Solid.nodes == 5)
            return mean<5>({0, 1, 2, 3, 4});
        else
            return mean<4>({0, 1, 2, 3});
    }

    [[gnu::always_inline]] static paired_point middle(const paired_point& a, const paired_point& b) {
        return 0.5 * a + 0.5 * b;
    }

    /// Of a quadrangle: sums of opposite corners, so that the bits are the same from whichever corner.
    [[gnu::always_inline]] paired_point centre(const std::array<unsigned, 4>& node) const {
        return (0.25 * corner_[node[0]] + 0.25 * corner_[node[2]]) +
               (0.25 * corner_[node[1]] + 0.25 * corner_[node[3]]);
    }

    template <std::size_t N>
    [[gnu::always_inline]] paired_point mean(const std::array<unsigned, N>& node) const {
        paired_point total{};
        for (const unsigned k : node)
            total = total + corner_[k];
        return total / double(N);
    }

    std::array<paired_point, Solid.nodes> corner_;
};

} // namespace quorl::meldra3d::detail
