#pragma once

#include <cstddef>
#include <random>

namespace test {

/// Random numbers that are the same on every machine and with every library: dice(n) is below n.
class dice {
public:
    explicit dice(unsigned seed) : engine_(seed) {}
    unsigned operator()(std::size_t n) { return static_cast<unsigned>(engine_() % n); }

private:
    std::mt19937 engine_;
};

} // namespace test
