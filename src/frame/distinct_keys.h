#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>

#include <numcore/dense1D.h>

#include "frame/hbuckets.h"

namespace quorl::meldra3d::detail {

/// Numbers the distinct keys of a long sequence: equal keys get the same number, and the numbers are 0, 1, 2 and so on
/// in no particular order.
///
/// One hashed table of the edges or faces of a mesh in random order would be read outside the caches at every key. So
/// the keys are first written to partitions by a few bits of another hash, in their own order, and a table that fits
/// the cache is filled with one partition after another (S. Manegold, P. Boncz, M. Kersten, "Optimizing main-memory
/// join on modern hardware", IEEE TKDE 14(4), 2002). The numbers of a partition take the place of its keys. Whoever
/// goes through the same keys once more gets them back in the order of the sequence, which is kept in each partition.
template <class Key>
class distinct_keys {
public:
    /// Numbers the keys for which `for_each_key(visit)` calls visit(key), in the same order every time. False when
    /// there is no memory.
    template <class ForEachKey>
    bool run(const ForEachKey& for_each_key) {
        if (!distribute(for_each_key))
            return false;
        table_type table;
        for (std::size_t p = 0; p < partitions(); ++p) {
            unsigned* const words = words_.data() + words_each * begin_[p];
            cursors_[p] = {words, size_};
            if (!number(table, words, end_[p] - begin_[p]))
                return false;
        }
        return true;
    }

    /// How many distinct keys there are.
    unsigned size() const { return size_; }

    /// The number of a key, and whether none before has it.
    struct numbered {
        unsigned number;
        bool is_first;
    };

    /// The next key of the sequence.
    [[gnu::always_inline]] numbered next(const Key& key) {
        cursor& at = cursors_[partition_of(key)];
        const unsigned number = *at.next++;
        __builtin_prefetch(at.next + 31); // two lines on: there are more partitions than processors read ahead of
        const bool is_first = number == at.unused;
        at.unused += unsigned(is_first);
        return {number, is_first};
    }

private:
    using table_type = hbuckets<keyed<Key, unsigned>>;

    /// Where the numbers of a partition are read: they rise by 1 from each of its distinct keys to the next.
    struct cursor {
        const unsigned* next;
        unsigned unused; ///< the least number that has not been read
    };

    static constexpr std::size_t words_each = sizeof(Key) / sizeof(unsigned);

    // A table of so many buckets, filled as far as may be expected, fits the second-level cache.
    static constexpr std::uint64_t most_buckets = (1 << 20) / sizeof(typename table_type::node);
    // Keys of a partition, of which each comes two or more times, unless there are too many of them for all partitions.
    static constexpr std::uint64_t partition_keys = most_buckets * 7 / 4;
    // More partitions are slow to write to: lines of too many are open at a time.
    static constexpr unsigned most_bits = 8;
    static constexpr std::size_t most_partitions = std::size_t(1) << most_bits;

    std::size_t partitions() const { return std::size_t(1) << (64 - shift_); }

    /// The leading bits tell the partition. Depends on the nodes of a key and not on their order, as its hash does, but
    /// is not a function of their sum alone: keys of the same sum, and so of the same bucket, fall into different
    /// partitions, so that the chains of the tables are short. (Odd constants of multiplicative hashing.)
    [[gnu::always_inline]] static std::uint64_t mix(const Key& key) {
        std::uint64_t sum = 0;
        unsigned all = 0;
        for (const unsigned id : key.id) {
            sum += id;
            all ^= id;
        }
        return (sum * 0x9E3779B97F4A7C15u) ^ (all * 0xD6E8FEB86659FD93u);
    }
    [[gnu::always_inline]] std::size_t partition_of(const Key& key) const { return std::size_t(mix(key) >> shift_); }

    template <class ForEachKey>
    bool distribute(const ForEachKey& for_each_key) {
        std::array<std::uint64_t, most_partitions> end{};
        const auto count = [&end](const Key& key) __attribute__((always_inline)) {
            ++end[mix(key) >> (64 - most_bits)];
        };
        for_each_key(count);
        const std::uint64_t total = std::accumulate(end.begin(), end.end(), std::uint64_t(0));
        unsigned bits = 1;
        while (bits < most_bits && total >> bits > partition_keys)
            ++bits;
        shift_ = 64 - bits;
        std::uint64_t begin = 0;
        for (std::size_t p = 0; p < partitions(); ++p) {
            const std::size_t parts = most_partitions / partitions(); // that were counted one by one
            begin_[p] = begin;
            begin = std::accumulate(&end[p * parts], &end[p * parts] + parts, begin);
        }
        end = begin_;
        if (!words_.resize(words_each * total))
            return false;
        unsigned* const words = words_.data();
        const unsigned shift = shift_;
        const auto write = [&](const Key& key) __attribute__((always_inline)) {
            std::memcpy(words + words_each * end[mix(key) >> shift]++, &key, sizeof(Key));
        };
        for_each_key(write);
        end_ = end;
        return true;
    }

    /// Numbers the keys of a partition, of which `words` holds n.
    bool number(table_type& table, unsigned* words, std::uint64_t n) {
        if (n != 0 && !table.init(n / 2, next_bucket_prime(std::uint32_t(std::min(n, most_buckets))), 1.0))
            return false;
        return table.number(words, n, size_, words);
    }

    unsigned shift_ = 63;
    std::array<std::uint64_t, most_partitions> begin_{};
    std::array<std::uint64_t, most_partitions> end_{};
    dense1D<unsigned, 8> words_; ///< the keys of the partitions; then, from the start of each, their numbers
    std::array<cursor, most_partitions> cursors_{};
    unsigned size_ = 0;
};

} // namespace quorl::meldra3d::detail
