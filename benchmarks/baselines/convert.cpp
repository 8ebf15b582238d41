#include "convert.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace BASELINES {

namespace {

using bench::fresh_memory;
using bench::refined_mesh;
using bench::refinement;

/// The local nodes of an edge, a triangle or a quadrangle.
struct group {
    unsigned size;
    unsigned node[4];
};

struct tetrahedron_of_10 {
    static constexpr std::size_t rows = 4, out_rows = 10, pieces = 1;
    static constexpr bool centre = false;
    static constexpr std::array<group, 6> groups{
        {{2, {1, 2}}, {2, {2, 0}}, {2, {0, 1}}, {2, {0, 3}}, {2, {1, 3}}, {2, {2, 3}}}};
    static constexpr std::array<std::array<unsigned, 10>, 1> piece{{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}}};
};

struct tetrahedron_cut {
    static constexpr std::size_t rows = 4, out_rows = 8, pieces = 4;
    static constexpr bool centre = true;
    static constexpr std::array<group, 10> groups{{{2, {1, 2}},
                                                   {2, {2, 0}},
                                                   {2, {0, 1}},
                                                   {2, {0, 3}},
                                                   {2, {1, 3}},
                                                   {2, {2, 3}},
                                                   {3, {1, 2, 3}},
                                                   {3, {2, 0, 3}},
                                                   {3, {0, 1, 3}},
                                                   {3, {2, 1, 0}}}};
    static constexpr std::array<std::array<unsigned, 8>, 4> piece{{{0, 5, 13, 6, 7, 11, 14, 12},
                                                                   {1, 6, 13, 4, 8, 12, 14, 10},
                                                                   {2, 4, 13, 5, 9, 10, 14, 11},
                                                                   {3, 7, 12, 8, 9, 11, 14, 10}}};
};

struct hexahedron {
    static constexpr std::size_t rows = 8;
    static constexpr bool centre = true;
    static constexpr std::array<group, 18> groups{{{2, {0, 1}},
                                                   {2, {1, 2}},
                                                   {2, {2, 3}},
                                                   {2, {3, 0}},
                                                   {2, {4, 5}},
                                                   {2, {5, 6}},
                                                   {2, {6, 7}},
                                                   {2, {7, 4}},
                                                   {2, {0, 4}},
                                                   {2, {1, 5}},
                                                   {2, {2, 6}},
                                                   {2, {3, 7}},
                                                   {4, {0, 3, 7, 4}},
                                                   {4, {1, 2, 6, 5}},
                                                   {4, {0, 1, 5, 4}},
                                                   {4, {2, 3, 7, 6}},
                                                   {4, {0, 1, 2, 3}},
                                                   {4, {4, 5, 6, 7}}}};
};

struct hexahedron_of_27 : hexahedron {
    static constexpr std::size_t out_rows = 27, pieces = 1;
    static constexpr std::array<std::array<unsigned, 27>, 1> piece{
        {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26}}};
};

struct hexahedron_cut : hexahedron {
    static constexpr std::size_t out_rows = 8, pieces = 8;
    static constexpr std::array<std::array<unsigned, 8>, 8> piece{{{0, 8, 24, 11, 16, 22, 26, 20},
                                                                   {1, 9, 24, 8, 17, 21, 26, 22},
                                                                   {2, 10, 24, 9, 18, 23, 26, 21},
                                                                   {3, 11, 24, 10, 19, 20, 26, 23},
                                                                   {4, 15, 25, 12, 16, 20, 26, 22},
                                                                   {5, 12, 25, 13, 17, 22, 26, 21},
                                                                   {6, 13, 25, 14, 18, 21, 26, 23},
                                                                   {7, 14, 25, 15, 19, 23, 26, 20}}};
};

constexpr std::uint64_t face_bit = std::uint64_t(1) << 63;
constexpr std::uint64_t no_key = ~std::uint64_t(0);

/// An edge by its nodes; a triangle by its three, 21 bits each; a quadrangle by its smallest node and the one across.
template <group G>
std::uint64_t key_of(const unsigned* column) {
    const std::uint64_t a = column[G.node[0]], b = column[G.node[1]];
    if constexpr (G.size == 2) {
        return std::min(a, b) << 32 | std::max(a, b);
    } else if constexpr (G.size == 3) {
        const std::uint64_t c = column[G.node[2]], least = std::min({a, b, c}), most = std::max({a, b, c});
        return face_bit | least << 42 | (a + b + c - least - most) << 21 | most;
    } else {
        const std::uint64_t c = column[G.node[2]], d = column[G.node[3]];
        const std::uint64_t least = std::min(std::min(a, c), std::min(b, d));
        return face_bit | least << 32 | (least == std::min(a, c) ? std::max(a, c) : std::max(b, d));
    }
}

std::uint64_t hash_of(std::uint64_t key) {
    key *= 0x9E3779B97F4A7C15u;
    return (key ^ key >> 32) * 0x9E3779B97F4A7C15u;
}

/// Calls visit(place, key) for all groups of all elements.
template <class Shape, class Visit>
void visit_keys(const unsigned* connect, std::size_t cols, const Visit& visit) {
    constexpr std::size_t n = Shape::groups.size();
    for (std::size_t j = 0; j < cols; ++j, connect += Shape::rows)
        [&]<std::size_t... K>(std::index_sequence<K...>) {
            (visit(unsigned(j * n + K), key_of<Shape::groups[K]>(connect)), ...);
        }
    (std::make_index_sequence<n>());
}

void place_mean(const double* pos, const unsigned* column, const unsigned* corners, unsigned n, double* to) {
    double sum[3] = {0, 0, 0};
    for (unsigned k = 0; k < n; ++k)
        for (std::size_t i = 0; i < 3; ++i)
            sum[i] += pos[3 * std::size_t(column[corners[k]]) + i];
    for (std::size_t i = 0; i < 3; ++i)
        to[i] = sum[i] / n;
}

/// Writes the elements one after another: number(place, new_number) gives the number of a group, taking the new one for
/// itself where it is the first.
template <class Shape, class Number>
refined_mesh write_elements(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols,
                            const Number& number) {
    constexpr unsigned corners[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    constexpr std::size_t n = Shape::groups.size();
    refined_mesh made;
    made.pos = std::make_unique<fresh_memory>(3 * sizeof(double) * (nodes + (n + 1) * cols), fresh_memory::pages::huge);
    made.connect = std::make_unique<fresh_memory>(sizeof(unsigned) * Shape::out_rows * Shape::pieces * cols,
                                                  fresh_memory::pages::huge);
    double* const all = made.pos->as<double>();
    unsigned* out = made.connect->as<unsigned>();
    std::copy_n(pos, 3 * nodes, all);
    auto next = unsigned(nodes);
    for (std::size_t j = 0; j < cols; ++j, connect += Shape::rows) {
        unsigned ids[Shape::rows + n + 1];
        std::copy_n(connect, Shape::rows, ids);
        for (std::size_t k = 0; k < n; ++k) {
            const unsigned id = number(j * n + k, connect, next);
            if (id == next) {
                place_mean(pos, connect, Shape::groups[k].node, Shape::groups[k].size, all + 3 * std::size_t(next));
                ++next;
            }
            ids[Shape::rows + k] = id;
        }
        if constexpr (Shape::centre) {
            place_mean(pos, connect, corners, Shape::rows, all + 3 * std::size_t(next));
            ids[Shape::rows + n] = next++;
        }
        for (const auto& piece : Shape::piece)
            for (const unsigned at : piece)
                *out++ = ids[at];
    }
    made.nodes = next;
    return made;
}

/// With first[place], the first place of the same key.
template <class Shape>
refined_mesh write_by_first_places(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols,
                                   unsigned* first) {
    constexpr std::size_t ahead = 64;
    const std::size_t last = Shape::groups.size() * cols - 1;
    return write_elements<Shape>(pos, nodes, connect, cols, [&](std::size_t place, const unsigned*, unsigned next) {
        __builtin_prefetch(first + first[std::min(place + ahead, last)]);
        return first[place] = first[place] == place ? next : first[first[place]]; // earlier ones are numbers already
    });
}

struct by_open_addressing {
    template <class Shape>
    static refined_mesh refine(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols) {
        std::size_t bits = 4;
        while ((std::size_t(1) << bits) <
               2 * (Shape::groups.size() * cols / 3)) // few keys are met less than three times
            ++bits;
        const std::size_t mask = (std::size_t(1) << bits) - 1;
        const fresh_memory memory((mask + 1) * 16, fresh_memory::pages::huge);
        std::uint64_t* const keys = memory.as<std::uint64_t>();
        std::uint64_t* const ids = keys + mask + 1;
        std::fill_n(keys, mask + 1, no_key);
        std::array<std::uint64_t, Shape::groups.size()> of_element{};
        return write_elements<Shape>(pos, nodes, connect, cols,
                                     [&](std::size_t place, const unsigned* column, unsigned next) {
                                         const std::size_t k = place % Shape::groups.size();
                                         if (k == 0)
                                             visit_keys<Shape>(column, 1, [&](unsigned g, std::uint64_t key) {
                                                 of_element[g] = key;
                                                 __builtin_prefetch(keys + (hash_of(key) >> (64 - bits)));
                                             });
                                         std::size_t at = hash_of(of_element[k]) >> (64 - bits);
                                         while (keys[at] != no_key && keys[at] != of_element[k])
                                             at = (at + 1) & mask;
                                         if (keys[at] == no_key) {
                                             keys[at] = of_element[k];
                                             ids[at] = next;
                                         }
                                         return unsigned(ids[at]);
                                     });
    }
};

struct placed_key {
    std::uint64_t key;
    unsigned place;
};

struct key_then_place { // of this namespace, so that each compilation has its own sort
    bool operator()(const placed_key& a, const placed_key& b) const {
        return a.key != b.key ? a.key < b.key : a.place < b.place;
    }
};

struct by_sorting {
    template <class Shape>
    static refined_mesh refine(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols) {
        const std::size_t n = Shape::groups.size() * cols;
        const fresh_memory keys(n * sizeof(placed_key), fresh_memory::pages::huge),
            firsts(n * 4, fresh_memory::pages::huge);
        placed_key* const all = keys.as<placed_key>();
        unsigned* const first = firsts.as<unsigned>();
        visit_keys<Shape>(connect, cols, [&](unsigned place, std::uint64_t key) { all[place] = {key, place}; });
        std::sort(all, all + n, key_then_place());
        for (std::size_t k = 0, leader = 0; k < n; ++k) {
            if (all[k].key != all[leader].key)
                leader = k;
            first[all[k].place] = all[leader].place;
        }
        return write_by_first_places<Shape>(pos, nodes, connect, cols, first);
    }
};

struct by_partitions {
    template <class Shape>
    static refined_mesh refine(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols) {
        constexpr std::size_t keys_of_a_part = 16384; // with its table half a second-level cache at most
        const std::size_t n = Shape::groups.size() * cols;
        std::size_t part_bits = 0;
        while ((keys_of_a_part << part_bits) < n)
            ++part_bits;
        const std::size_t parts = std::size_t(1) << part_bits;
        const auto part_of = [&](std::uint64_t key) {
            return part_bits == 0 ? 0 : std::size_t(hash_of(key) >> (64 - part_bits));
        };

        std::vector<std::size_t> end(parts + 1, 0);
        visit_keys<Shape>(connect, cols, [&](unsigned, std::uint64_t key) { ++end[part_of(key) + 1]; });
        for (std::size_t p = 0; p < parts; ++p)
            end[p + 1] += end[p];
        const std::vector<std::size_t> begin = end;
        const fresh_memory keys(n * 8, fresh_memory::pages::huge), places(n * 4, fresh_memory::pages::huge),
            firsts(n * 4, fresh_memory::pages::huge);
        std::uint64_t* const key_at = keys.as<std::uint64_t>();
        unsigned* const place_at = places.as<unsigned>();
        unsigned* const first = firsts.as<unsigned>();
        visit_keys<Shape>(connect, cols, [&](unsigned place, std::uint64_t key) {
            const std::size_t at = end[part_of(key)]++;
            key_at[at] = key;
            place_at[at] = place;
        });

        std::vector<std::uint64_t> table;
        std::vector<unsigned> leader;
        for (std::size_t p = 0; p < parts; ++p) {
            std::size_t bits = 4;
            while ((std::size_t(1) << bits) < end[p] - begin[p] + 1)
                ++bits;
            const std::size_t mask = (std::size_t(1) << bits) - 1;
            table.assign(mask + 1, no_key);
            leader.resize(mask + 1);
            for (std::size_t k = begin[p]; k < end[p]; ++k) {
                std::size_t at = hash_of(key_at[k]) >> (64 - part_bits - bits) & mask;
                while (table[at] != no_key && table[at] != key_at[k])
                    at = (at + 1) & mask;
                if (table[at] == no_key) {
                    table[at] = key_at[k];
                    leader[at] = place_at[k];
                }
                first[place_at[k]] = leader[at];
            }
        }
        return write_by_first_places<Shape>(pos, nodes, connect, cols, first);
    }
};

template <class Way>
refined_mesh refine(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t rows, std::size_t cols,
                    refinement into) {
    const bool quadratic = into == refinement::quadratic;
    if (rows == 4)
        return quadratic ? Way::template refine<tetrahedron_of_10>(pos, nodes, connect, cols)
                         : Way::template refine<tetrahedron_cut>(pos, nodes, connect, cols);
    return quadratic ? Way::template refine<hexahedron_of_27>(pos, nodes, connect, cols)
                     : Way::template refine<hexahedron_cut>(pos, nodes, connect, cols);
}

} // namespace

refined_mesh refine_by_open_addressing(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t rows,
                                       std::size_t cols, refinement into) {
    return refine<by_open_addressing>(pos, nodes, connect, rows, cols, into);
}

refined_mesh refine_by_sorting(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t rows,
                               std::size_t cols, refinement into) {
    return refine<by_sorting>(pos, nodes, connect, rows, cols, into);
}

refined_mesh refine_by_partitions(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t rows,
                                  std::size_t cols, refinement into) {
    return refine<by_partitions>(pos, nodes, connect, rows, cols, into);
}

} // namespace BASELINES
