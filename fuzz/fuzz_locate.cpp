// Searches for nodes and elements, and interpolations, on random meshes and aids: status, and results against plain
// versions. What the exports refuse goes to the search itself, which must stay inside its arrays whatever the IDs are.

#include "suits.h"

#include "frame/element_tables.h"
#include "locate/element_search.h"
#include "locate/plain_search.h"

namespace {

using namespace fuzz;
using namespace quorl::meldra3d::detail;
using quorl::dense1D;
using quorl::element_type;
using quorl::vector_fixed;
using quorl::meldra::node_detector;
using list = dense1D<unsigned, 8>;
using place = vector_fixed<double, 3>;

struct search_arguments {
    test::searchable mesh;
    element_type type = quorl::ET_TH4;
    dense2D<double> points;
    double tolerance = 1e-6;
};

bool ids_are_below(const unsigned* ids, std::size_t n, std::size_t limit) {
    return std::all_of(ids, ids + n, [=](unsigned id) { return id < limit || id == no_node; });
}

unsigned faces_of(element_type type) {
    const element_record* const record = find_record(type);
    return record ? record->faces : no_node;
}

void check_detector(const dense2D<double>& pos, const dense2D<unsigned>& connect, const node_detector& detector,
                    const place& p) {
    const auto finite = [](const double* x) {
        return std::all_of(x, x + 3, [](double c) { return std::isfinite(c); });
    };
    const auto distance = [&](unsigned id) {
        long double sum = 0;
        for (unsigned i = 0; i < 3; ++i)
            sum += ((long double)(pos(i, id)) - p[i]) * ((long double)(pos(i, id)) - p[i]);
        return sum;
    };
    unsigned nearest = no_node;
    const snapshot<unsigned> all(connect);
    for (const unsigned id : all.entries)
        if (id != no_node && finite(pos.col(id)) && (nearest == no_node || distance(id) < distance(nearest)))
            nearest = id;
    const unsigned closest = detector.find_closest(p), close = detector.find_close(p);
    const auto holds = [&](unsigned id) {
        return std::find(all.entries.begin(), all.entries.end(), id) != all.entries.end() && finite(pos.col(id));
    };
    require(closest == no_node || holds(closest), "a node of the mesh is closest");
    require(close == no_node || holds(close), "a node of the mesh is close");
    require((closest == no_node) == (nearest == no_node || !finite(p.values)), "there is a closest node");
    if (closest != no_node)
        require(distance(closest) <= distance(nearest) * (1 + 1e-14L), "the closest node is the nearest");
}

int expected_status(const search_arguments& a) {
    const test::searchable& m = a.mesh;
    if (m.pos.cols() == 0)
        return 0;
    if (m.pos.rows() != 3)
        return -1;
    if (!suits(snapshot<unsigned>(m.connect), a.type, named_columns(m.pos.cols())))
        return -2;
    const snapshot<unsigned> neighbors(m.neighbors);
    if (m.neighbors.cols() != m.connect.cols() || m.neighbors.rows() != faces_of(a.type) ||
        !ids_are_below(neighbors.entries.data(), neighbors.entries.size(), m.connect.cols()))
        return -3;
    if (!ids_are_below(m.ancestors.data(), m.ancestors.size(), m.connect.cols()))
        return -4;
    if (a.points.rows() != 3)
        return -7;
    const element_type linear = element_records[std::size_t(a.type)].linear;
    dense2D<unsigned> copy;
    if (linear != a.type && copy.copy(m.connect) && quorl::meldra3d::convert_into_linear(copy) < 0)
        return -1;
    return linear == quorl::ET_TH4 ? 1 : -6;
}

/// What a good search gives, one point after another.
int check_results(const search_arguments& a, const list& elements, const dense2D<double>& local) {
    test::searchable linear = a.mesh;
    require(linear.connect.copy(a.mesh.connect), "a copy");
    linear.connect.resize(4, linear.connect.cols());
    const test::plain_search plain(linear);
    int status = 0;
    for (unsigned k = 0; k < a.points.cols(); ++k) {
        const place p{a.points(0, k), a.points(1, k), a.points(2, k)};
        const auto expected = plain.find(p, a.tolerance);
        require(elements[k] == expected.element, "the element of a point");
        if (expected.status != 1) {
            require(local(0, k) == 0 && local(1, k) == 0 && local(2, k) == 0, "no coordinates outside");
            status = expected.status;
        }
        unsigned element = 7;
        place w{7, 7, 7};
        require(quorl::meldra3d::get_element_containing_point(a.mesh.pos, a.mesh.connect, a.mesh.neighbors,
                                                              a.mesh.ancestors, a.mesh.detector, a.type, p, element, w,
                                                              a.tolerance) == expected.status,
                "the status of one point");
        require(element == expected.element, "the element of one point");
        require(std::memcmp(w.values, local.col(k), sizeof w.values) == 0, "the coordinates of one point");
    }
    return status;
}

void fuzz_many_points(arguments& args, search_arguments a) {
    const int expected = expected_status(a);
    const snapshot<double> pos(a.mesh.pos), points(a.points);
    const snapshot<unsigned> connect(a.mesh.connect), neighbors(a.mesh.neighbors);
    list elements(args.below(4), 5u);
    dense2D<double> local;
    if (args.rarely(4))
        elements = a.mesh.ancestors; // shares its storage
    if (args.rarely(4))
        local = args.flag() ? a.points : a.mesh.pos;
    const int status = quorl::meldra3d::get_elements_containing_points(a.mesh.pos, a.mesh.connect, a.mesh.neighbors,
                                                                       a.mesh.ancestors, a.mesh.detector, a.type,
                                                                       a.points, elements, local, a.tolerance);
    require(pos.same(a.mesh.pos) && points.same(a.points) && connect.same(a.mesh.connect) &&
                neighbors.same(a.mesh.neighbors),
            "the inputs unchanged");
    const bool sized = expected == 1 || expected == -6;
    require(elements.size() == (sized ? a.points.cols() : 0) && local.cols() == elements.size(), "the outputs' sizes");
    require(status == (expected == 1 ? check_results(a, elements, local) : expected), "the status of many points");
}

void fuzz_nodes(arguments& args, const search_arguments& a) {
    list nodes(args.below(5));
    for (unsigned& id : nodes)
        id = args.id(named_columns(a.mesh.pos.cols()));
    list elements;
    dense2D<double> local;
    const int status = quorl::meldra3d::get_elements_containing_nodes(a.mesh.pos, a.mesh.connect, a.type, nodes,
                                                                      elements, local, a.tolerance);
    require(elements.size() == local.cols() && (elements.empty() || elements.size() == nodes.size()), "sizes");
    for (std::size_t k = 0; k < elements.size(); ++k)
        require(elements[k] == no_node || (elements[k] < a.mesh.connect.cols() && nodes[k] != no_node),
                "an element of the mesh");
    require(status <= 0, "the status of nodes");
}

/// The status of the interpolations, 0 when their checks pass. Those of metrics check less of the mesh.
int expected_status_of_values(const search_arguments& a, const list& nodes, bool metrics, bool values_fit) {
    const test::searchable& m = a.mesh;
    const snapshot<unsigned> neighbors(m.neighbors);
    if (nodes.empty())
        return 0;
    if (m.pos.rows() != 3)
        return -1;
    if (metrics ? m.connect.rows() != 4
                : !suits(snapshot<unsigned>(m.connect), quorl::ET_TH4, named_columns(m.pos.cols())))
        return -2;
    if (m.neighbors.rows() != 4 || m.neighbors.cols() != m.connect.cols() ||
        (!metrics && !ids_are_below(neighbors.entries.data(), neighbors.entries.size(), m.connect.cols())))
        return -3;
    if (metrics ? m.ancestors.size() != m.pos.cols()
                : !ids_are_below(m.ancestors.data(), m.ancestors.size(), m.connect.cols()))
        return -4;
    if (!values_fit)
        return -5;
    return ids_are_below(nodes.data(), nodes.size(), m.pos.cols()) ? 0 : -6;
}

/// Fields, metrics and sizes at nodes: the status, and that only free nodes of the list are written.
void fuzz_values(arguments& args, const search_arguments& a) {
    const test::searchable& m = a.mesh;
    const std::size_t n = m.pos.cols();
    list nodes(args.below(6));
    for (unsigned& id : nodes)
        id = args.id(named_columns(n));
    const std::size_t count = args.rarely(16) || n > many_columns ? args.below(30) : n;
    const bool metrics = args.flag(), scalar = args.flag(), keep_valid = args.flag();
    const std::size_t rows = scalar ? 1 : metrics && !args.rarely(16) ? 6 : args.below(8);
    dense2D<double> values(rows, count);
    dense1D<double> scalars(count);
    std::generate_n(values.data(), values.size(), [&] { return args.number(); });
    for (std::size_t k = 0; k < count && rows != 0; ++k)
        scalars[k] = values(0, k);
    const snapshot<double> before(values);
    const bool fit = count == n && (scalar || !metrics || rows == 6);
    const int expected = expected_status_of_values(a, nodes, metrics, fit);
    int status = 0;
    if (scalar && metrics)
        status = quorl::meldra3d::interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, scalars, nodes,
                                                      keep_valid);
    else if (scalar)
        status = quorl::meldra3d::interpolate(m.pos, m.connect, m.neighbors, m.ancestors, scalars, nodes);
    else if (metrics)
        status =
            quorl::meldra3d::interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, values, nodes, keep_valid);
    else
        status = quorl::meldra3d::interpolate(m.pos, m.connect, m.neighbors, m.ancestors, values, nodes);
    require(status == expected, "the status of an interpolation");
    for (std::size_t k = 0; scalar && k < count; ++k)
        values(0, k) = scalars[k];
    for (unsigned k = 0; k < count && rows != 0; ++k) {
        const bool free = k >= m.ancestors.size() || m.ancestors[k] == no_node;
        if (status != 0 || !free || std::find(nodes.begin(), nodes.end(), k) == nodes.end())
            require(std::memcmp(values.col(k), before.col(k), rows * sizeof(double)) == 0, "other nodes left alone");
    }
}

/// Wrong aids here and there; with `wild` also IDs that the exports refuse.
void spoil(arguments& args, test::searchable& m, bool wild) {
    if (m.connect.empty())
        return;
    const auto elements = named_columns(m.connect.cols());
    const auto any = [&] { return wild ? args.integer() : args.rarely(4) ? no_node : args.below(elements); };
    for (unsigned k = args.below(4); k > 0 && !m.neighbors.empty(); --k)
        m.neighbors(args.below(unsigned(m.neighbors.rows())), args.below(unsigned(m.neighbors.cols()))) = any();
    for (unsigned k = args.below(4); k > 0 && !m.ancestors.empty(); --k)
        m.ancestors[args.below(unsigned(m.ancestors.size()))] = any();
    if (args.rarely(8))
        m.ancestors.resize(args.below(unsigned(m.ancestors.size()) + 1));
    for (unsigned k = wild ? args.below(3) : 0; k > 0; --k)
        m.connect(args.below(unsigned(m.connect.rows())), args.below(elements)) = args.integer();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    search_arguments a;
    test::searchable& m = a.mesh;
    m.pos = args.coordinates();
    if (args.rarely(8))
        a.type = element_type(int(args.below(26)));
    else if (args.rarely(4))
        a.type = quorl::ET_TH10;
    const element_record* const record = find_record(a.type);
    const unsigned rows = !record || args.rarely(16) ? args.below(12) : record->rows;
    const auto nodes = named_columns(m.pos.cols());
    require(m.connect.copy(args.connectivity(rows, {rows}, nodes)), "a copy");
    // Turned round where they are inverted, so that there is a way to go.
    for (std::size_t j = 0; m.pos.rows() == 3 && rows >= 4 && nodes != 0 && j < m.connect.cols(); ++j) {
        double volume = 0;
        if (quorl::meldra3d::volume(m.pos, m.connect.sub(0, j, 4, 1), volume) == 0 && volume < 0 && !args.rarely(8))
            std::swap(m.connect(0, j), m.connect(1, j));
    }
    a.points = args.coordinates();
    a.tolerance = args.flag() ? 1e-6 : args.number();

    const int made = m.detector.reinit(m.pos, m.connect);
    const snapshot<unsigned> connect(m.connect);
    const bool below = ids_are_below(connect.entries.data(), connect.entries.size(), nodes);
    require(made == (connect.empty() ? 0 : m.pos.rows() != 3 ? -1 : below ? 0 : -2), "the status of reinit");
    for (std::size_t k = 0; made == 0 && a.points.rows() == 3 && k < a.points.cols(); ++k)
        check_detector(m.pos, m.connect, m.detector, {a.points(0, k), a.points(1, k), a.points(2, k)});
    if (quorl::meldra::get_neighbors(m.connect, a.type, false, m.neighbors) != 0 || args.rarely(16))
        m.neighbors = dense2D<unsigned>(args.below(8), m.connect.cols(), no_node);
    if (!below || quorl::meldra::get_ancestors(m.connect, m.ancestors) != 0)
        m.ancestors = list(nodes, no_node);
    fuzz_nodes(args, a);

    const bool wild = args.rarely(4);
    if (args.flag())
        spoil(args, m, wild);
    fuzz_many_points(args, a);
    fuzz_values(args, a);
    if (m.pos.rows() == 3 && a.points.rows() == 3 && m.connect.rows() >= 4 && !m.connect.empty() &&
        m.neighbors.rows() >= 4 && m.neighbors.cols() == m.connect.cols()) {
        element_search search(m.pos, m.connect, m.neighbors, m.ancestors, m.detector);
        for (std::size_t k = 0; k < a.points.cols(); ++k) {
            unsigned element = args.rarely(4) ? args.integer() : no_node;
            const int status = search.find(point_at(a.points.col(k)), a.tolerance, true, element);
            require(status >= -2 && status <= 1, "a status of a walk");
            require((status == 1) == (element != no_node) && (element == no_node || element < m.connect.cols()),
                    "an element when it is found");
        }
    }
    require(args.callers_memory_kept(), "the caller's memory unchanged");
    return 0;
}
