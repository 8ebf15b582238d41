#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <numeric>
#include <utility>

#include <meldra/element_type.h>
#include <numcore/ptr.h>
#include <numcore/vector_num.h>

#include "frame/elfes.h"

namespace quorl::meldra3d::detail {

/// The bucket counts of hashed tables: primes near powers of two, ascending.
inline constexpr std::array<std::uint32_t, 30> bucket_primes{
    13,       23,       53,       97,        193,       389,       769,       1543,       3079,       6151,
    12289,    24593,    49157,    98317,     196613,    393241,    786433,    1572869,    3145739,    6291469,
    12582917, 25165843, 50331653, 100663319, 201326611, 402653189, 805306457, 1610612741, 3221225473, 4294967291};

inline constexpr std::uint32_t fewest_buckets = 23;

/// The smallest of the primes that is not below n; the last one beyond the table.
std::uint32_t next_bucket_prime(std::uint32_t n);

/// The room that a table asks for.
struct bucket_plan {
    std::uint32_t buckets;
    std::uint64_t nodes; ///< buckets and overflow
    bool fits;           ///< false: the nodes could not be numbered; the plan is that of the smallest table
};

/// Room for `expected` keys: a node for each, and for each bucket that they are likely to leave unused, with 30 %
/// to spare.
bucket_plan plan_buckets(std::uint64_t expected, std::uint32_t buckets, double load);

/// Remainders of a known divisor without a division. With m = floor(2^64 / d) the estimate floor(h m / 2^64) of the
/// quotient falls short by at most 1, since h (2^64 / d - m) / 2^64 < 1 (Granlund and Montgomery 1994).
class fixed_modulus {
public:
    constexpr fixed_modulus() = default;
    /// The divisor is at least 3 and no power of two.
    explicit constexpr fixed_modulus(std::uint32_t divisor)
        : divisor_(divisor), reciprocal_(~std::uint64_t(0) / divisor) {}

    constexpr std::uint32_t of(std::uint64_t h) const {
        __extension__ using wide = unsigned __int128;
        const auto quotient = static_cast<std::uint64_t>(wide(h) * reciprocal_ >> 64);
        const std::uint64_t rest = h - quotient * divisor_; // in 64 bits
        return static_cast<std::uint32_t>(rest >= divisor_ ? rest - divisor_ : rest);
    }
    constexpr std::uint32_t divisor() const { return divisor_; }

private:
    std::uint32_t divisor_ = 3;
    std::uint64_t reciprocal_ = ~std::uint64_t(0) / 3;
};

/// What a table stores for a key; tables that only hold keys store the key itself.
template <class Key, class Payload>
struct keyed {
    Key key;
    Payload payload;
};

/// The key in a stored value.
template <class V>
struct stored {
    using key_type = V;
    static const V& key(const V& value) { return value; }
};
template <class Key, class Payload>
struct stored<keyed<Key, Payload>> {
    using key_type = Key;
    static const Key& key(const keyed<Key, Payload>& value) { return value.key; }
};

/// Hash of a key: its own, or that of a node ID.
template <class Key>
constexpr std::uint64_t hash_of(const Key& key) {
    return key.hash();
}
constexpr std::uint64_t hash_of(std::uint32_t id) {
    return elfes::node_hash(id);
}

/// A node of a hashed table. Link = 2 x (distance in nodes to the next of the chain, 0 at its end) + 1 when the node
/// holds an entry.
template <class V, class Link>
struct __hbuckets_node_type {
    V value;
    Link link;

    bool occupied() const { return (link & 1) != 0; }
    Link distance() const { return link / 2; }

    /// No entry: all words of the key `no_node`, the link 0.
    static constexpr __hbuckets_node_type __empty() {
        using key = typename stored<V>::key_type;
        constexpr std::size_t bytes = sizeof(key);
        std::array<unsigned, bytes / sizeof(unsigned)> words{};
        for (unsigned& word : words)
            word = no_node;
        if constexpr (sizeof(key) == sizeof(V))
            return {std::bit_cast<V>(words), 0};
        else
            return {{std::bit_cast<key>(words), {}}, 0};
    }
};

/// A hashed table in one growable array of nodes. The first nodes are the buckets, heads of chains; the further nodes
/// of a chain are appended behind them, and a chain never leads backwards. Entries are found by value of their keys and
/// keep the key as it was given. V is a key (a set) or keyed<Key, Payload> (a map).
///
/// An operation that finds no memory leaves the table as it was. Nodes move when the table grows: an index or a pointer
/// is good until the next insert. A table belongs to one call; it is not copied.
template <class V>
class hbuckets {
public:
    using node = __hbuckets_node_type<V, unsigned>;
    using key_type = typename stored<V>::key_type;

    hbuckets() = default;
    hbuckets(const hbuckets&) = delete;
    hbuckets& operator=(const hbuckets&) = delete;

    /// An empty table with room for `expected` entries in `buckets` chains (at least 23) before it has to grow its
    /// array. False when there is no memory for that: the table then has 23 buckets, or none.
    bool init(std::uint64_t expected, std::uint32_t buckets, double load) {
        const bucket_plan plan = plan_buckets(expected, buckets, load);
        const std::uint64_t old_capacity = capacity();
        used_ = 0;
        entries_ = 0;
        vacated_ = false;
        const bool reserved = plan.fits && reserve(plan.nodes);
        modulus_ = fixed_modulus(reserved ? plan.buckets : fewest_buckets);
        if (!reserve(modulus_.divisor()))
            return false;
        used_ = modulus_.divisor();
        if (capacity() == old_capacity) // a new array comes with empty nodes
            std::fill_n(nodes(), used_, node::__empty());
        return reserved;
    }

    std::uint32_t bucket_count() const { return modulus_.divisor(); }
    std::uint64_t size() const { return entries_; }
    /// Nodes in use, buckets first: indices run below it, and it is the end position of `find`.
    std::uint64_t used_length() const { return used_; }
    std::uint64_t capacity() const { return array_ ? array_->capacity() - start_ : 0; }
    const node& operator[](std::uint64_t index) const { return nodes()[index]; }
    V& value(std::uint64_t index) { return nodes()[index].value; }

    /// Calls visit(value) for every entry, in array order.
    template <class Visit>
    void for_each(Visit visit) const {
        for (std::uint64_t k = 0; k < used_; ++k)
            if (nodes()[k].occupied())
                visit(nodes()[k].value);
    }

    /// The node that holds an equal key, or the end position.
    std::uint64_t find(std::uint64_t hash, const key_type& key) const {
        if (!ready())
            return used_;
        for (std::uint64_t at = modulus_.of(hash);; at += nodes()[at].distance()) {
            const node& here = nodes()[at];
            if (here.occupied() && stored<V>::key(here.value) == key)
                return at;
            if (here.distance() == 0)
                return used_;
        }
    }

    /// Enters a value, unless its key is there: a value that is there stays as it is. Returns the node that holds
    /// the key, or null when there is no memory; `size` tells whether the entry is new. The table grows at more than
    /// two entries a bucket, and that is tested before the key is looked up.
    node* insert(std::uint64_t hash, const V& value) { return make_room() ? insert_on_chain(hash, value) : nullptr; }

    /// For maps to numbers: enters the keys that are not there, with the numbers `next`, `next` + 1 and so on, and
    /// writes the number of each key. The keys are given word by word, and `numbers` may be where they begin: a number
    /// is written over keys that were read before. The table becomes what it would by inserting one key after the
    /// other. False when there is no memory, or no number left; the keys before are then entered.
    bool number(const unsigned* words, std::uint64_t n, unsigned& next, unsigned* numbers) {
        for (std::uint64_t here; n != 0; words += words_each * here, numbers += here, n -= here) {
            here = std::min<std::uint64_t>({n, is_far() ? far_block : near_block, room(), no_node - next});
            if (here != 0) {
                number_block(words, static_cast<std::size_t>(here), next, numbers);
                continue;
            }
            here = 1;
            const key_type key = key_at(words);
            const node* const entry = insert(hash_of(key), {key, next});
            if (!entry || entry->value.payload == no_node)
                return false;
            next += unsigned(entry->value.payload == next);
            *numbers = entry->value.payload;
        }
        return true;
    }

    /// Empties the node of an entry, which stays on its chain for a later entry.
    void vacate(std::uint64_t index) {
        nodes()[index].link &= ~1u;
        --entries_;
        vacated_ = true;
    }

    /// Brings the entries into next_bucket_prime(n) buckets, in the order of the array. False, with the table as it
    /// was, when there is no memory.
    bool grow(std::uint32_t n) {
        const std::uint32_t buckets = next_bucket_prime(n);
        if (entries_ == 0)
            return init(0, buckets, 1.0);
        hbuckets larger;
        larger.init(entries_, buckets, 1.0);
        if (larger.bucket_count() < buckets || !larger.ready() || !larger.take_all(*this) ||
            larger.entries_ != entries_)
            return false;
        array_ = std::move(larger.array_);
        start_ = larger.start_;
        first_ = larger.first_;
        used_ = larger.used_;
        modulus_ = larger.modulus_;
        vacated_ = false;
        return true;
    }

private:
    node* nodes() const { return first_; }

    /// False when not even the buckets could be had.
    bool ready() const { return used_ >= modulus_.divisor(); }

    bool reserve(std::uint64_t n) {
        if (!array_)
            array_ = new (std::nothrow) array;
        if (!array_)
            return false;
        return n <= capacity() || grow_array(n, 1);
    }

    /// Makes the array at least `n` nodes long, and `factor` times as long as it is.
    bool grow_array(std::uint64_t n, std::size_t factor) {
        if (!array_->__grow(start_ + n, start_ + used_, factor))
            return false;
        first_ = array_->data() + start_;
        return true;
    }

    bool make_room() {
        return entries_ + 1 <= 2 * std::uint64_t(modulus_.divisor()) || grow(static_cast<std::uint32_t>(2 * entries_));
    }

    node* insert_on_chain(std::uint64_t hash, const V& value) {
        return ready() ? insert_from(modulus_.of(hash), value) : nullptr;
    }

    /// Walks a chain from a node on, no node before it being free or holding the key.
    node* insert_from(std::uint64_t at, const V& value) {
        node* free = nullptr;
        for (;; at += nodes()[at].distance()) {
            node& here = nodes()[at];
            if (here.occupied()) {
                if (stored<V>::key(here.value) == stored<V>::key(value))
                    return &here;
            } else if (!free) {
                free = &here;
            }
            if (here.distance() == 0)
                break;
        }
        if (!free)
            return append(at, value);
        free->value = value;
        free->link |= 1;
        ++entries_;
        return free;
    }

    /// A new node behind the last of a chain.
    node* append(std::uint64_t last, const V& value) {
        const std::uint64_t distance = used_ - last;
        if (distance > no_node / 2)
            return nullptr;
        if (used_ == capacity() && !grow_array(used_ + 1, 2))
            return nullptr;
        nodes()[last].link = static_cast<std::uint32_t>(2 * distance + 1);
        node& added = nodes()[used_];
        added = {value, 1};
        ++used_;
        ++entries_;
        return &added;
    }

    static constexpr std::size_t near_block = 64; // keys looked up together where the table is in the cache
    static constexpr std::size_t far_block = 512; // and where it is not

    /// The table is larger than a second-level cache.
    bool is_far() const { return used_ > (std::uint64_t(2) << 20) / sizeof(node); }

    // NOLINTNEXTLINE(bugprone-sizeof-expression): of a key of several IDs or of one
    static constexpr std::size_t words_each = sizeof(key_type) / sizeof(unsigned);

    static key_type key_at(const unsigned* words) {
        key_type key;
        std::memcpy(&key, words, sizeof key);
        return key;
    }

    /// How many keys can be entered at least before the table or its array has to grow, all chains having been filled
    /// without a gap; 0 otherwise.
    std::uint64_t room() const {
        if (vacated_ || !ready() || used_ > no_node / 2)
            return 0;
        return std::min({2 * std::uint64_t(modulus_.divisor()) - entries_, capacity() - used_, no_node / 2 - used_});
    }

    /// As `number`, for which there is room. All buckets are asked for before the first key is entered. What changes is
    /// kept in local variables, since for all that compilers know the numbers may be written over the table's own.
    void number_block(const unsigned* words, std::size_t n, unsigned& next, unsigned* numbers) {
        std::array<std::uint32_t, far_block> place;
        node* const all = nodes();
        find_buckets(words, n, place.data());
        if (is_far() && !come_again(place.data(), n))
            walk_side_by_side(words, n, place.data());
        std::uint64_t used = used_;
        unsigned number = next;
        for (std::size_t k = 0; k < n; ++k) {
            const key_type key = key_at(words + words_each * k);
            node* at = all + place[k];
            while ((int(at->occupied()) & int(stored<V>::key(at->value) == key)) == 0) {
                const unsigned link = at->link;
                if (link > 1) {
                    at += link / 2;
                    continue;
                }
                if (link == 1) { // the end of the chain: one more node
                    at->link = static_cast<unsigned>(2 * (used - std::uint64_t(at - all)) + 1);
                    at = all + used++;
                }
                *at = {{key, number++}, 1};
                break;
            }
            numbers[k] = at->value.payload;
        }
        used_ = used;
        entries_ += number - next;
        next = number;
    }

    /// Finds and asks for the buckets of n keys.
    void find_buckets(const unsigned* words, std::size_t n, std::uint32_t* bucket) const {
        const fixed_modulus modulus = modulus_;
        const node* const all = nodes();
        for (std::size_t k = 0; k < n; ++k) {
            bucket[k] = modulus.of(hash_of(key_at(words + words_each * k)));
            __builtin_prefetch(all + bucket[k]);
        }
    }

    /// True when a quarter of the buckets come again soon, as in a mesh whose elements are in order: most chains are
    /// then in the cache.
    static bool come_again(const std::uint32_t* bucket, std::size_t n) {
        std::array<std::uint8_t, 256> recent{};
        std::size_t again = 0;
        for (std::size_t k = 0; k < n; ++k) {
            const auto tag = static_cast<std::uint8_t>(bucket[k] >> 8);
            again += std::size_t(recent[bucket[k] % 256] == tag);
            recent[bucket[k] % 256] = tag;
        }
        return again >= n / 4;
    }

    /// Walks the chains of n keys from their buckets to nodes before which there is neither the key nor a gap. While
    /// one waits for memory the others go on. Whether a walk goes on is arithmetic: a branch would be mispredicted on
    /// most chains.
    void walk_side_by_side(const unsigned* words, std::size_t n, std::uint32_t* place) const {
        std::array<std::uint16_t, far_block> walking;
        std::iota(walking.begin(), walking.end(), std::uint16_t(0));
        const node* const all = nodes();
        for (std::size_t left = n; left != 0;) {
            std::size_t still = 0;
            for (std::size_t i = 0; i < left; ++i) {
                const std::uint16_t k = walking[i];
                const node& here = all[place[k]];
                const unsigned differs = stored<V>::key(here.value) == key_at(words + words_each * k) ? 0 : 1;
                const unsigned step = here.distance() & (0 - (here.link & differs));
                place[k] += step;
                __builtin_prefetch(all + place[k]);
                walking[still] = k;
                still += std::size_t(step != 0);
            }
            left = still;
        }
    }

    /// Enters all entries of another table into this one, in the order of its array.
    bool take_all(const hbuckets& other) {
        std::array<unsigned, words_each * far_block> words;
        std::array<std::uint32_t, far_block> place;
        std::array<std::uint64_t, far_block> from;
        std::size_t n = 0;
        const auto take = [&] {
            find_buckets(words.data(), n, place.data());
            walk_side_by_side(words.data(), n, place.data());
            for (std::size_t k = 0; k < n; ++k)
                if (!insert_from(place[k], other.nodes()[from[k]].value))
                    return false;
            n = 0;
            return true;
        };
        for (std::uint64_t k = 0; k < other.used_; ++k) {
            const node& entry = other.nodes()[k];
            if (!entry.occupied())
                continue;
            std::memcpy(words.data() + words_each * n, &stored<V>::key(entry.value), sizeof(key_type));
            from[n] = k;
            if (++n == far_block && !take())
                return false;
        }
        return take();
    }

    using array = vector_num<node, 8>;

    Ptr<array> array_;
    std::uint64_t used_ = 0;
    std::uint64_t start_ = 0;
    node* first_ = nullptr; ///< the node at `start_`
    fixed_modulus modulus_{fewest_buckets};
    std::uint64_t entries_ = 0;
    bool vacated_ = false; ///< there may be nodes without an entry on the chains
};

} // namespace quorl::meldra3d::detail
