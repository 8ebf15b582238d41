#pragma once

#include <cstdint>

#include <numcore/dense2D.h>

#include "convert/node_layout.h"
#include "frame/elfes.h"
#include "frame/hbuckets.h"
#include "frame/id_count.h"

namespace quorl::meldra3d::detail {

/// Numbers the nodes inside edges, faces and elements, so that an edge or face gets its nodes once. IDs are given in
/// the order of the calls. A table maps each edge and face to the ID of its first node; the key keeps the direction in
/// which it came first, in which the IDs of its new nodes rise.
///
/// Edges and faces that the caller gives come with nodes of their own, below the new IDs. Only where there is more than
/// one such node to a group, a second table leads to the caller's list of them.
///
/// Every operation returns false when there is no memory or an ID would not fit.
class shared_nodes {
public:
    using edge_table = hbuckets<keyed<elfes::edge2, unsigned>>;
    using face_table = hbuckets<keyed<elfes::face_mix, unsigned>>;
    using edge_probe = edge_table::probe;
    using face_probe = face_table::probe;

    shared_nodes(const node_counts& counts, std::uint64_t first_new)
        : counts_(counts), side_(square_side(counts.nQ).value_or(0)), first_new_(first_new), next_(first_new) {}

    bool init();

    /// Enters given faces and their edges; `solid_rows` are the rows of the mesh, which tell what the columns may be.
    bool enter_faces(const dense2D<unsigned int>& faces, std::size_t solid_rows);
    /// Enters given edges.
    bool enter_edges(const dense2D<unsigned int>& edges);

    /// Looks up the places of many edges or faces at once, before their nodes are asked for.
    void locate(edge_probe* probes, std::size_t n) const { edges_.locate(probes, n); }
    void locate(face_probe* probes, std::size_t n) const { faces_.locate(probes, n); }

    /// Writes the IDs of the nodes inside an edge or face, in the direction of the probe's key.
    bool number_edge(const edge_probe& edge, unsigned* ids);
    bool number_face(const face_probe& face, unsigned* ids);
    /// Writes n new IDs.
    bool number_interior(unsigned n, unsigned* ids);

    /// One more than the last ID.
    std::uint64_t next() const { return next_; }

private:
    // The nodes of a given edge or face lie in the caller's matrix.
    using given_edges = hbuckets<keyed<elfes::edge2, const unsigned*>>;
    using given_faces = hbuckets<keyed<elfes::face_mix, const unsigned*>>;

    /// n consecutive new IDs; `no_node` when they do not fit.
    unsigned take(unsigned n) {
        if (next_ + n > id_limit)
            return no_node;
        next_ += n;
        return static_cast<unsigned>(next_ - n);
    }

    bool enter_face(const unsigned* column, std::size_t rows, unsigned corners);
    bool enter_edge(const elfes::edge2& edge, const unsigned* ids);

    const node_counts counts_;
    const unsigned side_; ///< of the grid inside a quadrangle
    const std::uint64_t first_new_;
    std::uint64_t next_;
    edge_table edges_;
    face_table faces_;
    given_edges given_edges_;
    given_faces given_faces_;
};

} // namespace quorl::meldra3d::detail
