#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::convert_into_high_order;
using meldra3d::convert_into_quadratic;

namespace {

constexpr unsigned none = no_node;

/// Valid arguments, of which a test spoils some.
struct arguments {
    dense2D<double> pos =
        points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}, {2, 0, 0}, {2, 1, 0}, {2, 2, 1}});
    dense2D<unsigned> connect = ids({{0, 1, 2, 3}});
    unsigned nE = 1, nQ = 1, nT = 0, nH = 1, nTH = 0, nX = 0, nY = 0;
    dense2D<unsigned> out = ids({{1, 2, 3}});
    dense2D<unsigned> faces, edges;

    int core() { return convert_into_high_order(pos, connect, nE, nQ, nT, nH, nTH, nX, nY, out, faces, edges); }
    int in_place() { return convert_into_high_order(pos, connect, nE, nQ, nT, nH, nTH, nX, nY, faces, edges); }
    int quadratic() { return convert_into_quadratic(pos, connect, faces, edges); }
    int quadratic_short() { return convert_into_quadratic(pos, connect); }

    auto inputs() const {
        return std::make_tuple(pos.rows(), pos.cols(), entries(pos), entries(faces), faces.rows(), entries(edges),
                               edges.rows());
    }
};

using form = int (arguments::*)();
constexpr form all_forms[] = {&arguments::core, &arguments::in_place, &arguments::quadratic,
                              &arguments::quadratic_short};
constexpr form given_forms[] = {&arguments::core, &arguments::in_place, &arguments::quadratic};
constexpr form count_forms[] = {&arguments::core, &arguments::in_place};

/// The call gives this status, changes no input, and leaves the output empty.
void expect_status(arguments args, form call, int status) {
    const auto before = args.inputs();
    const auto connect_before = entries(args.connect);
    EXPECT_EQ((args.*call)(), status);
    EXPECT_TRUE(args.inputs() == before) << "an input changed";
    if (call == &arguments::core) {
        EXPECT_EQ(entries(args.connect), connect_before);
        EXPECT_EQ(args.out.rows(), 0u);
        EXPECT_EQ(args.out.cols(), 0u);
    } else {
        EXPECT_EQ(args.connect.rows(), 0u);
        EXPECT_EQ(args.connect.cols(), 0u);
    }
}

template <class Spoil>
void expect_status_of(Spoil spoil, int status) {
    for (const form call : count_forms) {
        arguments args;
        spoil(args);
        expect_status(args, call, status);
    }
}

} // namespace

TEST(ConvertStatus, ValidArgumentsPass) {
    for (const form call : all_forms) {
        arguments args;
        EXPECT_EQ((args.*call)(), 0);
        EXPECT_EQ((call == &arguments::core ? args.out : args.connect).rows(), 10u);
        EXPECT_EQ(args.pos.cols(), 14u);
    }
}

TEST(ConvertStatus, AnEmptyMeshGivesZeroWhateverTheRest) {
    for (const form call : all_forms)
        for (const auto& nothing : {dense2D<unsigned>(), dense2D<unsigned>(4, 0), dense2D<unsigned>(0, 9)}) {
            arguments args;
            args.connect = nothing;
            args.pos = dense2D<double>(2, 3, 0.0);
            args.nQ = args.nT = args.nH = args.nTH = args.nY = 2;
            args.faces = args.edges = dense2D<unsigned>(1, 1, 77u);
            expect_status(args, call, 0);
        }
}

TEST(ConvertStatus, NoNodesGiveZeroWhateverTheRest) {
    expect_status_of(
        [](arguments& args) {
            args.nE = args.nQ = args.nH = 0;
            args.pos = dense2D<double>(2, 3, 0.0);
            args.connect = ids({{77, 78}});
            args.faces = args.edges = dense2D<unsigned>(1, 1, 77u);
        },
        0);
}

TEST(ConvertStatus, CountsThatSumToZeroIn32BitsAreNotNone) {
    arguments args;
    args.nE = 0x80000000u;
    args.nX = 0x80000000u;
    args.nQ = args.nH = 0;
    args.pos = dense2D<double>(2, 3, 0.0);
    expect_status(args, &arguments::core, -1);
}

TEST(ConvertStatus, CoordinatesMustHaveThreeRows) {
    for (const form call : all_forms)
        for (const std::size_t rows : {0u, 1u, 2u, 4u}) {
            arguments args;
            args.pos = dense2D<double>(rows, 8, 0.0);
            expect_status(args, call, -1);
        }
}

TEST(ConvertStatus, TheMeshMustBeLinearSolids) {
    for (const form call : all_forms) {
        for (const std::size_t rows : {1u, 2u, 3u, 7u, 9u, 10u, 27u}) {
            arguments args;
            args.connect = dense2D<unsigned>(rows, 1, 0u);
            expect_status(args, call, -2);
        }
        for (const auto& bad :
             {ids({{0, 1, 2, 8}}), ids({{0, 1, 2, none}}), ids({{0, 1, 2, 3, none}}), ids({{0, 1, 2, 3, 4, none}}),
              ids({{0, 1, 2, none, none, none, none, none}}), ids({{0, 1, 2, 3, none, 4, none, none}}),
              ids({{0, 1, 2, 3, 4, 5, 6, none}}), ids({{0, 1, 2, 3, 4, 5, 6, 8}})}) {
            arguments args;
            args.connect = bad;
            expect_status(args, call, -2);
        }
    }
}

TEST(ConvertStatus, EveryCountHasItsValues) {
    for (const unsigned bad : {2u, 3u, 5u, 8u, 15u, 4294967295u})
        expect_status_of([=](arguments& args) { args.nQ = bad; }, -4);
    for (const unsigned bad : {2u, 4u, 5u, 7u, 4294967295u})
        expect_status_of([=](arguments& args) { args.nT = bad; }, -5);
    for (const unsigned bad : {2u, 7u, 9u, 26u, 28u, 64u, 125u, 1000u, 4294967295u})
        expect_status_of([=](arguments& args) { args.nH = bad; }, -6);
    for (const unsigned bad : {2u, 3u, 4294967295u})
        expect_status_of([=](arguments& args) { args.nTH = bad; }, -7);
    for (const unsigned bad : {2u, 3u, 4294967295u})
        expect_status_of([=](arguments& args) { args.nY = bad; }, -9);
    for (const unsigned nE : {0u, 1u, 2u, 7u})
        for (const unsigned nQ : {0u, 1u, 4u, 9u, 16u})
            for (const unsigned nT : {0u, 1u, 3u})
                for (const unsigned nH : {0u, 1u, 8u, 27u})
                    for (const unsigned nX : {0u, 1u, 2u, 64u}) {
                        arguments args;
                        args.nE = nE, args.nQ = nQ, args.nT = nT, args.nH = nH, args.nX = nX, args.nTH = 1, args.nY = 1;
                        EXPECT_EQ(args.core(), 0);
                        EXPECT_EQ(args.out.rows(), 4 + 6 * nE + 4 * nT + 1);
                    }
}

TEST(ConvertStatus, GivenFacesMustSuitTheMesh) {
    struct row {
        std::size_t solid, faces;
        unsigned nE, nQ, nT;
        bool fits;
    };
    // A triangle has 3 + 3 nE + nT rows, a quadrangle 4 + 4 nE + nQ.
    for (const row& r :
         {row{4, 6, 1, 1, 0, true}, row{4, 9, 1, 1, 0, false}, row{4, 7, 1, 1, 1, true}, row{5, 6, 1, 1, 0, true},
          row{5, 9, 1, 1, 0, true}, row{5, 7, 1, 1, 0, false}, row{6, 6, 1, 1, 0, true}, row{6, 9, 1, 1, 0, true},
          row{8, 9, 1, 1, 0, true}, row{8, 6, 1, 1, 0, false}, row{8, 12, 2, 4, 3, false}, row{8, 16, 2, 4, 3, true},
          row{4, 12, 2, 4, 3, true}, row{4, 16, 2, 4, 3, false}, row{5, 15, 2, 4, 3, false}}) {
        for (const form call : count_forms) {
            arguments args;
            args.connect = dense2D<unsigned>(r.solid, 1);
            for (unsigned i = 0; i < r.solid; ++i)
                args.connect(i, 0) = i;
            args.nE = r.nE, args.nQ = r.nQ, args.nT = r.nT;
            args.faces = dense2D<unsigned>(r.faces, 1, 0u);
            if (r.fits) {
                EXPECT_EQ((args.*call)(), 0) << r.solid << " " << r.faces;
            } else {
                expect_status(args, call, -11);
            }
        }
    }
    for (const form call : given_forms) {
        arguments args;
        args.faces = ids({{0, 1, 2, 3, 4, 8}});
        expect_status(args, call, -11);
        args.faces = ids({{0, 1, 2, 3, 4, none}});
        EXPECT_EQ((args.*call)(), 0);
    }
}

TEST(ConvertStatus, GivenEdgesMustHaveTheirNodes) {
    for (const form call : given_forms) {
        for (const std::size_t rows : {1u, 2u, 4u, 6u}) {
            arguments args;
            args.edges = dense2D<unsigned>(rows, 1, 0u);
            expect_status(args, call, -12);
        }
        arguments args;
        args.edges = ids({{0, 1, 8}});
        expect_status(args, call, -12);
        args.edges = ids({{0, none, none}});
        EXPECT_EQ((args.*call)(), 0);
    }
    // nE + 2 is not taken modulo 2^32.
    expect_status_of(
        [](arguments& args) {
            args.nE = 4294967295u;
            args.edges = dense2D<unsigned>(1, 1, 0u);
        },
        -12);
}

TEST(ConvertStatus, EmptyGivenMatricesPassWhateverTheirRows) {
    for (const form call : given_forms)
        for (const auto& nothing : {dense2D<unsigned>(5, 0), dense2D<unsigned>(0, 5)}) {
            arguments args;
            args.faces = args.edges = nothing;
            EXPECT_EQ((args.*call)(), 0);
        }
}

TEST(ConvertStatus, TheFirstBadArgumentNamesTheCode) {
    arguments args;
    args.edges = dense2D<unsigned>(1, 1, 0u);
    expect_status(args, &arguments::core, -12);
    args.faces = args.edges;
    expect_status(args, &arguments::core, -11);
    args.nY = 2;
    expect_status(args, &arguments::core, -9);
    args.nTH = 2;
    expect_status(args, &arguments::core, -7);
    args.nH = 64;
    expect_status(args, &arguments::core, -6);
    args.nT = 2;
    expect_status(args, &arguments::core, -5);
    args.nQ = 2;
    expect_status(args, &arguments::core, -4);
    args.connect = ids({{0, 1, 2, 9}});
    expect_status(args, &arguments::core, -2);
    args.pos = dense2D<double>(2, 8, 0.0);
    expect_status(args, &arguments::core, -1);
}

TEST(ConvertStatus, IdsThatWouldNotFitEndInNoMemory) {
    expect_status_of([](arguments& args) { args.nE = 4294967295u; }, -199);
    for (const form call : count_forms) {
        arguments args;
        args.connect = ids({{0, 1, 2, 3, 4, 5}});
        args.nX = 4294967295u;
        expect_status(args, call, -199);
    }
}
