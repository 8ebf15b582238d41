#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "meldra/dice.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra::node_detector;

namespace {

constexpr unsigned none = no_node;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double largest = std::numeric_limits<double>::max();
constexpr double smallest = std::numeric_limits<double>::denorm_min();

using place = vector_fixed<double, 3>;

place at(const dense2D<double>& pos, unsigned id) {
    return {pos(0, id), pos(1, id), pos(2, id)};
}

/// One element that holds all nodes.
dense2D<unsigned> all_of(const dense2D<double>& pos) {
    dense2D<unsigned> connect(pos.cols(), 1);
    for (unsigned k = 0; k < pos.cols(); ++k)
        connect(k, 0) = k;
    return connect;
}

node_detector detector_of(const dense2D<double>& pos) {
    node_detector detector;
    EXPECT_EQ(detector.reinit(pos, all_of(pos)), 0);
    return detector;
}

template <class Real>
Real squared_distance(const place& a, const place& b) {
    const Real x = Real(a[0]) - Real(b[0]), y = Real(a[1]) - Real(b[1]), z = Real(a[2]) - Real(b[2]);
    return x * x + y * y + z * z;
}

/// The nearest node by looking at each, in the arithmetic of Real.
template <class Real>
unsigned nearest_by_search(const dense2D<double>& pos, const place& p) {
    unsigned found = none;
    for (unsigned k = 0; k < pos.cols(); ++k)
        if (found == none || squared_distance<Real>(at(pos, k), p) < squared_distance<Real>(at(pos, found), p))
            found = k;
    return found;
}

/// The rule of the close node, by an octree of sets of nodes that are put in one after another.
class reference_octree {
public:
    explicit reference_octree(const dense2D<double>& pos) : pos_(pos) {
        double extent = 0;
        for (unsigned i = 0; i < 3; ++i) {
            low_[i] = largest, high_[i] = -largest;
            for (unsigned k = 0; k < pos.cols(); ++k) {
                low_[i] = std::min(low_[i], pos(i, k));
                high_[i] = std::max(high_[i], pos(i, k));
            }
            extent = std::max(extent, high_[i] - low_[i]);
        }
        size_ = extent > 0 ? extent * 1.000000000001 : 1e-12;
        for (unsigned i = 0; i < 3; ++i)
            origin_[i] = (low_[i] + high_[i]) / 2 - size_ / 2;
        for (unsigned k = 0; k < pos.cols(); ++k)
            insert(root_, k, 0);
    }

    unsigned close_node(const place& p) const {
        for (unsigned i = 0; i < 3; ++i)
            if (p[i] < low_[i] || p[i] > high_[i])
                return none;
        const cell* leaf = &root_;
        const cell* parent = nullptr;
        unsigned slot = 0;
        for (unsigned level = 0; leaf->children; ++level) {
            parent = leaf;
            slot = slot_of(p, level);
            leaf = &(*leaf->children)[slot];
        }
        if (const unsigned found = nearest_of(*leaf, p); found != none || !parent)
            return found;
        for (const unsigned flip : {1u, 2u, 4u, 6u, 5u, 3u, 7u})
            if (const unsigned found = nearest_of((*parent->children)[slot ^ flip], p); found != none)
                return found;
        return none;
    }

private:
    struct cell {
        std::vector<unsigned> nodes;
        std::unique_ptr<std::array<cell, 8>> children;
    };

    unsigned slot_of(const place& p, unsigned level) const {
        unsigned slot = 0;
        for (unsigned i = 0; i < 3; ++i) {
            const double q = (p[i] - origin_[i]) * (4294967295.0 / size_);
            const unsigned quantum = !(q >= 0) ? 0 : q > 4294967295.0 ? 0xFFFFFFFF : unsigned(q);
            slot |= (quantum >> (31 - level) & 1) << i;
        }
        return slot;
    }

    void insert(cell& c, unsigned node, unsigned level) {
        if (c.children)
            return insert((*c.children)[slot_of(at(pos_, node), level)], node, level + 1);
        c.nodes.push_back(node);
        if (c.nodes.size() <= 7 || level == 32)
            return;
        c.children = std::make_unique<std::array<cell, 8>>();
        for (const unsigned moved : std::exchange(c.nodes, {}))
            insert(c, moved, level);
    }

    unsigned nearest_of(const cell& c, const place& p) const {
        unsigned found = none;
        const auto take = [&](unsigned k) {
            const auto distance = [&](unsigned id) { return squared_distance<double>(at(pos_, id), p); };
            if (k != none &&
                (found == none || distance(k) < distance(found) || (distance(k) == distance(found) && k < found)))
                found = k;
        };
        for (const unsigned k : c.nodes)
            take(k);
        for (unsigned slot = 0; c.children && slot < 8; ++slot)
            take(nearest_of((*c.children)[slot], p));
        return found;
    }

    const dense2D<double>& pos_;
    std::array<double, 3> low_, high_, origin_;
    double size_;
    cell root_;
};

double real(dice& random) {
    return double(random(1u << 24)) / (1u << 24);
}

/// Nodes scattered in one of many ways: evenly, on a grid (many ties), in clusters inside clusters, on a plane, on a
/// line, far from the origin, many at one place.
dense2D<double> scattered(dice& random) {
    const unsigned n = 1 + random(300);
    const unsigned kind = random(8);
    dense2D<double> pos(3, n);
    for (unsigned k = 0; k < n; ++k) {
        place x{real(random), real(random), real(random)};
        switch (kind) {
        case 1:
            x = {double(random(6)), double(random(6)), double(random(6))};
            break;
        case 2:
            for (unsigned i = 0; i < 3; ++i)
                x[i] = std::ldexp(x[i], -int(random(60)));
            break;
        case 3:
            x[random(3) == 0 ? 1 : 2] = 0.5;
            x[2] = 0.25;
            break;
        case 4:
            x = {x[0], 2 * x[0], -x[0]};
            break;
        case 5:
            x = {1e6 + x[0], -1e6 + x[1], 1e-3 * x[2]};
            break;
        case 6:
            if (random(3) != 0)
                x = {0.5, 0.25, 0.75};
            break;
        case 7: // closer than a quantum
            if (random(3) != 0)
                x = {0.5 + 1e-13 * x[0], 0.25 + 1e-13 * x[1], 0.75 + 1e-13 * x[2]};
            break;
        default:
            break;
        }
        for (unsigned i = 0; i < 3; ++i)
            pos(i, k) = x[i];
    }
    return pos;
}

/// A point among the nodes, at one of them, beside one, between two or outside.
place random_point(dice& random, const dense2D<double>& pos) {
    const place a = at(pos, random(pos.cols())), b = at(pos, random(pos.cols()));
    const double step = std::ldexp(1.0, -int(random(60)));
    switch (random(5)) {
    case 0:
        return a;
    case 1:
        return {a[0] + step * (real(random) - 0.5), a[1] + step * (real(random) - 0.5),
                a[2] + step * (real(random) - 0.5)};
    case 2:
        return {(a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2};
    case 3:
        return {20 * real(random) - 10, 20 * real(random) - 10, 20 * real(random) - 10};
    default:
        return {a[0], b[1], real(random)};
    }
}

} // namespace

RC_GTEST_PROP(NodeDetector, TheClosestNodeIsThatOfASearchAmongAll, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const auto pos = scattered(random);
    const node_detector detector = detector_of(pos);
    for (unsigned k = 0; k < 60; ++k) {
        const place p = random_point(random, pos);
        RC_ASSERT(detector.find_closest(p) == nearest_by_search<double>(pos, p));
    }
}

RC_GTEST_PROP(NodeDetector, TheCloseNodeIsTheNearestOfItsLeafOrOfTheFirstBesideIt, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const auto pos = scattered(random);
    const node_detector detector = detector_of(pos);
    const reference_octree reference(pos);
    for (unsigned k = 0; k < 60; ++k) {
        const place p = random_point(random, pos);
        RC_ASSERT(detector.find_close(p) == reference.close_node(p));
    }
}

RC_GTEST_PROP(NodeDetector, PowersOfTwoChangeNothing, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const auto pos = scattered(random);
    const node_detector detector = detector_of(pos);
    const int by = random(2) == 0 ? 996 : -900; // boxes of 1e300 and, with the smallest steps still exact, 1e-270
    dense2D<double> scaled;
    scaled.copy(pos);
    for (std::size_t j = 0; j < pos.cols(); ++j)
        for (unsigned i = 0; i < 3; ++i)
            scaled(i, j) = std::ldexp(pos(i, j), by);
    const node_detector far = detector_of(scaled);
    for (unsigned k = 0; k < 60; ++k) {
        const place p = random_point(random, pos);
        const place q{std::ldexp(p[0], by), std::ldexp(p[1], by), std::ldexp(p[2], by)};
        RC_ASSERT(far.find_closest(q) == detector.find_closest(p));
        if (pos.cols() > 1) // one node has a cube of a size that does not scale
            RC_ASSERT(far.find_close(q) == detector.find_close(p));
    }
}

RC_GTEST_PROP(NodeDetector, TheClosestNodeIsRightAtTheEndsOfTheRange, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const unsigned n = 1 + random(60);
    const unsigned kind = random(4);
    dense2D<double> pos(3, n);
    const auto coordinate = [&]() -> double {
        const double x = 2 * real(random) - 1;
        switch (kind) {
        case 0: // the extent overflows
            return x * largest;
        case 1: // whole multiples of the smallest number
            return double(random(40)) * smallest;
        case 2: // a cluster whose distances have no square, in a box that has
            return random(20) == 0 ? x : x * 1e-200;
        default: // everything at once
            return std::ldexp(x, int(random(2000)) - 1000);
        }
    };
    for (unsigned k = 0; k < n; ++k)
        for (unsigned i = 0; i < 3; ++i)
            pos(i, k) = coordinate();
    const node_detector detector = detector_of(pos);
    for (unsigned k = 0; k < 60; ++k) {
        const place p{coordinate(), coordinate(), coordinate()};
        const unsigned found = detector.find_closest(p);
        RC_ASSERT(found < n);
        // Long doubles have the range; what is left are nodes that no double tells apart.
        const unsigned expected = nearest_by_search<long double>(pos, p);
        const auto found2 = squared_distance<long double>(at(pos, found), p);
        const auto expected2 = squared_distance<long double>(at(pos, expected), p);
        RC_ASSERT(found == expected || found2 <= expected2 * (1 + 1e-15L));
        const unsigned close = detector.find_close(p);
        RC_ASSERT(close == none || close < n);
    }
}

RC_GTEST_PROP(NodeDetector, OnlyNodesOfElementsCount, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const auto pos = scattered(random);
    dense2D<unsigned> connect(1 + random(5), random(40), none);
    std::vector<unsigned> used;
    for (std::size_t j = 0; j < connect.cols(); ++j)
        for (std::size_t i = 0; i < connect.rows(); ++i)
            if (random(4) != 0) {
                connect(i, j) = random(pos.cols());
                used.push_back(connect(i, j));
            }
    std::sort(used.begin(), used.end());
    used.erase(std::unique(used.begin(), used.end()), used.end());
    dense2D<double> of_elements(3, used.size());
    for (std::size_t k = 0; k < used.size(); ++k)
        std::copy_n(pos.col(used[k]), 3, of_elements.col(k));
    node_detector detector;
    RC_ASSERT(detector.reinit(as_window(pos, not_a_number), as_window(connect, none)) == 0);
    const node_detector same = detector_of(of_elements);
    for (unsigned k = 0; k < 30; ++k) {
        const place p = random_point(random, pos);
        const unsigned close = same.find_close(p), closest = same.find_closest(p);
        RC_ASSERT(detector.find_close(p) == (close == none ? none : used[close]));
        RC_ASSERT(detector.find_closest(p) == (closest == none ? none : used[closest]));
    }
}

TEST(NodeDetector, FindsNothingWithoutNodes) {
    node_detector detector;
    const place origin{0, 0, 0};
    EXPECT_EQ(detector.find_close(origin), none);
    EXPECT_EQ(detector.find_closest(origin), none);
    const auto pos = points({{0, 0, 0}, {1, 0, 0}});
    for (const auto& connect :
         {dense2D<unsigned>(), dense2D<unsigned>(4, 0), dense2D<unsigned>(0, 4), dense2D<unsigned>(4, 3, none)}) {
        EXPECT_EQ(detector.reinit(pos, ids({{0, 1}})), 0);
        EXPECT_EQ(detector.find_close(origin), 0u);
        EXPECT_EQ(detector.reinit(pos, connect), 0);
        EXPECT_EQ(detector.find_close(origin), none);
        EXPECT_EQ(detector.find_closest(origin), none);
    }
    EXPECT_EQ(detector.reinit(dense2D<double>(3, 0), dense2D<unsigned>(4, 3, none)), 0);
    EXPECT_EQ(detector.find_closest(origin), none);
}

TEST(NodeDetector, OneNodeIsCloseToItsPlaceOnly) {
    const node_detector detector = detector_of(points({{1, 2, 3}}));
    EXPECT_EQ(detector.find_close({1, 2, 3}), 0u);
    EXPECT_EQ(detector.find_close({1, 2, std::nextafter(3.0, 4.0)}), none);
    EXPECT_EQ(detector.find_closest({1, 2, 3}), 0u);
    EXPECT_EQ(detector.find_closest({-1e300, 1e300, 1e300}), 0u);
}

TEST(NodeDetector, OutsideOfTheBoxThereIsNoCloseNode) {
    const node_detector detector = detector_of(points({{0, 0, 0}, {1, 2, 0.5}}));
    for (unsigned axis = 0; axis < 3; ++axis) {
        const place low{0, 0, 0}, high{1, 2, 0.5};
        place p = low;
        EXPECT_EQ(detector.find_close(p), 0u);
        p[axis] = std::nextafter(low[axis], -1);
        EXPECT_EQ(detector.find_close(p), none);
        EXPECT_EQ(detector.find_closest(p), 0u);
        p = high;
        EXPECT_EQ(detector.find_close(p), 1u);
        p[axis] = std::nextafter(high[axis], 9);
        EXPECT_EQ(detector.find_close(p), none);
        EXPECT_EQ(detector.find_closest(p), 1u);
    }
}

TEST(NodeDetector, OfEquallyNearNodesTheLowestIDWins) {
    // The corners of a cube, in any order, and its centre.
    dense2D<double> pos(3, 8);
    for (unsigned first = 0; first < 8; ++first) {
        for (unsigned k = 0; k < 8; ++k)
            for (unsigned i = 0; i < 3; ++i)
                pos(i, k) = (k ^ first) >> i & 1;
        const node_detector detector = detector_of(pos);
        EXPECT_EQ(detector.find_closest({0.5, 0.5, 0.5}), 0u);
        EXPECT_EQ(detector.find_close({0, 0, 0}), first);
        EXPECT_EQ(detector.find_closest({0.5, 0, 0}), std::min(first, first ^ 1));
    }
}

TEST(NodeDetector, ThousandsOfNodesAtOnePlaceAreStored) {
    const unsigned n = 5000;
    dense2D<double> pos(3, n, 0.25);
    const node_detector at_one_place = detector_of(pos);
    EXPECT_EQ(at_one_place.find_close({0.25, 0.25, 0.25}), 0u);
    EXPECT_EQ(at_one_place.find_closest({7, 7, 7}), 0u);
    // All but two within one quantum; the nearest of them is still told apart.
    pos(0, 0) = 0;
    pos(0, 1) = 1;
    for (unsigned k = 2; k < n; ++k)
        pos(0, k) = 0.25 + k * 1e-15;
    const node_detector detector = detector_of(pos);
    for (unsigned k = 2; k < n; k += 83) {
        EXPECT_EQ(detector.find_closest({pos(0, k), 0.25, 0.25}), k);
        EXPECT_EQ(detector.find_close({pos(0, k), 0.25, 0.25}), k);
    }
    EXPECT_EQ(detector.find_closest({0.2, 0.25, 0.25}), 2u);
    EXPECT_EQ(detector.find_closest({0.3, 0.25, 0.25}), n - 1);
}

TEST(NodeDetector, NodesThatAreNotFiniteAreLeftOut) {
    const auto pos =
        points({{not_a_number, 0, 0}, {0, infinity, 0}, {0, 0, 0}, {0, 0, -infinity}, {1, 1, 1}, {0, 0, not_a_number}});
    const node_detector detector = detector_of(pos);
    EXPECT_EQ(detector.find_closest({0.1, 0.1, 0.1}), 2u);
    EXPECT_EQ(detector.find_closest({1000, 1000, 1000}), 4u);
    EXPECT_EQ(detector.find_close({0.9, 0.9, 0.9}), 4u);
    EXPECT_EQ(detector.find_close({0, 1.5, 0}), none);
    const node_detector nothing = detector_of(points({{not_a_number, 0, 0}, {infinity, infinity, infinity}}));
    EXPECT_EQ(nothing.find_close({0, 0, 0}), none);
    EXPECT_EQ(nothing.find_closest({0, 0, 0}), none);
}

TEST(NodeDetector, APointThatIsNotFiniteHasNoNode) {
    const node_detector detector = detector_of(points({{0, 0, 0}, {1, 1, 1}}));
    for (const double bad : {not_a_number, infinity, -infinity})
        for (unsigned axis = 0; axis < 3; ++axis) {
            place p{0.5, 0.5, 0.5};
            p[axis] = bad;
            EXPECT_EQ(detector.find_close(p), none);
            EXPECT_EQ(detector.find_closest(p), none);
        }
}

TEST(NodeDetector, ReinitChecksItsArgumentsInOrderAndIsEmptyAfterAFailure) {
    const auto pos = points({{0, 0, 0}, {1, 1, 1}});
    const dense2D<double> flat(2, 2, 0.0);
    const struct {
        dense2D<double> pos;
        dense2D<unsigned> connect;
        int status;
    } cases[] = {
        {flat, dense2D<unsigned>(), 0},         {flat, ids({{0, 2}}), -1}, {flat, ids({{0, 1}}), -1},
        {dense2D<double>(), ids({{0}}), -1},    {pos, ids({{0, 2}}), -2},  {pos, ids({{0, 1}, {1, none - 1}}), -2},
        {dense2D<double>(3, 0), ids({{0}}), -2}};
    for (const auto& c : cases) {
        node_detector detector = detector_of(pos);
        EXPECT_EQ(detector.reinit(c.pos, c.connect), c.status);
        EXPECT_EQ(detector.find_closest({0, 0, 0}), none);
        EXPECT_EQ(detector.find_close({0, 0, 0}), none);
        EXPECT_EQ(detector.reinit(pos, ids({{1}})), 0);
        EXPECT_EQ(detector.find_closest({0, 0, 0}), 1u);
    }
}

TEST(NodeDetector, CopiesStayAsTheyAreAndMovedOnesAreEmpty) {
    const place origin{0, 0, 0};
    node_detector detector = detector_of(points({{3, 0, 0}, {1, 0, 0}}));
    const node_detector copy = detector;
    EXPECT_EQ(detector.reinit(points({{1, 0, 0}, {3, 0, 0}}), ids({{0, 1}})), 0);
    EXPECT_EQ(copy.find_closest(origin), 1u);
    EXPECT_EQ(detector.find_closest(origin), 0u);
    node_detector taken = std::move(detector);
    EXPECT_EQ(taken.find_closest(origin), 0u);
    EXPECT_EQ(detector.find_closest(origin), none); // NOLINT(bugprone-use-after-move)
    detector = copy;
    EXPECT_EQ(detector.find_closest(origin), 1u);
    const node_detector& itself = detector;
    detector = itself;
    EXPECT_EQ(detector.find_closest(origin), 1u);
    taken = std::move(detector);
    EXPECT_EQ(taken.find_closest(origin), 1u);
    EXPECT_EQ(detector.find_closest(origin), none); // NOLINT(bugprone-use-after-move)
}

TEST(NodeDetector, HoldsNoViewOfTheMesh) {
    auto pos = points({{0, 0, 0}, {1, 1, 1}});
    auto connect = ids({{0, 1}});
    node_detector detector;
    EXPECT_EQ(detector.reinit(pos, connect), 0);
    pos(0, 0) = 100;
    connect(0, 0) = 1;
    EXPECT_EQ(detector.find_closest({0, 0, 0}), 0u);
}

TEST(NodeDetector, ManyNodesAreSortedRight) {
    // Enough of them for the radix sort, and clusters that need more than its ten levels.
    dice random(7);
    dense2D<double> pos(3, 20000);
    for (std::size_t k = 0; k < pos.cols(); ++k)
        for (unsigned i = 0; i < 3; ++i)
            pos(i, k) = k % 3 == 0 ? real(random) : k % 3 == 1 ? 1e-4 * real(random) : 0.5 + 1e-8 * real(random);
    const node_detector detector = detector_of(pos);
    const reference_octree reference(pos);
    for (unsigned k = 0; k < 300; ++k) {
        const place p = random_point(random, pos);
        EXPECT_EQ(detector.find_closest(p), nearest_by_search<double>(pos, p));
        EXPECT_EQ(detector.find_close(p), reference.close_node(p));
    }
}
