#include <meldra3d/meldra3d.h>

// Sweeps a square into four cubes, whose volume tells that the library works.
int main() {
    double corners[] = {0, 0, 1, 0, 1, 1, 0, 1};
    unsigned ids[] = {0, 1, 2, 3};
    auto pos = quorl::dense2D<double>::view(corners, 2, 4, 2);
    const auto square = quorl::dense2D<unsigned>::view(ids, 4, 1, 4);
    quorl::dense2D<unsigned> solids;
    double volume = 0;
    const int swept = quorl::meldra3d::extrude_translate(pos, square, {0, 0, 4}, 4, solids);
    const int measured = quorl::meldra3d::volume(pos, solids, volume);
    return swept == 0 && measured == 0 && volume == 4 ? 0 : 1;
}
