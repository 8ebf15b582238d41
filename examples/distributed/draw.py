#!/usr/bin/python3
"""Draws the parts that the ranks of bar.cpp have written: who has what, and the field that was carried.

    examples/distributed/draw.py FOLDER     reads source_*.txt and target_*.txt there, writes distributed.png
"""

import pathlib
import sys

import matplotlib
import numpy as np
from matplotlib.colors import LightSource, Normalize, to_rgb
from matplotlib.figure import Figure
from mpl_toolkits.mplot3d.art3d import Poly3DCollection

INK = "#333333"
RANKS = ["#4477aa", "#ee6677", "#228833", "#ccbb44", "#66ccee", "#aa3377"]  # one after the other, then again
APART = 0.25  # how far parts are moved from the middle of all


def read(file):
    """Points, values at them and tetrahedra of one rank."""
    with open(file) as lines:
        nodes, elements = map(int, lines.readline().split())
        table = np.loadtxt(lines, max_rows=nodes, ndmin=2).reshape(nodes, 4)
        cells = np.loadtxt(lines, max_rows=elements, dtype=int, ndmin=2).reshape(elements, 4)
    return table[:, :3], table[:, 3], cells


def surface(cells):
    """The faces of one tetrahedron only, turned outwards as their cells are direct."""
    faces = np.concatenate([cells[:, face] for face in ([1, 2, 3], [2, 0, 3], [0, 1, 3], [2, 1, 0])])
    _, first, times = np.unique(np.sort(faces, axis=1), axis=0, return_index=True, return_counts=True)
    return faces[first[times == 1]]


def shaded(colours, triangles):
    """Colours by the angle to the light; faces are seen from both sides."""
    normals = np.cross(triangles[:, 1] - triangles[:, 0], triangles[:, 2] - triangles[:, 0])
    normals /= np.linalg.norm(normals, axis=1)[:, None]
    light = LightSource(azdeg=60, altdeg=55).direction
    return colours * (0.65 + 0.35 * np.abs(normals @ light))[:, None]


def draw(axes, parts, colours_of, title):
    middle = np.concatenate([points for points, _, _ in parts]).mean(axis=0)
    low, high = np.full(3, np.inf), np.full(3, -np.inf)
    for rank, (points, values, cells) in enumerate(parts):
        if len(cells) == 0:
            continue
        faces = surface(cells)
        triangles = points[faces] + APART * (points.mean(axis=0) - middle)
        low, high = np.minimum(low, triangles.min(axis=(0, 1))), np.maximum(high, triangles.max(axis=(0, 1)))
        colours = shaded(colours_of(rank, values[faces].mean(axis=1)), triangles)
        axes.add_collection3d(Poly3DCollection(triangles, facecolors=colours, edgecolors="#00000030", linewidths=0.2))
    axes.set(xlim=(low[0], high[0]), ylim=(low[1], high[1]), zlim=(low[2], high[2]))
    axes.set_box_aspect(high - low, zoom=1.35)
    axes.view_init(40, -75)
    axes.set_axis_off()
    axes.set_title(title, fontsize=13, color=INK, y=0.98)


def main():
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "out")
    source = [read(file) for file in sorted(folder.glob("source_*.txt"))]
    target = [read(file) for file in sorted(folder.glob("target_*.txt"))]
    every = np.concatenate([values for _, values, _ in target])
    scale = Normalize(every.min(), every.max())

    def field(_, values):
        return matplotlib.colormaps["viridis"](scale(values))[:, :3]

    def by_rank(rank, values):
        return np.tile(to_rgb(RANKS[rank % len(RANKS)]), (len(values), 1))

    sheet = Figure(figsize=(15, 3.9))
    for k, (parts, colours, title) in enumerate([
        (source, by_rank, "coarse, in strips: by rank"),
        (target, by_rank, "fine and quadratic, cut by Scotch: by rank"),
        (target, field, "the field carried over"),
    ]):
        draw(sheet.add_axes((k / 3, -0.13, 1 / 3, 1.13), projection="3d"), parts, colours, title)
    sheet.savefig(folder / "distributed.png", dpi=110, facecolor="white")
    print(f"wrote {folder / 'distributed.png'}")


if __name__ == "__main__":
    main()
