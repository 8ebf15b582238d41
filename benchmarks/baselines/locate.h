// What one would write to find the tetrahedra of many points without the library. Included once for each compilation,
// see harness.h.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace BASELINES {

/// Direct linear tetrahedra, and the elements across the faces opposite each node.
struct tetrahedra {
    const double* pos;
    std::size_t nodes;
    const unsigned* connect;
    const unsigned* neighbors;
    std::size_t elements;
};

/// A cube of cells, of which each knows an element of a node in it, or none. About two nodes a cell.
class grid_of_elements {
public:
    explicit grid_of_elements(const tetrahedra& mesh);

    /// The element that the cell of a point knows, or `otherwise` when it knows none.
    unsigned near(const double* p, unsigned otherwise) const {
        const unsigned found = element_[cell(p, 0) + side_ * (cell(p, 1) + side_ * cell(p, 2))];
        return found == none ? otherwise : found;
    }

    /// The place of a point along a Morton curve.
    std::uint64_t morton(const double* p) const;

private:
    static constexpr unsigned none = 0xFFFFFFFFu;

    std::size_t cell(const double* p, unsigned axis) const {
        const double at = (p[axis] - low_[axis]) * scale_;
        return at > 0 ? at < last_ ? std::size_t(at) : side_ - 1 : 0;
    }

    double low_[3];
    double scale_;
    double last_;
    std::size_t side_;
    std::vector<unsigned> element_;
};

/// The element of each of n points (0xFFFFFFFF for none), and its barycentric coordinates for the first three nodes:
/// the points are sorted along a Morton curve, and each is walked to from the element that its cell of the grid knows.
void grid_walk(const tetrahedra& mesh, const grid_of_elements& grid, const double* points, std::size_t n,
               std::vector<unsigned>& elements, std::vector<double>& local);

} // namespace BASELINES
