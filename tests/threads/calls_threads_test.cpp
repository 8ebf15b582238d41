// The calls of tests/calls from many threads at once: outputs are each thread's own, inputs and detectors are shared.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "calls/call.h"

using namespace test;

namespace {

constexpr unsigned cells = 2; // along a side of each mesh
constexpr unsigned thread_count = 8;

/// A call with its arguments and what it gives on one thread.
struct example {
    const call* called;
    arguments given;
    int status;
    std::vector<content> after;
};

const std::vector<example>& examples() {
    static const std::vector<example> list = [] {
        std::vector<example> made;
        for (const call& c : all_calls()) {
            example e{&c, c.make(cells), 0, {}};
            arguments own = with_own_outputs(c, e.given);
            e.status = c.run(own);
            e.after = contents(own);
            made.push_back(std::move(e));
        }
        return made;
    }();
    return list;
}

/// Calls run(thread) on all threads and waits for them.
template <class Run>
void on_all_threads(const Run& run) {
    std::atomic<unsigned> ready{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < thread_count; ++t)
        threads.emplace_back([&run, &ready, t] {
            for (++ready; ready < thread_count;)
                std::this_thread::yield();
            run(t);
        });
    for (std::thread& thread : threads)
        thread.join();
}

bool gives_the_same(const example& e, arguments own) {
    return e.called->run(own) == e.status && contents(own) == e.after;
}

} // namespace

TEST(CallsThreads, TheSameCallOnSharedInputs) {
    std::atomic<unsigned> wrong{0};
    ASSERT_FALSE(examples().empty());
    on_all_threads([&wrong](unsigned) {
        for (const example& e : examples())
            wrong += !gives_the_same(e, with_own_outputs(*e.called, e.given));
    });
    EXPECT_EQ(wrong, 0u);
}

TEST(CallsThreads, DifferentCallsAtOnce) {
    std::atomic<unsigned> wrong{0};
    const std::size_t count = examples().size();
    on_all_threads([&wrong, count](unsigned t) {
        for (std::size_t k = 0; k < count; ++k) {
            const example& e = examples()[(k + t * count / thread_count) % count];
            wrong += !gives_the_same(e, with_own_outputs(*e.called, e.given));
        }
    });
    EXPECT_EQ(wrong, 0u);
}

TEST(CallsThreads, ViewsDroppedByWhicheverThreadIsLast) {
    // Each thread has views of everything; the one that calls last, or the main thread, frees it.
    std::vector<arguments> views;
    for (const example& e : examples())
        views.push_back(e.called->make(cells));
    std::vector<std::vector<arguments>> of_threads(thread_count, views);
    views.clear();
    std::atomic<unsigned> wrong{0};
    on_all_threads([&](unsigned t) {
        for (std::size_t k = 0; k < examples().size(); ++k) {
            const arguments mine = std::exchange(of_threads[t][k], {});
            const example& e = examples()[k];
            wrong += !gives_the_same(e, with_own_outputs(*e.called, mine));
        }
    });
    EXPECT_EQ(wrong, 0u);
}
