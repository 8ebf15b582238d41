#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <initializer_list>

#include <meldra3d/meldra3d.h>

// Rotations by a formula of their own, in extended precision.
namespace test {

using vec3 = quorl::vector_fixed<double, 3>;

/// Node j, turned about a point by a part of a rotation vector: x cos t + (n x x) sin t + n (n.x) (1 - cos t).
inline std::array<double, 3> turned(const quorl::dense2D<double>& pos, std::size_t j, const vec3& centre,
                                    const vec3& rotation, long double part) {
    long double n[3], x[3], angle = 0, along = 0;
    for (unsigned i = 0; i < 3; ++i)
        angle += (long double)rotation[i] * rotation[i];
    angle = std::sqrt(angle);
    for (unsigned i = 0; i < 3; ++i) {
        n[i] = angle == 0 ? 0 : rotation[i] / angle;
        x[i] = (i < pos.rows() ? pos(i, j) : 0) - (long double)centre[i];
        along += n[i] * x[i];
    }
    std::array<double, 3> image{};
    for (unsigned i = 0; i < 3; ++i) {
        const unsigned b = (i + 1) % 3, c = (i + 2) % 3;
        image[i] =
            double(centre[i] + x[i] * std::cos(part * angle) + (n[b] * x[c] - n[c] * x[b]) * std::sin(part * angle) +
                   n[i] * along * (1 - std::cos(part * angle)));
    }
    return image;
}

inline void expect_near(const quorl::dense2D<double>& pos, std::size_t j, const std::array<double, 3>& expected,
                        double tolerance) {
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_NEAR(pos(i, j), expected[i], tolerance) << "node " << j << ", row " << i;
}

} // namespace test
