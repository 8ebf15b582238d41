// Cuts a mesh that rank 0 holds, measures it and raises its order, each process its own part.
#include <cstdio>

#include <meldra3d_mpi/meldra3d_mpi.h>

using namespace quorl;

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    double xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1};
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    dense2D<double> pos;
    dense2D<unsigned> cells;
    if (rank == 0) { // others leave theirs empty
        pos = dense2D<double>::view(xyz, 3, 8, 3);
        cells = dense2D<unsigned>::view(ids, 4, 6, 4);
    }
    meldra3d_mpi::distributed_mesh part;
    double volume = 0;
    int status = meldra3d_mpi::partition(pos, cells, ET_TH4, part, MPI_COMM_WORLD);
    status |= meldra3d_mpi::volume(part, volume, MPI_COMM_WORLD);
    status |= meldra3d_mpi::convert_into_quadratic(part, MPI_COMM_WORLD);
    if (rank == 0)
        std::printf("volume %.2f, %d nodes, %zu elements here\n", volume, int(part.nodes), part.element_ids.size());
    MPI_Finalize();
    return status;
}
// prints: volume 1.00, 27 nodes, 3 elements here
