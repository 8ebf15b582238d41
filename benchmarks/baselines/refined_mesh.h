#pragma once

#include <cstddef>
#include <memory>

#include "memory_limits.h"

namespace bench {

/// A mesh in fresh memory in huge pages.
struct refined_mesh {
    std::unique_ptr<fresh_memory> pos, connect;
    std::size_t nodes = 0;
};

enum class refinement { quadratic, hexahedra };

} // namespace bench
