#include <meldra3d/locate.h>

#include <algorithm>
#include <limits>

#include <meldra3d/convert.h>

#include "frame/element_tables.h"
#include "frame/id_count.h"
#include "locate/element_search.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

/// The mesh of a search and its aids, as views that hold the storage: outputs may share it.
struct searched_mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connectivity;
    dense2D<unsigned int> neighbors;
    dense1D<unsigned int, 8> ancestors;
    element_type type;
};

int check_elements(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type) {
    if (pos.rows() != 3)
        return -1;
    return meldra::check_IDs(connectivity, type, id_count(pos.cols())) ? 0 : -2;
}

int check(const searched_mesh& mesh) {
    if (const int status = check_elements(mesh.pos, mesh.connectivity, mesh.type); status != 0)
        return status;
    const element_record* const record = find_record(mesh.type);
    const unsigned elements = id_count(mesh.connectivity.cols());
    if (mesh.neighbors.cols() != mesh.connectivity.cols() || !record || mesh.neighbors.rows() != record->faces ||
        !meldra::check_IDs(mesh.neighbors, elements))
        return -3;
    return meldra::check_IDs(mesh.ancestors, elements) ? 0 : -4;
}

element_type linear_form(element_type type) {
    const element_record* const record = find_record(type);
    return record ? record->linear : ET_NONE;
}

/// Makes a connectivity of its own of a type that is not linear. Leaves a window of the rows of ET_TH10: no copy.
int make_linear(dense2D<unsigned int>& connectivity, element_type type) {
    if (linear_form(type) == type)
        return 0;
    dense2D<unsigned int> linear = connectivity; // whose rows go from this view only
    if (type != ET_TH10 && !linear.copy(connectivity))
        return -199;
    const int status = convert_into_linear(linear);
    connectivity = linear;
    return status;
}

bool resize_outputs(std::size_t points, dense1D<unsigned int, 8>& elements, dense2D<double>& local) {
    return elements.resize(points, no_node) && local.resize(3, points, 0.0);
}

/// The outputs of a search, each of its size already.
struct found_elements {
    unsigned* elements;
    double* local; // a contiguous matrix of 3 rows
    std::size_t last_missed = 0;
    int status = 0; // of that point, or 0 when all have been found

    [[gnu::always_inline]] void expect(std::size_t k) const {
        __builtin_prefetch(elements + k, 1);
        __builtin_prefetch(local + 3 * k, 1);
        __builtin_prefetch(local + 3 * k + 2, 1);
    }
    void expect_at(const unsigned*) const {}

    void found(std::size_t k, unsigned element, const vector_fixed<double, 3>& w) const {
        elements[k] = element;
        std::copy_n(w.values, 3, local + 3 * k);
    }

    void missed(std::size_t k, int why) {
        if (k >= last_missed) {
            last_missed = k;
            status = why;
        }
    }
};

int search_points(const searched_mesh& mesh, const meldra::node_detector& detector, const dense2D<double>& points,
                  double tolerance, dense1D<unsigned int, 8>& elements, dense2D<double>& local) {
    element_search search(mesh.pos, mesh.connectivity, mesh.neighbors, mesh.ancestors, detector);
    found_elements results{elements.data(), local.data()};
    return find_all(search, points, tolerance, results) ? results.status : search_out_of_memory;
}

/// The coordinates of nodes, one column each; those of `no_node` are no numbers.
bool gather_points(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes, dense2D<double>& points) {
    if (!points.resize(3, nodes.size()))
        return false;
    for (std::size_t k = 0; k < nodes.size(); ++k)
        if (nodes[k] == no_node)
            std::fill_n(points.col(k), 3, std::numeric_limits<double>::quiet_NaN());
        else
            std::copy_n(pos.col(nodes[k]), 3, points.col(k));
    return true;
}

} // namespace

int get_element_containing_point(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                 const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                                 const meldra::node_detector& detector, element_type type,
                                 const vector_fixed<double, 3>& point, unsigned int& element,
                                 vector_fixed<double, 3>& local, double tolerance) {
    const auto p = point_at(point.values); // `local` may be the same object
    element = no_node;
    local = {0, 0, 0};
    searched_mesh mesh{pos, connectivity, neighbors, ancestors, type};
    if (const int status = check(mesh); status != 0)
        return status;
    if (const int status = make_linear(mesh.connectivity, type); status < 0)
        return status;
    if (linear_form(type) != ET_TH4)
        return -6;
    element_search search(mesh.pos, mesh.connectivity, mesh.neighbors, mesh.ancestors, detector);
    const int status = search.find(p, tolerance, true, element);
    if (status == walk_found)
        local = search.local_coordinates(element, p);
    return status;
}

int get_elements_containing_points(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                   const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                                   const meldra::node_detector& detector, element_type type,
                                   const dense2D<double>& points, dense1D<unsigned int, 8>& elements,
                                   dense2D<double>& local, double tolerance) {
    searched_mesh mesh{pos, connectivity, neighbors, ancestors, type};
    const dense2D<double> sought = points;
    elements.clear();
    local.clear();
    if (mesh.pos.cols() == 0)
        return 0;
    if (const int status = check(mesh); status != 0)
        return status;
    if (sought.rows() != 3)
        return -7;
    if (const int status = make_linear(mesh.connectivity, type); status < 0)
        return status;
    if (!resize_outputs(sought.cols(), elements, local))
        return -199;
    if (linear_form(type) != ET_TH4)
        return -6;
    return search_points(mesh, detector, sought, tolerance, elements, local);
}

int get_elements_containing_nodes(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                  element_type type, const dense1D<unsigned int, 8>& nodes,
                                  dense1D<unsigned int, 8>& elements, dense2D<double>& local, double tolerance) {
    searched_mesh mesh{pos, connectivity, {}, {}, type};
    const dense1D<unsigned int, 8> sought = nodes;
    elements.clear();
    local.clear();
    if (sought.empty())
        return 0;
    if (const int status = check_elements(mesh.pos, mesh.connectivity, type); status != 0)
        return status;
    if (!meldra::check_IDs(sought, id_count(mesh.pos.cols())))
        return -4;
    const dense2D<unsigned int> given = mesh.connectivity;
    if (const int status = make_linear(mesh.connectivity, type); status < 0)
        return status;
    meldra::node_detector detector;
    dense2D<double> points;
    if (const int status = meldra::get_neighbors(given, type, false, mesh.neighbors); status < 0)
        return status;
    if (const int status = meldra::get_ancestors(given, mesh.ancestors); status < 0)
        return status;
    if (const int status = detector.reinit(mesh.pos, given); status < 0)
        return status;
    if (!gather_points(mesh.pos, sought, points) || !resize_outputs(sought.size(), elements, local))
        return -199;
    if (linear_form(type) != ET_TH4)
        return -3;
    return search_points(mesh, detector, points, tolerance, elements, local);
}

} // namespace quorl::meldra3d
