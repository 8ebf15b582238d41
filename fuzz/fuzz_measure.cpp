// Measures of random meshes: status, results within their range, and the same bits from a contiguous copy.

#include "suits.h"

namespace {

using namespace fuzz;
using quorl::dense1D;
using quorl::meldra3d::volume;

int expected_status(const snapshot<double>& pos, const snapshot<unsigned>& connect) {
    if (connect.empty())
        return 0;
    if (pos.rows != 3)
        return -1;
    return suits(connect, quorl::ET_SOLID_MIX, named_columns(pos.cols)) ? 0 : -2;
}

bool same_bits(double a, double b) {
    return (a != a && b != b) || std::memcmp(&a, &b, sizeof a) == 0;
}

void check_volume(const dense2D<double>& pos, const dense2D<unsigned>& connect, double start, int expected) {
    double vol = start;
    const int status = volume(pos, connect, vol);
    require(status == expected, "the status of the volume");
    require(status == 0 || same_bits(vol, 0.0), "0 on failure");

    dense2D<double> pos_copy;
    dense2D<unsigned> connect_copy;
    require(pos_copy.copy(pos) && connect_copy.copy(connect), "a copy");
    double again = 1;
    require(volume(pos_copy, connect_copy, again) == status && same_bits(again, vol), "the same bits from a copy");
}

using angle_export = int (*)(const dense2D<double>&, const dense2D<unsigned>&, bool, dense1D<double>&,
                             dense1D<double>&);

/// `largest`: what the angles, not normalized, cannot pass; `numbers`: whether they are never NaN.
void check_angles(angle_export call, const dense2D<double>& pos, const dense2D<unsigned>& connect, bool normalized,
                  int expected, double largest, bool numbers) {
    const std::size_t n = connect.empty() ? 0 : connect.cols();
    dense1D<double> least(n + 2, -77.0), most(n + 2, -77.0);
    require(call(pos, connect, normalized, least, most) == expected, "the status of the angles");
    const std::size_t written = expected == 0 && !connect.empty() ? n : 0;
    for (std::size_t e = 0; e < n + 2; ++e) {
        if (e >= written)
            require(least[e] == -77 && most[e] == -77, "nothing written there");
        else if (numbers || least[e] == least[e])
            require(normalized || (-largest <= least[e] && least[e] <= most[e] && most[e] <= largest), "the range");
    }
}

void check_centers(const dense2D<double>& pos, const dense2D<unsigned>& connect, bool shared) {
    const snapshot<double> pos_before(pos);
    const snapshot<unsigned> columns(connect);
    const bool good = connect.rows() == 4 && suits(columns, quorl::ET_TH4, named_columns(pos.cols()));
    dense2D<double> centers = shared ? pos : dense2D<double>(2, 3, 0.0);
    const int status = quorl::meldra3d::circumcenters(pos, connect, centers);
    require(status == (pos.rows() != 3 ? -1 : good ? 0 : -2), "the status of the circumcentres");
    require(centers.rows() == (status == 0 ? 3 : 0) && centers.cols() == (status == 0 ? connect.cols() : 0),
            "a centre for each tetrahedron, none on failure");
    require(pos_before.same(pos), "the nodes unchanged");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const dense2D<double> pos = args.coordinates();
    const unsigned rows = args.rarely(12) ? args.below(30) : (args.flag() ? 8 : 4 + args.below(3));
    const dense2D<unsigned> connect = args.connectivity(rows, {4, 5, 6, 8}, named_columns(pos.cols()));
    const snapshot<double> pos_before(pos);
    const snapshot<unsigned> connect_before(connect);

    check_volume(pos, connect, args.number(), expected_status(pos_before, connect_before));
    const int expected = suits(connect_before, quorl::ET_SOLID_MIX, named_columns(pos.cols())) ? 0 : -2;
    constexpr double pi = 3.1415926535897932;
    check_angles(quorl::meldra3d::dihedral_angles, pos, connect, args.flag(), expected, pi, true);
    check_angles(quorl::meldra3d::solid_angles, pos, connect, args.flag(), expected, 4 * pi, false);
    check_centers(pos, connect, args.flag());

    require(pos_before.same(pos) && connect_before.same(connect), "inputs unchanged");
    require(args.callers_memory_kept(), "the caller's memory unchanged");
    return 0;
}
