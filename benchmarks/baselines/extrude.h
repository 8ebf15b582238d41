// What one would write for a sweep without the library. Included once for each compilation, see harness.h.

#include <cstddef>

namespace BASELINES {

/// A surface of quadrangles, and the fresh memory that its sweep is written to.
struct plain_sweep {
    const double* pos;
    std::size_t nodes;
    const unsigned* faces; // four nodes each
    std::size_t count;
    unsigned layers;
    unsigned* index; // of each node among those of the surface
    unsigned* ids;   // of the nodes of the surface, in order of first appearance
    unsigned* solids;
    unsigned* cap;
    double* swept; // the nodes, and those of the levels
};

/// The rotation by an angle about the y axis through (x0, 0, 0), and a shift along the axis.
struct plain_turn {
    double x0;
    double angle;
    double shift;
};

void translate(const plain_sweep& s, const double* shift);
void turn(const plain_sweep& s, const plain_turn& t);
/// Moves each node along a vector of its own.
void along_vectors(const plain_sweep& s, const double* vectors);
/// The same along its unit normal, weighted by the angles of the corners; `normals` is memory for them.
void along_normals(const plain_sweep& s, double thickness, double* normals);
/// Along nodes of the mesh, a layer for each segment, without a turn.
void along_line(const plain_sweep& s, const unsigned* line);

} // namespace BASELINES
