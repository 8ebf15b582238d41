// Signed volume of a mesh. The IDs of a block of columns are checked just before its elements are measured, so that
// the connectivity is read from memory once; a bad ID in a later block only discards the sum. In a mesh of scattered
// node numbers the time goes into waiting for coordinates, so they are asked for some columns ahead; in an ordered one
// it goes into arithmetic, so four elements of a kind are measured at once. Their volumes are added one after another
// in the order of the columns, and no operation is contracted: the sum has the same bits on every processor.

#include <meldra3d/measure.h>

#include <algorithm>

#include <meldra/meldra.h>

#include "frame/id_count.h"
#include "frame/lanes.h"
#include "frame/quickest.h"
#include "measure/element_columns.h"
#include "measure/element_volumes.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

/// Adds the elements of checked columns.
double add_columns(const dense2D<unsigned int>& connect, const dense2D<double>& pos, double sum) {
    visit_elements(
        pos, connect, [&sum](const auto& p, std::size_t) __attribute__((always_inline)) {
            const auto volumes = six_volume(p);
#pragma GCC unroll 4
            for (std::size_t g = 0; g < lane_count<decltype(volumes)>; ++g)
                sum += lane(volumes, g);
        });
    return sum;
}

} // namespace

int volume(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, double& vol) {
    vol = 0;
    if (connectM.empty())
        return 0;
    if (pos.rows() != 3)
        return -1;
    const auto nodes = id_count(pos.cols());
    const element_type type = type_of_rows(connectM.rows());
    double sum = 0;
    for (std::size_t first = 0; first < connectM.cols(); first += block_columns) {
        const dense2D<unsigned int> columns =
            connectM.sub(0, first, connectM.rows(), std::min(block_columns, connectM.cols() - first));
        if (!meldra::check_IDs(columns, type, nodes))
            return -2;
        sum = add_columns(columns, pos, sum);
    }
    vol = sum * one_sixth;
    return 0;
}

} // namespace quorl::meldra3d
