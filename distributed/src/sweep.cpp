// A copy on any level has the coordinates that follow from its node, and the number that follows from the place of its
// node in the order in which the faces first name them. So the nodes of one level are numbered as new nodes of the
// faces, and the levels follow each other.

#include "sweep.h"

#include <algorithm>
#include <array>
#include <utility>

#include "check_part.h"
#include "common_values.h"
#include "exchange.h"
#include "frame/element_tables.h"

namespace quorl::meldra3d_mpi::detail {

namespace {

element_type solids_over(element_type faces, std::size_t rows) {
    if (faces == ET_Q4)
        return ET_H8;
    return rows == meldra3d::detail::rows_of(ET_T3) ? ET_W6 : ET_SOLID_MIX;
}

} // namespace

/// A face that is sent with its nodes.
struct partitioned_sweep::face_record {
    std::uint64_t id;
    int rank;
    unsigned column;
    unsigned corners;
    std::array<point, 4> points;
};

int partitioned_sweep::check_here(int status) const {
    if (surface_.type != ET_T3 && surface_.type != ET_Q4 && surface_.type != ET_FACE_MIX)
        return -2;
    if (status < 0)
        return status;
    if (!edges_.empty() && (edges_.rows() != 2 || edges_.cols() > no_node))
        return edges_code_;
    return check_part(surface_, comm_);
}

int partitioned_sweep::check(int status) {
    rows_ = common_rows(surface_, comm_);
    if (is_empty())
        return agree(0, comm_);
    return agree_on_part(check_here(status), surface_, comm_);
}

int partitioned_sweep::get_ghosts() {
    if (const int status = extend_in_rows(surface_, rows_, extended_, comm_); status < 0)
        return status;
    arrays_.pos = std::move(extended_.pos);
    arrays_.faces = std::move(extended_.connectivity);
    arrays_.edges = edges_;
    return 0;
}

int partitioned_sweep::bring_first_face() {
    const dense1D<std::uint64_t, 8>& ids = surface_.element_ids;
    const std::uint64_t* const mine = std::min_element(ids.begin(), ids.end());
    const std::uint64_t first = ~largest_of_all(ids.empty() ? 0 : ~*mine, comm_);
    const int rank = rank_of(comm_);
    const bool here = !ids.empty() && *mine == first;
    face_record face{
        first, static_cast<int>(largest_of_all(here ? static_cast<std::uint64_t>(rank) : 0, comm_)), 0, 0, {}};
    if (here) {
        face.column = static_cast<unsigned>(mine - ids.begin());
        const unsigned* const column = surface_.connectivity.col(face.column);
        while (face.corners < surface_.connectivity.rows() && column[face.corners] != no_node) {
            std::copy_n(surface_.pos.col(column[face.corners]), 3, face.points[face.corners].values);
            ++face.corners;
        }
    }
    const int sent = MPI_Bcast(&face, sizeof face, MPI_BYTE, face.rank, comm_);
    if (const int status = agree(sent == MPI_SUCCESS ? 0 : no_message, comm_); status < 0)
        return status;
    const bool in_front = !has_faces() || extended_.element_ids[0] == first;
    return agree(in_front || insert(face) ? 0 : no_memory, comm_);
}

bool partitioned_sweep::insert(const face_record& face) {
    const std::size_t faces = arrays_.faces.cols();
    const std::size_t nodes = arrays_.pos.cols();
    dense2D<unsigned int> all(arrays_.faces.rows(), faces + 1, no_node);
    dense1D<int, 8> ranks(faces + 1, face.rank);
    dense1D<unsigned int, 8> columns(faces + 1, face.column);
    dense1D<std::uint64_t, 8> ids(faces + 1, face.id);
    if (all.empty() || ranks.empty() || columns.empty() || ids.empty() || nodes + face.corners > no_node ||
        !arrays_.pos.resize(3, nodes + face.corners))
        return false;
    for (unsigned k = 0; k < face.corners; ++k) {
        std::copy_n(face.points[k].values, 3, arrays_.pos.col(nodes + k));
        all(k, 0) = static_cast<unsigned>(nodes) + k;
    }
    for (std::size_t j = 0; j < faces; ++j)
        std::copy_n(arrays_.faces.col(j), all.rows(), all.col(j + 1));
    std::copy(extended_.ranks.begin(), extended_.ranks.end(), ranks.begin() + 1);
    std::copy(extended_.columns.begin(), extended_.columns.end(), columns.begin() + 1);
    std::copy(extended_.element_ids.begin(), extended_.element_ids.end(), ids.begin() + 1);
    arrays_.faces = std::move(all);
    extended_.ranks = std::move(ranks);
    extended_.columns = std::move(columns);
    extended_.element_ids = std::move(ids);
    return true;
}

int partitioned_sweep::append_points(const dense2D<double>& points, std::size_t& first) {
    first = arrays_.pos.cols();
    const bool fits =
        points.cols() < no_node && first + points.cols() <= no_node && arrays_.pos.resize(3, first + points.cols());
    for (std::size_t j = 0; fits && j < points.cols(); ++j)
        std::copy_n(points.col(j), 3, arrays_.pos.col(first + j));
    return agree(fits ? 0 : no_memory, comm_);
}

/// A rank without faces learns from the others how many layers there are.
int partitioned_sweep::agree_on_layers() {
    const std::uint64_t mine = has_faces() ? arrays_.solids.cols() / arrays_.faces.cols() : 0;
    layers_ = largest_of_all(mine, comm_);
    const bool alike = !has_faces() || mine == layers_;
    return agree(alike && layers_ != 0 && surface_.elements <= no_id / layers_ ? 0 : no_memory, comm_);
}

int partitioned_sweep::finish(int status, std::size_t first_new) {
    if (status = agree(status, comm_); status < 0)
        return status;
    if (status = agree_on_layers(); status < 0)
        return status;
    const auto first = static_cast<unsigned>(first_new);
    const auto per_level = static_cast<unsigned>((arrays_.pos.cols() - first_new) / layers_);
    // Each face of the cap names the copies of the nodes of one face, on the last level.
    const id_range last_level{static_cast<unsigned>(first + (layers_ - 1) * per_level), per_level};
    new_nodes found;
    if (status = number_new_nodes(surface_, extended_, {arrays_.cap}, last_level, found, comm_); status < 0)
        return status;
    if (status = agree(cut(found, first), comm_); status < 0)
        return status;
    return unified_ ? send_copies() : 0;
}

int partitioned_sweep::cut(const new_nodes& found, unsigned first_new) {
    if (!edges_are_swept(found, first_new))
        return edges_code_;
    const part_numbering numbering(surface_, first_new, found);
    if (const int status = cut_nodes(surface_, arrays_.pos, numbering, layers_, solids_); status < 0)
        return status;
    extended_result cap{std::move(arrays_.cap)};
    const bool done =
        cut_solids(numbering) && cut_elements(cap, numbering, cap_) && cut_sides(numbering) && number_solids();
    return done ? 0 : no_memory;
}

/// Whether own faces name the nodes of all edges; only then have the part's results the copies.
bool partitioned_sweep::edges_are_swept(const new_nodes& found, unsigned first_new) const {
    const auto is_swept = [&](unsigned node, unsigned copy) {
        const unsigned place = copy - first_new;
        return node < surface_.pos.cols() && place < found.place.size() && found.place[place] != no_node;
    };
    if (edges_.empty())
        return true;
    for (std::size_t j = 0; j < edges_.cols() && has_faces(); ++j) {
        const unsigned* const side = arrays_.sides.col(j * layers_);
        if (!is_swept(side[1], side[2]) || !is_swept(side[0], side[3]))
            return false;
    }
    return has_faces();
}

/// As `cut_elements`, but without a look at the upper layers: from one to the next all nodes go up by a level.
bool partitioned_sweep::cut_solids(const part_numbering& numbering) {
    extended_result solids{std::move(arrays_.solids), layers_};
    const std::size_t rows = solids.connectivity.rows();
    const unsigned up = numbering.own_per_level();
    return move_elements(
        solids, numbering.found(), solids_.connectivity, [&](const unsigned* from, unsigned* to, std::size_t layer) {
            if (layer < 2)
                std::transform(from, from + rows, to, numbering);
            else
                std::transform(to - rows, to, to, [up](unsigned id) { return id == no_node ? id : id + up; });
        });
}

bool partitioned_sweep::cut_sides(const part_numbering& numbering) {
    if (!sides_.resize(4, edges_.empty() ? 0 : arrays_.sides.cols()))
        return false;
    for (std::size_t j = 0; j < sides_.cols(); ++j)
        std::transform(arrays_.sides.col(j), arrays_.sides.col(j) + 4, sides_.col(j), numbering);
    return true;
}

/// The layers of face i are solids i * layers and those behind.
bool partitioned_sweep::number_solids() {
    solids_.type = solids_over(surface_.type, rows_);
    solids_.elements = surface_.elements * layers_;
    if (!solids_.element_ids.resize(solids_.connectivity.cols()))
        return false;
    for (std::size_t j = 0; j < solids_.element_ids.size(); ++j)
        solids_.element_ids[j] = surface_.element_ids[j / layers_] * layers_ + j % layers_;
    return true;
}

/// Sends the copies of shared nodes to the higher ranks that have them, too.
int partitioned_sweep::send_copies() {
    const distributed_mesh& s = solids_;
    const int here = rank_of(comm_);
    const auto receiver = [&](std::size_t k) {
        const auto* const above = std::upper_bound(s.first_shared.begin(), s.first_shared.end(), k);
        const int rank = s.neighbor_ranks[static_cast<std::size_t>(above - s.first_shared.begin()) - 1];
        return rank > here && s.shared_nodes[k] >= surface_.pos.cols() ? rank : -1;
    };
    const auto copy = [&](std::size_t k) {
        const double* const p = s.pos.col(s.shared_nodes[k]);
        return point{p[0], p[1], p[2]};
    };
    by_rank<point> sent, came;
    dense1D<std::size_t, 8> place;
    const bool sorted = sort_by_rank(s.shared_nodes.size(), size_of(comm_), receiver, copy, sent, place);
    if (const int status = agree(sorted ? 0 : no_memory, comm_); status < 0)
        return status;
    if (const int status = exchange(sent, came, comm_); status < 0)
        return status;
    return agree(take_copies(came) ? 0 : not_a_part, comm_);
}

/// False when another rank has sent more or less copies than it shares with this one.
bool partitioned_sweep::take_copies(const by_rank<point>& came) {
    const point* end = came.records.end();
    // From the highest rank down: what comes last, from the lowest, stays.
    for (std::size_t n = solids_.neighbor_ranks.size(); n-- > 0;) {
        const auto rank = static_cast<std::size_t>(solids_.neighbor_ranks[n]);
        if (solids_.neighbor_ranks[n] > rank_of(comm_))
            continue;
        const point* next = end -= came.counts[rank];
        for (std::uint64_t k = solids_.first_shared[n]; k < solids_.first_shared[n + 1]; ++k) {
            const unsigned node = solids_.shared_nodes[k];
            if (node < surface_.pos.cols())
                continue;
            if (next == end + came.counts[rank])
                return false;
            std::copy_n(&(*next++)[0], 3, solids_.pos.col(node));
        }
        if (next != end + came.counts[rank])
            return false;
    }
    return end == came.records.begin();
}

void partitioned_sweep::give(distributed_mesh& solids, dense2D<unsigned int>& connectQ,
                             dense2D<unsigned int>& connectT) {
    connectT = std::move(cap_);
    connectQ = std::move(sides_);
    solids = std::move(solids_);
}

} // namespace quorl::meldra3d_mpi::detail
