// Plain loops over the formulas of the measures. Included once for each compilation, see harness.h.

#include <cstddef>

namespace BASELINES {

/// Adds up the volumes of tetrahedra. With `nodes`, the nodes of later columns are asked for ahead, and a node beyond
/// that number makes the sum NaN: what a mesh in no order, and unchecked, calls for.
double volume(const double* pos, const unsigned* connect, std::size_t cols);
double volume_checked(const double* pos, const unsigned* connect, std::size_t cols, unsigned nodes);

/// The least and the greatest angle of each element of 4, 5, 6 or 8 nodes. One inverse function for each: of arguments
/// that it is monotone in, the extremes are found first.
void solid_angles(const double* pos, const unsigned* connect, std::size_t rows, std::size_t cols, double* least,
                  double* most);
void dihedral_angles(const double* pos, const unsigned* connect, std::size_t rows, std::size_t cols, double* least,
                     double* most);

/// Three coordinates for each tetrahedron.
void circumcenters(const double* pos, const unsigned* connect, std::size_t cols, double* centers);

} // namespace BASELINES
