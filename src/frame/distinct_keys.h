#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <utility>

#include <meldra/element_type.h>
#include <numcore/dense1D.h>

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
        table slots;
        if (!distribute(for_each_key) || !slots.resize(most_keys()))
            return false;
        for (std::size_t p = 0; p < partitions(); ++p) {
            unsigned* const words = words_.data() + words_each * begin_[p];
            cursors_[p] = {words, size_};
            const std::uint64_t next = slots.number(words, end_[p] - begin_[p], size_);
            if (next > no_node) // no number left
                return false;
            size_ = static_cast<unsigned>(next);
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
    /// Equal for equal keys only.
    using ordered_key = decltype(std::declval<Key>().ordered());

    static constexpr std::size_t words_each = sizeof(Key) / sizeof(unsigned);
    static_assert(sizeof(ordered_key) == sizeof(Key));

    /// A table by open addressing: a key stands in the first slot from its hash on that was free.
    class table {
    public:
        /// Room for partitions of up to n keys. False when there is no memory.
        bool resize(std::uint64_t n) {
            const std::size_t slots = std::size_t(1) << bits_for(n);
            return keys_.resize(slots) && numbers_.resize(slots);
        }

        /// Writes the numbers of n keys, the least of which is `next`, over keys that were read before. Returns what is
        /// next to the largest.
        std::uint64_t number(unsigned* words, std::uint64_t n, std::uint64_t next) {
            const unsigned bits = bits_for(n);
            const std::size_t mask = (std::size_t(1) << bits) - 1;
            ordered_key* const keys = keys_.data();
            unsigned* const numbers = numbers_.data();
            std::memset(keys, free_byte, (mask + 1) * sizeof(ordered_key));
            for (std::uint64_t k = 0; k < n; ++k) {
                ordered_key key;
                std::memcpy(&key, words + words_each * k, sizeof key);
                std::size_t at = std::size_t(hash(key) >> (64 - bits));
                while (!(keys[at] == key) && !is_free(keys[at]))
                    at = (at + 1) & mask;
                if (is_free(keys[at])) {
                    keys[at] = key;
                    numbers[at] = static_cast<unsigned>(next++);
                }
                words[k] = numbers[at];
            }
            return next;
        }

    private:
        /// Of the number of slots for n keys. A table without free slots would be gone through from end to end.
        static unsigned bits_for(std::uint64_t n) {
            unsigned bits = 4;
            while ((std::uint64_t(1) << bits) < n + n / 8)
                ++bits;
            return bits;
        }

        // The first word of a free slot is `no_node` twice, which no key has.
        static constexpr int free_byte = 0xFF;
        [[gnu::always_inline]] static bool is_free(const ordered_key& slot) {
            return slot.word[0] == ~std::uint64_t(0);
        }

        [[gnu::always_inline]] static std::uint64_t hash(const ordered_key& key) {
            std::uint64_t h = 0;
            for (const std::uint64_t word : key.word)
                h = (h ^ word) * 0x9E3779B97F4A7C15u;
            return h;
        }

        dense1D<ordered_key, 8> keys_;
        dense1D<unsigned, 8> numbers_;
    };

    /// Where the numbers of a partition are read: they rise by 1 from each of its distinct keys to the next.
    struct cursor {
        const unsigned* next;
        unsigned unused; ///< the least number that has not been read
    };

    // The table of a partition of so many keys fits the second-level cache.
    static constexpr std::uint64_t partition_keys = (std::uint64_t(3) << 18) / sizeof(Key);
    // With fewer partitions the table would be as large as the keys.
    static constexpr unsigned fewest_bits = 4;
    // More partitions are slow to write to: lines of too many are open at a time.
    static constexpr unsigned most_bits = 8;
    static constexpr std::size_t most_partitions = std::size_t(1) << most_bits;

    std::size_t partitions() const { return std::size_t(1) << (64 - shift_); }

    std::uint64_t most_keys() const {
        std::uint64_t most = 0;
        for (std::size_t p = 0; p < partitions(); ++p)
            most = std::max(most, end_[p] - begin_[p]);
        return most;
    }

    /// The leading bits tell the partition. Depends on the nodes of a key and not on their order. (Odd constants of
    /// multiplicative hashing.)
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
        unsigned bits = fewest_bits;
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
            const ordered_key ordered = key.ordered();
            std::memcpy(words + words_each * end[mix(key) >> shift]++, &ordered, sizeof ordered);
        };
        for_each_key(write);
        end_ = end;
        return true;
    }

    unsigned shift_ = 64 - fewest_bits;
    std::array<std::uint64_t, most_partitions> begin_{};
    std::array<std::uint64_t, most_partitions> end_{};
    dense1D<unsigned, 8> words_; ///< the keys of the partitions; then, from the start of each, their numbers
    std::array<cursor, most_partitions> cursors_{};
    unsigned size_ = 0;
};

} // namespace quorl::meldra3d::detail
