#include <gtest/gtest.h>

#include <rapidcheck.h>

#include <algorithm>
#include <map>
#include <random>

#include "split/split_oracle.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::split_solid_Q4;

namespace {

using dice = std::mt19937;

unsigned below(dice& random, unsigned n) {
    return unsigned(random() % n);
}

node_list reordered(const node_list& nodes, const node_list& order) {
    node_list result;
    for (const unsigned k : order)
        result.push_back(nodes[k]);
    return result;
}

/// The same element from another of its nodes on; now and then inside out.
node_list turned(dice& random, node_list nodes) {
    const auto times = [&](unsigned n, const node_list& order) {
        for (unsigned k = below(random, n); k > 0; --k)
            nodes = reordered(nodes, order);
    };
    const bool inside_out = below(random, 8) == 0;
    switch (nodes.size()) {
    case 8:
        times(4, {1, 2, 3, 0, 5, 6, 7, 4});
        times(4, {3, 2, 6, 7, 0, 1, 5, 4});
        times(4, {1, 2, 3, 0, 5, 6, 7, 4});
        return inside_out ? reordered(nodes, {4, 5, 6, 7, 0, 1, 2, 3}) : nodes;
    case 6:
        times(3, {1, 2, 0, 4, 5, 3});
        times(2, {3, 5, 4, 0, 2, 1});
        return inside_out ? reordered(nodes, {3, 4, 5, 0, 1, 2}) : nodes;
    case 5:
        times(4, {1, 2, 3, 0, 4});
        return inside_out ? reordered(nodes, {0, 3, 2, 1, 4}) : nodes;
    default:
        return nodes;
    }
}

struct mesh {
    std::vector<position> pos;
    std::vector<node_list> solids;
    std::vector<node_list> quadrangles;
    node_list diagonals;

    void add_quadrangle(const node_list& nodes, unsigned bit) {
        quadrangles.push_back(nodes);
        diagonals.push_back(bit);
    }
};

/// 2 x 2 x 2 cells of hexahedra, of pairs of wedges, of pyramids around a middle node and of tetrahedra, the nodes
/// moved at random by up to `noise`.
mesh cells(dice& random, double noise) {
    mesh m;
    std::uniform_real_distribution<double> move(-noise, noise);
    for (unsigned v = 0; v < 27; ++v)
        m.pos.push_back({v % 3 + move(random), v / 3 % 3 + move(random), v / 9 + move(random)});
    for (unsigned c = 0; c < 8; ++c) {
        const unsigned o = c % 2 + c / 2 % 2 * 3 + c / 4 * 9;
        const node_list h{o, o + 1, o + 4, o + 3, o + 9, o + 10, o + 13, o + 12};
        switch (below(random, 4)) {
        case 0:
            m.solids.push_back(turned(random, h));
            break;
        case 1:
            m.solids.push_back(turned(random, {h[0], h[1], h[2], h[4], h[5], h[6]}));
            m.solids.push_back(turned(random, {h[0], h[2], h[3], h[4], h[6], h[7]}));
            break;
        case 2: {
            const auto middle = unsigned(m.pos.size());
            m.pos.push_back({c % 2 + 0.5 + move(random), c / 2 % 2 + 0.5 + move(random), c / 4 + 0.5 + move(random)});
            for (const node_list& f : oracle_faces(8))
                m.solids.push_back(turned(random, {h[f[0]], h[f[1]], h[f[2]], h[f[3]], middle}));
            break;
        }
        default:
            m.solids.push_back({h[0], h[2], h[1], h[6]});
        }
    }
    return m;
}

/// Some faces of some elements, from any node on and in any direction, and quadrangles that are no faces.
void choose_quadrangles(dice& random, mesh& m) {
    const unsigned density = 1 + below(random, 6);
    for (const node_list& solid : m.solids)
        for (const node_list& face : oracle_faces(solid.size()))
            if (face.size() == 4 && below(random, density) == 0) {
                node_list nodes = reordered(solid, face);
                std::rotate(nodes.begin(), nodes.begin() + below(random, 4), nodes.end());
                if (below(random, 2) == 0)
                    std::reverse(nodes.begin(), nodes.end());
                if (below(random, 8) == 0)
                    std::swap(nodes[0], nodes[1]);
                m.add_quadrangle(nodes, below(random, 2));
            }
    for (unsigned k = below(random, 100); k > 0; --k) {
        const unsigned first = below(random, 20);
        m.add_quadrangle({first, first + 3, first + 1, first + 5}, below(random, 2));
    }
}

struct outcome {
    dense2D<double> pos;
    dense1D<unsigned, 8> failed;
    dense2D<unsigned> out;
};

outcome split(const mesh& m, double min_volume) {
    outcome result;
    result.pos = as_columns(m.pos);
    dense1D<unsigned, 8> diagonals(m.diagonals.size());
    std::copy(m.diagonals.begin(), m.diagonals.end(), diagonals.begin());
    EXPECT_EQ(split_solid_Q4(result.pos, as_columns(m.solids, 8), as_columns(m.quadrangles, 4), diagonals, min_volume,
                             result.failed, result.out),
              0);
    return result;
}

double volume_of(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    double vol = 0;
    EXPECT_EQ(meldra3d::volume(pos, connect, vol), 0);
    return vol;
}

/// Counts faces, so that one and the same face seen from its two sides counts as none.
class face_count {
public:
    void add(node_list face, int times) {
        node_list reverse(face.rbegin(), face.rend());
        for (node_list* const one : {&face, &reverse})
            std::rotate(one->begin(), std::min_element(one->begin(), one->end()), one->end());
        if (face < reverse)
            count_[face] += times;
        else
            count_[reverse] -= times;
    }
    bool balanced() const {
        return std::all_of(count_.begin(), count_.end(), [](const auto& entry) { return entry.second == 0; });
    }

private:
    std::map<node_list, int> count_;
};

} // namespace

TEST(SplitSolidQ4Properties, AgreesWithThePlainCut) {
    std::size_t cut = 0;
    std::size_t failed = 0;
    const bool held = rc::check([&](unsigned seed) {
        dice random(seed);
        mesh m = cells(random, 0.25);
        choose_quadrangles(random, m);
        const double limits[] = {0, 0, 0, -1e9, -0.01, 0.02, 0.1};
        const double limit = limits[below(random, 7)];
        const auto wanted = split_plainly(m.pos, m.solids, m.quadrangles, m.diagonals, limit);
        const auto result = split(m, limit);
        RC_ASSERT(node_list(result.failed.begin(), result.failed.end()) == wanted.failed);
        RC_ASSERT(entries(result.out) == entries(as_columns(wanted.out, 8)));
        RC_ASSERT(result.pos.cols() == wanted.pos.size());
        for (std::size_t j = 0; j < wanted.pos.size(); ++j)
            for (std::size_t i = 0; i < 3; ++i)
                RC_ASSERT(std::fabs(result.pos(i, j) - wanted.pos[j][i]) < (j < m.pos.size() ? 1e-300 : 1e-14));
        cut += result.pos.cols() - m.pos.size();
        failed += wanted.failed.size();
    });
    EXPECT_TRUE(held);
    EXPECT_GT(cut, 100u);
    EXPECT_GT(failed, 100u);
}

TEST(SplitSolidQ4Properties, PiecesOfPlaneFacesHaveTheVolumeOfTheirElements) {
    const bool held = rc::check([](unsigned seed) {
        dice random(seed);
        mesh m = cells(random, 0);
        choose_quadrangles(random, m);
        const auto result = split(m, -1e9);
        std::vector<node_list> kept;
        for (unsigned j = 0; j < m.solids.size(); ++j)
            if (std::find(result.failed.begin(), result.failed.end(), j) == result.failed.end())
                kept.push_back(m.solids[j]);
        const double before = volume_of(as_columns(m.pos), as_columns(kept, 8));
        RC_ASSERT(std::fabs(volume_of(result.pos, result.out) - before) < 1e-12);
    });
    EXPECT_TRUE(held);
}

TEST(SplitSolidQ4Properties, PiecesCloseUpToTheElementWithItsFacesCutAsAsked) {
    std::size_t failures = 0;
    for (const unsigned n : {5u, 6u, 8u}) {
        mesh whole;
        dice random(n);
        node_list element(n);
        for (unsigned k = 0; k < n; ++k) {
            element[k] = n - 1 - k;
            whole.pos.push_back({double(random() % 100), double(random() % 100), double(random() % 100)});
        }
        whole.solids.push_back(element);
        // Each quadrangular face is left alone or cut along either diagonal, in all combinations.
        for (unsigned combination = 0; combination < 729; ++combination) {
            mesh m = whole;
            face_count faces;
            unsigned rest = combination;
            for (const node_list& local : oracle_faces(n)) {
                const node_list f = reordered(element, local);
                const unsigned choice = f.size() == 3 ? 2 : rest % 3;
                rest /= f.size() == 3 ? 1 : 3;
                if (choice == 2) {
                    faces.add(f, -1);
                    continue;
                }
                m.add_quadrangle(f, choice);
                faces.add(choice == 0 ? node_list{f[0], f[1], f[2]} : node_list{f[0], f[1], f[3]}, -1);
                faces.add(choice == 0 ? node_list{f[0], f[2], f[3]} : node_list{f[1], f[2], f[3]}, -1);
            }
            if (rest != 0) // fewer faces than choices
                break;
            const auto result = split(m, -1e9);
            if (!result.failed.empty()) {
                EXPECT_EQ(n, 6u);
                EXPECT_EQ(m.quadrangles.size(), 2u);
                ++failures;
                continue;
            }
            for (std::size_t j = 0; j < result.out.cols(); ++j) {
                node_list piece = column(result.out, j);
                piece.erase(std::find(piece.begin(), piece.end(), no_node), piece.end());
                for (const node_list& local : oracle_faces(piece.size()))
                    faces.add(reordered(piece, local), 1);
            }
            EXPECT_TRUE(faces.balanced()) << n << " nodes, combination " << combination;
        }
    }
    EXPECT_EQ(failures, 4u); // wedges: face 4 and another with equal bits
}
