// Opens a mesh along a surface: each node of the surface gets a copy, which the elements on one side of the surface
// around it take. Those are found by a walk around the node that never crosses the surface, from the element that has
// the face in the direction of that side. All is read from the connectivity as given and written to a copy of it.

#include <meldra3d/duplicate.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include <meldra/meldra.h>

#include "duplicate/gather_elements.h"
#include "frame/element_tables.h"
#include "frame/hbuckets.h"
#include "frame/id_count.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr int no_memory = -199;

/// The surface type that goes with a type of solids; ET_NONE where there is none.
constexpr element_type surface_of(element_type solids) {
    switch (solids) {
    case ET_TH4:
        return ET_T3;
    case ET_H8:
        return ET_Q4;
    case ET_SOLID_MIX:
        return ET_FACE_MIX;
    default:
        return ET_NONE;
    }
}

struct opening_inputs {
    dense2D<unsigned int> connectM;
    dense2D<unsigned int> neighbors;
    dense1D<unsigned int, 8> ancestors;
    dense2D<unsigned int> connectS;
    dense1D<unsigned int, 8> excluded_nodes;
    element_type type;
};

int check(const dense2D<double>& pos, const opening_inputs& in) {
    if (pos.rows() != 3)
        return -1;
    const unsigned nodes = id_count(pos.cols());
    if (!meldra::check_IDs(in.connectM, in.type, nodes))
        return -2;
    if (in.neighbors.cols() != in.connectM.cols() || in.neighbors.rows() != find_record(in.type)->faces ||
        !meldra::check_IDs(in.neighbors, id_count(in.connectM.cols())))
        return -3;
    if (!meldra::check_IDs(in.connectM, id_count(in.ancestors.size())))
        return -4;
    const element_type surface = surface_of(in.type);
    if (surface == ET_NONE)
        return -9;
    return meldra::check_IDs(in.connectS, surface, nodes) ? 0 : -5;
}

using face = elfes::face_mix;

/// A face of a surface, or of an element by its local nodes.
face face_of(const unsigned* column, const face_cycle& cycle) {
    face nodes{{no_node, no_node, no_node, no_node}};
    for (unsigned k = 0; k < cycle.size; ++k)
        nodes.id[k] = column[cycle.node[k]];
    return nodes;
}

/// True when two faces are the same cycle in the same direction.
bool runs_like(const face& x, const face& y) {
    const unsigned n = x.is_triangle() ? 3 : 4;
    if (x.is_triangle() != y.is_triangle())
        return false;
    for (unsigned start = 0; start < n; ++start) {
        unsigned same = 0;
        while (same < n && x.id[same] == y.id[(start + same) % n])
            ++same;
        if (same == n)
            return true;
    }
    return false;
}

enum class side : unsigned { plus = 1, minus = 2 };

enum class outcome { done, refused, out_of_memory };

class surface_opening {
public:
    surface_opening(dense2D<double>& pos, const opening_inputs& in)
        : pos_(pos), connect_(in.connectM), neighbors_(in.neighbors), ancestors_(in.ancestors), surface_(in.connectS),
          excluded_(in.excluded_nodes), kinds_(*find_mixed_record(ET_SOLID_MIX)) {}

    /// Finds the faces and the nodes to be copied, and makes room for the copies. False without memory.
    bool prepare(std::size_t sides) {
        return enter_faces() && enter_nodes() && reserve(nodes_.size() * sides) && working_.copy(connect_);
    }

    /// Copies the nodes for the elements on one side.
    outcome open(side which) {
        for (std::size_t j = 0; j < surface_.cols(); ++j) {
            const face oriented = surface_face(j, which);
            for (const unsigned id : oriented.id) {
                const std::uint64_t place = id == no_node ? nodes_.used_length() : nodes_.find(hash_of(id), id);
                if (place == nodes_.used_length() || (nodes_[place].value.payload & unsigned(which)) == 0)
                    continue;
                nodes_.value(place).payload &= ~unsigned(which);
                if (const outcome result = copy_node(id, oriented); result != outcome::done)
                    return result;
            }
        }
        return outcome::done;
    }

    dense2D<unsigned int>& connectivity() { return working_; }

private:
    /// A surface element, with its first and third node exchanged for the minus side.
    face surface_face(std::size_t j, side which) const {
        const unsigned* const column = surface_.col(j);
        face nodes{{column[0], column[1], column[2], surface_.rows() == 4 ? column[3] : no_node}};
        if (which == side::minus)
            std::swap(nodes.id[0], nodes.id[2]);
        return nodes;
    }

    bool enter_faces() {
        if (!faces_.init(surface_.cols(), fewest_buckets, 1.0))
            return false;
        for (std::size_t j = 0; j < surface_.cols(); ++j) {
            const face nodes = surface_face(j, side::plus);
            if (!faces_.insert(nodes.hash(), nodes))
                return false;
        }
        return true;
    }

    bool enter_nodes() {
        constexpr unsigned both = unsigned(side::plus) | unsigned(side::minus);
        if (!nodes_.init(surface_.cols(), fewest_buckets, 1.0))
            return false;
        for (std::size_t j = 0; j < surface_.cols(); ++j)
            for (const unsigned id : surface_face(j, side::plus).id)
                if (id != no_node && !nodes_.insert(hash_of(id), {id, both}))
                    return false;
        for (const unsigned id : excluded_)
            if (const std::uint64_t place = nodes_.find(hash_of(id), id); place != nodes_.used_length())
                nodes_.vacate(place);
        return true;
    }

    /// False as well when the new nodes could not be numbered or their number not be returned.
    bool reserve(std::uint64_t copies) {
        return copies <= std::uint64_t(std::numeric_limits<int>::max()) && pos_.cols() + copies <= id_limit &&
               pos_.reserve(3, pos_.cols() + copies, 1);
    }

    const shape_record& shape_of(unsigned element) const {
        const element_type kind = kind_of_column(kinds_, connect_.col(element), connect_.rows());
        return *find_record(element_records[std::size_t(kind)].form);
    }

    bool holds(unsigned element, unsigned node) const {
        const unsigned* const column = connect_.col(element);
        return std::find(column, column + connect_.rows(), node) != column + connect_.rows();
    }

    outcome copy_node(unsigned node, const face& oriented) {
        const unsigned start = node < ancestors_.size() ? ancestors_[node] : no_node;
        if (start >= connect_.cols() || !holds(start, node))
            return outcome::refused;
        if (!gather_around(node, start) || !gather_side(node, oriented) || !pos_.append(pos_.col(node)))
            return outcome::out_of_memory;
        const auto copy = static_cast<unsigned>(pos_.cols() - 1);
        for (const unsigned element : side_elements_) {
            unsigned* const column = working_.col(element);
            unsigned* const end = column + working_.rows();
            // An element that the other side has reached, too, no longer holds the node.
            if (unsigned* const place = std::find(column, end, node); place != end)
                *place = copy;
        }
        return outcome::done;
    }

    bool gather_around(unsigned node, unsigned start) {
        const auto crossed = [&](unsigned element, crossed_faces& faces) {
            const unsigned* const column = connect_.col(element);
            const shape_record& shape = shape_of(element);
            for (unsigned f = shape.faces; f-- > 0;) {
                const face nodes = face_of(column, shape.face[f]);
                if (std::find(nodes.id.begin(), nodes.id.end(), node) != nodes.id.end())
                    faces.face[faces.count++] = f;
            }
            return true;
        };
        return gather_elements(start, neighbors_, crossed, walk_, around_) == 0;
    }

    /// True when an element has a face that runs like the given one.
    bool has_face(unsigned element, const face& oriented) const {
        const shape_record& shape = shape_of(element);
        for (unsigned f = 0; f < shape.faces; ++f)
            if (runs_like(oriented, face_of(connect_.col(element), shape.face[f])))
                return true;
        return false;
    }

    /// Finds the elements around a node that are reached, from the one behind the face, without crossing the surface.
    /// An element counts as met when it is first looked at, be it across the surface: then it stays out.
    bool gather_side(unsigned node, const face& oriented) {
        side_elements_.clear();
        const auto* const start = std::find_if(around_.elements.begin(), around_.elements.end(),
                                               [&](unsigned element) { return has_face(element, oriented); });
        if (start == around_.elements.end())
            return true;
        bool is_new = false;
        if (!walk_.restart() || !walk_.meet(no_node, is_new) || !walk_.meet(*start, is_new) || !walk_.push(*start))
            return false;
        while (!walk_.empty()) {
            const unsigned element = walk_.pop();
            if (!side_elements_.push_back(element) || !meet_neighbors(element, node))
                return false;
        }
        return true;
    }

    bool meet_neighbors(unsigned element, unsigned node) {
        const shape_record& shape = shape_of(element);
        for (unsigned f = 0; f < shape.faces; ++f) {
            const unsigned next = neighbors_(f, element);
            bool is_new = false;
            if (!walk_.meet(next, is_new))
                return false;
            if (!is_new || !holds(next, node))
                continue;
            const face between = face_of(connect_.col(element), shape.face[f]);
            if (faces_.find(between.hash(), between) == faces_.used_length() && !walk_.push(next))
                return false;
        }
        return true;
    }

    dense2D<double>& pos_;
    const dense2D<unsigned int>& connect_;
    const dense2D<unsigned int>& neighbors_;
    const dense1D<unsigned int, 8>& ancestors_;
    const dense2D<unsigned int>& surface_;
    const dense1D<unsigned int, 8>& excluded_;
    const mixed_record& kinds_;
    hbuckets<face> faces_;
    hbuckets<keyed<std::uint32_t, unsigned>> nodes_; ///< with the sides for which they are still to be copied
    dense2D<unsigned int> working_;
    element_walk walk_;
    gathered_elements around_{};
    dense1D<unsigned int, 8> side_elements_;
};

} // namespace

int duplicate_surface_nodes(dense2D<double>& pos, dense2D<unsigned int>& connectM,
                            const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                            const dense2D<unsigned int>& connectS, const dense1D<unsigned int, 8>& excluded_nodes,
                            bool plus_side, bool minus_side, element_type type) {
    if (connectM.empty() || connectS.empty() || (!plus_side && !minus_side))
        return 0;
    const opening_inputs in{connectM, neighbors, ancestors, connectS, excluded_nodes, type};
    if (const int status = check(pos, in); status != 0)
        return status;
    const std::size_t entry_nodes = pos.cols();
    surface_opening opening(pos, in);
    if (!opening.prepare(std::size_t(plus_side) + std::size_t(minus_side)))
        return no_memory;
    outcome result = plus_side ? opening.open(side::plus) : outcome::done;
    if (result == outcome::done && minus_side)
        result = opening.open(side::minus);
    if (result != outcome::done) {
        pos.resize(3, entry_nodes); // shrinks, which needs no memory
        return result == outcome::refused ? 0 : no_memory;
    }
    connectM = std::move(opening.connectivity());
    return static_cast<int>(pos.cols() - entry_nodes);
}

} // namespace quorl::meldra3d
