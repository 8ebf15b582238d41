#include <gtest/gtest.h>

#include "locate/tetra_meshes.h"
#include "support/failing_alloc.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

using list = dense1D<unsigned, 8>;

/// Calls search(elements, local) with its first, second, ... allocation failing until it succeeds. Each failure has to
/// give -199 and all memory back. Returns the number of failures.
template <class Search>
std::size_t fail_every_allocation(int success, Search search) {
    const std::size_t blocks_before = live_blocks();
    for (std::size_t k = 1; k < 300; ++k) {
        int status = 0;
        bool failed = false;
        {
            list elements;
            dense2D<double> local;
            fail_allocation(k);
            status = search(elements, local);
            failed = stop_failing();
        }
        EXPECT_EQ(live_blocks(), blocks_before) << "allocation " << k;
        EXPECT_EQ(status, failed ? -199 : success) << "allocation " << k;
        if (!failed)
            return k - 1;
    }
    ADD_FAILURE() << "never succeeds";
    return 0;
}

/// A mesh with a node outside, inside its box when the mesh lacks the cell at a corner.
searchable cut_cube() {
    searchable m = cube_of_tetrahedra(2, 0.1);
    m.connect.resize(4, m.connect.cols() - 6);
    EXPECT_TRUE(m.prepare());
    const double nodes[2][3] = {{0.3, 0.3, 0.3}, {0.95, 0.9, 0.85}};
    m.pos.append(nodes[0]);
    m.pos.append(nodes[1]);
    return m;
}

} // namespace

TEST(GetElementsMemory, OnePointTakesMemoryForTheBallOnly) {
    const searchable m = cut_cube();
    const auto find = [&](const vector_fixed<double, 3>& p, unsigned& element) {
        vector_fixed<double, 3> local;
        return get_element_containing_point(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, ET_TH4, p, element,
                                            local, 1e-6);
    };
    unsigned element = 0;
    fail_allocation(1);
    EXPECT_EQ(find({0.3, 0.3, 0.3}, element), 1);
    EXPECT_FALSE(stop_failing());
    EXPECT_GE(fail_every_allocation(0, [&](list&, dense2D<double>&) { return find({0.95, 0.9, 0.85}, element); }), 4u);
    fail_allocation(1);
    EXPECT_EQ(find({0.95, 0.9, 0.85}, element), -199);
    EXPECT_TRUE(stop_failing());
    EXPECT_EQ(element, no_node);
}

TEST(GetElementsMemory, OtherQuadraticSolidsAreCopied) {
    searchable m;
    m.pos = dense2D<double>(3, 20, 0.0);
    m.connect = dense2D<unsigned>(20, 1);
    for (unsigned k = 0; k < 20; ++k)
        m.connect(k, 0) = k;
    ASSERT_TRUE(m.prepare(ET_H20));
    EXPECT_GE(fail_every_allocation(-6,
                                    [&](list& elements, dense2D<double>& local) {
                                        return get_elements_containing_points(m.pos, m.connect, m.neighbors,
                                                                              m.ancestors, m.detector, ET_H20, m.pos,
                                                                              elements, local, 1e-6);
                                    }),
              6u);
}
