#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "calls/call.h"

namespace test {

/// Arguments for a function, named by their mesh.
struct made {
    std::string mesh;
    std::function<arguments(unsigned)> make;
};

/// Collects the calls. To add one: add("function", "overload", {{"mesh", make}}, run, {{argument::out,
/// leaves::nothing}}).
class call_list {
public:
    using rules = std::vector<std::pair<argument, leaves>>;

    void add(const std::string& function, const std::string& form, const std::vector<made>& meshes,
             const std::function<int(arguments&)>& run, const rules& left = {}) {
        for (const auto& [mesh, make] : meshes)
            calls_.push_back({function, form, mesh, make, run, left});
    }

    /// For functions that may succeed without some of the memory they want.
    void add_swallowing(const std::string& function, const std::string& form, const std::vector<made>& meshes,
                        const std::function<int(arguments&)>& run, const rules& left) {
        for (const auto& [mesh, make] : meshes)
            calls_.push_back({function, form, mesh, make, run, left, true});
    }

    const std::vector<call>& calls() const { return calls_; }

private:
    std::vector<call> calls_;
};

/// The status of an array operation, as the library gives it on.
inline int status_of(bool done) {
    return done ? 0 : -199;
}

/// Arguments of which only the mesh is set.
inline arguments of_mesh(const mesh& m) {
    arguments a;
    a.pos = m.pos;
    a.connect = m.connect;
    return a;
}

inline arguments of_solids(cut kind, unsigned n) {
    return of_mesh(solids(kind, n));
}

void add_array_calls(call_list& list);
void add_mesh_tool_calls(call_list& list);
void add_convert_calls(call_list& list);
void add_split_calls(call_list& list);
void add_extrude_calls(call_list& list);
void add_locate_calls(call_list& list);
void add_measure_calls(call_list& list);

} // namespace test
