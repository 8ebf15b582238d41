// check_IDs, get_neighbors, get_ancestors and simplify on random connectivities, against plain versions of their rules.

#include "suits.h"

#include <array>
#include <optional>

#include "frame/element_tables.h"

namespace {

using namespace fuzz;
using namespace quorl::meldra3d::detail;
using quorl::dense1D;
using quorl::element_type;

using face = std::vector<unsigned>;

/// The faces of one column, by the tables of the library.
std::vector<face> faces_of(element_type type, const unsigned* column, std::size_t rows) {
    const mixed_record* const mixed = find_mixed_record(type);
    const element_type kind = mixed ? kind_of_column(*mixed, column, rows) : type;
    const shape_record& record = *find_record(element_records[std::size_t(kind)].form);
    std::vector<face> faces(record.faces);
    for (unsigned f = 0; f < record.faces; ++f)
        for (unsigned k = 0; k < record.face[f].size; ++k)
            faces[f].push_back(column[record.face[f].node[k]]);
    return faces;
}

/// True when one cycle is the other, read from another node or in the other direction.
bool same_cycle(const face& a, const face& b) {
    const std::size_t n = a.size();
    if (b.size() != n)
        return false;
    for (std::size_t start = 0; start < n; ++start) {
        bool forward = true;
        bool backward = true;
        for (std::size_t k = 0; k < n; ++k) {
            forward = forward && a[k] == b[(start + k) % n];
            backward = backward && a[k] == b[(start + n - k) % n];
        }
        if (forward || backward)
            return true;
    }
    return false;
}

/// A face of a matrix of elements, and the places of the others that are the same.
struct shared_face {
    face nodes;
    std::size_t element;
    std::size_t number;
};

void check_neighbors(const snapshot<unsigned>& connect, element_type type, bool strict, int status,
                     const dense2D<unsigned>& neighbors) {
    std::vector<shared_face> all;
    for (std::size_t j = 0; j < connect.cols; ++j) {
        const std::vector<face> faces = faces_of(type, connect.col(j), connect.rows);
        for (std::size_t f = 0; f < faces.size(); ++f)
            all.push_back({faces[f], j, f});
    }
    std::vector<std::vector<unsigned>> expected(
        connect.cols, std::vector<unsigned>(element_records[std::size_t(type)].faces, no_node));
    bool manifold = true;
    for (const shared_face& one : all) {
        std::size_t others = 0;
        std::size_t across = 0;
        for (const shared_face& other : all)
            if (&one != &other && same_cycle(one.nodes, other.nodes)) {
                ++others;
                across = other.element;
            }
        if (others == 1)
            expected[one.element][one.number] = unsigned(across);
        manifold = manifold && others < 2;
    }
    require(status == (strict && !manifold ? -3 : 0), "the status of get_neighbors");
    if (status != 0)
        return;
    require(neighbors.rows() == expected.front().size() && neighbors.cols() == connect.cols, "a row per face");
    for (std::size_t j = 0; j < connect.cols; ++j)
        for (std::size_t f = 0; f < expected[j].size(); ++f)
            require(neighbors(f, j) == expected[j][f], "the element across each face");
}

void fuzz_neighbors(arguments& args, dense2D<unsigned> connect, element_type type) {
    const snapshot<unsigned> before(connect);
    const bool strict = args.flag();
    const bool in_place = args.rarely(8);
    dense2D<unsigned> other;
    if (args.rarely(4))
        other = connect; // shares its storage
    dense2D<unsigned>& neighbors = in_place ? connect : other;
    const int status = quorl::meldra::get_neighbors(connect, type, strict, neighbors);

    const element_record* const record = find_record(type);
    const bool has_faces = record && record->faces > 2;
    if (before.empty())
        require(status == 0, "an empty connectivity is no error");
    else if (!has_faces)
        require(status == -2, "a type without faces");
    else if (!suits(before, type, no_node))
        require(status == -1, "a connectivity that does not suit its type");
    else
        check_neighbors(before, type, strict, status, neighbors);
    require(status == 0 || (neighbors.rows() == 0 && neighbors.cols() == 0), "empty on failure");
    require(in_place || before.same(connect), "the input unchanged");
}

void fuzz_ancestors(arguments& args, const dense2D<unsigned>& connect) {
    const snapshot<unsigned> before(connect);
    dense1D<unsigned, 8> ancestors(args.below(4), 5u);
    if (args.rarely(4))
        ancestors = connect.as_vector();
    const int status = quorl::meldra::get_ancestors(connect, ancestors);

    unsigned largest = 0; // plus one
    for (const unsigned id : before.entries)
        largest = std::max(largest, id == no_node ? 0 : id + 1);
    require(before.same(connect), "the input unchanged");
    require(status == 0 || (status == -199 && largest > 100000), "the status of get_ancestors");
    require(ancestors.size() == (status == 0 ? largest : 0), "one entry per node");
    if (status != 0 || largest > 100000)
        return;
    std::vector<unsigned> expected(largest, no_node);
    for (std::size_t j = before.empty() ? 0 : before.cols; j-- > 0;)
        for (std::size_t i = 0; i < before.rows; ++i)
            if (const unsigned id = before.col(j)[i]; id != no_node)
                expected[id] = unsigned(j);
    require(std::equal(expected.begin(), expected.end(), ancestors.begin()), "the first element of each node");
}

/// The map from old to new IDs; none when an ID names no node.
std::optional<std::vector<unsigned>> numbers_after_removal(const std::vector<snapshot<unsigned>>& connects,
                                                           std::size_t nodes, unsigned n0) {
    std::vector<unsigned> map(nodes, no_node);
    for (const snapshot<unsigned>& connect : connects)
        for (const unsigned id : connect.entries) {
            if (id != no_node && id >= nodes)
                return std::nullopt;
            if (id != no_node)
                map[id] = 0;
        }
    unsigned next = 0;
    for (std::size_t id = 0; id < nodes; ++id)
        if (id < n0 || map[id] != no_node)
            map[id] = next++;
    return map;
}

void check_simplified(const snapshot<double>& pos_before, const std::vector<snapshot<unsigned>>& before,
                      const std::vector<unsigned>& map, const dense2D<double>& pos,
                      const std::vector<dense2D<unsigned>>& connects, const dense1D<unsigned, 8>& new_ids) {
    require(std::equal(map.begin(), map.end(), new_ids.begin(), new_ids.end()), "the map of the IDs");
    std::size_t kept = 0;
    for (std::size_t id = 0; id < map.size(); ++id)
        if (map[id] != no_node) {
            require(map[id] < pos.cols(), "room for the nodes that are kept");
            require(pos_before.empty() ||
                        std::memcmp(pos.col(map[id]), pos_before.col(id), pos_before.rows * sizeof(double)) == 0,
                    "the coordinates of a node");
            ++kept;
        }
    require(pos.cols() == kept && pos.rows() == pos_before.rows, "one column for each node that is kept");
    for (std::size_t k = 0; k < connects.size(); ++k) {
        const snapshot<unsigned> now(connects[k]);
        require(now.rows == before[k].rows && now.cols == before[k].cols, "dimensions of the matrices");
        for (std::size_t e = 0; e < now.entries.size(); ++e) {
            const unsigned old = before[k].entries[e];
            require(now.entries[e] == (old == no_node ? no_node : map[old]), "the numbers of the nodes");
        }
    }
}

void fuzz_simplify(arguments& args, const dense2D<unsigned>& witness) {
    dense2D<double> pos = args.coordinates();
    const unsigned nodes = named_columns(pos.cols());
    const unsigned n0 = args.rarely(8) ? args.integer() : args.below(nodes + 1);
    std::vector<dense2D<unsigned>> connects;
    connects.reserve(4);
    std::vector<dense2D<unsigned>*> earlier;
    for (unsigned k = args.below(5); k > 0 && connects.size() < 4; --k) {
        connects.push_back(args.connectivity(args.below(9), {3, 4, 8}, nodes, earlier));
        earlier.push_back(&connects.back());
    }
    if (args.rarely(8) && !connects.empty())
        connects.back() = witness; // of another mesh
    dense1D<unsigned, 8> new_ids(2, 7u);
    if (args.rarely(4) && !connects.empty())
        new_ids = connects.front().as_vector();
    dense2D<double> pos_witness;
    if (args.flag())
        pos_witness = pos;
    const snapshot<double> pos_before(pos), pos_seen(pos_witness);
    const snapshot<unsigned> seen(witness);
    std::vector<snapshot<unsigned>> before;
    for (const dense2D<unsigned>& connect : connects)
        before.emplace_back(connect);
    const bool many = pos.cols() > many_columns;
    const auto map = many ? std::nullopt : numbers_after_removal(before, nodes, n0);
    const std::vector<unsigned> ids_before(new_ids.begin(), new_ids.end());

    const int status = quorl::meldra::simplify(pos, connects.data(), connects.data() + connects.size(), new_ids, n0);

    require(pos_seen.same(pos_witness) && seen.same(witness), "other views unchanged");
    require(status == (map ? 0 : -2) || (many && status == -199), "the status of simplify");
    if (map) {
        check_simplified(pos_before, before, *map, pos, connects, new_ids);
        return;
    }
    require(pos_before.same(pos) && std::equal(ids_before.begin(), ids_before.end(), new_ids.begin(), new_ids.end()),
            "nothing changed when refused");
    for (std::size_t k = 0; k < connects.size(); ++k)
        require(before[k].same(connects[k]), "no matrix changed when refused");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const auto type = element_type(args.rarely(12) ? int(args.integer()) : int(args.below(25)));
    const element_record* const record = find_record(type);
    const unsigned rows = !record || args.rarely(8) ? args.below(30) : record->rows;
    const unsigned nodes = args.below(16);
    const dense2D<unsigned> connect = args.connectivity(rows, {3, 4, 5, 6, 8, 9, 10, 13, 14, 15, 18, 20, 27}, nodes);
    const snapshot<unsigned> before(connect);

    require(quorl::meldra::check_IDs(connect, type, nodes) == suits(before, type, nodes), "check_IDs for a type");
    const bool below = std::all_of(before.entries.begin(), before.entries.end(),
                                   [=](unsigned id) { return id < nodes || id == no_node; });
    require(quorl::meldra::check_IDs(connect, nodes) == below, "check_IDs for a matrix");
    if (connect.ld() == connect.rows())
        require(quorl::meldra::check_IDs(connect.as_vector(), nodes) == below, "check_IDs for a list");

    fuzz_neighbors(args, connect, type);
    fuzz_ancestors(args, connect);
    fuzz_simplify(args, connect);
    require(args.callers_memory_kept(), "the caller's memory unchanged");
    return 0;
}
