// Counts that no memory can hold, and the true limit of IDs where memory that is never touched stands for nodes.

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "calls/call.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;

namespace {

constexpr unsigned cells = 2; // along a side of each mesh
constexpr int no_memory = -199;

/// Coordinates for more nodes than there is memory: pages that are only written when they are used.
class endless_nodes {
public:
    endless_nodes() {
        void* const place =
            mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        memory_ = place == MAP_FAILED ? nullptr : static_cast<double*>(place);
    }
    endless_nodes(const endless_nodes&) = delete;
    endless_nodes& operator=(const endless_nodes&) = delete;
    ~endless_nodes() {
        if (memory_)
            munmap(memory_, bytes);
    }

    bool are_there() const { return memory_ != nullptr; }

    /// `count` nodes, the first of which are given.
    dense2D<double> behind(const dense2D<double>& first, std::size_t count) {
        for (std::size_t j = 0; j < first.cols(); ++j)
            std::copy_n(first.col(j), first.rows(), memory_ + 3 * j);
        return dense2D<double>::view(memory_, first.rows(), count, 3);
    }

private:
    static constexpr std::size_t bytes = (std::size_t(no_node) + 10) * 3 * sizeof(double);
    double* memory_ = nullptr;
};

/// Appends nodes, without working memory for all nodes that are there.
bool appends_nodes(const call& c) {
    const bool uses_normals = c.function == "extrude_normal" && c.form.rfind("shifts", 0) != 0;
    return c.function.rfind("extrude", 0) == 0
               ? !uses_normals
               : c.function == "convert_into_high_order" || c.function == "convert_into_quadratic" ||
                     c.function == "split_into_H8" || c.function == "split_solid_Q4" ||
                     c.function == "duplicate_surface_nodes";
}

dense2D<unsigned>* id_matrices(arguments& a, std::size_t k) {
    dense2D<unsigned>* const all[] = {&a.connect, &a.neighbors, &a.faces, &a.edges, &a.out, &a.sides, &a.cap};
    return k < std::size(all) ? all[k] : nullptr;
}

void expect_a_status(const call& c, arguments& a, int success) {
    const int status = c.run(a);
    EXPECT_TRUE(status == success || status == 0 || status == no_memory || (status < 0 && status > -13)) << status;
}

} // namespace

TEST(IdLimit, NoNodeIsNumberedBeyondIt) {
    endless_nodes nodes;
    if (!nodes.are_there())
        GTEST_SKIP() << "no address space for 2^32 nodes";
    std::size_t tried = 0;
    for (const call& c : all_calls()) {
        if (!appends_nodes(c))
            continue;
        SCOPED_TRACE(c.name());
        // The last ID is used where a single one is wanted, and that asks for memory.
        const std::size_t fewest = c.function == "split_solid_Q4" ? no_node : no_node - 1;
        for (const std::size_t count : {fewest, std::size_t(no_node), std::size_t(no_node) + 5}) {
            arguments a = with_own_outputs(c, c.make(cells)), before = with_own_outputs(c, a);
            a.pos = nodes.behind(before.pos, count);
            const int status = c.run(a);
            EXPECT_EQ(a.pos.cols(), count);
            a.pos = a.pos.sub(0, 0, a.pos.rows(), before.pos.cols());
            if (c.function == "split_solid_Q4") {
                EXPECT_EQ(status, 0);
                EXPECT_FALSE(a.list.empty()) << "elements without a centroid fail";
                continue;
            }
            EXPECT_EQ(status, no_memory);
            const auto now = contents(a), as_before = contents(before);
            for (std::size_t k = 0; k < now.size(); ++k)
                EXPECT_TRUE(obeys(c.rule(now[k].which), now[k], as_before[k], as_before[k]))
                    << "argument " << int(now[k].which);
        }
        ++tried;
    }
    EXPECT_GT(tried, 100u);
}

TEST(HugeCounts, EmptyMatricesOfAnySidesAreEmpty) {
    for (const call& c : all_calls()) {
        if (c.function.rfind("dense", 0) == 0 || c.function == "split_solid_Q4") // takes its shapes for granted
            continue;
        SCOPED_TRACE(c.name());
        const arguments given = c.make(cells);
        arguments usual = with_own_outputs(c, given);
        const int success = c.run(usual);
        for (const auto& [rows, cols] : {std::pair<std::size_t, std::size_t>(0, SIZE_MAX), {SIZE_MAX, 0}}) {
            for (std::size_t k = 0;; ++k) {
                arguments a = with_own_outputs(c, given);
                dense2D<unsigned>* const matrix = id_matrices(a, k);
                if (!matrix)
                    break;
                *matrix = dense2D<unsigned>(rows, cols);
                expect_a_status(c, a, success);
            }
            arguments a = with_own_outputs(c, given);
            a.pos = dense2D<double>(rows, cols);
            expect_a_status(c, a, success);
            a = with_own_outputs(c, given);
            a.reals = dense2D<double>(rows, cols);
            expect_a_status(c, a, success);
        }
    }
}

TEST(HugeCounts, NodesInsideThatNoMemoryHolds) {
    // The first group of nodes has no IDs already, so that nothing is written however much memory there is.
    constexpr unsigned most = 0xFFFFFFFF;
    const unsigned counts[][7] = {
        {most, 0, 0, 0, 0, 0, 0}, {most, 0xFFFF * 0xFFFFu, 3, 27, 1, most, 1}, {0, 0, 0, 0, 0, most, 0}};
    for (const cut kind : {cut::tetrahedra, cut::pyramids, cut::wedges, cut::all_kinds})
        for (const auto& n : counts) {
            mesh m = solids(kind, 1);
            if (n[0] == 0 && kind != cut::wedges)
                continue; // nodes inside wedges only
            const auto pos = entries(m.pos);
            dense2D<unsigned> out(2, 2, 7u), faces, edges;
            EXPECT_EQ(meldra3d::convert_into_high_order(m.pos, m.connect, n[0], n[1], n[2], n[3], n[4], n[5], n[6], out,
                                                        faces, edges),
                      no_memory);
            EXPECT_EQ(entries(m.pos), pos);
            EXPECT_TRUE(out.empty());
        }
}

TEST(HugeCounts, LayersThatNoMemoryHolds) {
    using namespace meldra3d;
    constexpr unsigned most = 0xFFFFFFFF;
    const mesh m = surface(4, 2);
    const auto expect_refused = [&](const auto& sweep) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> solids(8, 1, 0u), sides(4, 1, 0u), cap(4, 1, 0u);
        EXPECT_EQ(sweep(pos, solids, sides, cap), no_memory);
        EXPECT_EQ(entries(pos), entries(m.pos));
        EXPECT_EQ(solids.cols(), 1u);
        EXPECT_EQ(sides.cols(), 1u);
        EXPECT_EQ(cap.cols(), 1u);
    };
    for (const unsigned layers : {most, most / 2, most / 9}) {
        expect_refused([&](auto& pos, auto& solids, auto& sides, auto& cap) {
            return extrude_translate(pos, m.connect, {0, 0, 1}, layers, solids, border(2), sides, cap);
        });
        expect_refused([&](auto& pos, auto& solids, auto& sides, auto& cap) {
            return extrude_rotate(pos, m.connect, {-1, 0, 0}, {0, 1, 0}, layers, solids, border(2), sides, cap);
        });
        expect_refused([&](auto& pos, auto& solids, auto& sides, auto& cap) {
            return extrude_spiral(pos, m.connect, {-1, 0, 0}, {0, 1, 0}, {0, 1, 0}, layers, solids, border(2), sides,
                                  cap);
        });
        expect_refused([&](auto& pos, auto& solids, auto& sides, auto& cap) {
            return extrude_normal(pos, m.connect, 1.0, layers, solids, border(2), sides, cap);
        });
    }
    for (const double size : {1e-9, 1e-12, 1e-300, 5e-324})
        expect_refused([&](auto& pos, auto& solids, auto& sides, auto& cap) {
            return extrude_translate(pos, m.connect, {0, 0, 1}, size, size, true, solids, border(2), sides, cap);
        });
}
