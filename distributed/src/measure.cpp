// Totals of measures: each rank measures its part with the library, and one message brings the results together.

#include <algorithm>
#include <limits>

#include "check_part.h"
#include "exchange.h"

namespace quorl::meldra3d_mpi {

namespace {

using namespace detail;

int check(const distributed_mesh& mesh, MPI_Comm comm) {
    switch (mesh.type) {
    case ET_TH4:
    case ET_PY5:
    case ET_W6:
    case ET_H8:
    case ET_SOLID_MIX:
        return agree_on_part(check_part(mesh, comm), mesh, comm);
    default:
        return agree_on_part(-2, mesh, comm);
    }
}

/// The extreme angles of all parts. angles(pos, connectivity, normalized, min_angles, max_angles) is that of the
/// library.
template <class Angles>
int extreme_angles(const distributed_mesh& mesh, bool normalized, double& smallest, double& largest,
                   const Angles& angles, MPI_Comm comm) {
    if (const int status = check(mesh, comm); status < 0)
        return status;
    constexpr std::size_t block = 4096; // the elements go block by block, for which little memory is needed
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const dense2D<unsigned int>& connect = mesh.connectivity;
    const std::size_t elements = mesh.element_ids.size();
    dense1D<double> least(std::min(elements, block)), most(least.size());
    double extremes[2] = {infinity, infinity}; // the smallest, and minus the largest
    int status = least.size() == std::min(elements, block) && most.size() == least.size() ? 0 : no_memory;
    for (std::size_t first = 0; first < elements && status == 0; first += block) {
        const std::size_t count = std::min(block, elements - first);
        status = angles(mesh.pos, connect.sub(0, first, connect.rows(), count), normalized, least, most);
        for (std::size_t k = 0; k < count; ++k) {
            extremes[0] = least[k] < extremes[0] ? least[k] : extremes[0];
            extremes[1] = -most[k] < extremes[1] ? -most[k] : extremes[1];
        }
    }
    status = agree(status, comm);
    if (status < 0)
        return status;
    double of_all[2];
    if (MPI_Allreduce(extremes, of_all, 2, MPI_DOUBLE, MPI_MIN, comm) != MPI_SUCCESS)
        return no_message;
    smallest = of_all[0];
    largest = -of_all[1];
    return 0;
}

} // namespace

int volume(const distributed_mesh& mesh, double& vol, MPI_Comm comm) {
    if (const int status = check(mesh, comm); status < 0)
        return status;
    dense1D<double, 8> volumes(static_cast<std::size_t>(size_of(comm)));
    double own = 0;
    int status = meldra3d::volume(mesh.pos, mesh.connectivity, own);
    if (volumes.empty())
        status = no_memory;
    status = agree(status, comm);
    if (status < 0)
        return status;
    if (MPI_Allgather(&own, 1, MPI_DOUBLE, volumes.data(), 1, MPI_DOUBLE, comm) != MPI_SUCCESS)
        return no_message;
    double sum = 0;
    for (const double one : volumes)
        sum += one;
    vol = sum;
    return 0;
}

int solid_angles(const distributed_mesh& mesh, bool normalized, double& smallest, double& largest, MPI_Comm comm) {
    return extreme_angles(mesh, normalized, smallest, largest, meldra3d::solid_angles, comm);
}

int dihedral_angles(const distributed_mesh& mesh, bool normalized, double& smallest, double& largest, MPI_Comm comm) {
    return extreme_angles(mesh, normalized, smallest, largest, meldra3d::dihedral_angles, comm);
}

} // namespace quorl::meldra3d_mpi
