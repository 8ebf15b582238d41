#!/usr/bin/python3
"""Draws what the programs of examples make that the pages show, into docs/figures/operations.

    docs/figures/operations.py [NAME...]     the pictures named, or all of them

Each program runs as it is, and what its variables hold in the end is drawn. Run it with the package on the path, as
scripts/docs.sh does.
"""

import contextlib
import io
import os
import pathlib
import runpy
import sys
import tempfile

import numpy as np
from matplotlib.figure import Figure
from PIL import Image

import meldra3d
from meldra3d import NO_NODE, ElementType, Mesh
from meldra3d.elements import SHAPES, split_mixed

HERE = pathlib.Path(__file__).resolve().parent
EXAMPLES = HERE.parents[1] / "examples"
TARGET = HERE / "operations"

WIDTH = 640  # pixels
INK, EDGE, VERTEX, MIDDLE, CENTRE, BODY = "#333333", "#777777", "#1f3a5f", "#b4540a", "#2e7d32", "#7b1fa2"
K = ElementType
LINEAR = {4: K.TH4, 5: K.PY5, 6: K.W6, 8: K.H8}


def results(name, *arguments, folder="operations"):
    """The variables of a program after it ran, in a folder of its own."""
    program = EXAMPLES / folder / f"{name}.py"
    before = os.getcwd(), sys.argv, sys.path
    with contextlib.redirect_stdout(io.StringIO()), tempfile.TemporaryDirectory() as place:
        os.chdir(place)
        sys.argv, sys.path = [str(program), *arguments], [str(program.parent), *sys.path]
        try:
            return runpy.run_path(str(program), run_name="__main__")
        finally:
            os.chdir(before[0])
            sys.argv, sys.path = before[1:]


def taken(name, picture):
    """A picture that an example itself writes into the folder of its argument."""
    with tempfile.TemporaryDirectory() as place:
        results(name, place, folder=".")
        save(Image.open(pathlib.Path(place) / picture), name, 960)


def save(picture, name, width=WIDTH):
    """A picture of this many pixels and of few colours."""
    picture = picture.convert("RGB")
    picture.thumbnail((width, width), Image.LANCZOS)
    picture.quantize(128).save(TARGET / f"{name}.png", optimize=True)


# ---- solids as pictures of meldra3d ----


def drawn(mesh, name, **how):
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder) / "picture.png"
        meldra3d.draw(mesh, file, **{"legend": False, **how})
        save(Image.open(file), name)


def by_layer(name, faces, view=None):
    made = results(name)
    layers = len(made["solids"]) // faces
    layer = np.tile(np.arange(layers), faces)
    mesh = Mesh(made["points"], [(K.SOLID_MIX, wide(made["solids"]))], cell_data={"layer": [layer]})
    drawn(mesh, name, by="layer", view=view)


def wide(cells):
    """Linear solids in 8 columns."""
    cells = np.asarray(cells, dtype=np.uint32)
    return np.pad(cells, ((0, 0), (0, 8 - cells.shape[1])), constant_values=NO_NODE)


def exploded(points, cells, share):
    """A mesh whose elements stand apart, each as large as this share of itself, with its number as a value."""
    points, moved, blocks, numbers = np.asarray(points, dtype=float), [], [], []
    cells = wide(cells)
    middle = points[np.unique(cells[cells != NO_NODE])].mean(axis=0)
    first = 0
    for kind, rows in split_mixed(K.SOLID_MIX, cells):
        nodes = cells[rows, : SHAPES[kind].vertices]
        corners = points[nodes]
        centres = corners.mean(axis=1, keepdims=True)
        moved.append((centres + share * (corners - centres) + 0.12 * (centres - middle)).reshape(-1, 3))
        blocks.append((kind, first + np.arange(nodes.size).reshape(nodes.shape)))
        numbers.append(rows)
        first += nodes.size
    return Mesh(np.concatenate(moved), blocks, cell_data={"element": numbers})


# ---- sketches: edges, nodes and their numbers ----


class Sketch:
    """A drawing of few elements, seen from the front, the right and above."""

    def __init__(self, panels=1, azimuth=-62.0, elevation=22.0, width=4.2):
        self.figure = Figure(figsize=(width * panels, 3.6))
        self.panels = panels
        a, e = np.radians([azimuth, elevation])
        self.right = np.array([-np.sin(a), np.cos(a), 0])
        self.up = np.array([-np.cos(a) * np.sin(e), -np.sin(a) * np.sin(e), np.cos(e)])
        self.axes = None

    def panel(self, k, title=""):
        self.axes = self.figure.add_axes(((k + 0.02) / self.panels, 0.02, 0.96 / self.panels, 0.88))
        self.axes.set_aspect("equal")
        self.axes.set_axis_off()
        self.axes.set_title(title, fontsize=12, color=INK)
        return self

    def flat(self, points):
        points = np.asarray(points, dtype=float)
        if points.shape[-1] == 2:
            points = np.concatenate([points, np.zeros((*points.shape[:-1], 1))], axis=-1)
        return np.stack([points @ self.right, points @ self.up], axis=-1)

    def edges(self, points, cells, colour=EDGE, width=1.2, fill=None):
        """The edges of linear solids, or of the vertices of others; with a colour to fill their faces, too."""
        points = np.asarray(points, dtype=float)
        for row in np.asarray(cells, dtype=np.uint32):
            kind = LINEAR[int((row != NO_NODE).sum())]
            for face in SHAPES[kind].faces:
                ring = self.flat(points[row[list(face)]])
                if fill:
                    self.axes.fill(*ring.T, color=fill, alpha=0.12, linewidth=0)
                self.axes.plot(*np.concatenate([ring, ring[:1]]).T, color=colour, linewidth=width, zorder=1)
        return self

    def rings(self, points, faces, fill):
        """Faces as coloured polygons."""
        points = np.asarray(points, dtype=float)
        for row in faces:
            ring = self.flat(points[[node for node in row if node != NO_NODE]])
            self.axes.fill(*ring.T, facecolor=fill, edgecolor=EDGE, linewidth=1.2, alpha=0.55)
        return self

    def nodes(self, points, labels=None, colour=VERTEX):
        """Discs with numbers, or without."""
        points = np.asarray(points, dtype=float)
        labels = range(len(points)) if labels is None else labels
        for place, label in zip(self.flat(points), labels):
            if label == "":
                self.axes.plot(*place, "o", color=colour, markersize=5, zorder=3)
                continue
            self.axes.plot(*place, alpha=0)  # which widens the panel
            self.axes.annotate(str(label), place, color="white", fontsize=8.5, ha="center", va="center", zorder=4,
                               bbox={"boxstyle": "round,pad=0.28", "facecolor": colour, "edgecolor": colour})
        return self

    def arrows(self, points, vectors, colour=MIDDLE):
        points, vectors = np.asarray(points, dtype=float), np.asarray(vectors, dtype=float)
        for start, end in zip(self.flat(points), self.flat(points + vectors)):
            self.axes.annotate("", end, start, arrowprops={"arrowstyle": "-|>", "color": colour, "linewidth": 1.8})
            self.axes.plot(*end, alpha=0)
        return self

    def write(self, place, text, colour=INK):
        self.axes.text(*self.flat(place), text, color=colour, fontsize=10, ha="center", va="center", zorder=5)
        return self

    def save(self, name):
        with io.BytesIO() as stream:
            self.figure.savefig(stream, dpi=200, facecolor="white", bbox_inches="tight", pad_inches=0.08)
            save(Image.open(stream), name)


def by_place(sketch, points, cells, old):
    """New nodes in the colours of the pages on numbering: on edges, in faces, inside."""
    sketch.nodes(points[:old], [""] * old)
    found = {}
    for row in np.asarray(cells, dtype=np.uint32):
        corners = row[: {27: 8, 64: 8, 14: 5, 40: 6, 18: 6}.get(int((row != NO_NODE).sum()), 5)]
        for node in row[len(corners):]:
            if node != NO_NODE and node >= old:
                found[int(node)] = max(found.get(int(node), 0), 1)
    used = np.asarray(sorted(found))
    sketch.nodes(points[used], [""] * len(used), MIDDLE)


# ---- one picture for each program ----


def translate():
    by_layer("extrude_translate", 3)


def rotate():
    by_layer("extrude_rotate", 3, (-70, 40))


def spiral():
    by_layer("extrude_spiral", 3, (-60, 65))


def normal():
    by_layer("extrude_normal", 8, (-70, 25))


def line():
    by_layer("extrude_line", 3, (-70, 30))


def raised(name):
    made = results(name)
    linear = Mesh(made["points"], [(K.SOLID_MIX, results("volume")["solids"])])
    sketch = Sketch().panel(0).edges(made["points"], linear.blocks[0][1])
    by_place(sketch, made["points"], made["solids"], 11)
    sketch.save(name)


def lowered():
    made = results("convert_into_linear")
    sketch = Sketch(2)
    sketch.panel(0, "quadratic").edges(made["points"], made["linear"])
    by_place(sketch, made["points"], made["quadratic"], 11)
    sketch.panel(1, "linear").edges(made["points"], made["linear"]).nodes(made["points"][:11])
    sketch.save("convert_into_linear")


def hexahedra():
    made = results("split_into_H8")
    drawn(exploded(made["points"], made["hexahedra"], 0.9), "split_into_H8")


def diagonals():
    made = results("split_solid_Q4")
    drawn(exploded(made["points"], made["pieces"], 0.8), "split_solid_Q4", view=(-60, 30))


def flipped():
    made = results("flip")
    sketch = Sketch(2, azimuth=-50, elevation=20, width=2.8)
    for k, (title, cells) in enumerate((("inverted", made["tetrahedron"]), ("direct", made["flipped"]))):
        sketch.panel(k, title).edges(made["points"], cells)
        sketch.nodes(np.asarray(made["points"])[np.asarray(cells)[0]])
    sketch.save("flip")


def located(name, places):
    made = results(name)
    cells = np.asarray(made["cells"])
    sketch = Sketch(azimuth=-76, elevation=30).panel(0).edges(made["points"], cells, "#bbbbbb", 0.8)
    for element in np.asarray(made["elements"]).tolist():
        if element != NO_NODE:
            sketch.edges(made["points"], cells[[element]], VERTEX, 1.6, "#5b9bd0")
    sketch.nodes(made["points"][:8]).nodes(places, [""] * len(places), MIDDLE).save(name)


def field():
    made = results("interpolate")
    sketch = Sketch(azimuth=-76, elevation=30).panel(0).edges(made["points"], made["cells"])
    sketch.nodes(made["points"], made["field"])
    values = [f"{value:g}" for value in made["values"]]
    sketch.nodes([[0.75, 0.5, 0.25], [1.5, 1.5, 1.5]], values, MIDDLE).save("interpolate")


def sizes():
    made = results("interpolate_metrics")
    sketch = Sketch(azimuth=-76, elevation=30).panel(0).edges(made["points"], made["cells"])
    found = made["found"][0, 0] ** -0.5
    sketch.nodes(made["points"], made["sizes"]).nodes([[0.6, 0.5, 0.25]], [f"{found:.1f}"], MIDDLE)
    sketch.save("interpolate_metrics")


def block(name):
    made = results(name)
    drawn(Mesh(made["points"], [(K.SOLID_MIX, made["solids"])]), name)


def angles(name, scale, unit):
    made = results(name)
    solids = np.asarray(made["solids"])
    sketch = Sketch().panel(0).edges(made["points"], solids, fill="#5b9bd0")
    for row, least, most in zip(solids, made["least"] * scale, made["most"] * scale):
        middle = np.asarray(made["points"], dtype=float)[row[row != NO_NODE]].mean(axis=0)
        sketch.write(middle, f"{least:.3g} to\n{most:.3g}{unit}")
    sketch.save(name)


def spheres():
    made = results("circumcenters")
    sketch = Sketch(azimuth=-76, elevation=30).panel(0).edges(made["points"], made["cells"])
    turn = np.linspace(0, 2 * np.pi, 100)
    ring = np.outer(np.cos(turn), sketch.right) + np.outer(np.sin(turn), sketch.up)
    sketch.axes.plot(*sketch.flat(made["centers"][0] + 0.75**0.5 * ring).T, color=MIDDLE, linewidth=1.2)
    sketch.nodes(made["points"]).nodes(made["centers"][:1], [""], MIDDLE).save("circumcenters")


def opened():
    made = results("duplicate_surface_nodes")
    points = np.array(made["opened"].points)
    copies = made["opened"].pairs[:, 1]
    points[copies, 2] += 0.25 * (2 - points[copies, 0])  # which the program does not do: to see the crack
    sketch = Sketch().panel(0).edges(points, made["opened"].cells, fill="#5b9bd0")
    old = made["opened"].pairs[:, 0]
    sketch.nodes(points[old], old).nodes(points[copies], copies, MIDDLE).nodes(points[[8, 11]], [8, 11], CENTRE)
    sketch.save("duplicate_surface_nodes")


def neighbours():
    made, body = results("get_neighbors"), results("volume")
    points, sketch = np.asarray(body["points"]), Sketch().panel(0)
    sketch.edges(points, made["solids"])
    for element, across in enumerate(made["neighbors"]):
        row = np.asarray(made["solids"][element])
        sketch.write(points[row[row != NO_NODE]].mean(axis=0), f"element {element}", VERTEX)
        if element == 0:
            for face, other in zip(SHAPES[K.H8].faces, across):
                if other != NO_NODE:
                    sketch.rings(points, [row[list(face)]], "#e8b04b")
    sketch.save("get_neighbors")


def ancestors():
    made, body = results("get_ancestors"), results("volume")
    sketch = Sketch().panel(0).edges(body["points"], made["solids"])
    sketch.nodes(body["points"], made["ancestors"]).save("get_ancestors")


def nearest():
    made = results("node_detector")
    near, far = [0.9, 0.2, 0.7], [1.8, 1.3, -0.3]
    points = np.asarray(made["points"], dtype=float)
    sketch = Sketch(azimuth=-76, elevation=30).panel(0).edges(points, made["cells"])
    chosen = points[made["nearest"]]
    sketch.arrows([near, far], chosen - [near, far]).nodes(points).nodes([near, far], ["", ""], MIDDLE)
    sketch.save("node_detector")


def at_corner():
    made = results("normals")
    sketch = Sketch(azimuth=40, elevation=25).panel(0).rings(made["points"], made["faces"], "#5b9bd0")
    sketch.arrows(made["points"], 0.7 * made["normals"]).nodes(made["points"]).save("normals")


# ---- one picture for programs of the guide ----


def first_steps():
    made = results("first_steps", str(EXAMPLES / "data/flange.msh"), folder="guide")
    drawn(made["mesh"], "first_steps", by="heat", legend=True)


def two_meshes():
    made = results("two_meshes", folder="guide")
    sketch = Sketch(azimuth=-75, elevation=28).panel(0)
    for cells, rows in ((made["cube"], 8), (made["wedge"], 6), (made["other"], 8)):
        sketch.edges(made["points"], cells[:, :rows])
    shared = np.unique(np.concatenate([made["faces"].ravel(), made["edges"].ravel()]))
    new = np.setdiff1d(np.arange(16, len(made["points"])), shared)
    sketch.nodes(made["points"][new], [""] * len(new), "#d9a779")
    sketch.nodes(made["points"][shared], shared, CENTRE).save("two_meshes")


def tetrahedra():
    made = results("tetrahedra", folder="guide")
    drawn(exploded(made["points"], made["tetrahedra"], 0.8), "tetrahedra", by="element")


def quality():
    made = results("quality", folder="guide")
    mesh = Mesh(made["points"], made["mesh"].blocks, cell_data={"least angle, degrees": [np.degrees(made["least"])]})
    drawn(mesh, "quality", by="least angle, degrees", legend=True, view=(-70, 40))


PICTURES = {
    "first_steps": first_steps,
    "two_meshes": two_meshes,
    "tetrahedra": tetrahedra,
    "quality": quality,
    "fields": lambda: taken("fields", "fields.png"),
    "crack": lambda: taken("crack", "crack.png"),
    "extrude_translate": translate,
    "extrude_rotate": rotate,
    "extrude_spiral": spiral,
    "extrude_normal": normal,
    "extrude_line": line,
    "convert_into_quadratic": lambda: raised("convert_into_quadratic"),
    "convert_into_high_order": lambda: raised("convert_into_high_order"),
    "convert_into_linear": lowered,
    "split_into_H8": hexahedra,
    "split_solid_Q4": diagonals,
    "flip": flipped,
    "get_element_containing_point": lambda: located("get_element_containing_point", [[0.75, 0.5, 0.25]]),
    "get_elements_containing_points": lambda: located(
        "get_elements_containing_points", [[0.75, 0.5, 0.25], [0.25, 0.5, 0.75], [1.5, 1.5, 1.5]]
    ),
    "get_elements_containing_nodes": lambda: located(
        "get_elements_containing_nodes", [[0.75, 0.5, 0.25], [0.25, 0.5, 0.75]]
    ),
    "interpolate": field,
    "interpolate_metrics": sizes,
    "volume": lambda: block("volume"),
    "solid_angles": lambda: angles("solid_angles", 1 / (4 * np.pi), ""),
    "dihedral_angles": lambda: angles("dihedral_angles", 180 / np.pi, "°"),
    "circumcenters": spheres,
    "duplicate_surface_nodes": opened,
    "get_neighbors": neighbours,
    "get_ancestors": ancestors,
    "node_detector": nearest,
    "normals": at_corner,
}

if __name__ == "__main__":
    TARGET.mkdir(exist_ok=True)
    for name in sys.argv[1:] or PICTURES:
        PICTURES[name]()
