#include "nodes.h"

#include <algorithm>

namespace BASELINES {

bool all_below(const unsigned* ids, std::size_t n, unsigned nodes) {
    unsigned beyond = 0;
    for (std::size_t k = 0; k < n; ++k)
        beyond |= ids[k] >= nodes ? 1u : 0u;
    return beyond == 0;
}

void first_element_of_nodes(const unsigned* connect, std::size_t rows, std::size_t cols, std::vector<unsigned>& first) {
    constexpr unsigned none = 0xFFFFFFFFu;
    const std::size_t n = rows * cols;
    unsigned largest = 0;
    for (std::size_t k = 0; k < n; ++k)
        largest = std::max(largest, connect[k]);
    first.assign(std::size_t(largest) + 1, none);
    for (std::size_t j = cols; j-- > 0;)
        for (std::size_t i = 0; i < rows; ++i)
            first[connect[j * rows + i]] = unsigned(j);
}

std::size_t drop_unused(std::vector<double>& pos, std::vector<unsigned>& connect, std::vector<unsigned>& new_ids) {
    constexpr unsigned none = 0xFFFFFFFFu;
    if (!all_below(connect.data(), connect.size(), unsigned(pos.size() / 3)))
        return 0;
    new_ids.assign(pos.size() / 3, none);
    for (const unsigned id : connect)
        new_ids[id] = 0;
    unsigned used = 0;
    for (std::size_t v = 0; v < new_ids.size(); ++v)
        if (new_ids[v] != none) {
            std::copy_n(&pos[3 * v], 3, &pos[3 * std::size_t(used)]);
            new_ids[v] = used++;
        }
    pos.resize(3 * std::size_t(used));
    for (unsigned& id : connect)
        id = new_ids[id];
    return used;
}

} // namespace BASELINES
