#include "frame/hbuckets.h"

#include <algorithm>
#include <cmath>

namespace quorl::meldra3d::detail {

std::uint32_t next_bucket_prime(std::uint32_t n) {
    const auto* const found = std::lower_bound(bucket_primes.begin(), bucket_primes.end(), n);
    return found == bucket_primes.end() ? bucket_primes.back() : *found;
}

bucket_plan plan_buckets(std::uint64_t expected, std::uint32_t buckets, double load) {
    buckets = std::max(buckets, fewest_buckets);
    // The share of buckets that `expected` keys leave used when each falls into any of them alike.
    const double used = 1.0 - std::exp(double(expected) * std::log1p(-1.0 / buckets));
    const double unused = std::min(1.3 * (1.0 - used / load), 1.0);
    const std::uint64_t extra = unused > 0 ? static_cast<std::uint64_t>(buckets * unused) : 0;
    if (expected >= no_node || expected + extra >= no_node)
        return {fewest_buckets, fewest_buckets, false};
    return {buckets, expected + extra, true};
}

} // namespace quorl::meldra3d::detail
