#include "extrude.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace BASELINES {

namespace {

constexpr unsigned none = 0xFFFFFFFFu;
constexpr std::size_t ahead = 16;

bool all_below(const unsigned* ids, std::size_t n, unsigned nodes) {
    unsigned beyond = 0;
    for (std::size_t k = 0; k < n; ++k)
        beyond |= ids[k] >= nodes ? 1u : 0u;
    return beyond == 0;
}

/// Checks the surface, numbers its nodes and writes the elements. Returns the number of nodes of a level.
unsigned build(const plain_sweep& s) {
    if (!all_below(s.faces, 4 * s.count, unsigned(s.nodes)))
        return 0;
    std::fill_n(s.index, s.nodes, none);
    unsigned per_level = 0;
    for (std::size_t k = 0; k < 4 * s.count; ++k) {
        __builtin_prefetch(s.index + s.faces[std::min(k + 4 * ahead, 4 * s.count - 1)]);
        const unsigned id = s.faces[k];
        if (s.index[id] == none) {
            s.index[id] = per_level;
            s.ids[per_level++] = id;
        }
    }
    unsigned* solid = s.solids;
    for (std::size_t j = 0; j < s.count; ++j) {
        const unsigned* const face = s.faces + 4 * j;
        for (std::size_t c = 0; c < 4 && j + ahead < s.count; ++c)
            __builtin_prefetch(s.index + face[4 * ahead + c]);
        unsigned lower[4], upper[4];
        for (unsigned c = 0; c < 4; ++c) {
            lower[c] = face[c];
            upper[c] = unsigned(s.nodes) + s.index[face[c]];
        }
        for (unsigned k = 0; k < s.layers; ++k, solid += 8)
            for (unsigned c = 0; c < 4; ++c) {
                solid[c] = lower[c];
                solid[4 + c] = upper[c];
                lower[c] = upper[c];
                upper[c] += per_level;
            }
        for (unsigned c = 0; c < 4; ++c)
            s.cap[4 * j + c] = lower[(4 - c) % 4];
    }
    std::memcpy(s.swept, s.pos, 3 * s.nodes * sizeof(double));
    return per_level;
}

/// Writes the nodes of all levels, level by level: place(t, level, node, x, image).
template <class Place>
void place_levels(const plain_sweep& s, unsigned per_level, Place place) {
    double* image = s.swept + 3 * s.nodes;
    for (unsigned k = 1; k <= s.layers; ++k) {
        const auto on_level = place(double(k) / s.layers, k);
        for (unsigned j = 0; j < per_level; ++j, image += 3) {
            __builtin_prefetch(s.pos + 3 * std::size_t(s.ids[j + ahead < per_level ? j + ahead : j]));
            on_level(s.ids[j], s.pos + 3 * std::size_t(s.ids[j]), image, 3 * std::size_t(per_level));
        }
    }
}

void cross(const double* a, const double* b, double* c) {
    c[0] = a[1] * b[2] - a[2] * b[1];
    c[1] = a[2] * b[0] - a[0] * b[2];
    c[2] = a[0] * b[1] - a[1] * b[0];
}

double dot(const double* a, const double* b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

void add_normals(const plain_sweep& s, double* normals) {
    std::fill_n(normals, 3 * s.nodes, 0.0);
    for (std::size_t j = 0; j < s.count; ++j) {
        const unsigned* const face = s.faces + 4 * j;
        for (std::size_t c = 0; c < 4 && j + ahead < s.count; ++c) {
            __builtin_prefetch(s.pos + 3 * std::size_t(face[4 * ahead + c]));
            __builtin_prefetch(normals + 3 * std::size_t(face[4 * ahead + c]), 1);
        }
        for (unsigned c = 0; c < 4; ++c) {
            const double* const x = s.pos + 3 * std::size_t(face[c]);
            const double* const y = s.pos + 3 * std::size_t(face[(c + 1) % 4]);
            const double* const z = s.pos + 3 * std::size_t(face[(c + 3) % 4]);
            const double a[] = {y[0] - x[0], y[1] - x[1], y[2] - x[2]};
            const double b[] = {z[0] - x[0], z[1] - x[1], z[2] - x[2]};
            double n[3];
            cross(a, b, n);
            const double sine = std::sqrt(dot(n, n));
            const double factor = sine > 0 ? std::atan2(sine, dot(a, b)) / sine : 0;
            for (unsigned i = 0; i < 3; ++i)
                normals[3 * std::size_t(face[c]) + i] += factor * n[i];
        }
    }
    for (std::size_t v = 0; v < s.nodes; ++v) {
        const double length = std::sqrt(dot(normals + 3 * v, normals + 3 * v));
        for (unsigned i = 0; i < 3; ++i)
            normals[3 * v + i] = length > 0 ? normals[3 * v + i] / length : 0;
    }
}

} // namespace

void translate(const plain_sweep& s, const double* shift) {
    const unsigned per_level = build(s);
    place_levels(s, per_level, [=](double t, unsigned) {
        return [x0 = t * shift[0], y0 = t * shift[1], z0 = t * shift[2]](unsigned, const double* x, double* image,
                                                                         std::size_t) {
            image[0] = x[0] + x0;
            image[1] = x[1] + y0;
            image[2] = x[2] + z0;
        };
    });
}

void turn(const plain_sweep& s, const plain_turn& motion) {
    const unsigned per_level = build(s);
    place_levels(s, per_level, [=](double t, unsigned) {
        const double c = std::cos(t * motion.angle);
        const double d = std::sin(t * motion.angle);
        const double r[3][3] = {{c, 0, d}, {0, 1, 0}, {-d, 0, c}};
        const double end[] = {motion.x0, t * motion.shift, 0};
        return [=](unsigned, const double* x, double* image, std::size_t) {
            const double u = x[0] - motion.x0;
            for (unsigned i = 0; i < 3; ++i)
                image[i] = end[i] + (r[i][0] * u + r[i][1] * x[1] + r[i][2] * x[2]);
        };
    });
}

void along_vectors(const plain_sweep& s, const double* vectors) {
    const unsigned per_level = build(s);
    place_levels(s, per_level, [=](double t, unsigned) {
        return [=](unsigned id, const double* x, double* image, std::size_t) {
            const double* const v = vectors + 3 * std::size_t(id);
            for (unsigned i = 0; i < 3; ++i)
                image[i] = x[i] + t * v[i];
        };
    });
}

void along_normals(const plain_sweep& s, double thickness, double* normals) {
    add_normals(s, normals);
    const unsigned per_level = build(s);
    place_levels(s, per_level, [=](double t, unsigned) {
        return [=](unsigned id, const double* x, double* image, std::size_t) {
            const double* const v = normals + 3 * std::size_t(id);
            for (unsigned i = 0; i < 3; ++i)
                image[i] = x[i] + t * thickness * v[i];
        };
    });
}

void along_line(const plain_sweep& s, const unsigned* line) {
    const unsigned per_level = build(s);
    place_levels(s, per_level, [=](double, unsigned k) {
        const double* const from = s.pos + 3 * std::size_t(line[k - 1]);
        const double* const to = s.pos + 3 * std::size_t(line[k]);
        return [=](unsigned, const double* x, double* image, std::size_t per_level_size) {
            const double* const below = k == 1 ? x : image - per_level_size;
            for (unsigned i = 0; i < 3; ++i)
                image[i] = to[i] + (below[i] - from[i]);
        };
    });
}

} // namespace BASELINES
