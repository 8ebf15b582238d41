// Prints the tables of local numberings as JSON, for numbering.py.

#include <cstdio>

#include "frame/element_tables.h"

using namespace quorl;
using namespace quorl::meldra3d::detail;

namespace {

void print_shape(const char* name, const shape_record& record, bool last = false) {
    std::printf("  \"%s\": {\"nodes\": %u, \"faces\": [", name, record.nodes);
    for (unsigned f = 0; f < record.faces; ++f) {
        std::printf("%s[", f == 0 ? "" : ", ");
        for (unsigned k = 0; k < record.face[f].size; ++k)
            std::printf("%s%u", k == 0 ? "" : ", ", record.face[f].node[k]);
        std::printf("]");
    }
    std::printf("], \"edges\": [");
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
