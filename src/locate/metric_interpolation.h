#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <numcore/fixed.h>

// Interpolation of sizes and of metrics inside a tetrahedron. A metric M asks for the length h along a unit vector e
// when e^T M e = 1 / h^2. Lengths are interpolated linearly, not the entries: of two metrics along the directions that
// both have as axes (simultaneous reduction; H. Borouchaki, P. L. George, F. Hecht, P. Laug, E. Saltel, Finite Elements
// in Analysis and Design 25, 1997, pp. 61-83), of four by merging one after another.
namespace quorl::meldra3d::detail {

using metric = symmetric_fixed<double, 3>;
using barycentric = vector_fixed<double, 3>; ///< weights of nodes 0, 1 and 2; that of node 3 is what they lack to 1

/// A length that can be used.
bool is_valid_size(double size);

/// True when all eigenvalues are positive (and all entries numbers).
bool is_valid_metric(const metric& m);

/// The size at a point of a tetrahedron with four sizes. A node with a weight below 1e-12 takes no part, and its size
/// need not be valid. None when one that takes part, or the result, is not valid.
std::optional<double> combine_sizes(const double (&h)[4], const barycentric& w);

/// The metric between two, `t` of the way from the first to the second. None when the first is not positive definite
/// or the reduction fails.
std::optional<metric> between_metrics(double t, const metric& first, const metric& second);

/// The solution of an eigenproblem: three values, then their vectors. One array, since they are read four by four.
struct eigenpairs {
    double entries[12];

    double* values() { return entries; }
    double* vectors() { return entries + 3; }
};

/// Eigenproblems that have been solved. Points of one element begin with the same one, and where the metric is the same
/// everywhere there is but one.
class solved_eigenproblems {
public:
    /// The solution for a matrix of the very same bits, or null.
    const eigenpairs* find(const metric& matrix) const;

    /// May displace another.
    void add(const metric& matrix, const eigenpairs& solution);

private:
    using bits = std::array<std::uint64_t, 6>;
    struct entry {
        bool used = false;
        bits matrix{};
        eigenpairs solution{};
    };
    static std::size_t place(const bits& matrix);

    std::array<entry, 256> entries_{};
};

/// The metrics at the nodes of a tetrahedron, and a point in it.
struct metrics_around {
    const double* at_nodes[4];
    barycentric w;
};

inline constexpr unsigned metrics_at_once = 8;

/// Writes the metrics at points of tetrahedra, as many as are named above at most, which is much quicker than one after
/// another. All is read before anything is written. A node with a weight below 1e-12 takes no part, and its metric need
/// not be valid. Returns bit k for each point k that has a result, which it does not have when a reduction fails: then
/// nothing is written. What `known` holds is not solved again.
unsigned combine_metrics(const metrics_around* points, unsigned count, double* const* results,
                         solved_eigenproblems* known = nullptr);

/// The metric at a point of a tetrahedron with four metrics. None when a reduction fails.
std::optional<metric> combine_metrics(const metric (&m)[4], const barycentric& w);

} // namespace quorl::meldra3d::detail
