#include "convert/reference_nodes.h"

#include "frame/element_tables.h"

namespace quorl::meldra3d::detail {

namespace {

/// The weights of the two ends of a line of n evenly spaced nodes at node i.
struct end_weights {
    end_weights(std::uint64_t i, std::uint64_t n)
        : first(double(n - i) / (double(n) + 1)), second((double(i) + 1) / (double(n) + 1)) {}
    double first;
    double second;
};

/// The weighted sum of two points.
point sum(const point& a, double wa, const point& b, double wb) {
    return {wa * a[0] + wb * b[0], wa * a[1] + wb * b[1], wa * a[2] + wb * b[2]};
}

/// The corners of the reference cube in the order of the vertices of a hexahedron.
constexpr std::array<std::array<int, 3>, 8> cube_corners{
    {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1}, {-1, -1, 1}, {1, -1, 1}, {1, 1, 1}, {-1, 1, 1}}};

/// The places of the 26 nodes: 0 in the directions in which a node lies halfway.
consteval std::array<std::array<int, 3>, 26> places_of_26() {
    std::array<std::array<int, 3>, 26> places{};
    std::size_t row = 0;
    for (const auto& corner : cube_corners)
        places[row++] = corner;
    const auto add_middle = [&]<std::size_t N>(const std::array<unsigned, N>& nodes) {
        for (std::size_t i = 0; i < 3; ++i) {
            int total = 0;
            for (const unsigned node : nodes)
                total += cube_corners[node][i];
            places[row][i] = total / int(N);
        }
        ++row;
    };
    for (unsigned e = 0; e < hexahedron_record.edges; ++e)
        add_middle(hexahedron_record.edge[e]);
    for (unsigned f = 0; f < hexahedron_record.faces; ++f)
        add_middle(hexahedron_record.face_nodes[f].node);
    return places;
}

/// The quadratic function of a line's node at -1, 0 or 1.
double quadratic(int node, double x) {
    return node == 0 ? 1 - x * x : 0.5 * x * (x + node);
}

} // namespace

point node_on_edge(const point& a, const point& b, std::uint64_t i, std::uint64_t n) {
    const end_weights t(i, n);
    return sum(a, t.first, b, t.second);
}

point node_in_triangle(const std::array<point, 3>& vertices, unsigned k, unsigned n) {
    if (n == 1)
        return mean_of(vertices.data(), 3);
    const point others = sum(vertices[(k + 1) % 3], 0.25, vertices[(k + 2) % 3], 0.25);
    return sum(vertices[k], 0.5, others, 1);
}

point node_in_quadrangle(const std::array<point, 4>& vertices, unsigned i, unsigned j, unsigned n) {
    const end_weights u(i, n), v(j, n);
    const point one = sum(vertices[0], u.first * v.first, vertices[2], u.second * v.second);
    const point other = sum(vertices[1], u.second * v.first, vertices[3], u.first * v.second);
    return sum(one, 1, other, 1);
}

point centre_of_quadrangle(const std::array<point, 4>& vertices, const std::array<point, 4>& on_edges) {
    const point corners =
        sum(sum(vertices[0], 0.25, vertices[2], 0.25), 1, sum(vertices[1], 0.25, vertices[3], 0.25), 1);
    const point edges = sum(sum(on_edges[0], 0.5, on_edges[2], 0.5), 1, sum(on_edges[1], 0.5, on_edges[3], 0.5), 1);
    return sum(edges, 1, corners, -1);
}

point node_in_hexahedron(const std::array<point, 8>& vertices, unsigned i, unsigned j, unsigned k, unsigned n) {
    const point lower = node_in_quadrangle({vertices[0], vertices[1], vertices[2], vertices[3]}, i, j, n);
    const point upper = node_in_quadrangle({vertices[4], vertices[5], vertices[6], vertices[7]}, i, j, n);
    return node_on_edge(lower, upper, k, n);
}

point node_in_wedge(const std::array<point, 6>& vertices, std::uint64_t k, std::uint64_t n, unsigned n_triangle,
                    std::uint64_t n_edge) {
    const std::array<point, 3> lower{vertices[0], vertices[1], vertices[2]};
    const std::array<point, 3> upper{vertices[3], vertices[4], vertices[5]};
    if (n_triangle == 0 || n != n_triangle * n_edge)
        return node_on_edge(mean_of(lower.data(), 3), mean_of(upper.data(), 3), k, n);
    const auto at = static_cast<unsigned>(k % n_triangle);
    return node_on_edge(node_in_triangle(lower, at, n_triangle), node_in_triangle(upper, at, n_triangle),
                        k / n_triangle, n_edge);
}

point mean_of(const point* vertices, unsigned n) {
    point total{};
    for (unsigned k = 0; k < n; ++k)
        total = sum(total, 1, vertices[k], 1);
    return {total[0] / n, total[1] / n, total[2] / n};
}

std::array<double, 26> functions_of_26(double u, double v, double w) {
    static constexpr auto places = places_of_26();
    static constexpr double share_of_centre[4] = {0.125, -0.25, 0.5, 0}; // of a vertex, an edge, a face
    const double centre = quadratic(0, u) * quadratic(0, v) * quadratic(0, w);
    std::array<double, 26> values{};
    for (std::size_t k = 0; k < values.size(); ++k) {
        const auto& [x, y, z] = places[k];
        const unsigned halfway = unsigned(x == 0) + unsigned(y == 0) + unsigned(z == 0);
        values[k] = quadratic(x, u) * quadratic(y, v) * quadratic(z, w) + share_of_centre[halfway] * centre;
    }
    return values;
}

} // namespace quorl::meldra3d::detail
