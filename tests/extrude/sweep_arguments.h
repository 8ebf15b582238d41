#pragma once

#include <gtest/gtest.h>

#include <tuple>

#include "support/meshes.h"

namespace test {

/// The arguments that all sweeps share. They are valid; a test spoils some.
struct sweep_arguments {
    dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}});
    dense2D<unsigned> surface = ids({{0, 1, 2}});
    double start = 0.5, end = 0.5;
    unsigned layers = 2;
    dense2D<unsigned> solids = ids({{0, 1, 2, 3, 0, 1}});
    dense2D<unsigned> edges = ids({{0, 1}});
    dense2D<unsigned> sides = ids({{0, 1, 2, 3}});
    dense2D<unsigned> cap = ids({{3, 2, 1}});

    auto state() const {
        return std::make_tuple(pos.rows(), pos.cols(), entries(pos), entries(surface), entries(solids), solids.rows(),
                               entries(edges), entries(sides), sides.rows(), entries(cap), cap.rows());
    }
};

/// The call gives this status and changes nothing.
#define EXPECT_REFUSED(args, call, status)                                                                             \
    do {                                                                                                               \
        const auto before = (args).state();                                                                            \
        EXPECT_EQ(((args).*(call))(), status);                                                                         \
        EXPECT_TRUE((args).state() == before) << "something changed";                                                  \
    } while (false)

} // namespace test
