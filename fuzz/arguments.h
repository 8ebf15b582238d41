#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>
#include <meldra3d/meldra3d.h>

// Turns the bytes of the fuzzer into arguments of every shape that a caller can build, and into bad ones: IDs beyond
// the nodes, unused slots anywhere, wrong row counts, numbers that are none. A matrix has storage of its own, is a
// window of a larger one, lies over memory of the caller, or is a view of the block of an earlier matrix.
namespace fuzz {

using quorl::dense2D;
using quorl::no_node;

/// Ends the run with a message when a promise is broken.
inline void require(bool kept, const char* promise) {
    if (kept)
        return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

/// Dimensions and entries of a matrix at one moment. Doubles are compared as bits, so that NaN equals itself.
template <class T>
struct snapshot {
    std::size_t rows = 0;
    std::size_t cols = 0;
    std::vector<T> entries;

    snapshot() = default;
    explicit snapshot(const dense2D<T>& matrix) : rows(matrix.rows()), cols(matrix.cols()) {
        if (!matrix.empty())
            for (std::size_t j = 0; j < cols; ++j)
                entries.insert(entries.end(), matrix.col(j), matrix.col(j) + rows);
    }
    bool empty() const { return entries.empty(); }
    const T* col(std::size_t j) const { return entries.data() + j * rows; }
    bool same(const dense2D<T>& matrix) const {
        const snapshot now(matrix);
        return now.rows == rows && now.cols == cols &&
               (empty() || std::memcmp(now.entries.data(), entries.data(), entries.size() * sizeof(T)) == 0);
    }
};

class arguments {
public:
    arguments(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes, size) {}

    bool flag() { return bytes_.ConsumeBool(); }
    /// True for one value in n.
    bool rarely(unsigned n) { return bytes_.ConsumeIntegralInRange(0u, n - 1) == n - 1; }
    unsigned below(unsigned n) { return bytes_.ConsumeIntegralInRange(0u, n - 1); }
    unsigned integer() { return bytes_.ConsumeIntegral<unsigned>(); }

    /// Coordinates lie on a coarse grid, so that coincidences are common; some are extreme or not numbers.
    double number() {
        using limits = std::numeric_limits<double>;
        if (!rarely(16))
            return (double(bytes_.ConsumeIntegral<std::uint8_t>()) - 64) / 8;
        if (flag())
            return bytes_.PickValueInArray({0.0, -0.0, limits::quiet_NaN(), limits::infinity(), -limits::infinity(),
                                            limits::denorm_min(), limits::min(), limits::max(), -limits::max(), 1e-300,
                                            1e-12, 1e12, 1e300});
        double value = 0;
        const std::uint64_t bits = bytes_.ConsumeIntegral<std::uint64_t>();
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    /// A number of rows or columns: mostly small, at times near the ends of its type.
    std::size_t extent() { return rarely(4) ? huge_extent() : below(6); }

    long extreme_long() {
        return bytes_.PickValueInArray({0L, -1L, std::numeric_limits<long>::min(), std::numeric_limits<long>::max(),
                                        46340L, 46341L, 0x7FFFFFFFL, 0x80000000L, 0xFFFFFFFFL, 0x100000000L,
                                        0x100000003L});
    }

    /// Mostly an ID below `nodes`.
    unsigned id(unsigned nodes) {
        if (!rarely(24) && nodes != 0)
            return below(nodes);
        return bytes_.PickValueInArray({no_node, nodes, nodes - 1, no_node - 1, 0x80000000u, 0u, 1u << 16});
    }

    dense2D<double> coordinates() {
        const std::size_t rows = rarely(12) ? below(5) : (rarely(6) ? 2 : 3);
        return matrix<double>(rows, below(24), {}, [this](double* column, std::size_t n) {
            std::generate_n(column, n, [this] { return number(); });
        });
    }

    /// Columns of one of the given numbers of nodes, mostly; what is left of a column is `no_node`. `earlier` are
    /// matrices whose blocks may be shared.
    dense2D<unsigned> connectivity(unsigned rows, std::initializer_list<unsigned> counts, unsigned nodes,
                                   const std::vector<dense2D<unsigned>*>& earlier = {}) {
        return matrix<unsigned>(rows, below(12), earlier, [&](unsigned* column, std::size_t n) {
            const std::size_t used =
                rarely(24) ? n : std::min<std::size_t>(n, counts.begin()[below(unsigned(counts.size()))]);
            for (std::size_t i = 0; i < n; ++i)
                column[i] = i < used ? id(nodes) : no_node;
        });
    }

    /// True when nothing has been written to the memory under the views over the caller's memory.
    bool callers_memory_kept() const {
        return std::all_of(memory_.begin(), memory_.end(), [](const auto& block) { return block->kept(); });
    }

private:
    std::size_t huge_extent() {
        return bytes_.PickValueInArray({std::size_t(no_node), std::size_t(no_node) + 1, std::size_t(no_node) + 4,
                                        std::size_t(1) << 61, ~std::size_t(0) / 2, ~std::size_t(0) - 3,
                                        ~std::size_t(0)});
    }

    struct block_base {
        virtual ~block_base() = default;
        virtual bool kept() const = 0;
    };
    template <class T>
    struct block final : block_base {
        explicit block(std::vector<T> initial) : values(initial), copy(std::move(initial)) {}
        bool kept() const override { return std::memcmp(values.data(), copy.data(), copy.size() * sizeof(T)) == 0; }
        std::vector<T> values;
        const std::vector<T> copy;
    };

    /// No entries, though it may claim any number of columns, or of rows.
    template <class T>
    dense2D<T> empty_matrix(std::size_t rows, std::size_t cols) {
        const bool huge = rarely(4);
        const std::size_t count = huge ? huge_extent() : 0;
        dense2D<T> none;
        none.resize(huge && cols == 0 ? count : rows, huge && cols != 0 ? count : cols);
        return none;
    }

    template <class T, class Fill>
    dense2D<T> matrix(std::size_t rows, std::size_t cols, const std::vector<dense2D<T>*>& earlier, Fill fill) {
        if (!earlier.empty() && rarely(8)) {
            const dense2D<T>& other = *earlier[below(unsigned(earlier.size()))];
            return other.sub(below(3), below(3), rows, std::min<std::size_t>(cols, other.cols() / 2 + 1));
        }
        const bool window = rarely(4);
        const std::size_t around = window ? 1 + below(3) : 0;
        const std::size_t ld = rows + 2 * around;
        std::vector<T> values(ld * (cols + 2 * around), T(7));
        for (std::size_t j = 0; j < cols; ++j)
            fill(values.data() + around + (j + around) * ld, rows);
        if (rows == 0 || cols == 0)
            return empty_matrix<T>(rows, cols);
        if (rarely(4)) {
            auto lent = std::make_unique<block<T>>(std::move(values));
            T* const first = lent->values.data() + around + around * ld;
            memory_.push_back(std::move(lent));
            return dense2D<T>::view(first, rows, cols, ld);
        }
        dense2D<T> own(ld, cols + 2 * around);
        std::copy(values.begin(), values.end(), own.data());
        return window ? own.sub(around, around, rows, cols) : own;
    }

    FuzzedDataProvider bytes_;
    std::vector<std::unique_ptr<block_base>> memory_;
};

/// What `check_IDs` promises, said plainly: `counts` are the numbers of nodes that a column may have; the rest of it is
/// `no_node`.
template <class Matrix>
bool columns_have(const Matrix& connect, std::initializer_list<std::size_t> counts, std::size_t rows, unsigned nodes) {
    for (std::size_t j = 0; j < connect.cols; ++j) {
        const unsigned* const column = connect.col(j);
        const std::size_t used = std::size_t(std::find(column, column + rows, no_node) - column);
        if (std::find(counts.begin(), counts.end(), used) == counts.end() ||
            !std::all_of(column, column + used, [=](unsigned id) { return id < nodes; }) ||
            !std::all_of(column + used, column + rows, [](unsigned id) { return id == no_node; }))
            return false;
    }
    return true;
}

/// How many of the columns of a matrix have IDs: these end before `no_node`.
inline unsigned named_columns(std::size_t columns) {
    return unsigned(std::min<std::size_t>(columns, no_node));
}

/// More columns than a test can walk through; only an empty matrix has so many.
constexpr std::size_t many_columns = 1000;

} // namespace fuzz
