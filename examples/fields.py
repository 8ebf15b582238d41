#!/usr/bin/python3
"""Carry a field from a coarse mesh of tetrahedra to a fine one, and look at the difference.

    examples/fields.py [FOLDER]     writes coarse.vtu, fine.vtu and fields.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import itertools
import pathlib
import sys
import tempfile
import time
from typing import List, NamedTuple, Tuple

import numpy as np
from matplotlib.figure import Figure
from matplotlib.image import imread
from rich import box
from rich.console import Console
from rich.table import Table

import meldra3d
from meldra3d import ElementType, Located, Locator, Mesh
from meldra3d.measures import signed_volumes

COARSE, FINE = 12, 40  # boxes along each axis
VIEW = (-50, 24)
INK = "#333333"

# The field is a sum of plane waves, c sin(a x + p): the wave vectors a, the amplitudes c and the phases p.
WAVES = np.array([[5.0, 1.2, 0.5], [-1.4, 4.3, 2.2], [1.0, -2.4, 5.3], [3.6, 3.6, -3.0]])
AMPLITUDES = np.array([1.0, 0.9, 0.8, 0.5])
PHASES = np.array([0.3, 1.1, 2.0, 0.0])


def field_at(points: np.ndarray) -> np.ndarray:
    return np.sin(points @ WAVES.T + PHASES) @ AMPLITUDES


# No slope of the field is steeper than SLOPE, and no second derivative along a line is larger than CURVATURE.
SLOPE = float(AMPLITUDES @ np.linalg.norm(WAVES, axis=1))
CURVATURE = float(AMPLITUDES @ (WAVES**2).sum(axis=1))


class Outcome(NamedTuple):
    """A field carried from a coarse mesh to the nodes of a fine one."""

    coarse: Mesh
    fine: Mesh  #: with the values carried and their difference from the field
    located: Located  #: the nodes of the fine mesh in the coarse one
    errors: np.ndarray  #: absolute, at each node
    bounds: np.ndarray  #: none of them may be larger than its bound
    seconds: float


def block(n: int) -> Tuple[np.ndarray, np.ndarray]:
    """The cube from -1 to 1 without one octant: `n` (even) boxes along each axis, six tetrahedra in each."""
    index = np.stack(np.meshgrid(*3 * [np.arange(n + 1)], indexing="ij"), axis=-1).reshape(-1, 3)
    points = 2 * index / n - 1
    origins = index[(index < n).all(axis=1)]
    middle = 2 * (origins + 0.5) / n - 1
    origins = origins[~((middle[:, 0] > 0) & (middle[:, 1] < 0) & (middle[:, 2] > 0))]
    cells = []
    for axes in itertools.permutations(range(3)):  # the ways along edges of a box from one corner to the opposite one
        way = np.cumsum([[0, 0, 0], *np.eye(3, dtype=int)[list(axes)]], axis=0)
        cells.append([np.ravel_multi_index((origins + corner).T, 3 * (n + 1,)) for corner in way])
    tetrahedra = np.concatenate([np.transpose(c) for c in cells]).astype(np.uint32)
    inverted = signed_volumes(points, ElementType.TH4, tetrahedra) < 0
    tetrahedra[inverted] = meldra3d.flip_TH4(tetrahedra[inverted])
    return points, tetrahedra


def ball(n: int) -> Tuple[np.ndarray, np.ndarray]:
    """A ball of radius 1 without one octant: the block with each cube around the centre pressed into a sphere."""
    points, cells = block(n)
    largest, length = np.abs(points).max(axis=1), np.linalg.norm(points, axis=1)
    points = points * np.divide(largest, length, out=np.ones_like(length), where=length > 0)[:, None]
    used = np.unique(cells)
    number = np.zeros(len(points), dtype=np.uint32)
    number[used] = np.arange(len(used))
    return points[used], number[cells]


def make() -> Outcome:
    points, cells = ball(COARSE)
    values = field_at(points)
    fine_points, fine_cells = ball(FINE)

    start = time.perf_counter()
    locator = Locator(points, cells)
    carried = locator.interpolate(values, fine_points)
    seconds = time.perf_counter() - start

    # Taylor's formula at a point x of an element with vertices v and weights w there: the linear terms cancel, and the
    # error is at most half the curvature times the sum of w |v - x|^2. Outside, the slope times the way to the vertex.
    located = locator.locate(fine_points)
    bounds = SLOPE * np.linalg.norm(fine_points - points[locator.nearest(fine_points)], axis=1)
    inside = np.flatnonzero(located.found)
    away = points[cells[located.elements[inside]]] - fine_points[inside, None]
    # A point on a face may lie outside by the tolerance of the search: there the absolute value counts.
    weighted = (np.abs(located.weights[inside]) * (away**2).sum(axis=2)).sum(axis=1)
    bounds[inside] = 0.5 * CURVATURE * weighted
    errors = np.abs(carried - field_at(fine_points))

    coarse = Mesh(points, [(ElementType.TH4, cells)], {"field": values})
    fine = Mesh(fine_points, [(ElementType.TH4, fine_cells)], {"field": carried, "difference": errors})
    return Outcome(coarse, fine, located, errors, bounds, seconds)


def faults(outcome: Outcome) -> List[str]:
    """What is wrong with the values carried, or nothing."""
    wrong = []
    for name, mesh in (("coarse", outcome.coarse), ("fine", outcome.fine)):
        inverted = sum(int((~(signed_volumes(mesh.points, *part) > 0)).sum()) for part in mesh.blocks)
        if inverted:
            wrong.append(f"{name}: {inverted} elements have no positive volume")
    beyond = int((~(outcome.errors <= outcome.bounds + 1e-12)).sum())
    if beyond:
        wrong.append(f"the difference is larger than its bound at {beyond} nodes")
    return wrong


def table(outcome: Outcome) -> Table:
    found = outcome.located.found
    rows = [
        ("coarse mesh", f"{len(outcome.coarse.points):,} nodes, {len(outcome.coarse.blocks[0][1]):,} tetrahedra"),
        ("fine mesh", f"{len(outcome.fine.points):,} nodes, {len(outcome.fine.blocks[0][1]):,} tetrahedra"),
        ("found", f"{int(found.sum()):,} of its nodes in the coarse mesh"),
        ("outside", f"{int((~found).sum()):,}, which take the value of the nearest node"),
        ("difference inside", f"{outcome.errors[found].max():.3g} at most"),
        ("of its bound", f"{(outcome.errors / np.maximum(outcome.bounds, 1e-12))[found].max():.0%} at most"),
        ("difference outside", f"{outcome.errors[~found].max():.3g} at most"),
        ("time", f"{1e3 * outcome.seconds:.1f} ms"),
    ]
    shown = Table("", "", box=box.SIMPLE_HEAD, show_header=False, pad_edge=False, padding=(0, 2, 0, 0))
    for row in rows:
        shown.add_row(*row)
    return shown


def draw_sheet(outcome: Outcome, target: pathlib.Path) -> None:
    """The field on both meshes and the difference, side by side."""
    panels = [
        (outcome.coarse, "field", "coarse", f"{len(outcome.coarse.blocks[0][1]):,} tetrahedra"),
        (outcome.fine, "field", "carried to fine", f"{len(outcome.fine.blocks[0][1]):,} tetrahedra"),
        (outcome.fine, "difference", "difference", "from the field itself; largest outside the coarse mesh"),
    ]
    width, caption = 15.0, 0.9
    with tempfile.TemporaryDirectory() as folder:
        pictures = []
        for k, (mesh, values, _, _) in enumerate(panels):
            file = pathlib.Path(folder) / f"{k}.png"
            meldra3d.draw(mesh, file, by=values, view=VIEW, edges=mesh is outcome.coarse)
            pictures.append(imread(file))
    shapes = [picture.shape[1] / picture.shape[0] for picture in pictures]
    height = width / sum(shapes)
    sheet = Figure(figsize=(width, height + caption))
    left = 0.0
    for picture, shape, (_, _, title, note) in zip(pictures, shapes, panels):
        share = shape / sum(shapes)
        axes = sheet.add_axes((left, caption / (height + caption), share, height / (height + caption)))
        axes.imshow(picture, aspect="auto", interpolation="antialiased")
        axes.set_axis_off()
        middle = left + 0.4 * share  # beside the colour bar
        sheet.text(
            middle, 0.7 * caption / (height + caption), title, fontsize=15, weight="bold", ha="center", color=INK
        )
        sheet.text(middle, 0.3 * caption / (height + caption), note, fontsize=13, ha="center", color=INK)
        left += share
    sheet.savefig(target, dpi=200, facecolor="white")


if __name__ == "__main__":
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "out")
    folder.mkdir(parents=True, exist_ok=True)
    outcome = make()
    console = Console(highlight=False)
    console.print("A field carried from a coarse mesh to a fine one", style="bold")
    console.print(table(outcome))
    meldra3d.write(folder / "coarse.vtu", outcome.coarse)
    meldra3d.write(folder / "fine.vtu", outcome.fine)
    draw_sheet(outcome, folder / "fields.png")
    wrong = faults(outcome)
    if wrong:
        sys.exit("\n".join(wrong))
