#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

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

/// Levels that follow one another, worked out together.
struct level_group {
    static constexpr std::uint32_t most = 32;

    std::uint32_t first; ///< the number of the first, from 1
    std::uint32_t count;
    std::array<double, most> t; ///< the fraction of the path at each, from 0 to 1
    const dense2D<double>& pos;
};

/// Nodes of one level to be placed: lists of the three coordinates of each.
struct sweep_level {
    std::uint32_t place; ///< in its group
    double t;
    std::size_t count;
    const double* originals; ///< the nodes whose copies they are
    const double* below;     ///< the copies on the level below
    const double* vectors;   ///< the vectors of the originals, if the path has any
    double* images;          ///< to be written; none of the other lists
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
    /// A vector for each node of the mesh; null when the path needs none.
    virtual const dense2D<double>* vectors() const { return nullptr; }
    /// Works out what the nodes of a level have in common, for the levels that are placed next.
    virtual void begin(const level_group& /*levels*/) {}
    /// Writes the images of nodes on a level.
    virtual void place(const sweep_level& level) const = 0;
    /// Nodes, from the surface on, that take the places of the copies of the first of them; null when there are none.
    virtual const unsigned* guide() const { return nullptr; }
};

/// True when a matrix is empty or has one of two numbers of rows.
bool suits_rows(const dense2D<unsigned int>& matrix, std::size_t one, std::size_t other);

/// The status of the row checks of the four optional matrices, 0 when they pass.
int check_sweep_outputs(const sweep_arrays& arrays, const sweep_codes& codes);

/// A whole sweep with layer thicknesses between two sizes.
int sweep(const sweep_arrays& arrays, const sweep_codes& codes, const layer_sizes& sizes, sweep_path& path);

/// The part behind the checks: `layers` layers, graded by `sizes`. 0, or -199 with the columns of all outputs as
/// before.
int sweep_layers(const sweep_arrays& arrays, std::uint32_t layers, const layer_sizes& sizes, sweep_path& path);

/// A sweep of `nlayers` equal layers: the form with sizes, each of them the length over the number of layers.
int sweep_equal_layers(const sweep_arrays& arrays, const sweep_codes& codes, unsigned nlayers, sweep_path& path);

} // namespace quorl::meldra3d::detail
