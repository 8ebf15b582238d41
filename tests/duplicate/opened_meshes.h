#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "support/meshes.h"

// Meshes to be opened, their faces found by geometry, and the opening told a second time without tables of faces.
namespace test {

using quorl::element_type;

struct solid_mesh {
    dense2D<double> pos;
    dense2D<unsigned> connect;
    dense2D<unsigned> neighbors;
    dense1D<unsigned, 8> ancestors;
    element_type type;

    void find_neighbors() {
        EXPECT_EQ(quorl::meldra::get_neighbors(connect, type, false, neighbors), 0);
        EXPECT_EQ(quorl::meldra::get_ancestors(connect, ancestors), 0);
    }

    std::set<unsigned> nodes_of(unsigned element) const {
        std::set<unsigned> nodes(connect.col(element), connect.col(element) + connect.rows());
        nodes.erase(no_node);
        return nodes;
    }
};

using vec3 = std::array<double, 3>;

inline vec3 minus(const vec3& a, const vec3& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

inline double dot(const vec3& a, const vec3& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline vec3 cross(const vec3& a, const vec3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline vec3 at(const solid_mesh& m, unsigned node) {
    return {m.pos(0, node), m.pos(1, node), m.pos(2, node)};
}

template <class Nodes>
vec3 centroid(const solid_mesh& m, const Nodes& nodes) {
    vec3 sum{};
    for (const unsigned node : nodes)
        for (std::size_t i = 0; i < 3; ++i)
            sum[i] += at(m, node)[i] / double(nodes.size());
    return sum;
}

/// The face between two elements as the cycle that turns counter-clockwise seen from the second.
inline std::vector<unsigned> face_between(const solid_mesh& m, unsigned from, unsigned to) {
    const auto one = m.nodes_of(from), other = m.nodes_of(to);
    std::vector<unsigned> face;
    std::set_intersection(one.begin(), one.end(), other.begin(), other.end(), std::back_inserter(face));
    const vec3 middle = centroid(m, face);
    const vec3 first = minus(at(m, face[0]), middle);
    vec3 normal = cross(first, minus(at(m, face[1]), middle));
    if (std::fabs(dot(normal, normal)) < 1e-20) // face[1] lies opposite
        normal = cross(first, minus(at(m, face[2]), middle));
    const double towards = dot(normal, minus(centroid(m, other), middle));
    for (double& x : normal)
        x *= towards < 0 ? -1 : 1;
    const double length = std::sqrt(dot(normal, normal));
    const auto angle = [&](unsigned node) {
        const vec3 arm = minus(at(m, node), middle);
        const double turned = std::atan2(dot(cross(first, arm), normal) / length, dot(first, arm));
        return turned < -1e-9 ? turned + 8 : turned;
    };
    std::sort(face.begin(), face.end(), [&](unsigned a, unsigned b) { return angle(a) < angle(b); });
    return face;
}

struct grid_numbers {
    unsigned n;
    unsigned operator()(unsigned i, unsigned j, unsigned k) const { return i + (n + 1) * (j + (n + 1) * k); }
    std::array<unsigned, 8> cell(unsigned i, unsigned j, unsigned k) const {
        const auto& at = *this;
        return {at(i, j, k),     at(i + 1, j, k),     at(i + 1, j + 1, k),     at(i, j + 1, k),
                at(i, j, k + 1), at(i + 1, j, k + 1), at(i + 1, j + 1, k + 1), at(i, j + 1, k + 1)};
    }
};

inline dense2D<double> grid_points(unsigned n) {
    dense2D<double> pos(3, 0);
    for (unsigned k = 0; k <= n; ++k)
        for (unsigned j = 0; j <= n; ++j)
            for (unsigned i = 0; i <= n; ++i) {
                const double x[] = {double(i), double(j), double(k)};
                pos.append(x);
            }
    return pos;
}

inline void add(dense2D<unsigned>& connect, std::vector<unsigned> nodes) {
    nodes.resize(connect.rows(), no_node);
    connect.append(nodes.data());
}

inline solid_mesh hexahedra(unsigned n) {
    solid_mesh m{grid_points(n), dense2D<unsigned>(8, 0), {}, {}, quorl::ET_H8};
    const grid_numbers grid{n};
    for (unsigned k = 0; k < n; ++k)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned i = 0; i < n; ++i)
                m.connect.append(grid.cell(i, j, k).data());
    m.find_neighbors();
    return m;
}

/// Six direct tetrahedra in each cell, in 4 rows or in 8.
inline solid_mesh tetrahedra(unsigned n, std::size_t rows = 4) {
    solid_mesh m{grid_points(n), dense2D<unsigned>(rows, 0), {}, {}, rows == 4 ? quorl::ET_TH4 : quorl::ET_SOLID_MIX};
    const grid_numbers grid{n};
    for (unsigned k = 0; k < n; ++k)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned i = 0; i < n; ++i) {
                const auto c = grid.cell(i, j, k);
                for (const auto& [a, b] : {std::array{2, 1}, {3, 2}, {7, 3}, {4, 7}, {5, 4}, {1, 5}})
                    add(m.connect, {c[0], c[std::size_t(a)], c[std::size_t(b)], c[6]});
            }
    m.find_neighbors();
    return m;
}

/// Columns of hexahedra and of pairs of wedges in turn; every third hexahedron is cut into six pyramids.
inline solid_mesh mixed(unsigned n) {
    solid_mesh m{grid_points(n), dense2D<unsigned>(8, 0), {}, {}, quorl::ET_SOLID_MIX};
    const grid_numbers grid{n};
    unsigned whole = 0;
    for (unsigned k = 0; k < n; ++k)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned i = 0; i < n; ++i) {
                const auto c = grid.cell(i, j, k);
                if ((i + j) % 2 == 1) {
                    add(m.connect, {c[0], c[1], c[2], c[4], c[5], c[6]});
                    add(m.connect, {c[0], c[2], c[3], c[4], c[6], c[7]});
                } else if (whole++ % 3 != 1) {
                    add(m.connect, {c.begin(), c.end()});
                } else {
                    const double x[] = {i + 0.5, j + 0.5, k + 0.5};
                    m.pos.append(x);
                    const auto apex = unsigned(m.pos.cols() - 1);
                    for (const auto& base :
                         {std::array{0, 1, 2, 3}, {4, 7, 6, 5}, {0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}})
                        add(m.connect, {c[std::size_t(base[0])], c[std::size_t(base[1])], c[std::size_t(base[2])],
                                        c[std::size_t(base[3])], apex});
                }
            }
    m.find_neighbors();
    return m;
}

/// The faces between elements for which choose(centroid of the face) holds, seen from the element further along z (or
/// y, or x).
template <class Choose>
dense2D<unsigned> faces_where(const solid_mesh& m, const Choose& choose) {
    dense2D<unsigned> surface(m.type == quorl::ET_TH4 ? 3 : 4, 0);
    for (unsigned e = 0; e < m.connect.cols(); ++e)
        for (std::size_t f = 0; f < m.neighbors.rows(); ++f) {
            const unsigned other = m.neighbors(f, e);
            if (other == no_node)
                continue;
            const vec3 step = minus(centroid(m, m.nodes_of(other)), centroid(m, m.nodes_of(e)));
            const double ahead = std::fabs(step[2]) > 1e-9 ? step[2] : std::fabs(step[1]) > 1e-9 ? step[1] : step[0];
            auto face = face_between(m, e, other);
            if (ahead > 0 && choose(centroid(m, face)))
                add(surface, face);
        }
    return surface;
}

inline dense2D<unsigned> plane_at(const solid_mesh& m, double z) {
    return faces_where(m, [z](const vec3& c) { return std::fabs(c[2] - z) < 1e-9; });
}

/// Nodes of a surface without the excluded ones.
inline std::set<unsigned> nodes_to_copy(const dense2D<unsigned>& surface, const dense1D<unsigned, 8>& excluded) {
    const auto all = entries(surface);
    std::set<unsigned> nodes(all.begin(), all.end());
    nodes.erase(no_node);
    for (const unsigned node : excluded)
        nodes.erase(node);
    return nodes;
}

struct opened_mesh {
    std::vector<double> pos;
    std::vector<unsigned> connect;
    std::size_t added = 0;
};

/// The opening without tables: the face between two elements is what they have in common, and the side of a surface
/// element is told by its normal. For meshes of convex elements around each of whose nodes one can go from element to
/// element, with plane faces.
class plain_opening {
public:
    plain_opening(const solid_mesh& m, const dense2D<unsigned>& surface) : m_(m), surface_(surface) {
        for (std::size_t j = 0; j < surface.cols(); ++j)
            faces_.insert(set_of(surface_column(j)));
        result_.pos = entries(m.pos);
        result_.connect = entries(m.connect);
    }

    void open(std::set<unsigned> to_copy, bool plus) {
        for (std::size_t j = 0; j < surface_.cols(); ++j) {
            auto face = surface_column(j);
            if (!plus)
                std::swap(face[0], face[2]);
            for (const unsigned node : face)
                if (to_copy.erase(node) != 0)
                    copy_node(node, face);
        }
    }

    const opened_mesh& result() const { return result_; }

private:
    using node_set = std::set<unsigned>;

    static node_set set_of(const std::vector<unsigned>& nodes) { return {nodes.begin(), nodes.end()}; }

    std::vector<unsigned> surface_column(std::size_t j) const {
        auto nodes = column(surface_, j);
        if (nodes.back() == no_node)
            nodes.pop_back();
        return nodes;
    }

    /// The element that has the face and lies where its normal points to.
    unsigned element_behind(const std::vector<unsigned>& face) const {
        const vec3 corner = at(m_, face[0]);
        const vec3 normal = cross(minus(at(m_, face[1]), corner), minus(at(m_, face[2]), corner));
        for (unsigned e = 0; e < m_.connect.cols(); ++e) {
            const auto nodes = m_.nodes_of(e);
            const bool has_face =
                std::all_of(face.begin(), face.end(), [&](unsigned node) { return nodes.count(node) != 0; });
            if (has_face && dot(normal, minus(centroid(m_, nodes), corner)) > 0)
                return e;
        }
        return no_node;
    }

    void copy_node(unsigned node, const std::vector<unsigned>& face) {
        const auto copy = unsigned(result_.pos.size() / 3);
        for (unsigned i = 0; i < 3; ++i)
            result_.pos.push_back(m_.pos(i, node));
        ++result_.added;
        const unsigned start = element_behind(face);
        if (start == no_node)
            return;
        node_set met{no_node, start};
        std::vector<unsigned> stack{start};
        while (!stack.empty()) {
            const unsigned element = stack.back();
            stack.pop_back();
            const auto first = result_.connect.begin() + std::ptrdiff_t(element * m_.connect.rows());
            const auto last = first + std::ptrdiff_t(m_.connect.rows());
            if (const auto place = std::find(first, last, node); place != last)
                *place = copy;
            for (std::size_t f = 0; f < m_.neighbors.rows(); ++f) {
                const unsigned next = m_.neighbors(f, element);
                if (!met.insert(next).second || m_.nodes_of(next).count(node) == 0)
                    continue;
                const auto one = m_.nodes_of(element), other = m_.nodes_of(next);
                node_set common;
                std::set_intersection(one.begin(), one.end(), other.begin(), other.end(),
                                      std::inserter(common, common.end()));
                if (faces_.count(common) == 0)
                    stack.push_back(next);
            }
        }
    }

    const solid_mesh& m_;
    const dense2D<unsigned>& surface_;
    std::set<node_set> faces_;
    opened_mesh result_;
};

/// A mesh that duplicate_surface_nodes has opened, and what it returned.
struct call_result {
    dense2D<double> pos;
    dense2D<unsigned> connect;
    int status = 0;
};

inline call_result opened(const solid_mesh& m, const dense2D<unsigned>& surface, const dense1D<unsigned, 8>& excluded,
                          bool plus, bool minus) {
    call_result r{m.pos, m.connect, 0};
    r.status = quorl::meldra3d::duplicate_surface_nodes(r.pos, r.connect, m.neighbors, m.ancestors, surface, excluded,
                                                        plus, minus, m.type);
    return r;
}

} // namespace test
