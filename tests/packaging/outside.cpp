// A program outside the project: sweeps one square into four cubes, whose volume tells that the library works.
#include <meldra3d/meldra3d.h>

#include <cstring>

int main() {
    quorl::dense2D<double> pos(3, 4, 0.0);
    pos(0, 1) = pos(0, 2) = pos(1, 2) = pos(1, 3) = 1;
    quorl::dense2D<unsigned> square(4, 1), solids;
    for (unsigned i = 0; i < 4; ++i)
        square(i, 0) = i;
    const quorl::vector_fixed<double, 3> up{0, 0, 4};
    double volume = 0;
    const bool swept = quorl::meldra3d::extrude_translate(pos, square, up, 4, solids) == 0 && solids.cols() == 4;
    const bool measured = quorl::meldra3d::volume(pos, solids, volume) == 0 && volume == 4;
    // The eigenvalue of (7) comes from LAPACK, which a program linked to the static library gets through the package.
    double packed = 7, eigenvalue = 0, work[3];
    long info = -1;
    const bool solved =
        quorl::lapack::dspev('N', 'U', 1, &packed, &eigenvalue, nullptr, 1, work, info) == 0 && eigenvalue == 7;
    // What the package says of its version, and what the library says.
    const bool agreed = std::strcmp(quorl::meldra3d::version(), PACKAGE_VERSION ".0") == 0;
    return swept && measured && solved && agreed ? 0 : 1;
}
