// What memory allows one thread here. Items are bytes that are read or written, or nodes.

#include <chrono>
#include <cstring>
#include <numeric>
#include <random>
#include <thread>

#include <benchmark/benchmark.h>

#include "harness.h"

namespace {

using bench::fresh_memory;

constexpr std::size_t block = std::size_t(512) << 20;

void count_bytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(state.iterations() * std::int64_t(bytes));
}

void BM_copy(benchmark::State& state, fresh_memory::pages pages) {
    const fresh_memory from(block, pages), to(block, pages);
    std::memset(from.as<char>(), 1, block);
    std::memset(to.as<char>(), 2, block);
    for (auto _ : state) {
        std::memcpy(to.as<char>(), from.as<char>(), block);
        benchmark::ClobberMemory();
    }
    bench::check(state, to.as<char>()[block - 1] == 1, "not copied");
    count_bytes(state, 2 * block);
}

void BM_read(benchmark::State& state, fresh_memory::pages pages) {
    const fresh_memory memory(block, pages);
    std::memset(memory.as<char>(), 1, block);
    std::uint64_t sum = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(sum = bench::read_all(memory.as<std::uint64_t>(), block / 8));
    bench::check(state, sum == 0x0101010101010101u * std::uint64_t(block / 8), "wrong sum");
    count_bytes(state, block);
}

/// After the memory has been free for some seconds: a virtual machine may have handed it to its host.
void BM_first_touch(benchmark::State& state, fresh_memory::pages pages, std::chrono::seconds idle) {
    bool touched = true;
    for (auto _ : state) {
        if (idle.count() > 0) {
            state.PauseTiming();
            std::this_thread::sleep_for(idle);
            state.ResumeTiming();
        }
        const fresh_memory memory(block, pages);
        std::memset(memory.as<char>(), 1, block);
        benchmark::ClobberMemory();
        touched = touched && memory.as<char>()[block / 2] == 1;
    }
    bench::check(state, touched, "not written");
    count_bytes(state, block);
}

/// Nodes of 24 bytes at random, each once.
void BM_gather(benchmark::State& state, fresh_memory::pages pages, std::size_t ahead) {
    constexpr std::size_t n = 5000000;
    const fresh_memory memory(3 * n * sizeof(double), pages);
    std::fill_n(memory.as<double>(), 3 * n, 1.0);
    std::vector<unsigned> nodes(n);
    std::iota(nodes.begin(), nodes.end(), 0u);
    std::shuffle(nodes.begin(), nodes.end(), std::mt19937(1));
    double sum = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(sum = bench::gather(memory.as<double>(), nodes, ahead));
    bench::check(state, sum == double(3 * n), "wrong sum");
    state.SetItemsProcessed(state.iterations() * std::int64_t(n));
}

template <class Body, class... Arguments>
void add(const std::string& name, Body body, Arguments... arguments) {
    const auto run = [=](benchmark::State& state) {
        bench::back_memory(2 * block);
        body(state, arguments...);
    };
    benchmark::RegisterBenchmark(("BM_limit:" + name).c_str(), run)->Unit(benchmark::kMillisecond);
}

const bench::suite all([] {
    for (const auto pages : {fresh_memory::pages::small, fresh_memory::pages::huge}) {
        const std::string size = pages == fresh_memory::pages::small ? "small_pages" : "huge_pages";
        add("copy/" + size, BM_copy, pages);
        add("read/" + size, BM_read, pages);
        add("first_touch/" + size, BM_first_touch, pages, std::chrono::seconds(0));
        add("first_touch_after_idling/" + size, BM_first_touch, pages, std::chrono::seconds(5));
        for (const std::size_t ahead : {0u, 16u, 64u})
            add("gather/" + size + "/ahead:" + std::to_string(ahead), BM_gather, pages, ahead);
    }
});

} // namespace
