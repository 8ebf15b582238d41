#include <functional>

#include "delaunay.h"
#include "exchange.h"
#include "searched_meshes.h"
#include "support/failing_alloc.h"

using namespace test;
using namespace quorl::meldra3d_mpi;
using quorl::meldra3d_mpi::detail::sum_of_all;

namespace {

using values_of_nodes = std::function<std::vector<double>(const double*)>;

/// A value of three components, one of them linear.
std::vector<double> some_field(const double* x) {
    return {1 + x[0] - 2 * x[1] + 0.5 * x[2], std::sin(3 * x[0]) * x[1] + x[2] * x[2], x[0] * x[1] * x[2]};
}

/// A metric whose directions and lengths vary.
std::vector<double> some_metric(const double* x) {
    const double c = std::cos(x[0] + 2 * x[1]), s = std::sin(x[0] + 2 * x[1]);
    const double a = 1 / (0.1 + x[2] * x[2]), b = 4 + std::sin(9 * x[0]), d = 1 + x[1] * x[1];
    return {c * c * a + s * s * b, c * s * (a - b), s * s * a + c * c * b, 0.1 * x[2], 0, d};
}

dense2D<double> at_nodes(const dense2D<double>& pos, const values_of_nodes& value) {
    dense2D<double> field;
    for (std::size_t j = 0; j < pos.cols(); ++j) {
        const std::vector<double> column = value(pos.col(j));
        if (j == 0)
            field.resize(column.size(), 0);
        field.append(column.data());
    }
    return field;
}

struct result {
    dense2D<double> values;
    dense1D<std::uint64_t, 8> elements;
};

/// What the library itself interpolates at a point of a mesh: of one element, or of nodes none of which holds it.
std::vector<double> serially(const whole_mesh& mesh, const dense2D<double>& field, const double* x, bool metrics) {
    dense2D<double> pos, values;
    dense2D<unsigned> neighbors;
    dense1D<unsigned, 8> ancestors;
    EXPECT_TRUE(pos.copy(mesh.pos) && values.copy(field));
    pos.append(x);
    values.append(std::vector<double>(field.rows(), 0.0).data());
    EXPECT_EQ(meldra::get_neighbors(mesh.connectivity, ET_TH4, false, neighbors), 0);
    EXPECT_EQ(meldra::get_ancestors(mesh.connectivity, ancestors), 0);
    EXPECT_TRUE(ancestors.resize(pos.cols(), no_node));
    const dense1D<unsigned, 8> nodes{unsigned(pos.cols() - 1)};
    const int status =
        metrics ? meldra3d::interpolate_metrics(pos, mesh.connectivity, neighbors, ancestors, values, nodes, false)
                : meldra3d::interpolate(pos, mesh.connectivity, neighbors, ancestors, values, nodes);
    EXPECT_EQ(status, 0);
    return column(values, pos.cols() - 1);
}

/// For each point the first element of all that holds it, and what the library gives it there, or at the nearest node
/// of all.
result expected(const whole_mesh& mesh, const dense2D<double>& field, const dense2D<double>& points, bool metrics) {
    result first{dense2D<double>(field.rows(), 0), dense1D<std::uint64_t, 8>(points.cols(), no_id)};
    for (std::size_t k = 0; k < points.cols(); ++k) {
        const double* const x = points.col(k);
        std::vector<double> values(field.rows(), 0.0);
        if (const unsigned element = first_holding(mesh, x, 1e-6); element != no_node) {
            first.elements[k] = element;
            values = serially({mesh.pos, mesh.connectivity.sub(0, element, 4, 1), ET_TH4}, field, x, metrics);
        } else if (const unsigned node = nearest_node(mesh, x); is_finite(x) && node != no_node) {
            values = column(field, node);
        }
        first.values.append(values.data());
    }
    return first;
}

/// To the bit.
void expect_equal(const result& got, const result& expected) {
    EXPECT_EQ(entries(got.elements), entries(expected.elements));
    EXPECT_TRUE(same_bits(got.values, expected.values));
}

void expect_values(const whole_mesh& mesh, const dense2D<double>& field, const dense2D<double>& points,
                   const result& got, bool metrics) {
    expect_equal(got, expected(mesh, field, points, metrics));
}

result carry(const whole_mesh& mesh, const dense1D<int, 8>& owners, const values_of_nodes& value,
             const dense2D<double>& points, bool metrics) {
    const distributed_mesh part = cut(mesh, owners);
    const dense2D<double> field = at_nodes(part.pos, value);
    result got;
    if (!metrics) {
        EXPECT_EQ(interpolate(part, field, points, got.values, got.elements, MPI_COMM_WORLD), 0);
        return got;
    }
    got.values.resize(6, points.cols(), 0.0);
    EXPECT_EQ(interpolate_metrics(part, field, points, got.values, got.elements, MPI_COMM_WORLD), 0);
    return got;
}

void carry_in_all_cuts(const whole_mesh& mesh, std::size_t random_points) {
    const dense2D<double> points = asked_points(mesh, random_points, 20 + unsigned(world_rank()));
    const result values = expected(mesh, at_nodes(mesh.pos, some_field), points, false);
    const result metrics = expected(mesh, at_nodes(mesh.pos, some_metric), points, true);
    for (const dense1D<int, 8>& owners : cuts_of(mesh)) {
        expect_equal(carry(mesh, owners, some_field, points, false), values);
        expect_equal(carry(mesh, owners, some_metric, points, true), metrics);
    }
}

} // namespace

TEST(Interpolate, GivesWhatTheLibraryGivesInTheElementOrAtTheNearestNode) {
    carry_in_all_cuts(shaken_cube(3), 60);
    carry_in_all_cuts(u_shape(), 30);
    carry_in_all_cuts(delaunay_mesh(60), 60);
}

TEST(Interpolate, OfEquallyNearNodesTakesTheFirst) {
    whole_mesh mesh = l_shape(); // of a grid
    dense2D<double> points(3, 0);
    for (unsigned k = 0; k < 40; ++k) { // before middles of edges and faces of the outside, and in the quarter cut away
        const double x[3] = {(k % 7) / 6.0 + 1 / 12.0, k < 20 ? -0.25 : 0.75, (k % 5) / 6.0 + 7 / 12.0};
        points.append(x);
    }
    const result first = expected(mesh, at_nodes(mesh.pos, some_field), points, false);
    for (const dense1D<int, 8>& owners : cuts_of(mesh))
        expect_equal(carry(mesh, owners, some_field, points, false), first);
}

TEST(Interpolate, FindsTheNearestNodeOfMeshesOfAnySize) {
    for (const double scale : {0x1p600, 0x1p-600, 0x1p-1000}) {
        whole_mesh mesh = shaken_cube(2), scaled = mesh;
        dense2D<double> points = asked_points(mesh, 24, 9).sub(0, 0, 3, 24), far;
        ASSERT_TRUE(scaled.pos.copy(mesh.pos) && far.copy(points));
        for (double* x = scaled.pos.data(); x != scaled.pos.data() + scaled.pos.size(); ++x)
            *x *= scale;
        for (double* x = far.data(); x != far.data() + far.size(); ++x)
            *x = (*x + 3) * scale;
        const auto id = [](const distributed_mesh& part) {
            dense2D<double> ids(1, part.node_ids.size());
            std::copy(part.node_ids.begin(), part.node_ids.end(), ids.data());
            return ids;
        };
        for (const dense1D<int, 8>& owners : cuts_of(mesh)) {
            const distributed_mesh part = cut(scaled, owners);
            result got;
            ASSERT_EQ(interpolate(part, id(part), far, got.values, got.elements, MPI_COMM_WORLD), 0);
            for (std::size_t k = 0; k < far.cols(); ++k) {
                const double x[3] = {points(0, k) + 3, points(1, k) + 3, points(2, k) + 3};
                EXPECT_EQ(got.elements[k], no_id);
                EXPECT_EQ(got.values(0, k), nearest_node(mesh, x));
            }
        }
    }
}

TEST(Interpolate, AgreesWithTheSerialCallFromAMeshCutAnotherWay) {
    const whole_mesh from = shaken_cube(6, 0.3), to = shuffled(shaken_cube(5, 0.1), 3);
    const dense2D<double> points = cut(to, cuts_of(to)[1]).pos;
    searchable serial;
    serial.pos = from.pos;
    serial.connect = from.connectivity;
    ASSERT_TRUE(serial.prepare());
    dense1D<unsigned, 8> elements;
    dense2D<double> local;
    ASSERT_EQ(meldra3d::get_elements_containing_points(serial.pos, serial.connect, serial.neighbors, serial.ancestors,
                                                       serial.detector, ET_TH4, points, elements, local, 1e-6),
              0);
    const dense2D<double> field = at_nodes(from.pos, some_field), metrics = at_nodes(from.pos, some_metric);
    const result values = carry(from, cuts_of(from)[2], some_field, points, false);
    const result carried = carry(from, cuts_of(from)[2], some_metric, points, true);
    std::size_t same = 0;
    for (std::size_t k = 0; k < points.cols(); k += 3) {
        EXPECT_NE(values.elements[k], no_id);
        const std::vector<double> value = serially(from, field, points.col(k), false);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(values.values(i, k), value[i], 1e-12);
        // A metric depends on the order in which those of the nodes are merged, and so on a common face on which of its
        // elements is taken.
        if (carried.elements[k] != elements[k])
            continue;
        ++same;
        const std::vector<double> metric = serially(from, metrics, points.col(k), true);
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_NEAR(carried.values(i, k), metric[i], 1e-12);
    }
    EXPECT_GT(3 * same, points.cols() / 2);
}

TEST(Interpolate, CarriesAnyNumberOfComponents) {
    const whole_mesh mesh = shaken_cube(2);
    const dense2D<double> points = asked_points(mesh, 40, 30 + unsigned(world_rank()));
    for (const std::size_t rows : {0u, 1u, 20u}) {
        const auto value = [rows](const double* x) {
            std::vector<double> column(rows);
            for (std::size_t i = 0; i < rows; ++i)
                column[i] = std::cos(double(i) * x[0]) + x[1] * x[2];
            return column;
        };
        const result got = carry(mesh, cuts_of(mesh)[3], value, points, false);
        EXPECT_EQ(got.values.rows(), rows);
        expect_values(mesh, at_nodes(mesh.pos, value), points, got, false);
    }
}

TEST(Interpolate, AMeshOfNothingGivesNothing) {
    const whole_mesh mesh{dense2D<double>(3, 0), dense2D<unsigned>(4, 0), ET_TH4};
    const dense2D<double> points = asked_points(shaken_cube(1), 8, 1);
    result got;
    ASSERT_EQ(interpolate(cut(mesh, {}), dense2D<double>(), points, got.values, got.elements, MPI_COMM_WORLD), 0);
    EXPECT_EQ(got.elements.size(), points.cols());
    EXPECT_TRUE(std::all_of(got.elements.begin(), got.elements.end(), [](auto id) { return id == no_id; }));
    dense2D<double> metrics(6, points.cols(), 3.0);
    ASSERT_EQ(interpolate_metrics(cut(mesh, {}), dense2D<double>(), points, metrics, got.elements, MPI_COMM_WORLD), 0);
    EXPECT_EQ(entries(metrics), std::vector<double>(metrics.size(), 3.0));
}

TEST(InterpolateMetrics, APointWhoseCombinationFailsKeepsWhatItHas) {
    const whole_mesh mesh = shaken_cube(2);
    const auto negative = [](const double* x) { return std::vector<double>{x[0] < 0.4 ? -1.0 : 2.0, 0, 1, 0, 0, 1}; };
    const dense2D<double> points = asked_points(mesh, 100, 40 + unsigned(world_rank()));
    const dense2D<double> field = at_nodes(mesh.pos, negative);
    const result got = carry(mesh, cuts_of(mesh)[0], negative, points, true);
    expect_values(mesh, field, points, got, true); // 0, as the library leaves it
    std::size_t kept = 0;
    for (std::size_t k = 0; k < points.cols(); ++k)
        kept += got.elements[k] != no_id && got.values(5, k) == 0;
    EXPECT_GT(kept, 5u);
}

TEST(Interpolate, OutputsMayBeInputs) {
    const whole_mesh mesh = shaken_cube(2);
    const dense2D<double> given = asked_points(mesh, 50, 8);
    distributed_mesh part = deep_copy(cut(mesh, cuts_of(mesh)[2]));
    dense2D<double> field = at_nodes(part.pos, some_field), points;
    ASSERT_TRUE(points.copy(given));
    ASSERT_EQ(interpolate(part, field, points, field, part.element_ids, MPI_COMM_WORLD), 0);
    expect_values(mesh, at_nodes(mesh.pos, some_field), given, {field, part.element_ids}, false);
    part = deep_copy(cut(mesh, cuts_of(mesh)[2]));
    field = at_nodes(part.pos, some_field);
    ASSERT_EQ(interpolate(part, field, points, points, part.node_ids, MPI_COMM_WORLD), 0);
    expect_values(mesh, at_nodes(mesh.pos, some_field), given, {points, part.node_ids}, false);
}

TEST(Interpolate, AFaultOnOneRankIsReturnedByAll) {
    const whole_mesh mesh = shaken_cube(2);
    struct arguments {
        distributed_mesh part;
        dense2D<double> field, points, values;
    };
    const auto status = [&](bool metrics, int faulty, auto spoil) {
        arguments a{deep_copy(cut(mesh, cuts_of(mesh)[1])), {}, asked_points(mesh, 8, 1), {}};
        a.field = at_nodes(a.part.pos, some_metric);
        a.values.resize(6, a.points.cols(), 7.0);
        if (world_rank() == faulty)
            spoil(a);
        const std::vector<double> before = entries(a.values);
        dense1D<std::uint64_t, 8> elements{7};
        const int returned = metrics
                                 ? interpolate_metrics(a.part, a.field, a.points, a.values, elements, MPI_COMM_WORLD)
                                 : interpolate(a.part, a.field, a.points, a.values, elements, MPI_COMM_WORLD);
        EXPECT_TRUE(elements.size() == 1 && elements[0] == 7 && entries(a.values) == before);
        return returned;
    };
    for (int rank = 0; rank < world_size(); ++rank) {
        for (const bool metrics : {false, true}) {
            EXPECT_EQ(status(metrics, rank, [](arguments& a) { a.part.type = ET_TH10; }), -2);
            EXPECT_EQ(status(metrics, rank,
                             [](arguments& a) {
                                 a.part.type = ET_W6;
                                 a.field.clear();
                             }),
                      -2);
            EXPECT_EQ(status(metrics, rank, [](arguments& a) { a.field.resize(6, a.field.cols() + 1); }), -5);
            EXPECT_EQ(status(metrics, rank,
                             [](arguments& a) {
                                 a.field.resize(6, 1);
                                 a.points.resize(2, 9);
                             }),
                      -5);
            EXPECT_EQ(status(metrics, rank,
                             [](arguments& a) {
                                 a.points.resize(2, 9);
                                 a.part.elements = 0;
                             }),
                      -7);
            EXPECT_EQ(status(metrics, rank, [](arguments& a) { a.part.elements = 0; }), -20);
        }
        if (world_size() > 1) { // another number of rows than the other ranks have
            EXPECT_EQ(status(false, rank, [](arguments& a) { a.field.resize(5, a.field.cols()); }), -5);
        }
        EXPECT_EQ(status(true, rank, [](arguments& a) { a.field.resize(5, a.field.cols()); }), -5);
        EXPECT_EQ(status(true, rank,
                         [](arguments& a) {
                             a.values.resize(6, 2);
                             a.points.resize(2, 9);
                         }),
                  -7);
        EXPECT_EQ(status(true, rank,
                         [](arguments& a) {
                             a.values.resize(6, 2);
                             a.part.elements = 0;
                         }),
                  -8);
        EXPECT_EQ(status(true, rank, [](arguments& a) { a.values.resize(5, a.points.cols()); }), -8);
    }
}

TEST(Interpolate, LackOfMemoryOnOneRankReturnsOnAll) {
    const whole_mesh mesh = shaken_cube(1);
    const distributed_mesh part = cut(mesh, cuts_of(mesh)[2]);
    const dense2D<double> field = at_nodes(part.pos, some_metric), points = asked_points(mesh, 16, 1);
    for (const int failing : std::set<int>{0, world_size() - 1})
        for (const bool metrics : {false, true}) {
            std::uint64_t failures = 1;
            for (std::size_t k = 1; failures != 0; ++k) {
                dense1D<std::uint64_t, 8> elements{7};
                dense2D<double> values(6, points.cols(), 7.0);
                if (world_rank() == failing)
                    fail_allocation(k);
                const int status = metrics ? interpolate_metrics(part, field, points, values, elements, MPI_COMM_WORLD)
                                           : interpolate(part, field, points, values, elements, MPI_COMM_WORLD);
                failures = sum_of_all(stop_failing(), MPI_COMM_WORLD);
                ASSERT_EQ(status, failures != 0 ? -199 : 0) << "allocation " << k << " of rank " << failing;
                ASSERT_TRUE(failures == 0 || (elements.size() == 1 && elements[0] == 7 &&
                                              entries(values) == std::vector<double>(values.size(), 7.0)));
            }
        }
}
