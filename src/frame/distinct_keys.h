#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

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
        for (std::size_t p = 0; p < partitions; ++p)
            if (!number(table, words_.data() + words_each * begin_[p], end_[p] - begin_[p]))
                return false;
        for (std::size_t p = 0; p < partitions; ++p)
            next_[p] = words_.data() + words_each * begin_[p];
        return true;
    }

    /// How many distinct keys there are.
    unsigned size() const { return size_; }

    /// The number of the next key of the sequence.
    [[gnu::always_inline]] unsigned next(const Key& key) {
        const unsigned* const number = next_[partition_of(key)]++;
        __builtin_prefetch(number + 32); // two lines on: there are more partitions than processors read ahead of
        return *number;
    }

private:
    using table_type = hbuckets<keyed<Key, unsigned>>;

    // More partitions are slow to write to: lines of too many are open at a time.
    static constexpr unsigned partition_bits = 6;
    static constexpr std::size_t partitions = std::size_t(1) << partition_bits;
    // The buckets of a larger table would not fit the second-level cache.
    static constexpr std::uint64_t most_buckets = 1 << 16;
    static constexpr std::size_t words_each = sizeof(Key) / sizeof(unsigned);
    // Keys whose buckets are found before the first of them is entered.
    static constexpr std::size_t block = 64;

    /// Depends on the nodes of a key and not on their order, as its hash does, which is a function of their sum alone:
    /// keys of the same sum fall into different partitions, so that the chains of the tables are short. (Odd constants
    /// of multiplicative hashing.)
    [[gnu::always_inline]] static std::size_t partition_of(const Key& key) {
        unsigned all = 0;
        for (const unsigned id : key.id)
            all ^= id;
        const std::uint64_t mixed = (key.hash() * 0x9E3779B97F4A7C15u) ^ (all * 0xD6E8FEB86659FD93u);
        return std::size_t(mixed >> (64 - partition_bits));
    }

    template <class ForEachKey>
    bool distribute(const ForEachKey& for_each_key) {
        std::array<std::uint64_t, partitions> end{};
        const auto count = [&end](const Key& key) __attribute__((always_inline)) {
            ++end[partition_of(key)];
        };
        for_each_key(count);
        std::uint64_t total = 0;
        for (std::size_t p = 0; p < partitions; ++p) {
            begin_[p] = total;
            total += end[p];
            end[p] = begin_[p];
        }
        if (!words_.resize(words_each * total))
            return false;
        unsigned* const words = words_.data();
        const auto write = [&](const Key& key) __attribute__((always_inline)) {
            std::memcpy(words + words_each * end[partition_of(key)]++, &key, sizeof(Key));
        };
        for_each_key(write);
        end_ = end;
        return true;
    }

    /// Numbers the keys of a partition, of which `words` holds n.
    bool number(table_type& table, unsigned* words, std::uint64_t n) {
        if (n != 0 && !table.init(n / 2, next_bucket_prime(std::uint32_t(std::min(n, most_buckets))), 1.0))
            return false;
        std::array<Key, block> keys;
        std::array<std::uint32_t, block> buckets;
        unsigned* numbers = words;
        for (std::size_t here; n != 0; n -= here, words += words_each * here) {
            here = std::min<std::size_t>(block, n);
            std::memcpy(keys.data(), words, here * sizeof(Key));
            const std::uint32_t of_buckets = table.bucket_count();
            for (std::size_t k = 0; k < here; ++k)
                buckets[k] = table.approach(keys[k].hash());
            for (std::size_t k = 0; k < here; ++k) {
                const auto* const node = table.insert(buckets[k], of_buckets, {keys[k], size_});
                if (!node || size_ == no_node)
                    return false;
                size_ += unsigned(node->value.payload == size_);
                *numbers++ = node->value.payload;
            }
        }
        return true;
    }

    std::array<std::uint64_t, partitions> begin_{};
    std::array<std::uint64_t, partitions> end_{};
    dense1D<unsigned, 8> words_; ///< the keys of the partitions; then, from the start of each, their numbers
    std::array<const unsigned*, partitions> next_{};
    unsigned size_ = 0;
};

} // namespace quorl::meldra3d::detail
