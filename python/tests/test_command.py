"""The command: what it prints, what it writes, and how it fails."""

import os
import pty
import re
import subprocess
import sys

import numpy as np
import pytest
from reference_elements import OURS, SHAPE_OF, USUAL, assert_is_ours, raw_element, six_volumes

from meldra3d import Mesh, neighbors, read, write
from meldra3d.command import main
from meldra3d.elements import NO_NODE, SHAPES
from meldra3d.elements import ElementType as K
from meldra3d.measures import areas, signed_volumes

POINTS = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [2, 0.5, 0]]
SURFACE = Mesh(POINTS, [(K.Q4, [[0, 1, 2, 3]]), (K.T3, [[1, 4, 2]])], cell_data={"part": [[4], [9]]})
# two cubes with the quadrangle between them; the first lists it as 1, 5, 6, 2, the second as 1, 2, 6, 5
TWO_CUBES = Mesh(
    [[x, y, z] for z in (0, 1) for x, y in ((0, 0), (1, 0), (1, 1), (0, 1))]
    + [[2, y, z] for z in (0, 1) for y in (0, 1)],
    [(K.H8, [[0, 1, 2, 3, 4, 5, 6, 7], [1, 8, 9, 2, 5, 10, 11, 6]]), (K.Q4, [[6, 5, 1, 2]]), (K.T3, [[0, 3, 7]])],
    point_data={"x": [0, 1, 1, 0, 0, 1, 1, 0, 2, 2, 2, 2.0], "number": range(12)},
    cell_data={"part": [[4, 5], [9], [3]], "bit": [[7, 7], [1], [7]]},
)
# edges and a solid beside the faces, as meshers write them
WITH_MORE = Mesh(POINTS + [[0, 0, -1]], [(K.EDGE2, [[0, 1]]), *SURFACE.blocks, (K.TH4, [[0, 2, 1, 5]])])


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """A working folder that holds ``s.vtu``, a quadrangle and a triangle of area 1.5 in all."""
    monkeypatch.chdir(tmp_path)
    write("s.vtu", SURFACE)
    return tmp_path


def run(capfd, *arguments):
    """Exit status, standard output and standard error of the command."""
    status = main(list(arguments))
    done = capfd.readouterr()
    return status, done.out, done.err


def table(text):
    """The numbers of a printed table by their names."""
    rows = [line.split() for line in text.splitlines()[1:] if not line.startswith("warning")]
    return {" ".join(row[:-1]) if len(row) > 1 else row[0]: row[-1] for row in rows}


# ---- failures: one line, status 2, nothing written ----

SWEEP = ["extrude", "translate", "s.vtu", "out.vtu"]
UP = ["--direction", "0", "0", "1"]

ROTATE = ["extrude", "rotate", "s.vtu", "out.vtu"]
TURN = ["--axis", "0", "-2", "0", "--point", "-1", "7", "0", "--angle", "90"]
SPIRAL = ["extrude", "spiral", "s.vtu", "out.vtu", *TURN]
NORMAL = ["extrude", "normal", "s.vtu", "out.vtu"]
LINE = ["extrude", "line", "s.vtu", "out.vtu"]
THROUGH = ["--through", "0", "0", "0", "--through", "0", "0", "1"]
AROUND_Z = ["--axis", "0", "0", "1", "--angle", "90"]

ORDER = ["convert", "t.vtu", "out.vtu", "--to", "order"]

FAILURES = {
    "no such file": (["info", "nowhere.vtu"], "nowhere.vtu: no such file"),
    "no such file to sweep": (["extrude", "translate", "nowhere.vtu", "out.vtu", *UP, "--layers", "1"], "no such file"),
    "no such file to flip": (["flip", "nowhere.vtu", "out.vtu"], "nowhere.vtu: no such file"),
    "no such file to draw": (["draw", "nowhere.vtu", "out.png"], "no such file"),
    "a folder": (["info", "."], "is a directory"),
    "unknown kind of file": (["info", "notes.txt"], "unknown kind of file '.txt'"),
    "an empty file": (["info", "empty.vtu"], "empty.vtu: is empty"),
    "a damaged file": (["info", "damaged.vtu"], "damaged.vtu: cannot be read"),
    "a coordinate that is no number": (["info", "nan.obj"], "nan.obj: points: node 1 .* not finite"),
    "no faces to sweep": (["extrude", "translate", "edges.vtu", "out.vtu", *UP, "--layers", "1"], "no linear triangles"),
    "no faces to draw": (["draw", "edges.vtu", "out.png"], "edges.vtu: the mesh has no faces"),
    "only quadratic faces": (["extrude", "translate", "q.vtu", "out.vtu", *UP, "--layers", "1"], "no linear triangles"),
    "an output folder that does not exist": (["extrude", "translate", "s.vtu", "no/out.vtu", *UP, "--layers", "1"],
                                             "no/out.vtu: there is no folder no"),
    "an output of unknown kind": (["extrude", "translate", "s.vtu", "out.doc", *UP, "--layers", "1"], "'.doc'"),
    "an output without extension": (["extrude", "translate", "s.vtu", "out", *UP, "--layers", "1"], "cannot write"),
    "an output that cannot hold solids": (["extrude", "translate", "s.vtu", "out.stl", *UP, "--layers", "1"],
                                          "out.stl: a .stl file cannot hold (wedges|hexahedra)"),
    "a picture folder that does not exist": (["draw", "s.vtu", "no/out.png"], "there is no folder no"),
    "a picture of unknown kind": (["draw", "s.vtu", "out.bmp"], "'.bmp'"),
    "no direction": ([*SWEEP, "--layers", "1"], "Missing option '--direction'"),
    "a direction of length 0": ([*SWEEP, "--direction", "0", "0", "-0.0", "--layers", "1"], "--direction: .*length"),
    "a direction that is no number": ([*SWEEP, "--direction", "0", "0", "nan", "--layers", "1"], "finite"),
    "an infinite direction": ([*SWEEP, "--direction", "0", "inf", "0", "--sizes", "1", "1"], "finite"),
    "a direction in words": ([*SWEEP, "--direction", "0", "0", "up", "--layers", "1"], "'up' is not a valid float"),
    "two numbers for a direction": ([*SWEEP, "--direction", "0", "0"], "requires 3 arguments"),
    "neither layers nor sizes": ([*SWEEP, *UP], "give either --layers or --sizes"),
    "both layers and sizes": ([*SWEEP, *UP, "--layers", "1", "--sizes", "1", "1"], "give either --layers or --sizes"),
    "no layers": ([*SWEEP, *UP, "--layers", "0"], "--layers"),
    "half a layer": ([*SWEEP, *UP, "--layers", "0.5"], "'0.5' is not a valid integer"),
    "a first size of 0": ([*SWEEP, *UP, "--sizes", "0", "1"], "--sizes: both must be greater than 0"),
    "a last size below 0": ([*SWEEP, *UP, "--sizes", "1", "-1e-3"], "--sizes: both must be greater than 0"),
    "a size that is no number": ([*SWEEP, *UP, "--sizes", "nan", "1"], "--sizes: both must be greater than 0"),
    "absurdly small sizes": ([*SWEEP, *UP, "--sizes", "1e-300", "1e-300"], "not enough memory"),
    "absurdly many layers": ([*SWEEP, *UP, "--layers", "4294967295"], "not enough memory"),
    "no axis": ([*ROTATE, "--angle", "90", "--layers", "1"], "Missing option '--axis'"),
    "no angle": ([*ROTATE, "--axis", "0", "0", "1", "--layers", "1"], "Missing option '--angle'"),
    "an axis of length 0": ([*ROTATE, "--axis", "0", "0", "0", "--angle", "90", "--layers", "1"], "--axis: .*length"),
    "an axis that is no number": ([*ROTATE, *TURN, "--axis", "0", "nan", "0", "--layers", "1"], "--axis: .*finite"),
    "a point that is no number": ([*ROTATE, *TURN, "--point", "inf", "0", "0", "--layers", "1"], "--point: .*finite"),
    "an angle of 0": ([*ROTATE, *TURN, "--angle", "0", "--layers", "1"], "--angle: must be .* other than 0"),
    "an angle that is no number": ([*ROTATE, *TURN, "--angle", "nan", "--layers", "1"], "--angle: must be a finite"),
    "a turn without layers": ([*ROTATE, *TURN], "give either --layers or --sizes"),
    "sizes measured on the axis": ([*ROTATE, *AROUND_Z, "--sizes", "1", "1"], "--sizes: .* lies on the axis"),
    "absurdly small sizes of a turn": ([*ROTATE, *TURN, "--sizes", "1e-300", "1e-300"], "not enough memory"),
    "no faces to turn": (["extrude", "rotate", "edges.vtu", "out.vtu", *TURN, "--layers", "1"], "no linear triangles"),
    "no shift": ([*SPIRAL, "--layers", "1"], "Missing option '--shift'"),
    "a shift of length 0": ([*SPIRAL, "--shift", "0", "0", "0", "--layers", "1"], "--shift: .*length"),
    "a spiral without layers": ([*SPIRAL, "--shift", "0", "0", "1"], "give either --layers or --sizes"),
    "neither a thickness nor shifts": ([*NORMAL, "--layers", "1"], "give either --thickness or --shifts"),
    "both a thickness and shifts": ([*NORMAL, "--thickness", "1", "--shifts", "v"], "give either --th"),
    "a thickness of 0": ([*NORMAL, "--thickness", "0", "--layers", "1"], "--thickness: must be greater than 0"),
    "a thickness that is no number": ([*NORMAL, "--thickness", "nan", "--layers", "1"], "--thickness: must be greater"),
    "an infinite thickness": ([*NORMAL, "--thickness", "inf", "--layers", "1"], "--thickness: .* finite"),
    "a thickness without layers": ([*NORMAL, "--thickness", "1"], "give either --layers or --sizes"),
    "a thickness too small to divide": ([*NORMAL, "--thickness", "5e-324", "--layers", "2"], "thickness: is too small"),
    "shifts by sizes": ([*NORMAL, "--shifts", "v", "--sizes", "1", "1"], "--shifts goes with --layers"),
    "shifts that are not there": ([*NORMAL, "--shifts", "v", "--layers", "1"], "no values 'v' on nodes"),
    "shifts of one number": (["extrude", "normal", "v.vtu", "out.vtu", "--shifts", "one", "--layers", "1"],
                             "v.vtu: the values 'one' are not three finite numbers for each node"),
    "shifts that are not finite": (["extrude", "normal", "v.vtu", "out.vtu", "--shifts", "nan", "--layers", "1"],
                                   "v.vtu: the values 'nan' are not three finite numbers"),
    "no line": (LINE, "give either --through or --line"),
    "a line twice": ([*LINE, *THROUGH, "--line", "line.txt"], "give either --through or --line"),
    "a line of one point": ([*LINE, "--through", "0", "0", "0"], "--through: a line needs two points or more"),
    "a line that is not finite": ([*LINE, *THROUGH, "--through", "0", "nan", "0"], "--through: all .* finite"),
    "too few sizes of a line": ([*LINE, *THROUGH, "--size", "1"], "--size: must be given once for each --through"),
    "a size of 0 of a line": ([*LINE, *THROUGH, "--size", "1", "--size", "0"], "--size: must be greater than 0"),
    "a start of length 0": ([*LINE, *THROUGH, "--start", "0", "0", "0"], "--start: must have a length greater than 0"),
    "no file of the line": ([*LINE, "--line", "nowhere.txt"], "nowhere.txt: cannot be read .no such file"),
    "an empty file of a line": ([*LINE, "--line", "empty.vtu"], "empty.vtu: a line needs two points or more"),
    "words in the file of a line": ([*LINE, "--line", "notes.txt"], "notes.txt: row 1 does not hold numbers"),
    "two numbers in the file of a line": ([*LINE, "--line", "two.txt"], "two.txt: row 2 has 2 numbers"),
    "rows that do not match": ([*LINE, "--line", "rows.txt"], "rows.txt: row 2 has 4 numbers in place of 3"),
    "no faces to sweep along a line": (["extrude", "line", "edges.vtu", "out.vtu", *THROUGH], "no linear triangles"),
    "even without sizes": ([*SWEEP, *UP, "--layers", "2", "--even"], "--even goes with --sizes"),
    "no solids to flip": (["flip", "s.vtu", "out.vtu"], "s.vtu: has no solids to turn round"),
    "faces to flip": (["flip", "t.vtu", "out.vtu", "--kind", "T3"], "--kind: triangles cannot be turned round, only"),
    "solids to flip that are not there": (["flip", "t.vtu", "out.vtu", "--kind", "TH4", "--kind", "h20"],
                                          "t.vtu: has no 20-node hexahedra"),
    "solids to flip of no kind": (["flip", "t.vtu", "out.vtu", "--kind", "TH5"], "'TH5' is not one of"),
    "a flipped output that cannot hold solids": (["flip", "t.vtu", "out.off"], "a .off file cannot hold tetrahedra"),
    "a flipped output of unknown kind": (["flip", "t.vtu", "out.doc"], "'.doc'"),
    "no quadrangles to cut": (["split", "diagonals", "t.vtu", "out.vtu"], "t.vtu: has no quadrangles to cut"),
    "no values to choose diagonals by": (["split", "diagonals", "s.vtu", "out.vtu", "--by", "bit"], "no values 'bit'"),
    "values that choose no diagonal": (["split", "diagonals", "s.vtu", "out.vtu", "--by", "part"], "must be 0 or 1"),
    "a smallest volume that is no number": (["split", "diagonals", "s.vtu", "out.vtu", "--min-volume", "nan"],
                                            "--min-volume: must be a number"),
    "solids that cannot be cut": (["split", "diagonals", "c.vtu", "out.vtu", "--min-volume", "9"],
                                  "c.vtu: 2 solids cannot be cut into pieces of more than 9, the first of them that of"
                                  " nodes 0, 1, 2, 3, 4, 5, 6, 7$"),
    "quadratic solids to cut": (["split", "diagonals", "h20.vtu", "out.vtu"], "h20.vtu: holds 20-node hexahedra, but"),
    "no such file to convert": (["convert", "nowhere.vtu", "out.vtu", "--to", "linear"], "nowhere.vtu: no such file"),
    "no order to convert to": (["convert", "t.vtu", "out.vtu"], "Missing option '--to'"),
    "an unknown order": (["convert", "t.vtu", "out.vtu", "--to", "cubic"], "'cubic' is not one of"),
    "an order without its nodes": (["convert", "t.vtu", "out.vtu", "--to", "order"], "--to order needs --edge-nodes"),
    "nodes without their order": (["convert", "t.vtu", "out.vtu", "--to", "quadratic", "--wedge-nodes", "0"],
                                  "--wedge-nodes goes with --to order"),
    "nodes on edges of a linear mesh": (["convert", "q.vtu", "out.vtu", "--to", "linear", "--edge-nodes", "1"],
                                        "--edge-nodes goes with --to order"),
    "no nodes on edges": ([*ORDER, "--edge-nodes", "0"], "--edge-nodes"),
    "fewer nodes than none": ([*ORDER, "--edge-nodes", "1", "--pyramid-nodes", "-1"], "--pyramid-nodes"),
    "no square of nodes": ([*ORDER, "--edge-nodes", "1", "--quadrangle-nodes", "2"],
                           "--quadrangle-nodes: must be a square"),
    "nodes that are no cube": ([*ORDER, "--edge-nodes", "1", "--hexahedron-nodes", "64"],
                               "--hexahedron-nodes: must be 0, 1, 8 or 27"),
    "an order without cells": ([*ORDER, "--edge-nodes", "2"], "t.vtu: would hold tetrahedra of 20 nodes, which cannot"),
    "an absurd order": ([*ORDER, "--edge-nodes", "99999999999"], "t.vtu: would hold tetrahedra of .* nodes, which cannot"),
    "a mesh without solids to convert": (["convert", "s.vtu", "out.vtu", "--to", "quadratic"], "s.vtu: has no solids"),
    "quadratic solids to convert": (["convert", "h20.vtu", "out.vtu", "--to", "quadratic"],
                                    "h20.vtu: holds 20-node hexahedra, but the solids must be linear"),
    "linear elements to make linear": (["convert", "t.vtu", "out.vtu", "--to", "linear"],
                                       "t.vtu: has linear elements only"),
    "an output that cannot hold quadratic elements": (["convert", "t.vtu", "out.mesh", "--to", "quadratic"],
                                                      "out.mesh: a .mesh file cannot hold 10-node tetrahedra"),
    "an output that cannot hold large elements": (["convert", "c.vtu", "out.inp", "--to", "quadratic"],
                                                  "out.inp: a .inp file cannot hold 27-node hexahedra"),
    "a converted output of unknown kind": (["convert", "t.vtu", "out.doc", "--to", "quadratic"], "'.doc'"),
    "no such file to cut": (["split", "hex", "nowhere.vtu", "out.vtu"], "nowhere.vtu: no such file"),
    "no solids to cut": (["split", "hex", "s.vtu", "out.vtu"], "s.vtu: has no solids"),
    "pyramids to cut": (["split", "hex", "pyramid.vtu", "out.vtu"], "pyramid.vtu: holds pyramids, which cannot be cut"),
    "tetrahedra among others to cut": (["split", "hex", "mixed.vtu", "out.vtu"],
                                       "mixed.vtu: holds wedges, hexahedra beside tetrahedra, which can be cut only"),
    "quadratic solids to cut into hexahedra": (["split", "hex", "h20.vtu", "out.vtu"], "h20.vtu: holds 20-node hex"),
    "a cut output that cannot hold hexahedra": (["split", "hex", "t.vtu", "out.stl"], "cannot hold hexahedra"),
    "a cut output of unknown kind": (["split", "hex", "t.vtu", "out"], "cannot write files of kind ''"),
    "an unknown command": (["blow"], "No such command 'blow'"),
    "an unknown sweep": (["extrude", "bend"], "No such command 'bend'"),
    "an unknown option": (["info", "s.vtu", "--fast"], "No such option"),
    "a missing argument": (["info"], "Missing argument 'FILE'"),
    "an argument too many": (["info", "s.vtu", "t.vtu"], "unexpected extra argument"),
    "values that are not there": (["draw", "s.vtu", "out.png", "--by", "heat"], "s.vtu: there are no values 'heat'"),
    "an unknown view": (["draw", "s.vtu", "out.png", "--view", "above"], "'above' is neither one of iso"),
    "a view of one angle": (["draw", "s.vtu", "out.png", "--view", "30"], "'30' is neither"),
    "a view that is no number": (["draw", "s.vtu", "out.png", "--view", "nan,0"], "'nan,0' is neither"),
}  # fmt: skip


@pytest.mark.parametrize("name", FAILURES)
def test_a_failure_is_one_line_with_status_2_and_leaves_nothing(folder, capfd, name):
    arguments, message = FAILURES[name]
    (folder / "empty.vtu").write_text("")
    (folder / "damaged.vtu").write_text("<VTKFile")
    (folder / "nan.obj").write_text("v 0 0 0\nv nan 0 0\nv 0 1 0\nf 1 2 3\n")
    (folder / "notes.txt").write_text("hello")
    write("edges.vtu", Mesh([[0, 0, 0], [1, 0, 0]], [(K.EDGE2, [[0, 1]])]))
    write("c.vtu", TWO_CUBES)
    h20 = raw_element(K.H20, "ours")
    write("h20.vtu", Mesh(h20, [(K.H20, [range(20)]), (K.Q4, [[0, 1, 2, 3]])]))
    write("t.vtu", Mesh(np.eye(4)[:, 1:], [(K.TH4, [[0, 2, 1, 3]])]))
    write("pyramid.vtu", one_of_each([K.PY5, K.H8]))
    write("mixed.vtu", one_of_each([K.W6, K.TH4, K.H8]))
    write("v.vtu", Mesh(POINTS, SURFACE.blocks, {"one": np.ones(5), "nan": np.full((5, 3), np.nan)}))
    (folder / "two.txt").write_text("# x y z\n1 2\n")
    (folder / "rows.txt").write_text("0 0 0\n0 0 1 2\n")
    write("q.vtu", Mesh(np.random.default_rng(1).random((6, 3)), [(K.T6, [range(6)])]))
    before = {path.name: path.read_bytes() for path in folder.iterdir()}
    status, out, err = run(capfd, *arguments)
    assert status == 2
    assert out == ""
    assert err.startswith("meldra3d: ") and err.count("\n") == 1 and err.endswith("\n")
    assert re.search(message, err), err
    assert {path.name: path.read_bytes() for path in folder.iterdir()} == before


@pytest.mark.parametrize("name", ["no such file", "an unknown option", "a direction of length 0"])
def test_the_process_ends_with_status_2(folder, name):
    done = subprocess.run([sys.executable, "-m", "meldra3d", *FAILURES[name][0]], capture_output=True, text=True)
    assert done.returncode == 2
    assert done.stdout == "" and done.stderr.count("\n") == 1


def test_a_fault_inside_is_one_line_too(folder, capfd, monkeypatch):
    def fails(_):
        raise KeyError("surprise")

    monkeypatch.setattr("meldra3d.command.read", fails)
    assert run(capfd, "info", "s.vtu") == (2, "", "meldra3d: unexpected KeyError: 'surprise'\n")


def test_an_interrupt_is_one_line_too(folder, capfd, monkeypatch):
    def stopped(_):
        raise KeyboardInterrupt

    monkeypatch.setattr("meldra3d.command.read", stopped)
    status, _, err = run(capfd, "info", "s.vtu")
    assert status == 2 and err.strip() == "meldra3d: interrupted"


def test_a_failed_write_leaves_the_old_output(folder, capfd, monkeypatch):
    import meshio

    def fails(*_, **__):
        raise OSError(28, "No space left on device")

    (folder / "out.vtu").write_text("old")
    monkeypatch.setattr(meshio, "write", fails)
    status, _, err = run(capfd, *SWEEP, *UP, "--layers", "1")
    assert status == 2 and "out.vtu: cannot be written (no space left on device)" in err
    assert (folder / "out.vtu").read_text() == "old" and sorted(os.listdir(folder)) == ["out.vtu", "s.vtu"]


# ---- info ----


def test_info_counts_and_measures(folder, capfd):
    swept = Mesh(POINTS + [[x, y, 2] for x, y, _ in POINTS] + [[9, 9, 9]],
                 [(K.SOLID_MIX, [[0, 1, 2, 3, 5, 6, 7, 8], [1, 4, 2, 6, 9, 7, NO_NODE, NO_NODE]])])  # fmt: skip
    write("solid.vtu", swept)
    status, out, err = run(capfd, "info", "solid.vtu")
    assert (status, err) == (0, "")
    lines = out.splitlines()
    assert lines[0] == "solid.vtu"
    words = [line.split() for line in lines[1:]]
    assert ["nodes", "11", "1", "in", "no", "element"] in words
    assert ["wedges", "1"] in words and ["hexahedra", "1"] in words
    assert ["size", "in", "x", "9", "from", "0", "to", "9"] in words
    assert ["volume", "3", "of", "the", "solids"] in words
    assert "warning" not in out


def test_info_measures_surfaces_and_lists_values(folder, capfd):
    status, out, _ = run(capfd, "info", "s.vtu")
    words = [line.split() for line in out.splitlines()]
    assert status == 0
    assert ["area", "1.5", "of", "the", "triangles", "and", "quadrangles"] in words
    assert ["values", "on", "elements:", "part"] in words
    assert not any(row[:1] == ["volume"] for row in words)


def test_info_warns_of_inverted_elements(folder, capfd):
    corners = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]
    write("t.vtu", Mesh(corners, [(K.TH4, [[0, 1, 2, 3], [0, 2, 1, 3], [0, 1, 2, 3]])]))
    status, out, err = run(capfd, "info", "t.vtu")
    assert status == 0 and err == ""
    assert out.splitlines()[-1] == "warning: inverted, with negative volume: 2 of 3 tetrahedra"
    assert f"{-1 / 6:.9g}" in out


def test_info_of_quadratic_solids_measures_their_vertices(folder, capfd):
    x = raw_element(K.H20, "ours")
    write("q.vtu", Mesh(x, [(K.H20, [range(20)])]))
    _, out, _ = run(capfd, "info", "q.vtu")
    assert f"{six_volumes(K.H20, x) / 6:.9g}" in out


# ---- extrude translate ----


def test_a_sweep_writes_solids_and_reports_them(folder, capfd):
    status, out, err = run(capfd, *SWEEP, "--direction", "0", "0", "3", "--layers", "4")
    assert (status, err) == (0, "")
    assert out.splitlines()[0] == "out.vtu"
    assert table(out) == {"nodes": "25", "wedges": "4", "hexahedra": "4", "layers": "4", "swept volume": "4.5"}
    mesh = read("out.vtu")
    assert mesh.counts() == {K.W6: 4, K.H8: 4}
    np.testing.assert_array_equal(mesh.points[:5], POINTS)


def test_values_on_faces_are_passed_on_to_their_solids(folder, capfd):
    run(capfd, *SWEEP, *UP, "--layers", "3")
    mesh = read("out.vtu")
    values = {kind: data.tolist() for (kind, _), data in zip(mesh.blocks, mesh.cell_data["part"])}
    assert values == {K.H8: [4, 4, 4], K.W6: [9, 9, 9]}
    for (kind, cells), values in zip(mesh.blocks, mesh.cell_data["part"]):
        centres = mesh.points[cells].mean(axis=1)
        assert ((centres[:, 0] > 1) == (values == 9)).all()


def test_only_faces_are_swept_of_a_file_with_edges_and_solids(folder, capfd):
    write("more.vtu", WITH_MORE)
    status, out, _ = run(capfd, "extrude", "translate", "more.vtu", "out.vtu", *UP, "--layers", "1")
    assert status == 0
    assert read("out.vtu").counts() == {K.W6: 1, K.H8: 1}


def test_sizes_and_even_choose_the_layers(folder, capfd):
    _, out, _ = run(capfd, *SWEEP, *UP, "--sizes", "0.1", "0.4")
    assert table(out)["layers"] == "5"
    _, out, _ = run(capfd, *SWEEP, *UP, "--sizes", "0.1", "0.4", "--even")
    assert table(out)["layers"] == "4"
    levels = np.unique(read("out.vtu").points[:, 2].round(12))
    assert (np.diff(np.diff(levels)) > 0).all()


def test_negative_components_in_scientific_notation_are_numbers(folder, capfd):
    status, out, err = run(capfd, *SWEEP, "--direction", "-1e-3", "0", "-1E-3", "--layers", "1")
    assert status == 0 and err == ""
    np.testing.assert_allclose(read("out.vtu").points[5], [-1e-3, 0, -1e-3], rtol=1e-15)


def test_a_sweep_towards_the_back_of_the_faces_warns(folder, capfd):
    status, out, _ = run(capfd, *SWEEP, "--direction", "0", "0", "-1", "--layers", "1")
    assert status == 0
    assert out.splitlines()[-1] == (
        "warning: inverted, with negative volume: 1 of 1 wedges, 1 of 1 hexahedra;"
        " the direction points to the back of the faces"
    )
    assert "-1.5" in out


def test_an_existing_output_is_replaced_and_may_be_the_input(folder, capfd):
    (folder / "out.vtu").write_text("old")
    assert run(capfd, *SWEEP, *UP, "--layers", "1")[0] == 0
    assert read("out.vtu").counts() == {K.W6: 1, K.H8: 1}
    assert run(capfd, "extrude", "translate", "s.vtu", "s.vtu", *UP, "--layers", "1")[0] == 0
    assert read("s.vtu").counts() == {K.W6: 1, K.H8: 1}
    assert sorted(os.listdir(folder)) == ["out.vtu", "s.vtu"]


@pytest.mark.parametrize("extension", ["vtk", "msh", "mesh", "inp"])
def test_a_sweep_can_be_written_to_the_other_solid_formats(folder, capfd, extension):
    assert run(capfd, "extrude", "translate", "s.vtu", f"out.{extension}", *UP, "--layers", "2")[0] == 0
    status, out, _ = run(capfd, "info", f"out.{extension}")
    assert status == 0 and "warning" not in out
    assert ["volume", "1.5", "of", "the", "solids"] in [line.split() for line in out.splitlines()]


def test_what_the_output_has_no_place_for_is_a_warning(folder, capfd):
    write("s.vtu", Mesh(POINTS, SURFACE.blocks, cell_data={"heat": [[0.5], [0.6]]}))
    status, _, err = run(capfd, "extrude", "translate", "s.vtu", "out.inp", *UP, "--layers", "1")
    assert status == 0 and err == "meldra3d: warning: out.inp: the format has no place for heat\n"


# ---- extrude rotate, extrude spiral ----


def test_a_turn_goes_by_the_angle_about_the_axis_through_the_point(folder, capfd):
    status, out, err = run(capfd, *ROTATE, *TURN, "--layers", "3")
    assert (status, err) == (0, "")
    mesh = read("out.vtu")
    x, y, z = np.array(POINTS).T
    for k in range(1, 4):  # about the axis x = -1, z = 0, from +x to +z
        angle = np.radians(30 * k)
        expected = np.column_stack([(x + 1) * np.cos(angle) - 1, y, (x + 1) * np.sin(angle)])
        np.testing.assert_allclose(mesh.points[5 * k : 5 * k + 5], expected, atol=1e-14)
    # a chord of the circle in place of its arc; centres and areas of the square and the triangle
    volume = 3 * np.sin(np.radians(30)) * (1.5 * 1 + (1 + 4 / 3) * 0.5)
    assert table(out) == {"nodes": "20", "wedges": "3", "hexahedra": "3", "layers": "3",
                          "swept volume": f"{volume:.9g}"}  # fmt: skip
    assert {float(v) for values in mesh.cell_data["part"] for v in values} == {4, 9}


@pytest.mark.parametrize("along", ["-3", "0", "7.5"])
def test_sizes_of_a_turn_are_measured_at_the_first_node_wherever_the_point_of_the_axis_is(folder, capfd, along):
    point = ["--point", "-4", along, "0"]
    _, out, _ = run(capfd, *ROTATE, "--axis", "0", "-1", "0", *point, "--angle", "90", "--sizes", "0.5", "0.5")
    assert table(out)["layers"] == "13"  # of 4 * pi / 2 / 0.5 = 12.57


def test_faces_may_touch_the_axis_when_layers_are_counted(folder, capfd):
    status, out, _ = run(capfd, *ROTATE, "--axis", "0", "-1", "0", "--angle", "90", "--layers", "3")
    assert status == 0
    volume = 3 * np.sin(np.radians(30)) * (0.5 * 1 + 4 / 3 * 0.5)
    assert table(out)["swept volume"] == f"{volume:.9g}"


def test_a_spiral_turns_and_moves(folder, capfd):
    status, out, err = run(capfd, *SPIRAL, "--shift", "0", "3", "0", "--layers", "3")
    assert (status, err) == (0, "")
    mesh = read("out.vtu")
    x, y, z = np.array(POINTS).T
    np.testing.assert_allclose(mesh.points[-5:], np.column_stack([0 * x - 1, y + 3, x + 1]), atol=1e-14)
    assert table(out)["layers"] == "3"
    _, out, _ = run(capfd, *SPIRAL, "--shift", "0", "3", "0", "--sizes", "0.5", "0.5")
    assert table(out)["layers"] == "6"


@pytest.mark.parametrize("command,reason", [
    ([*ROTATE, *TURN, "--angle", "-9", "--layers", "1"], "the turn starts towards the back of the faces"),
    ([*SPIRAL, "--angle", "-9", "--shift", "0", "1", "0", "--layers", "1"],
     "the sweep starts towards the back of the faces"),
])  # fmt: skip
def test_a_turn_towards_the_back_of_the_faces_warns(folder, capfd, command, reason):
    status, out, _ = run(capfd, *command)
    assert status == 0
    last = out.splitlines()[-1]
    assert last == f"warning: inverted, with negative volume: 1 of 1 wedges, 1 of 1 hexahedra; {reason}"


# ---- extrude normal, extrude line ----


def test_layers_grow_along_the_normals(folder, capfd):
    status, out, err = run(capfd, *NORMAL, "--thickness", "0.5", "--sizes", "0.05", "0.2")
    assert (status, err) == (0, "")
    assert table(out) == {"nodes": "30", "wedges": "5", "hexahedra": "5", "layers": "5", "swept volume": "0.75"}
    heights = np.unique(read("out.vtu").points[:, 2].round(12))
    np.testing.assert_allclose(np.diff(heights)[1:] / np.diff(heights)[:-1], 4 ** (1 / 5), rtol=1e-9)


def test_nodes_move_by_the_shifts_in_the_file(folder, capfd):
    shifts = np.array([[0, 0, 1], [0, 0, 2], [0.5, 0, 1], [0, 0, 1], [0, 0, 3]])
    write("v.vtu", Mesh(POINTS, SURFACE.blocks, {"depth": shifts}))
    status, out, err = run(capfd, "extrude", "normal", "v.vtu", "out.vtu", "--shifts", "depth", "--layers", "2")
    assert (status, err) == (0, "") and table(out)["layers"] == "2"
    points = read("out.vtu").points
    order = [0, 1, 2, 3, 4]
    np.testing.assert_allclose(points[5:10], np.array(POINTS)[order] + shifts / 2)
    np.testing.assert_allclose(points[10:], np.array(POINTS)[order] + shifts)


def test_a_line_apart_from_the_faces_leaves_no_nodes(folder, capfd):
    apart = ["--through", "5", "5", "0", "--through", "5", "5", "2", "--through", "5", "5", "4"]
    status, out, err = run(capfd, *LINE, *apart)
    assert (status, err) == (0, "")
    assert table(out) == {"nodes": "15", "wedges": "2", "hexahedra": "2", "layers": "2", "swept volume": "6"}
    np.testing.assert_array_equal(read("out.vtu").points[10:], np.array(POINTS) + [0, 0, 4])


def test_a_line_from_a_node_of_the_faces_turns_and_grows(folder, capfd):
    bent = ["--through", "1", "0", "0", "--through", "1", "0", "2", "--through", "1", "-3", "2"]
    status, out, err = run(capfd, *LINE, *bent, "--size", "1", "--size", "1", "--size", "2")
    assert (status, err) == (0, "")
    mesh = read("out.vtu")
    assert table(out)["nodes"] == "15"
    x, y, z = (np.array(POINTS) - [1, 0, 0]).T
    last = np.column_stack([1 + 2 * x, 0 * x - 3, 2 + 2 * y])  # turned from +z to -y about +x
    for place in last:
        assert np.linalg.norm(mesh.points - place, axis=1).min() < 1e-14


@pytest.mark.parametrize("rows,scale", [
    ("0 0 0\n0, 0, 2  # up\n\n", (1, 1)),
    ("0 0 0 2\n0 0 2 1\n", (0.5, 0.5)),
    ("0 0 0 1 0 1 0 0 1\n0 0 2 4 0 1 0 0 1\n", (0.5, 1)),
])  # fmt: skip
def test_a_line_may_come_from_a_file_with_sizes_or_metrics(folder, capfd, rows, scale):
    (folder / "line.txt").write_text(rows)
    square = Mesh(POINTS[:4], [(K.Q4, [[0, 1, 2, 3]])])
    write("square.vtu", square)
    status, _, err = run(capfd, "extrude", "line", "square.vtu", "out.vtu", "--line", "line.txt")
    assert (status, err) == (0, "")
    points = read("out.vtu").points
    assert [0, 0, 2] in points.tolist()
    for place in ([scale[0], 0, 2], [0, scale[1], 2]):
        assert np.linalg.norm(points - place, axis=1).min() < 1e-14


def test_the_start_turns_the_faces_into_the_line(folder, capfd):
    status, _, _ = run(capfd, *LINE, *THROUGH, "--start", "0", "1", "1")
    assert status == 0
    level = read("out.vtu").points
    x, y, _ = np.array(POINTS).T
    c = np.sqrt(0.5)
    for place in np.column_stack([x, c * y, 1 + c * y]):  # turned from +y+z to +z about +x
        assert np.linalg.norm(level - place, axis=1).min() < 1e-14


@pytest.mark.parametrize("command,reason", [
    ([*LINE, "--through", "0", "0", "0", "--through", "0", "0", "-1"], "the line leaves towards the back of the faces"),
    (["extrude", "normal", "v.vtu", "out.vtu", "--shifts", "down", "--layers", "1"],
     "the nodes move to the back of the faces"),
])  # fmt: skip
def test_lines_and_shifts_towards_the_back_of_the_faces_warn(folder, capfd, command, reason):
    write("v.vtu", Mesh(POINTS, SURFACE.blocks, {"down": np.tile([0.0, 0, -1], (5, 1))}))
    status, out, _ = run(capfd, *command)
    assert status == 0
    assert f"1 of 1 wedges, 1 of 1 hexahedra; {reason}" in out.splitlines()[-1]


# ---- flip ----

ALL_SOLIDS = [kind for kind in OURS if SHAPES[kind].dimension == 3]


def one_of_each(kinds):
    """A mesh of one element of each kind, apart from one another, with its values."""
    x = [raw_element(kind, "ours") + [3.0 * k, 0, 0] for k, kind in enumerate(kinds)]
    ends = np.cumsum([len(nodes) for nodes in x])
    blocks = [(kind, [range(end - len(nodes), end)]) for kind, nodes, end in zip(kinds, x, ends)]
    points = np.concatenate(x)
    return Mesh(points, blocks, {"heat": points[:, 0]}, {"part": [[int(kind)] for kind in kinds]})


def assert_is_reversed(kind, x):
    """Check that a mirror image of the nodes of an element is a direct one with all nodes where they belong."""
    assert_is_ours(kind, x * [1, 1, -1])


@pytest.mark.parametrize("extension", ["vtu", "msh"])
def test_flip_turns_every_kind_of_solid_round_with_all_its_nodes(folder, capfd, extension):
    kinds = [kind for kind in ALL_SOLIDS if extension == "msh" or kind is not K.PY14]
    before = one_of_each(kinds)
    write(f"in.{extension}", before)
    status, out, err = run(capfd, "flip", f"in.{extension}", f"out.{extension}")
    assert (status, err) == (0, "")
    after = read(f"out.{extension}")
    np.testing.assert_array_equal(after.points, before.points)
    np.testing.assert_array_equal(after.point_data["heat"], before.point_data["heat"])
    assert [kind for kind, _ in after.blocks] == kinds
    assert [int(values[0]) for values in after.cell_data["part"]] == [int(kind) for kind in kinds]
    total = 0.0
    for (kind, old), (_, new) in zip(before.blocks, after.blocks):
        assert sorted(new[0]) == sorted(old[0])
        assert_is_ours(kind, after.points[old[0]])
        assert_is_reversed(kind, after.points[new[0]])
        total += six_volumes(kind, after.points[new[0]]) / 6
    words = [line.split() for line in out.splitlines()]
    assert ["27-node", "hexahedra", "1", "turned", "round"] in words
    assert ["volume", f"{total:.9g}", "of", "the", "solids"] in words
    assert "warning: inverted, with negative volume: 1 of 1 tetrahedra, 1 of 1 10-node tetrahedra" in out


@pytest.mark.parametrize("extension", ["vtu", "vtk", "msh", "mesh", "inp"])
def test_flip_turns_linear_solids_round_in_every_format(folder, capfd, extension):
    kinds = [K.TH4, K.W6, K.H8] + ([K.PY5] if extension != "inp" else [])
    write(f"in.{extension}", Mesh(one_of_each(kinds).points, one_of_each(kinds).blocks))
    assert run(capfd, "flip", f"in.{extension}", f"out.{extension}")[0] == 0
    mesh = read(f"out.{extension}")
    assert sorted(mesh.counts()) == sorted(kinds)
    for kind, cells in mesh.blocks:
        assert_is_reversed(kind, mesh.points[cells[0]])


def test_flip_turns_only_the_kinds_asked_for(folder, capfd):
    kinds = [K.TH4, K.TH10, K.H20]
    write("in.vtu", one_of_each(kinds))
    status, out, _ = run(capfd, "flip", "in.vtu", "out.vtu", "--kind", "th10", "--kind", "H20")
    assert status == 0
    before, after = read("in.vtu").blocks, read("out.vtu").blocks
    same = {kind: (old == new).all() for (kind, old), (_, new) in zip(before, after)}
    assert same == {K.TH4: True, K.TH10: False, K.H20: False}
    words = [line.split() for line in out.splitlines()]
    assert ["tetrahedra", "1", "as", "they", "were"] in words
    assert ["20-node", "hexahedra", "1", "turned", "round"] in words
    assert out.splitlines()[-1].endswith(": 1 of 1 10-node tetrahedra, 1 of 1 20-node hexahedra")


def test_flip_leaves_faces_and_edges_as_they_are(folder, capfd):
    write("more.vtu", WITH_MORE)
    status, out, _ = run(capfd, "flip", "more.vtu", "out.vtu")
    assert status == 0
    for (kind, old), (other, new) in zip(read("more.vtu").blocks, read("out.vtu").blocks):
        assert kind is other and (old == new).all() == (kind is not K.TH4)
    words = [line.split() for line in out.splitlines()]
    for name in ("edges", "triangles", "quadrangles"):
        assert [name, "1", "as", "they", "were"] in words


def test_flip_mends_inverted_elements_in_place(folder, capfd):
    corners = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]
    write("t.vtu", Mesh(corners, [(K.TH4, [[0, 1, 2, 3]])]))
    status, out, _ = run(capfd, "flip", "t.vtu", "t.vtu")
    assert status == 0 and "warning" not in out
    words = [line.split() for line in out.splitlines()]
    assert ["volume", f"{1 / 6:.9g}", "of", "the", "solids"] in words
    assert_is_ours(K.TH4, read("t.vtu").points[read("t.vtu").blocks[0][1][0]] * 2)


# ---- convert ----


def words_of(out):
    return [line.split() for line in out.splitlines()]


def test_convert_tells_what_becomes_of_what_and_carries_values(folder, capfd):
    write("c.vtu", TWO_CUBES)
    status, out, err = run(capfd, "convert", "c.vtu", "out.vtu", "--to", "quadratic")
    assert status == 0
    assert err == "meldra3d: warning: out.vtu: no real numbers, hence 0 on new nodes: number\n"
    assert words_of(out) == [
        ["out.vtu"],
        ["nodes", "46", "34", "of", "them", "new"],  # one on the triangle's edge across a face of the cubes
        ["6-node", "triangles", "1", "from", "triangles"],
        ["9-node", "quadrangles", "1", "from", "quadrangles"],
        ["27-node", "hexahedra", "2", "from", "hexahedra"],
        ["volume", "2", "of", "the", "solids"],
    ]
    mesh = read("out.vtu")
    np.testing.assert_array_equal(mesh.points[:12], TWO_CUBES.points)
    np.testing.assert_allclose(mesh.point_data["x"], mesh.points[:, 0])
    assert mesh.point_data["number"].tolist() == [*range(12), *[0] * 34]
    for name in ("part", "bit"):
        assert [v.tolist() for v in mesh.cell_data[name]] == [v.tolist() for v in TWO_CUBES.cell_data[name]]


def test_convert_there_and_back_gives_the_same_file(folder, capfd):
    write("c.vtu", TWO_CUBES)
    assert run(capfd, "convert", "c.vtu", "q.vtu", "--to", "quadratic")[0] == 0
    status, out, err = run(capfd, "convert", "q.vtu", "back.vtu", "--to", "linear")
    assert (status, err) == (0, "")
    assert ["nodes", "12", "34", "left", "out"] in words_of(out)
    assert ["hexahedra", "2", "from", "27-node", "hexahedra"] in words_of(out)
    assert (folder / "back.vtu").read_bytes() == (folder / "c.vtu").read_bytes()


def test_convert_leaves_what_is_linear_already_and_says_so(folder, capfd):
    write("in.vtu", one_of_each([K.TH4, K.T6, K.H20]))
    status, out, _ = run(capfd, "convert", "in.vtu", "out.vtu", "--to", "linear")
    assert status == 0
    assert [kind for kind, _ in read("out.vtu").blocks] == [K.TH4, K.T3, K.H8]
    assert ["tetrahedra", "1", "as", "they", "were"] in words_of(out)
    assert ["nodes", "15", "15", "left", "out"] in words_of(out)


def test_convert_to_an_order_gives_the_kinds_without_centres(folder, capfd):
    write("c.vtu", TWO_CUBES)
    zeros = ["--quadrangle-nodes", "0", "--hexahedron-nodes", "0"]
    status, out, _ = run(capfd, "convert", "c.vtu", "c.inp", "--to", "order", "--edge-nodes", "1", *zeros)
    assert status == 0
    assert read("c.inp").counts() == {K.T6: 1, K.Q8: 1, K.H20: 2}
    assert ["20-node", "hexahedra", "2", "from", "hexahedra"] in words_of(out)


def test_convert_says_that_pyramids_lose_a_node(folder, capfd):
    write("p.vtu", one_of_each([K.PY5, K.PY5]))
    status, out, err = run(capfd, "convert", "p.vtu", "out.vtu", "--to", "quadratic")
    assert status == 0 and read("out.vtu").counts() == {K.PY13: 2}
    assert err == (
        "meldra3d: warning: out.vtu: 2 pyramids of 14 nodes go out with 13, the only quadratic ones of the format\n"
    )
    assert ["13-node", "pyramids", "2", "from", "pyramids"] in words_of(out)
    assert ["nodes", "26", "16", "of", "them", "new"] in words_of(out)
    status, out, err = run(capfd, "convert", "p.vtu", "out.msh", "--to", "quadratic")
    assert (status, err) == (0, "") and read("out.msh").counts() == {K.PY14: 2}
    assert ["nodes", "28", "18", "of", "them", "new"] in words_of(out)


def test_convert_may_write_over_its_input(folder, capfd):
    write("c.vtu", TWO_CUBES)
    assert run(capfd, "convert", "c.vtu", "c.vtu", "--to", "quadratic")[0] == 0
    assert read("c.vtu").counts() == {K.T6: 1, K.Q9: 1, K.H27: 2}


# ---- split hex ----


def test_split_hex_cuts_solids_and_their_faces_and_carries_values(folder, capfd):
    write("c.vtu", TWO_CUBES)
    status, out, err = run(capfd, "split", "hex", "c.vtu", "out.vtu")
    assert status == 0
    assert err == "meldra3d: warning: out.vtu: no real numbers, hence 0 on new nodes: number\n"
    assert words_of(out) == [
        ["out.vtu"],
        ["nodes", "47", "35", "of", "them", "new"],  # the centre of that triangle, too
        ["quadrangles", "7"],
        ["hexahedra", "16", "from", "2", "hexahedra"],
        ["volume", "2", "of", "the", "solids"],
    ]
    mesh = read("out.vtu")
    np.testing.assert_allclose(mesh.point_data["x"], mesh.points[:, 0])
    assert [v.tolist() for v in mesh.cell_data["part"]] == [[4] * 8 + [5] * 8, [9] * 4 + [3] * 3]
    for cells, values in zip(mesh.blocks[0][1], mesh.cell_data["part"][0]):
        assert (mesh.points[cells].mean(axis=0)[0] > 1) == (values == 5)


@pytest.mark.parametrize("kinds,pieces", [([K.TH4, K.TH4], 8), ([K.W6, K.H8], 14), ([K.W6], 6), ([K.H8], 8)])
def test_split_hex_keeps_the_volume(folder, capfd, kinds, pieces):
    mesh = one_of_each(kinds)
    flat = [USUAL[SHAPE_OF[kind]] for kind in kinds]  # its faces are plane, other than those of `mesh`
    points = np.concatenate([np.array(x, dtype=float) + [3.0 * k, 0, 0] for k, x in enumerate(flat)])
    write("in.vtu", Mesh(points, mesh.blocks))
    status, out, err = run(capfd, "split", "hex", "in.vtu", "out.vtu")
    assert (status, err) == (0, "")
    assert read("out.vtu").counts() == {K.H8: pieces}
    before = sum(signed_volumes(points, kind, cells).sum() for kind, cells in mesh.blocks)
    assert float(table(out.replace("of the solids", ""))["volume"]) == pytest.approx(before)


# ---- split diagonals ----


def diagonal_ends(triangles):
    """The two nodes that two triangles share."""
    first, second = (set(map(int, t)) for t in triangles)
    return first & second


@pytest.mark.parametrize("arguments,ends", [([], {1, 6}), (["--by", "bit"], {2, 5})])
def test_split_diagonals_cuts_a_quadrangle_and_both_solids_along_one_diagonal(folder, capfd, arguments, ends):
    points = TWO_CUBES.points.copy()
    points[6, 2] = 0.8  # now 1-6 is shorter than 2-5; the quadrangle begins at node 6 and runs 6, 5, 1, 2
    write("c.vtu", Mesh(points, TWO_CUBES.blocks, TWO_CUBES.point_data, TWO_CUBES.cell_data))
    status, out, err = run(capfd, "split", "diagonals", "c.vtu", "out.vtu", *arguments)
    assert (status, err) == (0, "")
    cut = read("out.vtu")
    assert cut.counts() == {K.T3: 3, K.TH4: 4, K.PY5: 10}
    np.testing.assert_array_equal(cut.points[:12], points)
    for part in (4, 5):  # of each solid, the two tetrahedra
        (pair,) = [cells[values == part] for (kind, cells), values in zip(cut.blocks, cut.cell_data["part"])
                   if kind is K.TH4 and (values == part).any()]  # fmt: skip
        assert diagonal_ends([set(t) & {1, 2, 5, 6} for t in pair]) == ends
    (halves,) = [cells[values == 9] for (kind, cells), values in zip(cut.blocks, cut.cell_data["part"])
                 if kind is K.T3 and (values == 9).any()]  # fmt: skip
    assert diagonal_ends(halves) == ends
    before = np.cross(points[5] - points[6], points[1] - points[6])
    for a, b, c in halves:
        assert np.dot(np.cross(points[b] - points[a], points[c] - points[a]), before) > 0
    words = [line.split() for line in out.splitlines()]
    assert ["nodes", "14", "2", "of", "them", "new"] in words and ["cut", "quadrangles", "1"] in words


def test_split_diagonals_passes_values_on(folder, capfd):
    write("c.vtu", TWO_CUBES)
    assert run(capfd, "split", "diagonals", "c.vtu", "out.vtu")[0] == 0
    cut = read("out.vtu")
    np.testing.assert_allclose(cut.point_data["x"], [*TWO_CUBES.point_data["x"], 0.5, 1.5])
    assert cut.point_data["number"].tolist() == [*range(12), 0, 0]
    for (kind, cells), values in zip(cut.blocks, cut.cell_data["part"]):
        if kind in (K.TH4, K.PY5):
            centres = cut.points[cells].mean(axis=1)
            assert ((centres[:, 0] > 1) == (values == 5)).all()


def test_split_diagonals_of_a_surface_says_nothing_of_volume(folder, capfd):
    status, out, _ = run(capfd, "split", "diagonals", "s.vtu", "out.vtu")
    assert status == 0 and read("out.vtu").counts() == {K.T3: 3}
    words = [line.split() for line in out.splitlines()[1:]]
    assert words == [["nodes", "5", "0", "of", "them", "new"], ["triangles", "3"], ["cut", "quadrangles", "1"]]


def test_split_diagonals_leaves_no_gap_between_solids(folder, capfd):
    assert run(capfd, *SWEEP, *UP, "--layers", "3")[0] == 0
    swept = read("out.vtu")
    sides = [[1, 2, 7, 6], [6, 11, 12, 7], [2, 4, 9, 7], [0, 1, 6, 5], [5, 6, 7, 8]]
    write("in.vtu", Mesh(swept.points, [*swept.blocks, (K.Q4, sides)]))
    status, out, _ = run(capfd, "split", "diagonals", "in.vtu", "cut.vtu")
    assert status == 0 and "warning" not in out
    cut = read("cut.vtu")
    solids = np.concatenate([
        np.pad(cells, ((0, 0), (0, 8 - cells.shape[1])), constant_values=NO_NODE)
        for kind, cells in cut.blocks if SHAPES[kind].dimension == 3
    ])  # fmt: skip
    volumes = [signed_volumes(cut.points, kind, cells) for kind, cells in cut.blocks if SHAPES[kind].dimension == 3]
    assert sum(v.sum() for v in volumes) == pytest.approx(1.5) and min(v.min() for v in volumes) > 0
    outside = neighbors(solids, K.SOLID_MIX) == NO_NODE
    faces = [SHAPES[kind].faces for kind in (K.TH4, K.PY5, K.W6, K.H8)]
    area = 0.0
    for cell, open_faces in zip(solids, outside):
        used = int((cell != NO_NODE).sum())
        for k, face in enumerate(faces[{4: 0, 5: 1, 6: 2, 8: 3}[used]]):
            if open_faces[k]:
                kind = K.T3 if len(face) == 3 else K.Q4
                area += areas(cut.points, kind, cell[list(face)][None, :])[0]
    around = 1 + 1 + 1 + 2 * np.hypot(1, 0.5)
    assert area == pytest.approx(2 * 1.5 + around)


# ---- draw, help, terminal ----


def test_draw_writes_a_picture_and_says_nothing(folder, capfd):
    assert run(capfd, "draw", "s.vtu", "out.png") == (0, "", "")
    assert (folder / "out.png").read_bytes().startswith(b"\x89PNG")
    assert run(capfd, "draw", "s.vtu", "b.svg", "--by", "part", "--view", "-60,15", "--no-edges") == (0, "", "")
    assert "part" in (folder / "b.svg").read_text()
    assert run(capfd, "draw", "s.vtu", "c.svg", "--by", "part", "--no-legend") == (0, "", "")
    assert "part" not in (folder / "c.svg").read_text()


@pytest.mark.parametrize(
    "arguments,example",
    [
        ([], "meldra3d info part.msh"),
        (["--help"], "meldra3d draw part.vtu part.png"),
        (["info", "--help"], "meldra3d info part.vtu"),
        (["extrude", "--help"], "meldra3d extrude translate section.msh part.vtu"),
        (["extrude", "translate", "-h"], "--sizes 0.5 4 --even"),
        (["extrude", "rotate", "-h"], "--axis 0 0 1 --angle 90 --layers 24"),
        (["extrude", "spiral", "-h"], "--angle 1800 --shift 0 0 50"),
        (["extrude", "normal", "-h"], "--thickness 0.08 --sizes 0.0005 0.014"),
        (["extrude", "line", "-h"], "--line centre.txt --start 0 0 1"),
        (["flip", "--help"], "meldra3d flip inverted.vtu direct.vtu"),
        (["convert", "--help"], "meldra3d convert quadratic.vtu linear.vtu --to linear"),
        (["split", "--help"], "meldra3d split diagonals part.vtu cut.vtu"),
        (["split", "hex", "--help"], "meldra3d split hex part.msh hexahedra.vtu"),
        (["split", "diagonals", "--help"], "--by diagonal --min-volume 1e-9"),
        (["draw", "--help"], "--by region --view top"),
    ],
)
def test_help_shows_an_example(capfd, arguments, example):
    status, out, err = run(capfd, *arguments)
    assert (status, err) == (0, "") and example in out


def test_version_is_printed(capfd):
    assert run(capfd, "--version") == (0, "meldra3d 5.6.0.0\n", "")


def test_nothing_is_said_when_nobody_reads_the_output(folder):
    reader, writer = os.pipe()
    os.close(reader)
    command = [sys.executable, "-m", "meldra3d", "info", "s.vtu"]
    done = subprocess.run(command, stdout=writer, stderr=subprocess.PIPE, text=True)
    os.close(writer)
    assert done.stderr == ""


def on_a_terminal(*arguments):
    """Standard error of the command when that is a terminal."""
    main_end, other_end = pty.openpty()
    process = subprocess.Popen(
        [sys.executable, "-m", "meldra3d", *arguments], stdout=subprocess.DEVNULL, stderr=other_end,
        env={**os.environ, "TERM": "xterm"},
    )  # fmt: skip
    os.close(other_end)
    seen = b""
    while True:
        try:
            piece = os.read(main_end, 4096)
        except OSError:  # the other end is closed
            break
        if not piece:
            break
        seen += piece
    os.close(main_end)
    assert process.wait() == 0
    return seen.decode()


def test_progress_is_shown_on_a_terminal_only(folder, capfd):
    assert "sweeping" in on_a_terminal(*SWEEP, *UP, "--layers", "2")
    assert run(capfd, *SWEEP, *UP, "--layers", "2")[2] == ""
