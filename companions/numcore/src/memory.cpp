#include <numcore/memory.h>

#include <cstdlib>

namespace quorl::numcore {

void* __vector_num_alloc(std::size_t bytes) noexcept {
    return std::malloc(bytes);
}

void __vector_num_free(void* block) noexcept {
    std::free(block);
}

} // namespace quorl::numcore
