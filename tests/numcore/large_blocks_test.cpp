#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>

#include <numcore/memory.h>

using namespace quorl::numcore;

namespace {

constexpr std::size_t mib = std::size_t(1) << 20;

/// The flags that the system keeps for the memory at an address; none where it does not tell.
std::string flags_of_memory(const void* address) {
    std::ifstream regions("/proc/self/smaps");
    bool inside = false;
    for (std::string line; std::getline(regions, line);) {
        unsigned long long first = 0, last = 0;
        if (std::sscanf(line.c_str(), "%llx-%llx ", &first, &last) == 2)
            inside = first <= std::uintptr_t(address) && std::uintptr_t(address) < last;
        else if (inside && line.rfind("VmFlags:", 0) == 0)
            return line + " ";
    }
    return {};
}

} // namespace

TEST(Blocks, OfAllSizesCanBeFilledAndGivenBack) {
    for (const std::size_t bytes : {std::size_t(1), 4 * mib - 1, 4 * mib, 4 * mib + 1, 11 * mib + 7}) {
        auto* const block = static_cast<unsigned char*>(__vector_num_alloc(bytes));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::uintptr_t(block) % 16, 0u);
        std::memset(block, 5, bytes);
        EXPECT_EQ(block[0] + block[bytes - 1], 10);
        __vector_num_free(block);
    }
}

TEST(Blocks, BeyondMemoryAreNull) {
    EXPECT_EQ(__vector_num_alloc(std::numeric_limits<std::ptrdiff_t>::max()), nullptr);
    EXPECT_EQ(__vector_num_alloc(std::numeric_limits<std::size_t>::max()), nullptr);
    __vector_num_free(nullptr);
}

TEST(Blocks, OfMegabytesAreMeantForHugePages) {
    if (!std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled"))
        GTEST_SKIP() << "the system has no huge pages to ask for";
    void* const block = __vector_num_alloc(9 * mib);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::uintptr_t(block) % (2 * mib), 0u);
    const std::string flags = flags_of_memory(block);
    const std::string flags_of_rest = flags_of_memory(static_cast<char*>(block) + 9 * mib - 1);
    __vector_num_free(block);
    if (flags.empty())
        GTEST_SKIP() << "the system does not tell";
    EXPECT_NE(flags.find(" hg "), std::string::npos) << flags;
    EXPECT_EQ(flags_of_rest.find(" hg "), std::string::npos) << flags_of_rest; // would take memory that is not used
}
