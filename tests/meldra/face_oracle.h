#pragma once

#include <algorithm>
#include <map>
#include <vector>

#include "support/meshes.h"

// Faces and neighbours, found the slow way from lists that are typed here once more and share nothing with the
// library. A face of a surface element is an edge.
namespace test {

using namespace quorl; // the element types

using cycle = std::vector<unsigned>;

/// Faces of a linear surface element (3 or 4 corners) or solid (4, 5, 6 or 8), as cycles of local nodes.
inline std::vector<cycle> local_faces(bool surface, std::size_t corners) {
    if (surface)
        return corners == 3 ? std::vector<cycle>{{1, 2}, {2, 0}, {0, 1}}
                            : std::vector<cycle>{{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    switch (corners) {
    case 4:
        return {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
    case 5:
        return {{0, 4, 1}, {1, 4, 2}, {2, 4, 3}, {3, 4, 0}, {0, 1, 2, 3}};
    case 6:
        return {{0, 1, 2}, {3, 5, 4}, {2, 1, 4, 5}, {0, 2, 5, 3}, {1, 0, 3, 4}};
    default:
        return {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}};
    }
}

inline bool is_surface(element_type type) {
    return type >= ET_FACE_MIX && type <= ET_Q9;
}

/// Corners of the linear form of a column, from the number of nodes in it.
inline std::size_t corners_of(element_type type, const std::vector<unsigned>& column) {
    const auto used = static_cast<std::size_t>(std::find(column.begin(), column.end(), no_node) - column.begin());
    if (is_surface(type))
        return used == 3 || used == 6 ? 3 : 4;
    switch (used) {
    case 4:
    case 10:
        return 4;
    case 5:
    case 13:
    case 14:
        return 5;
    case 6:
    case 15:
    case 18:
        return 6;
    default:
        return 8;
    }
}

/// Rows of a matrix of neighbours.
inline std::size_t faces_at_most(element_type type) {
    switch (type) {
    case ET_T3:
    case ET_T6:
        return 3;
    case ET_FACE_MIX:
    case ET_FACE_MIX_Q:
    case ET_Q4:
    case ET_Q8:
    case ET_Q9:
    case ET_TH4:
    case ET_TH10:
        return 4;
    case ET_PY5:
    case ET_PY13:
    case ET_PY14:
    case ET_W6:
    case ET_W15:
    case ET_W18:
        return 5;
    default:
        return 6;
    }
}

/// The faces of a column as cycles of node IDs.
inline std::vector<cycle> faces_of(element_type type, const std::vector<unsigned>& column) {
    std::vector<cycle> faces = local_faces(is_surface(type), corners_of(type, column));
    for (cycle& face : faces)
        for (unsigned& node : face)
            node = column[node];
    return faces;
}

/// True when two cycles are the same from some start in some direction.
inline bool same_cycle(const cycle& a, cycle b) {
    if (a.size() != b.size())
        return false;
    for (int direction = 0; direction < 2; ++direction) {
        for (std::size_t start = 0; start < b.size(); ++start) {
            if (a == b)
                return true;
            std::rotate(b.begin(), b.begin() + 1, b.end());
        }
        std::reverse(b.begin(), b.end());
    }
    return false;
}

struct neighbor_result {
    dense2D<unsigned> neighbors;
    bool manifold = true; // no face occurs more than twice
};

/// Compares each face with each other one.
inline neighbor_result neighbors_of_every_pair(const dense2D<unsigned>& connect, element_type type) {
    std::vector<std::vector<cycle>> faces;
    for (std::size_t j = 0; j < connect.cols(); ++j)
        faces.push_back(faces_of(type, column(connect, j)));
    neighbor_result result{dense2D<unsigned>(faces_at_most(type), connect.cols(), no_node)};
    for (std::size_t j = 0; j < faces.size(); ++j)
        for (std::size_t f = 0; f < faces[j].size(); ++f) {
            std::vector<std::size_t> others;
            for (std::size_t k = 0; k < faces.size(); ++k)
                for (std::size_t g = 0; g < faces[k].size(); ++g)
                    if ((j != k || f != g) && same_cycle(faces[j][f], faces[k][g]))
                        others.push_back(k);
            if (others.size() == 1)
                result.neighbors(f, j) = static_cast<unsigned>(others[0]);
            result.manifold = result.manifold && others.size() < 2;
        }
    return result;
}

/// The least of all readings of a cycle.
inline cycle least_reading(cycle face) {
    cycle least = face;
    for (int direction = 0; direction < 2; ++direction) {
        for (std::size_t start = 0; start < face.size(); ++start) {
            least = std::min(least, face);
            std::rotate(face.begin(), face.begin() + 1, face.end());
        }
        std::reverse(face.begin(), face.end());
    }
    return least;
}

using face_slots = std::map<cycle, std::vector<std::pair<unsigned, unsigned>>>; // element and face, in order

inline face_slots slots_of_faces(const dense2D<unsigned>& connect, element_type type) {
    face_slots slots;
    for (unsigned j = 0; j < connect.cols(); ++j) {
        const auto faces = faces_of(type, column(connect, j));
        for (unsigned f = 0; f < faces.size(); ++f)
            slots[least_reading(faces[f])].emplace_back(j, f);
    }
    return slots;
}

/// The same by a sorted table of faces, for larger meshes.
inline neighbor_result neighbors_by_table(const dense2D<unsigned>& connect, element_type type) {
    neighbor_result result{dense2D<unsigned>(faces_at_most(type), connect.cols(), no_node)};
    for (const auto& [face, slots] : slots_of_faces(connect, type)) {
        if (slots.size() == 2) {
            result.neighbors(slots[0].second, slots[0].first) = slots[1].first;
            result.neighbors(slots[1].second, slots[1].first) = slots[0].first;
        }
        result.manifold = result.manifold && slots.size() <= 2;
    }
    return result;
}

} // namespace test
