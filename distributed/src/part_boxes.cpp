#include "part_boxes.h"

#include <algorithm>
#include <limits>

#include "frame/quickest.h"

namespace quorl::meldra3d_mpi::detail {

int part_boxes::collect(const box* own, MPI_Comm comm) {
    const auto ranks = static_cast<std::size_t>(size_of(comm));
    const bool room = boxes_.resize(ranks * boxes_per_part) && parts_.resize(ranks, box::none());
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0)
        return status;
    constexpr int bytes = boxes_per_part * sizeof(box);
    if (MPI_Allgather(own, bytes, MPI_BYTE, boxes_.data(), bytes, MPI_BYTE, comm) != MPI_SUCCESS)
        return no_message;
    box around = box::none();
    for (std::size_t k = 0; k < boxes_.size(); ++k) {
        parts_[k / boxes_per_part].include(boxes_[k]);
        around.include(boxes_[k]);
    }
    const bool built = tree_.build(boxes_.size(), around, [this](std::size_t k) { return boxes_[k]; });
    return agree(built ? 0 : no_memory, comm);
}

namespace {

/// Collects the parts of boxes.
struct candidate_list {
    dense1D<part_boxes::candidate, 8>& found;
    bool complete = true;

    void expect(unsigned) const {}
    void prepare(unsigned) const {}
    void visit(unsigned item, const std::uint16_t* which, unsigned n) {
        for (unsigned k = 0; k < n; ++k)
            complete = found.push_back({static_cast<int>(item / part_boxes::boxes_per_part), which[k]}) && complete;
    }
};

} // namespace

bool part_boxes::find_candidates(const double* points, unsigned count, dense1D<candidate, 8>& found) const {
    found.clear();
    candidate_list list{found};
    meldra3d::detail::quickest([&]() __attribute__((always_inline)) { tree_.visit_around(points, count, list); });
    // A part is found by each of its boxes.
    const auto order = [](const candidate& c) { return std::uint64_t(c.rank) << 32 | c.point; };
    std::sort(found.begin(), found.end(), [&](const candidate& a, const candidate& b) { return order(a) < order(b); });
    const candidate* const end = std::unique(
        found.begin(), found.end(), [&](const candidate& a, const candidate& b) { return order(a) == order(b); });
    found.resize(static_cast<std::size_t>(end - found.begin()));
    return list.complete;
}

int part_boxes::nearest_part(const double* x) const {
    double least = std::numeric_limits<double>::infinity();
    int nearest = -1;
    for (std::size_t rank = 0; rank < parts_.size(); ++rank) {
        const bool is_empty = parts_[rank].low[0] > parts_[rank].high[0];
        if (is_empty || (nearest >= 0 && squared_distance(parts_[rank], x) >= least))
            continue;
        if (const double distance = nearest_box(rank, x); nearest < 0 || distance < least) {
            least = distance;
            nearest = static_cast<int>(rank);
        }
    }
    return nearest;
}

/// By the operations that give the squared distance to a node: each keeps the order of its operands, so that no node in
/// the box is computed to be nearer. Infinity or 0 beyond the range of a square.
double part_boxes::squared_distance(const box& one, const double* x) {
    double gap[3];
    for (unsigned i = 0; i < 3; ++i)
        gap[i] = std::max({one.low[i] - x[i], x[i] - one.high[i], 0.0});
    return gap[0] * gap[0] + gap[1] * gap[1] + gap[2] * gap[2];
}

double part_boxes::nearest_box(std::size_t rank, const double* x) const {
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t k = 0; k < boxes_per_part; ++k)
        least = std::min(least, squared_distance(boxes_[rank * boxes_per_part + k], x));
    return least;
}

} // namespace quorl::meldra3d_mpi::detail
