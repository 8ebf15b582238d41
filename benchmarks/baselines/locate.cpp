#include "locate.h"

#include <algorithm>
#include <cmath>

namespace BASELINES {

namespace {

constexpr unsigned nowhere = 0xFFFFFFFFu;

struct vec {
    double x, y, z;
};

vec between(const double* from, const double* to) {
    return {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
}

vec cross(const vec& a, const vec& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double dot(const vec& a, const vec& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// Through a face that the point lies beyond, not the one it came by, until there is none.
unsigned walk(const tetrahedra& mesh, unsigned element, const double* p, double (&local)[3]) {
    constexpr double tolerance = 1e-6;
    for (unsigned from = nowhere; element != nowhere;) {
        const unsigned* const node = mesh.connect + 4 * std::size_t(element);
        const double* const apex = mesh.pos + 3 * std::size_t(node[3]);
        const vec a = between(apex, mesh.pos + 3 * std::size_t(node[0]));
        const vec b = between(apex, mesh.pos + 3 * std::size_t(node[1]));
        const vec c = between(apex, mesh.pos + 3 * std::size_t(node[2]));
        const vec q = between(apex, p), bc = cross(b, c), aq = cross(a, q);
        const double volume = dot(a, bc);
        double side[4] = {dot(q, bc), dot(c, aq), -dot(b, aq), 0};
        side[3] = volume - side[0] - side[1] - side[2];
        unsigned face = 0;
        const unsigned* const across = mesh.neighbors + 4 * std::size_t(element);
        while (face < 4 && (side[face] >= -tolerance * volume || across[face] == from))
            ++face;
        if (face == 4) {
            for (unsigned i = 0; i < 3; ++i)
                local[i] = side[i] / volume;
            return element;
        }
        from = element;
        element = across[face];
    }
    return nowhere;
}

struct placed {
    std::uint64_t place;
    std::size_t number;
};

struct by_place {
    bool operator()(const placed& a, const placed& b) const { return a.place < b.place; }
};

/// Each of 20 bits, followed by two zeros.
std::uint64_t spread(std::uint64_t bits) {
    bits = (bits | bits << 32) & 0x001F00000000FFFF;
    bits = (bits | bits << 16) & 0x001F0000FF0000FF;
    bits = (bits | bits << 8) & 0x100F00F00F00F00F;
    bits = (bits | bits << 4) & 0x10C30C30C30C30C3;
    return (bits | bits << 2) & 0x1249249249249249;
}

} // namespace

grid_of_elements::grid_of_elements(const tetrahedra& mesh) {
    double high[3];
    for (unsigned i = 0; i < 3; ++i)
        low_[i] = high[i] = mesh.pos[i];
    for (std::size_t v = 0; v < mesh.nodes; ++v)
        for (unsigned i = 0; i < 3; ++i) {
            low_[i] = std::min(low_[i], mesh.pos[3 * v + i]);
            high[i] = std::max(high[i], mesh.pos[3 * v + i]);
        }
    side_ = std::max<std::size_t>(1, std::size_t(std::cbrt(double(mesh.nodes) / 2)));
    last_ = double(side_) - 0.5;
    scale_ = double(side_) / std::max({high[0] - low_[0], high[1] - low_[1], high[2] - low_[2]});
    element_.assign(side_ * side_ * side_, none);
    for (std::size_t e = 0; e < mesh.elements; ++e)
        for (unsigned k = 0; k < 4; ++k) {
            const double* const p = mesh.pos + 3 * std::size_t(mesh.connect[4 * e + k]);
            element_[cell(p, 0) + side_ * (cell(p, 1) + side_ * cell(p, 2))] = unsigned(e);
        }
}

std::uint64_t grid_of_elements::morton(const double* p) const {
    const double bits = 1048575, to_bits = (bits + 1) * scale_ / double(side_);
    const auto place = [&](unsigned i) {
        return spread(std::uint64_t(std::clamp((p[i] - low_[i]) * to_bits, 0.0, bits)));
    };
    return place(0) | place(1) << 1 | place(2) << 2;
}

void grid_walk(const tetrahedra& mesh, const grid_of_elements& grid, const double* points, std::size_t n,
               std::vector<unsigned>& elements, std::vector<double>& local) {
    std::vector<placed> sorted(n);
    for (std::size_t k = 0; k < n; ++k)
        sorted[k] = {grid.morton(points + 3 * k), k};
    std::sort(sorted.begin(), sorted.end(), by_place());
    elements.assign(n, nowhere);
    local.assign(3 * n, 0);
    unsigned last = 0;
    for (const placed& one : sorted) {
        const double* const p = points + 3 * one.number;
        double w[3];
        const unsigned found = walk(mesh, grid.near(p, last), p, w);
        elements[one.number] = found;
        if (found == nowhere)
            continue;
        last = found;
        std::copy_n(w, 3, &local[3 * one.number]);
    }
}

} // namespace BASELINES
