// The calls of tests/calls where IDs run out, on a build of the library that has few of them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calls/call.h"
#include "frame/id_count.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::detail::id_limit;

namespace {

constexpr unsigned cells = 2; // along a side of each mesh
constexpr int no_memory = -199;

/// Numbers nodes that are new, all or none: those of which less is done, or more is numbered, have tests of their own.
bool numbers_nodes(const call& c) {
    bool changes_nodes = false;
    for (const auto& [name, left] : c.rules)
        changes_nodes |= name == argument::pos;
    return changes_nodes && c.function.rfind("dense2D", 0) != 0 && c.function != "extrude_line" &&
           c.function != "split_solid_Q4";
}

/// A call with nodes that nothing uses behind those of its mesh.
class padded_call {
public:
    explicit padded_call(const call& c) : call_(c), given_(c.make(cells)) {
        arguments a = with_own_outputs(c, given_);
        success_ = c.run(a);
        added_ = a.pos.cols() > given_.pos.cols() ? a.pos.cols() - given_.pos.cols() : 0;
    }

    int success() const { return success_; }
    std::size_t added() const { return added_; }

    arguments with_nodes(std::size_t count) const {
        arguments a = with_own_outputs(call_, given_);
        const std::size_t used = a.pos.cols();
        a.pos.resize(a.pos.rows(), count);
        for (std::size_t j = used; j < count; ++j)
            std::fill_n(a.pos.col(j), a.pos.rows(), 0.5);
        return a;
    }

    int run(arguments& a) const { return call_.run(a); }

    void expect_rolled_back(const arguments& a, std::size_t nodes) const {
        const auto before = contents(with_nodes(nodes)), now = contents(a);
        for (std::size_t k = 0; k < now.size(); ++k)
            EXPECT_TRUE(obeys(call_.rule(now[k].which), now[k], before[k], before[k]))
                << "argument " << int(now[k].which);
    }

    void expect_names_nodes_only(const arguments& a) const {
        EXPECT_LE(a.pos.cols(), id_limit);
        for (const auto* made : {&a.out, &a.sides, &a.cap})
            EXPECT_TRUE(meldra::check_IDs(*made, unsigned(a.pos.cols())));
    }

private:
    const call& call_;
    const arguments given_;
    int success_ = 0;
    std::size_t added_ = 0;
};

} // namespace

TEST(IdLimit, TheLastIdIsUsedAndTheNextRefused) {
    std::size_t tried = 0;
    for (const call& c : all_calls()) {
        if (!numbers_nodes(c))
            continue;
        SCOPED_TRACE(c.name());
        const padded_call padded(c);
        ASSERT_LT(padded.added(), id_limit / 2);
        const std::size_t most = id_limit - padded.added();
        arguments fits = padded.with_nodes(most), does_not = padded.with_nodes(most + 1);
        EXPECT_EQ(padded.run(fits), padded.success());
        if (padded.added() != 0) {
            EXPECT_EQ(fits.pos.cols(), id_limit);
        }
        padded.expect_names_nodes_only(fits);
        EXPECT_EQ(padded.run(does_not), no_memory);
        padded.expect_rolled_back(does_not, most + 1);
        ++tried;
    }
    EXPECT_GT(tried, 100u);
}

TEST(IdLimit, ASweepAlongALineNumbersTheCopiesThatItLeavesOut) {
    for (const call& c : all_calls()) {
        if (c.function != "extrude_line")
            continue;
        SCOPED_TRACE(c.name());
        const padded_call padded(c);
        std::size_t nodes = id_limit + 1;
        for (bool refused = true; refused; --nodes) {
            arguments a = padded.with_nodes(nodes);
            refused = padded.run(a) == no_memory;
            if (refused) {
                padded.expect_rolled_back(a, nodes);
            } else {
                padded.expect_names_nodes_only(a);
                constexpr std::size_t left_out = 3; // a copy on each level
                const bool leaves_out = c.mesh.find("line from a node") != std::string::npos;
                EXPECT_EQ(a.pos.cols(), id_limit - (leaves_out ? left_out : 0));
            }
        }
    }
}

TEST(IdLimit, ElementsWithoutAnIdForTheirCentroidFail) {
    for (const call& c : all_calls()) {
        if (c.function != "split_solid_Q4")
            continue;
        SCOPED_TRACE(c.name());
        const padded_call padded(c);
        const std::size_t enough = id_limit - padded.added();
        arguments fits = padded.with_nodes(enough);
        EXPECT_EQ(padded.run(fits), 0);
        EXPECT_EQ(fits.pos.cols(), id_limit);
        for (std::size_t missing = 1; missing <= padded.added(); ++missing) {
            arguments a = padded.with_nodes(enough + missing);
            EXPECT_EQ(padded.run(a), 0);
            EXPECT_EQ(a.pos.cols(), id_limit);
            padded.expect_names_nodes_only(a);
            EXPECT_GE(a.list.size(), fits.list.size());
            if (missing == padded.added()) {
                EXPECT_GT(a.list.size(), fits.list.size());
            }
        }
    }
}

TEST(IdLimit, FailedElementsBeyondItAreNotListed) {
    const mesh m = solids(cut::hexahedra, 1);
    dense2D<double> pos(3, id_limit, 0.0); // no ID is left for a centroid: all fail
    dense2D<unsigned> many(8, 0), out;
    for (std::size_t j = 0; j < id_limit + 3; ++j)
        many.append(m.connect.col(0));
    dense1D<unsigned, 8> failed;
    EXPECT_EQ(meldra3d::split_solid_Q4(pos, many, m.connect.sub(0, 0, 4, 1), {0}, 0, failed, out), 0);
    ASSERT_EQ(failed.size(), id_limit);
    EXPECT_EQ(failed[id_limit - 1], id_limit - 1);
    EXPECT_TRUE(out.empty());
}

TEST(IdLimit, NodesBeyondItCannotBeNamed) {
    dense2D<double> pos(3, id_limit + 2, 0.0);
    dense2D<unsigned> solids;
    const auto beyond = ids({{0, 1, id_limit}});
    EXPECT_EQ(meldra3d::extrude_translate(pos, beyond, {0, 0, 1}, 1, solids), -2);
    double volume = 7;
    EXPECT_EQ(meldra3d::volume(pos, ids({{0, 1, 2, id_limit - 1}}), volume), 0);
    EXPECT_EQ(meldra3d::volume(pos, ids({{0, 1, 2, id_limit}}), volume), -2);
}

TEST(IdLimit, ElementsBeyondItCannotBeNamed) {
    const dense2D<unsigned> many(3, id_limit + 1, 0u), most = many.sub(0, 0, 3, id_limit);
    dense1D<unsigned, 8> ancestors;
    EXPECT_EQ(meldra::get_ancestors(most, ancestors), 0);
    EXPECT_EQ(meldra::get_ancestors(many, ancestors), no_memory);
    EXPECT_TRUE(ancestors.empty());
    dense2D<unsigned> neighbors;
    EXPECT_EQ(meldra::get_neighbors(most, ET_T3, false, neighbors), 0);
    EXPECT_EQ(meldra::get_neighbors(many, ET_T3, false, neighbors), no_memory);
    EXPECT_TRUE(neighbors.empty());
}

TEST(IdLimit, AllNodesAreListedOnlyWhileTheyHaveIds) {
    const auto connect = ids({{0, 2, 1, 3}});
    const dense2D<unsigned> neighbors(4, 1, no_node);
    for (const std::size_t nodes : {std::size_t(id_limit), std::size_t(id_limit) + 1}) {
        dense2D<double> pos(3, nodes, 0.25);
        for (unsigned k = 0; k < 4; ++k)
            for (unsigned i = 0; i < 3; ++i)
                pos(i, k) = k == i + 1 ? 1 : 0;
        dense1D<unsigned, 8> ancestors{0, 0, 0, 0};
        ancestors.resize(nodes, no_node);
        dense1D<double, 8> sizes(nodes, 1.0);
        EXPECT_EQ(meldra3d::interpolate_metrics(pos, connect, neighbors, ancestors, sizes, false),
                  nodes == id_limit ? 0 : no_memory);
    }
}
