"""The commands check, measure and open: what they print, what they write, and how they fail."""

import csv
import re

import numpy as np
import pytest
from grids import bricks, mixed, tetrahedra
from reference_elements import raw_element

from meldra3d import MEASURES, NO_NODE, Mesh, flip, measure_mesh, neighbors, read, write
from meldra3d.command import main
from meldra3d.elements import ElementType as K

BLOCK, BRICKS = bricks(4, 4, 2)
WITH_FACES = Mesh(BLOCK, [(K.Q4, BRICKS[:3, :4]), (K.H8, BRICKS)], cell_data={"part": [range(3), range(32)]})


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """A working folder with ``block.vtu``: 3 quadrangles and 32 cubes."""
    monkeypatch.chdir(tmp_path)
    monkeypatch.setenv("COLUMNS", "80")
    write("block.vtu", WITH_FACES)
    return tmp_path


def run(capfd, *arguments):
    """Exit status, standard output and standard error of the command."""
    status = main(list(arguments))
    done = capfd.readouterr()
    return status, done.out, done.err


# ---- check ----


def test_check_of_a_sound_mesh_ends_with_status_0(folder, capfd):
    status, out, err = run(capfd, "check", "block.vtu")
    assert (status, err) == (0, "")
    lines = out.splitlines()
    assert lines[0] == "block.vtu" and len(lines) == 8
    assert all(re.fullmatch(r"[a-z ]+ 0 *", line) for line in lines[1:])


@pytest.mark.parametrize("extension", ["vtu", "vtk", "msh", "mesh", "inp"])
def test_check_finds_inverted_solids_in_files_of_each_orientation(folder, capfd, extension):
    cells = tetrahedra(BRICKS)
    cells[5:8] = flip(cells[5:8], K.TH4)
    write(f"t.{extension}", Mesh(BLOCK, [(K.TH4, cells)]))
    status, out, _ = run(capfd, "check", f"t.{extension}")
    assert status == 1
    assert re.search(r"\ninverted solids +3 +elements 5, 6, 7 *\n", out)
    assert out.splitlines()[-1] == "warning: 1 of 7 checks found faults"


def test_check_names_a_few_of_many_places(folder, capfd):
    points = np.concatenate([BLOCK, np.full((9, 3), 7.0)])
    write("loose.vtu", Mesh(points, [(K.H8, BRICKS)]))
    status, out, _ = run(capfd, "check", "loose.vtu")
    assert status == 1
    assert re.search(r"\nnodes in no element +9 +nodes 75, 76, 77, 78, 79, \.\.\.", out)
    write("loose.vtu", Mesh(points[:76], [(K.H8, BRICKS)]))
    assert re.search(r"\nnodes in no element +1 +node 75 *\n", run(capfd, "check", "loose.vtu")[1])


# ---- measure ----


def test_measure_prints_ranges_and_the_worst(folder, capfd):
    points = BLOCK.copy()
    points[0] = [0.5, 0.5, 0.5]  # of element 3, the first cube behind three quadrangles
    write("dent.vtu", Mesh(points, WITH_FACES.blocks))
    status, out, err = run(capfd, "measure", "dent.vtu")
    assert (status, err) == (0, "")
    words = [line.split() for line in out.splitlines()]
    assert max(map(len, out.splitlines())) <= 80
    ((_, _, values),) = measure_mesh(read("dent.vtu"))
    for k, name in enumerate(MEASURES):
        row = next(row for row in words if " ".join(row[-3 - len(name.split()) : -3]) == name)
        expected = values[:, k].min(), values[:, k].mean(), values[:, k].max()
        assert [float(number) for number in row[-3:]] == pytest.approx(expected, rel=1e-4)
    start = words.index(["the", "worst"])
    worst = [row for row in words[start:] if "hexahedra" in row]
    assert len(worst) == 10 and worst[0][:2] == ["3", "hexahedra"]
    assert [float(number) for number in worst[0][2:]] == pytest.approx(values[0], rel=1e-3)
    assert [row[0] for row in worst[1:]] == [str(number) for number in range(4, 13)]  # cubes all, as they come


def test_measure_of_few_solids_shows_them_all(folder, capfd):
    write("q.vtu", Mesh(raw_element(K.H20, "ours"), [(K.H20, [range(20)])]))
    _, out, _ = run(capfd, "measure", "q.vtu")
    assert len(re.findall(r"20-node hexahedra", out)) == 2
    assert "quadratic solids are measured by their vertices" in out and "warning" not in out


def test_measure_warns_of_inverted_solids(folder, capfd):
    write("i.vtu", Mesh(BLOCK, [(K.H8, flip(BRICKS, K.H8))]))
    status, out, _ = run(capfd, "measure", "i.vtu")
    assert status == 0
    assert out.splitlines()[-1] == "warning: inverted, with negative volume: 32 of 32 hexahedra"


def test_measure_writes_a_row_for_each_solid(folder, capfd):
    write("m.vtu", Mesh(BLOCK, [(K.Q4, BRICKS[:2, :4]), (K.SOLID_MIX, mixed(BRICKS))]))
    assert run(capfd, "measure", "m.vtu", "--csv", "m.csv")[0] == 0
    with open("m.csv", newline="") as file:
        rows = list(csv.DictReader(file))
    assert list(rows[0]) == ["element", "kind"] + [name.replace(" ", "_") for name in MEASURES]
    expected = [
        (number, each.kind.name, *row)
        for each in measure_mesh(read("m.vtu"))
        for number, row in zip(each.elements, each.values)
    ]
    assert len(expected) == 48
    for row, (number, kind, *values) in zip(rows, expected):
        assert (int(row["element"]), row["kind"]) == (number, kind)
        assert [float(value) for value in list(row.values())[2:]] == values


def test_measure_writes_values_on_solids_and_none_elsewhere(folder, capfd):
    assert run(capfd, "measure", "block.vtu", "-o", "out.vtu")[0] == 0
    mesh = read("out.vtu")
    assert set(mesh.cell_data) == {"part", *(name.replace(" ", "_") for name in MEASURES)}
    on_faces, on_solids = mesh.cell_data["least_dihedral_angle"]
    assert np.isnan(on_faces).all()
    np.testing.assert_allclose(on_solids, 90)
    np.testing.assert_array_equal(mesh.cell_data["part"][1], range(32))
    assert [kind for kind, _ in mesh.blocks] == [K.Q4, K.H8]


def test_measure_draws_histograms(folder, capfd):
    status, out, err = run(capfd, "measure", "block.vtu", "--histogram", "h.svg")
    assert (status, err) == (0, "")
    assert "<svg" in (folder / "h.svg").read_text()


# ---- open ----


def pairs_in(path):
    with open(path, newline="") as file:
        rows = list(csv.reader(file))
    assert rows[0] == ["node", "copy", "side"]
    return [(int(node), int(copy), side) for node, copy, side in rows[1:]]


@pytest.mark.parametrize("extension", ["vtu", "msh", "mesh"])
def test_open_along_a_plane_parts_the_solids_and_lists_the_copies(folder, capfd, extension):
    write(f"in.{extension}", Mesh(BLOCK, [(K.TH4, tetrahedra(BRICKS))]))
    status, out, err = run(
        capfd, "open", f"in.{extension}", f"out.{extension}", "--plane", "0", "0", "3", "--point", "9", "9", "1",
        "--pairs", "pairs.csv",
    )  # fmt: skip
    assert (status, err) == (0, "")
    assert re.search(r"\nnodes +100 +25 of them copies", out) and re.search(r"\nopened faces +32 ", out)
    mesh = read(f"out.{extension}")
    cells = mesh.blocks[0][1]
    above = mesh.points[cells].mean(axis=1)[:, 2] > 1
    across = neighbors(cells, K.TH4)
    inner = across != NO_NODE
    assert (above[np.where(inner, across, 0)] == above[:, None])[inner].all()
    pairs = pairs_in("pairs.csv")
    assert sorted(node for node, _, _ in pairs) == list(range(25, 50))
    assert [(copy, side) for _, copy, side in pairs] == [(75 + k, "plus") for k in range(25)]
    np.testing.assert_array_equal(mesh.points[75:], BLOCK[[node for node, _, _ in pairs]])
    assert run(capfd, "check", f"out.{extension}")[0] == 0


def test_open_for_both_sides_lists_both_copies(folder, capfd):
    assert run(capfd, "open", "block.vtu", "o.vtu", "--plane", "1", "0", "0", "--point", "2", "0", "0", "--both",
               "--pairs", "p.csv")[0] == 0  # fmt: skip
    pairs = pairs_in("p.csv")
    assert [side for _, _, side in pairs] == ["plus"] * 15 + ["minus"] * 15
    assert sorted(node for node, _, _ in pairs[:15]) == sorted(node for node, _, _ in pairs[15:])
    mesh = read("o.vtu")
    x = mesh.points[mesh.blocks[1][1]].mean(axis=1)[:, 0]
    for node, copy, side in pairs:
        holders = (mesh.blocks[1][1] == copy).any(axis=1)
        assert holders.any() and ((x[holders] > 2) == (side == "plus")).all()
        assert not (mesh.blocks[1][1] == node).any()


@pytest.mark.parametrize("keep,copies", [([], 9), (["--keep-border"], 1)])
def test_open_along_the_faces_of_a_file_with_or_without_its_border(folder, capfd, keep, copies):
    disc = np.array([row[4:] for row in BRICKS[:16] if row[0] in (6, 7, 11, 12)])
    nodes, numbers = np.unique(disc, return_inverse=True)
    write("disc.obj", Mesh(BLOCK[nodes], [(K.Q4, numbers.reshape(disc.shape))]))
    status, out, err = run(capfd, "open", "block.vtu", "o.vtu", "--surface", "disc.obj", *keep, "--pairs", "p.csv")
    assert (status, err) == (0, "")
    assert len(pairs_in("p.csv")) == copies
    assert ("kept nodes" in out) == bool(keep)
    assert not keep or re.search(r"\nkept nodes +8 +on the border", out)
    mesh = read("o.vtu")
    middle = 25 + 12
    if keep:  # one node is doubled: the four cubes above have the copy
        ((old, new, _),) = pairs_in("p.csv")
        assert (old, new) == (middle, 75)
        cells = mesh.blocks[1][1]
        assert np.flatnonzero((cells == new).any(axis=1)).tolist() == [21, 22, 25, 26]
        assert np.flatnonzero((cells == old).any(axis=1)).tolist() == [5, 6, 9, 10]
        assert run(capfd, "check", "o.vtu")[0] == 0


# ---- failures: one line, status 2, nothing written ----

PLANE = ["--plane", "0", "0", "1"]
POINT = ["--point", "0", "0", "1"]
FAILURES = {
    "no such file to check": (["check", "nowhere.vtu"], "nowhere.vtu: no such file"),
    "a damaged file to check": (["check", "damaged.vtu"], "damaged.vtu: cannot be read"),
    "no file to check": (["check"], "Missing argument 'FILE'"),
    "no such file to measure": (["measure", "nowhere.vtu"], "nowhere.vtu: no such file"),
    "no solids to measure": (["measure", "faces.vtu", "--csv", "out.csv"], "faces.vtu: has no solids to measure"),
    "a table of unknown kind": (["measure", "block.vtu", "--csv", "out.xls"], "out.xls: cannot write .*'.xls'.* .csv"),
    "a histogram of unknown kind": (["measure", "block.vtu", "--histogram", "out.gif"], "out.gif: cannot write .*.png"),
    "values in no file": (["measure", "block.vtu", "-o", "out.doc"], "out.doc: cannot write files of kind '.doc'"),
    "no such file to open": (["open", "nowhere.vtu", "out.vtu", *PLANE], "nowhere.vtu: no such file"),
    "nothing to open along": (["open", "block.vtu", "out.vtu"], "give either --surface or --plane"),
    "both a surface and a plane": (["open", "block.vtu", "out.vtu", *PLANE, "--surface", "faces.vtu"], "give either"),
    "a point without a plane": (["open", "block.vtu", "out.vtu", "--surface", "faces.vtu", "--point", "0", "0", "0"],
                                "--point goes with --plane"),
    "a plane across nothing": (["open", "block.vtu", "out.vtu", "--plane", "0", "0", "0"], "--plane: .*length"),
    "a plane that is not finite": (["open", "block.vtu", "out.vtu", "--plane", "0", "nan", "0"], "--plane: .*finite"),
    "a point that is not finite": (["open", "block.vtu", "out.vtu", *PLANE, "--point", "0", "inf", "0"], "--point: "),
    "a plane without faces": (["open", "block.vtu", "out.vtu", *PLANE, "--point", "0", "0", "0.5"],
                              "block.vtu: no face between two solids lies in this plane"),
    "a plane outside": (["open", "block.vtu", "out.vtu", *PLANE], "block.vtu: no face between two solids"),
    "no solids to open": (["open", "faces.vtu", "out.vtu", *PLANE], "faces.vtu: has no solids to open"),
    "quadratic solids to open": (["open", "h20.vtu", "out.vtu", *PLANE], "h20.vtu: holds 20-node hexahedra, but"),
    "no such surface": (["open", "block.vtu", "out.vtu", "--surface", "no.vtu"], "no.vtu: no such file"),
    "a surface without faces": (["open", "block.vtu", "out.vtu", "--surface", "h20.vtu"], "h20.vtu: has no linear tri"),
    "a surface outside": (["open", "block.vtu", "out.vtu", "--surface", "faces.vtu"],
                          "faces.vtu: 3 of 3 faces lie between no two solids of block.vtu"),
    "an opened mesh of unknown kind": (["open", "block.vtu", "out.doc", *PLANE], "out.doc: cannot write"),
    "an opened mesh that holds no solids": (["open", "block.vtu", "out.stl", *PLANE, *POINT], "out.stl: .*cannot hold"),
    "pairs of unknown kind": (["open", "block.vtu", "out.vtu", *PLANE, "--pairs", "p.txt"], "p.txt: cannot write"),
    "a table in no folder": (["measure", "block.vtu", "--csv", "no/out.csv"], "no/out.csv: there is no folder no"),
}  # fmt: skip


@pytest.mark.parametrize("name", FAILURES)
def test_a_failure_is_one_line_with_status_2_and_leaves_nothing(folder, capfd, name):
    arguments, message = FAILURES[name]
    (folder / "damaged.vtu").write_text("<VTKFile")
    write("faces.vtu", Mesh(BLOCK, [(K.Q4, BRICKS[:3, :4])]))
    write("h20.vtu", Mesh(raw_element(K.H20, "ours"), [(K.H20, [range(20)])]))
    before = {path.name: path.read_bytes() for path in folder.iterdir()}
    status, out, err = run(capfd, *arguments)
    assert (status, out) == (2, "")
    assert err.startswith("meldra3d: ") and err.count("\n") == 1 and err.endswith("\n")
    assert re.search(message, err), err
    assert {path.name: path.read_bytes() for path in folder.iterdir()} == before
