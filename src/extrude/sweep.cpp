// A swept mesh is written once: all sizes are known before the first element, so the outputs are resized once and
// every entry of the new columns is set in one pass over the surface. The surface's nodes are numbered in order of
// first appearance, a numbering that callers rely on to find the copies of a node.

#include "extrude/sweep.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include <meldra/meldra.h>

#include "extrude/node_index_map.h"
#include "extrude/spacing.h"
#include "frame/id_count.h"

namespace quorl::meldra3d::detail {

namespace {

constexpr int no_memory = -199;

int check_sweep(const sweep_arrays& arrays, const sweep_codes& codes, const layer_sizes& sizes,
                const sweep_path& path) {
    const dense2D<double>& pos = arrays.pos;
    if (pos.rows() != 2 && pos.rows() != 3)
        return -1;
    const auto nodes = id_count(pos.cols());
    if (!meldra::check_IDs(arrays.connectS, ET_FACE_MIX, nodes))
        return -2;
    if (const int status = path.check(); status != 0)
        return status;
    if (!(sizes.start > 0)) // negated: NaN is refused, too
        return codes.size_start;
    if (!(sizes.end > 0))
        return codes.size_end;
    return check_sweep_outputs(arrays, codes);
}

/// An output while columns are appended to it. It is taken out of the caller's hands and given back at the end, so
/// that one matrix passed for several outputs cannot be resized under the feet of another.
class appended_matrix {
public:
    explicit appended_matrix(dense2D<unsigned int>& owner)
        : matrix(std::move(owner)), entry_cols(matrix.cols()), owner_(owner) {}
    appended_matrix(const appended_matrix&) = delete;
    appended_matrix& operator=(const appended_matrix&) = delete;
    ~appended_matrix() { owner_ = std::move(matrix); }

    dense2D<unsigned int> matrix;
    const std::size_t entry_cols;

private:
    dense2D<unsigned int>& owner_;
};

/// Numbers the nodes of the levels: level after level, each in the order of the surface's nodes. Where a path brings
/// nodes of its own in the place of the copies of one node, these have no number, and the others close up.
class level_numbering {
public:
    level_numbering() = default;
    level_numbering(std::uint32_t entry_nodes, std::uint32_t surface_nodes, std::uint32_t layers)
        : entry_nodes_(entry_nodes), surface_nodes_(surface_nodes), layers_(layers), per_level_(surface_nodes) {}

    /// Lets guide[k] stand for the node of that index on level k. Its copies may have to stay all the same, unused.
    void replace(std::uint32_t index, const unsigned* guide, bool copies_stay) {
        replaced_ = index;
        guide_ = guide;
        if (!copies_stay) {
            left_out_ = index;
            --per_level_;
        }
    }

    std::uint32_t per_level() const { return per_level_; }
    std::uint32_t entry_nodes() const { return entry_nodes_; }
    std::uint32_t all_nodes() const { return entry_nodes_ + layers_ * per_level_; }
    bool replaces(std::uint32_t index) const { return index == replaced_; } ///< for the index of a node
    const unsigned* guide() const { return guide_; }
    std::uint32_t replaced() const { return replaced_; } ///< `no_node` when none is

    /// The index of the surface's node whose copies come in that place on their levels.
    std::size_t source(std::size_t place) const { return place + (place >= left_out_); }

    /// The copy on level 1 of the surface's node of that index, which is not replaced.
    std::uint32_t first_copy(std::uint32_t index) const { return entry_nodes_ + index - (index > left_out_); }

    /// Node `id`, of that index among the surface's nodes, on a level. Arithmetic modulo 2^32, so that an edge node
    /// outside the surface, of index `no_node`, has a well-defined number as well.
    std::uint32_t node(std::uint32_t id, std::uint32_t index, std::uint32_t level) const {
        return renumbered(level == 0 ? id : entry_nodes_ + (level - 1) * surface_nodes_ + index);
    }

    /// What becomes of a number that is given without any regard to the nodes of the path.
    std::uint32_t renumbered(std::uint32_t id) const {
        const std::uint32_t place = id - entry_nodes_; // wraps for older nodes, beyond those added
        if (replaced_ == no_node || place >= layers_ * surface_nodes_)
            return id;
        const std::uint32_t level = place / surface_nodes_ + 1;
        const std::uint32_t index = place % surface_nodes_;
        return index == replaced_ ? guide_[level] : first_copy(index) + (level - 1) * per_level_;
    }

private:
    std::uint32_t entry_nodes_ = 0; // nodes before the sweep
    std::uint32_t surface_nodes_ = 0;
    std::uint32_t layers_ = 0;
    std::uint32_t per_level_ = 0;
    std::uint32_t replaced_ = no_node; // the index of a node
    std::uint32_t left_out_ = no_node; // the same where its copies have no number
    const unsigned* guide_ = nullptr;
};

using four_ids = unsigned __attribute__((vector_size(4 * sizeof(unsigned))));

/// The rows of a solid, six or eight of them.
struct eight_ids {
    four_ids low, high;
};

eight_ids load(const std::array<unsigned, 8>& from) {
    eight_ids ids;
    std::memcpy(&ids.low, from.data(), sizeof ids.low);
    std::memcpy(&ids.high, from.data() + 4, sizeof ids.high);
    return ids;
}

template <std::size_t Rows>
void write(const eight_ids& ids, unsigned* to) {
    std::memcpy(to, &ids.low, sizeof ids.low);
    std::memcpy(to + 4, &ids.high, (Rows - 4) * sizeof(unsigned));
}

constexpr std::size_t block = 512; // nodes whose coordinates, and those of a level, fill half of a first-level cache

/// The coordinates of a few nodes, one after another. They may be scattered: those soon to come are fetched into the
/// cache meanwhile.
template <class Node>
void gather_points(const dense2D<double>& matrix, std::size_t count, Node node, double* points) {
    constexpr std::size_t ahead = 16; // some 100 ns of work: the latency of memory
    for (std::size_t j = 0; j < count; ++j, points += 3) {
        __builtin_prefetch(matrix.col(node(std::min(j + ahead, count - 1))));
        std::copy_n(matrix.col(node(j)), 3, points);
    }
}

/// The matrices of one sweep while it works. Reads its inputs through views of its own: an output may be the same
/// matrix as an input, or share its storage, and moves away when it grows.
class sweep_builder {
public:
    sweep_builder(const sweep_arrays& arrays, std::uint32_t layers)
        : surface_(arrays.connectS), edges_(arrays.edges.empty() ? dense2D<unsigned int>() : arrays.edges),
          pos_(arrays.pos), entry_nodes_(arrays.pos.cols()), layers_(layers), solids_(arrays.connectE),
          sides_(arrays.connectQ), cap_(arrays.connectT) {}

    int run(const layer_sizes& sizes, sweep_path& path) {
        if (!nodes_.insert_all(surface_, entry_nodes_) || !number_levels() || !memory_suffices())
            return no_memory;
        if (const unsigned* const guide = path.guide())
            follow(guide);
        if (!build_layer_elements() || !grow_nodes()) {
            roll_back();
            return no_memory;
        }
        place_nodes(sizes, path);
        return 0;
    }

private:
    /// False when an ID would not fit.
    bool number_levels() {
        const std::uint64_t added = std::uint64_t(layers_) * nodes_.size();
        if (added > id_limit || entry_nodes_ > id_limit - added)
            return false;
        levels_ = {static_cast<std::uint32_t>(entry_nodes_), static_cast<std::uint32_t>(nodes_.size()), layers_};
        return true;
    }

    /// Lets the nodes of the path stand for copies where it begins in the surface. Those copies are left out unless the
    /// caller's own entries, in the rows that outputs keep, name nodes that there would not be.
    void follow(const unsigned* guide) {
        const std::uint32_t first = nodes_.find(guide[0]);
        if (first == no_node)
            return;
        const auto known_in = [this](const dense2D<unsigned int>& matrix, std::size_t rows) {
            const auto kept = matrix.sub(0, 0, std::min(rows, matrix.rows()), matrix.cols());
            return meldra::check_IDs(kept, levels_.all_nodes());
        };
        const bool known = known_in(edges_, 2) && known_in(solids_.matrix, 2 * surface_.rows()) &&
                           known_in(sides_.matrix, 4) && known_in(cap_.matrix, surface_.rows());
        levels_.replace(first, guide, !known);
    }

    std::size_t swept_columns(const dense2D<unsigned int>& source) const { return source.cols() * layers_; }

    /// Asks for the whole of the outputs at once, before anything is written. A system that hands out more memory than
    /// it has grants many outputs one by one, and ends the process when they are filled.
    bool memory_suffices() const {
        struct part {
            std::size_t cols, times, added, row_bytes;
        };
        const std::array<part, 4> parts{{
            {surface_.cols(), layers_, solids_.entry_cols, 2 * surface_.rows() * sizeof(unsigned)},
            {edges_.cols(), layers_, sides_.entry_cols, 4 * sizeof(unsigned)},
            {surface_.cols(), 1, cap_.entry_cols, surface_.rows() * sizeof(unsigned)},
            {nodes_.size(), layers_, entry_nodes_, 3 * sizeof(double)},
        }};
        std::size_t total = 0;
        for (const part& p : parts) {
            std::size_t columns = 0;
            std::size_t added = 0; // a matrix without rows may claim any number of columns
            std::size_t bytes = 0;
            if (!numcore::__byte_count(p.cols, p.times, 1, columns) || !numcore::__byte_count(p.added, 1, 1, added) ||
                !numcore::__byte_count(columns + added, 1, p.row_bytes, bytes) ||
                !numcore::__byte_count(total + bytes, 1, 1, total))
                return false;
        }
        void* const probe = numcore::__vector_num_alloc(total);
        numcore::__vector_num_free(probe);
        return probe != nullptr;
    }

    bool build_layer_elements() {
        const std::size_t rows = surface_.rows();
        const std::size_t side_cols = sides_.entry_cols + swept_columns(edges_);
        // All three are tried, so that the outputs take their row counts whichever of them fails.
        const bool solids =
            solids_.matrix.__resize_rows(2 * rows, solids_.entry_cols + swept_columns(surface_), no_node);
        const bool sides = sides_.matrix.__resize_rows(4, side_cols, no_node);
        const bool cap = cap_.matrix.__resize_rows(rows, cap_.entry_cols + surface_.cols(), no_node);
        if (!solids || !sides || !cap || !renumber_entries())
            return false;
        if (rows == 3)
            sweep_faces<3>();
        else
            sweep_faces<4>();
        sweep_edges();
        return true;
    }

    /// Brings the columns that were there before in line with the nodes of the path.
    bool renumber_entries() {
        for (appended_matrix* output : {&solids_, &sides_, &cap_}) {
            dense2D<unsigned int>& matrix = output->matrix;
            if (levels_.replaced() == no_node || matrix.empty() || output->entry_cols == 0)
                continue;
            if (!matrix.__detach())
                return false;
            for (std::size_t j = 0; j < output->entry_cols; ++j)
                for (std::size_t i = 0; i < matrix.rows(); ++i)
                    matrix(i, j) = levels_.renumbered(matrix(i, j));
        }
        return true;
    }

    /// Writes the column of solids over each face, and the face that closes it.
    template <std::size_t Rows>
    void sweep_faces() {
        constexpr std::size_t ahead = 16; // some 100 ns of work: the latency of memory
        unsigned* solid = solids_.matrix.data() + solids_.entry_cols * solids_.matrix.ld();
        unsigned* cap = cap_.matrix.data() + cap_.entry_cols * cap_.matrix.ld();
        for (std::size_t j = 0; j < surface_.cols(); ++j, cap += cap_.matrix.ld()) {
            const unsigned* const face = surface_.col(j);
            for (std::size_t c = 0; c < Rows && j + ahead < surface_.cols(); ++c)
                nodes_.prefetch(face[ahead * surface_.ld() + c]);
            // NOLINTNEXTLINE(bugprone-branch-clone): with 3 rows both are the same, and the second is never reached
            if (Rows == 3 || face[Rows - 1] == no_node)
                sweep_face<Rows, 3>(face, solid, cap);
            else
                sweep_face<Rows, Rows>(face, solid, cap);
            solid += layers_ * solids_.matrix.ld();
        }
    }

    /// Writes the wedges or hexahedra over a face, and that which closes it: its nodes backwards.
    template <std::size_t Rows, std::size_t Corners>
    void sweep_face(const unsigned* face, unsigned* solid, unsigned* cap) const {
        std::array<unsigned, Corners> index, top;
        bool replaced = false;
        for (std::size_t c = 0; c < Corners; ++c) {
            index[c] = nodes_.find(face[c]);
            replaced = replaced || levels_.replaces(index[c]);
        }
        if (replaced || layers_ == 0) {
            stack_at_path<Rows>(face, index, solid);
            for (std::size_t c = 0; c < Corners; ++c)
                top[c] = levels_.node(face[c], index[c], layers_);
        } else {
            for (unsigned& i : index)
                i = levels_.first_copy(i);
            stack<Rows>(face, index, solid);
            for (std::size_t c = 0; c < Corners; ++c)
                top[c] = index[c] + (layers_ - 1) * levels_.per_level();
        }
        cap[0] = top[0];
        for (std::size_t c = 1; c < Rows; ++c)
            cap[c] = c < Corners ? top[Corners - c] : no_node;
    }

    /// Writes the solids over a face whose nodes have copies: the lower nodes, then the upper ones, then unused slots.
    /// From one solid to the next, all nodes go up by one and the same number.
    template <std::size_t Rows, std::size_t Corners>
    void stack(const unsigned* face, const std::array<unsigned, Corners>& first_copy, unsigned* solid) const {
        std::array<unsigned, 8> next, step{};
        next.fill(no_node);
        std::copy_n(face, Corners, next.begin());
        std::copy_n(first_copy.begin(), Corners, next.begin() + Corners);
        eight_ids ids = load(next);
        write<2 * Rows>(ids, solid);
        for (std::size_t c = 0; c < Corners; ++c) {
            next[c] = first_copy[c];
            next[Corners + c] = first_copy[c] + levels_.per_level();
            step[c] = step[Corners + c] = levels_.per_level();
        }
        ids = load(next);
        const eight_ids up = load(step);
        for (std::uint32_t k = 1; k < layers_; ++k) {
            solid += solids_.matrix.ld();
            write<2 * Rows>(ids, solid);
            ids.low += up.low;
            ids.high += up.high;
        }
    }

    /// The same for a face some node of which has none, for the path brings nodes of its own.
    template <std::size_t Rows, std::size_t Corners>
    void stack_at_path(const unsigned* face, const std::array<unsigned, Corners>& index, unsigned* solid) const {
        for (std::uint32_t k = 1; k <= layers_; ++k, solid += solids_.matrix.ld()) {
            for (std::size_t c = 0; c < Corners; ++c) {
                solid[c] = levels_.node(face[c], index[c], k - 1);
                solid[Corners + c] = levels_.node(face[c], index[c], k);
            }
            std::fill_n(solid + 2 * Corners, 2 * Rows - 2 * Corners, no_node);
        }
    }

    /// Writes the side quadrangles over each edge.
    void sweep_edges() {
        unsigned* side = sides_.matrix.data() + sides_.entry_cols * sides_.matrix.ld();
        for (std::size_t i = 0; i < edges_.cols(); ++i) {
            const unsigned* const edge = edges_.col(i);
            const std::array<unsigned, 2> index{nodes_.find(edge[0]), nodes_.find(edge[1])};
            for (std::uint32_t k = 1; k <= layers_; ++k, side += sides_.matrix.ld()) {
                side[0] = levels_.node(edge[1], index[1], k - 1);
                side[1] = levels_.node(edge[0], index[0], k - 1);
                side[2] = levels_.node(edge[0], index[0], k);
                side[3] = levels_.node(edge[1], index[1], k);
            }
        }
    }

    bool grow_nodes() { return pos_.__resize_rows(3, levels_.all_nodes(), 0.0); }

    /// Block by block of nodes, so that what the levels share stays in cache, and level by level in each.
    void place_nodes(const layer_sizes& sizes, sweep_path& path) {
        for (std::uint32_t below = 0; below < layers_; below += std::min(level_group::most, layers_ - below)) {
            level_group levels{below + 1, std::min(level_group::most, layers_ - below), {}, pos_};
            for (std::uint32_t k = 0; k < levels.count; ++k)
                levels.t[k] = layer_fraction(double(levels.first + k) / layers_, sizes.start, sizes.end);
            path.begin(levels);
            for (std::size_t node = 0; node < levels_.per_level(); node += block)
                place_block(levels, node, std::min(block, levels_.per_level() - node), path);
        }
        place_unused_copies();
    }

    /// Places `count` nodes, from that one on, on each level of a group.
    void place_block(const level_group& levels, std::size_t first, std::size_t count, const sweep_path& path) {
        std::array<double, 3 * block> originals, vectors, even, odd;
        const auto source = [&](std::size_t j) { return nodes_.ids()[levels_.source(first + j)]; };
        gather_points(pos_, count, source, originals.data());
        if (path.vectors())
            gather_points(*path.vectors(), count, source, vectors.data());
        std::size_t image = levels_.entry_nodes() + (levels.first - 1) * std::size_t(levels_.per_level()) + first;
        const double* below = originals.data();
        if (levels.first != 1) {
            const std::size_t column = image - levels_.per_level();
            gather_points(
                pos_, count, [column](std::size_t j) { return column + j; }, odd.data());
            below = odd.data();
        }
        for (std::uint32_t k = 0; k < levels.count; ++k, image += levels_.per_level()) {
            // Columns that lie apart, as those of a window of a matrix do, are written by way of a list.
            double* const images = pos_.ld() == 3 ? pos_.col(image) : k % 2 == 0 ? even.data() : odd.data();
            path.place({k, levels.t[k], count, originals.data(), below, vectors.data(), images});
            for (std::size_t j = 0; j < count && pos_.ld() != 3; ++j)
                std::copy_n(images + 3 * j, 3, pos_.col(image + j));
            below = images;
        }
    }

    /// Copies that nothing uses, since the path brings nodes of its own, but that have to stay, lie where those do.
    void place_unused_copies() {
        if (levels_.replaced() == no_node || levels_.per_level() != nodes_.size())
            return;
        for (std::uint32_t k = 1; k <= layers_; ++k)
            std::copy_n(pos_.col(levels_.guide()[k]), 3,
                        pos_.col(levels_.first_copy(levels_.replaced()) + (k - 1) * levels_.per_level()));
    }

    void roll_back() {
        solids_.matrix.resize(solids_.matrix.rows(), solids_.entry_cols);
        sides_.matrix.resize(4, sides_.entry_cols);
        cap_.matrix.resize(cap_.matrix.rows(), cap_.entry_cols);
        pos_.resize(pos_.rows(), entry_nodes_);
    }

    // The views of the inputs are taken before the outputs leave the caller's hands.
    const dense2D<unsigned int> surface_;
    const dense2D<unsigned int> edges_;
    dense2D<double>& pos_;
    const std::size_t entry_nodes_;
    const std::uint32_t layers_;
    level_numbering levels_{};
    node_index_map nodes_;
    // Given back in reverse order: where one matrix stands for several outputs, the solids win.
    appended_matrix solids_;
    appended_matrix sides_;
    appended_matrix cap_;
};

} // namespace

bool suits_rows(const dense2D<unsigned int>& matrix, std::size_t one, std::size_t other) {
    return matrix.empty() || matrix.rows() == one || matrix.rows() == other;
}

int check_sweep_outputs(const sweep_arrays& arrays, const sweep_codes& codes) {
    if (!suits_rows(arrays.connectE, 6, 8))
        return codes.connectE;
    if (!suits_rows(arrays.edges, 2, 2))
        return codes.edges;
    if (!suits_rows(arrays.connectQ, 4, 4))
        return codes.connectQ;
    if (!suits_rows(arrays.connectT, 3, 4))
        return codes.connectT;
    return 0;
}

int sweep_layers(const sweep_arrays& arrays, std::uint32_t layers, const layer_sizes& sizes, sweep_path& path) {
    return sweep_builder(arrays, layers).run(sizes, path);
}

int sweep(const sweep_arrays& arrays, const sweep_codes& codes, const layer_sizes& sizes, sweep_path& path) {
    if (arrays.connectS.empty())
        return 0;
    if (const int status = check_sweep(arrays, codes, sizes, path); status != 0)
        return status;
    const auto layers =
        round_layer_count(path.length() * progression_density(sizes.start, sizes.end), sizes.even_layers ? 2 : 1);
    if (!layers)
        return no_memory;
    if (const int status = path.prepare(); status != 0)
        return status;
    return sweep_layers(arrays, *layers, sizes, path);
}

int sweep_equal_layers(const sweep_arrays& arrays, const sweep_codes& codes, unsigned nlayers, sweep_path& path) {
    if (nlayers == 0)
        return 0;
    const double size = path.length() * (1.0 / nlayers);
    return sweep(arrays, codes, {size, size, false}, path);
}

} // namespace quorl::meldra3d::detail
