#include "harness.h"

namespace bench {

std::string sample::name() const {
    return kind + (variant.empty() ? "" : "-" + variant) + "/" + bench::name(in_order) + "/" + std::to_string(elements);
}

std::vector<sample> samples(const std::vector<std::string>& kinds, std::size_t largest,
                            const std::vector<order>& orders) {
    std::vector<sample> all;
    for (const std::string& kind : kinds)
        for (const order o : orders)
            for (const std::size_t n : {smallest, smallest * 8, million, five_million}) {
                const bool made = o != order::delaunay || (has_delaunay() && kind == "TH4" && n <= million);
                if (n <= largest && made)
                    all.push_back({kind, o, n});
            }
    return all;
}

void count(benchmark::State& state, std::size_t items, std::size_t bytes) {
    state.SetItemsProcessed(state.iterations() * std::int64_t(items));
    state.counters["items"] = double(items);
    state.counters["bytes_per_item"] = double(bytes) / double(items);
    state.counters["of_memory_speed"] =
        benchmark::Counter(double(bytes) / copy_speed(), benchmark::Counter::kIsIterationInvariantRate);
}

} // namespace bench
