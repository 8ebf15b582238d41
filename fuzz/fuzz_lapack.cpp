// dspev on any arguments: the code of the first bad one, nothing written beyond the stated sizes, and, for moderate
// matrices, eigenvalues in order, with the sum that the diagonal has, and orthonormal eigenvectors.

#include "arguments.h"

#include <cmath>
#include <string_view>

namespace {

using namespace fuzz;

constexpr double guard_value = -123456.5;
constexpr std::size_t guard = 8;

/// Numbers with a few more on both sides, which must stay as they are.
class guarded {
public:
    explicit guarded(std::size_t n) : n_(n), values_(n + 2 * guard, guard_value) {}
    double* data() { return values_.data() + guard; }
    double& operator[](std::size_t k) { return values_[guard + k]; }
    bool untouched() const { return std::count(values_.begin(), values_.end(), guard_value) == long(values_.size()); }
    bool guards_kept() const {
        const auto kept = [](double x) { return x == guard_value; };
        return std::all_of(values_.begin(), values_.begin() + guard, kept) &&
               std::all_of(values_.begin() + long(guard + n_), values_.end(), kept);
    }

private:
    std::size_t n_;
    std::vector<double> values_;
};

struct solve_arguments {
    char jobz, uplo;
    long n, ldz;
    bool no_ap, no_w, no_z, no_work;

    bool vectors() const { return jobz == 'V' || jobz == 'v'; }
    long expected() const {
        if (std::string_view("NnVv").find(jobz) == std::string_view::npos)
            return -1;
        if (std::string_view("UuLl").find(uplo) == std::string_view::npos)
            return -2;
        if (n < 0 || n > 46340)
            return -3;
        if (n > 0 && no_ap)
            return -4;
        if (n > 0 && no_w)
            return -5;
        if (n > 0 && vectors() && no_z)
            return -6;
        if (ldz < 1 || (vectors() && ldz < n) || ldz > 0x7FFFFFFF)
            return -7;
        return n > 0 && no_work ? -8 : 0;
    }
};

solve_arguments decode(arguments& args) {
    solve_arguments a{};
    a.jobz = args.rarely(12) ? char(args.below(256)) : "NnVv"[args.below(4)];
    a.uplo = args.rarely(12) ? char(args.below(256)) : "UuLl"[args.below(4)];
    a.n = args.rarely(12) ? args.extreme_long() : long(args.below(7));
    a.ldz = args.rarely(12) ? args.extreme_long() : long(args.below(9));
    a.no_ap = args.rarely(24);
    a.no_w = args.rarely(24);
    a.no_z = args.rarely(8);
    a.no_work = args.rarely(24);
    return a;
}

void check_eigenvalues(guarded& w, long n, long double trace, long double largest) {
    long double sum = 0;
    for (long k = 0; k < n; ++k) {
        sum += w[std::size_t(k)];
        require(k == 0 || w[std::size_t(k - 1)] <= w[std::size_t(k)], "ascending eigenvalues");
    }
    require(std::abs(sum - trace) <= 1e-13L * (largest * (long double)(n)), "the trace");
}

void check_vectors(guarded& z, long n, long ldz) {
    for (long a = 0; a < n; ++a)
        for (long b = 0; b <= a; ++b) {
            long double product = 0;
            for (long i = 0; i < n; ++i)
                product += (long double)(z[std::size_t(i + a * ldz)]) * z[std::size_t(i + b * ldz)];
            require(std::abs(product - (a == b)) <= 1e-13L, "orthonormal eigenvectors");
        }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const solve_arguments a = decode(args);
    const long expected = a.expected();
    const std::size_t n = expected == 0 ? std::size_t(a.n) : 4;
    const std::size_t ldz = expected == 0 && a.vectors() ? std::size_t(a.ldz) : 4;
    if (n > 1000 || ldz > 1000)
        return 0; // valid, and too large
    guarded ap(n * (n + 1) / 2), w(n), z(n == 0 ? 0 : ldz * (n - 1) + n), work(3 * n);
    bool moderate = true;
    long double largest = 0;
    for (std::size_t k = 0; k < n * (n + 1) / 2; ++k) {
        ap[k] = args.number();
        moderate = moderate && std::abs(ap[k]) < 1e100 && (ap[k] == 0 || std::abs(ap[k]) > 1e-100);
        largest = std::max(largest, std::abs((long double)(ap[k])));
    }
    const bool upper = a.uplo == 'U' || a.uplo == 'u';
    long double trace = 0;
    for (std::size_t j = 0; j < n; ++j)
        trace += ap[upper ? j * (j + 3) / 2 : j * n - j * (j - 1) / 2];

    long info = 77;
    const int status =
        quorl::lapack::dspev(a.jobz, a.uplo, a.n, a.no_ap ? nullptr : ap.data(), a.no_w ? nullptr : w.data(),
                             a.no_z ? nullptr : z.data(), a.ldz, a.no_work ? nullptr : work.data(), info);
    require(info == status, "one status");
    require(expected == 0 ? status >= 0 : status == expected, "the first bad argument");
    require(ap.guards_kept() && w.guards_kept() && z.guards_kept() && work.guards_kept(), "the stated sizes");
    require(expected == 0 || (w.untouched() && z.untouched()), "nothing written when refused");
    require(a.vectors() || z.untouched(), "no vectors that are not wanted");
    if (status != 0 || !moderate || n == 0)
        return 0;
    check_eigenvalues(w, a.n, trace, largest);
    if (a.vectors())
        check_vectors(z, a.n, a.ldz);
    return 0;
}
