// Prints a hash of all results of each function: statuses and every bit of every argument after the calls of
// tests/calls, on small meshes and on some of a few thousand elements, as they are, scaled near the ends of the range
// of a double, and with numbers that are none. Builds by different compilers and at different levels of optimisation
// have to print the same. With --calls: a hash of each call, to find the one that differs.

#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "calls/call.h"

namespace {

/// FNV-1a of 64 bits (Fowler, Noll and Vo).
class hash {
public:
    void take(const void* data, std::size_t bytes) {
        const auto* const byte = static_cast<const unsigned char*>(data);
        for (std::size_t k = 0; k < bytes; ++k)
            value_ = (value_ ^ byte[k]) * 0x100000001B3u;
    }

    /// Any NaN counts as the same: which operand gives a result its sign and payload, compilers are free to choose.
    void take_doubles(const std::vector<unsigned char>& bytes) {
        for (std::size_t at = 0; at < bytes.size(); at += sizeof(double)) {
            double x = 0;
            std::memcpy(&x, bytes.data() + at, sizeof x);
            x = std::isnan(x) ? std::numeric_limits<double>::quiet_NaN() : x;
            take(&x, sizeof x);
        }
    }

    void take(std::uint64_t number) { take(&number, sizeof number); }

    std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 0xCBF29CE484222325u;
};

enum class numbers { usual, tiny, huge, broken };

/// What a number of the given place becomes.
double changed(double x, std::size_t place, numbers how) {
    constexpr double none[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::denorm_min(),
                               std::numeric_limits<double>::max(),
                               0.0,
                               -0.0};
    switch (how) {
    case numbers::tiny:
        return x * 1e-150;
    case numbers::huge:
        return x * 1e150;
    case numbers::broken:
        return place % 23 == 5 ? none[place / 23 % std::size(none)] : x;
    default:
        return x;
    }
}

test::arguments arguments_of(const test::call& c, unsigned cells, numbers how) {
    test::arguments a = c.make(cells);
    for (auto* matrix : {&a.pos, &a.values})
        for (std::size_t j = 0; j < matrix->cols(); ++j)
            for (std::size_t i = 0; i < matrix->rows(); ++i)
                (*matrix)(i, j) = changed((*matrix)(i, j), j * matrix->rows() + i, how);
    for (std::size_t k = 0; k < a.numbers.size(); ++k)
        a.numbers[k] = changed(a.numbers[k], k, how);
    if (how != numbers::usual)
        a.detector.reinit(a.pos, a.connect);
    return a;
}

std::uint64_t hash_of(const test::call& c, unsigned cells, numbers how) {
    test::arguments a = arguments_of(c, cells, how);
    hash all;
    all.take(std::uint64_t(c.run(a)));
    for (const test::content& one : test::contents(a)) {
        all.take(one.rows);
        all.take(one.cols);
        if (one.entry % sizeof(double) == 0 && one.which != test::argument::detector)
            all.take_doubles(one.bytes);
        else
            all.take(one.bytes.data(), one.bytes.size());
    }
    return all.value();
}

void print(const std::string& name, std::uint64_t value) {
    std::printf("%-40s %016" PRIx64 "\n", name.c_str(), value);
}

} // namespace

int main(int count, char** arguments) {
    const bool each_call = count > 1 && std::strcmp(arguments[1], "--calls") == 0;
    std::map<std::string, hash> functions;
    for (const test::call& c : test::all_calls())
        for (const unsigned cells : {3u, 9u})
            for (const numbers how : {numbers::usual, numbers::tiny, numbers::huge, numbers::broken}) {
                const std::uint64_t value = hash_of(c, cells, how);
                functions[c.function].take(value);
                if (each_call)
                    print(c.name() + ", " + std::to_string(cells) + ", " + std::to_string(int(how)), value);
            }
    for (const auto& [name, all] : functions)
        if (!each_call)
            print(name, all.value());
    return 0;
}
