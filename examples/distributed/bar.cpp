// A field carried between two meshes of a bent and twisted bar that are cut differently, on any number of ranks.
//
//   mpiexec -n 2 bar FOLDER
//
// Rank 0 makes a coarse mesh, which carries a field, and a fine one. The coarse one is cut into slabs along the bar,
// the fine one by Scotch; the fine one becomes quadratic, and its nodes take the values of the field. Each rank writes
// its parts to FOLDER, from which draw.py makes a picture. Rank 0 compares with what one process would get, and the
// program fails when something differs.

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <meldra3d_mpi/meldra3d_mpi.h>

using namespace quorl;
namespace mpi = quorl::meldra3d_mpi;

namespace {

const MPI_Comm world = MPI_COMM_WORLD;
constexpr double pi = 3.141592653589793;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned> tetrahedra;
};

/// Where a point of a box lies in the bar: (u, w) from -1 to 1 across it, t from 0 to 1 along it.
std::array<double, 3> in_bar(double u, double t, double w) {
    const double twist = 0.75 * pi * t, angle = 1.2 * pi * t;
    const double across = u * std::cos(twist) - w * std::sin(twist);
    const double up = u * std::sin(twist) + w * std::cos(twist);
    return {(3 + across) * std::cos(angle), (3 + across) * std::sin(angle), up};
}

/// A bar of n x 6 n x n cells, each cut into six tetrahedra around a diagonal.
mesh make_bar(unsigned n) {
    constexpr unsigned pieces[6][4] = {{0, 2, 1, 6}, {0, 3, 2, 6}, {0, 7, 3, 6},
                                       {0, 4, 7, 6}, {0, 5, 4, 6}, {0, 1, 5, 6}};
    const unsigned length = 6 * n;
    mesh bar{dense2D<double>(3, 0), dense2D<unsigned>(4, 0)};
    for (unsigned k = 0; k <= n; ++k)
        for (unsigned j = 0; j <= length; ++j)
            for (unsigned i = 0; i <= n; ++i)
                bar.pos.append(in_bar(2.0 * i / n - 1, double(j) / length, 2.0 * k / n - 1).data());
    const auto node = [&](unsigned i, unsigned j, unsigned k) { return i + (n + 1) * (j + (length + 1) * k); };
    for (unsigned k = 0; k < n; ++k)
        for (unsigned j = 0; j < length; ++j)
            for (unsigned i = 0; i < n; ++i) {
                const unsigned corner[8] = {
                    node(i, j, k),     node(i + 1, j, k),     node(i + 1, j + 1, k),     node(i, j + 1, k),
                    node(i, j, k + 1), node(i + 1, j, k + 1), node(i + 1, j + 1, k + 1), node(i, j + 1, k + 1)};
                for (const auto& piece : pieces) {
                    const unsigned column[4] = {corner[piece[0]], corner[piece[1]], corner[piece[2]], corner[piece[3]]};
                    bar.tetrahedra.append(column);
                }
            }
    return bar;
}

/// A value for the picture, and a linear one, which interpolation must reproduce.
dense2D<double> field_at(const dense2D<double>& pos) {
    dense2D<double> field(2, pos.cols());
    for (std::size_t j = 0; j < pos.cols(); ++j) {
        const double* const p = pos.col(j);
        field(0, j) = std::sin(1.7 * p[0] + 0.4 * p[1]) + std::cos(1.3 * p[1]) + 0.3 * p[2];
        field(1, j) = 1 + 2 * p[0] - 3 * p[1] + 0.5 * p[2];
    }
    return field;
}

/// The rank of each element when a bar of n x 6 n x n cells is cut lengthwise into strips.
dense1D<int> strips(const mesh& bar, unsigned n, int ranks) {
    dense1D<int> owners(bar.tetrahedra.cols(), 0);
    for (std::size_t j = 0; j < owners.size(); ++j)
        owners[j] = int(j / 6 % n * std::size_t(ranks) / n); // six tetrahedra a cell, n cells across
    return owners;
}

/// The part and a value at each of its nodes, as text: numbers of nodes and elements, then a line for each.
bool write(const std::string& file, const mpi::distributed_mesh& part, const dense2D<double>& values) {
    std::FILE* const out = std::fopen(file.c_str(), "w");
    if (!out)
        return false;
    std::fprintf(out, "%zu %zu\n", part.pos.cols(), part.connectivity.cols());
    for (std::size_t j = 0; j < part.pos.cols(); ++j)
        std::fprintf(out, "%.9g %.9g %.9g %.9g\n", part.pos(0, j), part.pos(1, j), part.pos(2, j), values(0, j));
    for (std::size_t j = 0; j < part.connectivity.cols(); ++j)
        std::fprintf(out, "%u %u %u %u\n", part.connectivity(0, j), part.connectivity(1, j), part.connectivity(2, j),
                     part.connectivity(3, j));
    return std::fclose(out) == 0;
}

/// Whether two matrices have the same bits.
template <class T>
bool same(const dense2D<T>& a, const dense2D<T>& b) {
    bool all = a.rows() == b.rows() && a.cols() == b.cols();
    for (std::size_t j = 0; all && j < a.cols(); ++j)
        all = std::memcmp(a.col(j), b.col(j), a.rows() * sizeof(T)) == 0;
    return all;
}

/// Whether the gathered mesh is the one that a single process makes of the bar; said on rank 0.
bool is_serial_one(const mpi::distributed_mesh& part, mesh bar) {
    dense2D<double> pos;
    dense2D<unsigned> elements;
    const bool gathered = mpi::gather(part, pos, elements, world) == 0;
    if (bar.tetrahedra.empty())
        return gathered; // another rank than 0
    return gathered && meldra3d::convert_into_quadratic(bar.pos, bar.tetrahedra) == 0 && same(pos, bar.pos) &&
           same(elements, bar.tetrahedra);
}

/// What one rank finds of the nodes of its part, then summed up over all.
struct outcome {
    double nodes = 0, found = 0, linear_error = 0, error = 0;

    void take(const dense2D<double>& values, const dense2D<double>& expected, const dense1D<std::uint64_t>& elements) {
        nodes = double(values.cols());
        for (std::size_t j = 0; j < values.cols(); ++j) {
            if (elements[j] == mpi::no_id)
                continue;
            ++found;
            linear_error = std::max(linear_error, std::abs(values(1, j) - expected(1, j)));
            error = std::max(error, std::abs(values(0, j) - expected(0, j)));
        }
    }

    void sum_up() {
        double sums[2] = {nodes, found}, most[2] = {linear_error, error};
        MPI_Allreduce(MPI_IN_PLACE, sums, 2, MPI_DOUBLE, MPI_SUM, world);
        MPI_Allreduce(MPI_IN_PLACE, most, 2, MPI_DOUBLE, MPI_MAX, world);
        nodes = sums[0], found = sums[1], linear_error = most[0], error = most[1];
    }
};

int run(const std::string& folder, int rank, int ranks) {
    mesh coarse, fine;
    dense2D<double> whole_field;
    dense1D<int> owners;
    if (rank == 0) {
        coarse = make_bar(4);
        fine = make_bar(10);
        whole_field = field_at(coarse.pos);
        owners = strips(coarse, 4, ranks);
    }
    mpi::distributed_mesh source, target;
    dense2D<double> field, values;
    dense1D<std::uint64_t> elements;
    double volume = 0;
    int status = mpi::distribute(coarse.pos, coarse.tetrahedra, ET_TH4, owners, source, world);
    status |= mpi::scatter_field(whole_field, source, field, world);
    status |= mpi::partition(fine.pos, fine.tetrahedra, ET_TH4, target, world);
    status |= mpi::volume(target, volume, world);
    status |= mpi::convert_into_quadratic(target, world);
    status |= mpi::interpolate(source, field, target.pos, values, elements, world);
    if (status != 0)
        return 1;

    const std::string end = std::to_string(rank) + ".txt";
    const bool written =
        write(folder + "/source_" + end, source, field) && write(folder + "/target_" + end, target, values);
    const bool serial = is_serial_one(target, fine);
    outcome all;
    all.take(values, field_at(target.pos), elements);
    std::printf("rank %d: %zu tetrahedra and %zu nodes of the coarse mesh, %zu and %zu of the fine one, %zu shared\n",
                rank, source.element_ids.size(), source.node_ids.size(), target.element_ids.size(),
                target.node_ids.size(), target.shared_nodes.size());
    all.sum_up();
    if (rank == 0)
        std::printf(
            "volume %.4f, %d nodes, %s as in one process; %.0f of %.0f points found, where the field differs by %.2g "
            "from what it is and a linear one by %.1g\n",
            volume, int(target.nodes), serial ? "the same" : "NOT the same", all.found, all.nodes, all.error,
            all.linear_error);
    return written && serial && all.linear_error < 1e-12 && all.found > 0.7 * all.nodes ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    int rank = 0, ranks = 1;
    MPI_Comm_rank(world, &rank);
    MPI_Comm_size(world, &ranks);
    const int mine = run(argc > 1 ? argv[1] : ".", rank, ranks);
    int result = 1;
    MPI_Allreduce(&mine, &result, 1, MPI_INT, MPI_MAX, world);
    MPI_Finalize();
    return result;
}
