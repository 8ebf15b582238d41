#pragma once

#include <numcore/export.h>

/// LAPACK in the types of this family.
namespace quorl::lapack {

/// Eigenvalues and, if wanted, eigenvectors of a real symmetric matrix in packed storage: DSPEV of LAPACK.
///   jobz   in       'N' (or 'n') for eigenvalues only, 'V' (or 'v') for eigenvectors as well
///   uplo   in       'U' (or 'u') when `ap` holds the upper triangle, 'L' (or 'l') for the lower one
///   n      in       order of the matrix, from 0 to 46340: beyond that DSPEV overflows its integers
///   ap     in/out   n (n + 1) / 2 values, the columns of the triangle one behind the other; overwritten
///   w      out      n values: the eigenvalues in ascending order
///   z      out      with 'V', n columns at a distance of `ldz`: orthonormal eigenvectors in the order of `w`; with 'N'
///                   not touched, and may be null
///   ldz    in       >= 1, and with 'V' >= n
///   work   out      3 n values of working memory
///   info   out      0 on success; -k when the k-th argument is invalid (then nothing else is touched), which also
///                   stands for a null pointer where values are needed and for a number beyond the integers of LAPACK;
///                   k > 0 when the iteration failed to converge, with k elements of a tridiagonal form left
/// Returns the value of `info`. Invalid arguments are found here, so that the error routine of LAPACK, which prints and
/// may end the program, is never called.
/// Time is cubic in `n`; nothing is copied and nothing allocated.
MELDRA3D_API int dspev(char jobz, char uplo, long n, double* ap, double* w, double* z, long ldz, double* work,
                       long& info);

} // namespace quorl::lapack
