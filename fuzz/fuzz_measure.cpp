// Volumes of random meshes: status, and the same bits from a contiguous copy and from repeated calls.

#include "suits.h"

namespace {

using namespace fuzz;
using quorl::meldra3d::volume;

int expected_status(const snapshot<double>& pos, const snapshot<unsigned>& connect) {
    if (connect.empty())
        return 0;
    if (pos.rows != 3)
        return -1;
    return suits(connect, quorl::ET_SOLID_MIX, unsigned(pos.cols)) ? 0 : -2;
}

bool same_bits(double a, double b) {
    return (a != a && b != b) || std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const dense2D<double> pos = args.coordinates();
    const unsigned rows = args.rarely(12) ? args.below(30) : (args.flag() ? 8 : 4 + args.below(3));
    const dense2D<unsigned> connect = args.connectivity(rows, {4, 5, 6, 8}, unsigned(pos.cols()));
    const snapshot<double> pos_before(pos);
    const snapshot<unsigned> connect_before(connect);

    double vol = args.number();
    const int status = volume(pos, connect, vol);

    require(status == expected_status(pos_before, connect_before), "the status");
    require(status == 0 || same_bits(vol, 0.0), "0 on failure");
    require(pos_before.same(pos) && connect_before.same(connect), "inputs unchanged");
    require(args.callers_memory_kept(), "the caller's memory unchanged");

    dense2D<double> pos_copy;
    dense2D<unsigned> connect_copy;
    require(pos_copy.copy(pos) && connect_copy.copy(connect), "a copy");
    double again = 1;
    require(volume(pos_copy, connect_copy, again) == status && same_bits(again, vol), "the same bits from a copy");
    return 0;
}
