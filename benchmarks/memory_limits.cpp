#include "memory_limits.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t huge_page = std::size_t(2) << 20;

double seconds_to_copy(void* to, const void* from, std::size_t bytes) {
    const auto start = std::chrono::steady_clock::now();
    std::memcpy(to, from, bytes);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double measure_copy_speed() {
    constexpr std::size_t bytes = std::size_t(256) << 20;
    const fresh_memory from(bytes, fresh_memory::pages::huge), to(bytes, fresh_memory::pages::huge);
    std::memset(from.as<char>(), 1, bytes);
    std::memset(to.as<char>(), 1, bytes);
    double least = seconds_to_copy(to.as<char>(), from.as<char>(), bytes);
    for (int again = 0; again < 2; ++again)
        least = std::min(least, seconds_to_copy(to.as<char>(), from.as<char>(), bytes));
    return 2 * double(bytes) / least;
}

} // namespace

fresh_memory::fresh_memory(std::size_t bytes, pages wanted) : bytes_((bytes + huge_page - 1) / huge_page * huge_page) {
    const std::size_t room = bytes_ + huge_page; // to begin at a huge page
    void* const all = mmap(nullptr, room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED)
        return;
    char* const first = static_cast<char*>(all);
    const std::size_t skip = (huge_page - std::uintptr_t(first) % huge_page) % huge_page;
    if (skip > 0)
        munmap(first, skip);
    munmap(first + skip + bytes_, huge_page - skip);
    start_ = first + skip;
    madvise(start_, bytes_, wanted == pages::huge ? MADV_HUGEPAGE : MADV_NOHUGEPAGE);
}

fresh_memory::~fresh_memory() {
    if (start_)
        munmap(start_, bytes_);
}

void back_memory(std::size_t bytes) {
    constexpr std::size_t most = std::size_t(2) << 30;
    const auto available = std::size_t(sysconf(_SC_AVPHYS_PAGES)) * std::size_t(sysconf(_SC_PAGESIZE));
    bytes = std::min({bytes, most, available / 4});
    const fresh_memory block(bytes, fresh_memory::pages::huge);
    constexpr std::size_t small_page = 4096;
    for (std::size_t at = 0; block.as<char>() && at < bytes; at += small_page)
        block.as<char>()[at] = 1;
}

double copy_speed() {
    static const double speed = measure_copy_speed();
    return speed;
}

std::uint64_t read_all(const std::uint64_t* words, std::size_t n) {
    std::uint64_t sum[4] = {0, 0, 0, 0};
    for (std::size_t k = 0; k + 4 <= n; k += 4)
        for (std::size_t i = 0; i < 4; ++i)
            sum[i] += words[k + i];
    return sum[0] + sum[1] + sum[2] + sum[3];
}

double gather(const double* pos, const std::vector<unsigned>& nodes, std::size_t ahead) {
    double sum = 0;
    const std::size_t n = nodes.size();
    for (std::size_t k = 0; k < n; ++k) {
        if (ahead > 0)
            __builtin_prefetch(pos + 3 * std::size_t(nodes[std::min(k + ahead, n - 1)]));
        const double* const p = pos + 3 * std::size_t(nodes[k]);
        sum += p[0] + p[1] + p[2];
    }
    return sum;
}

} // namespace bench
