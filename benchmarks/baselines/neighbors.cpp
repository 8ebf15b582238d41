#include "neighbors.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "memory_limits.h"

namespace BASELINES {

namespace {

using bench::fresh_memory;

constexpr unsigned none = 0xFFFFFFFFu;
constexpr int wrong_id = -1, shared_by_many = -3;

struct face {
    unsigned least, middle, most;
};

face face_of(const unsigned* tetrahedron, unsigned f) {
    constexpr unsigned corners[4][3] = {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
    const unsigned a = tetrahedron[corners[f][0]], b = tetrahedron[corners[f][1]], c = tetrahedron[corners[f][2]];
    const unsigned least = std::min({a, b, c}), most = std::max({a, b, c});
    return {least, a ^ b ^ c ^ least ^ most, most};
}

bool all_below(const unsigned* connect, std::size_t n, unsigned nodes) {
    unsigned beyond = 0;
    for (std::size_t k = 0; k < n; ++k)
        beyond |= connect[k] >= nodes ? 1u : 0u;
    return beyond == 0;
}

void join(unsigned a, unsigned b, unsigned* neighbors) {
    neighbors[a] = b / 4;
    neighbors[b] = a / 4;
}

struct placed_face {
    std::uint64_t others; ///< the two greater nodes; `done` once the face has been compared with all of its list
    unsigned place;
};

constexpr std::uint64_t done = ~std::uint64_t(0);

struct sorted_face {
    unsigned least;
    unsigned place;
    std::uint64_t others;
};

struct by_nodes { // of this namespace, so that each compilation has its own sort
    bool operator()(const sorted_face& a, const sorted_face& b) const {
        return a.least != b.least ? a.least < b.least : a.others < b.others;
    }
};

bool same(const face& a, const face& b) {
    return a.least == b.least && a.middle == b.middle && a.most == b.most;
}

/// Joins what is there twice in a list of faces with the same smallest node. False when something is there more often.
bool join_pairs(placed_face* first, placed_face* last, unsigned* neighbors) {
    bool manifold = true;
    for (; first != last; ++first) {
        const std::uint64_t others = first->others;
        if (others == done)
            continue;
        unsigned times = 1;
        unsigned partner = none;
        for (placed_face* other = first + 1; other != last; ++other)
            if (other->others == others) {
                other->others = done;
                partner = other->place;
                ++times;
            }
        if (times == 2)
            join(first->place, partner, neighbors);
        manifold = manifold && times <= 2;
    }
    return manifold;
}

/// Parts the tetrahedron of a face from that across it, if there is one.
void part(const unsigned* connect, unsigned place, unsigned* neighbors) {
    const unsigned across = neighbors[place];
    if (across == none)
        return;
    const face shared = face_of(connect + place / 4 * 4, place % 4);
    for (unsigned f = 0; f < 4; ++f)
        if (same(face_of(connect + 4 * std::size_t(across), f), shared))
            neighbors[4 * std::size_t(across) + f] = none;
    neighbors[place] = none;
}

} // namespace

int neighbors_by_counting_sort(const unsigned* connect, std::size_t cols, unsigned nodes, bool strict,
                               unsigned* neighbors) {
    const std::size_t n = 4 * cols;
    if (!all_below(connect, n, nodes))
        return wrong_id;
    std::vector<unsigned> end(std::size_t(nodes) + 1, 0);
    for (std::size_t p = 0; p < n; ++p)
        ++end[face_of(connect + p / 4 * 4, p % 4).least + 1];
    for (std::size_t v = 0; v < nodes; ++v)
        end[v + 1] += end[v];
    const fresh_memory memory(n * sizeof(placed_face), fresh_memory::pages::huge);
    placed_face* const faces = memory.as<placed_face>();
    for (std::size_t p = 0; p < n; ++p) {
        const face f = face_of(connect + p / 4 * 4, p % 4);
        faces[end[f.least]++] = {std::uint64_t(f.middle) << 32 | f.most, unsigned(p)};
    }
    std::fill_n(neighbors, n, none);
    bool manifold = true;
    for (std::size_t v = 0, first = 0; v < nodes; first = end[v++])
        manifold = join_pairs(faces + first, faces + end[v], neighbors) && manifold;
    return manifold || !strict ? 0 : shared_by_many;
}

int neighbors_by_open_addressing(const unsigned* connect, std::size_t cols, unsigned nodes, bool strict,
                                 unsigned* neighbors) {
    constexpr std::size_t ahead = 4; // elements
    const std::size_t n = 4 * cols;
    if (!all_below(connect, n, nodes))
        return wrong_id;
    unsigned bits = 4;
    while ((std::size_t(1) << bits) < n) // half of the faces, and the boundary, stand in it
        ++bits;
    const std::size_t mask = (std::size_t(1) << bits) - 1;
    const fresh_memory memory((mask + 1) * sizeof(unsigned), fresh_memory::pages::huge);
    unsigned* const places = memory.as<unsigned>(); // of faces, whose nodes are looked up in the connectivity
    std::fill_n(places, mask + 1, none);
    const auto hash = [&](const face& f) {
        const std::uint64_t mixed = (f.least * 0x9E3779B97F4A7C15u ^ f.middle) * 0xBF58476D1CE4E5B9u ^ f.most;
        return std::size_t(mixed * 0x94D049BB133111EBu >> (64 - bits));
    };
    std::vector<unsigned> shared; // by more than two: the first place of each such face, once for each place too many
    std::fill_n(neighbors, n, none);
    for (std::size_t j = 0; j < cols; ++j) {
        const unsigned* const later = connect + 4 * std::min(j + ahead, cols - 1);
        for (unsigned f = 0; f < 4; ++f)
            __builtin_prefetch(places + hash(face_of(later, f)));
        for (unsigned f = 0; f < 4; ++f) {
            const face mine = face_of(connect + 4 * j, f);
            std::size_t at = hash(mine);
            while (places[at] != none && !same(face_of(connect + places[at] / 4 * 4, places[at] % 4), mine))
                at = (at + 1) & mask;
            if (places[at] == none)
                places[at] = unsigned(4 * j + f);
            else if (neighbors[places[at]] == none)
                join(places[at], unsigned(4 * j + f), neighbors);
            else
                shared.push_back(places[at]);
        }
    }
    for (const unsigned place : shared)
        part(connect, place, neighbors);
    return shared.empty() || !strict ? 0 : shared_by_many;
}

int neighbors_by_sorting(const unsigned* connect, std::size_t cols, unsigned nodes, bool strict, unsigned* neighbors) {
    const std::size_t n = 4 * cols;
    if (!all_below(connect, n, nodes))
        return wrong_id;
    const fresh_memory memory(n * sizeof(sorted_face), fresh_memory::pages::huge);
    sorted_face* const faces = memory.as<sorted_face>();
    for (std::size_t p = 0; p < n; ++p) {
        const face f = face_of(connect + p / 4 * 4, p % 4);
        faces[p] = {f.least, unsigned(p), std::uint64_t(f.middle) << 32 | f.most};
    }
    std::sort(faces, faces + n, by_nodes());
    std::fill_n(neighbors, n, none);
    bool manifold = true;
    for (std::size_t k = 0, end = 0; k < n; k = end) {
        while (end < n && faces[end].least == faces[k].least && faces[end].others == faces[k].others)
            ++end;
        if (end - k == 2)
            join(faces[k].place, faces[k + 1].place, neighbors);
        manifold = manifold && end - k <= 2;
    }
    return manifold || !strict ? 0 : shared_by_many;
}

} // namespace BASELINES
