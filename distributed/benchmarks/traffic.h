#pragma once

#include <cstdint>

// What the collectives of MPI send: the profiling interface lets a program put functions of its own before them, so
// that the library need not count.
namespace bench {

struct traffic {
    std::uint64_t bytes = 0; ///< for other ranks, as the caller of MPI sees them
    std::uint64_t calls = 0;
};

/// Of this rank since the last call.
traffic take_traffic();

} // namespace bench
