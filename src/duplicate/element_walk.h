#pragma once

#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

namespace quorl::meldra3d::detail {

/// A set of elements that is emptied at once, whatever it holds: open addressing with linear probing over
/// multiplicative hashing (Knuth, The Art of Computer Programming 3, section 6.4), where a place counts as free unless
/// it was taken in the present round. Operations return false when there is no memory.
class element_set {
public:
    bool clear() {
        taken_ = 0;
        return ++round_ != 0 || renew(places_.size());
    }

    /// `is_new` tells whether the element was not there before.
    bool insert(unsigned element, bool& is_new) {
        if (2 * (taken_ + 1) > places_.size() && !grow())
            return false;
        is_new = enter(element);
        return true;
    }

private:
    struct place {
        unsigned element;
        unsigned round;
    };

    bool enter(unsigned element) {
        place* const places = places_.data();
        const std::size_t last = places_.size() - 1;
        std::size_t at = std::size_t((element * std::uint64_t(0x9E3779B97F4A7C15)) >> shift_);
        for (; places[at].round == round_; at = (at + 1) & last)
            if (places[at].element == element)
                return false;
        places[at] = {element, round_};
        ++taken_;
        return true;
    }

    /// That many places, a power of two, all of them free.
    bool renew(std::size_t places) {
        dense1D<place, 8> fresh;
        if (!fresh.resize(places, place{0, 0}))
            return false;
        places_ = std::move(fresh);
        taken_ = 0;
        round_ = 1;
        shift_ = 64;
        for (; places > 1; places /= 2)
            --shift_;
        return true;
    }

    bool grow() {
        const dense1D<place, 8> old = places_;
        const unsigned round = round_;
        if (!renew(old.empty() ? 64 : 2 * old.size()))
            return false;
        for (const place& p : old)
            if (p.round == round)
                enter(p.element);
        return true;
    }

    dense1D<place, 8> places_; // a power of two, at most half of them taken
    std::size_t taken_ = 0;
    unsigned round_ = 0;
    unsigned shift_ = 64; // leaves the number of a place
};

/// A walk over elements that meets each of them once: those still to be visited, last in, first out, and those that
/// have been met. Both keep their memory for the next walk.
class element_walk {
public:
    /// Begins at an element. Operations return false when there is no memory.
    bool begin(unsigned element) {
        stack_.clear();
        bool is_new = false;
        return met_.clear() && meet(element, is_new) && push(element);
    }

    /// Notes an element as met. `is_new` tells whether it had not been met before.
    bool meet(unsigned element, bool& is_new) { return met_.insert(element, is_new); }

    bool push(unsigned element) { return stack_.push_back(element); }
    bool empty() const { return stack_.empty(); }
    unsigned pop() {
        const unsigned element = stack_[stack_.size() - 1];
        stack_.resize(stack_.size() - 1);
        return element;
    }

private:
    dense1D<unsigned, 8> stack_;
    element_set met_;
};

} // namespace quorl::meldra3d::detail
