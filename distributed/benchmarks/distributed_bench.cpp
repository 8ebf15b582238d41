// Measures the collective functions on as many ranks as mpiexec starts.
//   distributed_bench ELEMENTS REPETITIONS
// The meshes have about as many elements before the work as ELEMENTS (the surface a tenth, and ten layers) and are in
// the order of their grid. Rank 0 prints a line of JSON for each work: the time is that of the slowest rank, the least
// of the repetitions; memory is what the rank that needs most takes besides what was there before. Everything is
// gathered and compared with the serial call; where it differs, the program fails.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <string>

#include <meldra3d_mpi/meldra3d_mpi.h>

#include "bench_meshes.h"
#include "traffic.h"

using namespace quorl;
using namespace quorl::meldra3d_mpi;

namespace {

const MPI_Comm world = MPI_COMM_WORLD;
int rank = 0;
int ranks = 1;
bool all_well = true;

double largest(double mine) {
    double all = 0;
    PMPI_Allreduce(&mine, &all, 1, MPI_DOUBLE, MPI_MAX, world);
    return all;
}

double sum(double mine) {
    double all = 0;
    PMPI_Allreduce(&mine, &all, 1, MPI_DOUBLE, MPI_SUM, world);
    return all;
}

/// A line of /proc/self/status in bytes.
double memory(const char* line) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (double kibibytes = 0; word == line && status >> kibibytes)
            return 1024 * kibibytes;
    return 0;
}

/// Makes the highest memory of the process what it is now, and gives that.
double forget_highest_memory() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
    return memory("VmRSS:");
}

void require(bool holds, const char* work, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "%s: %s\n", work, what);
    all_well = false;
}

struct figures {
    double seconds = 1e300;
    double bytes = 0;  ///< sent by all ranks together
    double calls = 0;  ///< collectives of one rank
    double memory = 0; ///< of the rank that needs most
};

/// Calls prepare(), which is not measured, and work(), which returns a status, again and again.
template <class Prepare, class Work>
figures measure(const char* name, int repetitions, Prepare prepare, Work work) {
    figures found;
    for (int k = 0; k < repetitions; ++k) {
        prepare();
        const double before = forget_highest_memory();
        bench::take_traffic();
        PMPI_Barrier(world);
        const double start = MPI_Wtime();
        const int status = work();
        const double seconds = MPI_Wtime() - start;
        const bench::traffic sent = bench::take_traffic();
        require(status == 0, name, "failed");
        found.seconds = std::min(found.seconds, largest(seconds));
        found.memory = largest(memory("VmHWM:") - before);
        found.bytes = sum(double(sent.bytes));
        found.calls = double(sent.calls);
    }
    return found;
}

/// Seconds of a serial call on rank 0, the least of the repetitions; others wait.
template <class Prepare, class Work>
double measure_serial(int repetitions, Prepare prepare, Work work) {
    double least = 1e300;
    for (int k = 0; k < repetitions && rank == 0; ++k) {
        prepare();
        forget_highest_memory(); // as in front of what it is compared with: new memory costs time
        const double start = MPI_Wtime();
        work();
        least = std::min(least, MPI_Wtime() - start);
    }
    PMPI_Barrier(world);
    return least;
}

/// Nodes of the whole mesh that more than one rank has.
double shared_nodes(const distributed_mesh& part) {
    std::vector<bool> shared(part.node_ids.size(), false), below(part.node_ids.size(), false);
    for (std::size_t n = 0; n < part.neighbor_ranks.size(); ++n)
        for (std::uint64_t k = part.first_shared[n]; k < part.first_shared[n + 1]; ++k) {
            shared[part.shared_nodes[k]] = true;
            if (part.neighbor_ranks[n] < rank)
                below[part.shared_nodes[k]] = true;
        }
    double count = 0;
    for (std::size_t j = 0; j < shared.size(); ++j)
        count += shared[j] && !below[j];
    return sum(count);
}

void print(const char* name, const figures& found, double serial, double elements, double shared) {
    if (rank == 0)
        std::printf("{\"work\": \"%s\", \"ranks\": %d, \"elements\": %.0f, \"shared\": %.0f, \"seconds\": %.6g, "
                    "\"serial\": %.6g, \"bytes\": %.0f, \"calls\": %.0f, \"memory\": %.0f}\n",
                    name, ranks, elements, shared, found.seconds, serial, found.bytes, found.calls, found.memory);
    std::fflush(stdout);
}

template <class T>
bool same_bits(const dense2D<T>& a, const dense2D<T>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols())
        return false;
    for (std::size_t j = 0; j < a.cols(); ++j)
        if (std::memcmp(a.col(j), b.col(j), a.rows() * sizeof(T)) != 0)
            return false;
    return true;
}

/// Compares the whole mesh with the serial result on rank 0.
void compare(const char* name, const distributed_mesh& part, const bench::mesh& serial) {
    dense2D<double> pos;
    dense2D<unsigned> connect;
    require(gather(part, pos, connect, world) == 0, name, "was not gathered");
    if (rank == 0)
        require(same_bits(pos, serial.pos) && same_bits(connect, serial.connect), name, "differs from the serial call");
}

unsigned side_of(double elements, double each, double power) {
    return static_cast<unsigned>(std::lround(std::pow(elements / each, 1 / power)));
}

bench::mesh deep(const bench::mesh& mesh) {
    bench::mesh copy;
    copy.pos.copy(mesh.pos);
    copy.connect.copy(mesh.connect);
    return copy;
}

/// Cuts a mesh of rank 0, measured when `names` are given.
distributed_mesh cut(const bench::mesh& mesh, element_type type, int repetitions, bool measured) {
    distributed_mesh part;
    const auto nothing = [] {};
    const auto cut_it = [&] { return partition(mesh.pos, mesh.connect, type, part, world); };
    const figures found = measure("partition", measured ? repetitions : 1, nothing, cut_it);
    if (!measured)
        return part;
    const double shared = shared_nodes(part);
    print("partition", found, 0, double(part.elements), shared);
    const auto find = [&] { return find_shared_nodes(part, world); };
    print("find_shared_nodes", measure("find_shared_nodes", repetitions, nothing, find), 0, double(part.elements),
          shared);
    compare("partition", part, mesh);
    return part;
}

/// Measures a function that works on a part in place, beside the serial one on rank 0.
template <class Work, class Serial>
void measure_in_place(const char* name, const bench::mesh& mesh, const distributed_mesh& part, int repetitions,
                      Work work, Serial serial) {
    distributed_mesh result;
    const figures found = measure(
        name, repetitions, [&] { result = part; }, [&] { return work(result); });
    bench::mesh expected;
    const double seconds = measure_serial(
        repetitions, [&] { expected = deep(mesh); }, [&] { serial(expected); });
    print(name, found, seconds, double(part.elements), shared_nodes(part));
    compare(name, result, expected);
}

void measure_conversion(const bench::mesh& mesh, const distributed_mesh& part, int repetitions) {
    measure_in_place(
        "convert_into_quadratic", mesh, part, repetitions,
        [](distributed_mesh& result) { return convert_into_quadratic(result, world); },
        [](bench::mesh& m) { meldra3d::convert_into_quadratic(m.pos, m.connect); });
}

void measure_split(double elements, int repetitions) {
    bench::mesh mesh;
    if (rank == 0)
        mesh = bench::hexahedra(side_of(elements, 1, 3), bench::order::shuffled);
    measure_in_place(
        "split_into_H8", mesh, cut(mesh, ET_H8, 1, false), repetitions,
        [](distributed_mesh& result) { return split_into_H8(result, world); },
        [](bench::mesh& m) {
            dense2D<unsigned> hexahedra, faces, edges;
            meldra3d::split_into_H8(m.pos, m.connect, hexahedra, faces, edges);
            m.connect = hexahedra;
        });
}

void measure_sweep(double elements, int repetitions) {
    constexpr unsigned layers = 10;
    const vector_fixed<double, 3> up{0, 0, 5};
    bench::mesh mesh;
    if (rank == 0)
        mesh = bench::square(side_of(elements, layers, 2), false, bench::order::shuffled);
    const dense2D<unsigned> edges;
    dense2D<unsigned> sides, cap;
    measure_in_place(
        "extrude_translate", mesh, cut(mesh, ET_Q4, 1, false), repetitions,
        [&](distributed_mesh& result) {
            return extrude_translate(result, up, layers, result, edges, sides, cap, world);
        },
        [&](bench::mesh& m) {
            dense2D<unsigned> solids;
            meldra3d::extrude_translate(m.pos, m.connect, up, layers, solids);
            m.connect = solids;
        });
}

/// A field of two components, of which the first is linear.
void fill_field(const dense2D<double>& pos, dense2D<double>& field) {
    field.resize(2, pos.cols());
    for (std::size_t j = 0; j < pos.cols(); ++j) {
        field(0, j) = 1 + pos(0, j) - 2 * pos(1, j) + 0.5 * pos(2, j);
        field(1, j) = std::sin(0.3 * pos(0, j)) * std::cos(0.2 * pos(1, j)) + pos(2, j);
    }
}

/// The serial interpolation of the field of a mesh to points, search aids included.
void interpolate_serially(const bench::mesh& mesh, const dense2D<double>& points, dense2D<double>& values) {
    dense2D<double> pos, field;
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors, nodes(points.cols(), no_node);
    fill_field(mesh.pos, field);
    pos.copy(mesh.pos);
    pos.resize(3, mesh.pos.cols() + points.cols());
    field.resize(2, pos.cols());
    for (std::size_t k = 0; k < points.cols(); ++k) {
        std::copy_n(points.col(k), 3, pos.col(mesh.pos.cols() + k));
        nodes[k] = static_cast<unsigned>(mesh.pos.cols() + k);
    }
    meldra::get_neighbors(mesh.connect, ET_TH4, false, neighbors);
    meldra::get_ancestors(mesh.connect, ancestors);
    meldra3d::interpolate(pos, mesh.connect, neighbors, ancestors, field, nodes);
    values = field.sub(0, mesh.pos.cols(), 2, points.cols());
}

/// From the mesh to the nodes of another, which is turned and cut by itself.
void measure_interpolation(const bench::mesh& mesh, const distributed_mesh& part, int repetitions) {
    bench::mesh other;
    if (rank == 0) {
        other = deep(mesh);
        const double middle = 0.5 * (std::cbrt(double(mesh.connect.cols()) / 6));
        for (std::size_t j = 0; j < other.pos.cols(); ++j) {
            double* const p = other.pos.col(j);
            const double x = p[0] - middle, y = p[1] - middle, z = p[2] - middle;
            p[0] = middle + 0.66 * (0.8 * x - 0.6 * y);
            p[1] = middle + 0.66 * (0.6 * x + 0.8 * y);
            p[2] = middle + 0.91 * z + 0.0123;
        }
    }
    const distributed_mesh target = cut(other, ET_TH4, 1, false);
    dense2D<double> field, values, gathered, expected;
    dense1D<std::uint64_t> elements;
    fill_field(part.pos, field);
    const figures found = measure(
        "interpolate", repetitions, [] {},
        [&] { return interpolate(part, field, target.pos, values, elements, world); });
    const double seconds = measure_serial(
        repetitions, [] {}, [&] { interpolate_serially(mesh, other.pos, expected); });
    print("interpolate", found, seconds, double(part.elements), shared_nodes(part));

    require(gather_field(values, target, gathered, world) == 0, "interpolate", "was not gathered");
    // A point within the tolerance of a face may be found on either side, where the field is not quite the same unless
    // it is linear.
    const double most[2] = {1e-10, 1e-5};
    double difference[2] = {};
    for (std::size_t j = 0; rank == 0 && j < gathered.cols(); ++j)
        for (std::size_t i = 0; i < 2; ++i)
            difference[i] = std::max(difference[i], std::abs(gathered(i, j) - expected(i, j)));
    require(difference[0] < most[0] && difference[1] < most[1], "interpolate", "differs from the serial call");
}

} // namespace

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    MPI_Comm_rank(world, &rank);
    MPI_Comm_size(world, &ranks);
    const double elements = argc > 1 ? std::atof(argv[1]) : 1e6;
    const int repetitions = argc > 2 ? std::atoi(argv[2]) : 3;

    bench::mesh mesh;
    if (rank == 0)
        mesh = bench::tetrahedra(side_of(elements, 6, 3), bench::order::shuffled);
    const distributed_mesh part = cut(mesh, ET_TH4, repetitions, true);
    measure_conversion(mesh, part, repetitions);
    measure_interpolation(mesh, part, repetitions);
    measure_split(elements, repetitions);
    measure_sweep(elements, repetitions);
    const bool well_on_all = largest(all_well ? 0 : 1) == 0;
    MPI_Finalize();
    return well_on_all ? 0 : 1;
}
