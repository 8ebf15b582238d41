#!/usr/bin/python3
"""Sweep the face of a pipe flange into graded layers of solids, check the volume, and write and draw the result.

    examples/flange.py [FOLDER]     writes flange.vtu and flange.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import math
import pathlib
import sys
import time

import numpy as np
from rich.console import Console
from rich.table import Table

import meldra3d
from meldra3d import NO_NODE, ElementType

SURFACE = pathlib.Path(__file__).parent / "data/flange.msh"
LENGTH = 40.0  # mm, along z
SIZES = (1.5, 6.0)  # mm: thickness of the first layer, at the face, and of the last one
TOLERANCE = 1e-12  # of volume against area times length, relative


def area(points, faces):
    """Area of plane faces, by the cross product of two edges (triangles) or of the diagonals (quadrangles)."""
    a, b, c = (points[faces[:, k]] for k in range(3))
    is_triangle = faces[:, 3] == NO_NODE
    d = points[np.where(is_triangle, faces[:, 0], faces[:, 3])]
    return math.fsum(0.5 * np.linalg.norm(np.cross(c - a, d - b), axis=1))


def main(folder):
    # 1. Read the surface: triangles and quadrangles as the rows of one array.
    surface = meldra3d.read(SURFACE)
    faces, _ = surface.surface()

    # 2. Sweep it. Triangles become wedges, quadrangles hexahedra.
    start = time.perf_counter()
    points, solids, _, _ = meldra3d.extrude_translate(surface.points, faces, (0, 0, LENGTH), sizes=SIZES)
    layers = len(solids) // len(faces)

    # 3. Measure it. A prism has the volume area times length.
    volume = meldra3d.volume(points, solids)
    seconds = time.perf_counter() - start
    expected = area(surface.points, faces) * LENGTH
    deviation = abs(volume / expected - 1)

    # 4. Write it for a viewer and draw it. The solids of one face follow each other, layer by layer.
    layer = np.tile(np.arange(1, layers + 1), len(faces))
    part = meldra3d.Mesh(points, [(ElementType.SOLID_MIX, solids)], cell_data={"layer": [layer]}).split()
    folder.mkdir(parents=True, exist_ok=True)
    meldra3d.write(folder / "flange.vtu", part)
    meldra3d.draw(part, folder / "flange.png")

    # 5. Tell.
    counts = part.counts()
    table = Table("", "flange", title="A flange swept into solids")
    table.columns[1].justify = "right"
    table.add_row("faces", f"{len(faces):,}")
    table.add_row("nodes", f"{len(points):,}")
    table.add_row("layers", f"{layers}")
    table.add_row("wedges", f"{counts[ElementType.W6]:,}")
    table.add_row("hexahedra", f"{counts[ElementType.H8]:,}")
    table.add_row("volume", f"{volume:,.6f} mm³")
    table.add_row("area × length", f"{expected:,.6f} mm³")
    table.add_row("deviation", f"{deviation:.1e}")
    table.add_row("sweep and volume", f"{seconds:.4f} s")
    Console().print(table)
    if not deviation <= TOLERANCE:
        sys.exit(f"flange.py: the volume is off by more than {TOLERANCE:g}")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "out"))
