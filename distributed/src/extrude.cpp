// Each sweep calls the serial one; what they share is in sweep.h.

#include <algorithm>
#include <numeric>

#include <meldra3d_mpi/meldra3d_mpi.h>

#include "common_values.h"
#include "sweep.h"

namespace quorl::meldra3d_mpi {

namespace {

using namespace detail;
using vec3 = vector_fixed<double, 3>;
using id_matrix = dense2D<unsigned int>;

/// Where the results go. The same matrix or mesh may be an input as well: they are only written at the end.
struct sweep_outputs {
    distributed_mesh& solids;
    id_matrix& connectQ;
    id_matrix& connectT;
};

/// Calls prepare(sweep), a collective step, and serial(arrays) where there are faces. `status` is what was found of the
/// arguments that `partitioned_sweep` does not know.
template <class Prepare, class Serial>
int run(partitioned_sweep sweep, int status, const sweep_outputs& out, const Prepare& prepare, const Serial& serial) {
    if (status = sweep.check(status); status < 0 || sweep.is_empty())
        return status;
    if (status = sweep.get_ghosts(); status < 0)
        return status;
    if (status = prepare(sweep); status < 0)
        return status;
    const std::size_t first_new = sweep.arrays().pos.cols();
    const int swept = sweep.has_faces() ? serial(sweep.arrays()) : 0;
    if (status = sweep.finish(swept, first_new); status < 0)
        return status;
    sweep.give(out.solids, out.connectQ, out.connectT);
    return 0;
}

int prepare_nothing(partitioned_sweep& /*sweep*/) {
    return 0;
}

int bring_first_face(partitioned_sweep& sweep) {
    return sweep.bring_first_face();
}

/// The normals of a surface of triangles and quadrangles are summed in an order that depends on all of its faces.
int unify_copies(partitioned_sweep& sweep) {
    sweep.unify_copies();
    return 0;
}

/// A line of points for the serial function, which takes IDs of nodes.
class appended_line {
public:
    explicit appended_line(const dense2D<double>& points) : points_(points) {}

    int append_to(partitioned_sweep& sweep) { return sweep.append_points(points_, first_); }

    bool list(dense1D<unsigned int, 8>& ids) const {
        if (!ids.resize(points_.cols()))
            return false;
        std::iota(ids.begin(), ids.end(), static_cast<unsigned>(first_));
        return true;
    }

private:
    const dense2D<double>& points_;
    std::size_t first_ = 0;
};

/// A sweep along a line, by the sizes or metrics that `scales` is.
template <class Scales>
int sweep_along_line(const distributed_mesh& surface, const dense2D<double>& line, const vec3& dir0,
                     const Scales& scales, int status, const sweep_outputs& out, const id_matrix& edges,
                     MPI_Comm comm) {
    if (const int alike = check_common({{line.cols(), -3}, {dir0, -4}}, comm); alike < 0)
        return alike;
    if (line.rows() != 3 || line.cols() < 2)
        status = -3;
    appended_line appended(line);
    return run(
        {surface, edges, -7, comm}, status, out, [&](partitioned_sweep& sweep) { return appended.append_to(sweep); },
        [&](serial_arrays& a) {
            dense1D<unsigned int, 8> ids;
            if (!appended.list(ids))
                return -199;
            return meldra3d::extrude_line(a.pos, a.faces, ids, dir0, scales, a.solids, a.edges, a.sides, a.cap);
        });
}

} // namespace

int extrude_translate(const distributed_mesh& surface, const vector_fixed<double, 3>& dir, double size_start,
                      double size_end, bool even_layers, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                      dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm) {
    const int alike = check_common({{dir, -3}, {size_start, -4}, {size_end, -5}, {even_layers, -6}}, comm);
    if (alike < 0)
        return alike;
    return run({surface, edges, -8, comm}, 0, {solids, connectQ, connectT}, prepare_nothing, [&](serial_arrays& a) {
        return meldra3d::extrude_translate(a.pos, a.faces, dir, size_start, size_end, even_layers, a.solids, a.edges,
                                           a.sides, a.cap);
    });
}

int extrude_translate(const distributed_mesh& surface, const vector_fixed<double, 3>& dir, unsigned int nlayers,
                      distributed_mesh& solids, const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                      dense2D<unsigned int>& connectT, MPI_Comm comm) {
    const int alike = check_common({{dir, -3}, {nlayers, -4}}, comm);
    if (alike < 0 || nlayers == 0)
        return alike;
    return run({surface, edges, -8, comm}, 0, {solids, connectQ, connectT}, prepare_nothing, [&](serial_arrays& a) {
        return meldra3d::extrude_translate(a.pos, a.faces, dir, nlayers, a.solids, a.edges, a.sides, a.cap);
    });
}

int extrude_rotate(const distributed_mesh& surface, const vector_fixed<double, 3>& axis_point,
                   const vector_fixed<double, 3>& rotation, double size_start, double size_end, bool even_layers,
                   distributed_mesh& solids, const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                   dense2D<unsigned int>& connectT, MPI_Comm comm) {
    const int alike =
        check_common({{axis_point, -3}, {rotation, -4}, {size_start, -5}, {size_end, -6}, {even_layers, -7}}, comm);
    if (alike < 0)
        return alike;
    return run({surface, edges, -9, comm}, 0, {solids, connectQ, connectT}, bring_first_face, [&](serial_arrays& a) {
        return meldra3d::extrude_rotate(a.pos, a.faces, axis_point, rotation, size_start, size_end, even_layers,
                                        a.solids, a.edges, a.sides, a.cap);
    });
}

int extrude_rotate(const distributed_mesh& surface, const vector_fixed<double, 3>& axis_point,
                   const vector_fixed<double, 3>& rotation, unsigned int nlayers, distributed_mesh& solids,
                   const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT,
                   MPI_Comm comm) {
    const int alike = check_common({{axis_point, -3}, {rotation, -4}, {nlayers, -5}}, comm);
    if (alike < 0 || nlayers == 0)
        return alike;
    return run({surface, edges, -9, comm}, 0, {solids, connectQ, connectT}, bring_first_face, [&](serial_arrays& a) {
        return meldra3d::extrude_rotate(a.pos, a.faces, axis_point, rotation, nlayers, a.solids, a.edges, a.sides,
                                        a.cap);
    });
}

int extrude_spiral(const distributed_mesh& surface, const vector_fixed<double, 3>& axis_point,
                   const vector_fixed<double, 3>& rotation, const vector_fixed<double, 3>& shift, double size_start,
                   double size_end, bool even_layers, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                   dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm) {
    const int alike = check_common(
        {{axis_point, -3}, {rotation, -4}, {shift, -5}, {size_start, -5}, {size_end, -6}, {even_layers, -7}}, comm);
    if (alike < 0)
        return alike;
    return run({surface, edges, -9, comm}, 0, {solids, connectQ, connectT}, prepare_nothing, [&](serial_arrays& a) {
        return meldra3d::extrude_spiral(a.pos, a.faces, axis_point, rotation, shift, size_start, size_end, even_layers,
                                        a.solids, a.edges, a.sides, a.cap);
    });
}

int extrude_spiral(const distributed_mesh& surface, const vector_fixed<double, 3>& axis_point,
                   const vector_fixed<double, 3>& rotation, const vector_fixed<double, 3>& shift, unsigned int nlayers,
                   distributed_mesh& solids, const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                   dense2D<unsigned int>& connectT, MPI_Comm comm) {
    const int alike = check_common({{axis_point, -3}, {rotation, -4}, {shift, -5}, {nlayers, -6}}, comm);
    if (alike < 0 || nlayers == 0)
        return alike;
    return run({surface, edges, -9, comm}, 0, {solids, connectQ, connectT}, prepare_nothing, [&](serial_arrays& a) {
        return meldra3d::extrude_spiral(a.pos, a.faces, axis_point, rotation, shift, nlayers, a.solids, a.edges,
                                        a.sides, a.cap);
    });
}

int extrude_normal(const distributed_mesh& surface, double thickness, double size_start, double size_end,
                   bool even_layers, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                   dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm) {
    const int alike = check_common({{thickness, -3}, {size_start, -4}, {size_end, -5}, {even_layers, -6}}, comm);
    if (alike < 0)
        return alike;
    return run({surface, edges, -8, comm}, 0, {solids, connectQ, connectT},
               surface.type == ET_FACE_MIX ? unify_copies : prepare_nothing, [&](serial_arrays& a) {
                   return meldra3d::extrude_normal(a.pos, a.faces, thickness, size_start, size_end, even_layers,
                                                   a.solids, a.edges, a.sides, a.cap);
               });
}

int extrude_normal(const distributed_mesh& surface, double thickness, unsigned int nlayers, distributed_mesh& solids,
                   const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT,
                   MPI_Comm comm) {
    const int alike = check_common({{thickness, -3}, {nlayers, -4}}, comm);
    if (alike < 0 || nlayers == 0)
        return alike;
    return run({surface, edges, -8, comm}, 0, {solids, connectQ, connectT},
               surface.type == ET_FACE_MIX ? unify_copies : prepare_nothing, [&](serial_arrays& a) {
                   return meldra3d::extrude_normal(a.pos, a.faces, thickness, nlayers, a.solids, a.edges, a.sides,
                                                   a.cap);
               });
}

int extrude_normal(const distributed_mesh& surface, const dense2D<double>& node_shifts, unsigned int nlayers,
                   distributed_mesh& solids, const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                   dense2D<unsigned int>& connectT, MPI_Comm comm) {
    const int alike = check_common({{nlayers, -4}}, comm);
    if (alike < 0 || nlayers == 0)
        return alike;
    const std::size_t nodes = surface.pos.cols();
    const bool suit = node_shifts.cols() == nodes && (nodes == 0 || node_shifts.rows() == 3);
    return run({surface, edges, -6, comm}, suit ? 0 : -3, {solids, connectQ, connectT}, prepare_nothing,
               [&](serial_arrays& a) {
                   dense2D<double> shifts; // those of ghosts only move what is cut off
                   if (!shifts.resize(3, a.pos.cols(), 0.0))
                       return -199;
                   for (std::size_t j = 0; j < nodes; ++j)
                       std::copy_n(node_shifts.col(j), 3, shifts.col(j));
                   return meldra3d::extrude_normal(a.pos, a.faces, shifts, nlayers, a.solids, a.edges, a.sides, a.cap);
               });
}

int extrude_line(const distributed_mesh& surface, const dense2D<double>& line, const vector_fixed<double, 3>& dir0,
                 const dense2D<double>& metrics, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                 dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm) {
    const int status = metrics.empty() || metrics.rows() == 6 ? 0 : -5;
    return sweep_along_line(surface, line, dir0, metrics, status, {solids, connectQ, connectT}, edges, comm);
}

int extrude_line(const distributed_mesh& surface, const dense2D<double>& line, const vector_fixed<double, 3>& dir0,
                 const dense1D<double, 8>& sizes, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                 dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm) {
    return sweep_along_line(surface, line, dir0, sizes, 0, {solids, connectQ, connectT}, edges, comm);
}

} // namespace quorl::meldra3d_mpi
