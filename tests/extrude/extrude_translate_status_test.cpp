#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "extrude/sweep_arguments.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_translate;

namespace {

constexpr unsigned none = no_node;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");

struct arguments : sweep_arguments {
    vector_fixed<double, 3> dir{0, 0, 1};

    int by_sizes() { return extrude_translate(pos, surface, dir, start, end, false, solids, edges, sides, cap); }
    int by_sizes_short() { return extrude_translate(pos, surface, dir, start, end, false, solids); }
    int by_count() { return extrude_translate(pos, surface, dir, layers, solids, edges, sides, cap); }
    int by_count_short() { return extrude_translate(pos, surface, dir, layers, solids); }
};

using form = int (arguments::*)();
constexpr form all_forms[] = {&arguments::by_sizes, &arguments::by_sizes_short, &arguments::by_count,
                              &arguments::by_count_short};
constexpr form full_forms[] = {&arguments::by_sizes, &arguments::by_count};
constexpr form size_forms[] = {&arguments::by_sizes, &arguments::by_sizes_short};
constexpr form count_forms[] = {&arguments::by_count, &arguments::by_count_short};

} // namespace

TEST(ExtrudeTranslateStatus, ValidArgumentsPass) {
    for (const form call : all_forms) {
        arguments args;
        EXPECT_EQ((args.*call)(), 0);
        EXPECT_EQ(args.solids.cols(), 3u);
        EXPECT_EQ(args.pos.cols(), 10u);
    }
}

TEST(ExtrudeTranslateStatus, AnEmptySurfaceGivesZeroWhateverTheRest) {
    for (const form call : all_forms)
        for (const auto& nothing : {dense2D<unsigned>(), dense2D<unsigned>(3, 0), dense2D<unsigned>(0, 4)}) {
            arguments args;
            args.surface = nothing;
            args.pos = dense2D<double>(5, 1, 0.0);
            args.dir = {0, 0, 0};
            args.start = args.end = -1;
            args.solids = args.edges = args.sides = args.cap = dense2D<unsigned>(7, 1, 0u);
            EXPECT_REFUSED(args, call, 0);
        }
}

TEST(ExtrudeTranslateStatus, NoLayersGiveZeroWhateverTheRest) {
    for (const form call : count_forms) {
        arguments args;
        args.layers = 0;
        args.pos = dense2D<double>(5, 1, 0.0);
        args.surface = ids({{77, 78, 79}});
        args.dir = {0, 0, 0};
        args.solids = args.edges = args.sides = args.cap = dense2D<unsigned>(7, 1, 0u);
        EXPECT_REFUSED(args, call, 0);
    }
}

TEST(ExtrudeTranslateStatus, CoordinatesMustHaveTwoOrThreeRows) {
    for (const form call : all_forms)
        for (const std::size_t rows : {0u, 1u, 4u, 9u}) {
            arguments args;
            args.pos = dense2D<double>(rows, 4, 0.0);
            EXPECT_REFUSED(args, call, -1);
        }
}

TEST(ExtrudeTranslateStatus, TheSurfaceMustBeWellFormed) {
    for (const form call : all_forms)
        for (const auto& surface : {ids({{0, 1, 4}}), ids({{0, 1, none}}), ids({{0, 1, 2, 4}}), ids({{0, 1, none, 2}}),
                                    ids({{0, 1, none, none}}), ids({{0, 1}}), ids({{0, 1, 2, 3, 0}})}) {
            arguments args;
            args.surface = surface;
            EXPECT_REFUSED(args, call, -2);
        }
}

TEST(ExtrudeTranslateStatus, TheSizesMustBePositive) {
    for (const form call : size_forms)
        for (const double bad : {0.0, -0.0, -1.0, -infinity, nan_value}) {
            arguments args;
            args.start = bad;
            EXPECT_REFUSED(args, call, -4);
            arguments others;
            others.end = bad;
            EXPECT_REFUSED(others, call, -5);
        }
}

TEST(ExtrudeTranslateStatus, ACountNeedsALength) {
    for (const form call : count_forms)
        for (const double bad : {0.0, nan_value}) {
            arguments args;
            args.dir = {0, bad, 0};
            EXPECT_REFUSED(args, call, -4);
        }
}

TEST(ExtrudeTranslateStatus, TheSolidsMustHaveSixOrEightRows) {
    for (const form call : all_forms)
        for (const std::size_t rows : {1u, 4u, 5u, 7u, 9u, 27u}) {
            arguments args;
            args.solids = dense2D<unsigned>(rows, 1, 0u);
            EXPECT_REFUSED(args, call, -7);
        }
}

TEST(ExtrudeTranslateStatus, TheOtherMatricesMustHaveTheirRows) {
    for (const form call : full_forms)
        for (const std::size_t rows : {1u, 2u, 3u, 4u, 5u}) {
            arguments args;
            args.edges = dense2D<unsigned>(rows, 1, 0u);
            if (rows != 2)
                EXPECT_REFUSED(args, call, -8);
            arguments sides;
            sides.sides = dense2D<unsigned>(rows, 1, 0u);
            if (rows != 4)
                EXPECT_REFUSED(sides, call, -9);
            arguments cap;
            cap.cap = dense2D<unsigned>(rows, 1, 0u);
            if (rows != 3 && rows != 4)
                EXPECT_REFUSED(cap, call, -10);
        }
}

TEST(ExtrudeTranslateStatus, TheFirstBadArgumentNamesTheCode) {
    arguments args;
    args.cap = dense2D<unsigned>(5, 1, 0u);
    EXPECT_REFUSED(args, &arguments::by_sizes, -10);
    args.sides = args.cap;
    EXPECT_REFUSED(args, &arguments::by_sizes, -9);
    args.edges = args.cap;
    EXPECT_REFUSED(args, &arguments::by_sizes, -8);
    args.solids = args.cap;
    EXPECT_REFUSED(args, &arguments::by_sizes, -7);
    args.end = 0;
    EXPECT_REFUSED(args, &arguments::by_sizes, -5);
    args.start = 0;
    EXPECT_REFUSED(args, &arguments::by_sizes, -4);
    args.surface = ids({{0, 1, 9}});
    EXPECT_REFUSED(args, &arguments::by_sizes, -2);
    args.pos = dense2D<double>(4, 4, 0.0);
    EXPECT_REFUSED(args, &arguments::by_sizes, -1);
}

TEST(ExtrudeTranslateStatus, LayersThatCannotBeEndInNoMemory) {
    for (const form call : size_forms)
        for (const double size : {1e-300, 5e-324, 1e-10}) {
            arguments args;
            args.start = args.end = size;
            EXPECT_REFUSED(args, call, -199);
        }
    for (const form call : size_forms)
        for (const double bad : {infinity, nan_value}) {
            arguments args;
            args.dir = {0, bad, 0};
            EXPECT_REFUSED(args, call, -199);
        }
    for (const form call : count_forms) {
        arguments args;
        args.dir = {0, infinity, 0};
        EXPECT_REFUSED(args, call, -199);
    }
}

TEST(ExtrudeTranslateStatus, InfiniteSizesGiveOneLayer) {
    arguments args;
    args.start = args.end = infinity;
    EXPECT_EQ(args.by_sizes(), 0);
    EXPECT_EQ(args.solids.cols(), 2u);
}

TEST(ExtrudeTranslateStatus, NodeIdsMustFitIn32Bits) {
    for (const form call : count_forms) {
        arguments args;
        args.layers = 4294967295u / 3; // one level too many for the four nodes that are there
        EXPECT_REFUSED(args, call, -199);
        args.layers = 4294967295u;
        EXPECT_REFUSED(args, call, -199);
    }
}

TEST(ExtrudeTranslateStatus, MoreThanTheMachineHasEndsInNoMemory) {
    for (const form call : count_forms) {
        arguments args;
        args.layers = 1400000000; // some 130 GB; each ID would fit
        EXPECT_REFUSED(args, call, -199);
    }
}

TEST(ExtrudeTranslateStatus, AnOutputWithoutRowsMayClaimMoreColumnsThanThereCanBe) {
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    for (const form call : full_forms)
        for (const auto output : {&arguments::solids, &arguments::sides, &arguments::cap})
            for (const std::size_t cols : {most, most - 2, most / 2, most / 64}) {
                arguments args;
                args.*output = dense2D<unsigned>(0, cols);
                EXPECT_EQ((args.*call)(), -199);
                EXPECT_EQ((args.*output).cols(), cols);
                EXPECT_EQ(args.pos.cols(), 4u);
            }
}
