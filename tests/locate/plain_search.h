#pragma once

#include <set>
#include <vector>

#include "locate/tetra_kernels.h"
#include "locate/tetra_meshes.h"

namespace test {

/// The search as it is described, step by step, with containers of the standard library. Only the test of one element
/// is the library's.
class plain_search {
public:
    explicit plain_search(const searchable& mesh) : mesh_(mesh) {}

    struct result {
        int status;
        unsigned element;
    };

    result find(const vector_fixed<double, 3>& p, double tolerance) const {
        const unsigned close = mesh_.detector.find_close(p);
        const unsigned start = ancestor(close);
        if (close == no_node || start == no_node)
            return {0, no_node};
        const result first = walk(start, p, tolerance);
        if (first.status != 0)
            return first;
        const unsigned closest = mesh_.detector.find_closest(p);
        if (closest == no_node || ancestor(closest) == no_node)
            return {0, no_node};
        std::vector<unsigned> around;
        bool closed = true;
        ball(closest, ancestor(closest), around, closed);
        for (const unsigned element : around)
            if (const result again = walk(element, p, tolerance); again.status != 0)
                return again;
        return {0, no_node};
    }

    result walk(unsigned element, const vector_fixed<double, 3>& p, double tolerance) const {
        const std::size_t limit = mesh_.connect.cols();
        std::size_t counter = 0;
        std::uint32_t state = 1;
        unsigned left = 0;
        std::uint32_t copy = 0;
        while (element != no_node) {
            const std::size_t old = counter;
            ++counter;
            if (old >= limit)
                break;
            if (left == 0) {
                state = std::uint32_t((std::uint64_t(state ^ 0x811C9DC5u) * 16777619u) & 0xFFFFFFFFu);
                copy = state;
                left = 16;
            }
            const unsigned r = copy % 4;
            copy /= 4;
            --left;
            const int f = exit_face(element, p, tolerance, r);
            if (f == -1)
                return {1, element};
            if (f == -2)
                return {counter == limit ? -2 : -1, no_node};
            unsigned next = mesh_.neighbors(unsigned(f), element);
            for (unsigned k = 1; k <= 3 && next == no_node; ++k)
                next = mesh_.neighbors(unsigned(exit_face(element, p, tolerance, (r + k) % 4)), element);
            element = next;
        }
        return {counter == limit ? -2 : 0, no_node};
    }

    int ball(unsigned node, unsigned start, std::vector<unsigned>& list, bool& closed) const {
        list.clear();
        closed = true;
        if (node == no_node)
            return 0;
        std::set<unsigned> visited{start};
        std::vector<unsigned> stack{start};
        while (!stack.empty()) {
            const unsigned element = stack.back();
            stack.pop_back();
            std::vector<unsigned> others;
            for (unsigned k = 0; k < 4; ++k)
                if (mesh_.connect(k, element) != node)
                    others.push_back(k);
            if (others.empty())
                return -1;
            list.push_back(element);
            for (auto k = others.rbegin(); k != others.rend(); ++k) {
                const unsigned across = mesh_.neighbors(*k, element);
                if (across == no_node)
                    closed = false;
                else if (visited.insert(across).second)
                    stack.push_back(across);
            }
        }
        return 0;
    }

private:
    unsigned ancestor(unsigned node) const { return node < mesh_.ancestors.size() ? mesh_.ancestors[node] : no_node; }

    int exit_face(unsigned element, const vector_fixed<double, 3>& p, double tolerance, unsigned start) const {
        using namespace quorl::meldra3d::detail;
        const auto t = tetrahedron_of(mesh_.pos.data(), mesh_.pos.ld(), mesh_.connect.col(element));
        return tetra_exit_face(sides_of(t, {p[0], p[1], p[2]}, tolerance), start);
    }

    const searchable& mesh_;
};

} // namespace test
