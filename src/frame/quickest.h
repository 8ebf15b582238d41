#pragma once

// Chooses, when the program runs, the widest vector instructions that the processor has. Results do not depend on the
// choice: the operations on each element stay the same, and none is contracted.
namespace quorl::meldra3d::detail {

#if defined(__x86_64__)

template <class Work>
[[gnu::target("avx2")]] auto with_avx2(const Work& work) {
    return work();
}

/// Calls work(), compiled for this processor. `work` and all that it calls must be always_inline: what is not is
/// compiled for the oldest processor.
template <class Work>
auto quickest(const Work& work) {
    return __builtin_cpu_supports("avx2") ? with_avx2(work) : work();
}

#else

template <class Work>
auto quickest(const Work& work) {
    return work();
}

#endif

} // namespace quorl::meldra3d::detail
