// Cuts a mesh with Scotch (F. Pellegrini, "Static mapping by dual recursive bipartitioning of process and architecture
// graphs", SHPCC 1994): the elements are the vertices of a graph, a face between two of them is an edge.

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <limits>

#include <scotch.h> // after <cstdio>

#include "distribute.h"
#include "exchange.h"

namespace {

/// True on a thread while it is here: a lack of memory is told by a status, and nothing is printed.
thread_local bool silent = false;

void print(const char* kind, const char* format, std::va_list arguments) {
    if (silent)
        return;
    std::fputs(kind, stderr);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is above
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
}

} // namespace

extern "C" {

// Scotch prints its errors by these two, which a program may replace.
MELDRA3D_API void SCOTCH_errorPrint(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    print("ERROR: ", format, arguments);
    va_end(arguments);
}

MELDRA3D_API void SCOTCH_errorPrintW(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    print("WARNING: ", format, arguments);
    va_end(arguments);
}

} // extern "C"

namespace quorl::meldra3d_mpi {

namespace {

using namespace detail;

/// The graph as Scotch takes it: the neighbours of element k are edges[first[k]] to before edges[first[k + 1]].
struct element_graph {
    dense1D<SCOTCH_Num, 8> first;
    dense1D<SCOTCH_Num, 8> edges;
};

/// Each neighbour once, and no element its own: so Scotch wants it.
int build(const dense2D<unsigned int>& connectivity, element_type type, element_graph& graph) {
    constexpr auto most = static_cast<std::size_t>(std::numeric_limits<SCOTCH_Num>::max());
    dense2D<unsigned int> neighbors;
    if (meldra::get_neighbors(connectivity, type, false, neighbors) != 0 || neighbors.cols() >= most / neighbors.rows())
        return no_memory;
    if (!graph.first.resize(neighbors.cols() + 1) || !graph.edges.resize(neighbors.size()))
        return no_memory;
    std::size_t count = 0;
    for (std::size_t j = 0; j < neighbors.cols(); ++j) {
        unsigned* const begin = neighbors.col(j);
        std::sort(begin, begin + neighbors.rows());
        const unsigned* const end = std::unique(begin, begin + neighbors.rows());
        graph.first[j] = static_cast<SCOTCH_Num>(count);
        for (const unsigned* neighbor = begin; neighbor != end; ++neighbor)
            if (*neighbor != no_node && *neighbor != j)
                graph.edges[count++] = static_cast<SCOTCH_Num>(*neighbor);
    }
    graph.first[neighbors.cols()] = static_cast<SCOTCH_Num>(count);
    return 0;
}

/// Scotch's objects for one call. Its context keeps the random numbers apart from those of other callers, begins them
/// anew, and allows one thread.
class partitioner {
public:
    partitioner() {
        silent = true;
        SCOTCH_graphInit(&graph_);
        SCOTCH_graphInit(&bound_);
        SCOTCH_stratInit(&strategy_);
        SCOTCH_contextInit(&context_);
    }
    partitioner(const partitioner&) = delete;
    partitioner& operator=(const partitioner&) = delete;
    ~partitioner() {
        SCOTCH_graphExit(&bound_);
        SCOTCH_contextExit(&context_);
        SCOTCH_stratExit(&strategy_);
        SCOTCH_graphExit(&graph_);
        silent = false;
    }

    bool run(const element_graph& graph, int parts, dense1D<int, 8>& owners) {
        const auto elements = static_cast<SCOTCH_Num>(graph.first.size() - 1);
        return SCOTCH_contextRandomClone(&context_) == 0 && begin_random_numbers() &&
               SCOTCH_contextThreadSpawn(&context_, 1, nullptr) == 0 &&
               SCOTCH_graphBuild(&graph_, 0, elements, graph.first.data(), nullptr, nullptr, nullptr,
                                 graph.first[graph.first.size() - 1], graph.edges.data(), nullptr) == 0 &&
               SCOTCH_contextBindGraph(&context_, &graph_, &bound_) == 0 &&
               SCOTCH_graphPart(&bound_, parts, &strategy_, owners.data()) == 0;
    }

private:
    bool begin_random_numbers() {
        SCOTCH_contextRandomSeed(&context_, 1);
        SCOTCH_contextRandomReset(&context_);
        return SCOTCH_contextOptionSetNum(&context_, SCOTCH_OPTIONNUMDETERMINISTIC, 1) == 0;
    }

    SCOTCH_Graph graph_;
    SCOTCH_Graph bound_;
    SCOTCH_Strat strategy_;
    SCOTCH_Context context_;
};

int find_owners(const dense2D<unsigned int>& connectivity, element_type type, int ranks, dense1D<int, 8>& owners) {
    element_graph graph;
    if (const int status = build(connectivity, type, graph); status < 0)
        return status;
    if (!owners.resize(connectivity.cols()))
        return no_memory;
    return partitioner().run(graph, ranks, owners) ? 0 : no_memory;
}

} // namespace

int partition(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type,
              distributed_mesh& part, MPI_Comm comm) {
    int status = check_whole_mesh(pos, connectivity, type, comm);
    dense1D<int, 8> owners;
    const int ranks = size_of(comm);
    if (status == 0 && rank_of(comm) == 0 && ranks > 1 && !connectivity.empty())
        status = find_owners(connectivity, type, ranks, owners);
    return deal_out(status, pos, connectivity, type, owners, part, comm);
}

} // namespace quorl::meldra3d_mpi
