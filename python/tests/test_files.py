"""Mesh files: every supported format against raw files, and what happens with files that are wrong."""

import importlib.util
import os
import stat
import subprocess
import sys
import warnings

import numpy as np
import pytest
import raw_files

from reference_elements import (
    GMSH_NUMBER, GMSH_RAW, SHAPE_OF, VTK_NUMBER, VTK_RAW, assert_is_ours, nodes_at, raw_element,
)  # fmt: skip

from meldra3d import NO_NODE, Mesh, MeshFileError, MeshFileWarning, read, write
from meldra3d.elements import SHAPES
from meldra3d.elements import ElementType as K

MEDIT_KINDS = [K[name] for name in raw_files.MEDIT_NAMES]
ABAQUS_KINDS = [K[name] for name in raw_files.ABAQUS_NAMES]
NASTRAN_KINDS = [K[name] for name in raw_files.NASTRAN_NAMES]
VTK_KINDS = list(VTK_RAW)


def usual(kinds):
    """Raw elements in the order of VTK, but with the 6-node wedge as all others have it."""
    elements = raw_files.elements_of("vtk", kinds)
    return [
        (kind, raw_element(kind, "gmsh") + x[0] - raw_element(kind, "vtk")[0] if kind is K.W6 else x)
        for kind, x in elements
    ]


FORMATS = {
    "gmsh 2.2": ("msh", lambda: raw_files.gmsh22(raw_files.elements_of("gmsh")), list(GMSH_RAW)),
    "gmsh 4.1": ("msh", lambda: raw_files.gmsh41(raw_files.elements_of("gmsh")), list(GMSH_RAW)),
    "vtk 3.0": ("vtk", lambda: raw_files.vtk_legacy(raw_files.elements_of("vtk")), VTK_KINDS),
    "vtk 5.1": ("vtk", lambda: raw_files.vtk_legacy(raw_files.elements_of("vtk"), "5.1"), VTK_KINDS),
    "vtu": ("vtu", lambda: raw_files.vtu(raw_files.elements_of("vtk")), VTK_KINDS),
    "medit": ("mesh", lambda: raw_files.medit(usual(MEDIT_KINDS)), MEDIT_KINDS),
    "abaqus": ("inp", lambda: raw_files.abaqus(usual(ABAQUS_KINDS)), ABAQUS_KINDS),
    "nastran": ("bdf", lambda: raw_files.nastran(usual(NASTRAN_KINDS)), NASTRAN_KINDS),
}


@pytest.mark.parametrize("name", FORMATS)
def test_every_kind_in_a_raw_file_arrives_in_our_order_and_direct(tmp_path, name):
    extension, text, kinds = FORMATS[name]
    path = tmp_path / f"raw.{extension}"
    path.write_text(text())
    mesh = read(path)
    assert [kind for kind, _ in mesh.blocks] == kinds
    assert mesh.points.dtype == np.float64 and mesh.points.shape[1] == 3
    for kind, cells in mesh.blocks:
        assert cells.dtype == np.uint32 and cells.flags.c_contiguous and len(cells) == 1
        assert_is_ours(kind, mesh.points[cells[0]], tolerance=1e-7)


@pytest.mark.parametrize("name", FORMATS)
def test_reading_prints_and_warns_nothing_when_nothing_is_wrong(tmp_path, capfd, name):
    extension, text, _ = FORMATS[name]
    path = tmp_path / f"raw.{extension}"
    path.write_text(text())
    with warnings.catch_warnings():
        warnings.simplefilter("error", MeshFileWarning)
        read(path)
    assert capfd.readouterr() == ("", "")


@pytest.mark.parametrize(
    "name,key", [("gmsh 2.2", "gmsh:physical"), ("vtk 3.0", "part"), ("vtk 5.1", "part"), ("vtu", "part"),
                 ("medit", "medit:ref")]
)  # fmt: skip
def test_values_on_elements_stay_with_their_elements(tmp_path, name, key):
    extension, text, kinds = FORMATS[name]
    path = tmp_path / f"raw.{extension}"
    path.write_text(text())
    values = read(path).cell_data[key]
    assert [v.tolist() for v in values] == [[40 + k] for k in range(len(kinds))]


def test_values_of_a_gmsh_view_go_to_the_elements_of_every_block(tmp_path):
    elements = raw_files.elements_of("gmsh", [K.T3, K.T3, K.Q4])
    view = [
        "$ElementData",
        "1",
        '"heat"',
        "1",
        "0.0",
        "3",
        "0",
        "1",
        "3",
        "1 0.5",
        "2 1.5",
        "3 2.5",
        "$EndElementData",
        "",
    ]
    (tmp_path / "v.msh").write_text(raw_files.gmsh22(elements) + "\n".join(view))
    mesh = read(tmp_path / "v.msh")
    assert [values.tolist() for values in mesh.cell_data["heat"]] == [[0.5, 1.5], [2.5]]


def one_of_each(kinds):
    """A mesh in our order with one element of each kind; a second one of each, in one block, for the written order."""
    points, blocks = [], []
    for place, kind in enumerate(kinds):
        for copy in range(2):
            points.append(raw_element(kind, "ours") + [3.0 * place, 3.0 * copy, 0])
        count = len(points[-1])
        first = sum(map(len, points[:-2]))
        blocks.append((kind, np.arange(first, first + 2 * count).reshape(2, count)))
    return Mesh(np.concatenate(points), blocks)


def assert_as_in(raw, numbers, points, cells):
    """Check that each (type number, nodes) lies as the numbering `raw` of its kind says, and is the right way round."""
    kinds = {number: kind for kind, number in numbers.items()}
    for number, nodes in cells:
        kind = kinds[number]
        x = points[nodes]
        assert np.abs(nodes_at(x[: SHAPES[kind].vertices], raw[kind]) - x).max() < 1e-12, kind.name
        if kind >= K.TH4:
            a, b, c = x[1] - x[0], x[2] - x[0], x[SHAPES[kind].vertices - 1] - x[0]
            is_usual = np.linalg.det([a, b, c]) > 0
            assert is_usual != (kind is K.W6 and raw is VTK_RAW), kind.name
        elif SHAPE_OF[kind] in ("triangle", "quadrangle"):
            assert np.cross(x[1] - x[0], x[2] - x[1])[2] > 0, kind.name


@pytest.mark.parametrize("extension,reader", [("vtk", raw_files.read_vtk42), ("vtu", raw_files.read_vtu)])
def test_written_vtk_files_have_the_raw_order_of_vtk(tmp_path, extension, reader):
    write(tmp_path / f"out.{extension}", one_of_each(VTK_KINDS))
    points, cells = reader(tmp_path / f"out.{extension}")
    assert [number for number, _ in cells] == [VTK_NUMBER[kind] for kind in VTK_KINDS for _ in range(2)]
    assert_as_in(VTK_RAW, VTK_NUMBER, points, cells)


def test_written_gmsh_files_have_the_raw_order_of_gmsh(tmp_path):
    write(tmp_path / "out.msh", one_of_each(GMSH_RAW))
    points, cells = raw_files.read_gmsh22(tmp_path / "out.msh")
    assert [number for number, _ in cells] == [GMSH_NUMBER[kind] for kind in GMSH_RAW for _ in range(2)]
    assert_as_in(GMSH_RAW, GMSH_NUMBER, points, cells)


def test_written_medit_files_have_the_usual_orientation(tmp_path):
    write(tmp_path / "out.mesh", one_of_each(MEDIT_KINDS))
    words = (tmp_path / "out.mesh").read_text().split()
    start = words.index("Vertices")
    count = int(words[start + 1])
    points = np.array(words[start + 2 : start + 2 + 4 * count], dtype=float).reshape(count, 4)[:, :3]
    cells = []
    for kind in MEDIT_KINDS:
        start, width = words.index(raw_files.MEDIT_NAMES[kind.name]), SHAPES[kind].nodes + 1
        rows = np.array(words[start + 2 : start + 2 + 2 * width], dtype=int).reshape(2, width)
        cells += [(GMSH_NUMBER[kind], (row[:-1] - 1).tolist()) for row in rows]
    assert_as_in(GMSH_RAW, GMSH_NUMBER, points, cells)


def test_written_abaqus_files_have_the_order_of_the_manual_and_general_elements(tmp_path):
    write(tmp_path / "out.inp", one_of_each(ABAQUS_KINDS))
    text = (tmp_path / "out.inp").read_text()
    nodes, *parts = text.split("*NODE\n")[1].split("*ELEMENT, TYPE=")
    points = np.array([line.split(",")[1:] for line in nodes.splitlines()], dtype=float)
    numbers = {kind: VTK_NUMBER[kind] for kind in ABAQUS_KINDS}
    cells = []
    for kind, part in zip(ABAQUS_KINDS, parts):
        name, *rows = part.splitlines()
        assert name.rstrip("R") == raw_files.ABAQUS_NAMES[kind.name].rstrip("R")
        cells += [(numbers[kind], [int(k) - 1 for k in row.split(",")[1:]]) for row in rows]
    assert_as_in({**VTK_RAW, K.W6: GMSH_RAW[K.W6]}, numbers, points, cells)


@pytest.mark.parametrize("extension", ["vtu", "vtk", "msh", "mesh", "inp", "obj", "ply", "stl", "off"])
def test_a_written_surface_reads_back_with_the_same_faces(tmp_path, extension):
    kinds = [K.T3] if extension in ("stl", "off") else [K.T3, K.Q4]
    mesh = one_of_each(kinds)
    write(tmp_path / f"out.{extension}", mesh)
    again = read(tmp_path / f"out.{extension}")
    assert again.counts() == mesh.counts()
    for (kind, cells), (kind_again, cells_again) in zip(mesh.blocks, again.blocks):
        assert kind is kind_again
        np.testing.assert_allclose(again.points[cells_again], mesh.points[cells], rtol=0, atol=1e-15)


def test_a_mixed_matrix_is_written_by_kind_and_its_values_move_along(tmp_path):
    solids = np.full((3, 8), NO_NODE, dtype=np.uint32)
    solids[0], solids[1, :4], solids[2] = range(8), [0, 1, 2, 4], range(1, 9)
    points = np.random.default_rng(1).random((9, 3))
    mesh = Mesh(points, [(K.SOLID_MIX, solids)], {"t": np.arange(9.0)}, {"part": [np.array([5, 6, 7])]})
    write(tmp_path / "out.vtu", mesh)
    again = read(tmp_path / "out.vtu")
    assert [(kind, cells.tolist()) for kind, cells in again.blocks] == [
        (K.TH4, [[0, 1, 2, 4]]),
        (K.H8, [list(range(8)), list(range(1, 9))]),
    ]
    assert [values.tolist() for values in again.cell_data["part"]] == [[6], [5, 7]]
    np.testing.assert_array_equal(again.point_data["t"], np.arange(9.0))


SURFACES = {
    "obj": "# two faces\nv 0 0 0\nv 2 0 0\nv 2 1 0\nv 0 1 0\nv 3 3 0\nf 1 2 3\nf 1/1 3/1 5/1 4/1\n",
    "ply": "ply\nformat ascii 1.0\nelement vertex 5\nproperty double x\nproperty double y\nproperty double z\n"
    "element face 2\nproperty list uchar int vertex_indices\nend_header\n"
    "0 0 0\n2 0 0\n2 1 0\n0 1 0\n3 3 0\n3 0 1 2\n4 0 2 4 3\n",
    "off": "OFF\n5 2 0\n0 0 0\n2 0 0\n2 1 0\n0 1 0\n3 3 0\n3 0 1 2\n3 0 2 4\n",
    "stl": "solid s\n"
    + "".join(
        f"facet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex {a}\nvertex {b}\nendloop\nendfacet\n"
        for a, b in (("2 0 0", "2 1 0"), ("2 1 0", "3 3 0"))
    )
    + "endsolid s\n",
}


@pytest.mark.parametrize("extension", SURFACES)
def test_faces_of_a_raw_surface_file_keep_their_nodes_and_their_turn(tmp_path, extension):
    (tmp_path / f"s.{extension}").write_text(SURFACES[extension])
    mesh = read(tmp_path / f"s.{extension}")
    faces = [mesh.points[face].tolist() for _, cells in mesh.blocks for face in cells]
    second = [[0, 0, 0], [2, 1, 0], [3, 3, 0]] + ([[0, 1, 0]] if extension in ("obj", "ply") else [])
    assert faces == [[[0, 0, 0], [2, 0, 0], [2, 1, 0]], second]


def test_points_of_a_plane_file_get_z_0(tmp_path):
    (tmp_path / "plane.mesh").write_text(
        "MeshVersionFormatted 2\nDimension 2\nVertices\n3\n0 0 0\n1 0 0\n0 1 0\nTriangles\n1\n1 2 3 0\nEnd\n"
    )
    np.testing.assert_array_equal(read(tmp_path / "plane.mesh").points, [[0, 0, 0], [1, 0, 0], [0, 1, 0]])


def test_polygons_with_three_or_four_corners_are_triangles_and_quadrangles(tmp_path):
    (tmp_path / "p.vtk").write_text(
        "# vtk DataFile Version 3.0\np\nASCII\nDATASET UNSTRUCTURED_GRID\nPOINTS 5 double\n"
        "0 0 0  1 0 0  1 1 0  0 1 0  2 0 0\nCELLS 2 9\n4 0 1 2 3\n3 1 4 2\nCELL_TYPES 2\n7 7\n"
    )
    assert read(tmp_path / "p.vtk").counts() == {K.T3: 1, K.Q4: 1}


# ---- files that are wrong ----

TRIANGLE = Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [(K.T3, [[0, 1, 2]])])
HEAD = "# vtk DataFile Version 3.0\nx\nASCII\nDATASET UNSTRUCTURED_GRID\n"
POINTS = "POINTS 3 double\n0 0 0 1 0 0 0 1 0\n"
CELLS = "CELLS 1 4\n3 0 1 2\nCELL_TYPES 1\n5\n"

BROKEN = {
    "nothing inside": ("a.vtk", "", "is empty"),
    "no points": ("a.vtk", HEAD + "POINTS 0 double\nCELLS 0 0\nCELL_TYPES 0\n", "cannot be read|has no points"),
    "no elements": ("a.obj", "v 0 0 0\nv 1 0 0\n", "has no elements"),
    "a coordinate that is no number": ("a.vtk", HEAD + POINTS.replace("1 0 0", "nan 0 0") + CELLS, "node 1 .*finite"),
    "an infinite coordinate": ("a.vtk", HEAD + POINTS.replace("1 0 0", "inf 0 0") + CELLS, "node 1 .*finite"),
    "words for coordinates": ("a.vtk", HEAD + POINTS.replace("1 0 0", "one 0 0") + CELLS, "cannot be read"),
    "half the points": ("a.vtk", HEAD + "POINTS 3 double\n0 0 0 1 0\n", "cannot be read"),
    "half the elements": ("a.vtk", HEAD + POINTS + "CELLS 2 8\n3 0 1 2 3 0\n", "cannot be read"),
    "an element with a node too many": ("a.vtk", HEAD + POINTS + CELLS.replace("0 1 2", "0 1 3"), "names node 3"),
    "an element with a negative node": ("a.vtk", HEAD + POINTS + CELLS.replace("0 1 2", "0 1 -1"), "names node -1"),
    "a kind of element unknown here": (
        "a.vtk", HEAD + POINTS + CELLS.replace("\n5\n", "\n6\n"), "cells that meshio cannot handle",
    ),
    "a polygon with five corners": (
        "a.vtk",
        HEAD + "POINTS 5 double\n0 0 0 1 0 0 2 1 0 1 2 0 0 1 0\nCELLS 1 6\n5 0 1 2 3 4\nCELL_TYPES 1\n7\n",
        "'polygon'",
    ),
    "something else altogether": ("a.vtk", "dear reader\nthis is no mesh\n", "cannot be read"),
    "half a VTU file": ("a.vtu", '<VTKFile type="UnstructuredGrid">', "cannot be read"),
    "noise for Gmsh": ("a.msh", "$MeshFormat\n9.9 0 8\n$EndMeshFormat\n", "cannot be read"),
    "noise for the other .msh": ("a.msh", "hello", "cannot be read"),
    "an Abaqus element of unknown type": ("a.inp", "*NODE\n1,0,0,0\n*ELEMENT, TYPE=XYZ\n1,1\n", "cannot be read"),
    "an unknown extension": ("a.docx", "hello", "unknown kind of file '.docx'"),
    "no extension": ("a", "hello", "unknown kind of file"),
    "a picture format": ("a.svg", "hello", "unknown kind of file"),
}  # fmt: skip


@pytest.mark.parametrize("name", BROKEN)
def test_a_file_that_cannot_be_used_is_refused_in_one_line(tmp_path, capfd, name):
    file_name, text, message = BROKEN[name]
    path = tmp_path / file_name
    path.write_text(text)
    with pytest.raises(MeshFileError, match=message) as caught:
        read(path)
    assert str(caught.value).startswith(str(path)) and "\n" not in str(caught.value)
    assert capfd.readouterr() == ("", "")


def test_a_missing_file_and_a_folder_are_refused(tmp_path):
    with pytest.raises(MeshFileError, match="no such file"):
        read(tmp_path / "nowhere.vtk")
    with pytest.raises(MeshFileError, match="is a directory"):
        read(tmp_path)


def test_quadratic_elements_are_refused_where_their_order_is_not_settled(tmp_path):
    import meshio

    points = raw_element(K.TH10, "vtk")
    meshio.write(tmp_path / "q.vol", meshio.Mesh(points, [("tetra10", np.arange(10)[None, :])]), file_format="netgen")
    with pytest.raises(MeshFileError, match="10-node tetrahedra, whose node order in netgen files is not settled"):
        read(tmp_path / "q.vol")


def test_a_reader_that_needs_a_missing_package_says_which(tmp_path):
    if importlib.util.find_spec("h5py"):
        pytest.skip("h5py is here")
    (tmp_path / "a.med").write_bytes(b"x")
    with pytest.raises(MeshFileError, match="without the Python package h5py"):
        read(tmp_path / "a.med")


# ---- writing ----


@pytest.mark.parametrize(
    "extension,kind", [("mesh", K.T6), ("mesh", K.NODE), ("stl", K.Q4), ("obj", K.TH4), ("inp", K.PY14),
                       ("inp", K.PY5), ("inp", K.H27), ("off", K.Q4), ("ply", K.EDGE2)]
)  # fmt: skip
def test_a_kind_the_format_cannot_hold_is_refused_and_nothing_written(tmp_path, extension, kind):
    with pytest.raises(MeshFileError, match=f"cannot hold {SHAPES[kind].name}"):
        write(tmp_path / f"out.{extension}", one_of_each([kind]))
    assert os.listdir(tmp_path) == []


def test_an_unknown_extension_a_missing_folder_and_a_folder_are_refused(tmp_path):
    with pytest.raises(MeshFileError, match="cannot write files of kind '.xyz'.*vtu"):
        write(tmp_path / "out.xyz", TRIANGLE)
    with pytest.raises(MeshFileError, match="there is no folder"):
        write(tmp_path / "not_here" / "out.vtu", TRIANGLE)
    (tmp_path / "taken.vtu").mkdir()
    with pytest.raises(MeshFileError, match="is a folder"):
        write(tmp_path / "taken.vtu", TRIANGLE)
    with pytest.raises(MeshFileError, match="no elements"):
        write(tmp_path / "out.vtu", Mesh(TRIANGLE.points, []))
    assert os.listdir(tmp_path) == ["taken.vtu"]


def test_a_failure_in_the_middle_leaves_the_old_file_and_nothing_else(tmp_path, monkeypatch):
    import meshio

    def fails(path, *_, **__):
        with open(path, "w") as file:
            file.write("half")
        raise OSError(28, "No space left on device")

    (tmp_path / "out.vtu").write_text("old")
    monkeypatch.setattr(meshio, "write", fails)
    with pytest.raises(MeshFileError, match=r"out.vtu: cannot be written \(no space left on device\)"):
        write(tmp_path / "out.vtu", TRIANGLE)
    assert os.listdir(tmp_path) == ["out.vtu"]
    assert (tmp_path / "out.vtu").read_text() == "old"


def test_an_existing_file_is_replaced_and_keeps_its_permissions_and_its_link(tmp_path):
    (tmp_path / "real.vtu").write_text("old")
    os.chmod(tmp_path / "real.vtu", 0o640)
    (tmp_path / "link.vtu").symlink_to("real.vtu")
    write(tmp_path / "link.vtu", TRIANGLE)
    assert (tmp_path / "link.vtu").is_symlink()
    assert stat.S_IMODE(os.stat(tmp_path / "real.vtu").st_mode) == 0o640
    assert read(tmp_path / "real.vtu").counts() == {K.T3: 1}
    assert sorted(os.listdir(tmp_path)) == ["link.vtu", "real.vtu"]


def test_whoever_reads_the_old_file_meanwhile_sees_all_of_it(tmp_path):
    (tmp_path / "out.vtu").write_text("old")
    with open(tmp_path / "out.vtu") as reader:
        write(tmp_path / "out.vtu", TRIANGLE)
        assert reader.read() == "old"
    assert read(tmp_path / "out.vtu").counts() == {K.T3: 1}


def test_a_new_file_has_the_usual_permissions(tmp_path):
    write(tmp_path / "out.vtu", TRIANGLE)
    (tmp_path / "plain").write_text("")
    assert os.stat(tmp_path / "out.vtu").st_mode == os.stat(tmp_path / "plain").st_mode


@pytest.mark.parametrize("extension", ["vtu", "vtk", "msh"])
def test_values_are_written_where_the_format_has_a_place(tmp_path, extension):
    mesh = Mesh(
        TRIANGLE.points, TRIANGLE.blocks, {"my point": [1.0, 2, 3]}, {"n": [[7]], "v": [[[1.0, 2, 3]]], "ok": [[True]]}
    )
    write(tmp_path / f"out.{extension}", mesh)
    again = read(tmp_path / f"out.{extension}")
    np.testing.assert_array_equal(again.point_data["my_point"], [1, 2, 3])
    np.testing.assert_array_equal(again.cell_data["n"][0], [7])
    np.testing.assert_array_equal(again.cell_data["v"][0], [[1, 2, 3]])
    np.testing.assert_array_equal(again.cell_data["ok"][0], [1])


def test_values_without_a_place_are_left_out_with_a_warning(tmp_path):
    mesh = Mesh(TRIANGLE.points, TRIANGLE.blocks, {"t": [1.0, 2, 3]}, {"x": [[0.5]], "part": [[9]]})
    with pytest.warns(MeshFileWarning, match="out.mesh: the format has no place for t, x"):
        write(tmp_path / "out.mesh", mesh)
    assert read(tmp_path / "out.mesh").cell_data["medit:ref"][0].tolist() == [9]
    with pytest.warns(MeshFileWarning, match="no place for t, x, part"):
        write(tmp_path / "out.obj", mesh)


# ---- meshes built by hand ----


@pytest.mark.parametrize(
    "arguments,message",
    [
        (([[0.0, 0, 0]], [(K.NODE, [[1]])]), "names node 1"),
        (([[0.0, 0, 0]], [(K.NODE, [[-1]])]), "names node -1"),
        (([[0.0, 0, 0]], [(K.NODE, [[2**32]])]), "names node 4294967296"),
        (([[0.0, 0, 0]], [(K.NODE, [[0.0]])]), "must be integers"),
        (([[0.0, 0, 0]], [(K.NODE, [0])]), "two-dimensional"),
        (([[0.0, 0, 0]], [(K.T3, [[0, 0]])]), "T3: an array of shape"),
        (([[0.0, 0, 0]], [(K.T3, [[0, 0, NO_NODE]])]), "T3: an array of shape"),
        (([[0.0, 0, 0]], [(K.NONE, [[0]])]), "NONE: an array of shape"),
        (([[0.0]], []), "points: expected"),
        (([[0.0, 0, 0]], [], {"a": [1, 2]}), "'a' has not one value"),
        (([[0.0, 0, 0]], [(K.NODE, [[0]])], {}, {"a": [[1, 2]]}), "'a' has not one value"),
    ],
)
def test_a_mesh_that_does_not_fit_together_is_refused(arguments, message):
    with pytest.raises(ValueError, match=message):
        Mesh(*arguments)


def test_big_endian_and_64_bit_numbers_are_converted():
    mesh = Mesh(np.array([[1, 2, 3]], dtype=">f4"), [(K.NODE, np.array([[0]], dtype=">i8"))])
    assert mesh.points.dtype == np.float64 and mesh.blocks[0][1].dtype == np.uint32


def test_the_faces_of_a_mesh_are_gathered_with_their_values():
    points = np.zeros((5, 3))
    blocks = [(K.T3, [[0, 1, 2]]), (K.EDGE2, [[0, 1]]), (K.FACE_MIX, [[0, 1, 2, 3], [2, 3, 4, NO_NODE]])]
    faces, data = Mesh(points, blocks, cell_data={"p": [[1], [2], [3, 4]]}).surface()
    assert faces.tolist() == [[0, 1, 2, NO_NODE], [2, 3, 4, NO_NODE], [0, 1, 2, 3]]
    assert data["p"].tolist() == [1, 4, 3]
    assert Mesh(points, blocks[1:2]).surface()[0].shape == (0, 3)


def test_importing_the_package_loads_no_slow_library():
    code = "import sys, meldra3d; print([m for m in ('meshio', 'matplotlib', 'rich', 'click') if m in sys.modules])"
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True)
    assert done.stdout == "[]\n"
