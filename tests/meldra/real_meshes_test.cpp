#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "meldra/face_oracle.h"
#include "support/meshes.h"

// Neighbours in meshes of other projects, where a folder of them is at hand; the figures are those it gives.
using namespace quorl;
using namespace test;
using meldra::get_neighbors;

namespace {

constexpr unsigned none = no_node;

struct real_mesh {
    dense2D<unsigned> connect;
    std::vector<int> region; // of each element
    unsigned nodes = 0;
};

void append_padded(dense2D<unsigned>& connect, std::vector<unsigned> nodes) {
    nodes.resize(connect.rows(), none);
    connect.append(nodes.data());
}

/// The elements of a Medit file, in as many rows as asked for.
real_mesh read_medit(const std::string& path, std::size_t rows) {
    static const std::map<std::string, std::size_t> sizes{
        {"Triangles", 3}, {"Quadrilaterals", 4}, {"Tetrahedra", 4}, {"Hexahedra", 8}};
    real_mesh mesh;
    mesh.connect.resize(rows, 0);
    std::ifstream file(path);
    std::size_t dimension = 3;
    for (std::string word; file >> word;) {
        if (word == "Dimension")
            file >> dimension;
        if (word == "Vertices") {
            file >> mesh.nodes;
            double skipped;
            for (std::size_t k = 0; k < mesh.nodes * (dimension + 1); ++k)
                file >> skipped;
        }
        const auto size = sizes.find(word);
        if (size == sizes.end())
            continue;
        std::size_t n = 0;
        file >> n;
        for (std::size_t k = 0; k < n; ++k) {
            std::vector<unsigned> nodes(size->second);
            for (unsigned& node : nodes) {
                file >> node;
                --node; // they count from 1
            }
            append_padded(mesh.connect, nodes);
            file >> mesh.region.emplace_back();
        }
    }
    return mesh;
}

/// The elements of a legacy VTK file, in as many rows as asked for.
real_mesh read_vtk(const std::string& path, std::size_t rows) {
    real_mesh mesh;
    mesh.connect.resize(rows, 0);
    std::ifstream file(path);
    std::size_t n = 0, skipped = 0;
    for (std::string word; file >> word;) {
        if (word == "POINTS")
            file >> mesh.nodes;
        if (word == "CELLS") {
            file >> n >> skipped;
            for (std::size_t k = 0; k < n; ++k) {
                std::size_t size = 0;
                file >> size;
                std::vector<unsigned> nodes(size);
                for (unsigned& node : nodes)
                    file >> node;
                append_padded(mesh.connect, nodes);
            }
        }
        if (word == "LOOKUP_TABLE" && mesh.region.empty()) {
            file >> word;
            mesh.region.resize(n);
            for (int& region : mesh.region)
                file >> region;
        }
    }
    return mesh;
}

struct face_counts {
    std::size_t boundary = 0;
    std::size_t interface = 0; // faces between two regions
    std::set<unsigned> interface_nodes;
};

/// Counts from the matrix of neighbours, which has to agree with the table of faces and with itself.
face_counts count_faces(const real_mesh& mesh, element_type type, std::size_t elements) {
    EXPECT_EQ(mesh.connect.cols(), elements);
    EXPECT_EQ(mesh.region.size(), elements);
    EXPECT_TRUE(meldra::check_IDs(mesh.connect, type, mesh.nodes));
    dense2D<unsigned> neighbors;
    EXPECT_EQ(get_neighbors(mesh.connect, type, false, neighbors), 0);
    EXPECT_TRUE(meldra::check_IDs(neighbors, static_cast<unsigned>(mesh.connect.cols())));
    EXPECT_EQ(entries(neighbors), entries(neighbors_by_table(mesh.connect, type).neighbors));
    face_counts counts;
    for (unsigned j = 0; j < mesh.connect.cols(); ++j) {
        const auto faces = faces_of(type, column(mesh.connect, j));
        for (std::size_t f = 0; f < neighbors.rows(); ++f) {
            const unsigned across = neighbors(f, j);
            if (across != none) {
                const auto back = column(neighbors, across);
                EXPECT_EQ(std::count(back.begin(), back.end(), j), 1) << "element " << j;
                if (across > j && mesh.region[j] != mesh.region[across]) {
                    ++counts.interface;
                    counts.interface_nodes.insert(faces[f].begin(), faces[f].end());
                }
            }
            counts.boundary += f < faces.size() && across == none;
        }
    }
    return counts;
}

/// Parts of a mesh that are joined through faces.
std::size_t bodies(const real_mesh& mesh, element_type type) {
    dense2D<unsigned> neighbors;
    EXPECT_EQ(get_neighbors(mesh.connect, type, false, neighbors), 0);
    std::vector<bool> seen(neighbors.cols());
    std::size_t count = 0;
    for (unsigned start = 0; start < neighbors.cols(); ++start) {
        std::vector<unsigned> reached;
        if (!seen[start]) {
            reached.push_back(start);
            seen[start] = true;
            ++count;
        }
        while (!reached.empty()) {
            const unsigned j = reached.back();
            reached.pop_back();
            for (std::size_t f = 0; f < neighbors.rows(); ++f)
                if (const unsigned across = neighbors(f, j); across != none && !seen[across]) {
                    seen[across] = true;
                    reached.push_back(across);
                }
        }
    }
    return count;
}

class RealMeshes : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(folder))
            GTEST_SKIP() << "no folder " << folder;
    }

    const std::string folder = MELDRA3D_TEST_MESHES;
};

} // namespace

TEST_F(RealMeshes, ACylinderInACubeOfTetrahedra) {
    const auto mesh = read_medit(folder + "/tet_cube_cylinder_2regions.mesh", 4);
    const auto counts = count_faces(mesh, ET_TH4, 54517);
    EXPECT_EQ(counts.interface, 1472u);
    EXPECT_EQ(counts.interface_nodes.size(), 768u);
    EXPECT_EQ(bodies(mesh, ET_TH4), 1u);
    dense1D<unsigned, 8> ancestors;
    EXPECT_EQ(meldra::get_ancestors(mesh.connect, ancestors), 0);
    EXPECT_EQ(ancestors.size(), 10490u);
    EXPECT_TRUE(meldra::check_IDs(ancestors, 54517));
    EXPECT_EQ(std::count(ancestors.begin(), ancestors.end(), none), 0);
}

TEST_F(RealMeshes, AnElbowOfTetrahedra) {
    const auto mesh = read_medit(folder + "/tet_elbow.mesh", 4);
    const auto counts = count_faces(mesh, ET_TH4, 8161);
    EXPECT_EQ(bodies(mesh, ET_TH4), 1u);
    EXPECT_EQ(counts.boundary % 2, 0u) << "three edges of each triangle, two triangles at each edge";
    EXPECT_EQ(counts.interface, 0u);
}

TEST_F(RealMeshes, ACanOfQuadraticTetrahedra) {
    const auto mesh = read_vtk(folder + "/tet10_can.vtk", 10);
    EXPECT_EQ(count_faces(mesh, ET_TH10, 7236).boundary, 4452u);
    EXPECT_EQ(bodies(mesh, ET_TH10), 1u);
    dense1D<unsigned, 8> ancestors;
    EXPECT_EQ(meldra::get_ancestors(mesh.connect, ancestors), 0);
    EXPECT_EQ(ancestors.size(), 14119u);
    EXPECT_EQ(std::count(ancestors.begin(), ancestors.end(), none), 0);
}

TEST_F(RealMeshes, AFibreInAMatrixOfHexahedra) {
    const auto mesh = read_medit(folder + "/hex_matrix_fiber_2regions.mesh", 8);
    EXPECT_EQ(count_faces(mesh, ET_H8, 1952).interface, 192u);
    EXPECT_EQ(bodies(mesh, ET_H8), 1u);
}

TEST_F(RealMeshes, TwoBodiesOfTetrahedraPyramidsAndHexahedra) {
    const auto mesh = read_vtk(folder + "/mixed_tet_pyr_hex.vtk", 8);
    EXPECT_EQ(count_faces(mesh, ET_SOLID_MIX, 1326 + 48 + 128).interface, 48u);
    EXPECT_EQ(bodies(mesh, ET_SOLID_MIX), 2u);
}

TEST_F(RealMeshes, ACornerOfLargeQuadraticKinds) {
    const auto mesh = read_vtk(folder + "/mixed_quadratic_fichera.vtk", 27);
    count_faces(mesh, ET_SOLID_MIX_Q, 5 + 6 + 3);
    EXPECT_EQ(bodies(mesh, ET_SOLID_MIX_Q), 1u);
}

TEST_F(RealMeshes, AWingBoxWhoseShellsMeetInEdges) {
    const auto mesh = read_vtk(folder + "/surf_quad_wingbox_nonmanifold.vtk", 4);
    std::size_t edges_of_one = 0, edges_of_many = 0, slots_of_many = 0;
    for (const auto& [edge, slots] : slots_of_faces(mesh.connect, ET_Q4)) {
        edges_of_one += slots.size() == 1;
        edges_of_many += slots.size() > 2;
        slots_of_many += slots.size() > 2 ? slots.size() : 0;
    }
    EXPECT_EQ(edges_of_one, 666u);
    EXPECT_EQ(edges_of_many, 256u);
    EXPECT_EQ(count_faces(mesh, ET_Q4, 2464).boundary, edges_of_one + slots_of_many);
    dense2D<unsigned> neighbors;
    EXPECT_EQ(get_neighbors(mesh.connect, ET_Q4, true, neighbors), -3);
    EXPECT_TRUE(neighbors.empty());
}

TEST_F(RealMeshes, ASquareOfTrianglesAndQuadrangles) {
    const auto mesh = read_medit(folder + "/surf_square_triquad_planar.mesh", 4);
    EXPECT_EQ(count_faces(mesh, ET_FACE_MIX, 458 + 200).boundary, 80u);
    EXPECT_EQ(bodies(mesh, ET_FACE_MIX), 1u);
}
