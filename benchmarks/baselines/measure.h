// Plain loops over the measures of elements, as one would write them without the library. Included once for each
// compilation, see harness.h. All take columns of as many IDs as an element has nodes and three coordinates a node, ask
// for the nodes of a column sixteen columns ahead, and refuse a mesh with an ID that is not below `nodes`.

#include <cstddef>

namespace BASELINES {

struct measured_mesh {
    const double* pos;
    std::size_t nodes;
    const unsigned* connect;
    std::size_t rows; ///< 4, 5, 6 or 8
    std::size_t cols;
};

/// The signed volume of tetrahedra.
bool volume_loop(const measured_mesh& m, double& volume);

/// The smallest and the largest angle of each element, from one inverse function for each of them.
bool solid_angle_loop(const measured_mesh& m, double* least, double* most);
bool dihedral_angle_loop(const measured_mesh& m, double* least, double* most);

/// The centres of the spheres around tetrahedra.
bool circumcenter_loop(const measured_mesh& m, double* centers);

} // namespace BASELINES
