#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

#include "meldra/dice.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra::node_detector;

TEST(NodeDetectorThreads, SearchOneDetectorAndItsCopiesAtOnce) {
    dice random(3);
    const auto coordinate = [&] { return random(1000) / 1000.0; };
    dense2D<double> pos(3, 2000);
    dense2D<unsigned> connect(4, 500);
    for (unsigned k = 0; k < 2000; ++k) {
        connect.data()[k] = k;
        for (unsigned i = 0; i < 3; ++i)
            pos(i, k) = coordinate();
    }
    node_detector detector;
    ASSERT_EQ(detector.reinit(pos, connect), 0);
    std::vector<vector_fixed<double, 3>> sought(500);
    std::vector<std::array<unsigned, 2>> expected;
    for (auto& p : sought) {
        p = {coordinate(), coordinate(), coordinate()};
        expected.push_back({detector.find_close(p), detector.find_closest(p)});
    }
    std::array<unsigned, 4> wrong{};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < wrong.size(); ++t)
        threads.emplace_back([&, t] {
            for (std::size_t k = 0; k < sought.size(); ++k) {
                const node_detector copy = detector;
                const node_detector& one = k % 2 == 0 ? detector : copy;
                wrong[t] += one.find_close(sought[k]) != expected[k][0];
                wrong[t] += one.find_closest(sought[k]) != expected[k][1];
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const unsigned count : wrong)
        EXPECT_EQ(count, 0u);
}
