"""Quadratic elements through files: where every local node lies, before and after, and in the eyes of meshio alone."""

import warnings

import meshio
import numpy as np
import pytest
from reference_elements import GMSH_RAW, OURS, VTK_RAW, assert_is_ours, nodes_at, raw_element

from meldra3d import Mesh, MeshFileWarning, read, write
from meldra3d.command import main
from meldra3d.elements import SHAPES
from meldra3d.elements import ElementType as K
from meldra3d.files import MESHIO_NAMES
from meldra3d.refine import LINEAR

SOLIDS = [kind for kind in OURS if SHAPES[kind].dimension == 3]
VTK_SOLIDS = [kind for kind in SOLIDS if kind in VTK_RAW]
KINDS_OF = {"vtk": list(VTK_RAW), "vtu": list(VTK_RAW), "msh": list(GMSH_RAW)}
CASES = [(extension, kind) for extension, kinds in KINDS_OF.items() for kind in kinds]


def name_of(value):
    return value if isinstance(value, str) else value.name


def curved(kind, count=3):
    """Elements of one kind whose nodes all lie apart from one another and from every middle."""
    x = [raw_element(kind, "ours") + [3.0 * place, 0, 0] for place in range(count)]
    points = np.concatenate(x)
    points += np.random.default_rng(int(kind)).uniform(-0.02, 0.02, points.shape)
    return Mesh(points, [(kind, np.arange(len(points)).reshape(count, -1))])


@pytest.mark.parametrize("extension,kind", CASES, ids=name_of)
def test_every_local_node_has_its_coordinates_after_writing_and_reading(tmp_path, extension, kind):
    mesh = curved(kind)
    write(tmp_path / f"out.{extension}", mesh)
    again = read(tmp_path / f"out.{extension}")
    ((kind_again, cells),) = again.blocks
    assert kind_again is kind
    np.testing.assert_array_equal(again.points[cells], mesh.points[mesh.blocks[0][1]])


@pytest.mark.parametrize("extension", ["vtk", "vtu"])
@pytest.mark.parametrize("kind", VTK_SOLIDS, ids=name_of)
def test_meshio_finds_every_node_where_vtk_describes_it(tmp_path, extension, kind):
    x = raw_element(kind, "ours")
    write(tmp_path / f"out.{extension}", Mesh(x, [(kind, [range(len(x))])]))
    theirs = meshio.read(tmp_path / f"out.{extension}")
    (block,) = theirs.cells
    assert block.type == MESHIO_NAMES[kind]
    nodes = theirs.points[block.data[0]]
    np.testing.assert_allclose(nodes, nodes_at(nodes[: SHAPES[kind].vertices], VTK_RAW[kind]), atol=1e-12)
    assert sorted(map(tuple, nodes)) == sorted(map(tuple, x))


@pytest.mark.parametrize("extension", ["vtk", "vtu"])
@pytest.mark.parametrize("kind", VTK_SOLIDS, ids=name_of)
def test_what_meshio_has_written_arrives_with_every_node_in_its_place(tmp_path, extension, kind):
    # meshio turns the 6-node wedge on its way into the file: its own is the usual one.
    x = raw_element(kind, "gmsh" if kind is K.W6 else "vtk")
    theirs = meshio.Mesh(x, [(MESHIO_NAMES[kind], np.arange(len(x))[None, :])])
    theirs.write(tmp_path / f"in.{extension}", file_format={"vtk": "vtk42", "vtu": "vtu"}[extension])
    mesh = read(tmp_path / f"in.{extension}")
    assert_is_ours(kind, mesh.points[mesh.blocks[0][1][0]])


def test_gmsh_files_with_14_node_pyramids_are_of_version_2_2(tmp_path):
    mesh = curved(K.PY14)
    write(tmp_path / "out.msh", mesh)
    assert (tmp_path / "out.msh").read_bytes().startswith(b"$MeshFormat\n2.2 ")
    assert read(tmp_path / "out.msh").counts() == {K.PY14: 3}


@pytest.mark.parametrize("extension", ["vtk", "vtu"])
def test_14_node_pyramids_go_out_as_13_node_pyramids_in_vtk_files(tmp_path, extension):
    # The second pyramid stands upside down on the first; a node element keeps the centre of a third one's base.
    points = np.concatenate([curved(K.PY14, 1).points, [[0.5, 0.5, -1]], curved(K.PY14, 1).points + [5, 0, 0]])
    second = [3, 2, 1, 0, 14, *range(5, 13), 13]
    third = np.arange(15, 29)
    blocks = [(K.PY14, [range(14), second]), (K.NODE, [[28]]), (K.PY14, [third]), (K.T3, [[0, 1, 2]])]
    mesh = Mesh(points, blocks, {"x": points[:, 0]}, {"part": [[1, 2], [3], [4], [5]]})
    with pytest.warns(MeshFileWarning, match="3 pyramids of 14 nodes go out with 13, the only quadratic ones"):
        write(tmp_path / f"out.{extension}", mesh)
    assert mesh.counts()[K.PY14] == 3
    again = read(tmp_path / f"out.{extension}")
    assert again.counts() == {K.NODE: 1, K.T3: 1, K.PY13: 3}
    np.testing.assert_array_equal(again.points, np.delete(points, 13, axis=0))
    np.testing.assert_array_equal(again.point_data["x"], again.points[:, 0])
    for (kind, cells), (_, before) in zip(again.blocks, mesh.blocks):
        np.testing.assert_array_equal(again.points[cells], points[before[:, : SHAPES[kind].nodes]])
    assert [values.tolist() for values in again.cell_data["part"]] == [[1, 2], [3], [4], [5]]


# ---- by the command ----


def linear_file(folder, extension):
    """One linear element of each kind of solid, apart from one another; their nodes by kind."""
    elements = {kind: raw_element(kind, "ours") + [3.0 * int(kind), 0, 0] for kind in SOLIDS if LINEAR[kind] is kind}
    points = np.concatenate(list(elements.values()))
    ends = np.cumsum([len(x) for x in elements.values()])
    blocks = [(kind, [range(end - len(x), end)]) for (kind, x), end in zip(elements.items(), ends)]
    write(folder / f"linear.{extension}", Mesh(points, blocks))
    return elements


@pytest.mark.parametrize("extension", ["vtk", "vtu", "msh"])
@pytest.mark.parametrize("full", [True, False])
def test_a_converted_file_has_every_node_in_its_place_and_goes_back(tmp_path, monkeypatch, capfd, extension, full):
    monkeypatch.chdir(tmp_path)
    elements = linear_file(tmp_path, extension)
    names = f"linear.{extension}", f"quadratic.{extension}"
    order = ["--to", "order", "--edge-nodes", "1", "--quadrangle-nodes", "0", "--hexahedron-nodes", "0"]
    assert main(["convert", *names, *(["--to", "quadratic"] if full else order)]) == 0
    raised = read(names[1])
    pyramid = K.PY14 if full and extension == "msh" else K.PY13
    expected = [K.TH10, pyramid, K.W18, K.H27] if full else [K.TH10, K.PY13, K.W15, K.H20]
    assert [kind for kind, _ in raised.blocks] == expected
    for (kind, cells), x in zip(raised.blocks, elements.values()):
        assert_is_ours(kind, raised.points[cells[0]])
        np.testing.assert_array_equal(raised.points[cells[0, : len(x)]], x)
    warned = capfd.readouterr().err
    assert ("1 pyramids of 14 nodes go out with 13" in warned) == (full and extension != "msh")

    assert main(["convert", names[1], "back.vtu", "--to", "linear"]) == 0
    before, after = read(names[0]), read("back.vtu")
    np.testing.assert_array_equal(after.points, before.points)
    for (kind, cells), (other, others) in zip(before.blocks, after.blocks):
        assert kind is other
        np.testing.assert_array_equal(cells, others)


def test_a_file_that_is_read_as_it_was_written_warns_of_nothing(tmp_path):
    with warnings.catch_warnings():
        warnings.simplefilter("error", MeshFileWarning)
        for extension, kind in CASES:
            write(tmp_path / f"out.{extension}", curved(kind))
            read(tmp_path / f"out.{extension}")
