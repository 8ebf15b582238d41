#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <initializer_list>

#include <mpi.h>

namespace quorl::meldra3d_mpi::detail {

/// A value that all ranks have to give alike, as bits, and the status where they do not.
struct common_value {
    std::uint64_t bits;
    int code;
};

template <std::unsigned_integral Count>
common_value common(Count value, int code) {
    return {value, code};
}
inline common_value common(double value, int code) {
    return {std::bit_cast<std::uint64_t>(value), code};
}

/// 0 when each value is the same on all ranks, otherwise the code nearest to 0 of those that are not; the same on all
/// ranks. At most 16 values; collective over `comm`.
int check_common(std::initializer_list<common_value> values, MPI_Comm comm);

} // namespace quorl::meldra3d_mpi::detail
