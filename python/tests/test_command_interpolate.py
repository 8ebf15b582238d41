"""The commands interpolate and locate: what they print, what they write, and how they fail."""

import csv
import io
import os
import pty
import re
import subprocess
import sys

import numpy as np
import pytest
import tetrahedra
from reference_elements import raw_element

from meldra3d import Mesh, convert_into_quadratic, flip_TH4, read, write
from meldra3d import command_interpolate as module
from meldra3d.command import main
from meldra3d.elements import ElementType as K

POINTS, CELLS = tetrahedra.grid((4, 4, 4), jitter=0.2)
TARGET = np.random.default_rng(5).uniform(-0.2, 1.2, (150, 3))
INSIDE = ((TARGET > 0) & (TARGET < 1)).all(axis=1)
FIELDS = {"heat": POINTS @ [1.0, 2, 3], "flow": POINTS * [1, -1, 2.0] + 1, "number": np.arange(len(POINTS))}
OWN = {"heat": np.full(150, -7.0), "flow": np.full((150, 3), -9.0), "rank": np.arange(150.0)}
NEAREST = np.array([tetrahedra.nearest(POINTS, CELLS, query) for query in TARGET])


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """A working folder with ``source.vtu``, a unit cube with values, and ``target.vtu``, points in and around it."""
    monkeypatch.chdir(tmp_path)
    monkeypatch.setenv("COLUMNS", "100")
    skin = (K.T3, CELLS[:5, :3])
    write("source.vtu", Mesh(POINTS, [skin, (K.TH4, CELLS[:100]), (K.TH4, CELLS[100:])], FIELDS))
    write("target.vtu", Mesh(TARGET, [(K.NODE, np.arange(150)[:, None])], OWN))
    write("plain.vtu", Mesh(POINTS, [(K.TH4, CELLS)]))
    write("cube.vtu", Mesh(raw_element(K.H8, "ours"), [(K.H8, [range(8)])], {"heat": np.ones(8)}))
    write("inverted.vtu", Mesh(POINTS, [(K.TH4, flip_TH4(CELLS))], FIELDS))
    write("edges.vtu", Mesh([[0, 0, 0], [1, 0, 0]], [(K.EDGE2, [[0, 1]])], {"heat": [1.0, 2]}))
    (tmp_path / "points.csv").write_text("X, Y, Z\n0.5,0.25,0.125 # inside\n\n2,2,2\n")
    (tmp_path / "words.txt").write_text("a b c\n0 0 x\n")
    (tmp_path / "two.txt").write_text("0 0\n")
    return tmp_path


def run(capfd, *arguments):
    """Exit status, standard output and standard error of the command."""
    status = main(list(arguments))
    done = capfd.readouterr()
    return status, done.out, done.err


# ---- interpolate ----


@pytest.mark.parametrize("outside", ["nearest", "nan", "keep"])
@pytest.mark.parametrize("slices", [1, 4])
def test_values_are_carried_to_the_nodes_of_another_mesh(folder, capfd, monkeypatch, outside, slices):
    monkeypatch.setattr(module, "_SLICE", -(-150 // slices))
    status, out, err = run(capfd, "interpolate", "source.vtu", "target.vtu", "out.vtu", "--outside", outside)
    assert status == 0
    assert err == "meldra3d: warning: source.vtu: no real numbers, hence not carried: number\n"
    mesh = read("out.vtu")
    assert set(mesh.point_data) == set(OWN)
    np.testing.assert_array_equal(mesh.points, TARGET)
    np.testing.assert_array_equal(mesh.point_data["rank"], OWN["rank"])
    np.testing.assert_allclose(mesh.point_data["heat"][INSIDE], TARGET[INSIDE] @ [1, 2, 3], atol=1e-12)
    np.testing.assert_allclose(mesh.point_data["flow"][INSIDE], TARGET[INSIDE] * [1, -1, 2] + 1, atol=1e-12)
    for name in ("heat", "flow"):
        expected = {"nearest": FIELDS[name][NEAREST], "nan": np.full_like(OWN[name], np.nan), "keep": OWN[name]}
        np.testing.assert_array_equal(mesh.point_data[name][~INSIDE], expected[outside][~INSIDE])


def test_the_closing_table_tells_what_was_found_and_what_lies_farthest_outside(folder, capfd):
    status, out, _ = run(capfd, "interpolate", "source.vtu", "target.vtu", "out.vtu")
    lines = out.splitlines()
    assert status == 0 and lines[0] == "out.vtu"
    assert re.fullmatch(r"nodes +150 *", lines[1])
    assert re.fullmatch(rf"found +{INSIDE.sum()} +in tetrahedra of source.vtu *", lines[2])
    assert re.fullmatch(rf"outside +{(~INSIDE).sum()} +with the values at the nearest node *", lines[3])
    away = np.linalg.norm(TARGET - POINTS[NEAREST], axis=1) * ~INSIDE
    node = int(away.argmax())
    place = " ".join(f"{x:.6g}" for x in TARGET[node])
    assert re.fullmatch(
        rf"farthest outside +{away[node]:.6g} +from a node of source.vtu: node {node} at {place} *", lines[4]
    )
    assert re.fullmatch(r"values +1 number +heat, from \S+ to \S+ *", lines[5])
    assert re.fullmatch(r"values +3 numbers +flow, from \S+ to \S+ *", lines[6])


def test_a_mesh_onto_itself_keeps_its_values(folder, capfd):
    status, out, _ = run(capfd, "interpolate", "source.vtu", "plain.vtu", "out.vtu")
    assert status == 0 and re.search(r"outside +0", out) and "farthest" not in out
    for name in ("heat", "flow"):
        np.testing.assert_allclose(read("out.vtu").point_data[name], FIELDS[name], atol=1e-13)


def test_quadratic_tetrahedra_are_used_by_their_vertices(folder, capfd):
    raised = convert_into_quadratic(POINTS, CELLS)
    field = raised.points @ [1.0, 2, 3]
    field[len(POINTS) :] = 1e6  # mid-edge nodes
    write("quadratic.vtu", Mesh(raised.points, [(K.TH10, raised.cells)], {"heat": field}))
    assert run(capfd, "interpolate", "quadratic.vtu", "target.vtu", "out.vtu")[0] == 0
    heat = read("out.vtu").point_data["heat"]
    np.testing.assert_allclose(heat[INSIDE], TARGET[INSIDE] @ [1, 2, 3], atol=1e-12)
    assert heat.max() < 7


def test_inverted_tetrahedra_of_the_source_are_told(folder, capfd):
    cells = CELLS.copy()
    cells[3:5] = flip_TH4(cells[3:5])
    write("some.vtu", Mesh(POINTS, [(K.TH4, cells)], FIELDS))
    status, out, _ = run(capfd, "interpolate", "some.vtu", "target.vtu", "out.vtu")
    assert status == 0
    assert out.splitlines()[-1] == "warning: some.vtu: inverted, with negative volume: 2 of 384 tetrahedra"


# ---- locate ----


def rows_of(text):
    return list(csv.DictReader(io.StringIO(text)))


def test_points_are_located_in_a_table(folder, capfd):
    status, out, err = run(capfd, "locate", "source.vtu", "points.csv")
    assert (status, err) == (0, "")
    inside, outside = rows_of(out)
    query = np.array([float(inside[name]) for name in "xyz"])
    assert query.tolist() == [0.5, 0.25, 0.125]
    mesh = read("source.vtu")
    every = [cells for _, cells in mesh.blocks for cells in cells]
    nodes = [int(inside[f"n{k}"]) for k in range(4)]
    assert every[int(inside["element"])].tolist() == nodes
    weights = np.array([float(inside[f"w{k}"]) for k in range(4)])
    np.testing.assert_allclose(weights @ mesh.points[nodes], query, atol=1e-14)
    assert int(inside["element"]) - 5 in tetrahedra.holding(POINTS, CELLS, query)
    assert [value for name, value in outside.items() if name not in "xyz"] == 9 * [""]


def test_a_table_goes_to_a_file(folder, capfd):
    np.savetxt("many.txt", TARGET)
    status, out, err = run(capfd, "locate", "source.vtu", "many.txt", "--output", "found.csv")
    assert (status, err) == (0, "")
    assert re.search(rf"^points +150 *\nfound +{INSIDE.sum()} .*\noutside +{(~INSIDE).sum()} *$", out, re.M)
    rows = rows_of((folder / "found.csv").read_text())
    assert [row["element"] != "" for row in rows] == INSIDE.tolist()
    assert run(capfd, "locate", "source.vtu", "many.txt")[1] == (folder / "found.csv").read_text()


def test_no_points_give_a_table_of_its_heading(folder, capfd):
    (folder / "none.txt").write_text("# nothing\n")
    status, out, _ = run(capfd, "locate", "source.vtu", "none.txt")
    assert status == 0 and out == "x,y,z,element,n0,n1,n2,n3,w0,w1,w2,w3\n"


# ---- failures: one line, status 2, nothing written ----

TO = ["target.vtu", "out.vtu"]
FAILURES = {
    "no such source": (["interpolate", "nowhere.vtu", *TO], "nowhere.vtu: no such file"),
    "no such target": (["interpolate", "source.vtu", "nowhere.vtu", "out.vtu"], "nowhere.vtu: no such file"),
    "an output of unknown kind": (["interpolate", "source.vtu", "target.vtu", "out.doc"], "'.doc'"),
    "hexahedra": (["interpolate", "cube.vtu", *TO], "cube.vtu: has hexahedra; points are looked for in tetrahedra"),
    "no solids": (["interpolate", "edges.vtu", *TO], "edges.vtu: has no tetrahedra"),
    "inverted tetrahedra": (["interpolate", "inverted.vtu", *TO], "inverted.vtu: most tetrahedra are inverted; meldra"),
    "no values": (["interpolate", "plain.vtu", *TO], "plain.vtu: has no real values on nodes"),
    "nothing to keep": (["interpolate", "source.vtu", "plain.vtu", "out.vtu", "--outside", "keep"],
                        "plain.vtu: has no such values 'heat' on nodes to keep"),
    "an unknown choice": (["interpolate", "source.vtu", *TO, "--outside", "far"], "'far' is not one of"),
    "no points": (["locate", "source.vtu", "nowhere.txt"], "nowhere.txt: cannot be read .no such file"),
    "points in words": (["locate", "source.vtu", "words.txt"], "words.txt: row 2 does not hold numbers"),
    "points in a plane": (["locate", "source.vtu", "two.txt"], "two.txt: row 1 has 2 numbers in place of 3"),
    "hexahedra to search": (["locate", "cube.vtu", "points.csv"], "cube.vtu: has hexahedra"),
    "a negative tolerance": (["locate", "source.vtu", "points.csv", "--tolerance", "-1"], "--tolerance: must not be"),
    "a tolerance that is no number": (["locate", "source.vtu", "points.csv", "--tolerance", "nan"], "--tolerance"),
    "a table of unknown kind": (["locate", "source.vtu", "points.csv", "--output", "found.xls"], "'.xls'"),
}  # fmt: skip


@pytest.mark.parametrize("arguments,message", FAILURES.values(), ids=FAILURES)
def test_a_failure_is_one_line_and_leaves_all_files_as_they_were(folder, capfd, arguments, message):
    before = {path.name: path.read_bytes() for path in folder.iterdir()}
    status, out, err = run(capfd, *arguments)
    lines = [line for line in err.splitlines() if "warning: source.vtu: no real numbers" not in line]
    assert (status, out) == (2, "")
    assert len(lines) == 1 and lines[0].startswith("meldra3d: ") and re.search(message, lines[0]), err
    assert {path.name: path.read_bytes() for path in folder.iterdir()} == before


# ---- progress ----


def test_a_bar_is_shown_on_a_terminal_only(folder):
    arguments = [sys.executable, "-m", "meldra3d", "interpolate", "source.vtu", *TO]
    main_end, other_end = pty.openpty()
    process = subprocess.Popen(
        arguments, stdout=subprocess.DEVNULL, stderr=other_end, env={**os.environ, "TERM": "xterm"}
    )
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
    assert "interpolating" in seen.decode() and "150/150" in seen.decode()
    silent = subprocess.run(arguments, capture_output=True, text=True, check=True)
    assert "interpolating" not in silent.stderr + silent.stdout
