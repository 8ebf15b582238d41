#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include <meldra/meldra.h>
#include <numcore/numcore.h>

#include "frame/morton_order.h"
#include "frame/quickest.h"
#include "locate/found_points.h"
#include "locate/node_ball.h"
#include "locate/tetra_kernels.h"
#include "locate/tetra_mesh.h"
#include "locate/walk.h"
#include "locate/walked_steps.h"

namespace quorl::meldra3d::detail {

inline constexpr int search_out_of_memory = -199;

/// Finds the elements of a mesh of linear tetrahedra that hold points. One object serves one thread.
class element_search {
public:
    /// See tetra_mesh for the first three. `ancestors` gives an element of each node; what it lacks or names beyond the
    /// elements is none. All of them have to live on.
    element_search(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                   const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                   const meldra::node_detector& detector)
        : mesh_(pos, connect, neighbors), ancestors_(ancestors), detector_(detector) {}

    /// Walks to the point from `element`, or from an element of a close node when that is `no_node`. When the walk ends
    /// at the boundary, further ones start from each element around the closest node, if the caller wants that.
    /// Returns the status of the last walk (a walk_status), 0 when there was none, or -199 when memory ran out.
    /// `element` is `no_node` unless the status is 1.
    int find(const point<double>& p, double tolerance, bool fall_back, unsigned& element);

    /// The parts of it: a close node, its element (asked for some time before), and the walks from around the closest
    /// node, but for the element `walked_from`, from which the walk is known to end at the boundary.
    unsigned close_node(const point<double>& p) const { return detector_.find_close({p.x, p.y, p.z}); }
    [[gnu::always_inline]] void expect_element_of(unsigned node) const {
        if (node < ancestors_.size())
            __builtin_prefetch(ancestors_.data() + node);
    }
    unsigned element_of(unsigned node) const {
        const unsigned element = node < ancestors_.size() ? ancestors_[node] : no_node;
        return element < mesh_.elements ? element : no_node;
    }
    int find_around_closest(const point<double>& p, double tolerance, unsigned walked_from, unsigned& element);

    const tetra_mesh& mesh() const { return mesh_; }

    /// The local coordinates of a point in an element that has been found.
    vector_fixed<double, 3> local_coordinates(unsigned element, const point<double>& p) const {
        return tetra_local_coordinates(mesh_.element(element), p);
    }

private:
    tetra_mesh mesh_;
    const dense1D<unsigned int, 8>& ancestors_;
    const meldra::node_detector& detector_;
    node_ball ball_;
    walked_steps walked_;
};

/// Points are taken in blocks of at most this number, so that their keys take no more than 64 MiB.
inline constexpr std::size_t points_in_block = std::size_t(1) << 22;

/// Sorts keys that hold the numbers of points, which are columns of `points`, by their places in Morton order. Points
/// that are not finite may be anywhere. False when memory ran out.
bool order_points(const double* points, std::size_t ld, dense1D<morton_key, 8>& keys, dense1D<morton_key, 8>& work);

/// A block of points on their walks. Some walk at the same time, a step each in turn, so that while one waits for its
/// next element to come from memory the others compute.
template <class Results>
class block_search {
public:
    /// `keys` hold the numbers of the points, which are columns of `points`. Results are told them as numbers from
    /// `first` on.
    block_search(element_search& search, const double* points, std::size_t ld, const dense1D<morton_key, 8>& keys,
                 double tolerance, Results& results, std::size_t first = 0)
        : search_(search), points_(points), ld_(ld), keys_(keys.data()), count_(keys.size()), tolerance_(tolerance),
          results_(results), first_(first), found_(search.mesh(), results) {}

    /// False when memory ran out.
    bool run() {
        return quickest([&]() __attribute__((always_inline)) {
            std::size_t walking = 0;
            while (walking < at_once && begin(walkers_[walking]))
                ++walking;
            while (walking != 0)
                for (std::size_t first = 0; first < walking; first += 4)
                    if (!step_four(first, walking))
                        return false;
            found_.finish();
            return true;
        });
    }

private:
    static constexpr std::size_t at_once = 16;
    static constexpr std::size_t ahead = 16; // points are asked for so many before their walks begin

    struct walker {
        walk on;
        unsigned start;
        std::uint32_t number;
    };

    struct departure {
        point<double> p;
        unsigned node;
        std::uint32_t number;
    };

    /// What the elements of four walkers, the given one and those behind it, are to their points. In the place of one
    /// that is missing stands the last.
    [[gnu::always_inline]] sides_of_four sides(std::size_t first, std::size_t walking) const {
        const auto on = [&](std::size_t g) __attribute__((always_inline))->const walk& {
            return walkers_[std::min(first + g, walking - 1)].on;
        };
        return search_.mesh().sides(
            {on(0).next_element(), on(1).next_element(), on(2).next_element(), on(3).next_element()},
            {&on(0).target(), &on(1).target(), &on(2).target(), &on(3).target()}, tolerance_);
    }

    /// Makes a step with each of four. False when memory ran out.
    [[gnu::always_inline]] bool step_four(std::size_t first, std::size_t& walking) {
        const tetra_mesh& mesh = search_.mesh();
        const sides_of_four four = sides(first, walking);
        for (std::size_t k = std::min(first + 4, walking); k-- > first;) {
            walker& one = walkers_[k];
            const auto sides_at = [&](unsigned element) __attribute__((always_inline)) {
                return four.is_sure(k - first) ? four[k - first] : one.on.sides(mesh, element);
            };
            if (one.on.step(mesh, sides_at)) {
                mesh.prefetch(one.on.next_element());
                continue;
            }
            if (!end(one))
                return false;
            if (!begin(one))
                one = walkers_[--walking]; // which has made its step, or will make it with the others behind
        }
        return true;
    }

    /// Finds close nodes for the next few points. False when there are no more.
    bool prepare() {
        departing_ = 0;
        for (departures_ = 0; departures_ < ahead && next_ < count_; ++departures_) {
            if (next_ + ahead < count_) {
                const std::uint32_t coming = number_of(keys_[next_ + ahead]);
                __builtin_prefetch(points_ + coming * ld_);
                __builtin_prefetch(points_ + coming * ld_ + 2);
                results_.expect(first_ + coming);
            }
            const std::uint32_t j = number_of(keys_[next_++]);
            const point<double> p = point_at(points_ + j * ld_);
            const unsigned node = search_.close_node(p);
            search_.expect_element_of(node);
            departure_[departures_] = {p, node, j};
        }
        return departures_ != 0;
    }

    /// Sends the next point on its way that has a way to go. False when there are no more.
    bool begin(walker& one) {
        while (departing_ < departures_ || prepare()) {
            const departure& d = departure_[departing_++];
            const unsigned element = search_.element_of(d.node);
            if (element == no_node) {
                results_.missed(first_ + d.number, walk_left);
                continue;
            }
            search_.mesh().prefetch(element);
            one = {walk(d.p, tolerance_, element), element, d.number};
            return true;
        }
        return false;
    }

    /// Takes the result of a walk. False when memory ran out.
    bool end(const walker& one) {
        int status = one.on.status();
        unsigned element = one.on.element();
        if (status == walk_left)
            status = search_.find_around_closest(one.on.target(), tolerance_, one.start, element);
        if (status == search_out_of_memory)
            return false;
        if (status == walk_found)
            found_.add(first_ + one.number, element, one.on.target());
        else
            results_.missed(first_ + one.number, status);
        return true;
    }

    element_search& search_;
    const double* points_;
    std::size_t ld_;
    const morton_key* keys_;
    std::size_t count_;
    double tolerance_;
    Results& results_;
    std::size_t first_;
    std::size_t next_ = 0;
    walker walkers_[at_once];
    departure departure_[ahead];
    std::size_t departing_ = 0; // those before are on their way
    std::size_t departures_ = 0;
    found_points<Results> found_;
};

/// Finds the elements of many points: results.found(k, element, local coordinates) for each point k (a column) that is
/// found with all walks that it takes, or else results.missed(k, status of the last walk), in any order;
/// results.expect(k) some time before and results.expect_at(nodes of the element) in between, to ask for the memory.
/// Points that are near each other come one after another, since their walks meet the same elements. False when memory
/// ran out.
template <class Results>
bool find_all(element_search& search, const dense2D<double>& points, double tolerance, Results& results,
              std::size_t block_size = points_in_block) {
    dense1D<morton_key, 8> keys, work;
    for (std::size_t first = 0; first < points.cols(); first += block_size) {
        if (!keys.resize(std::min(block_size, points.cols() - first)))
            return false;
        std::iota(keys.begin(), keys.end(), morton_key(0));
        const double* const block = points.col(first);
        if (!order_points(block, points.ld(), keys, work) ||
            !block_search<Results>(search, block, points.ld(), keys, tolerance, results, first).run())
            return false;
    }
    return true;
}

} // namespace quorl::meldra3d::detail
