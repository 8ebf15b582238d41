#include <gtest/gtest.h>

#include <rapidcheck.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::flip;
using meldra3d::flip_H8;
using meldra3d::flip_TH4;
using meldra3d::flip_W6;

namespace {

constexpr unsigned none = no_node;
constexpr element_type value_4 = element_type(4);

using row_list = std::vector<unsigned>;

/// A way to flip, and the rows that a column of it comes from: row k of the result is row `from[k]` of what was there.
struct flip_case {
    std::string name;
    element_type type;
    std::function<int(dense2D<unsigned>&)> call;
    row_list from;
};

flip_case generic(const char* name, element_type type, row_list from) {
    return {name, type, [type](dense2D<unsigned>& connect) { return flip(connect, type); }, std::move(from)};
}

row_list same(unsigned rows) {
    row_list from(rows);
    std::iota(from.begin(), from.end(), 0u);
    return from;
}

const std::vector<flip_case> permuted{
    generic("TH4", ET_TH4, {2, 1, 0, 3}),
    generic("TH10", ET_TH10, {2, 1, 0, 3, 6, 5, 4, 9, 8, 7}),
    generic("PY5", ET_PY5, {2, 1, 0, 3, 4}),
    generic("PY14", ET_PY14, {2, 1, 0, 3, 4, 7, 8, 5, 6, 10, 9, 12, 11, 13}),
    generic("W6", ET_W6, {2, 1, 0, 5, 4, 3}),
    generic("W18", ET_W18, {2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 17, 16, 15}),
    generic("H8", ET_H8, {2, 1, 0, 3, 6, 5, 4, 7}),
    generic("H27", ET_H27,
            {2, 1, 0, 3, 6, 5, 4, 7, 9, 8, 11, 10, 13, 12, 15, 14, 18, 17, 16, 19, 23, 22, 21, 20, 24, 25, 26}),
    {"flip_TH4", ET_TH4, flip_TH4, {1, 0, 2, 3}},
    {"flip_W6", ET_W6, flip_W6, {3, 4, 5, 0, 1, 2}},
    {"flip_H8", ET_H8, flip_H8, {4, 5, 6, 7, 0, 1, 2, 3}},
};

const std::vector<flip_case> unchanged{
    generic("NONE", ET_NONE, same(0)),
    generic("NODE", ET_NODE, same(1)),
    generic("EDGE2", ET_EDGE2, same(2)),
    generic("EDGE3", ET_EDGE3, same(3)),
    generic("value 4", value_4, same(4)),
    generic("FACE_MIX", ET_FACE_MIX, same(4)),
    generic("FACE_MIX_Q", ET_FACE_MIX_Q, same(9)),
    generic("T3", ET_T3, same(3)),
    generic("T6", ET_T6, same(6)),
    generic("Q4", ET_Q4, same(4)),
    generic("Q8", ET_Q8, same(8)),
    generic("Q9", ET_Q9, same(9)),
    generic("SOLID_MIX_Q", ET_SOLID_MIX_Q, same(27)),
    generic("PY13", ET_PY13, same(13)),
    generic("W15", ET_W15, same(15)),
    generic("H20", ET_H20, same(20)),
};

std::vector<flip_case> all_cases() {
    auto cases = permuted;
    cases.insert(cases.end(), unchanged.begin(), unchanged.end());
    return cases;
}

/// Columns whose entries all differ.
dense2D<unsigned> numbered(std::size_t rows, std::size_t cols) {
    dense2D<unsigned> connect(rows, cols);
    for (std::size_t j = 0; j < cols; ++j)
        for (std::size_t i = 0; i < rows; ++i)
            connect(i, j) = unsigned(100 * j + i);
    return connect;
}

void expect_permuted(const dense2D<unsigned>& connect, const row_list& from) {
    ASSERT_EQ(connect.rows(), from.size());
    for (std::size_t j = 0; j < connect.cols(); ++j)
        for (std::size_t i = 0; i < from.size(); ++i)
            ASSERT_EQ(connect(i, j), 100 * j + from[i]) << "row " << i << " of column " << j;
}

/// A 27-row column that holds these nodes first.
row_list padded(row_list nodes) {
    nodes.resize(27, none);
    return nodes;
}

/// The columns of type 12, by kind, with what becomes of them.
struct mixed_case {
    const char* name;
    row_list before, after;
};

const std::vector<mixed_case> mixed_cases{
    {"10-node tetrahedron", padded(same(10)), padded({2, 1, 0, 3, 6, 5, 4, 9, 8, 7})},
    {"13-node pyramid", padded(same(13)), padded({2, 1, 0, 3, 4, 7, 8, 5, 6, 10, 9, 12, 11})},
    {"14-node pyramid", padded(same(14)), padded({2, 1, 0, 3, 4, 7, 8, 5, 6, 10, 9, 12, 11, 13})},
    {"15-node wedge", padded(same(15)), padded({2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12})},
    {"18-node wedge", padded(same(18)), padded({2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 17, 16, 15})},
    // a hexahedron has rows 3 and 5 exchanged besides
    {"20-node hexahedron", padded(same(20)),
     padded({2, 1, 0, 5, 6, 3, 4, 7, 9, 8, 11, 10, 13, 12, 15, 14, 18, 17, 16, 19})},
    {"27-node hexahedron", same(27), {2,  1,  0,  5,  6,  3,  4,  7,  9,  8,  11, 10, 13, 12,
                                      15, 14, 18, 17, 16, 19, 23, 22, 21, 20, 24, 25, 26}},
    // linear elements are taken for tetrahedra
    {"linear tetrahedron", padded(same(4)), padded({2, 1, 0, 3})},
    {"linear pyramid", padded(same(5)), padded({2, 1, 0, 3, none, none, 4})},
    {"linear wedge", padded(same(6)), padded({2, 1, 0, 3, none, 5, 4})},
    {"linear hexahedron", padded(same(8)), padded({2, 1, 0, 3, 6, 5, 4, none, none, 7})},
    {"no element", padded({}), padded({})},
};

dense2D<unsigned> columns_of(const std::vector<mixed_case>& cases, row_list mixed_case::*side) {
    dense2D<unsigned> connect(27, 0);
    for (const mixed_case& one : cases)
        connect.append((one.*side).data());
    return connect;
}

} // namespace

// ---- rows ----

TEST(Flip, ExchangesTheRowsOfEveryType) {
    for (const flip_case& one : all_cases()) {
        SCOPED_TRACE(one.name);
        auto connect = numbered(one.from.size(), 7);
        EXPECT_EQ(one.call(connect), 0);
        EXPECT_EQ(connect.cols(), 7u);
        expect_permuted(connect, one.from);
    }
}

TEST(Flip, TellsTheKindsOfTheQuadraticMixtureByTheirUnusedRows) {
    for (const mixed_case& one : mixed_cases) {
        SCOPED_TRACE(one.name);
        dense2D<unsigned> connect(27, 0);
        connect.append(one.before.data());
        EXPECT_EQ(flip(connect, ET_SOLID_MIX), 0);
        EXPECT_EQ(column(connect, 0), one.after);
    }
    auto together = columns_of(mixed_cases, &mixed_case::before);
    EXPECT_EQ(flip(together, ET_SOLID_MIX), 0);
    EXPECT_EQ(entries(together), entries(columns_of(mixed_cases, &mixed_case::after)));
}

TEST(Flip, TheFirstUnusedRowOfThreeDecides) {
    auto column_with = [](std::initializer_list<unsigned> unused) {
        auto nodes = same(27);
        for (const unsigned row : unused)
            nodes[row] = none;
        dense2D<unsigned> connect(27, 0);
        connect.append(nodes.data());
        EXPECT_EQ(flip(connect, ET_SOLID_MIX), 0);
        return column(connect, 0);
    };
    EXPECT_EQ(column_with({10})[4], 6u);         // as a tetrahedron, though rows 14 and 18 hold nodes
    EXPECT_EQ(column_with({10})[20], 20u);       //
    EXPECT_EQ(column_with({10, 14, 18})[4], 6u); //
    EXPECT_EQ(column_with({14})[5], 7u);         // as a pyramid
    EXPECT_EQ(column_with({14, 18})[3], 3u);     //
    EXPECT_EQ(column_with({18})[15], 17u);       // as a wedge
    EXPECT_EQ(column_with({13, 15, 20})[3], 5u); // other rows tell nothing: a hexahedron
    EXPECT_EQ(column_with({13, 15, 20})[4], 6u); //
    EXPECT_EQ(column_with({13, 15, 20})[23], none);
}

TEST(Flip, NodeNumbersAreNotLookedAt) {
    auto connect = ids({{none, 7, 4294967294u, 7}});
    EXPECT_EQ(flip(connect, ET_TH4), 0);
    EXPECT_EQ(entries(connect), (row_list{4294967294u, 7, none, 7}));
}

TEST(Flip, ASecondFlipRestoresTheMatrix) {
    for (const flip_case& one : all_cases()) {
        SCOPED_TRACE(one.name);
        auto connect = numbered(one.from.size(), 5);
        EXPECT_EQ(one.call(connect), 0);
        EXPECT_EQ(one.call(connect), 0);
        expect_permuted(connect, same(unsigned(one.from.size())));
    }
    auto mixed = columns_of(mixed_cases, &mixed_case::before);
    EXPECT_EQ(flip(mixed, ET_SOLID_MIX), 0);
    EXPECT_EQ(flip(mixed, ET_SOLID_MIX), 0);
    EXPECT_EQ(entries(mixed), entries(columns_of(mixed_cases, &mixed_case::before)));
}

// ---- status codes ----

TEST(Flip, RefusesEveryOtherRowCountAndChangesNothing) {
    for (const flip_case& one : all_cases())
        for (unsigned rows = 0; rows <= 30; ++rows)
            if (rows != one.from.size()) {
                auto connect = numbered(rows, 3);
                EXPECT_EQ(one.call(connect), one.name.rfind("flip_", 0) == 0 ? -1 : -2) << one.name << ", " << rows;
                expect_permuted(connect, same(rows));
            }
    for (unsigned rows = 0; rows <= 30; ++rows)
        if (rows != 27) {
            auto connect = numbered(rows, 3);
            EXPECT_EQ(flip(connect, ET_SOLID_MIX), -2) << rows << " rows";
            expect_permuted(connect, same(rows));
        }
}

TEST(Flip, AMatrixWithoutColumnsIsExcusedFromEveryCheck) {
    for (const std::size_t rows : {0u, 3u, 8u, 27u, 99u}) {
        dense2D<unsigned> connect(rows, 0);
        for (int type = -3; type <= 30; ++type)
            EXPECT_EQ(flip(connect, element_type(type)), 0) << rows << " rows, type " << type;
        EXPECT_EQ(flip_TH4(connect), 0);
        EXPECT_EQ(flip_W6(connect), 0);
        EXPECT_EQ(flip_H8(connect), 0);
        EXPECT_EQ(connect.rows(), rows);
    }
}

TEST(Flip, AMatrixOfColumnsWithoutRowsIsNot) {
    dense2D<unsigned> connect(0, 4);
    EXPECT_EQ(flip(connect, ET_NONE), 0);
    EXPECT_EQ(flip(connect, ET_H8), -2);
    EXPECT_EQ(flip(connect, ET_SOLID_MIX), -2);
    EXPECT_EQ(flip_TH4(connect), -1);
    EXPECT_EQ(flip_W6(connect), -1);
    EXPECT_EQ(flip_H8(connect), -1);
}

TEST(Flip, RefusesTypesThatDoNotExist) {
    for (const int type : {-2147483647 - 1, -1, 25, 26, 1000, 2147483647})
        for (const unsigned rows : {0u, 1u, 4u, 27u}) {
            auto connect = numbered(rows, 2);
            EXPECT_EQ(flip(connect, element_type(type)), -2) << type;
            expect_permuted(connect, same(rows));
        }
}

// ---- storage ----

TEST(Flip, AWindowIsFlippedAndNothingAroundIt) {
    for (const flip_case& one : all_cases()) {
        if (one.from.empty())
            continue;
        SCOPED_TRACE(one.name);
        const std::size_t rows = one.from.size();
        dense2D<unsigned> whole(rows + 5, 6, 7777u);
        auto window = whole.sub(2, 1, rows, 4);
        const auto values = numbered(rows, 4);
        for (std::size_t j = 0; j < 4; ++j)
            std::copy_n(values.col(j), rows, window.col(j));
        EXPECT_EQ(one.call(window), 0);
        expect_permuted(whole.sub(2, 1, rows, 4), one.from); // seen through the matrix that it is a window of
        for (std::size_t j = 0; j < whole.cols(); ++j)
            for (std::size_t i = 0; i < whole.rows(); ++i)
                if (i < 2 || i >= rows + 2 || j < 1 || j > 4) {
                    ASSERT_EQ(whole(i, j), 7777u) << i << ", " << j;
                }
    }
}

TEST(Flip, AWindowOfMixedSolidsToo) {
    const auto before = columns_of(mixed_cases, &mixed_case::before);
    auto window = as_window(before, 7777u);
    EXPECT_GT(window.ld(), 27u);
    EXPECT_EQ(flip(window, ET_SOLID_MIX), 0);
    EXPECT_EQ(entries(window), entries(columns_of(mixed_cases, &mixed_case::after)));
}

TEST(Flip, EveryViewOfTheStorageSeesTheChange) {
    auto connect = numbered(8, 3);
    const dense2D<unsigned> shared = connect;
    const auto last = connect.sub(4, 2, 4, 1);
    unsigned* const address = connect.data();
    EXPECT_EQ(flip(connect, ET_H8), 0);
    EXPECT_EQ(connect.data(), address);
    expect_permuted(shared, {2, 1, 0, 3, 6, 5, 4, 7});
    EXPECT_EQ(entries(last), (row_list{206, 205, 204, 207}));
}

TEST(Flip, MemoryOfTheCallerIsFlippedWhereItLies) {
    unsigned memory[] = {0, 1, 2, 3, 4, 5, 9, 9, 10, 11, 12, 13, 14, 15};
    auto connect = dense2D<unsigned>::view(memory, 6, 2, 8);
    EXPECT_EQ(flip_W6(connect), 0);
    EXPECT_EQ(std::vector<unsigned>(memory, memory + 14), (row_list{3, 4, 5, 0, 1, 2, 9, 9, 13, 14, 15, 10, 11, 12}));
}

// ---- geometry ----

namespace {

/// A node by the vertices that it lies amid.
using amid = std::vector<unsigned>;

std::vector<amid> vertices(unsigned count) {
    std::vector<amid> nodes;
    for (unsigned k = 0; k < count; ++k)
        nodes.push_back({k});
    return nodes;
}

std::vector<amid> join(std::vector<amid> first, const std::vector<amid>& then) {
    first.insert(first.end(), then.begin(), then.end());
    return first;
}

std::vector<amid> layout(element_type type) {
    const std::vector<amid> hexahedron_edges{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                             {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    switch (type) {
    case ET_TH4:
        return vertices(4);
    case ET_TH10:
        return join(vertices(4), {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}});
    case ET_PY5:
        return vertices(5);
    case ET_PY14:
        return join(vertices(5), {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 1, 2, 3}});
    case ET_W6:
        return vertices(6);
    case ET_W18:
        return join(vertices(6), {{0, 3},
                                  {1, 4},
                                  {2, 5},
                                  {1, 2},
                                  {2, 0},
                                  {0, 1},
                                  {4, 5},
                                  {5, 3},
                                  {3, 4},
                                  {1, 2, 5, 4},
                                  {2, 0, 3, 5},
                                  {0, 1, 4, 3}});
    case ET_H8:
        return vertices(8);
    default:
        return join(join(vertices(8), hexahedron_edges), {{0, 3, 7, 4},
                                                          {1, 2, 6, 5},
                                                          {0, 1, 5, 4},
                                                          {2, 3, 7, 6},
                                                          {0, 1, 2, 3},
                                                          {4, 5, 6, 7},
                                                          {0, 1, 2, 3, 4, 5, 6, 7}});
    }
}

/// Vertices of a direct element of plane faces, bent by an affine map so that no two of its edges look alike.
dense2D<double> corners(element_type type) {
    const std::size_t count = type == ET_TH4 || type == ET_TH10   ? 4
                              : type == ET_PY5 || type == ET_PY14 ? 5
                              : type == ET_W6 || type == ET_W18   ? 6
                                                                  : 8;
    const auto usual =
        count == 4   ? points({{0, 1, 0}, {1, 0, 0}, {0, 0, 0}, {0, 0, 1}})
        : count == 5 ? points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.4, 0.7, 1}})
        : count == 6 ? points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}})
                     : points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}});
    dense2D<double> bent(3, count);
    const double map[3][3] = {{1.1, 0.2, -0.3}, {0.4, 0.9, 0.25}, {-0.15, 0.35, 1.3}};
    for (std::size_t j = 0; j < count; ++j)
        for (std::size_t i = 0; i < 3; ++i)
            bent(i, j) = map[i][0] * usual(0, j) + map[i][1] * usual(1, j) + map[i][2] * usual(2, j);
    return bent;
}

/// The nodes of one element: column k lies where row k belongs.
dense2D<double> element(element_type type) {
    const auto vertex = corners(type);
    const auto rows = layout(type);
    dense2D<double> pos(3, rows.size(), 0.0);
    for (std::size_t j = 0; j < rows.size(); ++j)
        for (const unsigned v : rows[j])
            for (std::size_t i = 0; i < 3; ++i)
                pos(i, j) += vertex(i, v) / double(rows[j].size());
    return pos;
}

double volume_of_vertices(const dense2D<double>& pos, const dense2D<unsigned>& connect, std::size_t count) {
    double vol = 0;
    EXPECT_EQ(meldra3d::volume(pos, connect.sub(0, 0, count, 1), vol), 0);
    return vol;
}

/// The rows behind the vertices that do not lie amid the vertices that they should.
row_list misplaced(element_type type, const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    const auto rows = layout(type);
    row_list wrong;
    for (unsigned k = 0; k < rows.size(); ++k) {
        double distance = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            double middle = 0;
            for (const unsigned v : rows[k])
                middle += pos(i, connect(v, 0)) / double(rows[k].size());
            distance = std::max(distance, std::fabs(pos(i, connect(k, 0)) - middle));
        }
        if (distance > 1e-12)
            wrong.push_back(k);
    }
    return wrong;
}

} // namespace

TEST(Flip, ReversesTheVolumeAndKeepsNodesAmidTheirVertices) {
    for (const flip_case& one : permuted) {
        SCOPED_TRACE(one.name);
        const auto pos = element(one.type);
        const std::size_t count = corners(one.type).cols();
        dense2D<unsigned> connect(one.from.size(), 1);
        std::iota(connect.data(), connect.data() + connect.rows(), 0u);
        const double direct = volume_of_vertices(pos, connect, count);
        EXPECT_GT(direct, 0.1);
        EXPECT_EQ(misplaced(one.type, pos, connect), row_list());
        EXPECT_EQ(one.call(connect), 0);
        EXPECT_NEAR(volume_of_vertices(pos, connect, count), -direct, 1e-14);
        // Rows 6 and 8 of a pyramid belong to edges (1, 4) and (3, 4), which 0-2 leaves where they are.
        EXPECT_EQ(misplaced(one.type, pos, connect), one.type == ET_PY14 ? row_list({6, 8}) : row_list());
    }
}

TEST(Flip, AHexahedronOfTheMixtureIsSpoiledByItsExtraExchange) {
    const auto pos = element(ET_H27);
    dense2D<unsigned> connect(27, 1);
    std::iota(connect.data(), connect.data() + 27, 0u);
    EXPECT_EQ(flip(connect, ET_SOLID_MIX), 0);
    EXPECT_NE(misplaced(ET_H27, pos, connect), row_list());
}

// ---- properties ----

TEST(FlipProperties, AnyMatrixIsPermutedColumnByColumnAndRestored) {
    const auto cases = all_cases();
    const bool held = rc::check([&cases] {
        const flip_case& one = cases[*rc::gen::inRange<std::size_t>(0, cases.size())];
        const std::size_t rows = one.from.size();
        const auto cols = *rc::gen::inRange<std::size_t>(0, 40);
        const auto gap = *rc::gen::inRange<std::size_t>(0, 4);
        const auto before = *rc::gen::container<row_list>((rows + gap) * cols, rc::gen::arbitrary<unsigned>());
        auto memory = before;
        auto connect = cols == 0 || rows == 0 ? dense2D<unsigned>(rows, cols)
                                              : dense2D<unsigned>::view(memory.data(), rows, cols, rows + gap);
        RC_ASSERT(one.call(connect) == 0);
        for (std::size_t j = 0; j < cols; ++j)
            for (std::size_t i = 0; i < rows + gap; ++i)
                RC_ASSERT(memory[j * (rows + gap) + i] == before[j * (rows + gap) + (i < rows ? one.from[i] : i)]);
        RC_ASSERT(one.call(connect) == 0);
        RC_ASSERT(memory == before);
    });
    EXPECT_TRUE(held);
}
