#include "common_values.h"

#include <algorithm>
#include <array>

#include "exchange.h"
#include "frame/element_tables.h"

namespace quorl::meldra3d_mpi::detail {

int check_common(std::initializer_list<common_value> values, MPI_Comm comm) {
    // The largest complement is that of the smallest value, so one reduction finds both ends.
    std::array<std::uint64_t, 48> mine{}, largest{};
    std::size_t n = 0;
    for (const common_value& value : values)
        for (const std::uint64_t bits : value.bits) {
            mine[n++] = bits;
            mine[n++] = ~bits;
        }
    if (MPI_Allreduce(mine.data(), largest.data(), static_cast<int>(n), MPI_UINT64_T, MPI_MAX, comm) != MPI_SUCCESS)
        return agree(no_message, comm);
    int status = 0;
    for (std::size_t k = 0; k < n; k += 2)
        if (const int code = (values.begin() + k / 6)->code; largest[k] != ~largest[k + 1])
            status = status == 0 ? code : std::max(status, code);
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
