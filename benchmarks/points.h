#pragma once

#include <map>

#include "harness.h"

// Random points, and where the library finds them, for the programs that locate beside the benchmarks of locate_bench.
namespace bench {

/// In the box of the nodes, in no order.
inline quorl::dense2D<double> points_in(const mesh& m, std::size_t n) {
    double low[3], high[3];
    std::copy_n(m.pos.col(0), 3, low);
    std::copy_n(m.pos.col(0), 3, high);
    for (std::size_t v = 1; v < m.pos.cols(); ++v)
        for (std::size_t i = 0; i < 3; ++i) {
            low[i] = std::min(low[i], m.pos(i, v));
            high[i] = std::max(high[i], m.pos(i, v));
        }
    std::mt19937_64 random(2);
    std::uniform_real_distribution<double> unit(0, 1);
    quorl::dense2D<double> points(3, n);
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t i = 0; i < 3; ++i)
            points(i, k) = low[i] + unit(random) * (high[i] - low[i]);
    return points;
}

/// What a search needs, made once for a mesh.
struct search_aids {
    quorl::dense2D<unsigned> neighbors;
    quorl::dense1D<unsigned> ancestors;
    quorl::meldra::node_detector detector;
    bool good = false;

    explicit search_aids(const mesh& m)
        : good(quorl::meldra::get_neighbors(m.connect, quorl::ET_TH4, true, neighbors) == 0 &&
               quorl::meldra::get_ancestors(m.connect, ancestors) == 0 && detector.reinit(m.pos, m.connect) == 0) {}
};

inline const search_aids& aids_of(const mesh& m) {
    static std::map<const mesh*, search_aids> made;
    return made.try_emplace(&m, m).first->second;
}

struct located {
    quorl::dense1D<unsigned> elements;
    quorl::dense2D<double> local;
    int status = 0;

    std::size_t found() const {
        return elements.size() - std::size_t(std::count(elements.data(), elements.data() + elements.size(), no_node));
    }
};

inline located locate(const mesh& m, const quorl::dense2D<double>& points) {
    const search_aids& aids = aids_of(m);
    located result;
    result.status =
        quorl::meldra3d::get_elements_containing_points(m.pos, m.connect, aids.neighbors, aids.ancestors, aids.detector,
                                                        quorl::ET_TH4, points, result.elements, result.local, 1e-6);
    return result;
}

/// As many points as elements.
inline void BM_get_elements_containing_points(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const quorl::dense2D<double> points = points_in(m, m.connect.cols());
    located result;
    aids_of(m);
    for (auto _ : state)
        result = locate(m, points);
    check(state, aids_of(m).good && result.status >= 0 && result.found() > points.cols() * 9 / 10, "not found");
    count(state, points.cols(), bytes_of(points));
}

/// The same with all that the search needs made anew.
inline void BM_get_elements_containing_nodes(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const quorl::dense2D<double> points = points_in(m, m.connect.cols());
    quorl::dense2D<double> pos(3, m.pos.cols() + points.cols());
    std::copy_n(m.pos.data(), m.pos.size(), pos.data());
    std::copy_n(points.data(), points.size(), pos.col(m.pos.cols()));
    quorl::dense1D<unsigned> nodes(points.cols());
    std::iota(nodes.data(), nodes.data() + nodes.size(), unsigned(m.pos.cols()));
    located result;
    for (auto _ : state)
        result.status = quorl::meldra3d::get_elements_containing_nodes(pos, m.connect, quorl::ET_TH4, nodes,
                                                                       result.elements, result.local, 1e-6);
    check(state, result.status >= 0 && result.found() > points.cols() * 9 / 10, "not found");
    count(state, points.cols(), bytes_of(points));
}

} // namespace bench
