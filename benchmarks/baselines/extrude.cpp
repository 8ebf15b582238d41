#include "extrude.h"

#include <algorithm>
#include <vector>

namespace BASELINES {

void sweep(const double* pos, std::size_t nodes, const unsigned* faces, std::size_t cols, const double* step,
           unsigned layers, double* new_pos, unsigned* solids) {
    constexpr unsigned none = 0xFFFFFFFFu;
    std::vector<unsigned> place(nodes, none), listed;
    listed.reserve(nodes);
    std::vector<double> level; // the nodes as they are listed
    level.reserve(3 * nodes);
    for (std::size_t k = 0; k < 4 * cols; ++k)
        if (const unsigned id = faces[k]; id != none && place[id] == none) {
            place[id] = unsigned(listed.size());
            listed.push_back(id);
            level.insert(level.end(), pos + 3 * std::size_t(id), pos + 3 * std::size_t(id) + 3);
        }

    std::copy_n(pos, 3 * nodes, new_pos);
    for (unsigned k = 1; k <= layers; ++k) {
        double* const at = new_pos + 3 * nodes * k;
        const double shift[3] = {k * step[0], k * step[1], k * step[2]};
        for (std::size_t v = 0; v < nodes; ++v)
            for (std::size_t i = 0; i < 3; ++i)
                at[3 * v + i] = level[3 * v + i] + shift[i];
    }

    for (std::size_t j = 0; j < cols; ++j) {
        const unsigned* const face = faces + 4 * j;
        const unsigned corners = face[3] == none ? 3 : 4;
        unsigned above[4];
        for (unsigned c = 0; c < corners; ++c)
            above[c] = unsigned(nodes) + place[face[c]];
        for (unsigned k = 0; k < layers; ++k, solids += 8) {
            for (unsigned c = 0; c < corners; ++c) {
                solids[c] = k == 0 ? face[c] : above[c] + (k - 1) * unsigned(nodes);
                solids[corners + c] = above[c] + k * unsigned(nodes);
            }
            for (unsigned c = 2 * corners; c < 8; ++c)
                solids[c] = none;
        }
    }
}

} // namespace BASELINES
