// The compiled half of the Python package: each function lays views over NumPy's memory, calls the library, and hands
// back the status with what was filled. Conversions, defaults and messages are Python's (arrays.py, status.py).
//
// An array of m rows and k columns in C order has the memory of a column-major matrix of k rows and m columns, so a row
// of an array is a column of a matrix and nothing is copied on the way in. Arguments that go in and out are laid over
// in the same way: the library moves such a view to storage of its own before it grows, so the caller's arrays stay
// as they are. Only the interpolations write into an array of the caller, which is Python's own copy.

#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <tuple>
#include <utility>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <meldra/meldra.h>
#include <meldra2d/meldra2d.h>
#include <meldra3d/meldra3d.h>

namespace py = pybind11;

namespace {

using quorl::dense1D;
using quorl::dense2D;
using ids = dense2D<unsigned int>;
using direction = quorl::vector_fixed<double, 3>;

static_assert(sizeof(unsigned int) == sizeof(std::uint32_t), "node numbers are NumPy's uint32");

using points_array = py::array_t<double, py::array::c_style>;
using ids_array = py::array_t<unsigned int, py::array::c_style>;

/// Takes an array only as it is: an implicit conversion would copy, and would wrap node numbers silently.
py::arg as_it_is(const char* name) {
    return py::arg(name).noconvert();
}

template <class T>
dense2D<T> lay_over(const py::array_t<T, py::array::c_style>& array) {
    if (array.ndim() != 2)
        throw py::value_error("expected a two-dimensional array");
    const auto rows = static_cast<std::size_t>(array.shape(1));
    const auto cols = static_cast<std::size_t>(array.shape(0));
    return dense2D<T>::view(const_cast<T*>(array.data()), rows, cols, rows); // see the top
}

/// The same where an array without rows must keep its columns, which a view of no memory has lost.
template <class T>
dense2D<T> lay_over_in_shape(const py::array_t<T, py::array::c_style>& array) {
    dense2D<T> matrix = lay_over(array);
    if (matrix.empty() && !matrix.resize(static_cast<std::size_t>(array.shape(1)), 0))
        throw std::bad_alloc();
    return matrix;
}

/// An array over the memory of a matrix, which it keeps alive. `given` is the array that the matrix was laid over when
/// it went in: a matrix that is still that view, or a window, is copied first.
template <class T>
py::array_t<T> hand_out(dense2D<T>& matrix, const void* given = nullptr) {
    if (!matrix.empty() && (matrix.ld() != matrix.rows() || matrix.data() == given) && !matrix.copy(matrix))
        throw std::bad_alloc();
    const py::ssize_t shape[] = {static_cast<py::ssize_t>(matrix.cols()), static_cast<py::ssize_t>(matrix.rows())};
    if (matrix.empty())
        return py::array_t<T>(shape);
    auto kept = std::make_unique<dense2D<T>>(std::move(matrix));
    const py::capsule owner(kept.get(), [](void* held) { delete static_cast<dense2D<T>*>(held); });
    return py::array_t<T>(shape, kept.release()->data(), owner);
}

/// The same of a list.
py::array_t<unsigned int> hand_out(dense1D<unsigned int, 8>& list) {
    const auto size = static_cast<py::ssize_t>(list.size());
    if (size == 0)
        return py::array_t<unsigned int>(0);
    auto kept = std::make_unique<dense1D<unsigned int, 8>>(std::move(list));
    const py::capsule owner(kept.get(), [](void* held) { delete static_cast<dense1D<unsigned int, 8>*>(held); });
    return py::array_t<unsigned int>(size, kept.release()->data(), owner);
}

/// Runs a form of a sweep without side and closing faces, `call(pos, surface, solids)`.
/// Gives (status, points, solids).
template <class Call>
py::tuple sweep(const points_array& points, const ids_array& surface, const ids_array& solids, Call call) {
    dense2D<double> pos = lay_over(points);
    const ids faces = lay_over(surface);
    ids elements = lay_over(solids);
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = call(pos, faces, elements);
    }
    return py::make_tuple(status, hand_out(pos, points.data()), hand_out(elements, solids.data()));
}

/// Runs a full form of a sweep, `call(pos, surface, solids, edges, sides, cap)`.
/// Gives (status, points, solids, sides, cap).
template <class Call>
py::tuple sweep(const points_array& points, const ids_array& surface, const ids_array& solids, const ids_array& edges,
                const ids_array& sides, const ids_array& cap, Call call) {
    const ids lines = lay_over(edges);
    ids quadrangles = lay_over(sides);
    ids closing = lay_over(cap);
    const py::tuple swept = sweep(points, surface, solids, [&](dense2D<double>& pos, const ids& faces, ids& elements) {
        return call(pos, faces, elements, lines, quadrangles, closing);
    });
    return py::make_tuple(swept[0], swept[1], swept[2], hand_out(quadrangles, sides.data()),
                          hand_out(closing, cap.data()));
}

// What a sweep takes between the surface and the solids: `given` as it comes from Python, and `lay` makes of it what
// the library takes.

template <class T>
struct plain {
    using given = T;
    static T lay(T value) { return value; }
};

struct vector_of_three {
    using given = const points_array&;
    static direction lay(given array) {
        if (array.size() != 3)
            throw py::value_error("expected three numbers");
        return {array.data()[0], array.data()[1], array.data()[2]};
    }
};

template <class T>
struct matrix {
    using given = const py::array_t<T, py::array::c_style>&;
    static dense2D<T> lay(given array) { return lay_over(array); }
};

template <class T>
struct list {
    using given = const py::array_t<T, py::array::c_style>&;
    static dense1D<T, 8> lay(given array) {
        if (array.ndim() != 1)
            throw py::value_error("expected a one-dimensional array");
        return dense1D<T, 8>::view(const_cast<T*>(array.data()), static_cast<std::size_t>(array.size()));
    }
};

/// Defines the full form and the short form of a sweep, which takes `Path` between the surface and the solids.
/// `call` is the export, and `names` are the arguments that `Path` stands for.
template <class... Path, class Call, class... Name>
void add_sweep(py::module_& module, const char* function, Call call, const Name&... names) {
    static_assert(sizeof...(Path) == sizeof...(Name), "each argument has a name");
    module.def(
        function,
        [call](const points_array& points, const ids_array& surface, typename Path::given... path,
               const ids_array& solids, const ids_array& edges, const ids_array& sides, const ids_array& cap) {
            return std::apply(
                [&](const auto&... laid) {
                    return sweep(points, surface, solids, edges, sides, cap,
                                 [&](auto& pos, auto& faces, auto& e, auto& lines, auto& q, auto& t) {
                                     return call(pos, faces, laid..., e, lines, q, t);
                                 });
                },
                std::make_tuple(Path::lay(path)...));
        },
        as_it_is("points"), as_it_is("surface"), names..., as_it_is("solids"), as_it_is("edges"), as_it_is("sides"),
        as_it_is("cap"));
    module.def(
        function,
        [call](const points_array& points, const ids_array& surface, typename Path::given... path,
               const ids_array& solids) {
            return std::apply(
                [&](const auto&... laid) {
                    return sweep(points, surface, solids,
                                 [&](auto& pos, auto& faces, auto& e) { return call(pos, faces, laid..., e); });
                },
                std::make_tuple(Path::lay(path)...));
        },
        as_it_is("points"), as_it_is("surface"), names..., as_it_is("solids"));
}

/// Defines all forms of a sweep that divides its path into layers, by two sizes or by their number.
template <class... Path, class Call, class... Name>
void add_layered_sweep(py::module_& module, const char* function, Call call, const Name&... names) {
    add_sweep<Path..., plain<double>, plain<double>, plain<bool>>(
        module, function, call, names..., py::arg("size_start"), py::arg("size_end"), py::arg("even_layers"));
    add_sweep<Path..., plain<unsigned int>>(module, function, call, names..., py::arg("layers"));
}

void add_sweeps(py::module_& module) {
    using namespace quorl::meldra3d;
    using vector = vector_of_three;
    add_layered_sweep<vector>(
        module, "extrude_translate", [](auto&... all) { return extrude_translate(all...); }, as_it_is("direction"));
    add_layered_sweep<vector, vector>(
        module, "extrude_rotate", [](auto&... all) { return extrude_rotate(all...); }, as_it_is("axis_point"),
        as_it_is("rotation"));
    add_layered_sweep<vector, vector, vector>(
        module, "extrude_spiral", [](auto&... all) { return extrude_spiral(all...); }, as_it_is("axis_point"),
        as_it_is("rotation"), as_it_is("shift"));

    const auto normal = [](auto&... all) { return extrude_normal(all...); };
    add_layered_sweep<plain<double>>(module, "extrude_normal", normal, py::arg("thickness"));
    add_sweep<matrix<double>, plain<unsigned int>>(module, "extrude_normal", normal, as_it_is("node_shifts"),
                                                   py::arg("layers"));

    const auto line = [](auto&... all) { return extrude_line(all...); };
    add_sweep<list<unsigned int>, vector, matrix<double>>(module, "extrude_line_by_metrics", line, as_it_is("line"),
                                                          as_it_is("start_direction"), as_it_is("metrics"));
    add_sweep<list<unsigned int>, vector, list<double>>(module, "extrude_line_by_sizes", line, as_it_is("line"),
                                                        as_it_is("start_direction"), as_it_is("sizes"));
}

py::tuple volume(const points_array& points, const ids_array& cells) {
    const dense2D<double> pos = lay_over(points);
    const ids connect = lay_over(cells);
    double total = 0;
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra3d::volume(pos, connect, total);
    }
    return py::make_tuple(status, total);
}

/// Runs a measure that gives two numbers of each element, `call(pos, connect, least, most)`.
/// Gives (status, least, most).
template <class Call>
py::tuple measure_range(const points_array& points, const ids_array& cells, Call call) {
    const dense2D<double> pos = lay_over(points);
    const ids connect = lay_over(cells);
    py::array_t<double> least(cells.shape(0));
    py::array_t<double> most(cells.shape(0));
    const auto count = static_cast<std::size_t>(cells.shape(0));
    auto lowest = dense1D<double>::view(least.mutable_data(), count);
    auto highest = dense1D<double>::view(most.mutable_data(), count);
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = call(pos, connect, lowest, highest);
    }
    return py::make_tuple(status, least, most);
}

py::tuple circumcenters(const points_array& points, const ids_array& cells) {
    const dense2D<double> pos = lay_over_in_shape(points);
    const ids connect = lay_over_in_shape(cells);
    dense2D<double> centers;
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra3d::circumcenters(pos, connect, centers);
    }
    return py::make_tuple(status, hand_out(centers));
}

void add_measures(py::module_& module) {
    using namespace quorl::meldra3d;
    module.def("volume", &::volume, as_it_is("points"), as_it_is("cells"));
    module.def(
        "solid_angles",
        [](const points_array& points, const ids_array& cells, bool normalized) {
            return measure_range(points, cells, [normalized](auto& pos, auto& connect, auto& least, auto& most) {
                return solid_angles(pos, connect, normalized, least, most);
            });
        },
        as_it_is("points"), as_it_is("cells"), py::arg("normalized"));
    module.def(
        "dihedral_angles",
        [](const points_array& points, const ids_array& cells, bool normalized) {
            return measure_range(points, cells, [normalized](auto& pos, auto& connect, auto& least, auto& most) {
                return dihedral_angles(pos, connect, normalized, least, most);
            });
        },
        as_it_is("points"), as_it_is("cells"), py::arg("normalized"));
    module.def("circumcenters", &::circumcenters, as_it_is("points"), as_it_is("cells"));
}

py::tuple normals(const points_array& points, const ids_array& surface, double tolerance, bool unit) {
    const dense2D<double> pos = lay_over(points);
    const ids faces = lay_over(surface);
    dense2D<double> found;
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra2d::normals(pos, faces, tolerance, unit, found);
    }
    return py::make_tuple(status, hand_out(found));
}

/// Runs `call(connect)`, which changes a connectivity in place, on a copy. Gives (status, cells).
template <class Call>
py::tuple change_copy(const ids_array& cells, Call call) {
    const ids given = lay_over(cells);
    ids connect;
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        if (!connect.copy(given))
            throw std::bad_alloc();
        // A view of no memory has lost the dimensions of its array.
        connect.resize(static_cast<std::size_t>(cells.shape(1)), static_cast<std::size_t>(cells.shape(0)));
        status = call(connect);
    }
    return py::make_tuple(status, hand_out(connect));
}

void add_flips(py::module_& module) {
    using namespace quorl::meldra3d;
    module.def(
        "flip",
        [](const ids_array& cells, int kind) {
            return change_copy(cells,
                               [kind](ids& connect) { return flip(connect, static_cast<quorl::element_type>(kind)); });
        },
        as_it_is("cells"), py::arg("kind"));
    module.def(
        "flip_TH4", [](const ids_array& cells) { return change_copy(cells, flip_TH4); }, as_it_is("cells"));
    module.def(
        "flip_W6", [](const ids_array& cells) { return change_copy(cells, flip_W6); }, as_it_is("cells"));
    module.def(
        "flip_H8", [](const ids_array& cells) { return change_copy(cells, flip_H8); }, as_it_is("cells"));
}

/// The seven counts of a conversion, in the order of the library's arguments.
using node_counts = std::array<unsigned int, 7>;

/// Runs a conversion with its reused faces and edges, `call(pos, connect, faces, edges)`.
/// Gives (status, points, cells).
template <class Call>
py::tuple convert(const points_array& points, const ids_array& cells, const ids_array& faces, const ids_array& edges,
                  Call call) {
    dense2D<double> pos = lay_over(points);
    ids connect = lay_over(cells);
    ids given_faces = lay_over(faces);
    ids given_edges = lay_over(edges);
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = call(pos, connect, given_faces, given_edges);
    }
    return py::make_tuple(status, hand_out(pos, points.data()), hand_out(connect, cells.data()));
}

void add_conversions(py::module_& module) {
    using namespace quorl::meldra3d;
    module.def(
        "convert_into_linear", [](const ids_array& cells) { return change_copy(cells, convert_into_linear); },
        as_it_is("cells"));
    module.def(
        "convert_into_quadratic",
        [](const points_array& points, const ids_array& cells, const ids_array& faces, const ids_array& edges) {
            return convert(points, cells, faces, edges, [](auto& pos, auto& connect, auto& f, auto& e) {
                return convert_into_quadratic(pos, connect, f, e);
            });
        },
        as_it_is("points"), as_it_is("cells"), as_it_is("faces"), as_it_is("edges"));
    module.def(
        "convert_into_high_order",
        [](const points_array& points, const ids_array& cells, const node_counts& n, const ids_array& faces,
           const ids_array& edges) {
            return convert(points, cells, faces, edges, [&n](auto& pos, auto& connect, auto& f, auto& e) {
                return convert_into_high_order(pos, connect, n[0], n[1], n[2], n[3], n[4], n[5], n[6], connect, f, e);
            });
        },
        as_it_is("points"), as_it_is("cells"), py::arg("counts"), as_it_is("faces"), as_it_is("edges"));
}

py::tuple split_into_H8(const points_array& points, const ids_array& cells, const ids_array& hexahedra,
                        const ids_array& faces, const ids_array& edges) {
    dense2D<double> pos = lay_over(points);
    const ids solids = lay_over(cells);
    ids pieces = lay_over(hexahedra);
    ids given_faces = lay_over(faces);
    ids given_edges = lay_over(edges);
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra3d::split_into_H8(pos, solids, pieces, given_faces, given_edges);
    }
    if (pieces.empty())
        pieces.resize(8, 0);
    return py::make_tuple(status, hand_out(pos, points.data()), hand_out(pieces, hexahedra.data()));
}

py::tuple split_solid_Q4(const points_array& points, const ids_array& cells, const ids_array& quadrangles,
                         const ids_array& diagonals, double min_volume) {
    dense2D<double> pos = lay_over(points);
    const ids solids = lay_over(cells);
    const ids faces = lay_over(quadrangles);
    const auto bits = dense1D<unsigned int, 8>::view(const_cast<unsigned int*>(diagonals.data()),
                                                     static_cast<std::size_t>(diagonals.size()));
    dense1D<unsigned int, 8> failed;
    ids pieces;
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra3d::split_solid_Q4(pos, solids, faces, bits, min_volume, failed, pieces);
    }
    if (pieces.empty())
        pieces.resize(8, 0);
    return py::make_tuple(status, hand_out(pos, points.data()), hand_out(pieces), hand_out(failed));
}

py::tuple duplicate_surface_nodes(const points_array& points, const ids_array& cells, const ids_array& neighbors,
                                  const ids_array& ancestors, const ids_array& surface, const ids_array& excluded,
                                  bool plus, bool minus, int kind) {
    dense2D<double> pos = lay_over(points);
    ids connect = lay_over(cells);
    const ids across = lay_over(neighbors);
    const auto holders = list<unsigned int>::lay(ancestors);
    const ids faces = lay_over(surface);
    const auto kept = list<unsigned int>::lay(excluded);
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra3d::duplicate_surface_nodes(pos, connect, across, holders, faces, kept, plus, minus,
                                                          static_cast<quorl::element_type>(kind));
    }
    return py::make_tuple(status, hand_out(pos, points.data()), hand_out(connect, cells.data()));
}

py::tuple get_neighbors(const ids_array& cells, int kind, bool strict) {
    const ids connect = lay_over(cells);
    ids neighbors;
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra::get_neighbors(connect, static_cast<quorl::element_type>(kind), strict, neighbors);
    }
    return py::make_tuple(status, hand_out(neighbors));
}

py::tuple get_ancestors(const ids_array& cells) {
    const ids connect = lay_over(cells);
    dense1D<unsigned int, 8> ancestors;
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra::get_ancestors(connect, ancestors);
    }
    return py::make_tuple(status, hand_out(ancestors));
}

/// The node closest to each of some points, by a detector.
py::array_t<unsigned int> find_closest(const quorl::meldra::node_detector& detector, const points_array& queries) {
    const dense2D<double> given = lay_over(queries);
    if (queries.shape(1) != 3)
        throw py::value_error("expected three columns");
    py::array_t<unsigned int> nodes(queries.shape(0));
    unsigned int* const closest = nodes.mutable_data();
    {
        const py::gil_scoped_release unlocked;
        for (std::size_t i = 0; i < given.cols(); ++i)
            closest[i] = detector.find_closest({given(0, i), given(1, i), given(2, i)});
    }
    return nodes;
}

py::tuple get_elements_containing_points(const points_array& points, const ids_array& cells, const ids_array& neighbors,
                                         const ids_array& ancestors, const quorl::meldra::node_detector& detector,
                                         int kind, const points_array& queries, double tolerance) {
    const dense2D<double> pos = lay_over(points);
    const ids connect = lay_over(cells);
    const ids across = lay_over(neighbors);
    const dense1D<unsigned int, 8> holders = list<unsigned int>::lay(ancestors);
    const dense2D<double> given = lay_over(queries);
    dense1D<unsigned int, 8> elements;
    dense2D<double> local;
    int status = 0;
    {
        const py::gil_scoped_release unlocked;
        status = quorl::meldra3d::get_elements_containing_points(pos, connect, across, holders, detector,
                                                                 static_cast<quorl::element_type>(kind), given,
                                                                 elements, local, tolerance);
    }
    return py::make_tuple(status, hand_out(elements), hand_out(local));
}

/// Runs an interpolation, `call(pos, connect, neighbors, ancestors, values, nodes)`, which writes values where they
/// are: one number for each node, or a row of numbers. Gives the status.
template <class Call>
int interpolate(const points_array& points, const ids_array& cells, const ids_array& neighbors,
                const ids_array& ancestors, points_array& values, const ids_array& nodes, Call call) {
    const dense2D<double> pos = lay_over(points);
    const ids connect = lay_over(cells);
    const ids across = lay_over(neighbors);
    const dense1D<unsigned int, 8> holders = list<unsigned int>::lay(ancestors);
    const dense1D<unsigned int, 8> listed = list<unsigned int>::lay(nodes);
    values.mutable_data(); // throws when the array is read-only
    if (values.ndim() == 1) {
        dense1D<double, 8> numbers = list<double>::lay(values);
        const py::gil_scoped_release unlocked;
        return call(pos, connect, across, holders, numbers, listed);
    }
    dense2D<double> rows = lay_over(values);
    const py::gil_scoped_release unlocked;
    return call(pos, connect, across, holders, rows, listed);
}

void add_location(py::module_& module) {
    using quorl::meldra::node_detector;
    py::class_<node_detector>(module, "NodeDetector")
        .def(py::init<>())
        .def(
            "reinit",
            [](node_detector& detector, const points_array& points, const ids_array& cells) {
                const dense2D<double> pos = lay_over(points);
                const ids connect = lay_over(cells);
                const py::gil_scoped_release unlocked;
                return detector.reinit(pos, connect);
            },
            as_it_is("points"), as_it_is("cells"))
        .def("find_closest", &find_closest, as_it_is("queries"));
    module.def("get_elements_containing_points", &get_elements_containing_points, as_it_is("points"), as_it_is("cells"),
               as_it_is("neighbors"), as_it_is("ancestors"), as_it_is("detector"), py::arg("kind"), as_it_is("queries"),
               py::arg("tolerance"));
    module.def(
        "interpolate",
        [](const points_array& points, const ids_array& cells, const ids_array& neighbors, const ids_array& ancestors,
           points_array field, const ids_array& nodes) {
            return interpolate(points, cells, neighbors, ancestors, field, nodes,
                               [](auto&... all) { return quorl::meldra3d::interpolate(all...); });
        },
        as_it_is("points"), as_it_is("cells"), as_it_is("neighbors"), as_it_is("ancestors"), as_it_is("field"),
        as_it_is("nodes"));
    module.def(
        "interpolate_metrics",
        [](const points_array& points, const ids_array& cells, const ids_array& neighbors, const ids_array& ancestors,
           points_array metrics, const ids_array& nodes, bool keep_valid) {
            return interpolate(points, cells, neighbors, ancestors, metrics, nodes, [keep_valid](auto&... all) {
                return quorl::meldra3d::interpolate_metrics(all..., keep_valid);
            });
        },
        as_it_is("points"), as_it_is("cells"), as_it_is("neighbors"), as_it_is("ancestors"), as_it_is("metrics"),
        as_it_is("nodes"), py::arg("keep_valid"));
}

void add_element_types(py::module_& module) {
    using namespace quorl;
    const std::pair<const char*, element_type> types[] = {
        {"ET_NONE", ET_NONE},
        {"ET_NODE", ET_NODE},
        {"ET_EDGE2", ET_EDGE2},
        {"ET_EDGE3", ET_EDGE3},
        {"ET_FACE_MIX", ET_FACE_MIX},
        {"ET_FACE_MIX_Q", ET_FACE_MIX_Q},
        {"ET_T3", ET_T3},
        {"ET_T6", ET_T6},
        {"ET_Q4", ET_Q4},
        {"ET_Q8", ET_Q8},
        {"ET_Q9", ET_Q9},
        {"ET_SOLID_MIX", ET_SOLID_MIX},
        {"ET_SOLID_MIX_Q", ET_SOLID_MIX_Q},
        {"ET_TH4", ET_TH4},
        {"ET_TH10", ET_TH10},
        {"ET_PY5", ET_PY5},
        {"ET_PY13", ET_PY13},
        {"ET_PY14", ET_PY14},
        {"ET_W6", ET_W6},
        {"ET_W15", ET_W15},
        {"ET_W18", ET_W18},
        {"ET_H8", ET_H8},
        {"ET_H20", ET_H20},
        {"ET_H27", ET_H27},
    };
    for (const auto& [name, value] : types)
        module.attr(name) = static_cast<int>(value);
    module.attr("NO_NODE") = no_node;
}

} // namespace

PYBIND11_MODULE(_core, module) {
    module.doc() = "Calls of the library on NumPy's memory; use the functions of meldra3d, which convert and check.";
    module.def("version", &quorl::meldra3d::version);
    add_element_types(module);
    add_sweeps(module);
    add_flips(module);
    add_conversions(module);
    add_location(module);
    module.def("split_into_H8", &split_into_H8, as_it_is("points"), as_it_is("cells"), as_it_is("hexahedra"),
               as_it_is("faces"), as_it_is("edges"));
    module.def("split_solid_Q4", &split_solid_Q4, as_it_is("points"), as_it_is("cells"), as_it_is("quadrangles"),
               as_it_is("diagonals"), py::arg("min_volume"));
    add_measures(module);
    module.def("duplicate_surface_nodes", &duplicate_surface_nodes, as_it_is("points"), as_it_is("cells"),
               as_it_is("neighbors"), as_it_is("ancestors"), as_it_is("surface"), as_it_is("excluded"), py::arg("plus"),
               py::arg("minus"), py::arg("kind"));
    module.def("normals", &normals, as_it_is("points"), as_it_is("surface"), py::arg("tolerance"), py::arg("unit"));
    module.def("get_neighbors", &get_neighbors, as_it_is("cells"), py::arg("kind"), py::arg("strict"));
    module.def("get_ancestors", &get_ancestors, as_it_is("cells"));
}
