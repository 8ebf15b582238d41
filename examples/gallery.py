#!/usr/bin/python3
"""Make a part with each kind of sweep, and open one: show all of them in one table and on one sheet.

    examples/gallery.py [FOLDER]     writes the files of the parts and gallery.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import pathlib
import tempfile

import crack
import elbow
import flange
import manifold
import spring
import wing
from matplotlib.figure import Figure
from matplotlib.image import imread
from parts import run

import meldra3d

# The rows of the sheet: a part, how it is made, and what its colours show.
SHEET = [
    [
        ("flange", "along a vector", "wedges and hexahedra"),
        ("wing", "along the normals", "layers, growing outwards"),
        ("crack", "opened, halved", "movement up and down"),
    ],
    [
        ("elbow", "about an axis", "volume of the elements"),
        ("spring", "along a spiral", "turns"),
        ("manifold", "along lines", "bore, becoming narrower"),
    ],
]
WIDTH, MARGIN, CAPTION = 14.0, 0.3, 0.75  # inches
INK = "#333333"


def draw_sheet(parts, target):
    """The pictures of parts side by side, as large as fits; those of a row are equally high."""
    with tempfile.TemporaryDirectory() as folder:
        pictures = {}
        for part in parts:
            file = pathlib.Path(folder) / f"{part.name}.png"
            meldra3d.draw(part.shown or part.mesh, file, by=part.colours, view=part.view, legend=False)
            pictures[part.name] = imread(file)
    widths = {name: picture.shape[1] / picture.shape[0] for name, picture in pictures.items()}
    heights = [(WIDTH - MARGIN * (len(row) + 1)) / sum(widths[name] for name, *_ in row) for row in SHEET]
    total = sum(heights) + len(SHEET) * (CAPTION + MARGIN)
    sheet = Figure(figsize=(WIDTH, total))
    top = total
    for row, height in zip(SHEET, heights):
        left, top = MARGIN, top - MARGIN - height
        for name, how, colours in row:
            width = height * widths[name]
            axes = sheet.add_axes((left / WIDTH, top / total, width / WIDTH, height / total))
            axes.imshow(pictures[name], aspect="auto", interpolation="antialiased")
            axes.set_axis_off()
            middle = (left + width / 2) / WIDTH
            caption = {"ha": "center", "va": "top", "color": INK}
            sheet.text(middle, (top - 0.1) / total, f"{name}: {how}", fontsize=15, weight="bold", **caption)
            sheet.text(middle, (top - 0.4) / total, f"colours: {colours}", fontsize=13, **caption)
            left += width + MARGIN
        top -= CAPTION
    sheet.savefig(target, dpi=200, facecolor="white")


if __name__ == "__main__":
    folder, parts = run(flange.make, elbow.make, spring.make, wing.make, manifold.make, crack.make)
    draw_sheet(parts, folder / "gallery.png")
