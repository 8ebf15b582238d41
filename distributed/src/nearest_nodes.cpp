#include "nearest_nodes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <tuple>

namespace quorl::meldra3d_mpi::detail {

namespace {

/// A squared distance and the node that has it. The distance is fraction * 2^exponent, so that none is too large or too
/// small; the fraction is what double precision gives in its range.
struct near_node {
    std::int64_t exponent = std::numeric_limits<std::int64_t>::max();
    double fraction = 1;
    std::uint64_t id = no_id;

    bool operator<(const near_node& other) const {
        return std::tie(exponent, fraction, id) < std::tie(other.exponent, other.fraction, other.id);
    }

    /// The squared distance, or a larger one where a double cannot hold it well.
    double bound() const {
        constexpr double smallest = 1e-290; // whose squared components are no subnormal numbers
        if (id == no_id || exponent > 1024)
            return std::numeric_limits<double>::infinity();
        return std::max(smallest, exponent < -1000 ? 0 : std::ldexp(fraction, static_cast<int>(exponent)));
    }
};

near_node measured(const double* x, const double* y, std::uint64_t id) {
    double d[3], largest = 0;
    int exponent = 0;
    const auto subtract = [&](double factor) {
        for (unsigned i = 0; i < 3; ++i) {
            d[i] = x[i] * factor - y[i] * factor;
            largest = std::max(largest, std::fabs(d[i]));
        }
    };
    subtract(1);
    if (std::isinf(largest)) {
        largest = 0;
        exponent = 2;
        subtract(0.25);
    }
    if (largest == 0)
        return {std::numeric_limits<std::int64_t>::min(), 0, id};
    const int scale = std::ilogb(largest);
    for (double& component : d)
        component = std::ldexp(component, -scale);
    int of_sum = 0;
    const double fraction = std::frexp(d[0] * d[0] + d[1] * d[1] + d[2] * d[2], &of_sum);
    return {2 * (scale + exponent) + of_sum, fraction, id};
}

/// The nodes that elements of a part name, in the order of their global IDs.
class node_search {
public:
    explicit node_search(const distributed_mesh& mesh) : mesh_(mesh) {}

    /// Makes ready to search, once, where a point has come at all. False when memory ran out.
    bool prepare(std::size_t points) {
        if (points == 0 || is_ready_)
            return true;
        is_ready_ = build();
        return is_ready_;
    }

    /// The column of the nearest node, or `no_node`.
    unsigned find(const double* x) const {
        const unsigned found = detector_.find_closest({x[0], x[1], x[2]});
        return found == no_node ? no_node : columns_[found];
    }

private:
    bool build() {
        dense1D<unsigned char, 8> named(mesh_.node_ids.size(), 0);
        if (named.size() != mesh_.node_ids.size() || !columns_.resize(named.size()))
            return false;
        for (std::size_t j = 0; j < mesh_.element_ids.size(); ++j)
            for (std::size_t i = 0; i < mesh_.connectivity.rows(); ++i)
                named[mesh_.connectivity(i, j)] = 1;
        std::size_t count = 0;
        for (std::size_t k = 0; k < named.size(); ++k)
            if (named[k] != 0)
                columns_[count++] = static_cast<unsigned>(k);
        columns_.resize(count);
        std::sort(columns_.begin(), columns_.end(),
                  [this](unsigned a, unsigned b) { return mesh_.node_ids[a] < mesh_.node_ids[b]; });
        return give_to_detector();
    }

    bool give_to_detector() {
        dense2D<double> pos;
        dense2D<unsigned int> numbers;
        if (!pos.resize(3, columns_.size()) || !numbers.resize(1, columns_.size()))
            return false;
        for (std::size_t k = 0; k < columns_.size(); ++k)
            std::copy_n(mesh_.pos.col(columns_[k]), 3, pos.col(k));
        std::iota(numbers.data(), numbers.data() + numbers.size(), 0u);
        return detector_.reinit(pos, numbers) == 0;
    }

    const distributed_mesh& mesh_;
    dense1D<unsigned, 8> columns_;
    meldra::node_detector detector_;
    bool is_ready_ = false;
};

/// Sends the points of a list, and gets the nearest nodes of the parts: one for each point sent.
int ask(const distributed_mesh& mesh, node_search& search, const dense2D<double>& points,
        const dense1D<destination, 8>& list, bool complete, nearest_round& round, dense1D<near_node, 8>& answers,
        MPI_Comm comm) {
    if (const int status = send_points(points, list, complete, round.routed, comm); status < 0)
        return status;
    const dense1D<asked_point, 8>& received = round.routed.received.records;
    dense1D<near_node, 8> found;
    const bool room = found.resize(received.size(), near_node{}) && round.nodes.resize(received.size()) &&
                      search.prepare(received.size());
    for (std::size_t k = 0; room && k < received.size(); ++k) {
        const unsigned node = round.nodes[k] = search.find(received[k].x);
        if (node != no_node)
            found[k] = measured(received[k].x, mesh.pos.col(node), mesh.node_ids[node]);
    }
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0)
        return status;
    return answer(round.routed.received, found, round.routed.sent, answers, comm);
}

/// Chooses, for each point, the nearest of the nodes. `best` and `choice` are what is known from before, and follow.
bool choose(dense1D<near_node, 8>& best, const dense1D<near_node, 8>& answers, nearest_nodes& nearest, unsigned number,
            dense1D<unsigned char*, 8>& choice) {
    nearest_round& round = nearest.rounds[number];
    if (!round.chosen.resize(answers.size(), 0))
        return false;
    for (std::size_t k = 0; k < answers.size(); ++k) {
        const unsigned point = round.routed.numbers[k];
        if (!(answers[k] < best[point]))
            continue;
        best[point] = answers[k];
        if (choice[point])
            *choice[point] = 0;
        choice[point] = &round.chosen[k];
        *choice[point] = 1;
    }
    return true;
}

} // namespace

int find_nearest_nodes(const distributed_mesh& mesh, const part_boxes& boxes, const dense2D<double>& points,
                       nearest_nodes& nearest, MPI_Comm comm) {
    const std::size_t count = points.empty() ? 0 : points.cols();
    node_search search(mesh);
    dense1D<destination, 8> list;
    dense1D<int, 8> first_asked;
    dense1D<near_node, 8> best, answers;
    dense1D<unsigned char*, 8> choice;
    bool complete = first_asked.resize(count) && list.reserve(count, 1) && best.resize(count, near_node{}) &&
                    choice.resize(count, nullptr);
    for (unsigned k = 0; complete && k < count; ++k) {
        first_asked[k] = boxes.nearest_part(points.col(k));
        if (first_asked[k] >= 0)
            complete = list.push_back({k, first_asked[k]});
    }
    if (const int status = ask(mesh, search, points, list, complete, nearest.rounds[0], answers, comm); status < 0)
        return status;
    complete = choose(best, answers, nearest, 0, choice);
    list.clear();
    for (unsigned k = 0; complete && k < count; ++k)
        if (first_asked[k] >= 0)
            boxes.visit_within(points.col(k), best[k].bound(), [&](int rank) {
                if (rank != first_asked[k])
                    complete = list.push_back({k, rank}) && complete;
            });
    if (const int status = ask(mesh, search, points, list, complete, nearest.rounds[1], answers, comm); status < 0)
        return status;
    return agree(choose(best, answers, nearest, 1, choice) ? 0 : no_memory, comm);
}

} // namespace quorl::meldra3d_mpi::detail
