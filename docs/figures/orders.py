#!/usr/bin/python3
"""Writes the table of node orders of other tools in docs/numbering.md, from python/meldra3d/conventions.py.

    docs/figures/orders.py            writes the table
    docs/figures/orders.py --check    fails when it is not up to date

Run it with the package on the path.
"""

import pathlib
import sys

from numbering import joined, table, with_tables

from meldra3d.conventions import GMSH, MESHIO, VTK
from meldra3d.elements import SHAPES
from meldra3d.files import READ_ORDERS

PAGE = pathlib.Path(__file__).resolve().parents[1] / "numbering.md"


def listed(order, kind):
    if kind not in order:
        return "–"
    return "the same" if order[kind] == tuple(range(len(order[kind]))) else joined(order[kind])


def main():
    orders = (VTK, GMSH, READ_ORDERS["abaqus"])
    kinds = [kind for kind, shape in SHAPES.items() if shape.dimension > 1]
    rows = [[kind.name, *(listed(order, kind) for order in orders)] for kind in kinds]
    text = PAGE.read_text()
    written = with_tables(text, {"orders": table(["kind", "VTK", "Gmsh", "Abaqus"], rows)})
    if sys.argv[1:] != ["--check"]:
        PAGE.write_text(written)
    elif text != written:
        sys.exit("docs/numbering.md is not up to date (run docs/figures/orders.py)")


if __name__ == "__main__":
    main()
