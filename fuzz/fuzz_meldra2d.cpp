// Normals of random surfaces against their definition in extended precision, where no rounding decides.

#include "suits.h"

#include <array>
#include <cmath>
#include <numbers>

namespace {

using namespace fuzz;

constexpr long double pi = std::numbers::pi_v<long double>;

using vec3 = std::array<long double, 3>;

vec3 minus(const vec3& a, const vec3& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

long double dot(const vec3& a, const vec3& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

vec3 cross(const vec3& a, const vec3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

long double length(const vec3& a) {
    return std::sqrt(dot(a, a));
}

/// What is known of the sum at a node.
struct expected_sum {
    vec3 sum{0, 0, 0};
    unsigned corners = 0;
    bool delicate = false; ///< rounding decides something
};

/// True when vectors are so near to parallel that rounding could turn their cross product.
bool nearly_parallel(const vec3& a, const vec3& b) {
    return !(length(cross(a, b)) > 1e-5L * length(a) * length(b));
}

void add_corner(const std::vector<vec3>& x, std::size_t c, expected_sum& node) {
    const std::size_t n = x.size();
    const vec3 next = minus(x[(c + 1) % n], x[c]);
    const vec3 last = minus(x[(c + n - 1) % n], x[c]);
    ++node.corners;
    if (nearly_parallel(next, last)) {
        node.delicate = true;
        return;
    }
    const vec3 normal = cross(next, last);
    long double weight = std::atan2(length(normal), dot(next, last));
    if (n == 4) {
        const vec3 diagonals[] = {minus(x[2], x[0]), minus(x[3], x[1])};
        const vec3 whole = cross(diagonals[0], diagonals[1]);
        const long double side = dot(normal, whole);
        node.delicate |= nearly_parallel(diagonals[0], diagonals[1]);
        node.delicate |= std::abs(side) <= 1e-5L * length(normal) * length(whole);
        if (side < 0)
            weight -= 2 * pi;
    }
    for (unsigned i = 0; i < 3; ++i)
        node.sum[i] += weight / length(normal) * normal[i];
}

std::vector<expected_sum> expected_sums(const snapshot<double>& pos, const snapshot<unsigned>& faces) {
    std::vector<expected_sum> nodes(pos.cols);
    for (std::size_t j = 0; j < faces.cols; ++j) {
        const unsigned* const face = faces.col(j);
        const std::size_t n = faces.rows == 4 && face[3] != no_node ? 4 : 3;
        std::vector<vec3> corners;
        bool usual = true;
        for (std::size_t c = 0; c < n; ++c) {
            const double* const x = pos.col(face[c]);
            for (unsigned i = 0; i < 3; ++i)
                usual = usual && std::abs(x[i]) < 1e200 && (x[i] == 0 || std::abs(x[i]) > 1e-200);
            corners.push_back({x[0], x[1], x[2]});
        }
        for (std::size_t c = 0; c < n; ++c) {
            add_corner(corners, c, nodes[face[c]]);
            nodes[face[c]].delicate |= !usual;
        }
    }
    return nodes;
}

void check_normal(const double* normal, const expected_sum& expected, double tolerance, bool unit) {
    const vec3 found{normal[0], normal[1], normal[2]};
    const long double size = length(found);
    require(std::isfinite(size), "finite normals");
    require(expected.corners != 0 || size == 0, "no normal where no face touches");
    if (unit)
        require(size == 0 || std::abs(size - 1) < 1e-15L, "normals of length 1");
    else
        require(size == 0 || (size > tolerance * (1 - 1e-15L) && size < 2 * pi * expected.corners + 1e-12L),
                "sums of angles above the tolerance");
    const long double whole = length(expected.sum);
    if (expected.delicate || std::abs(whole - tolerance) < 1e-9L || whole < 1e-3L)
        return;
    for (unsigned i = 0; i < 3; ++i) {
        const long double component = whole <= tolerance ? 0 : expected.sum[i] / (unit ? whole : 1);
        require(std::abs(found[i] - component) < 1e-8L, "the definition of the normal");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const double tolerance = args.rarely(4) ? args.number() : 0;
    const bool unit = args.flag();
    dense2D<double> pos = args.coordinates();
    const unsigned rows = args.rarely(16) ? args.below(6) : 3 + args.below(2);
    const dense2D<unsigned> faces = args.connectivity(rows, {rows, 3}, named_columns(pos.cols()));
    const snapshot<double> pos_before(pos);
    const snapshot<unsigned> faces_before(faces);
    const bool in_place = args.rarely(8);
    dense2D<double> other = args.rarely(4) ? pos : dense2D<double>();
    dense2D<double>& normals = in_place ? pos : other;
    const std::size_t nodes = pos.cols();

    const int status = quorl::meldra2d::normals(pos, faces, tolerance, unit, normals);

    require(args.callers_memory_kept(), "the caller's memory unchanged");
    require(faces_before.same(faces) && (in_place || pos_before.same(pos)), "inputs unchanged");
    int expected = 0;
    if (!faces_before.empty()) {
        if (pos_before.rows != 3)
            expected = -1;
        else if (!suits(faces_before, quorl::ET_FACE_MIX, named_columns(nodes)))
            expected = -2;
        else if (!(tolerance >= 0))
            expected = -3;
    }
    if (nodes > many_columns && expected == 0)
        expected = -199; // a normal for each
    require(status == expected, "the status of a checked argument");
    require(normals.rows() == (status == 0 ? 3 : 0) && normals.cols() == (status == 0 ? nodes : 0), "dimensions");
    if (status != 0)
        return 0;
    const std::vector<expected_sum> sums =
        faces_before.empty() ? std::vector<expected_sum>(nodes) : expected_sums(pos_before, faces_before);
    for (std::size_t j = 0; j < nodes; ++j)
        check_normal(normals.col(j), sums[j], tolerance, unit);
    return 0;
}
