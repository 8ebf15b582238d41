#include "calls/lists.h"

// Location and interpolation.
namespace test {

using namespace quorl;

namespace {

/// Tetrahedra that lack the cell at a corner, and free nodes: most inside, some where the cell is missing, some outside
/// of the cube. Their list holds `no_node` as well.
arguments with_free_nodes(unsigned n) {
    arguments a = of_solids(cut::tetrahedra, n);
    a.connect.resize(4, a.connect.cols() - 6);
    meldra::get_neighbors(a.connect, ET_TH4, false, a.neighbors);
    meldra::get_ancestors(a.connect, a.ancestors);
    a.detector.reinit(a.pos, a.connect);
    for (unsigned k = 0; k < 12 * n; ++k) {
        const double high = k % 6 == 5 ? 1.2 : k % 6 == 4 ? 1.0 : 0.9, low = k % 6 == 4 ? 0.99 : 0.0;
        const auto coordinate = [&](unsigned i) { return low + (high - low) * scattered(3 * k + i); };
        const double node[] = {coordinate(0), coordinate(1), coordinate(2)};
        a.ids.push_back(unsigned(a.pos.cols()));
        a.pos.append(node);
    }
    a.ids.push_back(no_node);
    a.ancestors.resize(a.pos.cols(), no_node);
    return a;
}

/// The free nodes as points, searched for in the linear mesh or the quadratic one.
arguments with_points(element_type type, unsigned n) {
    arguments a = with_free_nodes(n);
    const std::size_t count = a.ids.size() - 1;
    a.values.copy(a.pos.sub(0, a.pos.cols() - count, 3, count));
    if (type != ET_TH4) {
        meldra3d::convert_into_quadratic(a.pos, a.connect);
        meldra::get_ancestors(a.connect, a.ancestors);
        a.detector.reinit(a.pos, a.connect);
    }
    return a;
}

void add_searches(call_list& all) {
    for (const auto& [name, type] : {std::pair("ET_TH4", ET_TH4), std::pair("ET_TH10", ET_TH10)}) {
        const made mesh{name, [type = type](unsigned n) { return with_points(type, n); }};
        for (const std::size_t k : {0u, 3u, 4u, 5u})
            all.add("get_element_containing_point", "", {{mesh.mesh + ", point " + std::to_string(k), mesh.make}},
                    [type = type, k](arguments& a) {
                        return meldra3d::get_element_containing_point(
                            a.pos, a.connect, a.neighbors, a.ancestors, a.detector, type,
                            {a.values(0, k), a.values(1, k), a.values(2, k)}, a.element, a.local, 1e-6);
                    },
                    {{argument::element, leaves::nothing}, {argument::local, leaves::nothing}});
        all.add("get_elements_containing_points", "", {mesh},
                [type = type](arguments& a) {
                    return meldra3d::get_elements_containing_points(a.pos, a.connect, a.neighbors, a.ancestors,
                                                                    a.detector, type, a.values, a.list, a.reals, 1e-6);
                },
                {{argument::list, leaves::anything}, {argument::reals, leaves::anything}});
        all.add("get_elements_containing_nodes", "", {mesh},
                [type = type](arguments& a) {
                    return meldra3d::get_elements_containing_nodes(a.pos, a.connect, type, a.ids, a.list, a.reals,
                                                                   1e-6);
                },
                {{argument::list, leaves::anything}, {argument::reals, leaves::anything}});
    }
}

arguments with_field(unsigned n) {
    arguments a = with_free_nodes(n);
    a.values = dense2D<double>(2, a.pos.cols(), 0.0);
    a.numbers = dense1D<double, 8>(a.pos.cols(), 0.0);
    for (std::size_t k = 0; k < a.pos.cols(); ++k) {
        a.values(0, k) = a.pos(0, k) * a.pos(1, k);
        a.values(1, k) = scattered(k);
        a.numbers[k] = 1 + a.pos(2, k);
    }
    return a;
}

/// Metrics and sizes of which every seventh is not valid.
arguments with_metrics(unsigned n) {
    arguments a = with_field(n);
    a.values = dense2D<double>(6, a.pos.cols());
    for (std::size_t k = 0; k < a.pos.cols(); ++k) {
        const double x = a.pos(0, k), y = a.pos(1, k), valid = a.ancestors[k] == no_node && k % 7 == 0 ? -1 : 1;
        const double metric[] = {1 + 3 * x, 0.2 * y, valid * (2 + y), -0.1 * x, 0.3, 4 + x * y};
        std::copy_n(metric, 6, a.values.col(k));
        a.numbers[k] *= valid;
    }
    return a;
}

void add_interpolations(call_list& all) {
    const std::vector<made> mesh{{"ET_TH4", with_field}};
    all.add(
        "interpolate", "of several components", mesh,
        [](arguments& a) { return meldra3d::interpolate(a.pos, a.connect, a.neighbors, a.ancestors, a.values, a.ids); },
        {{argument::values, leaves::some_done}});
    all.add("interpolate", "of one component", mesh,
            [](arguments& a) {
                return meldra3d::interpolate(a.pos, a.connect, a.neighbors, a.ancestors, a.numbers, a.ids);
            },
            {{argument::numbers, leaves::some_done}});
}

/// With an ID beyond the nodes, for which the connectivity is copied.
arguments with_bad_id(unsigned n) {
    arguments a = with_metrics(n);
    a.connect(0, 0) = unsigned(a.pos.cols());
    return a;
}

void add_metric_interpolations(call_list& all) {
    using meldra3d::interpolate_metrics;
    const call_list::rules metrics{{argument::values, leaves::some_done}};
    const call_list::rules sizes{{argument::numbers, leaves::some_done}};
    for (const bool keep : {false, true}) {
        const std::string kept = keep ? ", valid ones kept" : "";
        const std::vector<made> mesh{{"ET_TH4" + kept, with_metrics}, {"ET_TH4, a bad ID" + kept, with_bad_id}};
        all.add(
            "interpolate_metrics", "metrics at nodes", mesh,
            [keep](arguments& a) {
                return interpolate_metrics(a.pos, a.connect, a.neighbors, a.ancestors, a.values, a.ids, keep);
            },
            metrics);
        all.add(
            "interpolate_metrics", "metrics", mesh,
            [keep](arguments& a) {
                return interpolate_metrics(a.pos, a.connect, a.neighbors, a.ancestors, a.values, keep);
            },
            metrics);
        all.add(
            "interpolate_metrics", "sizes at nodes", mesh,
            [keep](arguments& a) {
                return interpolate_metrics(a.pos, a.connect, a.neighbors, a.ancestors, a.numbers, a.ids, keep);
            },
            sizes);
        all.add(
            "interpolate_metrics", "sizes", mesh,
            [keep](arguments& a) {
                return interpolate_metrics(a.pos, a.connect, a.neighbors, a.ancestors, a.numbers, keep);
            },
            sizes);
    }
}

} // namespace

void add_locate_calls(call_list& all) {
    add_searches(all);
    add_interpolations(all);
    add_metric_interpolations(all);
}

} // namespace test
