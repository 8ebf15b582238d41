#pragma once

#include <atomic>
#include <cstdint>

#include <numcore/export.h>

namespace quorl::numcore {

/// Base of every shared storage block: a reference count that is changed atomically, so that views of one block
/// may be copied and dropped on different threads. The contents of a block are not protected.
class MELDRA3D_API ref_counted {
public:
    ref_counted() noexcept = default;
    ref_counted(const ref_counted&) = delete;
    ref_counted& operator=(const ref_counted&) = delete;
    virtual ~ref_counted();

    /// Takes a reference.
    void __acquire() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }

    /// Drops a reference; the one that took the count from 1 to 0 deletes the object.
    void __release() noexcept {
        // acq_rel: what other owners wrote before they let go must be visible to the one that deletes.
        if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1)
            __destroy();
    }

    /// True while exactly one owner is left. Then no other thread can take a reference but through that owner.
    bool __unique() const noexcept { return count_.load(std::memory_order_acquire) == 1; }

    /// Deletes the object through its virtual destructor.
    void __destroy() noexcept { delete this; }

private:
    std::atomic<std::uint32_t> count_{0};
};

} // namespace quorl::numcore
