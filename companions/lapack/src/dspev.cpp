#include <lapack/lapack.h>

#include <cstddef>
#include <limits>

// The convention of gfortran: every argument by address, and behind them the lengths of the texts by value.
extern "C" void dspev_(const char* jobz, const char* uplo, const int* n, double* ap, double* w, double* z,
                       const int* ldz, double* work, int* info, std::size_t jobz_length, std::size_t uplo_length);

namespace quorl::lapack {

namespace {

constexpr long largest_integer = std::numeric_limits<int>::max();
constexpr long largest_order = 46340; // DSPEV computes n (n + 1) in its integers
static_assert(largest_order * (largest_order + 1) <= largest_integer);
static_assert((largest_order + 1) * (largest_order + 2) > largest_integer);

bool is_one_of(char letter, char upper, char lower) {
    return letter == upper || letter == lower;
}

/// Minus the position of the first invalid argument, or 0.
int check_dspev(char jobz, char uplo, long n, const double* ap, const double* w, const double* z, long ldz,
                const double* work) {
    const bool vectors = is_one_of(jobz, 'V', 'v');
    if (!vectors && !is_one_of(jobz, 'N', 'n'))
        return -1;
    if (!is_one_of(uplo, 'U', 'u') && !is_one_of(uplo, 'L', 'l'))
        return -2;
    if (n < 0 || n > largest_order)
        return -3;
    if (n > 0 && !ap)
        return -4;
    if (n > 0 && !w)
        return -5;
    if (n > 0 && vectors && !z)
        return -6;
    if (ldz < 1 || (vectors && ldz < n) || ldz > largest_integer)
        return -7;
    if (n > 0 && !work)
        return -8;
    return 0;
}

} // namespace

int dspev(char jobz, char uplo, long n, double* ap, double* w, double* z, long ldz, double* work, long& info) {
    int status = check_dspev(jobz, uplo, n, ap, w, z, ldz, work);
    if (status == 0) {
        const int order = static_cast<int>(n);
        const int distance = static_cast<int>(ldz);
        dspev_(&jobz, &uplo, &order, ap, w, z, &distance, work, &status, 1, 1);
    }
    info = status;
    return status;
}

} // namespace quorl::lapack
