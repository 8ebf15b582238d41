#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "calls/example_meshes.h"

// Every function of the library on small meshes of every kind of element, as data: what it is called with, and what it
// leaves of its arguments when it fails. Tests go through the list to let memory run out (tests/faults), to call from
// many threads (tests/threads) and to compare results between compilers (tests/same_bits).
namespace test {

/// Room for the arguments of any function; each uses what it needs.
struct arguments {
    dense2D<double> pos;
    dense2D<double> values; ///< points, shifts, a field, metrics
    dense2D<double> reals;  ///< results: local coordinates, centres, normals
    dense2D<unsigned> connect;
    dense2D<unsigned> neighbors;
    dense2D<unsigned> faces;
    dense2D<unsigned> edges;
    dense2D<unsigned> out;   ///< elements that are made
    dense2D<unsigned> sides; ///< side quadrangles
    dense2D<unsigned> cap;   ///< closing faces
    id_list ids;
    id_list ancestors;
    id_list list; ///< results: elements, new IDs
    dense1D<double, 8> numbers;
    dense1D<double, 8> more_numbers;
    quorl::meldra::node_detector detector;
    unsigned element = 7;
    quorl::vector_fixed<double, 3> local{7, 7, 7};
    double number = 7;
};

enum class argument {
    pos,
    values,
    reals,
    connect,
    neighbors,
    faces,
    edges,
    out,
    sides,
    cap,
    ids,
    ancestors,
    list,
    numbers,
    more_numbers,
    detector,
    element,
    local,
    number
};

/// What a failed call leaves of an argument. Arguments without a rule keep every bit.
enum class leaves {
    as_it_was,   ///< in/out: contents and dimensions
    cut_back,    ///< in/out: the columns as they were, with more or fewer rows
    longer,      ///< in/out: the columns as they were, perhaps with others behind them
    nothing,     ///< out: empty; a number 0, an ID `no_node`
    nothing_too, ///< in/out: the same, so that the call cannot be repeated with it
    some_done,   ///< in/out, written in place: each entry as it was or as it becomes
    anything     ///< out: not promised
};

struct call {
    std::string function; ///< its name without namespaces, as `get_neighbors` or `dense2D::resize`
    std::string form;     ///< tells overloads apart
    std::string mesh;
    std::function<arguments(unsigned)> make; ///< for a number of cells along a side
    std::function<int(arguments&)> run;      ///< the status; -199 for a false of an array
    std::vector<std::pair<argument, leaves>> rules;
    bool swallows = false; ///< may succeed without some of the memory it wants, with less done

    std::string name() const { return function + (form.empty() ? "" : ", ") + form + ": " + mesh; }

    leaves rule(argument which) const {
        for (const auto& [ruled, left] : rules)
            if (ruled == which)
                return left;
        return leaves::as_it_was;
    }
};

/// All of them.
const std::vector<call>& all_calls();

/// The contents of an argument.
struct content {
    argument which;
    std::size_t rows;
    std::size_t cols;
    std::size_t entry; ///< bytes
    std::vector<unsigned char> bytes;

    bool operator==(const content&) const = default;
};

/// Copies of the contents of all arguments; a detector shows what it finds near some points.
std::vector<content> contents(const arguments& all);

/// True when a rule allows what is left of an argument, `after` being what a call that succeeds leaves.
bool obeys(leaves rule, const content& now, const content& before, const content& after);

/// The same arguments, of which those that the call changes have storage of their own and the others share theirs.
/// Outputs that are empty get contents, to be removed by the call.
arguments with_own_outputs(const call& which, const arguments& all);

} // namespace test
