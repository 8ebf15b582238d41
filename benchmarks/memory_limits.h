#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// What the memory of this machine allows one thread: the work of limits_bench, and the speed that the other benchmarks
// measure their own by.
namespace bench {

/// Fresh memory of its own, in huge pages where the system gives them on request (Linux), or in small ones. Null when
/// there is none.
class fresh_memory {
public:
    enum class pages { small, huge };

    fresh_memory(std::size_t bytes, pages wanted);
    fresh_memory(const fresh_memory&) = delete;
    fresh_memory& operator=(const fresh_memory&) = delete;
    ~fresh_memory();

    template <class T>
    T* as() const {
        return static_cast<T*>(start_);
    }

private:
    void* start_ = nullptr;
    std::size_t bytes_ = 0;
};

/// Touches so much memory and gives it back, so that what is measured next takes memory that the machine has at hand. A
/// virtual machine may hand memory that has been free for seconds to its host, which then has to find some at the next
/// touch: that costs up to fifty times what the page itself does, and falls on whoever comes first.
void back_memory(std::size_t bytes);

/// Bytes a second, read and written ones counted, of copying a block that no cache holds: the best of three, measured
/// when first asked for.
double copy_speed();

/// Adds up an array, four sums at a time.
std::uint64_t read_all(const std::uint64_t* words, std::size_t n);

/// Adds up the three coordinates of the nodes in a list, asking for those `ahead` places on (0: not at all).
double gather(const double* pos, const std::vector<unsigned>& nodes, std::size_t ahead);

} // namespace bench
