#include <gtest/gtest.h>

#include <vector>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;

namespace {

/// Calls attempt() with its first, second, ... allocation failing until it succeeds. Each failure has to give -199, an
/// empty output and all memory back. Returns the number of failures.
template <class Output, class Attempt>
std::size_t fail_every_allocation(Output& output, Attempt attempt) {
    output = Output();
    const std::size_t blocks_before = live_blocks();
    for (std::size_t k = 1; k < 100; ++k) {
        fail_allocation(k);
        const int status = attempt();
        if (!stop_failing()) {
            EXPECT_EQ(status, 0);
            EXPECT_FALSE(output.empty());
            return k - 1;
        }
        EXPECT_EQ(status, -199) << "allocation " << k;
        EXPECT_TRUE(output.empty()) << "allocation " << k;
        output = Output();
        EXPECT_EQ(live_blocks(), blocks_before) << "allocation " << k;
    }
    ADD_FAILURE() << "never succeeds";
    return 0;
}

} // namespace

TEST(MeldraMemory, NeighborsWithoutMemoryGiveNothing) {
    const dense2D<unsigned> mixed = ids({{0, 1, 2, 3, no_node, no_node, no_node, no_node}, {0, 1, 2, 3, 4, 5, 6, 7}});
    for (const auto& [connect, type] :
         {std::pair(ids({{0, 1, 2}, {2, 1, 3}}), ET_T3), std::pair(ids({{0, 1, 2, 3}, {2, 1, 0, 4}}), ET_TH4),
          std::pair(mixed, ET_SOLID_MIX)}) {
        const dense2D<unsigned>& elements = connect;
        const element_type kind = type;
        dense2D<unsigned> neighbors;
        for (const bool strict : {false, true})
            EXPECT_GE(fail_every_allocation(neighbors,
                                            [&] {
                                                neighbors = dense2D<unsigned>(); // a block of its own would be reused
                                                return meldra::get_neighbors(elements, kind, strict, neighbors);
                                            }),
                      8u)
                << "four arrays, each of a block and its elements";
    }
}

TEST(MeldraMemory, ARefusedMeshTakesNoMemoryAlong) {
    const dense2D<unsigned> three_times(4, 3, 5u);
    const std::size_t blocks_before = live_blocks();
    dense2D<unsigned> neighbors;
    EXPECT_EQ(meldra::get_neighbors(three_times, ET_TH4, true, neighbors), -3);
    EXPECT_EQ(live_blocks(), blocks_before);
}

TEST(MeldraMemory, AncestorsWithoutMemoryGiveNothing) {
    const auto connect = ids({{0, 1, 2}, {2, 1, 3}});
    dense1D<unsigned, 8> ancestors;
    EXPECT_EQ(fail_every_allocation(ancestors, [&] { return meldra::get_ancestors(connect, ancestors); }), 2u);
    ancestors = {7, 7};
    fail_allocation(1);
    EXPECT_EQ(meldra::get_ancestors(connect, ancestors), -199);
    EXPECT_TRUE(stop_failing());
    EXPECT_TRUE(ancestors.empty());
}

TEST(MeldraMemory, SimplifyWithoutMemoryChangesNothing) {
    std::vector<double> coordinates{0, 1, 2, 3};
    dense1D<unsigned, 8> new_ids{7};
    std::size_t failures = 0;
    for (std::size_t k = 1; k < 100; ++k) {
        auto pos = dense2D<double>::view(coordinates.data(), 1, 4, 1);
        dense2D<unsigned> matrices[2] = {ids({{3, 1}}), ids({{1, no_node}})};
        const dense2D<unsigned> shared[2] = {matrices[0], matrices[1]};
        fail_allocation(k);
        const int status = meldra::simplify(pos, matrices, matrices + 2, new_ids, 0);
        if (!stop_failing()) {
            EXPECT_EQ(status, 0);
            EXPECT_EQ(entries(matrices[0]), (std::vector<unsigned>{1, 0}));
            EXPECT_EQ(pos.cols(), 2u);
            break;
        }
        ++failures;
        EXPECT_EQ(status, -199) << "allocation " << k;
        EXPECT_EQ(entries(pos), coordinates) << "allocation " << k;
        EXPECT_EQ(entries(matrices[0]), (std::vector<unsigned>{3, 1})) << "allocation " << k;
        EXPECT_EQ(entries(matrices[1]), (std::vector<unsigned>{1, no_node})) << "allocation " << k;
        EXPECT_EQ(new_ids.size(), 1u) << "allocation " << k;
        EXPECT_EQ(new_ids[0], 7u) << "allocation " << k;
    }
    EXPECT_EQ(failures, 8u) << "four arrays, each of a block and its elements";
    EXPECT_EQ(coordinates, (std::vector<double>{0, 1, 2, 3}));
}

TEST(MeldraMemory, ChecksNeedNone) {
    const auto connect = ids({{0, 1, 2}, {2, 1, 3}});
    fail_allocation(1);
    EXPECT_TRUE(meldra::check_IDs(connect, ET_T3, 4));
    EXPECT_TRUE(meldra::check_IDs(connect, 4));
    EXPECT_TRUE(meldra::check_IDs(connect.as_vector(), 4));
    EXPECT_FALSE(stop_failing());
}

TEST(MeldraMemory, ADetectorWithoutMemoryIsEmptyAndServesAgain) {
    dense2D<double> pos(3, 40);
    dense2D<unsigned> connect(4, 10);
    for (unsigned k = 0; k < 40; ++k) {
        connect.data()[k] = k;
        for (unsigned i = 0; i < 3; ++i)
            pos(i, k) = k * (i + 1);
    }
    meldra::node_detector detector;
    std::size_t failures = 0;
    for (std::size_t blocks_before = live_blocks();; ++failures) {
        EXPECT_EQ(detector.reinit(pos, connect), 0);
        fail_allocation(failures + 1);
        const int status = detector.reinit(pos, connect);
        if (!stop_failing()) {
            EXPECT_EQ(status, 0);
            EXPECT_EQ(detector.find_closest({0, 0, 0}), 0u);
            break;
        }
        EXPECT_EQ(status, -199) << "allocation " << failures + 1;
        EXPECT_EQ(detector.find_closest({0, 0, 0}), no_node);
        EXPECT_EQ(detector.find_close({0, 0, 0}), no_node);
        EXPECT_EQ(live_blocks(), blocks_before) << "allocation " << failures + 1;
        ASSERT_LT(failures, 100u);
    }
    EXPECT_GE(failures, 13u) << "six arrays, each of a block and its elements, and the tree";

    fail_allocation(1);
    detector.find_closest({1, 2, 3});
    detector.find_close({1, 2, 3});
    meldra::node_detector copy = detector;
    copy = std::move(detector);
    EXPECT_FALSE(stop_failing()) << "searching and copying need none";
}
