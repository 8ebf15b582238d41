#pragma once

#include <array>
#include <cmath>

#include "locate/tetra_meshes.h"
#include "parts.h"

// Delaunay meshes of random points: elements of all shapes and sizes, flat and long ones at the outside, nodes with few
// and with many elements.
namespace test {

/// Point by point: the elements with the point inside their circumsphere give way to those between their outer faces
/// and the point (A. Bowyer, D. F. Watson, 1981). In more digits than the points have; what the mesh is sure to be is
/// checked at the end.
class delaunay_mesher {
public:
    delaunay_mesher() {
        for (const point& corner : {point{-9, -9, -9}, point{41, -9, -9}, point{-9, 41, -9}, point{-9, -9, 41}})
            nodes_.push_back(corner);
        add({0, 1, 2, 3});
    }

    void insert(double x, double y, double z) {
        const auto node = static_cast<unsigned>(nodes_.size());
        nodes_.push_back({x, y, z});
        std::vector<tetrahedron> stay, give_way;
        for (const tetrahedron& t : elements_)
            (square_of(nodes_[node], t.centre) < t.square ? give_way : stay).push_back(t);
        std::map<std::set<unsigned>, unsigned> times; // of each face
        for (const tetrahedron& t : give_way)
            for (unsigned k = 0; k < 4; ++k)
                ++times[face_of(t, k)];
        elements_ = stay;
        for (const tetrahedron& t : give_way)
            for (unsigned k = 0; k < 4; ++k)
                if (times[face_of(t, k)] == 1) {
                    std::array<unsigned, 4> nodes = t.nodes;
                    nodes[k] = node;
                    add(nodes);
                }
    }

    /// The elements that do without the four corners around all.
    whole_mesh mesh() const {
        whole_mesh result{dense2D<double>(3, 0), dense2D<unsigned>(4, 0), ET_TH4};
        for (std::size_t n = 4; n < nodes_.size(); ++n) {
            const double x[3] = {double(nodes_[n][0]), double(nodes_[n][1]), double(nodes_[n][2])};
            result.pos.append(x);
        }
        real volume = 0;
        for (const tetrahedron& t : elements_) {
            EXPECT_GT(t.volume, 0);
            volume += t.volume;
            unsigned ids[4];
            for (unsigned k = 0; k < 4; ++k)
                ids[k] = t.nodes[k] - 4;
            std::swap(ids[0], ids[1]); // which makes it direct
            if (*std::min_element(t.nodes.begin(), t.nodes.end()) >= 4)
                result.connectivity.append(ids);
        }
        EXPECT_NEAR(double(volume), 50. * 50 * 50, 1e-6); // no gap, nothing twice
        return result;
    }

private:
    using real = long double;
    using point = std::array<real, 3>;

    struct tetrahedron {
        std::array<unsigned, 4> nodes;
        point centre; ///< of the circumsphere
        real square;  ///< of its radius
        real volume;  ///< six-fold
    };

    static point minus(const point& a, const point& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
    static real dot(const point& a, const point& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
    static real square_of(const point& a, const point& b) { return dot(minus(a, b), minus(a, b)); }
    static point cross(const point& a, const point& b) {
        return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    }

    static std::set<unsigned> face_of(const tetrahedron& t, unsigned k) {
        std::set<unsigned> face(t.nodes.begin(), t.nodes.end());
        face.erase(t.nodes[k]);
        return face;
    }

    void add(const std::array<unsigned, 4>& nodes) {
        const point& origin = nodes_[nodes[0]];
        const point a = minus(nodes_[nodes[1]], origin), b = minus(nodes_[nodes[2]], origin),
                    c = minus(nodes_[nodes[3]], origin);
        const real volume = dot(a, cross(b, c));
        const point bc = cross(b, c), ca = cross(c, a), ab = cross(a, b);
        point centre;
        for (unsigned i = 0; i < 3; ++i)
            centre[i] = origin[i] + (dot(a, a) * bc[i] + dot(b, b) * ca[i] + dot(c, c) * ab[i]) / (2 * volume);
        elements_.push_back({nodes, centre, square_of(centre, origin), volume});
    }

    std::vector<point> nodes_;
    std::vector<tetrahedron> elements_;
};

/// Of points in the unit cube, dense near one of its corners, in an order that is none.
inline whole_mesh delaunay_mesh(unsigned points, unsigned seed = 1) {
    dice random(seed);
    delaunay_mesher mesher;
    for (unsigned k = 0; k < points; ++k) {
        const double near = share(random);
        mesher.insert(near * share(random), near * share(random), share(random));
    }
    return shuffled(mesher.mesh(), seed);
}

} // namespace test
