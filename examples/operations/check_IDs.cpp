// Checks lists and connectivities of node IDs before they are used.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    const dense1D<unsigned> list{0, 3, no_node};
    unsigned ids[] = {0, 1, 2, 3, 1, 2, 4, no_node};
    const auto faces = dense2D<unsigned>::view(ids, 4, 2, 4);
    std::printf("%d %d %d %d %d\n", meldra::check_IDs(list, 4), meldra::check_IDs(list, 3), // 3 is beyond 3 nodes
                meldra::check_IDs(faces, 5), meldra::check_IDs(faces, ET_FACE_MIX, 5),
                meldra::check_IDs(faces, ET_Q4, 5)); // quadrangles alone have no unused rows
    return 0;
}
// prints: 1 0 1 1 0
