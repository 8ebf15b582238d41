#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "extrude/sweep_arguments.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_line;

namespace {

constexpr unsigned none = no_node;

struct arguments : sweep_arguments {
    dense1D<unsigned, 8> line{0, 3, 1};
    vector_fixed<double, 3> dir0{0, 0, 1};
    dense2D<double> metrics = points({{1, 0, 1, 0, 0, 1}});
    dense1D<double, 8> sizes{1, 2, 3};

    int by_metrics() { return extrude_line(pos, surface, line, dir0, metrics, solids, edges, sides, cap); }
    int by_metrics_short() { return extrude_line(pos, surface, line, dir0, metrics, solids); }
    int by_sizes() { return extrude_line(pos, surface, line, dir0, sizes, solids, edges, sides, cap); }
    int by_sizes_short() { return extrude_line(pos, surface, line, dir0, sizes, solids); }
};

using form = int (arguments::*)();
constexpr form all_forms[] = {&arguments::by_metrics, &arguments::by_metrics_short, &arguments::by_sizes,
                              &arguments::by_sizes_short};
constexpr form full_forms[] = {&arguments::by_metrics, &arguments::by_sizes};
constexpr form metric_forms[] = {&arguments::by_metrics, &arguments::by_metrics_short};

dense2D<unsigned> with_rows(std::size_t rows) {
    return dense2D<unsigned>(rows, 1, 0u);
}

} // namespace

TEST(ExtrudeLineStatus, ValidArgumentsPass) {
    for (const form call : all_forms) {
        arguments args;
        EXPECT_EQ((args.*call)(), 0);
        EXPECT_EQ(args.solids.cols(), 3u);
        EXPECT_EQ(args.pos.cols(), 8u); // of two levels of three nodes, one each is a node of the line
    }
}

TEST(ExtrudeLineStatus, AnEmptySurfaceGivesZeroWhateverTheRest) {
    for (const form call : all_forms)
        for (const auto& nothing : {dense2D<unsigned>(), dense2D<unsigned>(3, 0), dense2D<unsigned>(0, 4)}) {
            arguments args;
            args.surface = nothing;
            args.pos = dense2D<double>(5, 1, 0.0);
            args.line = {};
            args.metrics = dense2D<double>(5, 1, 0.0);
            args.solids = args.edges = args.sides = args.cap = with_rows(7);
            EXPECT_REFUSED(args, call, 0);
        }
}

TEST(ExtrudeLineStatus, CoordinatesMustHaveThreeRows) {
    for (const form call : all_forms)
        for (const std::size_t rows : {0u, 1u, 2u, 4u, 9u}) {
            arguments args;
            args.pos = dense2D<double>(rows, 4, 0.0);
            EXPECT_REFUSED(args, call, -1);
        }
}

TEST(ExtrudeLineStatus, TheSurfaceMustBeWellFormed) {
    for (const form call : all_forms)
        for (const auto& surface : {ids({{0, 1, 4}}), ids({{0, 1, none}}), ids({{0, 1, 2, 4}}), ids({{0, 1, none, 2}}),
                                    ids({{0, 1}}), ids({{0, 1, 2, 3, 0}})}) {
            arguments args;
            args.surface = surface;
            EXPECT_REFUSED(args, call, -2);
        }
}

TEST(ExtrudeLineStatus, TheLineNeedsTwoNodesThatExist) {
    for (const form call : all_forms)
        for (const dense1D<unsigned, 8>& line :
             {dense1D<unsigned, 8>{}, {0}, {4, 0}, {0, 4}, {0, 1, 2, 77}, {none, 0}, {0, none}, {0, 1, none, 2}}) {
            arguments args;
            args.line = line;
            EXPECT_REFUSED(args, call, -3);
        }
}

TEST(ExtrudeLineStatus, MetricsMustHaveSixRows) {
    for (const form call : metric_forms) {
        for (const std::size_t rows : {1u, 3u, 5u, 7u, 9u}) {
            arguments args;
            args.metrics = dense2D<double>(rows, 3, 1.0);
            EXPECT_REFUSED(args, call, -5);
        }
        for (const auto& nothing : {dense2D<double>(), dense2D<double>(5, 0), dense2D<double>(0, 3)}) {
            arguments args;
            args.metrics = nothing;
            EXPECT_EQ((args.*call)(), 0);
        }
    }
}

TEST(ExtrudeLineStatus, AnyDirectionAndAnySizesPass) {
    const double nan_value = std::nan(""), infinity = std::numeric_limits<double>::infinity();
    for (const form call : all_forms) {
        arguments args;
        args.dir0 = {nan_value, 0, 0};
        args.sizes = {nan_value, -1, infinity, 0};
        args.metrics = dense2D<double>(6, 1, nan_value);
        EXPECT_EQ((args.*call)(), 0);
    }
}

TEST(ExtrudeLineStatus, TheOutputsAndTheEdgesMustHaveTheirRows) {
    for (const form call : all_forms)
        for (const std::size_t rows : {1u, 4u, 5u, 7u, 9u, 27u}) {
            arguments args;
            args.solids = with_rows(rows);
            EXPECT_REFUSED(args, call, -6);
        }
    for (const form call : full_forms)
        for (const std::size_t rows : {1u, 2u, 3u, 4u, 5u}) {
            arguments edges, sides, cap;
            edges.edges = sides.sides = cap.cap = with_rows(rows);
            if (rows != 2)
                EXPECT_REFUSED(edges, call, -7);
            if (rows != 4)
                EXPECT_REFUSED(sides, call, -8);
            if (rows != 3 && rows != 4)
                EXPECT_REFUSED(cap, call, -9);
        }
}

TEST(ExtrudeLineStatus, TheFirstBadArgumentNamesTheCode) {
    arguments args;
    args.cap = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_metrics, -9);
    EXPECT_REFUSED(args, &arguments::by_sizes, -9);
    args.sides = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_metrics, -8);
    args.edges = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_metrics, -7);
    args.solids = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_metrics, -6);
    args.metrics = dense2D<double>(5, 1, 1.0);
    EXPECT_REFUSED(args, &arguments::by_metrics, -5);
    EXPECT_REFUSED(args, &arguments::by_sizes, -6);
    args.line = {0};
    EXPECT_REFUSED(args, &arguments::by_metrics, -3);
    args.surface = ids({{0, 1, 9}});
    EXPECT_REFUSED(args, &arguments::by_metrics, -2);
    args.pos = dense2D<double>(4, 4, 0.0);
    EXPECT_REFUSED(args, &arguments::by_metrics, -1);
}

TEST(ExtrudeLineStatus, NodeIdsMustFitIn32Bits) {
    arguments args;
    dense1D<unsigned, 8> line;
    if (!line.resize(40000, 0u))
        GTEST_SKIP() << "no memory for the test itself";
    args.surface = dense2D<unsigned>(3, 40000);
    args.pos = dense2D<double>(3, 120000, 0.0);
    for (unsigned j = 0; j < 40000; ++j)
        for (unsigned i = 0; i < 3; ++i)
            args.surface(i, j) = 3 * j + i;
    args.line = line; // 39999 levels of 120000 nodes
    EXPECT_EQ(args.by_metrics_short(), -199);
    EXPECT_EQ(args.by_sizes(), -199);
    EXPECT_EQ(args.pos.cols(), 120000u);
    EXPECT_EQ(args.solids.cols(), 1u);
}
