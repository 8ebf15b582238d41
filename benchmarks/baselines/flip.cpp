#include "flip.h"

#include <utility>

namespace BASELINES {

namespace {

struct pair {
    unsigned first, second;
};

template <std::size_t Rows, pair... Pairs>
void exchange(unsigned* connect, std::size_t cols) {
    for (std::size_t j = 0; j < cols; ++j, connect += Rows)
        (std::swap(connect[Pairs.first], connect[Pairs.second]), ...);
}

} // namespace

void flip(unsigned* connect, std::size_t rows, std::size_t cols) {
    switch (rows) {
    case 4:
        return exchange<4, pair{0, 2}>(connect, cols);
    case 5:
        return exchange<5, pair{0, 2}>(connect, cols);
    case 6:
        return exchange<6, pair{0, 2}, pair{3, 5}>(connect, cols);
    case 8:
        return exchange<8, pair{0, 2}, pair{4, 6}>(connect, cols);
    case 10:
        return exchange<10, pair{0, 2}, pair{4, 6}, pair{7, 9}>(connect, cols);
    case 14:
        return exchange<14, pair{0, 2}, pair{5, 7}, pair{6, 8}, pair{9, 10}, pair{11, 12}>(connect, cols);
    case 18:
        return exchange<18, pair{0, 2}, pair{3, 5}, pair{6, 8}, pair{9, 11}, pair{12, 14}, pair{15, 17}>(connect, cols);
    case 27:
        return exchange<27, pair{0, 2}, pair{4, 6}, pair{8, 9}, pair{10, 11}, pair{12, 13}, pair{14, 15}, pair{16, 18},
                        pair{20, 23}, pair{21, 22}>(connect, cols);
    default:
        return;
    }
}

void flip_of_one_kind(unsigned* connect, std::size_t rows, std::size_t cols) {
    switch (rows) {
    case 4:
        return exchange<4, pair{0, 1}>(connect, cols);
    case 6:
        return exchange<6, pair{0, 3}, pair{1, 4}, pair{2, 5}>(connect, cols);
    case 8:
        return exchange<8, pair{0, 4}, pair{1, 5}, pair{2, 6}, pair{3, 7}>(connect, cols);
    default:
        return;
    }
}

} // namespace BASELINES
