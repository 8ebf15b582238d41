#include "convert.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <utility>

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

/// What tells an edge or a triangle, and what tells a quadrangle. None has all bits set.
using small_key = std::uint64_t;
struct large_key {
    std::uint64_t first, second;
    friend bool operator==(const large_key& a, const large_key& b) {
        return ((a.first ^ b.first) | (a.second ^ b.second)) == 0;
    }
    friend bool operator<(const large_key& a, const large_key& b) {
        return a.first != b.first ? a.first < b.first : a.second < b.second;
    }
};

template <class Key>
constexpr Key no_key = ~std::uint64_t(0);
template <>
constexpr large_key no_key<large_key>{~std::uint64_t(0), ~std::uint64_t(0)};

/// Two nodes, the smaller one first. No std::min: compilers make a branch of it, foreseen no better than a coin.
std::uint64_t pair_of(std::uint64_t a, std::uint64_t b) {
    const auto differ = unsigned(a ^ b) & (0u - unsigned(a > b));
    return (a ^ differ) << 32 | (b ^ differ);
}

/// An edge by its nodes; a triangle by its three, 21 bits each; a quadrangle by the pairs of nodes across from each
/// other, first the one with the smallest node (where both have it, the one that is met first).
template <group G>
auto key_of(const unsigned* column) {
    const std::uint64_t a = column[G.node[0]], b = column[G.node[1]];
    if constexpr (G.size == 2) {
        return pair_of(a, b);
    } else if constexpr (G.size == 3) {
        const std::uint64_t c = column[G.node[2]], least = std::min({a, b, c}), most = std::max({a, b, c});
        return face_bit | least << 42 | (a + b + c - least - most) << 21 | most;
    } else {
        const std::uint64_t even = pair_of(a, column[G.node[2]]), odd = pair_of(b, column[G.node[3]]);
        const std::uint64_t least = even >> 32;
        const bool swap = (int(odd >> 32 < least) | (int(odd >> 32 == least) & int(a != least) & int(b == least))) != 0;
        const std::uint64_t differ = (even ^ odd) & (0 - std::uint64_t(swap));
        return large_key{even ^ differ, odd ^ differ};
    }
}

std::uint64_t hash_of(small_key key) {
    key *= 0x9E3779B97F4A7C15u;
    return (key ^ key >> 32) * 0x9E3779B97F4A7C15u;
}

std::uint64_t hash_of(const large_key& key) {
    return (key.first * 0x9E3779B97F4A7C15u ^ key.second) * 0xD6E8FEB86659FD93u;
}

/// The edges and triangles of an element, which come first, and its quadrangles.
template <class Shape>
constexpr std::size_t smalls = std::size_t(std::count_if(Shape::groups.begin(), Shape::groups.end(),
                                                         [](const group& g) { return g.size < 4; }));
template <class Shape>
constexpr std::size_t larges = Shape::groups.size() - smalls<Shape>;

template <class Shape, class Key>
constexpr std::size_t keys_each = std::is_same_v<Key, small_key> ? smalls<Shape> : larges<Shape>;

/// Calls visit(key, sum, all) for all groups of all elements that have such keys, with the sum of their nodes and the
/// exclusive or.
template <class Shape, class Key, class Visit>
void visit_keys(const unsigned* connect, std::size_t cols, const Visit& visit) {
    constexpr std::size_t first = std::is_same_v<Key, small_key> ? 0 : smalls<Shape>;
    const auto visit_one = [&]<group G>(const unsigned* column, std::integral_constant<group, G>) {
        std::uint64_t sum = 0, all = 0;
        for (std::size_t i = 0; i < G.size; ++i) {
            sum += column[G.node[i]];
            all ^= column[G.node[i]];
        }
        visit(key_of<G>(column), sum, all);
    };
    for (std::size_t j = 0; j < cols; ++j, connect += Shape::rows)
        [&]<std::size_t... K>(std::index_sequence<K...>) {
            (visit_one(connect, std::integral_constant<group, Shape::groups[first + K]>()), ...);
        }
    (std::make_index_sequence<keys_each<Shape, Key>>());
}

/// The mean of some nodes.
template <std::size_t N>
void place_mean(const double* pos, const unsigned* column, const unsigned* corners, double* to) {
    double sum[3] = {0, 0, 0};
    for (std::size_t k = 0; k < N; ++k)
        for (std::size_t i = 0; i < 3; ++i)
            sum[i] += pos[3 * std::size_t(column[corners[k]]) + i];
    for (std::size_t i = 0; i < 3; ++i)
        to[i] = sum[i] / N;
}

/// What new nodes are made for: the groups of an element and, where the shape has one, its centre.
template <class Shape>
constexpr std::size_t places_each = Shape::groups.size() + (Shape::centre ? 1 : 0);

template <class Shape>
constexpr bool only_edges = places_each<Shape> == 6;

/// Asks for the nodes of a group or, where there are other groups than edges, with the first those of its element.
template <class Shape>
void prefetch_corners(const double* pos, const unsigned* column, std::size_t g) {
    for (std::size_t i = 0; i < (only_edges<Shape> ? 2 : g == 0 ? Shape::rows : 0); ++i)
        __builtin_prefetch(pos + 3 * std::size_t(column[only_edges<Shape> ? Shape::groups[g].node[i] : i]));
}

/// Places new nodes at the means of the groups for which they were made.
template <class Shape>
void place_nodes(double* pos, std::size_t nodes, const unsigned* connect, const unsigned* places, std::size_t n) {
    constexpr unsigned corners[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    constexpr std::size_t ahead = 16, each = places_each<Shape>;
    double* to = pos + 3 * nodes;
    for (std::size_t k = 0; k < n; ++k, to += 3) {
        const std::size_t later = places[std::min(k + ahead, n - 1)];
        prefetch_corners<Shape>(pos, connect + later / each * Shape::rows, later % each);
        const std::size_t g = places[k] % each;
        const unsigned* const column = connect + places[k] / each * Shape::rows;
        if (g == Shape::groups.size())
            place_mean<Shape::rows>(pos, column, corners, to);
        else if (only_edges<Shape> || Shape::groups[g].size == 2)
            place_mean<2>(pos, column, Shape::groups[g].node, to);
        else if (Shape::groups[g].size == 3)
            place_mean<3>(pos, column, Shape::groups[g].node, to);
        else
            place_mean<4>(pos, column, Shape::groups[g].node, to);
    }
}

constexpr std::size_t block = 16; // elements whose groups are looked up together

/// Writes the elements a block at a time: small and large, for the keys of either size, look up(j, column, elements)
/// what is to come. Then number(k, new_id) gives the ID of the k-th such group of the block, which is the new one where
/// it is the first.
template <class Shape, class Small, class Large>
refined_mesh write_elements(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols,
                            Small&& small, Large&& large) {
    constexpr std::size_t n = Shape::groups.size();
    refined_mesh made;
    made.connect = std::make_unique<fresh_memory>(sizeof(unsigned) * Shape::out_rows * Shape::pieces * cols,
                                                  fresh_memory::pages::huge);
    const fresh_memory made_for(sizeof(unsigned) * (places_each<Shape> * cols + 1), fresh_memory::pages::huge);
    unsigned* const places = made_for.as<unsigned>();
    unsigned* out = made.connect->as<unsigned>();
    auto next = unsigned(nodes);
    const unsigned* column = connect;
    for (std::size_t j = 0; j < cols; ++j, column += Shape::rows) {
        if (j % block == 0) {
            small.look_up(j, column, std::min(block, cols - j));
            if (larges<Shape> != 0)
                large.look_up(j, column, std::min(block, cols - j));
        }
        unsigned ids[Shape::rows + n + 1];
        std::copy_n(column, Shape::rows, ids);
        for (std::size_t k = 0; k < n; ++k) {
            const unsigned id = k < smalls<Shape> ? small.number(j % block * smalls<Shape> + k, next)
                                                  : large.number(j % block * larges<Shape> + k - smalls<Shape>, next);
            places[next - nodes] = unsigned(j * places_each<Shape> + k);
            next += id == next ? 1 : 0;
            ids[Shape::rows + k] = id;
        }
        if (Shape::centre) {
            places[next - nodes] = unsigned(j * places_each<Shape> + n);
            ids[Shape::rows + n] = next++;
        }
        for (const auto& piece : Shape::piece)
            for (const unsigned at : piece)
                *out++ = ids[at];
    }
    made.nodes = next;
    made.pos = std::make_unique<fresh_memory>(3 * sizeof(double) * next, fresh_memory::pages::huge);
    std::copy_n(pos, 3 * nodes, made.pos->as<double>());
    place_nodes<Shape>(made.pos->as<double>(), nodes, connect, places, next - nodes);
    return made;
}

struct by_open_addressing {
    template <class Shape, class Key>
    class table {
    public:
        explicit table(std::size_t cols) : bits_(bits_for(cols)), memory_((mask() + 1) * (sizeof(Key) + 8), huge) {
            std::fill_n(keys(), mask() + 1, no_key<Key>);
        }

        void look_up(std::size_t, const unsigned* column, std::size_t elements) {
            Key* to = of_block_;
            visit_keys<Shape, Key>(column, elements, [&](const Key& key, std::uint64_t, std::uint64_t) {
                *to++ = key;
                __builtin_prefetch(keys() + (hash_of(key) >> (64 - bits_)));
            });
        }

        unsigned number(std::size_t k, unsigned next) {
            std::uint64_t* const ids = reinterpret_cast<std::uint64_t*>(keys() + mask() + 1);
            std::size_t at = hash_of(of_block_[k]) >> (64 - bits_);
            while (!(keys()[at] == no_key<Key>)&&!(keys()[at] == of_block_[k]))
                at = (at + 1) & mask();
            if (keys()[at] == no_key<Key>) {
                keys()[at] = of_block_[k];
                ids[at] = next;
            }
            return unsigned(ids[at]);
        }

    private:
        static constexpr auto huge = fresh_memory::pages::huge;

        static std::size_t bits_for(std::size_t cols) {
            // Few edges are met less than three times, and no face more than twice.
            constexpr std::size_t each = keys_each<Shape, Key>;
            const std::size_t expected = std::is_same_v<Key, small_key> ? 2 * (each * cols / 3) : each * cols;
            std::size_t bits = 4;
            while ((std::size_t(1) << bits) < expected)
                ++bits;
            return bits;
        }

        std::size_t mask() const { return (std::size_t(1) << bits_) - 1; }
        Key* keys() const { return memory_.as<Key>(); }

        const std::size_t bits_;
        const fresh_memory memory_;
        Key of_block_[block * keys_each<Shape, Key> + 1];
    };

    template <class Shape>
    static refined_mesh refine(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols) {
        return write_elements<Shape>(pos, nodes, connect, cols, table<Shape, small_key>(cols),
                                     table<Shape, large_key>(cols));
    }
};

template <class Key>
struct placed_key {
    Key key;
    unsigned place;
};

struct key_then_place { // of this namespace, so that each compilation has its own sort
    template <class Key>
    bool operator()(const placed_key<Key>& a, const placed_key<Key>& b) const {
        return a.key == b.key ? a.place < b.place : a.key < b.key;
    }
};

struct by_sorting {
    /// Finds for each group the first that has the same key; then numbers the groups.
    template <class Shape, class Key>
    class firsts {
    public:
        firsts(const unsigned* connect, std::size_t cols)
            : memory_(keys_each<Shape, Key> * cols * sizeof(unsigned) + 1, fresh_memory::pages::huge) {
            const std::size_t n = keys_each<Shape, Key> * cols;
            const fresh_memory keys(n * sizeof(placed_key<Key>) + 1, fresh_memory::pages::huge);
            placed_key<Key>* const all = keys.as<placed_key<Key>>();
            unsigned place = 0;
            visit_keys<Shape, Key>(connect, cols, [&](const Key& key, std::uint64_t, std::uint64_t) {
                all[place] = {key, place};
                ++place;
            });
            std::sort(all, all + n, key_then_place());
            for (std::size_t k = 0, leader = 0; k < n; ++k) {
                if (!(all[k].key == all[leader].key))
                    leader = k;
                first()[all[k].place] = all[leader].place;
            }
        }

        void look_up(std::size_t j, const unsigned*, std::size_t elements) {
            of_block_ = first() + j * keys_each<Shape, Key>;
            for (std::size_t k = 0; k < elements * keys_each<Shape, Key>; ++k)
                __builtin_prefetch(first() + of_block_[k]);
        }

        unsigned number(std::size_t k, unsigned next) {
            unsigned& mine = of_block_[k]; // earlier ones are IDs already
            return mine = first() + mine == &mine ? next : first()[mine];
        }

    private:
        unsigned* first() const { return memory_.as<unsigned>(); }

        const fresh_memory memory_;
        unsigned* of_block_ = nullptr;
    };

    template <class Shape>
    static refined_mesh refine(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols) {
        return write_elements<Shape>(pos, nodes, connect, cols, firsts<Shape, small_key>(connect, cols),
                                     firsts<Shape, large_key>(connect, cols));
    }
};

/// The keys are distributed to parts by the leading bits of a hash. Then a small table, which stays in the cache,
/// replaces the keys of one part after the other by numbers: equal keys have the same, and the first of them bears a
/// mark. Whoever visits the keys once more meets their numbers in the same order.
struct by_partitions {
    template <class Shape, class Key>
    class partitions {
    public:
        partitions(const unsigned* connect, std::size_t cols)
            : keys_(keys_each<Shape, Key> * cols * sizeof(Key) + 1, fresh_memory::pages::huge),
              ids_(find(connect, cols) * sizeof(unsigned) + 1, fresh_memory::pages::huge) {}

        void look_up(std::size_t, const unsigned* column, std::size_t elements) {
            unsigned* to = of_block_;
            visit_parts(column, elements, [&](std::size_t part, const Key&) {
                const unsigned* const number = keys_.template as<unsigned>() + next_of_part_[part]++;
                __builtin_prefetch(number + 32);
                __builtin_prefetch(ids_.template as<unsigned>() + (*number & ~mark));
                *to++ = *number;
            });
        }

        unsigned number(std::size_t k, unsigned next) {
            unsigned& id = ids_.template as<unsigned>()[of_block_[k] & ~mark];
            if (of_block_[k] & mark)
                id = next;
            return id;
        }

    private:
        static constexpr unsigned mark = 0x80000000u;
        static constexpr std::size_t part_bits = 6; // stores to more parts are several times as slow
        static constexpr std::size_t parts = std::size_t(1) << part_bits;
        static constexpr std::size_t words_each = sizeof(Key) / sizeof(unsigned);

        /// Calls visit(part, key). The part depends on the nodes and not on their order.
        template <class Visit>
        static void visit_parts(const unsigned* connect, std::size_t cols, const Visit& visit) {
            visit_keys<Shape, Key>(connect, cols, [&](const Key& key, std::uint64_t sum, std::uint64_t all) {
                const std::uint64_t hash = sum * 0x9E3779B97F4A7C15u ^ all * 0xD6E8FEB86659FD93u;
                visit(std::size_t(hash >> (64 - part_bits)), key);
            });
        }

        /// Puts numbers, part by part, in the place of the keys. Returns how many there are.
        std::size_t find(const unsigned* connect, std::size_t cols) {
            std::size_t end[parts] = {};
            visit_parts(connect, cols, [&](std::size_t part, const Key&) { ++end[part]; });
            const std::size_t largest = *std::max_element(end, end + parts);
            std::exclusive_scan(end, end + parts, end, std::size_t(0));
            std::copy_n(end, parts, next_of_part_);
            unsigned* const words = keys_.template as<unsigned>();
            visit_parts(connect, cols, [&](std::size_t part, const Key& key) {
                std::memcpy(words + words_each * end[part]++, &key, sizeof key);
            });
            std::size_t bits = 4;
            while ((std::size_t(1) << bits) <= largest)
                ++bits;
            const fresh_memory table(sizeof(Key) << bits, fresh_memory::pages::huge);
            const fresh_memory number_of(sizeof(unsigned) << bits, fresh_memory::pages::huge);
            unsigned numbers = 0;
            for (std::size_t p = 0; p < parts; ++p) // written over keys that were read before
                numbers = number_part(words + words_each * next_of_part_[p], end[p] - next_of_part_[p], numbers,
                                      table.as<Key>(), number_of.as<unsigned>(), bits, words + next_of_part_[p]);
            return numbers;
        }

        /// Numbers the keys of one part; the numbers are `first` and so on. Returns the next one.
        static unsigned number_part(const unsigned* keys, std::size_t n, unsigned first, Key* table,
                                    unsigned* number_of, std::size_t bits, unsigned* numbers) {
            const std::size_t mask = (std::size_t(1) << bits) - 1;
            std::fill_n(table, mask + 1, no_key<Key>);
            for (std::size_t k = 0; k < n; ++k) {
                Key key;
                std::memcpy(&key, keys + words_each * k, sizeof key);
                std::size_t at = slot_of(key) >> (64 - bits);
                while (!(table[at] == key) && !(table[at] == no_key<Key>))
                    at = (at + 1) & mask;
                if (table[at] == key) {
                    numbers[k] = number_of[at];
                } else {
                    table[at] = key;
                    number_of[at] = first;
                    numbers[k] = first++ | mark;
                }
            }
            return first;
        }

        static std::uint64_t slot_of(small_key key) { return key * 0x9E3779B97F4A7C15u; }
        static std::uint64_t slot_of(const large_key& key) { return hash_of(key); }

        const fresh_memory keys_;
        std::size_t next_of_part_[parts];
        const fresh_memory ids_;
        unsigned of_block_[block * keys_each<Shape, Key> + 1];
    };

    template <class Shape>
    static refined_mesh refine(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t cols) {
        return write_elements<Shape>(pos, nodes, connect, cols, partitions<Shape, small_key>(connect, cols),
                                     partitions<Shape, large_key>(connect, cols));
    }
};

bool all_below(const unsigned* connect, std::size_t n, unsigned nodes) {
    unsigned beyond = 0;
    for (std::size_t k = 0; k < n; ++k)
        beyond |= connect[k] >= nodes ? 1u : 0u;
    return beyond == 0;
}

template <class Way>
refined_mesh refine(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t rows, std::size_t cols,
                    refinement into) {
    if (!all_below(connect, rows * cols, unsigned(nodes)))
        return {};
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
