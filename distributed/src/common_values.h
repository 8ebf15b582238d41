#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include <meldra3d_mpi/meldra3d_mpi.h>

namespace quorl::meldra3d_mpi::detail {

/// A value that all ranks have to give alike, as bits, and the status where they do not.
struct common_value {
    common_value(double value, int status) : bits{std::bit_cast<std::uint64_t>(value)}, code(status) {}
    common_value(const vector_fixed<double, 3>& value, int status)
        : bits(std::bit_cast<std::array<std::uint64_t, 3>>(value)), code(status) {}
    template <std::unsigned_integral Count>
    common_value(Count value, int status) : bits{value}, code(status) {}

    std::array<std::uint64_t, 3> bits;
    int code;
};

/// 0 when each value is the same on all ranks, otherwise the code nearest to 0 of those that are not; the same on all
/// ranks. At most 8 values; collective over `comm`.
int check_common(std::initializer_list<common_value> values, MPI_Comm comm);

/// The rows in which the elements of all parts are listed alike; 0 when no rank has any. Parts of a mixed mesh may have
/// fewer rows than others, where they hold one kind: all are then listed in the rows of the type. Collective.
std::size_t common_rows(const distributed_mesh& part, MPI_Comm comm);

} // namespace quorl::meldra3d_mpi::detail
