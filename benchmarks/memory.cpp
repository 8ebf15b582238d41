// The most memory that a call holds at a time, on meshes of five million elements, against what it is given and gives
// back. Linux.
//     memory          lists the cases
//     memory CASE     runs one and prints a line of JSON: bytes of its inputs and of its outputs, the peak of the
//                     resident size beyond what the process holds without the mesh, and the number of edges and faces
//                     for which a conversion keeps tables
// One case in a process, as freed memory stays with it.

#include <cstdio>
#include <cstdlib>
#include <map>

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include "harness.h"
#include "points.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::order;

constexpr std::size_t elements = bench::five_million;
constexpr unsigned layers = 10;

[[noreturn]] void fail(const char* why) {
    std::fprintf(stderr, "memory: %s\n", why);
    std::exit(1);
}

std::size_t resident() {
    std::size_t all = 0, pages = 0;
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    if (!file || std::fscanf(file, "%zu %zu", &all, &pages) != 2)
        fail("no resident size to read");
    std::fclose(file);
    return pages * std::size_t(sysconf(_SC_PAGESIZE));
}

/// From here on the peak is that of what comes.
void forget_the_peak() {
    std::FILE* const file = std::fopen("/proc/self/clear_refs", "w");
    if (!file || std::fputs("5", file) < 0 || std::fclose(file) != 0)
        fail("the peak of the resident size cannot be set back");
}

std::size_t peak() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return std::size_t(used.ru_maxrss) * 1024;
}

struct result {
    int status;
    std::size_t outputs; ///< bytes
    std::size_t edges_and_faces = 0;
};

template <class Call>
void run(std::size_t inputs, Call call) {
    malloc_trim(0);
    const std::size_t before = resident();
    forget_the_peak();
    const result r = call();
    const std::size_t most = peak();
    if (r.status < 0)
        fail("the call failed");
    std::printf("{\"inputs\": %zu, \"outputs\": %zu, \"peak\": %zu, \"edges_and_faces\": %zu}\n", inputs, r.outputs,
                inputs + (most > before ? most - before : 0), r.edges_and_faces);
}

std::size_t size_of(const mesh& m) {
    return bytes_of(m.pos) + bytes_of(m.connect);
}

/// With arrays that nothing else holds.
mesh own(const char* kind, std::size_t n = elements) {
    mesh m = bench::mesh_of(kind, order::grid, n);
    bench::forget_meshes();
    return m;
}

void quadratic(const char* kind) {
    mesh m = own(kind);
    run(size_of(m), [&] {
        const std::size_t nodes = m.pos.cols();
        const int status = meldra3d::convert_into_quadratic(m.pos, m.connect);
        const std::size_t inside = m.connect.rows() == 27 ? m.connect.cols() : 0; // a node of each hexahedron
        return result{status, size_of(m), m.pos.cols() - nodes - inside};
    });
}

void linear(const char* kind) {
    mesh m = own(kind);
    run(bytes_of(m.connect), [&] {
        const int status = meldra3d::convert_into_linear(m.connect);
        return result{status, 0}; // in place
    });
}

void high_order() {
    mesh m = own("TH4");
    dense2D<unsigned> none, refined;
    run(size_of(m), [&] {
        const std::size_t nodes = m.pos.cols();
        const int status =
            meldra3d::convert_into_high_order(m.pos, m.connect, 1, 1, 1, 1, 1, 1, 1, refined, none, none);
        return result{status, bytes_of(m.pos) + bytes_of(refined), m.pos.cols() - nodes - m.connect.cols()};
    });
}

void into_H8() {
    mesh m = own("TH4", elements / 4);
    dense2D<unsigned> none, hexahedra;
    run(size_of(m), [&] {
        const std::size_t nodes = m.pos.cols();
        const int status = meldra3d::split_into_H8(m.pos, m.connect, hexahedra, none, none);
        return result{status, bytes_of(m.pos) + bytes_of(hexahedra), m.pos.cols() - nodes - m.connect.cols()};
    });
}

void cut_quadrangles() {
    mesh m = own("H8");
    dense2D<unsigned> quadrangles(4, m.connect.cols() / 500), out;
    for (std::size_t k = 0; k < quadrangles.cols(); ++k)
        std::copy_n(m.connect.col(500 * k), 4, quadrangles.col(k));
    dense1D<unsigned> diagonals(quadrangles.cols(), 0u), failed;
    run(size_of(m) + bytes_of(quadrangles) + bytes_of(diagonals), [&] {
        const int status = meldra3d::split_solid_Q4(m.pos, m.connect, quadrangles, diagonals, 0, failed, out);
        return result{failed.empty() ? status : -1, bytes_of(m.pos) + bytes_of(out)};
    });
}

template <class Sweep>
void sweep(Sweep call) {
    mesh m = own("Q4", elements / layers);
    dense2D<unsigned> solids;
    run(size_of(m), [&] {
        const int status = call(m, solids);
        return result{status, bytes_of(m.pos) + bytes_of(solids)};
    });
}

void sweep_along_a_line() {
    mesh m = own("Q4", elements / layers);
    dense1D<unsigned> line;
    for (unsigned k = 0; k <= layers; ++k) {
        const double node[] = {0, 0, double(k)};
        line.push_back(unsigned(m.pos.cols()));
        m.pos.append(node);
    }
    dense2D<double> metrics;
    dense2D<unsigned> solids;
    run(size_of(m), [&] {
        const int status = meldra3d::extrude_line(m.pos, m.connect, line, {0, 0, 1}, metrics, solids);
        return result{status, bytes_of(m.pos) + bytes_of(solids)};
    });
}

void flip() {
    mesh m = own("TH4");
    run(bytes_of(m.connect), [&] {
        return result{meldra3d::flip_TH4(m.connect), 0}; // in place
    });
}

template <class Call>
void measures(Call call) {
    const mesh m = own("TH4");
    run(size_of(m), [&] { return call(m); });
}

/// The first triangles of elements, one in a thousand: a surface of separate faces.
void open_surface() {
    mesh m = own("TH4");
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    dense2D<unsigned> surface(3, m.connect.cols() / 1000);
    for (std::size_t k = 0; k < surface.cols(); ++k) {
        const unsigned* const nodes = m.connect.col(1000 * k);
        const unsigned face[] = {nodes[1], nodes[2], nodes[3]};
        std::copy_n(face, 3, surface.col(k));
    }
    if (meldra::get_neighbors(m.connect, ET_TH4, true, neighbors) != 0 ||
        meldra::get_ancestors(m.connect, ancestors) != 0)
        fail("no neighbours");
    run(size_of(m) + bytes_of(neighbors) + bytes_of(ancestors) + bytes_of(surface), [&] {
        const int status =
            meldra3d::duplicate_surface_nodes(m.pos, m.connect, neighbors, ancestors, surface, {}, true, true, ET_TH4);
        return result{status, size_of(m)};
    });
}

/// A mesh and as many nodes beside it as it has elements, with values at all of them.
struct search {
    mesh m = own("TH4");
    std::size_t mesh_nodes = m.pos.cols();
    dense2D<double> points = bench::points_in(m, m.connect.cols());
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    dense1D<unsigned> nodes = dense1D<unsigned>(points.cols());

    search() {
        if (meldra::get_neighbors(m.connect, ET_TH4, true, neighbors) != 0 ||
            meldra::get_ancestors(m.connect, ancestors) != 0)
            fail("no neighbours");
        std::iota(nodes.data(), nodes.data() + nodes.size(), unsigned(mesh_nodes));
    }

    std::size_t size() const { return size_of(m) + bytes_of(neighbors) + bytes_of(ancestors); }

    /// The points as nodes behind those of the mesh.
    void add_nodes() {
        m.pos.resize(3, mesh_nodes + points.cols());
        std::copy_n(points.data(), points.size(), m.pos.col(mesh_nodes));
        ancestors.resize(m.pos.cols(), no_node);
        points.clear();
    }
};

void find_points() {
    search s;
    const std::size_t before = resident();
    meldra::node_detector detector;
    if (detector.reinit(s.m.pos, s.m.connect) != 0)
        fail("no detector");
    malloc_trim(0);
    const std::size_t size_of_detector = resident() - before;
    dense1D<unsigned> found;
    dense2D<double> local;
    run(s.size() + bytes_of(s.points) + size_of_detector, [&] {
        const int status = meldra3d::get_elements_containing_points(s.m.pos, s.m.connect, s.neighbors, s.ancestors,
                                                                    detector, ET_TH4, s.points, found, local, 1e-6);
        return result{status, bytes_of(found) + bytes_of(local)};
    });
}

/// With the aids that it makes inside counted as outputs: a caller of the form above has to hold them.
void find_nodes() {
    search s;
    s.add_nodes();
    const std::size_t aids = bytes_of(s.neighbors) + s.mesh_nodes * (sizeof(unsigned) + 40);
    s.neighbors.clear();
    s.ancestors.clear();
    dense1D<unsigned> found;
    dense2D<double> local;
    run(size_of(s.m) + bytes_of(s.nodes), [&] {
        const int status =
            meldra3d::get_elements_containing_nodes(s.m.pos, s.m.connect, ET_TH4, s.nodes, found, local, 1e-6);
        return result{status, bytes_of(found) + bytes_of(local) + aids};
    });
}

void interpolate(std::size_t rows) {
    search s;
    s.add_nodes();
    dense2D<double> field(rows, s.m.pos.cols(), 0.0);
    for (std::size_t v = 0; v < s.mesh_nodes; ++v)
        field(0, v) = field(2, v) = field(rows - 1, v) = 1 + double(v % 7);
    run(s.size() + bytes_of(field) + bytes_of(s.nodes), [&] {
        const int status =
            rows == 6
                ? meldra3d::interpolate_metrics(s.m.pos, s.m.connect, s.neighbors, s.ancestors, field, s.nodes, false)
                : meldra3d::interpolate(s.m.pos, s.m.connect, s.neighbors, s.ancestors, field, s.nodes);
        return result{status, 0}; // in place
    });
}

void detector() {
    const mesh m = own("TH4");
    meldra::node_detector made;
    run(size_of(m), [&] {
        const std::size_t before = resident();
        const int status = made.reinit(m.pos, m.connect);
        malloc_trim(0);
        return result{status, resident() - before};
    });
}

/// Every second node is unused.
void simplify() {
    mesh m = own("TH4");
    m.pos.resize(3, 2 * m.pos.cols());
    std::fill_n(m.pos.data(), m.pos.size(), 1.0);
    for (std::size_t k = 0; k < m.connect.size(); ++k)
        m.connect.data()[k] *= 2;
    dense1D<unsigned> new_ids;
    run(size_of(m), [&] {
        const int status = meldra::simplify(m.pos, &m.connect, &m.connect + 1, new_ids, 0);
        return result{status, bytes_of(new_ids)}; // the rest in place
    });
}

void normals() {
    const mesh m = own("Q4");
    dense2D<double> out;
    run(size_of(m), [&] {
        const int status = meldra2d::normals(m.pos, m.connect, 0, true, out);
        return result{status, bytes_of(out)};
    });
}

using angles = int (*)(const dense2D<double>&, const dense2D<unsigned>&, bool, dense1D<double>&, dense1D<double>&);

result angles_of(angles call, const mesh& m) {
    dense1D<double> least(m.connect.cols()), most(m.connect.cols());
    const int status = call(m.pos, m.connect, false, least, most);
    return {status, bytes_of(least) + bytes_of(most)};
}

const std::map<std::string, void (*)()> cases{
    {"check_IDs",
     [] {
         measures([](const mesh& m) {
             return result{meldra::check_IDs(m.connect, ET_TH4, unsigned(m.pos.cols())) ? 0 : -1, 0};
         });
     }},
    {"circumcenters",
     [] {
         measures([](const mesh& m) {
             dense2D<double> centers;
             const int status = meldra3d::circumcenters(m.pos, m.connect, centers);
             return result{status, bytes_of(centers)};
         });
     }},
    {"convert_into_high_order/TH4", high_order},
    {"convert_into_linear/H27", [] { linear("H27"); }},
    {"convert_into_linear/TH10", [] { linear("TH10"); }},
    {"convert_into_quadratic/H8", [] { quadratic("H8"); }},
    {"convert_into_quadratic/TH4", [] { quadratic("TH4"); }},
    {"dihedral_angles", [] { measures([](const mesh& m) { return angles_of(meldra3d::dihedral_angles, m); }); }},
    {"duplicate_surface_nodes", open_surface},
    {"extrude_line", sweep_along_a_line},
    {"extrude_normal",
     [] {
         sweep([](mesh& m, dense2D<unsigned>& solids) {
             return meldra3d::extrude_normal(m.pos, m.connect, 1.0, layers, solids);
         });
     }},
    {"extrude_rotate",
     [] {
         sweep([](mesh& m, dense2D<unsigned>& solids) {
             return meldra3d::extrude_rotate(m.pos, m.connect, {-1, 0, 0}, {0, 1.5, 0}, layers, solids);
         });
     }},
    {"extrude_spiral",
     [] {
         sweep([](mesh& m, dense2D<unsigned>& solids) {
             return meldra3d::extrude_spiral(m.pos, m.connect, {-1, 0, 0}, {0, 15, 0}, {0, 2000, 0}, layers, solids);
         });
     }},
    {"extrude_translate",
     [] {
         sweep([](mesh& m, dense2D<unsigned>& solids) {
             return meldra3d::extrude_translate(m.pos, m.connect, {0, 0, 1}, layers, solids);
         });
     }},
    {"flip", flip},
    {"get_ancestors",
     [] {
         measures([](const mesh& m) {
             dense1D<unsigned> ancestors;
             const int status = meldra::get_ancestors(m.connect, ancestors);
             return result{status, bytes_of(ancestors)};
         });
     }},
    {"get_elements_containing_nodes", find_nodes},
    {"get_elements_containing_points", find_points},
    {"get_neighbors",
     [] {
         measures([](const mesh& m) {
             dense2D<unsigned> neighbors;
             const int status = meldra::get_neighbors(m.connect, ET_TH4, true, neighbors);
             return result{status, bytes_of(neighbors)};
         });
     }},
    {"interpolate", [] { interpolate(3); }},
    {"interpolate_metrics", [] { interpolate(6); }},
    {"node_detector", detector},
    {"normals", normals},
    {"simplify", simplify},
    {"solid_angles", [] { measures([](const mesh& m) { return angles_of(meldra3d::solid_angles, m); }); }},
    {"split_into_H8", into_H8},
    {"split_solid_Q4", cut_quadrangles},
    {"volume",
     [] {
         measures([](const mesh& m) {
             double volume = 0;
             return result{meldra3d::volume(m.pos, m.connect, volume), sizeof volume};
         });
     }},
};

} // namespace

int main(int argc, char** argv) {
    if (argc == 1) {
        for (const auto& [name, call] : cases)
            std::puts(name.c_str());
        return 0;
    }
    const auto found = cases.find(argv[1]);
    if (argc != 2 || found == cases.end())
        fail("no such case");
    mallopt(M_MMAP_THRESHOLD, 1 << 20); // blocks that are freed leave the process at once
    found->second();
}
