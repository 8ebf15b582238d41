// Two passes over the elements. The first numbers the nodes and writes the connectivity; it reads no coordinates. Then
// the number of nodes is known, the coordinates grow once, and the second pass places the nodes. It meets them in the
// order of their IDs, since they were numbered in the order in which the elements meet them: a group is new to an
// element when its first ID is the next to be placed. Where all new nodes are middles of edges the first pass notes the
// ends of each, and the second needs no elements. Until the coordinates have grown nothing of the caller's has
// changed, so that a lack of memory leaves no trace.

#include <meldra3d/convert.h>

#include <algorithm>
#include <array>
#include <utility>

#include <meldra/meldra.h>

#include "convert/element_keys.h"
#include "convert/node_layout.h"
#include "convert/reference_nodes.h"
#include "convert/shared_nodes.h"
#include "convert/single_nodes.h"
#include "frame/element_tables.h"
#include "frame/id_count.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr int no_memory = -199;

/// The inputs, as views of their own: the output may be one of them or share their storage.
struct conversion_inputs {
    dense2D<unsigned int> connect;
    dense2D<unsigned int> faces;
    dense2D<unsigned int> edges;
};

bool has_rows_of_faces(const dense2D<unsigned int>& faces, std::size_t solid_rows, const node_counts& counts) {
    const bool triangles = faces.rows() == counts.face_rows(3);
    const bool quadrangles = faces.rows() == counts.face_rows(4);
    return (solid_rows != 8 && triangles) || (solid_rows != 4 && quadrangles);
}

int check(const dense2D<double>& pos, const conversion_inputs& in, const node_counts& counts) {
    if (pos.rows() != 3)
        return -1;
    const auto nodes = id_count(pos.cols());
    if (!meldra::check_IDs(in.connect, ET_SOLID_MIX, nodes)) // its row counts are those admitted here
        return -2;
    if (!square_side(counts.nQ))
        return -4;
    if (counts.nT == 2 || counts.nT > 3)
        return -5;
    if (!cube_side(counts.nH))
        return -6;
    if (counts.nTH > 1)
        return -7;
    if (counts.nY > 1)
        return -9;
    if (!in.faces.empty() &&
        (!has_rows_of_faces(in.faces, in.connect.rows(), counts) || !meldra::check_IDs(in.faces, nodes)))
        return -11;
    if (!in.edges.empty() && (in.edges.rows() != std::uint64_t(counts.nE) + 2 || !meldra::check_IDs(in.edges, nodes)))
        return -12;
    return 0;
}

/// The layouts of the kinds that the columns of a mesh can be.
class mesh_layouts {
public:
    mesh_layouts(std::size_t rows, const node_counts& counts)
        : mixed_(*find_mixed_record(ET_SOLID_MIX)), rows_(rows), edge_nodes_(counts.nE) {
        for (unsigned k = 0; k < mixed_.kinds; ++k)
            layouts_[k] = layout_of(element_records[std::size_t(mixed_.kind[k])].form, counts);
    }

    const element_layout& of(const unsigned* column) const { return layouts_[kind_place(mixed_, column, rows_)]; }

    /// Rows of the converted mesh: a mixed one has room for each kind, whether it is there or not.
    std::uint64_t width() const {
        std::uint64_t widest = 0;
        for (const element_layout& layout : layouts_)
            if (is_there(layout))
                widest = std::max(widest, layout.rows);
        return widest;
    }

    /// True when all new nodes are middles of edges.
    bool only_middles() const {
        for (const element_layout& layout : layouts_)
            if (is_there(layout) && layout.rows != layout.solid->nodes + layout.solid->edges)
                return false;
        return edge_nodes_ == 1;
    }

private:
    bool is_there(const element_layout& layout) const {
        return rows_ == rows_of(ET_SOLID_MIX) || layout.solid->nodes == rows_;
    }

    const mixed_record& mixed_;
    const std::size_t rows_;
    const unsigned edge_nodes_;
    std::array<element_layout, 4> layouts_;
};

elfes::face_mix key_of(const face_cycle& face, const unsigned* column) {
    return {{column[face.node[0]], column[face.node[1]], column[face.node[2]],
             face.size == 3 ? no_node : column[face.node[3]]}};
}

using edge_list = dense1D<elfes::edge2, 8>;

/// Writes the converted connectivity, a block of elements at a time: all their edges and faces are looked up together.
/// `ends` is null or takes the edges whose middles are new, in the order of their IDs.
class connectivity_writer {
public:
    connectivity_writer(const dense2D<unsigned int>& connect, const mesh_layouts& layouts, const node_counts& counts,
                        shared_nodes& shared, elfes::edge2* ends, dense2D<unsigned int>& out)
        : connect_(connect), layouts_(layouts), counts_(counts), shared_(shared), ends_(ends), out_(out) {}

    bool run() {
        for (std::size_t first = 0; first < connect_.cols(); first += elements_each) {
            const std::size_t last = std::min(first + elements_each, connect_.cols());
            shared_.look_up(connect_, first, last, edges_.data(), faces_.data());
            if (!(ends_ ? write_middles(first, last) : write(first, last)))
                return false;
        }
        return true;
    }

private:
    static constexpr std::size_t elements_each = 64;

    bool write(std::size_t first, std::size_t last) {
        const group_visit* edge = edges_.data();
        const group_visit* face = faces_.data();
        for (std::size_t j = first; j < last; ++j) {
            const element_layout& layout = layouts_.of(connect_.col(j));
            unsigned* const column = out_.col(j);
            unsigned* const end = std::copy_n(connect_.col(j), layout.solid->nodes, column);
            if (!number_edges(layout, edge, column, end) || !number_faces(layout, face, column))
                return false;
            if (layout.interior != 0 && !shared_.number_interior(layout.interior, column + layout.interior_row))
                return false;
            std::fill(column + layout.rows, column + out_.rows(), no_node);
        }
        return true;
    }

    bool write_middles(std::size_t first, std::size_t last) {
        const group_visit* group = edges_.data();
        bool done = true;
        for_each_element(
            connect_, first, last, [&]<const shape_record & Solid>(std::size_t j) __attribute__((always_inline)) {
                unsigned* const column = out_.col(j);
                std::array<unsigned, Solid.nodes> vertices;
                std::copy_n(connect_.col(j), Solid.nodes, vertices.begin());
                std::copy_n(vertices.begin(), Solid.nodes, column);
                done = done && shared_.number_middles<Solid>(group, vertices.data(), column + Solid.nodes, ends_);
                group += Solid.edges;
                std::fill(column + Solid.nodes + Solid.edges, column + out_.rows(), no_node);
            });
        return done;
    }

    bool number_edges(const element_layout& layout, const group_visit*& group, const unsigned* column, unsigned* ids) {
        const group_visit* const groups = group;
        if (counts_.nE != 0)
            group += layout.solid->edges;
        if (counts_.nE == 1)
            return shared_.number_middles(groups, layout.solid->edges, ids);
        for (unsigned e = 0; e < layout.solid->edges && counts_.nE != 0; ++e, ids += counts_.nE) {
            const auto [a, b] = layout.solid->edge[e];
            if (!shared_.number_edge(groups[e], {{column[a], column[b]}}, ids))
                return false;
        }
        return true;
    }

    bool number_faces(const element_layout& layout, const group_visit*& group, unsigned* column) {
        if (counts_.nT <= 1 && counts_.nQ <= 1) {
            const auto faces = static_cast<unsigned>(layout.interior_row - layout.face_row[0]);
            group += faces;
            return shared_.number_centres(group - faces, faces, column + layout.face_row[0]);
        }
        for (unsigned f = 0; f < layout.solid->faces; ++f)
            if (layout.face_size[f] != 0 && !shared_.number_face(*group++, key_of(layout.solid->face_nodes[f], column),
                                                                 column + layout.face_row[f]))
                return false;
        return true;
    }

    const dense2D<unsigned int>& connect_;
    const mesh_layouts& layouts_;
    const node_counts& counts_;
    shared_nodes& shared_;
    elfes::edge2* ends_;
    dense2D<unsigned int>& out_;
    std::array<group_visit, elements_each * 12> edges_; ///< groups of the edges of a block
    std::array<group_visit, elements_each * 6> faces_;
};

/// Places the new nodes, in the order of their IDs.
class node_placer {
public:
    /// `bent`: some nodes on edges and faces are the caller's, and need not lie on the straight element.
    node_placer(dense2D<double>& pos, std::size_t first_new, const node_counts& counts, bool bent)
        : nodes_(pos.data()), ld_(pos.ld()), last_(pos.cols()), next_(first_new), counts_(counts),
          side_(*square_side(counts.nQ)), depth_(*cube_side(counts.nH)),
          bent_(bent && counts.nE == 1 && counts.nQ == 1) {
        std::size_t n = 0;
        for (unsigned k = 0; k < depth_ && bent_; ++k)
            for (unsigned j = 0; j < depth_; ++j)
                for (unsigned i = 0; i < depth_; ++i)
                    functions_[n++] = functions_of_26(place(i), place(j), place(k));
    }

    void run(const dense2D<unsigned int>& connect, const mesh_layouts& layouts, const dense2D<unsigned int>& out) {
        if (!bent_ && counts_.nE <= 1 && counts_.nQ <= 1 && counts_.nT <= 1 && counts_.nH <= 1 && counts_.nX <= 1)
            return run_singles(connect, out);
        for (std::size_t j = 0; j < connect.cols(); ++j) {
            ask_for(connect, j + ahead);
            place_element(layouts.of(connect.col(j)), out.col(j));
        }
    }

    /// The middles of edges, with the ends of each.
    void run(const edge_list& ends) {
        const std::size_t n = last_ - next_;
        for (std::size_t k = 0; k < n; ++k) {
            if (k + ahead < n)
                prefetch(ends[k + ahead].id.data(), 2);
            add(middle_of_edge(at(ends[k].id[0]), at(ends[k].id[1])));
        }
    }

private:
    static constexpr std::size_t ahead = 16; // elements, or edges, whose vertices are on their way

    // Inlined always: a function that only asks for memory counts as doing nothing, and calls of it are left out.
    [[gnu::always_inline]] void prefetch(const unsigned* column, std::size_t rows) const {
        for (std::size_t i = 0; i < rows; ++i)
            if (column[i] != no_node)
                __builtin_prefetch(node(column[i]));
    }

    [[gnu::always_inline]] void ask_for(const dense2D<unsigned int>& connect, std::size_t j) const {
        if (j < connect.cols())
            prefetch(connect.col(j), connect.rows());
    }

    /// Of elements with at most one node inside each edge, face and interior.
    void run_singles(const dense2D<unsigned int>& connect, const dense2D<unsigned int>& out) {
        for_each_element(
            connect, 0, connect.cols(), [&]<const shape_record & Solid>(std::size_t j) __attribute__((always_inline)) {
                ask_for(connect, j + ahead);
                place_singles<Solid>(out.col(j));
            });
    }

    /// One node behind the other; each that is not new is written over by the next. So there is no branch, which would
    /// often be mispredicted, but where the last nodes come near.
    template <const shape_record& Solid>
    [[gnu::always_inline]] void place_singles(const unsigned* column) {
        const single_nodes<Solid> element(nodes_, ld_, column);
        const single_counts counts{counts_.nE != 0, counts_.nT != 0, counts_.nQ != 0, interior_count<Solid>() != 0};
        const unsigned* id = column + Solid.nodes;
        std::size_t next = next_;
        if (next + Solid.edges + Solid.faces < last_)
            element.for_each(
                counts, [&](const paired_point& p) __attribute__((always_inline)) {
                    p.write(node(next));
                    next += std::size_t(*id++ == next);
                });
        else
            element.for_each(
                counts, [&](const paired_point& p) __attribute__((always_inline)) {
                    if (*id++ == next)
                        p.write(node(next++));
                });
        next_ = next;
    }

    template <const shape_record& Solid>
    unsigned interior_count() const {
        return Solid.nodes == 8   ? counts_.nH
               : Solid.nodes == 6 ? counts_.nX
               : Solid.nodes == 5 ? counts_.nY
                                  : counts_.nTH;
    }

    double place(unsigned i) const { return 2.0 * (i + 1) / (depth_ + 1) - 1; }

    double* node(std::size_t id) const { return nodes_ + id * ld_; }

    point at(unsigned id) const {
        const double* const x = node(id);
        return {x[0], x[1], x[2]};
    }

    void add(const point& p) { std::copy_n(&p[0], 3, node(next_++)); }

    void place_element(const element_layout& layout, const unsigned* column) {
        for (unsigned k = 0; k < layout.solid->nodes; ++k)
            vertices_[k] = at(column[k]);
        place_edges(*layout.solid, column + layout.solid->nodes);
        for (unsigned f = 0; f < layout.solid->faces; ++f)
            if (layout.face_size[f] != 0 && column[layout.face_row[f]] == next_)
                place_face(layout, f, column);
        if (layout.interior != 0)
            place_interior(layout, column);
    }

    void place_edges(const shape_record& solid, const unsigned* ids) {
        for (unsigned e = 0; e < solid.edges && counts_.nE != 0; ++e, ids += counts_.nE)
            if (ids[0] == next_)
                place_edge(solid.edge[e]);
    }

    void place_edge(const node_pair& edge) {
        for (std::uint64_t i = 0; i < counts_.nE; ++i)
            add(node_on_edge(vertices_[edge[0]], vertices_[edge[1]], i, counts_.nE));
    }

    void place_face(const element_layout& layout, unsigned f, const unsigned* column) {
        const face_cycle& face = layout.solid->face_nodes[f];
        std::array<point, 4> corners;
        for (unsigned k = 0; k < face.size; ++k)
            corners[k] = vertices_[face.node[k]];
        if (face.size == 3) {
            for (unsigned k = 0; k < counts_.nT; ++k)
                add(node_in_triangle({corners[0], corners[1], corners[2]}, k, counts_.nT));
        } else if (bent_) {
            std::array<point, 4> on_edges;
            for (unsigned k = 0; k < 4; ++k)
                on_edges[k] = at(column[layout.solid->nodes + layout.face_edges[f][k]]);
            add(centre_of_quadrangle(corners, on_edges));
        } else {
            for (unsigned j = 0; j < side_; ++j)
                for (unsigned i = 0; i < side_; ++i)
                    add(node_in_quadrangle(corners, i, j, side_));
        }
    }

    void place_interior(const element_layout& layout, const unsigned* column) {
        switch (layout.form) {
        case shape::wedge:
            for (std::uint64_t k = 0; k < layout.interior; ++k)
                add(node_in_wedge({vertices_[0], vertices_[1], vertices_[2], vertices_[3], vertices_[4], vertices_[5]},
                                  k, layout.interior, counts_.nT, counts_.nE));
            break;
        case shape::hexahedron:
            if (bent_)
                place_in_26(layout.interior, column);
            else
                place_in_8();
            break;
        default: // one node
            add(mean_of(vertices_.data(), layout.solid->nodes));
        }
    }

    void place_in_8() {
        for (unsigned k = 0; k < depth_; ++k)
            for (unsigned j = 0; j < depth_; ++j)
                for (unsigned i = 0; i < depth_; ++i)
                    add(node_in_hexahedron(vertices_, i, j, k, depth_));
    }

    void place_in_26(unsigned n, const unsigned* column) {
        for (unsigned at = 0; at < n; ++at) {
            point p{};
            for (unsigned k = 0; k < 26; ++k) {
                const double weight = functions_[at][k];
                const double* const x = node(column[k]);
                for (unsigned i = 0; i < 3 && weight != 0; ++i)
                    p[i] += weight * x[i];
            }
            add(p);
        }
    }

    double* const nodes_;
    const std::size_t ld_;
    const std::size_t last_;
    std::size_t next_;
    const node_counts counts_;
    const unsigned side_;  ///< of the grid inside a quadrangle
    const unsigned depth_; ///< of the grid inside a hexahedron
    const bool bent_;
    std::array<point, 8> vertices_{};
    std::array<std::array<double, 26>, 27> functions_{};
};

/// A system that hands out more memory than it has grants two large blocks one after the other, and ends the process
/// when they are filled. So the room for both is asked for at once.
bool memory_suffices(const dense2D<unsigned int>& out, std::uint64_t nodes) {
    std::size_t node_bytes = 0;
    if (!numcore::__byte_count(nodes, 3, sizeof(double), node_bytes))
        return false;
    void* const probe = numcore::__vector_num_alloc(node_bytes + out.size() * sizeof(unsigned));
    numcore::__vector_num_free(probe);
    return probe != nullptr;
}

/// Writes the converted connectivity and, where all new nodes are middles of edges, the ends of these. Returns the
/// number of nodes, old and new; 0 when there is no memory. The tables of edges and faces are gone before the
/// coordinates grow.
std::uint64_t number_nodes(const conversion_inputs& in, const mesh_layouts& layouts, const node_counts& counts,
                           std::uint64_t first_new, edge_list& ends, dense2D<unsigned int>& out) {
    shared_nodes shared(counts, first_new);
    const bool done = out.resize(layouts.width(), in.connect.cols()) &&
                      shared.find(in.connect, in.faces, in.edges, {out.data(), out.size()}) &&
                      (!layouts.only_middles() || ends.resize(shared.edges())) &&
                      connectivity_writer(in.connect, layouts, counts, shared, ends.data(), out).run();
    return done ? shared.next() : 0;
}

int convert(dense2D<double>& pos, const conversion_inputs& in, const node_counts& counts,
            dense2D<unsigned int>& connect_out) {
    const std::size_t first_new = pos.cols();
    const mesh_layouts layouts(in.connect.rows(), counts);
    dense2D<unsigned int> out;
    edge_list ends;
    const std::uint64_t nodes = number_nodes(in, layouts, counts, first_new, ends, out);
    if (nodes == 0 || !memory_suffices(out, nodes) || !pos.resize(3, nodes))
        return no_memory;
    node_placer placer(pos, first_new, counts, !in.faces.empty() || !in.edges.empty());
    if (ends.empty())
        placer.run(in.connect, layouts, out);
    else
        placer.run(ends);
    connect_out = std::move(out);
    return 0;
}

} // namespace

int convert_into_high_order(dense2D<double>& pos, const dense2D<unsigned int>& connect_in, unsigned int nE,
                            unsigned int nQ, unsigned int nT, unsigned int nH, unsigned int nTH, unsigned int nX,
                            unsigned int nY, dense2D<unsigned int>& connect_out, dense2D<unsigned int>& faces,
                            dense2D<unsigned int>& edges) {
    const conversion_inputs in{connect_in, faces, edges};
    const node_counts counts{nE, nQ, nT, nH, nTH, nX, nY};
    connect_out.clear();
    if (in.connect.empty() || counts.total() == 0)
        return 0;
    if (const int status = check(pos, in, counts); status != 0)
        return status;
    return convert(pos, in, counts, connect_out);
}

int convert_into_high_order(dense2D<double>& pos, dense2D<unsigned int>& connect, unsigned int nE, unsigned int nQ,
                            unsigned int nT, unsigned int nH, unsigned int nTH, unsigned int nX, unsigned int nY,
                            const dense2D<unsigned int>& faces, const dense2D<unsigned int>& edges) {
    dense2D<unsigned int> given_faces = faces;
    dense2D<unsigned int> given_edges = edges;
    return convert_into_high_order(pos, connect, nE, nQ, nT, nH, nTH, nX, nY, connect, given_faces, given_edges);
}

int convert_into_quadratic(dense2D<double>& pos, dense2D<unsigned int>& connect, const dense2D<unsigned int>& faces,
                           const dense2D<unsigned int>& edges) {
    return convert_into_high_order(pos, connect, 1, 1, 0, 1, 0, 0, 0, faces, edges);
}

int convert_into_quadratic(dense2D<double>& pos, dense2D<unsigned int>& connect) {
    return convert_into_quadratic(pos, connect, {}, {});
}

} // namespace quorl::meldra3d
