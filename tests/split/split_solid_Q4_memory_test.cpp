#include <gtest/gtest.h>

#include <vector>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::split_solid_Q4;

namespace {

/// A row of cubes, each with the quadrangles to its neighbours cut; half of them become wedges.
struct row_of_cubes {
    dense2D<double> pos{3, 0};
    dense2D<unsigned> solids{8, 0};
    dense2D<unsigned> quadrangles{4, 0};
    dense1D<unsigned, 8> diagonals;
    dense1D<unsigned, 8> failed;
    dense2D<unsigned> out;

    explicit row_of_cubes(unsigned n) {
        for (unsigned k = 0; k <= n; ++k) {
            const double corners[4][3] = {{1.0 * k, 0, 0}, {1.0 * k, 1, 0}, {1.0 * k, 1, 1}, {1.0 * k, 0, 1}};
            for (const auto& corner : corners)
                pos.append(corner);
            const unsigned a = 4 * k, b = a + 4;
            const unsigned nodes[] = {a, b, b + 1, a + 1, a + 3, b + 3, b + 2, a + 2};
            const unsigned face[] = {a, a + 1, a + 2, a + 3};
            if (k < n)
                solids.append(nodes);
            quadrangles.append(face);
            diagonals.push_back(k / 2 % 2);
        }
    }
    int run() { return split_solid_Q4(pos, solids, quadrangles, diagonals, 0, failed, out); }
};

} // namespace

TEST(SplitSolidQ4Memory, WithoutRoomForItsCentroidAnElementFails) {
    // Memory of the caller has no room for a node: the first one needs a new block.
    row_of_cubes mesh(1);
    std::vector<double> memory(mesh.pos.data(), mesh.pos.data() + mesh.pos.size());
    mesh.quadrangles = mesh.quadrangles.sub(0, 1, 4, 1);
    std::size_t listed = 0;
    for (std::size_t k = 1;; ++k) {
        mesh.pos = dense2D<double>::view(memory.data(), 3, 8, 3);
        fail_allocation(k);
        EXPECT_EQ(mesh.run(), 0);
        if (!stop_failing())
            break;
        if (mesh.failed.size() == 1) {
            ++listed;
            EXPECT_EQ(mesh.pos.cols(), 8u);
            EXPECT_EQ(mesh.out.cols(), 0u);
        }
    }
    EXPECT_GE(listed, 1u);
}
