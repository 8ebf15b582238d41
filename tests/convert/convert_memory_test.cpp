#include <gtest/gtest.h>

#include <vector>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::convert_into_high_order;
using meldra3d::convert_into_linear;
using meldra3d::convert_into_quadratic;

namespace {

constexpr unsigned none = no_node;

/// A row of hexahedra, so long that the tables grow, a pyramid and a tetrahedron behind it, and given groups.
struct arguments {
    static constexpr unsigned length = 100;
    dense2D<double> pos;
    dense2D<unsigned> connect{8, 0};
    dense2D<unsigned> out = ids({{1, 2}, {3, 4}});
    dense2D<unsigned> faces = ids({{0, 1, 2, 3, 1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4}});
    dense2D<unsigned> edges = ids({{4, 5, 9, 10}, {6, 5, 11, 12}});

    arguments() {
        pos.resize(3, 4 * length + 6, 1.0);
        for (unsigned j = 0; j < length; ++j) {
            const unsigned a = 4 * j;
            const unsigned cell[] = {a, a + 1, a + 2, a + 3, a + 4, a + 5, a + 6, a + 7};
            connect.append(cell);
        }
        const unsigned top = 4 * length;
        const unsigned pyramid[] = {top, top + 1, top + 2, top + 3, top + 4, none, none, none};
        const unsigned tetrahedron[] = {top, top + 1, top + 4, top + 5, none, none, none, none};
        connect.append(pyramid);
        connect.append(tetrahedron);
    }

    int core() { return convert_into_high_order(pos, connect, 2, 4, 1, 8, 1, 1, 1, out, faces, edges); }
    int in_place() { return convert_into_high_order(pos, connect, 2, 4, 1, 8, 1, 1, 1, faces, edges); }
    int quadratic() { return convert_into_quadratic(pos, connect); }
};

using form = int (arguments::*)();

/// Number of allocations of a call, each of which has been made to fail.
std::size_t fail_each(form call) {
    const arguments fresh;
    const std::size_t blocks_before = live_blocks();
    for (std::size_t k = 1;; ++k) {
        arguments args;
        const dense2D<unsigned> connect_seen = args.connect;
        fail_allocation(k);
        const int status = (args.*call)();
        if (!stop_failing()) {
            EXPECT_EQ(status, 0);
            return k - 1;
        }
        EXPECT_EQ(status, -199) << "allocation " << k;
        EXPECT_EQ(entries(args.pos), entries(fresh.pos));
        EXPECT_EQ(entries(args.faces), entries(fresh.faces));
        EXPECT_EQ(entries(args.edges), entries(fresh.edges));
        EXPECT_EQ(entries(connect_seen), entries(fresh.connect));
        const bool in_place = call != &arguments::core;
        EXPECT_EQ(args.connect.cols(), in_place ? 0 : fresh.connect.cols());
        EXPECT_EQ(args.out.cols(), in_place ? 2u : 0u);
        args.connect = connect_seen; // and all can be used again
        EXPECT_EQ((args.*call)(), 0);
        EXPECT_GT(args.pos.cols(), fresh.pos.cols());
        args = arguments();
        EXPECT_GE(live_blocks(), blocks_before);
    }
}

} // namespace

TEST(ConvertMemory, EachFailedAllocationLeavesTheArgumentsUsable) {
    const std::size_t blocks_before = live_blocks();
    for (const form call : {&arguments::core, &arguments::in_place, &arguments::quadratic})
        EXPECT_GE(fail_each(call), 20u);
    EXPECT_EQ(live_blocks(), blocks_before) << "a block is left over";
}

TEST(ConvertMemory, GoingDownTakesNone) {
    for (const bool shared : {false, true})
        for (const std::size_t rows : {10u, 27u}) {
            dense2D<unsigned> connect(rows, 5, 3u);
            const dense2D<unsigned> other = shared ? connect : dense2D<unsigned>();
            fail_allocation(1);
            EXPECT_EQ(convert_into_linear(connect), 0);
            EXPECT_FALSE(stop_failing()) << "it asked for memory";
            EXPECT_EQ(connect.rows(), rows == 10 ? 4u : 8u);
        }
}
