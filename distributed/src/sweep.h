#pragma once

#include <cstddef>
#include <cstdint>

#include <meldra3d_mpi/meldra3d_mpi.h>

#include "exchange.h"
#include "ghost_layer.h"
#include "numbering.h"

namespace quorl::meldra3d_mpi::detail {

/// What a serial sweep is called on: the part with its ghosts, and empty outputs.
struct serial_arrays {
    dense2D<double> pos;
    dense2D<unsigned int> faces;
    dense2D<unsigned int> edges;
    dense2D<unsigned int> solids;
    dense2D<unsigned int> sides;
    dense2D<unsigned int> cap;
};

/// What all sweeps of a partitioned surface have in common: the serial sweep of the part with its ghosts, whose copies
/// are then numbered and cut to the part. The steps are collective and give the same status on all ranks; a negative
/// one ends the sweep.
class partitioned_sweep {
public:
    /// `edges_code` is the status where the edges are not those of the part.
    partitioned_sweep(const distributed_mesh& surface, const dense2D<unsigned int>& edges, int edges_code,
                      MPI_Comm comm)
        : surface_(surface), edges_(edges), edges_code_(edges_code), comm_(comm) {}

    /// Checks the arguments of each rank, after others that gave `status` there. Not done for an empty surface.
    int check(int status);
    bool is_empty() const { return rows_ == 0; } ///< that no rank has a face; known after `check`

    int get_ghosts();
    /// Brings the first face of the whole surface in front, with nodes of its own where it is no ghost.
    int bring_first_face();
    /// Puts points behind the nodes, from `first` on.
    int append_points(const dense2D<double>& points, std::size_t& first);

    /// Lets the lowest of the ranks that have a copy say where it lies, where these may find different bits.
    void unify_copies() { unified_ = true; }

    bool has_faces() const { return !arrays_.faces.empty(); }
    serial_arrays& arrays() { return arrays_; }

    /// Makes the results of what the serial sweep has made, from `first_new` on among the nodes, and of its status.
    int finish(int status, std::size_t first_new);
    void give(distributed_mesh& solids, dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT);

private:
    struct face_record;
    using point = vector_fixed<double, 3>;

    int check_here(int status) const;
    bool insert(const face_record& face);
    int agree_on_layers();
    int cut(const new_nodes& found, unsigned first_new);
    bool cut_solids(const part_numbering& numbering);
    bool cut_sides(const part_numbering& numbering);
    bool edges_are_swept(const new_nodes& found, unsigned first_new) const;
    bool number_solids();
    int send_copies();
    bool take_copies(const by_rank<point>& came);

    const distributed_mesh& surface_;
    const dense2D<unsigned int>& edges_;
    const int edges_code_;
    const MPI_Comm comm_;
    std::size_t rows_ = 0; ///< in which all faces are listed; 0 where there are none
    std::uint64_t layers_ = 0;
    bool unified_ = false;
    extended_part extended_; ///< without nodes and faces, which are in the arrays
    serial_arrays arrays_;
    distributed_mesh solids_;
    dense2D<unsigned int> sides_, cap_;
};

} // namespace quorl::meldra3d_mpi::detail
