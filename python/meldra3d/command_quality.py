"""The commands ``meldra3d check`` and ``meldra3d measure``: what is wrong with a mesh, and how good its solids are."""

import csv
from typing import List, Optional, Tuple

import click
import numpy as np

from .draw import PICTURES
from .elements import SHAPES, ElementType
from .files import check_target, read, replaced_when_complete, write
from .histogram import draw_histograms
from .mesh import Mesh
from .quality import MEASURES, Finding, Measured, check_mesh, measure_mesh
from .report import inverted, show, show_columns, working

_SHOWN = 5  # numbers of elements or nodes in a row of a table
_WORST = 10
_FOUND = 1  # exit status


@click.command(short_help="Look for faults of a mesh.")
@click.argument("file")
def check(file: str) -> int:
    """Look for faults of the mesh in FILE, and end with exit status 1 when there are any.

    Elements are inverted when their volume is negative, or turn inside out at a corner; flat when their volume is less
    than 1e-12 of a cube that is as wide as they are, or their area of such a square. The boundary is made of the faces
    that one solid has; at each of its edges an even number of them must meet.

    Elements are numbered from 0 through the whole file, nodes likewise. They are looked at in the order and orientation
    of this library, which reading brings those of the format into: an element that is inverted in the file is inverted
    here. Of quadratic elements the vertices are measured, as if their edges were straight.

    \b
    Exit status:
      0  nothing is wrong     1  there are faults     2  the file could not be read

    \b
    Example:
      meldra3d check part.vtu
    """
    with working(f"reading {file}"):
        mesh = read(file)
    with working("checking"):
        findings = check_mesh(mesh)
    rows = [(finding.what, f"{finding.total:,}", _places(finding)) for finding in findings]
    faults = sum(finding.total > 0 for finding in findings)
    show(file, rows, f"{faults} of {len(findings)} checks found faults" if faults else "")
    return _FOUND if faults else 0


def _places(finding: Finding) -> str:
    if finding.total == 0:
        return ""
    more = ", ..." if len(finding.places) > _SHOWN else ""
    name = finding.of if len(finding.places) > 1 else finding.of.rstrip("s")
    return f"{name} " + ", ".join(str(place) for place in finding.places[:_SHOWN]) + more


@click.command(short_help="Measure volume and angles of solids.")
@click.argument("file")
@click.option(
    "--histogram", metavar="PICTURE", help="Draw how many solids have which value (.png, .jpg, .pdf or .svg)."
)
@click.option("--csv", "table", metavar="TABLE", help="Write a row for each solid to a .csv file.")
@click.option("-o", "--output", metavar="OUTPUT", help="Write the mesh with the measures as values on its elements.")
def measure(file: str, histogram: Optional[str], table: Optional[str], output: Optional[str]) -> None:
    """Measure the solids in FILE: volume, and the smallest and largest angles of each.

    Solid angles, at corners, are given as parts of the regular element's, so that 1 is best; one below 0 belongs to a
    corner turned inside out. Dihedral angles, between faces, are in degrees. The worst solids are those of the smallest
    solid angle and, where these are equal, of the smallest dihedral angle.

    Solids are numbered from 0 among all elements of the file. Quadratic ones are measured by their vertices, as if
    their edges were straight. In OUTPUT elements that are no solids have no value (NaN).

    \b
    Examples:
      meldra3d measure part.vtu
      meldra3d measure part.vtu --histogram angles.png --csv angles.csv -o measured.vtu
    """
    for target, extensions in ((histogram, PICTURES), (table, (".csv",)), (output, ())):
        if target is not None:
            check_target(target, extensions)
    with working(f"reading {file}"):
        mesh = read(file).split()
    with working("measuring"):
        measured = measure_mesh(mesh)
    if not measured:
        raise click.ClickException(f"{file}: has no solids to measure")
    if output is not None:
        with working(f"writing {output}"):
            write(output, _with_measures(mesh, measured))
    if table is not None:
        with working(f"writing {table}"):
            _write_table(table, measured)
    if histogram is not None:
        with working(f"drawing {histogram}"):
            draw_histograms(measured, histogram)
    _show_measures(file, mesh, measured)


def _show_measures(file: str, mesh: Mesh, measured: List[Measured]) -> None:
    rows = []
    for kind, _, values in measured:
        for column, name in enumerate(MEASURES):
            of = values[:, column]
            numbers = [f"{number:.5g}" for number in (of.min(), of.mean(), of.max())]
            rows.append([SHAPES[kind].name if column == 0 else "", name, *numbers])
    units = "solid angles: 1 is that of the regular element; dihedral angles: degrees"
    show_columns(file, ["", "", "minimum", "mean", "maximum"], rows, 2, units)
    worst = [
        [str(number), SHAPES[kind].name, *(f"{value:.4g}" for value in values)]
        for kind, number, values in _worst(measured)
    ]
    by_vertices = any(SHAPES[kind].edges for kind, _, _ in measured)
    headings = [name.replace(" ", "\n") for name in MEASURES]
    note = "quadratic solids are measured by their vertices" if by_vertices else ""
    show_columns("the worst", ["element", "", *headings], worst, 2, note, inverted(mesh))


def _worst(measured: List[Measured]) -> List[Tuple[ElementType, int, np.ndarray]]:
    """Kind, number and measures of the worst solids, the worst first."""
    numbers = np.concatenate([each.elements for each in measured])
    kinds = np.repeat([each.kind for each in measured], [len(each.elements) for each in measured])
    values = np.concatenate([each.values for each in measured])
    names = list(MEASURES)
    by_solid, by_dihedral = (values[:, names.index(name)] for name in ("least solid angle", "least dihedral angle"))
    order = np.lexsort((numbers, by_dihedral.round(9), by_solid.round(9)))[:_WORST]
    return [(ElementType(kinds[k]), int(numbers[k]), values[k]) for k in order]


def _column_names() -> List[str]:
    return [name.replace(" ", "_") for name in MEASURES]


def _with_measures(mesh: Mesh, measured: List[Measured]) -> Mesh:
    """The mesh with the measures as values on its elements."""
    total = np.full((sum(len(cells) for _, cells in mesh.blocks), len(MEASURES)), np.nan)
    for _, numbers, values in measured:
        total[numbers] = values
    parts = np.split(total, np.cumsum([len(cells) for _, cells in mesh.blocks])[:-1])
    added = {name: [part[:, column] for part in parts] for column, name in enumerate(_column_names())}
    return Mesh(mesh.points, mesh.blocks, mesh.point_data, {**mesh.cell_data, **added})


def _write_table(path: str, measured: List[Measured]) -> None:
    with replaced_when_complete(path) as temporary, open(temporary, "w", newline="", encoding="utf-8") as file:
        rows = csv.writer(file, lineterminator="\n")
        rows.writerow(["element", "kind", *_column_names()])
        for kind, numbers, values in measured:
            rows.writerows([number, kind.name, *row] for number, row in zip(numbers.tolist(), values.tolist()))
