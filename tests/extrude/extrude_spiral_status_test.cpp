#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "extrude/sweep_arguments.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_spiral;

namespace {

constexpr unsigned none = no_node;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");

struct arguments : sweep_arguments {
    vector_fixed<double, 3> axis_point{-1, 0, 0}, rotation{0, 1, 0}, shift{0, 1, 0};

    int by_sizes() {
        return extrude_spiral(pos, surface, axis_point, rotation, shift, start, end, false, solids, edges, sides, cap);
    }
    int by_sizes_short() {
        return extrude_spiral(pos, surface, axis_point, rotation, shift, start, end, false, solids);
    }
    int by_count() {
        return extrude_spiral(pos, surface, axis_point, rotation, shift, layers, solids, edges, sides, cap);
    }
    int by_count_short() { return extrude_spiral(pos, surface, axis_point, rotation, shift, layers, solids); }
};

using form = int (arguments::*)();
constexpr form all_forms[] = {&arguments::by_sizes, &arguments::by_sizes_short, &arguments::by_count,
                              &arguments::by_count_short};
constexpr form size_forms[] = {&arguments::by_sizes, &arguments::by_sizes_short};
constexpr form count_forms[] = {&arguments::by_count, &arguments::by_count_short};

/// The forms, each with its code for one and the same matrix.
struct coded_form {
    form call;
    int code;
};

dense2D<unsigned> with_rows(std::size_t rows) {
    return dense2D<unsigned>(rows, 1, 0u);
}

} // namespace

TEST(ExtrudeSpiralStatus, ValidArgumentsPass) {
    for (const form call : all_forms) {
        arguments args;
        EXPECT_EQ((args.*call)(), 0);
        EXPECT_EQ(args.solids.cols(), 3u);
        EXPECT_EQ(args.pos.cols(), 10u);
    }
}

TEST(ExtrudeSpiralStatus, AnEmptySurfaceGivesZeroWhateverTheRest) {
    for (const form call : all_forms)
        for (const auto& nothing : {dense2D<unsigned>(), dense2D<unsigned>(3, 0), dense2D<unsigned>(0, 4)}) {
            arguments args;
            args.surface = nothing;
            args.pos = dense2D<double>(5, 1, 0.0);
            args.shift = {0, 0, 0};
            args.start = args.end = -1;
            args.edges = args.sides = with_rows(7);
            if (call == &arguments::by_sizes || call == &arguments::by_sizes_short)
                args.solids = args.cap = with_rows(7);
            EXPECT_REFUSED(args, call, 0);
        }
}

TEST(ExtrudeSpiralStatus, AFormWithACountChecksItsOutputsEvenWithoutASurface) {
    arguments args;
    args.surface = dense2D<unsigned>(3, 0);
    args.cap = with_rows(7);
    EXPECT_REFUSED(args, &arguments::by_count_short, 0); // it has no closing faces
    EXPECT_REFUSED(args, &arguments::by_count, -8);
    args.solids = with_rows(7);
    EXPECT_REFUSED(args, &arguments::by_count, -7);
    EXPECT_REFUSED(args, &arguments::by_count_short, -7);
}

TEST(ExtrudeSpiralStatus, NoLayersGiveZeroWhateverTheRest) {
    for (const form call : count_forms) {
        arguments args;
        args.layers = 0;
        args.pos = dense2D<double>(5, 1, 0.0);
        args.surface = ids({{77, 78, 79}});
        args.rotation = {0, 0, 0};
        args.solids = args.edges = args.sides = args.cap = with_rows(7);
        EXPECT_REFUSED(args, call, 0);
    }
}

TEST(ExtrudeSpiralStatus, CoordinatesMustHaveTwoOrThreeRows) {
    for (const form call : all_forms)
        for (const std::size_t rows : {0u, 1u, 4u, 9u}) {
            arguments args;
            args.pos = dense2D<double>(rows, 4, 0.0);
            EXPECT_REFUSED(args, call, -1);
        }
}

TEST(ExtrudeSpiralStatus, TheSurfaceMustBeWellFormed) {
    for (const form call : all_forms)
        for (const auto& surface :
             {ids({{0, 1, 4}}), ids({{4, 1, 0}}), ids({{none, 1, 0}}), ids({{0, 1, none}}), ids({{0, 1, 2, 4}}),
              ids({{0, 1, none, 2}}), ids({{0, 1, none, none}}), ids({{0, 1}}), ids({{0, 1, 2, 3, 0}})}) {
            arguments args;
            args.surface = surface;
            EXPECT_REFUSED(args, call, -2);
        }
}

TEST(ExtrudeSpiralStatus, NoNodesAtAllAreTooFewForAnySurface) {
    for (const form call : all_forms) {
        arguments args;
        args.pos = dense2D<double>(3, 0);
        EXPECT_REFUSED(args, call, -2);
    }
}

TEST(ExtrudeSpiralStatus, TheSizesMustBePositive) {
    for (const form call : size_forms)
        for (const double bad : {0.0, -0.0, -1.0, -infinity, nan_value}) {
            arguments args;
            args.start = bad;
            EXPECT_REFUSED(args, call, -5);
            arguments others;
            others.end = bad;
            EXPECT_REFUSED(others, call, -6);
        }
}

TEST(ExtrudeSpiralStatus, ACountNeedsAShift) {
    for (const form call : count_forms)
        for (const double bad : {0.0, nan_value}) {
            arguments args;
            args.shift = {0, bad, 0};
            EXPECT_REFUSED(args, call, -5);
        }
}

TEST(ExtrudeSpiralStatus, TheSolidsMustHaveSixOrEightRows) {
    for (const auto& [call, code] : {coded_form{&arguments::by_sizes, -8}, coded_form{&arguments::by_sizes_short, -8},
                                     coded_form{&arguments::by_count, -7}, coded_form{&arguments::by_count_short, -7}})
        for (const std::size_t rows : {1u, 4u, 5u, 7u, 9u, 27u}) {
            arguments args;
            args.solids = with_rows(rows);
            EXPECT_REFUSED(args, call, code);
        }
}

TEST(ExtrudeSpiralStatus, TheEdgesMustHaveTwoRows) {
    for (const auto& [call, code] : {coded_form{&arguments::by_sizes, -9}, coded_form{&arguments::by_count, -9}})
        for (const std::size_t rows : {1u, 3u, 4u}) {
            arguments args;
            args.edges = with_rows(rows);
            EXPECT_REFUSED(args, call, code);
        }
}

TEST(ExtrudeSpiralStatus, TheSidesMustHaveFourRows) {
    for (const auto& [call, code] : {coded_form{&arguments::by_sizes, -10}, coded_form{&arguments::by_count, -10}})
        for (const std::size_t rows : {2u, 3u, 5u, 8u}) {
            arguments args;
            args.sides = with_rows(rows);
            EXPECT_REFUSED(args, call, code);
        }
}

TEST(ExtrudeSpiralStatus, TheClosingFacesMustHaveThreeOrFourRows) {
    for (const auto& [call, code] : {coded_form{&arguments::by_sizes, -11}, coded_form{&arguments::by_count, -8}})
        for (const std::size_t rows : {1u, 2u, 5u, 6u}) {
            arguments args;
            args.cap = with_rows(rows);
            EXPECT_REFUSED(args, call, code);
        }
}

TEST(ExtrudeSpiralStatus, TheFirstBadArgumentNamesTheCodeOfTheFormWithSizes) {
    arguments args;
    args.cap = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_sizes, -11);
    args.sides = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_sizes, -10);
    args.edges = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_sizes, -9);
    args.solids = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_sizes, -8);
    args.end = 0;
    EXPECT_REFUSED(args, &arguments::by_sizes, -6);
    args.start = 0;
    EXPECT_REFUSED(args, &arguments::by_sizes, -5);
    args.surface = ids({{0, 1, 9}});
    EXPECT_REFUSED(args, &arguments::by_sizes, -2);
    args.pos = dense2D<double>(4, 4, 0.0);
    EXPECT_REFUSED(args, &arguments::by_sizes, -1);
}

TEST(ExtrudeSpiralStatus, TheFormWithACountChecksSolidsAndClosingFacesFirst) {
    arguments args;
    args.sides = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_count, -10);
    args.edges = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_count, -9);
    args.shift = {0, 0, 0};
    EXPECT_REFUSED(args, &arguments::by_count, -5);
    args.surface = ids({{0, 1, 9}});
    EXPECT_REFUSED(args, &arguments::by_count, -2);
    args.pos = dense2D<double>(4, 4, 0.0);
    EXPECT_REFUSED(args, &arguments::by_count, -1);
    args.cap = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_count, -8);
    args.solids = with_rows(5);
    EXPECT_REFUSED(args, &arguments::by_count, -7);
    args.layers = 0;
    EXPECT_REFUSED(args, &arguments::by_count, 0);
}

TEST(ExtrudeSpiralStatus, LayersThatCannotBeEndInNoMemory) {
    for (const form call : size_forms)
        for (const double bad : {infinity, nan_value, 1e300}) {
            arguments args;
            args.shift = {0, bad, 0};
            EXPECT_REFUSED(args, call, -199);
        }
    for (const form call : count_forms) {
        arguments args;
        args.shift = {0, infinity, 0};
        EXPECT_REFUSED(args, call, -199);
        args.shift = {0, 1, 0};
        args.layers = 4294967295u;
        EXPECT_REFUSED(args, call, -199);
    }
}
