#include <numcore/ref_counted.h>

namespace quorl::numcore {

// Out of line, so that the class has one home for its table of virtual functions.
ref_counted::~ref_counted() = default;

} // namespace quorl::numcore
