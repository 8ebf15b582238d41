#include "box_tree.h"
#include "cell_grid.h"
#include "delaunay.h"
#include "exchange.h"
#include "searched_meshes.h"
#include "support/failing_alloc.h"

using namespace test;
using namespace quorl::meldra3d_mpi;
using quorl::meldra3d_mpi::detail::box;
using quorl::meldra3d_mpi::detail::box_tree;
using quorl::meldra3d_mpi::detail::cell_grid;
using quorl::meldra3d_mpi::detail::sum_of_all;

namespace {

struct result {
    dense1D<std::uint64_t, 8> elements;
    dense2D<double> local;
};

/// For each point the first element of all that holds it, and its local coordinates there.
result expected(const whole_mesh& mesh, const dense2D<double>& points, double tolerance) {
    namespace inner = quorl::meldra3d::detail;
    result first{dense1D<std::uint64_t, 8>(points.cols(), no_id), {}};
    first.local.resize(3, points.cols(), 0.0);
    for (std::size_t k = 0; k < points.cols(); ++k) {
        const unsigned element = first_holding(mesh, points.col(k), tolerance);
        if (element == no_node)
            continue;
        first.elements[k] = element;
        const auto corners = inner::tetrahedron_of(mesh.pos.data(), mesh.pos.ld(), mesh.connectivity.col(element));
        std::copy_n(inner::tetra_local_coordinates(corners, inner::point_at(points.col(k))).values, 3,
                    first.local.col(k));
    }
    return first;
}

/// To the bit.
void expect_equal(const result& found, const result& expected) {
    EXPECT_EQ(entries(found.elements), entries(expected.elements));
    EXPECT_TRUE(same_bits(found.local, expected.local));
}

void expect_found(const whole_mesh& mesh, const dense2D<double>& points, const result& found, double tolerance) {
    expect_equal(found, expected(mesh, points, tolerance));
}

result search(const distributed_mesh& part, const dense2D<double>& points, double tolerance) {
    result found;
    EXPECT_EQ(get_elements_containing_points(part, points, found.elements, found.local, tolerance, MPI_COMM_WORLD), 0);
    return found;
}

/// Points found by one of this search and the serial one only.
struct differences {
    std::uint64_t points = 0, found = 0, here = 0, serial = 0;
};

/// Compares with the serial search: the same point of space in both elements. (Which of the elements that share a face
/// or node is found may differ.)
differences compare_with_serial(const whole_mesh& mesh, const dense2D<double>& points, const result& found,
                                double tolerance) {
    searchable serial;
    serial.pos = mesh.pos;
    serial.connect = mesh.connectivity;
    EXPECT_TRUE(serial.prepare());
    dense1D<unsigned, 8> elements;
    dense2D<double> local;
    EXPECT_LE(meldra3d::get_elements_containing_points(serial.pos, serial.connect, serial.neighbors, serial.ancestors,
                                                       serial.detector, ET_TH4, points, elements, local, tolerance),
              0);
    const auto place = [&](std::uint64_t element, const double* w, unsigned i) {
        const unsigned* const n = mesh.connectivity.col(element);
        const double* const x = mesh.pos.data() + i;
        return x[3 * n[0]] * w[0] + x[3 * n[1]] * w[1] + x[3 * n[2]] * w[2] + x[3 * n[3]] * (1 - w[0] - w[1] - w[2]);
    };
    differences result;
    result.points = points.cols();
    for (std::size_t k = 0; k < points.cols(); ++k) {
        result.found += found.elements[k] != no_id;
        result.here += found.elements[k] != no_id && elements[k] == no_node;
        result.serial += found.elements[k] == no_id && elements[k] != no_node;
        for (unsigned i = 0; i < 3 && found.elements[k] != no_id && elements[k] != no_node; ++i)
            EXPECT_NEAR(place(found.elements[k], found.local.col(k), i), place(elements[k], local.col(k), i), 1e-12);
    }
    return {sum_of_all(result.points, MPI_COMM_WORLD), sum_of_all(result.found, MPI_COMM_WORLD),
            sum_of_all(result.here, MPI_COMM_WORLD), sum_of_all(result.serial, MPI_COMM_WORLD)};
}

/// Searches a mesh, cut in all ways, and gives the differences from the serial search.
differences search_all_cuts(const whole_mesh& mesh, std::size_t random_points) {
    const dense2D<double> points = asked_points(mesh, random_points, 10 + unsigned(world_rank()));
    const result first = expected(mesh, points, 1e-6);
    for (const dense1D<int, 8>& owners : cuts_of(mesh))
        expect_equal(search(cut(mesh, owners), points, 1e-6), first);
    return compare_with_serial(mesh, points, first, 1e-6);
}

/// The boxes that are visited for each point.
struct box_visits {
    std::vector<std::set<unsigned>>& found;

    void expect(unsigned) const {}
    void prepare(unsigned) const {}
    void visit(unsigned item, const std::uint16_t* which, unsigned count) const {
        for (unsigned i = 0; i < count; ++i)
            EXPECT_TRUE(found[which[i]].insert(item).second);
    }
};

void report(const char* name, const differences& found) {
    testing::Test::RecordProperty(name, int(found.here + found.serial));
    if (world_rank() == 0)
        std::printf("%s: of %llu points %llu are found, %llu across the ranks only, %llu serially only\n", name,
                    static_cast<unsigned long long>(found.points), static_cast<unsigned long long>(found.found),
                    static_cast<unsigned long long>(found.here), static_cast<unsigned long long>(found.serial));
}

} // namespace

TEST(Locate, FindsTheFirstElementOfAllThatHoldAPointHoweverTheMeshIsCut) {
    const differences found = search_all_cuts(shaken_cube(5), 400);
    report("shaken cube", found);
    EXPECT_EQ(found.here, 0u);
    EXPECT_EQ(found.serial, 0u);
    const differences regular =
        search_all_cuts({cube_of_tetrahedra(4, 0).pos, cube_of_tetrahedra(4, 0).connect, ET_TH4}, 200);
    report("regular cube", regular);
    EXPECT_EQ(regular.here, 0u);
    EXPECT_EQ(regular.serial, 0u);
}

TEST(Locate, FindsAllPointsOfDelaunayMeshes) {
    const differences found = search_all_cuts(delaunay_mesh(120), 400); // whose outside is ragged
    report("Delaunay mesh", found);
    EXPECT_GT(3 * found.found, found.points);
    EXPECT_EQ(found.serial, 0u);
}

TEST(Locate, FindsAllPointsOfReEntrantMeshes) {
    const differences in_l = search_all_cuts(l_shape(), 400);
    report("L", in_l);
    EXPECT_EQ(in_l.serial, 0u); // what a walk finds an element holds
    const differences in_u = search_all_cuts(u_shape(), 400);
    report("U", in_u);
    EXPECT_EQ(in_u.serial, 0u);
}

TEST(Locate, RanksMayAskForAnyNumberOfPoints) {
    const whole_mesh mesh = shaken_cube(4);
    const dense2D<double> points = asked_points(mesh, 300, 3);
    for (int asking = 0; asking < world_size(); ++asking) {
        const dense2D<double> own = world_rank() == asking ? points : dense2D<double>();
        expect_found(mesh, own, search(cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size())), own, 1e-6),
                     1e-6);
    }
    const dense2D<double> own = points.sub(0, 0, 3, std::size_t(world_rank()) * 20);
    expect_found(mesh, own, search(cut(mesh, blocks_of_owners(mesh.connectivity.cols(), world_size())), own, 1e-6),
                 1e-6);
    const dense2D<double> window = as_window(points, 0.5);
    expect_found(mesh, window, search(cut(mesh, cuts_of(mesh)[0]), window, 1e-6), 1e-6);
}

TEST(Locate, HeedsTheTolerance) {
    const whole_mesh mesh = shaken_cube(3);
    const dense2D<double> points = asked_points(mesh, 200, 4 + unsigned(world_rank()));
    for (const double tolerance :
         {0.0, -0.05, 0.3, 100.0, std::numeric_limits<double>::infinity(), std::nan(""), -1e300, 1e300}) {
        const result first = expected(mesh, points, tolerance);
        for (const dense1D<int, 8>& owners : cuts_of(mesh))
            expect_equal(search(cut(mesh, owners), points, tolerance), first);
    }
}

// Then no order of elements is heeded: which of those that hold a point is found depends on the cut.
TEST(Locate, WhereElementsOverlapFindsOneThatHoldsThePoint) {
    const whole_mesh one = shaken_cube(4), other = shaken_cube(3, 0.1);
    whole_mesh mesh{dense2D<double>(), dense2D<unsigned>(), ET_TH4};
    ASSERT_TRUE(mesh.pos.copy(one.pos) && mesh.connectivity.copy(one.connectivity));
    for (std::size_t j = 0; j < other.pos.cols(); ++j)
        mesh.pos.append(other.pos.col(j));
    for (std::size_t j = 0; j < other.connectivity.cols(); ++j) {
        std::vector<unsigned> nodes = column(other.connectivity, j);
        for (unsigned& node : nodes)
            node += unsigned(one.pos.cols());
        mesh.connectivity.append(nodes.data());
    }
    const dense2D<double> points = asked_points(mesh, 300, 11 + unsigned(world_rank()));
    for (const dense1D<int, 8>& owners : cuts_of(mesh)) {
        const result found = search(cut(mesh, owners), points, 1e-6);
        for (std::size_t k = 0; k < points.cols(); ++k) {
            const double* const x = points.col(k);
            ASSERT_EQ(found.elements[k] == no_id, first_holding(mesh, x, 1e-6) == no_node);
            if (found.elements[k] == no_id)
                continue;
            const whole_mesh that{mesh.pos, mesh.connectivity.sub(0, found.elements[k], 4, 1), ET_TH4};
            result alone = expected(that, points.sub(0, k, 3, 1), 1e-6);
            ASSERT_EQ(alone.elements[0], 0u);
            EXPECT_TRUE(same_bits(found.local.sub(0, k, 3, 1), alone.local));
        }
    }
}

TEST(Locate, PassesOverElementsThatAreNotDirect) {
    whole_mesh mesh = shaken_cube(4);
    for (std::size_t j = 0; j < mesh.connectivity.cols(); j += 7)
        std::swap(mesh.connectivity(0, j), mesh.connectivity(1, j));
    for (std::size_t j = 1; j < mesh.connectivity.cols(); j += 7)
        mesh.connectivity(3, j) = mesh.connectivity(0, j);
    mesh.pos(1, 20) = std::nan("");
    mesh.pos(2, 30) = std::numeric_limits<double>::infinity();
    const dense2D<double> points = asked_points(mesh, 300, 5 + unsigned(world_rank()));
    const result first = expected(mesh, points, 1e-6);
    for (const dense1D<int, 8>& owners : {cuts_of(mesh)[1], cuts_of(mesh)[2]})
        expect_equal(search(cut(mesh, owners), points, 1e-6), first);
}

TEST(Locate, SearchesAQuadraticMeshByItsCorners) {
    const whole_mesh linear = shaken_cube(3);
    const whole_mesh mesh = quadratic(linear);
    const dense2D<double> points = asked_points(linear, 300, 6 + unsigned(world_rank()));
    const result first = expected(linear, points, 1e-6);
    for (const dense1D<int, 8>& owners : cuts_of(linear))
        expect_equal(search(cut(mesh, owners), points, 1e-6), first);
}

TEST(Locate, FindsNothingInAMeshOfNothing) {
    const whole_mesh mesh{dense2D<double>(3, 0), dense2D<unsigned>(4, 0), ET_TH4};
    const dense2D<double> points = asked_points(shaken_cube(1), 8, 1);
    expect_found(mesh, points, search(cut(mesh, {}), points, 1e-6), 1e-6);
}

TEST(Locate, TakesPartsWhoseIDsAreInAnyOrder) {
    const whole_mesh mesh = shaken_cube(4);
    distributed_mesh part = cut(mesh, blocks_of_owners(mesh.connectivity.cols(), world_size()));
    const std::size_t n = part.element_ids.size();
    for (std::size_t j = 0; j < n / 2; ++j) {
        std::swap_ranges(part.connectivity.col(j), part.connectivity.col(j) + 4, part.connectivity.col(n - 1 - j));
        std::swap(part.element_ids[j], part.element_ids[n - 1 - j]);
    }
    const dense2D<double> points = asked_points(mesh, 300, 7 + unsigned(world_rank()));
    expect_found(mesh, points, search(part, points, 1e-6), 1e-6);
}

TEST(Locate, OutputsMayBeInputs) {
    const whole_mesh mesh = shaken_cube(3);
    const distributed_mesh whole = cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
    const dense2D<double> given = asked_points(mesh, 100, 8);
    distributed_mesh part = deep_copy(whole);
    dense2D<double> points;
    ASSERT_TRUE(points.copy(given));
    EXPECT_EQ(get_elements_containing_points(part, points, part.element_ids, points, 1e-6, MPI_COMM_WORLD), 0);
    expect_found(mesh, given, {part.element_ids, points}, 1e-6);
    part = deep_copy(whole);
    EXPECT_EQ(get_elements_containing_points(part, given, part.node_ids, part.pos, 1e-6, MPI_COMM_WORLD), 0);
    expect_found(mesh, given, {part.node_ids, part.pos}, 1e-6);
}

TEST(Locate, AFaultOnOneRankIsReturnedByAll) {
    const whole_mesh mesh = shaken_cube(2);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    const auto status = [&](int faulty, auto spoil) {
        distributed_mesh part = deep_copy(cut(mesh, owners));
        dense2D<double> points = asked_points(mesh, 8, 1);
        if (world_rank() == faulty)
            spoil(part, points);
        dense1D<std::uint64_t, 8> elements{7};
        dense2D<double> local(1, 1, 7.0);
        const int returned = get_elements_containing_points(part, points, elements, local, 1e-6, MPI_COMM_WORLD);
        EXPECT_TRUE(elements.size() == 1 && elements[0] == 7 && local.size() == 1 && local(0, 0) == 7);
        return returned;
    };
    for (int rank = 0; rank < world_size(); ++rank) {
        EXPECT_EQ(status(rank, [](auto& part, auto&) { part.type = ET_H8; }), -2);
        EXPECT_EQ(status(rank,
                         [](auto& part, auto& points) {
                             part.type = ET_NONE;
                             points.resize(2, 4);
                         }),
                  -2);
        EXPECT_EQ(status(rank, [](auto&, auto& points) { points.resize(2, 4); }), -7);
        EXPECT_EQ(status(rank,
                         [](auto& part, auto& points) {
                             part.nodes = 0;
                             points.resize(4, 4);
                         }),
                  -7);
        EXPECT_EQ(status(rank, [](auto& part, auto&) { part.nodes = 0; }), -20);
    }
}

TEST(Locate, LackOfMemoryOnOneRankReturnsOnAll) {
    const whole_mesh mesh = shaken_cube(2);
    const distributed_mesh part = cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
    const dense2D<double> points = asked_points(mesh, 16, 1);
    for (const int failing : std::set<int>{0, world_size() - 1}) {
        std::uint64_t failures = 1;
        for (std::size_t k = 1; failures != 0; ++k) {
            dense1D<std::uint64_t, 8> elements{7};
            dense2D<double> local(1, 1, 7.0);
            if (world_rank() == failing)
                fail_allocation(k);
            const int status = get_elements_containing_points(part, points, elements, local, 1e-6, MPI_COMM_WORLD);
            failures = sum_of_all(stop_failing(), MPI_COMM_WORLD);
            ASSERT_EQ(status, failures != 0 ? -199 : 0) << "allocation " << k << " of rank " << failing;
            ASSERT_TRUE(failures == 0 ||
                        (elements.size() == 1 && elements[0] == 7 && local.size() == 1 && local(0, 0) == 7));
            if (failures == 0)
                expect_found(mesh, points, {elements, local}, 1e-6);
        }
    }
}

TEST(BoxTree, FindsTheBoxesAroundAPoint) {
    dice random(9);
    for (const std::size_t n : {0u, 1u, 3u, 4u, 5u, 16u, 17u, 300u, 3000u}) {
        std::vector<box> boxes(n, box::none());
        box around = box::none();
        for (std::size_t k = 0; k < n; ++k)
            for (unsigned corner = 0; corner < 2 && k % 11 != 10; ++corner) { // some are empty, and some large
                const bool is_large = k % 13 == 5;
                const std::size_t place[3] = {k % 18, k / 3 % 18, k / 7 % 18};
                double x[3];
                for (unsigned i = 0; i < 3; ++i)
                    x[i] = is_large ? random(20) : double(place[i] + random(2));
                boxes[k].include(x);
                around.include(x);
            }
        box_tree tree;
        ASSERT_TRUE(tree.build(n, around, [&](std::size_t k) { return boxes[k]; }));
        double points[3 * box_tree::most_points];
        for (double& x : points)
            x = random(41) / 2.0;
        std::vector<std::set<unsigned>> found(box_tree::most_points);
        tree.visit_around(points, box_tree::most_points, box_visits{found});
        for (unsigned p = 0; p < found.size(); ++p) {
            const double* const x = points + 3 * p;
            const auto holds = [x](const box& one) {
                return one.low[0] <= x[0] && x[0] <= one.high[0] && one.low[1] <= x[1] && x[1] <= one.high[1] &&
                       one.low[2] <= x[2] && x[2] <= one.high[2];
            };
            std::set<unsigned> expected;
            for (unsigned k = 0; k < n; ++k)
                if (holds(boxes[k]))
                    expected.insert(k);
            ASSERT_EQ(found[p], expected);
        }
    }
}

TEST(CellGrid, KnowsWhereBoxesAre) {
    dice random(10);
    for (const double scale : {1.0, 1e-300, 1e200}) {
        for (const double offset : {0.0, 1e6}) {
            box around = box::none();
            std::vector<box> boxes(30, box::none());
            for (box& one : boxes)
                for (unsigned corner = 0; corner < 2; ++corner) {
                    const double x[3] = {(offset + share(random)) * scale, share(random) * scale, 7 * scale}; // flat
                    one.include(x);
                    around.include(x);
                }
            cell_grid grid;
            ASSERT_TRUE(grid.reset(around));
            box covers[cell_grid::most_boxes];
            grid.cover(covers);
            EXPECT_TRUE(std::all_of(covers, covers + cell_grid::most_boxes,
                                    [](const box& one) { return one.low[0] > one.high[0]; }));
            for (std::size_t k = 0; k < boxes.size(); k += 2) // the others stay away
                grid.mark(grid.range_of(boxes[k]));
            grid.cover(covers);
            for (std::size_t k = 0; k < boxes.size(); k += 2)
                for (unsigned p = 0; p < 30; ++p) {
                    double x[3];
                    for (unsigned i = 0; i < 3; ++i) {
                        const double s = p < 2 ? p : share(random); // the corners, too
                        x[i] = std::min(boxes[k].low[i] + s * (boxes[k].high[i] - boxes[k].low[i]), boxes[k].high[i]);
                    }
                    EXPECT_TRUE(grid.is_marked(x));
                    EXPECT_TRUE(std::any_of(covers, covers + cell_grid::most_boxes, [&](const box& one) {
                        return one.low[0] <= x[0] && x[0] <= one.high[0] && one.low[1] <= x[1] && x[1] <= one.high[1] &&
                               one.low[2] <= x[2] && x[2] <= one.high[2];
                    }));
                }
            const double outside[3] = {(offset + 2) * scale, 0.5 * scale, 7 * scale};
            EXPECT_FALSE(grid.is_marked(outside));
        }
    }
}

TEST(CellGrid, TellsCellsApart) {
    box unit = box::none();
    const double corners[2][3] = {{0, 0, 0}, {64, 64, 64}};
    unit.include(corners[0]);
    unit.include(corners[1]);
    cell_grid grid;
    ASSERT_TRUE(grid.reset(unit));
    const double marked[3] = {10.5, 20.5, 30.5};
    grid.mark(marked);
    for (unsigned i = 0; i < 3; ++i)
        for (const double by : {-1.0, 1.0}) {
            double beside[3] = {marked[0], marked[1], marked[2]};
            beside[i] += by;
            EXPECT_FALSE(grid.is_marked(beside));
            for (const double length : {0.0, 0.7, 1.5, 5.0}) { // away from the marked cell, and then through it
                box one = box::none();
                one.include(beside);
                beside[i] += by * length;
                one.include(beside);
                EXPECT_FALSE(grid.is_marked(grid.range_of(one)));
                one.include(marked);
                EXPECT_TRUE(grid.is_marked(grid.range_of(one)));
                beside[i] = marked[i] + by;
            }
        }
    EXPECT_FALSE(grid.is_marked(cell_grid::range::none()));
    box covers[cell_grid::most_boxes];
    grid.cover(covers);
    EXPECT_EQ(
        std::count_if(covers, covers + cell_grid::most_boxes, [](const box& one) { return one.low[0] <= one.high[0]; }),
        1);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_NEAR(covers[0].low[i], marked[i] - 0.5, 1e-9);
        EXPECT_NEAR(covers[0].high[i], marked[i] + 0.5, 1e-9);
    }
}
