#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <utility>

#include <meldra/element_type.h>
#include <numcore/dense1D.h>

#include "frame/lanes.h"
#include "frame/quickest.h"

namespace quorl::meldra3d::detail {

/// Memory of the caller that may be written to for a while.
struct lent_room {
    unsigned* words = nullptr;
    std::size_t size = 0; ///< in words
};

/// Numbers the distinct keys of a long sequence: equal keys get the same number, and the numbers are 0, 1, 2 and so on
/// in no particular order.
///
/// One hashed table of the edges or faces of a mesh in random order would be read outside the caches at every key. So
/// the keys are first written to partitions by a few bits of another hash, in their own order, and a table that fits
/// the cache is filled with one partition after another (S. Manegold, P. Boncz, M. Kersten, "Optimizing main-memory
/// join on modern hardware", IEEE TKDE 14(4), 2002). Whoever goes through the same keys once more gets their numbers in
/// the order of the sequence, which is kept in each partition.
///
/// The numbers stand one behind the other. The first keys lie where numbers will, which are written over keys that were
/// read before, and the others in room that the caller lends: so most of the memory is in use only once.
template <class Key>
class distinct_keys {
public:
    /// Numbers the keys for which `for_each_key(visit)` calls visit(key), in the same order every time. Writes to
    /// `lent` where it is large enough. False when there is no memory.
    template <class ForEachKey>
    bool run(const ForEachKey& for_each_key, lent_room lent = {}) {
        table slots;
        dense1D<unsigned, 8> own;
        if (!find_partitions(for_each_key) || !numbers_.resize(begin_[partitions_]) || !lay_out(lent, own) ||
            !slots.resize(most_keys()))
            return false;
        distribute(for_each_key);
        for (std::size_t p = 0; p < partitions_; ++p) {
            unsigned* const numbers = numbers_.data() + begin_[p];
            cursors_[p] = {numbers, size_};
            const std::uint64_t next = slots.number(keys_[p], begin_[p + 1] - begin_[p], size_, numbers);
            if (next > no_node) // no number left
                return false;
            size_ = static_cast<unsigned>(next);
        }
        return true;
    }

    /// How many distinct keys there are.
    unsigned size() const { return size_; }

    /// Calls visit(number, is_first) for the next n keys of the sequence: is_first when no key before has the number.
    template <class Visit>
    [[gnu::always_inline]] void next(std::size_t n, Visit visit) {
        const unsigned char* p = next_partition_;
        for (next_partition_ += n; p != next_partition_; ++p) {
            cursor& at = cursors_[*p];
            const unsigned* const next = at.next;
            const unsigned number = *next;
            __builtin_prefetch(next + 32); // two lines on: there are more partitions than processors read ahead of
            at.next = next + 1;
            const bool is_first = number == at.unused;
            at.unused += unsigned(is_first);
            visit(number, is_first);
        }
    }

private:
    /// Equal for equal keys only.
    using ordered_key = decltype(std::declval<Key>().ordered());

    static constexpr std::size_t words_each = sizeof(Key) / sizeof(unsigned);
    static_assert(sizeof(ordered_key) == sizeof(Key));
    static constexpr std::size_t words_of_key = sizeof(ordered_key) / sizeof(std::uint64_t);

    /// A table by open addressing, in buckets of four slots: a key stands in the first slot from its bucket on that was
    /// free. The four are compared at once, and few buckets overflow: so the way to a key is nearly always foreseen,
    /// where that from slot to slot is not (K. Ross, "Efficient hash probes on modern processors", ICDE 2007).
    class table {
    public:
        /// Room for partitions of up to n keys. False when there is no memory.
        bool resize(std::uint64_t n) {
            const std::size_t buckets = std::size_t(1) << bits_for(n);
            return room_.resize(buckets * (sizeof(bucket) + sizeof(numbers_of_bucket)) + alignment);
        }

        /// Writes the numbers of n keys, the least of which is `next`, perhaps over keys that were read before. Returns
        /// what is next to the largest.
        std::uint64_t number(const unsigned* words, std::uint64_t n, std::uint64_t next, unsigned* to) {
            return quickest([&]() __attribute__((always_inline)) { return number_all(words, n, next, to); });
        }

    private:
        static constexpr unsigned slots_each = 4;

        /// The keys of four slots, one word of all behind the other.
        struct bucket {
            std::uint64_t word[words_of_key][slots_each];

            [[gnu::always_inline]] bool is_free(unsigned slot) const { return word[0][slot] == free_word; }
            [[gnu::always_inline]] void set(unsigned slot, const ordered_key& key) {
                for (std::size_t w = 0; w < words_of_key; ++w)
                    word[w][slot] = key.word[w];
            }
        };
        using numbers_of_bucket = std::array<unsigned, slots_each>;
        static constexpr std::size_t alignment = 64; // a bucket does not lie across two lines of the cache

        [[gnu::always_inline]] std::uint64_t number_all(const unsigned* words, std::uint64_t n, std::uint64_t next,
                                                        unsigned* to) {
            const unsigned bits = bits_for(n);
            const std::size_t mask = (std::size_t(1) << bits) - 1;
            bucket* const keys = first_bucket();
            auto* const numbers = reinterpret_cast<numbers_of_bucket*>(keys + mask + 1);
            // Numbers, too: one of a free slot is read, though it does not count.
            std::memset(static_cast<void*>(keys), free_byte, (mask + 1) * (sizeof(bucket) + sizeof(numbers_of_bucket)));
            const auto key_at = [&](std::uint64_t k) __attribute__((always_inline)) {
                ordered_key key;
                std::memcpy(&key, words + words_each * k, sizeof key);
                return key;
            };
            for (std::uint64_t k = 0; k < n; ++k) {
                const std::uint64_t later = hash(key_at(std::min(k + ahead, n - 1))) >> (64 - bits);
                __builtin_prefetch(keys + later);
                __builtin_prefetch(numbers + later);
                const ordered_key key = key_at(k);
                std::size_t at = std::size_t(hash(key) >> (64 - bits));
                unsigned found = same_or_free(keys[at], key);
                while (found == 0) {
                    at = (at + 1) & mask;
                    found = same_or_free(keys[at], key);
                }
                const auto slot = unsigned(std::countr_zero(found)); // free ones are behind the others
                // Whether a key is new is foreseen no better than the toss of a coin: so there is no branch.
                const auto is_new = unsigned(keys[at].is_free(slot));
                const unsigned known = numbers[at][slot];
                const unsigned number = known ^ ((known ^ static_cast<unsigned>(next)) & (0 - is_new));
                keys[at].set(slot, key);
                numbers[at][slot] = number;
                to[k] = number;
                next += is_new;
            }
            return next;
        }

        /// A bit for each slot of a bucket that holds the key or none.
        [[gnu::always_inline]] static unsigned same_or_free(const bucket& in, const ordered_key& key) {
            four_masks same = (four_masks)(load(in.word[0]) == four_words{} + key.word[0]);
            for (std::size_t w = 1; w < words_of_key; ++w)
                same &= (four_masks)(load(in.word[w]) == four_words{} + key.word[w]);
            return bits(same | (four_masks)(load(in.word[0]) == four_words{} + free_word));
        }

        /// Of the number of buckets for n keys. A table without free slots would be gone through from end to end.
        static unsigned bits_for(std::uint64_t n) {
            unsigned bits = 2;
            while ((std::uint64_t(slots_each) << bits) < n + n / 8)
                ++bits;
            return bits;
        }

        bucket* first_bucket() {
            const auto misfit = reinterpret_cast<std::uintptr_t>(room_.data()) % alignment;
            return reinterpret_cast<bucket*>(room_.data() + (alignment - misfit) % alignment);
        }

        static constexpr std::uint64_t ahead = 8; // keys whose slots are on their way

        // The first word of a free slot is `no_node` twice, which no key has.
        static constexpr int free_byte = 0xFF;
        static constexpr std::uint64_t free_word = ~std::uint64_t(0);

        [[gnu::always_inline]] static std::uint64_t hash(const ordered_key& key) {
            std::uint64_t h = 0;
            for (const std::uint64_t word : key.word)
                h = (h ^ word) * 0x9E3779B97F4A7C15u;
            return h;
        }

        dense1D<unsigned char, 8> room_; ///< buckets, then their numbers
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
    // More partitions are slow to write to: lines and pages of too many are open at a time.
    static constexpr unsigned most_bits = 6;
    static constexpr std::size_t most_partitions = std::size_t(1) << most_bits;

    std::uint64_t most_keys() const {
        std::uint64_t most = 0;
        for (std::size_t p = 0; p < partitions_; ++p)
            most = std::max(most, begin_[p + 1] - begin_[p]);
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

    /// Counts the keys.
    template <class ForEachKey>
    static std::uint64_t count(const ForEachKey& for_each_key) {
        std::uint64_t n = 0;
        for_each_key([&](const Key&) __attribute__((always_inline)) { ++n; });
        return n;
    }

    /// Finds the partition of each key. False when there is no memory.
    template <class ForEachKey>
    bool find_partitions(const ForEachKey& for_each_key) {
        const std::uint64_t total = count(for_each_key);
        if (total > ~std::uint64_t(0) / sizeof(Key) || !partition_.resize(total))
            return false;
        unsigned bits = fewest_bits;
        while (bits < most_bits && total >> bits > partition_keys)
            ++bits;
        partitions_ = std::size_t(1) << bits;
        // Counted by more bits than tell the partition: additions to one counter soon after each other would wait.
        constexpr unsigned counted_bits = 8;
        std::array<std::uint64_t, std::size_t(1) << counted_bits> counts{};
        unsigned char* to = partition_.data();
        for_each_key([&](const Key& key) __attribute__((always_inline)) {
            const auto counted = std::size_t(mix(key) >> (64 - counted_bits));
            *to++ = static_cast<unsigned char>(counted >> (counted_bits - bits));
            ++counts[counted];
        });
        const std::size_t parts = counts.size() / partitions_; // that were counted one by one
        for (std::size_t p = 0; p < partitions_; ++p)
            begin_[p + 1] = std::accumulate(&counts[p * parts], &counts[p * parts] + parts, begin_[p]);
        next_partition_ = partition_.data();
        return true;
    }

    /// Finds places for the keys of each partition: in the room of the numbers as long as they fit, then in the room
    /// that is lent or, where that is too small, `own`. False when there is no memory.
    bool lay_out(lent_room lent, dense1D<unsigned, 8>& own) {
        const std::uint64_t total = begin_[partitions_];
        std::size_t p = 0;
        for (; p < partitions_ && words_each * begin_[p + 1] <= total; ++p)
            keys_[p] = numbers_.data() + words_each * begin_[p];
        const std::uint64_t others = words_each * (total - begin_[p]);
        if (others > lent.size) {
            if (!own.resize(others))
                return false;
            lent.words = own.data();
        }
        for (const std::uint64_t first = begin_[p]; p < partitions_; ++p)
            keys_[p] = lent.words + words_each * (begin_[p] - first);
        return true;
    }

    /// Writes the keys to their partitions.
    template <class ForEachKey>
    void distribute(const ForEachKey& for_each_key) {
        std::array<unsigned*, most_partitions> to = keys_;
        const unsigned char* p = partition_.data();
        const auto write = [&](const Key& key) __attribute__((always_inline)) {
            const ordered_key ordered = key.ordered();
            unsigned*& next = to[*p++];
            unsigned* const at = next;
            next += words_each;
            __builtin_prefetch(at + 32, 1); // two lines on: stores wait for each other
            std::memcpy(at, &ordered, sizeof ordered);
        };
        for_each_key(write);
    }

    std::size_t partitions_ = 0;
    dense1D<unsigned char, 8> partition_; ///< of each key of the sequence
    const unsigned char* next_partition_ = nullptr;
    std::array<std::uint64_t, most_partitions + 1> begin_{}; ///< of the numbers of each partition
    std::array<unsigned*, most_partitions> keys_{};
    dense1D<unsigned, 8> numbers_;
    std::array<cursor, most_partitions> cursors_{};
    unsigned size_ = 0;
};

} // namespace quorl::meldra3d::detail
