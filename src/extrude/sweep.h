#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

#include "extrude/node_index_map.h"

// The procedure that every sweep shares. An operation gives its path, and this procedure does the rest: checks, number
// of layers, numbering and building of nodes and elements, and the way back when memory runs out.
namespace quorl::meldra3d::detail {

/// The matrices of a sweep, as the public headers describe them.
struct sweep_arrays {
    dense2D<double>& pos;
    const dense2D<unsigned int>& connectS;
    dense2D<unsigned int>& connectE;
    const dense2D<unsigned int>& edges;
    dense2D<unsigned int>& connectQ;
    dense2D<unsigned int>& connectT;
};

/// The status codes of the checks of one operation; pos is -1 and connectS -2 in all of them.
struct sweep_codes {
    int size_start;
    int size_end;
    int connectE;
    int edges;
    int connectQ;
    int connectT;
};

/// Layer thicknesses wanted at the two ends of the path.
struct layer_sizes {
    double start;
    double end;
    bool even_layers;
};

/// Nodes of one level to be placed: `count` of them, the j-th a copy of node source[j] of `pos`, at image + j * ld.
struct sweep_level {
    std::uint32_t number; ///< from 1
    double t;             ///< fraction of the path, from 0 to 1
    const dense2D<double>& pos;
    const unsigned* source;
    std::size_t count;
    double* image;
    std::size_t ld;
    std::size_t per_level; ///< the copy of a node one level below lies so many columns before

    /// The coordinates of the node whose copy is the j-th of the level.
    const double* original(std::size_t j) const { return column(pos, j); }

    /// The column of that node in a matrix. The nodes of a surface may be scattered: those soon to come are fetched
    /// into the cache meanwhile.
    const double* column(const dense2D<double>& matrix, std::size_t j) const {
        constexpr std::size_t ahead = 16;
        __builtin_prefetch(matrix.col(source[j + ahead < count ? j + ahead : j]));
        return matrix.col(source[j]);
    }

    /// The coordinates of the j-th node of the level below: of its original for level 1.
    const double* below(std::size_t j) const { return number == 1 ? original(j) : image + j * ld - per_level * ld; }
};

/// A mesh whose elements are built and whose nodes are placed, before it is given back.
struct swept_mesh {
    dense2D<double>& pos;
    std::array<dense2D<unsigned int>, 3>& outputs; ///< solids, side quadrangles, closing faces
    const node_index_map& surface_nodes;
    std::uint32_t entry_nodes; ///< nodes before the sweep
    std::uint32_t layers;
};

/// What makes one sweep differ from another.
class sweep_path {
public:
    sweep_path() = default;
    sweep_path(const sweep_path&) = delete;
    sweep_path& operator=(const sweep_path&) = delete;
    virtual ~sweep_path() = default;

    /// Checks of the path's own arguments, made between those of connectS and of the sizes. 0, or the status.
    virtual int check() const { return 0; }
    /// Length along which the layers are counted; asked for after all checks.
    virtual double length() const = 0;
    /// Work that can fail, done before anything of the caller's is changed. 0, or the status.
    virtual int prepare() { return 0; }
    /// Writes the three coordinates of each node of a level.
    virtual void place(const sweep_level& level) const = 0;
    /// A last change of the swept mesh. 0, or -199: then all is cut back as after a failure to build it.
    virtual int finish(const swept_mesh& /*mesh*/) const { return 0; }
};

/// True when a matrix is empty or has one of two numbers of rows.
bool suits_rows(const dense2D<unsigned int>& matrix, std::size_t one, std::size_t other);

/// The status of the row checks of the four optional matrices, 0 when they pass.
int check_sweep_outputs(const sweep_arrays& arrays, const sweep_codes& codes);

/// A whole sweep with layer thicknesses between two sizes.
int sweep(const sweep_arrays& arrays, const sweep_codes& codes, const layer_sizes& sizes, sweep_path& path);

/// The part behind the checks: `layers` layers, graded by `sizes`. 0, or -199 with the columns of all outputs as
/// before.
int sweep_layers(const sweep_arrays& arrays, std::uint32_t layers, const layer_sizes& sizes, const sweep_path& path);

/// A sweep of `nlayers` equal layers: the form with sizes, each of them the length over the number of layers.
int sweep_equal_layers(const sweep_arrays& arrays, const sweep_codes& codes, unsigned nlayers, sweep_path& path);

} // namespace quorl::meldra3d::detail
