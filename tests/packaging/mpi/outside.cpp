// A program outside the project, run on any number of ranks: cuts a row of cubes, and puts it together again.
#include <meldra3d_mpi/meldra3d_mpi.h>

#include <cstring>

int main(int argc, char** argv) {
    using namespace quorl;
    MPI_Init(&argc, &argv);
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);

    dense2D<double> pos;
    dense2D<unsigned> cubes;
    if (rank == 0) {
        pos.resize(3, 4, 0.0);
        pos(0, 1) = pos(0, 2) = pos(1, 2) = pos(1, 3) = 1;
        dense2D<unsigned> square(4, 1);
        for (unsigned i = 0; i < 4; ++i)
            square(i, 0) = i;
        const vector_fixed<double, 3> up{0, 0, 12};
        meldra3d::extrude_translate(pos, square, up, 12, cubes);
    }
    meldra3d_mpi::distributed_mesh part;
    dense2D<double> gathered_pos;
    dense2D<unsigned> gathered;
    const bool done = meldra3d_mpi::partition(pos, cubes, ET_H8, part, MPI_COMM_WORLD) == 0 &&
                      meldra3d_mpi::gather(part, gathered_pos, gathered, MPI_COMM_WORLD) == 0;
    bool same = part.elements == 12 && gathered.cols() == cubes.cols() && gathered_pos.cols() == pos.cols();
    for (std::size_t j = 0; same && j < cubes.cols(); ++j)
        same = std::memcmp(gathered.col(j), cubes.col(j), 8 * sizeof(unsigned)) == 0;
    for (std::size_t j = 0; same && j < pos.cols(); ++j)
        same = std::memcmp(gathered_pos.col(j), pos.col(j), 3 * sizeof(double)) == 0;
    MPI_Finalize();
    return done && same ? 0 : 1;
}
