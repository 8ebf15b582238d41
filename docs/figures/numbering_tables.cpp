// Prints the tables of local numberings as JSON, for numbering.py.

#include <cstdio>

#include "frame/element_tables.h"

using namespace quorl;
using namespace quorl::meldra3d::detail;

namespace {

void print_cycles(const char* name, const std::array<face_cycle, 6>& cycles, unsigned count) {
    std::printf("\"%s\": [", name);
    for (unsigned f = 0; f < count; ++f) {
        std::printf("%s[", f == 0 ? "" : ", ");
        for (unsigned k = 0; k < cycles[f].size; ++k)
            std::printf("%s%u", k == 0 ? "" : ", ", cycles[f].node[k]);
        std::printf("]");
    }
    std::printf("], ");
}

void print_shape(const char* name, const shape_record& record, bool last = false) {
    std::printf("  \"%s\": {\"nodes\": %u, ", name, record.nodes);
    print_cycles("faces", record.face, record.faces);
    print_cycles("face_nodes", record.face_nodes, record.faces);
    std::printf("\"edges\": [");
    for (unsigned e = 0; e < record.edges; ++e)
        std::printf("%s[%u, %u]", e == 0 ? "" : ", ", record.edge[e][0], record.edge[e][1]);
    std::printf("]}%s\n", last ? "" : ",");
}

} // namespace

int main() {
    std::printf("{\"rows\": [");
    for (const element_record& record : element_records)
        std::printf("%s%u", record.type == ET_NONE ? "" : ", ", record.rows);
    std::printf("], \"neighbours\": [");
    for (const element_record& record : element_records)
        std::printf("%s%u", record.type == ET_NONE ? "" : ", ", record.faces);
    std::printf("],\n \"shapes\": {\n");
    print_shape("triangle", triangle_record);
    print_shape("quadrangle", quadrangle_record);
    print_shape("tetrahedron", tetrahedron_record);
    print_shape("pyramid", pyramid_record);
    print_shape("wedge", wedge_record);
    print_shape("hexahedron", hexahedron_record, true);
    std::printf("}}\n");
}
