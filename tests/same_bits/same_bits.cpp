// Prints a hash of all results of each function: statuses and every bit of every argument after the calls of
// tests/calls, on small meshes and on some of a few thousand elements. Builds by different compilers and at different
// levels of optimisation have to print the same. With --calls: a hash of each call, to find the one that differs.

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

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

    void take(std::uint64_t number) { take(&number, sizeof number); }

    std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 0xCBF29CE484222325u;
};

std::uint64_t hash_of(const test::call& c, unsigned cells) {
    test::arguments a = c.make(cells);
    hash all;
    all.take(std::uint64_t(c.run(a)));
    for (const test::content& one : test::contents(a)) {
        all.take(one.rows);
        all.take(one.cols);
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
        for (const unsigned cells : {3u, 9u}) {
            const std::uint64_t value = hash_of(c, cells);
            functions[c.function].take(value);
            if (each_call)
                print(c.name() + ", " + std::to_string(cells), value);
        }
    for (const auto& [name, all] : functions)
        if (!each_call)
            print(name, all.value());
    return 0;
}
