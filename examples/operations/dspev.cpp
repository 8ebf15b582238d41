// Sizes and directions that a metric asks for, from its eigenvalues and eigenvectors.
#include <cmath>
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double metric[] = {2.5, 1.5, 2.5, 0, 0, 0.25}; // m11 m12 m22 m13 m23 m33: the upper triangle, by columns
    double values[3], vectors[9], work[9];
    long info = 0;
    const int status = lapack::dspev('V', 'U', 3, metric, values, vectors, 3, work, info);
    for (const double value : values)
        std::printf("%.2f ", 1 / std::sqrt(value));
    std::printf("along directions of which the last is (%.3f, %.3f, %.3f)\n", std::abs(vectors[6]),
                std::abs(vectors[7]), std::abs(vectors[8]));
    return status;
}
// prints: 2.00 1.00 0.50 along directions of which the last is (0.707, 0.707, 0.000)
