#pragma once

#include <numcore/export.h>

namespace quorl::meldra3d {

/// Version of the library in use, the constant text "5.6.0.0": the same pointer on every call. Cannot fail.
MELDRA3D_API const char* version();

} // namespace quorl::meldra3d
