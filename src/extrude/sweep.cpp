// A swept mesh is written once: all sizes are known before the first element, so the outputs are resized once and
// every entry of the new columns is set in one pass over the surface. The surface's nodes are numbered in order of
// first appearance, a numbering that callers rely on to find the copies of a node.

#include "extrude/sweep.h"

#include <algorithm>
#include <array>
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

/// Asks for what is known of the nodes of a face that comes some columns later. Inlined always: a call of a function
/// that only prefetches has no effect in the eyes of a compiler, and is left out.
[[gnu::always_inline]] inline void prefetch_face_ahead(const dense2D<unsigned int>& surface, std::size_t j,
                                                       const node_index_map& nodes) {
    constexpr std::size_t ahead = 16; // some 100 ns of work: the latency of memory
    for (std::size_t i = 0; i < surface.rows() && j + ahead < surface.cols(); ++i)
        nodes.prefetch(surface.col(j + ahead)[i]);
}

/// Enters the nodes of a surface in order of first appearance. False when there is no memory.
bool collect_surface_nodes(const dense2D<unsigned int>& surface, node_index_map& nodes) {
    for (std::size_t j = 0; j < surface.cols(); ++j) {
        prefetch_face_ahead(surface, j, nodes);
        const unsigned* const face = surface.col(j);
        for (std::size_t i = 0; i < surface.rows(); ++i)
            if (face[i] != no_node && !nodes.insert(face[i]))
                return false;
    }
    return true;
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

/// Numbers the nodes of the levels.
struct level_numbering {
    std::uint32_t entry_nodes; ///< nodes before the sweep
    std::uint32_t per_level;
    std::uint32_t layers;

    /// Node `id`, of that index among the surface's nodes, on a level. Arithmetic modulo 2^32, so that an edge node
    /// outside the surface, of index `no_node`, has a well-defined number as well.
    std::uint32_t node(std::uint32_t id, std::uint32_t index, std::uint32_t level) const {
        return level == 0 ? id : entry_nodes + (level - 1) * per_level + index;
    }
};

/// The matrices of one sweep while it works. Reads its inputs through views of its own: an output may be the same
/// matrix as an input, or share its storage, and moves away when it grows.
class sweep_builder {
public:
    sweep_builder(const sweep_arrays& arrays, std::uint32_t layers)
        : surface_(arrays.connectS), edges_(arrays.edges.empty() ? dense2D<unsigned int>() : arrays.edges),
          pos_(arrays.pos), entry_nodes_(arrays.pos.cols()), layers_(layers), solids_(arrays.connectE),
          sides_(arrays.connectQ), cap_(arrays.connectT) {}

    int run(const layer_sizes& sizes, const sweep_path& path) {
        if (!collect_surface_nodes(surface_, nodes_) || !number_levels() || !memory_suffices())
            return no_memory;
        if (!build_layer_elements() || !grow_nodes()) {
            roll_back();
            return no_memory;
        }
        place_layer_nodes(sizes, path);
        const int status = finish(path);
        if (status != 0)
            roll_back();
        return status;
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
        if (!solids || !sides || !cap)
            return false;
        if (rows == 3)
            sweep_faces<3>();
        else
            sweep_faces<4>();
        sweep_edges();
        return true;
    }

    /// Writes the column of solids over each face, and the face that closes it.
    template <std::size_t Rows>
    void sweep_faces() {
        unsigned* solid = solids_.matrix.data() + solids_.entry_cols * solids_.matrix.ld();
        unsigned* cap = cap_.matrix.data() + cap_.entry_cols * cap_.matrix.ld();
        for (std::size_t j = 0; j < surface_.cols(); ++j, cap += cap_.matrix.ld()) {
            const unsigned* const face = surface_.col(j);
            prefetch_face_ahead(surface_, j, nodes_);
            const std::size_t corners = Rows == 4 && face[Rows - 1] != no_node ? 4 : 3;
            std::array<unsigned, Rows> lower{};
            std::array<unsigned, Rows> upper{};
            std::copy_n(face, corners, lower.begin());
            for (std::size_t c = 0; c < corners; ++c)
                upper[c] = levels_.node(face[c], nodes_.find(face[c]), 1);
            for (std::uint32_t k = 0; k < layers_; ++k, solid += solids_.matrix.ld()) {
                write_solid<Rows>(solid, corners, lower, upper);
                lower = upper;
                for (unsigned& id : upper)
                    id += levels_.per_level;
            }
            cap[0] = lower[0];
            for (std::size_t c = 1; c < Rows; ++c)
                cap[c] = c < corners ? lower[corners - c] : no_node;
        }
    }

    /// A wedge or hexahedron: the lower nodes, then the upper ones, then unused slots.
    template <std::size_t Rows>
    static void write_solid(unsigned* solid, std::size_t corners, const std::array<unsigned, Rows>& lower,
                            const std::array<unsigned, Rows>& upper) {
        if (corners == Rows) {
            std::copy_n(lower.begin(), Rows, solid);
            std::copy_n(upper.begin(), Rows, solid + Rows);
            return;
        }
        std::copy_n(lower.begin(), 3, solid);
        std::copy_n(upper.begin(), 3, solid + 3);
        std::fill_n(solid + 6, 2 * Rows - 6, no_node);
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

    bool grow_nodes() { return pos_.__resize_rows(3, entry_nodes_ + std::size_t(layers_) * nodes_.size(), 0.0); }

    /// Block by block of nodes, so that the coordinates of scattered nodes are fetched once for all levels.
    void place_layer_nodes(const layer_sizes& sizes, const sweep_path& path) {
        constexpr std::size_t block = 2048;
        const std::size_t ld = pos_.ld();
        for (std::size_t first = 0; first < nodes_.size(); first += block) {
            const std::size_t count = std::min(block, nodes_.size() - first);
            double* image = pos_.data() + (entry_nodes_ + first) * ld;
            for (std::uint32_t k = 1; k <= layers_; ++k, image += nodes_.size() * ld) {
                const double t = layer_fraction(double(k) / layers_, sizes.start, sizes.end);
                path.place({k, t, pos_, nodes_.ids() + first, count, image, ld, nodes_.size()});
            }
        }
    }

    int finish(const sweep_path& path) {
        std::array<dense2D<unsigned int>, 3> outputs{std::move(solids_.matrix), std::move(sides_.matrix),
                                                     std::move(cap_.matrix)};
        const int status = path.finish({pos_, outputs, nodes_, levels_.entry_nodes, layers_});
        solids_.matrix = std::move(outputs[0]);
        sides_.matrix = std::move(outputs[1]);
        cap_.matrix = std::move(outputs[2]);
        return status;
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

int sweep_layers(const sweep_arrays& arrays, std::uint32_t layers, const layer_sizes& sizes, const sweep_path& path) {
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
