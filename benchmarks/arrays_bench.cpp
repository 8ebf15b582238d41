// The arrays of numcore, beside std::vector; eigenvalues by lapack::dspev; nothing of it has a mesh. Items are numbers,
// columns or matrices. The kind tells what is done, the order is none.

#include <lapack/lapack.h>

#include "harness.h"

namespace {

using namespace quorl;

void count(benchmark::State& state, std::size_t items, std::size_t bytes) {
    bench::count(state, items, bytes);
}

void BM_push_back(benchmark::State& state, std::size_t n, bool reserved) {
    std::size_t size = 0;
    for (auto _ : state) {
        dense1D<unsigned> list;
        if (reserved)
            list.reserve(n, 1);
        for (std::size_t k = 0; k < n; ++k)
            list.push_back(unsigned(k));
        size = list.size();
        benchmark::DoNotOptimize(list.data());
    }
    bench::check(state, size == n, "not appended");
    count(state, n, n * sizeof(unsigned));
}

void BM_vector_push_back(benchmark::State& state, std::size_t n, bool reserved) {
    std::size_t size = 0;
    for (auto _ : state) {
        std::vector<unsigned> list;
        if (reserved)
            list.reserve(n);
        for (std::size_t k = 0; k < n; ++k)
            list.push_back(unsigned(k));
        size = list.size();
        benchmark::DoNotOptimize(list.data());
    }
    bench::check(state, size == n, "not appended");
    count(state, n, n * sizeof(unsigned));
}

/// Columns of three coordinates.
void BM_append(benchmark::State& state, std::size_t n, bool reserved) {
    const double column[] = {1, 2, 3};
    std::size_t cols = 0;
    for (auto _ : state) {
        dense2D<double> nodes(3, 0);
        if (reserved)
            nodes.reserve(3, n, 1);
        for (std::size_t k = 0; k < n; ++k)
            nodes.append(column);
        cols = nodes.cols();
        benchmark::DoNotOptimize(nodes.data());
    }
    bench::check(state, cols == n, "not appended");
    count(state, n, n * sizeof column);
}

void BM_vector_insert(benchmark::State& state, std::size_t n, bool reserved) {
    const double column[] = {1, 2, 3};
    std::size_t size = 0;
    for (auto _ : state) {
        std::vector<double> nodes;
        if (reserved)
            nodes.reserve(3 * n);
        for (std::size_t k = 0; k < n; ++k)
            nodes.insert(nodes.end(), column, column + 3);
        size = nodes.size();
        benchmark::DoNotOptimize(nodes.data());
    }
    bench::check(state, size == 3 * n, "not appended");
    count(state, n, n * sizeof column);
}

/// Filled, from nothing.
void BM_resize(benchmark::State& state, std::size_t n) {
    bool right = true;
    for (auto _ : state) {
        dense2D<double> nodes;
        right = nodes.resize(3, n, 1.0) && right;
        benchmark::DoNotOptimize(nodes.data());
    }
    bench::check(state, right, "no memory");
    count(state, n, 3 * n * sizeof(double));
}

void BM_vector_assign(benchmark::State& state, std::size_t n) {
    for (auto _ : state) {
        std::vector<double> nodes(3 * n, 1.0);
        benchmark::DoNotOptimize(nodes.data());
    }
    count(state, n, 3 * n * sizeof(double));
}

void BM_copy(benchmark::State& state, std::size_t n) {
    const dense2D<double> nodes(3, n, 1.0);
    bool right = true;
    for (auto _ : state) {
        dense2D<double> other;
        right = other.copy(nodes) && right;
        benchmark::DoNotOptimize(other.data());
    }
    bench::check(state, right, "no copy");
    count(state, n, 6 * n * sizeof(double));
}

void BM_vector_copy(benchmark::State& state, std::size_t n) {
    const std::vector<double> nodes(3 * n, 1.0);
    for (auto _ : state) {
        std::vector<double> other = nodes;
        benchmark::DoNotOptimize(other.data());
    }
    count(state, n, 6 * n * sizeof(double));
}

/// A view is made and dropped: what passing an array by value costs.
void BM_view(benchmark::State& state) {
    const dense2D<double> nodes(3, 1000, 1.0);
    for (auto _ : state) {
        dense2D<double> view = nodes;
        benchmark::DoNotOptimize(view.data());
    }
    count(state, 1, sizeof nodes);
}

void BM_dspev(benchmark::State& state, std::size_t n) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> unit(-1, 1);
    std::vector<std::array<double, 6>> all(n);
    for (auto& one : all)
        for (double& x : one)
            x = unit(random);
    double values[3] = {}, vectors[9], work[9];
    bool good = true;
    for (auto _ : state)
        for (const auto& one : all) {
            auto packed = one;
            long info = 0;
            lapack::dspev('V', 'U', 3, packed.data(), values, vectors, 3, work, info);
            good = good && info == 0;
        }
    const auto& last = all.back();
    const double trace = last[0] + last[2] + last[5];
    bench::check(state, good && std::fabs(values[0] + values[1] + values[2] - trace) < 1e-12, "wrong values");
    count(state, n, n * (6 + 12) * sizeof(double));
}

template <class Body, class... Arguments>
void add(const std::string& call, const std::string& kind, std::size_t n, Body body, Arguments... arguments) {
    const auto run = [=](benchmark::State& state) {
        bench::back_memory(n * 256);
        body(state, arguments...);
    };
    const std::string name = "BM_" + call + "/" + kind + "/none/" + std::to_string(n);
    benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMicrosecond);
}

const bench::suite all([] {
    for (const std::size_t n : {bench::smallest, bench::smallest * 8, bench::million, 8 * bench::million}) {
        for (const bool reserved : {false, true}) {
            const std::string kind = reserved ? "reserved" : "growing";
            add("dense1D_push_back", kind, n, BM_push_back, n, reserved);
            add("dense1D_push_back:vector", kind, n, BM_vector_push_back, n, reserved);
            add("dense2D_append", kind, n, BM_append, n, reserved);
            add("dense2D_append:vector", kind, n, BM_vector_insert, n, reserved);
        }
        add("dense2D_resize", "filled", n, BM_resize, n);
        add("dense2D_resize:vector", "filled", n, BM_vector_assign, n);
        add("dense2D_copy", "3_rows", n, BM_copy, n);
        add("dense2D_copy:vector", "3_rows", n, BM_vector_copy, n);
    }
    add("dense2D_view", "3_rows", 1, BM_view);
    add("dspev", "3x3", 1000, BM_dspev, std::size_t(1000));
});

} // namespace
