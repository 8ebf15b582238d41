// Flips in place as one would write them, the pairs of rows known to the compiler. Included once for each compilation,
// see harness.h.

#include <cstddef>

namespace BASELINES {

/// The exchanges of meldra3d::flip for elements of 4, 5, 6, 8, 10, 14, 18 or 27 rows.
void flip(unsigned* connect, std::size_t rows, std::size_t cols);

/// Those of flip_TH4, flip_W6 and flip_H8 for elements of 4, 6 or 8 rows.
void flip_of_one_kind(unsigned* connect, std::size_t rows, std::size_t cols);

} // namespace BASELINES
