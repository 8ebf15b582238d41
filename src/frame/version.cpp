#include <meldra3d/version.h>

namespace quorl::meldra3d {

const char* version() {
    return MELDRA3D_VERSION;
}

} // namespace quorl::meldra3d
