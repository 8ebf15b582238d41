#include "common_values.h"

#include <array>

#include "exchange.h"
#include "frame/element_tables.h"

namespace quorl::meldra3d_mpi::detail {

int check_common(std::initializer_list<common_value> values, MPI_Comm comm) {
    // The largest complement is that of the smallest value, so one reduction finds both ends.
    std::array<std::uint64_t, 32> mine{}, largest{};
    std::size_t n = 0;
    for (const common_value& value : values) {
        mine[n++] = value.bits;
        mine[n++] = ~value.bits;
    }
    if (MPI_Allreduce(mine.data(), largest.data(), static_cast<int>(n), MPI_UINT64_T, MPI_MAX, comm) != MPI_SUCCESS)
        return agree(no_message, comm);
    int status = 0;
    n = 0;
    for (const common_value& value : values) {
        if (largest[n] != ~largest[n + 1] && (status == 0 || value.code > status))
            status = value.code;
        n += 2;
    }
    return status;
}

std::size_t common_rows(const distributed_mesh& part, MPI_Comm comm) {
    const std::uint64_t rows = part.connectivity.empty() ? 0 : part.connectivity.rows();
    const std::uint64_t most = largest_of_all(rows, comm);
    const std::uint64_t least = ~largest_of_all(rows == 0 ? 0 : ~rows, comm);
    if (most == 0 || most == least)
        return most;
    return part.type == ET_SOLID_MIX ? meldra3d::detail::rows_of(ET_SOLID_MIX) : most;
}

} // namespace quorl::meldra3d_mpi::detail
