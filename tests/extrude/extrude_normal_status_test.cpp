#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "extrude/sweep_arguments.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_normal;

namespace {

constexpr unsigned none = no_node;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");

struct arguments : sweep_arguments {
    double thickness = 1;
    dense2D<double> shifts = dense2D<double>(3, 4, 0.5);

    int by_sizes() { return extrude_normal(pos, surface, thickness, start, end, false, solids, edges, sides, cap); }
    int by_sizes_short() { return extrude_normal(pos, surface, thickness, start, end, false, solids); }
    int by_count() { return extrude_normal(pos, surface, thickness, layers, solids, edges, sides, cap); }
    int by_count_short() { return extrude_normal(pos, surface, thickness, layers, solids); }
    int by_vectors() { return extrude_normal(pos, surface, shifts, layers, solids, edges, sides, cap); }
    int by_vectors_short() { return extrude_normal(pos, surface, shifts, layers, solids); }
};

using form = int (arguments::*)();
constexpr form all_forms[] = {&arguments::by_sizes,       &arguments::by_sizes_short, &arguments::by_count,
                              &arguments::by_count_short, &arguments::by_vectors,     &arguments::by_vectors_short};
constexpr form size_forms[] = {&arguments::by_sizes, &arguments::by_sizes_short};
constexpr form count_forms[] = {&arguments::by_count, &arguments::by_count_short};
constexpr form thickness_forms[] = {&arguments::by_sizes, &arguments::by_sizes_short, &arguments::by_count,
                                    &arguments::by_count_short};
constexpr form vectors_forms[] = {&arguments::by_vectors, &arguments::by_vectors_short};

/// The forms, each with its code for one and the same fault.
struct coded_form {
    form call;
    int code;
};

dense2D<unsigned> with_rows(std::size_t rows) {
    return dense2D<unsigned>(rows, 1, 0u);
}

/// Everything is wrong but the surface.
void spoil_the_rest(arguments& args) {
    args.pos = dense2D<double>(5, 1, 0.0);
    args.thickness = args.start = args.end = -1;
    args.shifts = dense2D<double>(7, 1, 0.0);
    args.edges = args.sides = with_rows(7);
}

const dense2D<unsigned> empty_surfaces[] = {dense2D<unsigned>(), dense2D<unsigned>(3, 0), dense2D<unsigned>(0, 4)};

} // namespace

TEST(ExtrudeNormalStatus, ValidArgumentsPass) {
    for (const form call : all_forms) {
        arguments args;
        EXPECT_EQ((args.*call)(), 0);
        EXPECT_EQ(args.solids.cols(), 3u);
        EXPECT_EQ(args.pos.cols(), 10u);
    }
}

TEST(ExtrudeNormalStatus, AnEmptySurfaceGivesZeroWhateverTheRest) {
    for (const form call :
         {&arguments::by_sizes, &arguments::by_sizes_short, &arguments::by_vectors, &arguments::by_vectors_short})
        for (const auto& nothing : empty_surfaces) {
            arguments args;
            spoil_the_rest(args);
            args.surface = nothing;
            args.solids = args.cap = with_rows(7);
            EXPECT_REFUSED(args, call, 0);
        }
}

TEST(ExtrudeNormalStatus, WithACountTheSolidsAndTheCapComeBeforeAnEmptySurface) {
    for (const auto& nothing : empty_surfaces) {
        arguments args;
        spoil_the_rest(args);
        args.surface = nothing;
        EXPECT_REFUSED(args, &arguments::by_count, 0);
        EXPECT_REFUSED(args, &arguments::by_count_short, 0);
        args.cap = with_rows(7);
        EXPECT_REFUSED(args, &arguments::by_count, -6);
        EXPECT_REFUSED(args, &arguments::by_count_short, 0);
        args.solids = with_rows(7);
        EXPECT_REFUSED(args, &arguments::by_count, -5);
        EXPECT_REFUSED(args, &arguments::by_count_short, -5);
    }
}

TEST(ExtrudeNormalStatus, NoLayersOfAThicknessGiveZeroWhateverTheRest) {
    for (const form call : count_forms) {
        arguments args;
        spoil_the_rest(args);
        args.layers = 0;
        args.surface = ids({{77, 78, 79}});
        args.solids = args.cap = with_rows(7);
        EXPECT_REFUSED(args, call, 0);
    }
}

TEST(ExtrudeNormalStatus, NoLayersOfVectorsAreChecked) {
    const auto refused = [](int code, auto spoil) {
        for (const form call : vectors_forms) {
            arguments args;
            args.layers = 0;
            spoil(args);
            EXPECT_REFUSED(args, call, code);
        }
    };
    refused(-1, [](arguments& args) { args.pos = dense2D<double>(2, 4, 0.0); });
    refused(-2, [](arguments& args) { args.surface = ids({{0, 1, 4}}); });
    refused(-3, [](arguments& args) { args.shifts = dense2D<double>(2, 4, 0.0); });
    refused(-5, [](arguments& args) { args.solids = with_rows(7); });
}

TEST(ExtrudeNormalStatus, CoordinatesMustHaveThreeRows) {
    for (const form call : all_forms)
        for (const std::size_t rows : {0u, 1u, 2u, 4u, 9u}) {
            arguments args;
            args.pos = dense2D<double>(rows, 4, 0.0);
            EXPECT_REFUSED(args, call, -1);
            args.surface = ids({{0, 1, 9}}); // comes later
            EXPECT_REFUSED(args, call, -1);
        }
}

TEST(ExtrudeNormalStatus, TheSurfaceMustBeWellFormed) {
    for (const form call : all_forms)
        for (const auto& surface : {ids({{0, 1, 4}}), ids({{0, 1, none}}), ids({{0, 1, 2, 4}}), ids({{0, 1, none, 2}}),
                                    ids({{0, 1, none, none}}), ids({{0, 1}}), ids({{0, 1, 2, 3, 0}})}) {
            arguments args;
            args.surface = surface;
            EXPECT_REFUSED(args, call, -2);
        }
}

TEST(ExtrudeNormalStatus, TheThicknessMustBePositive) {
    for (const form call : thickness_forms)
        for (const double bad : {0.0, -0.0, -1.0, -infinity, nan_value}) {
            arguments args;
            args.thickness = bad;
            EXPECT_REFUSED(args, call, -3);
        }
}

TEST(ExtrudeNormalStatus, TheSizesMustBePositive) {
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

TEST(ExtrudeNormalStatus, ALayerOfNoThicknessHasNoSize) {
    for (const form call : count_forms) {
        arguments args;
        args.thickness = std::numeric_limits<double>::denorm_min();
        EXPECT_REFUSED(args, call, -4); // the half of it is 0
    }
}

TEST(ExtrudeNormalStatus, EveryNodeOfTheSurfaceNeedsAVector) {
    for (const form call : vectors_forms) {
        arguments args;
        args.surface = ids({{0, 1, 3}});
        for (const std::size_t cols : {0u, 1u, 3u}) {
            args.shifts = dense2D<double>(3, cols, 0.0);
            EXPECT_REFUSED(args, call, -2);
        }
        args.shifts = dense2D<double>();
        EXPECT_REFUSED(args, call, -2); // no columns are noticed before no rows
        args.shifts = dense2D<double>(3, 9, 0.0);
        EXPECT_EQ((args.*call)(), 0) << "more than enough";
        args.surface = ids({{0, 1, 8}});
        args.pos = dense2D<double>(3, 8, 0.0);
        EXPECT_REFUSED(args, call, -2); // a vector, but no node
        args.shifts = dense2D<double>(3, 1, 0.0);
        args.pos = dense2D<double>(2, 8, 0.0);
        EXPECT_REFUSED(args, call, -1);
    }
}

TEST(ExtrudeNormalStatus, TheVectorsMustHaveThreeRows) {
    for (const form call : vectors_forms)
        for (const std::size_t rows : {0u, 1u, 2u, 4u, 6u}) {
            arguments args;
            args.shifts = dense2D<double>(rows, 4, 0.0);
            EXPECT_REFUSED(args, call, -3);
        }
}

TEST(ExtrudeNormalStatus, TheSolidsMustHaveSixOrEightRows) {
    for (const std::size_t rows : {1u, 4u, 5u, 7u, 9u, 27u})
        for (const coded_form& f : {coded_form{&arguments::by_sizes, -7},
                                    {&arguments::by_sizes_short, -7},
                                    {&arguments::by_count, -5},
                                    {&arguments::by_count_short, -5},
                                    {&arguments::by_vectors, -5},
                                    {&arguments::by_vectors_short, -5}}) {
            arguments args;
            args.solids = with_rows(rows);
            EXPECT_REFUSED(args, f.call, f.code);
        }
}

TEST(ExtrudeNormalStatus, TheEdgesMustHaveTwoRows) {
    for (const std::size_t rows : {1u, 3u, 4u})
        for (const coded_form& f :
             {coded_form{&arguments::by_sizes, -8}, {&arguments::by_count, -8}, {&arguments::by_vectors, -6}}) {
            arguments args;
            args.edges = with_rows(rows);
            EXPECT_REFUSED(args, f.call, f.code);
        }
}

TEST(ExtrudeNormalStatus, TheSidesMustHaveFourRows) {
    for (const std::size_t rows : {1u, 2u, 3u, 5u, 8u})
        for (const coded_form& f :
             {coded_form{&arguments::by_sizes, -9}, {&arguments::by_count, -9}, {&arguments::by_vectors, -7}}) {
            arguments args;
            args.sides = with_rows(rows);
            EXPECT_REFUSED(args, f.call, f.code);
        }
}

TEST(ExtrudeNormalStatus, TheCapMustHaveThreeOrFourRows) {
    for (const std::size_t rows : {1u, 2u, 5u, 6u})
        for (const coded_form& f :
             {coded_form{&arguments::by_sizes, -10}, {&arguments::by_count, -6}, {&arguments::by_vectors, -8}}) {
            arguments args;
            args.cap = with_rows(rows);
            EXPECT_REFUSED(args, f.call, f.code);
        }
}

TEST(ExtrudeNormalStatus, TheFirstBadArgumentOfTheSizesNamesTheCode) {
    arguments args;
    const auto next = [&args](int code) { EXPECT_REFUSED(args, &arguments::by_sizes, code); };
    args.cap = with_rows(5);
    next(-10);
    args.sides = with_rows(5);
    next(-9);
    args.edges = with_rows(5);
    next(-8);
    args.solids = with_rows(5);
    next(-7);
    args.end = 0;
    next(-5);
    args.start = 0;
    next(-4);
    args.thickness = 0;
    next(-3);
    args.surface = ids({{0, 1, 9}});
    next(-2);
    args.pos = dense2D<double>(2, 4, 0.0);
    next(-1);
    args.surface = dense2D<unsigned>();
    next(0);
}

TEST(ExtrudeNormalStatus, TheFirstBadArgumentOfTheCountNamesTheCode) {
    arguments args;
    const auto next = [&args](int code) { EXPECT_REFUSED(args, &arguments::by_count, code); };
    args.sides = with_rows(5);
    next(-9);
    args.edges = with_rows(5);
    next(-8);
    args.thickness = 0;
    next(-3);
    args.surface = ids({{0, 1, 9}});
    next(-2);
    args.pos = dense2D<double>(2, 4, 0.0);
    next(-1);
    args.surface = dense2D<unsigned>();
    next(0);
    args.cap = with_rows(5);
    next(-6);
    args.solids = with_rows(5);
    next(-5);
    args.layers = 0;
    next(0);
}

TEST(ExtrudeNormalStatus, TheFirstBadArgumentOfTheVectorsNamesTheCode) {
    arguments args;
    const auto next = [&args](int code) { EXPECT_REFUSED(args, &arguments::by_vectors, code); };
    args.cap = with_rows(5);
    next(-8);
    args.sides = with_rows(5);
    next(-7);
    args.edges = with_rows(5);
    next(-6);
    args.solids = with_rows(5);
    next(-5);
    args.shifts = dense2D<double>(2, 4, 0.0);
    next(-3);
    args.surface = ids({{0, 1, 9}});
    next(-2);
    args.pos = dense2D<double>(2, 4, 0.0);
    next(-1);
    args.surface = dense2D<unsigned>();
    next(0);
}

TEST(ExtrudeNormalStatus, LayersThatCannotBeEndInNoMemory) {
    for (const form call : size_forms)
        for (const double size : {1e-300, 5e-324, 1e-10}) {
            arguments args;
            args.start = args.end = size;
            EXPECT_REFUSED(args, call, -199);
        }
    for (const form call : thickness_forms) {
        arguments args;
        args.thickness = infinity;
        EXPECT_REFUSED(args, call, -199);
    }
}

TEST(ExtrudeNormalStatus, NodeIdsMustFitIn32Bits) {
    for (const form call :
         {&arguments::by_count, &arguments::by_count_short, &arguments::by_vectors, &arguments::by_vectors_short}) {
        arguments args;
        args.layers = 4294967295u / 3; // one level too many for the four nodes that are there
        EXPECT_REFUSED(args, call, -199);
        args.layers = 4294967295u;
        EXPECT_REFUSED(args, call, -199);
        args.layers = 1400000000; // some 130 GB; each ID would fit
        EXPECT_REFUSED(args, call, -199);
    }
}
