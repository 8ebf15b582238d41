// Searches against the same ones said plainly, on sound meshes and on meshes and aids that are wrong in every way that
// passes the checks.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>

#include "locate/element_search.h"
#include "locate/free_nodes.h"
#include "locate/plain_search.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;
using namespace quorl::meldra3d::detail;

namespace {

constexpr unsigned none = no_node;
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
using place = vector_fixed<double, 3>;
using list = dense1D<unsigned, 8>;

/// Fills a list with all elements around a node. Returns 0, -1 when an element that has the node in all four places has
/// stopped it (the list holds those before), -199 when memory ran out.
int gather_node_ball(const tetra_mesh& mesh, unsigned node, unsigned first_element, node_ball& ball, list& elements,
                     bool& closed) {
    elements.clear();
    closed = true;
    if (!ball.begin(mesh, node, first_element))
        return -199;
    for (unsigned element = none;;) {
        const node_ball::outcome got = ball.next(mesh, element);
        closed = ball.closed();
        if (got == node_ball::outcome::element && elements.push_back(element))
            continue;
        return got == node_ball::outcome::end ? 0 : got == node_ball::outcome::stopped ? -1 : -199;
    }
}

struct found_point {
    int status;
    unsigned element;
    place local;
};

found_point find_one(const searchable& m, const place& p, double tolerance) {
    found_point f{99, 99, {9, 9, 9}};
    f.status = get_element_containing_point(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, ET_TH4, p,
                                            f.element, f.local, tolerance);
    return f;
}

place random_place(dice& random) {
    const double reach = random(4) == 0 ? 3 : 1.1;
    return {reach * (share(random) - 0.5) + 0.5, reach * (share(random) - 0.5) + 0.5,
            reach * (share(random) - 0.5) + 0.5};
}

/// Takes some elements away and gives the others any order.
void thin_out(searchable& m, dice& random, unsigned keep_of_8) {
    std::vector<unsigned> kept;
    for (unsigned e = 0; e < m.connect.cols(); ++e)
        if (random(8) < keep_of_8)
            kept.push_back(e);
    for (std::size_t k = kept.size(); k > 1; --k)
        std::swap(kept[k - 1], kept[random(k)]);
    dense2D<unsigned> fewer(4, 0);
    for (const unsigned e : kept)
        fewer.append(m.connect.col(e));
    m.connect = fewer;
}

/// A mesh of up to 162 tetrahedra that may have holes and cracks, inverted, flat and NaN elements, wrong neighbours,
/// wrong ancestors, too few of them, and a detector of another mesh.
searchable random_mesh(dice& random) {
    searchable m = cube_of_tetrahedra(1 + random(3), 0.3);
    thin_out(m, random, 3 + random(6));
    const unsigned wrong = random(3);
    if (wrong == 1)
        for (std::size_t e = 0; e < m.connect.cols(); ++e) {
            if (random(20) == 0)
                std::swap(m.connect(0, e), m.connect(1, e));
            if (random(20) == 0)
                m.connect(random(4), e) = m.connect(random(4), e);
        }
    EXPECT_TRUE(m.prepare());
    m.neighbors.resize(4, m.connect.cols());
    if (wrong == 1 && random(3) == 0)
        m.pos(1, random(m.pos.cols())) = not_a_number;
    if (wrong == 2 && m.connect.cols() != 0) {
        const auto any = [&] { return random(4) == 0 ? none : random(m.connect.cols()); };
        for (std::size_t e = 0; e < m.connect.cols(); ++e)
            if (random(10) == 0)
                m.neighbors(random(4), e) = any();
        for (std::size_t k = 0; k < m.ancestors.size(); ++k)
            if (random(10) == 0)
                m.ancestors[k] = any();
        if (random(4) == 0)
            m.ancestors.resize(random(m.ancestors.size() + 1));
        if (random(4) == 0) {
            const searchable other = cube_of_tetrahedra(4, 0.1);
            EXPECT_EQ(m.detector.reinit(other.pos, other.connect), 0);
        }
    }
    return m;
}

} // namespace

RC_GTEST_PROP(ElementSearch, IsTheWalkAndTheBallAsDescribed, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const searchable m = random_mesh(random);
    const plain_search plain(m);
    const double tolerance = std::array{1e-6, 0.0, 0.2, -0.1, not_a_number}[random(5)];
    for (unsigned k = 0; k < 20; ++k) {
        const place p = random_place(random);
        const auto expected = plain.find(p, tolerance);
        const found_point f = find_one(m, p, tolerance);
        RC_ASSERT(f.status == expected.status);
        RC_ASSERT(f.element == expected.element);
        if (f.status != 1)
            RC_ASSERT(f.local[0] == 0 && f.local[1] == 0 && f.local[2] == 0);
    }
}

RC_GTEST_PROP(ElementSearch, ManyPointsAreFoundAsIfOneByOne, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const searchable m = random_mesh(random);
    dense2D<double> sought(3, random(60));
    for (std::size_t k = 0; k < sought.cols(); ++k) {
        const place p = random_place(random);
        std::copy_n(p.values, 3, sought.col(k));
        if (random(20) == 0)
            sought(random(3), k) = random(2) == 0 ? not_a_number : std::numeric_limits<double>::infinity();
    }
    list elements{4, 4};
    dense2D<double> local(2, 2, 4.0);
    const int status = get_elements_containing_points(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, ET_TH4,
                                                      as_window(sought, 5.0), elements, local, 1e-6);
    RC_ASSERT(elements.size() == sought.cols() && local.rows() == 3u && local.cols() == sought.cols());
    int expected_status = 0;
    for (unsigned k = 0; k < sought.cols(); ++k) {
        const found_point f = find_one(m, {sought(0, k), sought(1, k), sought(2, k)}, 1e-6);
        RC_ASSERT(elements[k] == f.element);
        for (unsigned i = 0; i < 3; ++i)
            RC_ASSERT(local(i, k) == f.local[i]);
        if (f.status != 1)
            expected_status = f.status;
    }
    RC_ASSERT(status == expected_status);
}

RC_GTEST_PROP(ElementSearch, PointsOfAConvexMeshAreFoundAndOthersAreNot, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    searchable m = cube_of_tetrahedra(1 + random(4), 0.2);
    thin_out(m, random, 8);
    RC_ASSERT(m.prepare());
    for (unsigned k = 0; k < 20; ++k) {
        const place p = random_place(random);
        const bool inside = std::all_of(p.values, p.values + 3, [](double x) { return x >= 0 && x <= 1; });
        const found_point f = find_one(m, p, 1e-9);
        if (!inside) {
            RC_ASSERT(f.status != 1 && f.element == none);
            continue;
        }
        RC_ASSERT(f.status == 1);
        const double w[4] = {f.local[0], f.local[1], f.local[2], 1 - f.local[0] - f.local[1] - f.local[2]};
        for (const double weight : w)
            RC_ASSERT(weight >= -1e-8);
        for (unsigned i = 0; i < 3; ++i) {
            double x = 0;
            for (unsigned c = 0; c < 4; ++c)
                x += w[c] * m.pos(i, m.connect(c, f.element));
            RC_ASSERT(std::fabs(x - p[i]) < 1e-14);
        }
    }
}

RC_GTEST_PROP(ElementSearch, TheBallIsGatheredDepthFirst, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const searchable m = random_mesh(random);
    RC_PRE(!m.connect.empty());
    const plain_search plain(m);
    const tetra_mesh mesh(m.pos, m.connect, m.neighbors);
    node_ball ball;
    for (unsigned k = 0; k < 10; ++k) {
        const unsigned node = random(10) == 0 ? none : random(m.pos.cols());
        const unsigned start = random(m.connect.cols());
        std::vector<unsigned> expected;
        bool expected_closed = true, closed = false;
        const int expected_status = plain.ball(node, start, expected, expected_closed);
        list around{1, 2, 3};
        RC_ASSERT(gather_node_ball(mesh, node, start, ball, around, closed) == expected_status);
        RC_ASSERT(std::vector<unsigned>(around.begin(), around.end()) == expected);
        RC_ASSERT(closed == expected_closed);
    }
}

TEST(FaceChooser, DrawsTheBitsOfAHash) {
    face_chooser chooser;
    for (const unsigned expected : {0u, 3u, 0u, 2u, 3u, 2u, 1u, 1u, 0u, 3u, 0u, 0u, 0u, 1u, 0u, 0u, 3u, 2u, 2u, 3u})
        EXPECT_EQ(chooser.draw(), expected);
}

TEST(NodeBall, IsClosedAroundANodeInside) {
    searchable m = cube_of_tetrahedra(2, 0);
    ASSERT_TRUE(m.prepare());
    const tetra_mesh mesh(m.pos, m.connect, m.neighbors);
    const unsigned middle = 13;
    node_ball ball;
    list around;
    bool closed = false;
    EXPECT_EQ(gather_node_ball(mesh, middle, m.ancestors[middle], ball, around, closed), 0);
    EXPECT_TRUE(closed);
    EXPECT_EQ(around[0], m.ancestors[middle]);
    std::vector<unsigned> expected;
    for (unsigned e = 0; e < m.connect.cols(); ++e)
        if (std::count(m.connect.col(e), m.connect.col(e) + 4, middle) != 0)
            expected.push_back(e);
    std::sort(around.begin(), around.end());
    EXPECT_EQ(std::vector<unsigned>(around.begin(), around.end()), expected);
    EXPECT_EQ(gather_node_ball(mesh, 0, m.ancestors[0], ball, around, closed), 0);
    EXPECT_FALSE(closed);
    EXPECT_EQ(gather_node_ball(mesh, 0, none, ball, around, closed), 0);
    EXPECT_TRUE(closed && around.empty());
}

TEST(NodeBall, StopsAtAnElementThatIsOnlyTheNode) {
    const auto pos = points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}});
    const auto connect = ids({{0, 1, 2, 3}, {0, 0, 0, 0}, {0, 1, 2, 3}});
    const auto neighbors = ids({{none, 2, none, 1}, {none, none, none, none}, {none, none, none, none}});
    const tetra_mesh mesh(pos, connect, neighbors);
    node_ball ball;
    list around;
    bool closed = true;
    // Element 1 is pushed first, across face 3, so that element 2 comes before it.
    EXPECT_EQ(gather_node_ball(mesh, 0, 0, ball, around, closed), -1);
    EXPECT_EQ(std::vector<unsigned>(around.begin(), around.end()), (std::vector<unsigned>{0, 2}));
    EXPECT_FALSE(closed);
}

TEST(NodeBall, ANeighborBeyondTheElementsIsABoundary) {
    const auto pos = points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}});
    const auto connect = ids({{0, 1, 2, 3}});
    const auto neighbors = ids({{1, 7, none - 1, none}});
    node_ball ball;
    list around;
    bool closed = true;
    EXPECT_EQ(gather_node_ball(tetra_mesh(pos, connect, neighbors), 0, 0, ball, around, closed), 0);
    EXPECT_EQ(around.size(), 1u);
    EXPECT_FALSE(closed);
    EXPECT_EQ(gather_node_ball(tetra_mesh(pos, connect, neighbors), 0, 1, ball, around, closed), 0);
    EXPECT_TRUE(around.empty());
}

TEST(Walk, ItsStatusTellsOfTheLastStepOnly) {
    searchable m = one_tetrahedron();
    ASSERT_TRUE(m.prepare());
    const auto status = [&](const point<double>& p, std::size_t expected_steps) {
        walk w(p, 0, 0);
        finish(w, tetra_mesh(m.pos, m.connect, m.neighbors));
        EXPECT_EQ(w.steps(), expected_steps);
        EXPECT_EQ(w.element(), w.status() == 1 ? 0 : none);
        return w.status();
    };
    EXPECT_EQ(status({0.1, 0.1, 0.1}, 1), 1);
    EXPECT_EQ(status({1, 1, 1}, 1), -2) << "left in the only step";
    m.neighbors = ids({{0, 0, 0, 0}});
    EXPECT_EQ(status({1, 1, 1}, 2), 0) << "given up behind the only step";
    std::swap(m.connect(0, 0), m.connect(1, 0));
    EXPECT_EQ(status({0.1, 0.1, 0.1}, 1), -2) << "inverted, in the only step";
    m.connect.append(m.connect.col(0));
    m.neighbors = dense2D<unsigned>(4, 2, none);
    EXPECT_EQ(status({0.1, 0.1, 0.1}, 1), -1);
    std::swap(m.connect(0, 0), m.connect(1, 0));
    EXPECT_EQ(status({1, 1, 1}, 1), 0);
}

TEST(Walk, BadIDsAreDegenerateElementsAndBoundaries) {
    searchable m = one_tetrahedron();
    m.connect.append(m.connect.col(0));
    m.neighbors = dense2D<unsigned>(4, 2, 2u);
    const auto status = [&](unsigned element) {
        walk w({1, 1, 1}, 0, element);
        finish(w, tetra_mesh(m.pos, m.connect, m.neighbors));
        return w.status();
    };
    EXPECT_EQ(status(0), 0);
    EXPECT_EQ(status(2), 0);
    EXPECT_EQ(status(none), 0);
    for (const unsigned bad : {4u, none, none - 1})
        for (unsigned k = 0; k < 4; ++k) {
            m.connect(k, 0) = bad;
            EXPECT_EQ(status(0), -1);
            m.connect(k, 0) = k;
        }
}

TEST(ElementSearch, AGivenElementBeginsTheWalkAndTheBallIsOptional) {
    searchable m = cube_of_tetrahedra(3, 0.1);
    ASSERT_TRUE(m.prepare());
    element_search search(m.pos, m.connect, m.neighbors, m.ancestors, m.detector);
    const point<double> p{0.9, 0.85, 0.8};
    for (unsigned start = 0; start < m.connect.cols(); ++start) {
        unsigned element = start;
        const auto expected = plain_search(m).walk(start, {p.x, p.y, p.z}, 1e-6);
        EXPECT_EQ(search.find(p, 1e-6, false, element), expected.status);
        EXPECT_EQ(element, expected.element);
    }
}

TEST(ElementSearch, BlocksOfPointsMakeNoDifference) {
    dice random(5);
    searchable m = cube_of_tetrahedra(3, 0.2);
    std::swap(m.connect(0, 7), m.connect(1, 7)); // inverted
    ASSERT_TRUE(m.prepare());
    m.connect(2, 40) = none; // without nodes that are there
    m.connect(0, 77) = unsigned(m.pos.cols());
    for (std::size_t n = 0; n < 40; ++n) {
        dense2D<double> sought(3, n);
        for (std::size_t k = 0; k < n; ++k) {
            const place p = random_place(random);
            std::copy_n(p.values, 3, sought.col(k));
        }
        struct record {
            std::vector<unsigned> elements;
            std::vector<place> local;
            std::vector<int> missed_with;
            void expect(std::size_t k) { EXPECT_LT(k, elements.size()); }
            void expect_at(const unsigned*) {}
            void found(std::size_t k, unsigned element, const place& w) {
                elements.at(k) = element;
                local.at(k) = w;
            }
            void missed(std::size_t k, int status) { missed_with.at(k) = status; }
        };
        element_search search(m.pos, m.connect, m.neighbors, m.ancestors, m.detector);
        record whole{std::vector<unsigned>(n, none), std::vector<place>(n), std::vector<int>(n, walk_found)};
        record parts = whole;
        EXPECT_TRUE(find_all(search, sought, 1e-6, whole));
        EXPECT_TRUE(find_all(search, sought, 1e-6, parts, 7));
        EXPECT_EQ(parts.elements, whole.elements);
        EXPECT_EQ(parts.missed_with, whole.missed_with);
        for (std::size_t k = 0; k < n; ++k) {
            unsigned element = none;
            EXPECT_EQ(search.find(point_at(sought.col(k)), 1e-6, true, element), whole.missed_with[k]);
            EXPECT_EQ(element, whole.elements[k]);
            const place one = whole.elements[k] == none
                                  ? place{}
                                  : search.local_coordinates(whole.elements[k], point_at(sought.col(k)));
            EXPECT_TRUE(std::equal(one.values, one.values + 3, whole.local[k].values));
            EXPECT_TRUE(std::equal(one.values, one.values + 3, parts.local[k].values));
        }
    }
}

TEST(ValueGiver, GivesEachWantedNodeItsValueOnce) {
    // Blocks of any size, the whole list in one or no node at all.
    searchable m = cube_of_tetrahedra(2, 0.2);
    ASSERT_TRUE(m.prepare());
    dice random(3);
    const unsigned of_mesh = unsigned(m.pos.cols());
    list nodes;
    for (unsigned k = 0; k < 40; ++k) {
        const place p = random_place(random);
        ASSERT_TRUE(m.pos.append(p.values) && nodes.push_back(of_mesh + k) && nodes.push_back(k % of_mesh) &&
                    nodes.push_back(none));
    }
    struct record {
        std::vector<int> combined, copied;
        bool finished = true;
        const double* begin() const { return nullptr; }
        const double* end() const { return nullptr; }
        void expect(unsigned node) const { EXPECT_LT(node, combined.size()); }
        void combine(unsigned node, const unsigned* at, const place&) {
            ++combined.at(node);
            EXPECT_LT(*std::max_element(at, at + 4), 27u);
            finished = false;
        }
        void finish() { finished = true; }
        void copy(unsigned node, unsigned from) {
            ++copied.at(node);
            EXPECT_LT(from, 27u);
        }
    };
    for (const std::size_t block : {1u, 7u, 40u, 119u, 120u, 1000u})
        for (const unsigned wanted : {of_mesh + 40, of_mesh + 11, of_mesh}) { // those below
            record values{std::vector<int>(m.pos.cols()), std::vector<int>(m.pos.cols())};
            const auto is_wanted = [&](unsigned node) { return node < wanted; };
            ASSERT_EQ(give_values({m.pos, m.connect, m.neighbors, m.ancestors}, nodes, is_wanted, values, block), 0);
            EXPECT_TRUE(values.finished);
            for (unsigned k = 0; k < m.pos.cols(); ++k)
                EXPECT_EQ(values.combined[k] + values.copied[k], k >= of_mesh && k < wanted ? 1 : 0);
            EXPECT_EQ(std::count(values.combined.begin(), values.combined.end(), 1) > 0, wanted > of_mesh);
        }
}

TEST(Walk, IsTheSameWithoutWideVectors) {
    // Here the steps are compiled for the oldest processor.
    dice random(11);
    searchable m = cube_of_tetrahedra(3, 0.3);
    ASSERT_TRUE(m.prepare());
    const tetra_mesh mesh(m.pos, m.connect, m.neighbors);
    for (unsigned k = 0; k < 500; ++k) {
        const place p = random_place(random);
        walk wide(point_at(p.values), 1e-6, random(m.connect.cols())), narrow = wide;
        finish(wide, mesh);
        while (narrow.step(mesh)) {
        }
        EXPECT_EQ(narrow.status(), wide.status());
        EXPECT_EQ(narrow.element(), wide.element());
        EXPECT_EQ(narrow.steps(), wide.steps());
    }
}

TEST(ElementSearch, PointsAreOrderedWhateverTheyAre) {
    const double infinity = std::numeric_limits<double>::infinity(), large = std::numeric_limits<double>::max();
    for (const auto& some :
         {points({{1, 2, 3}}), points({{0, 0, 0}, {0, 0, 0}}), points({{large, 0, 0}, {-large, 0, 0}, {0, 0, 0}}),
          points({{not_a_number, infinity, -infinity}, {1, 1, 1}, {0, 0, 0}, {infinity, 0, not_a_number}}),
          points({{5e-324, 0, 0}, {0, 0, 0}, {0, 5e-324, 0}})}) {
        dense1D<morton_key, 8> keys(some.cols()), work;
        std::iota(keys.begin(), keys.end(), morton_key(0));
        ASSERT_TRUE(order_points(some.data(), some.ld(), keys, work));
        std::vector<unsigned> numbers;
        for (const morton_key key : keys)
            numbers.push_back(number_of(key));
        std::sort(numbers.begin(), numbers.end());
        std::vector<unsigned> all(some.cols());
        std::iota(all.begin(), all.end(), 0u);
        EXPECT_EQ(numbers, all);
    }
}
