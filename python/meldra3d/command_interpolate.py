"""The commands ``meldra3d interpolate`` and ``meldra3d locate``: points in the tetrahedra of a file."""

import contextlib
import csv
import math
import sys
from typing import Callable, Dict, Iterator, List, NamedTuple, Optional, TextIO, Tuple

import click
import numpy as np

from .elements import NO_NODE, SHAPES, ElementType
from .files import check_target, fitted, read, replaced_when_complete, write
from .locate import OUTSIDE, Located, Locator
from .mesh import Mesh
from .report import inverted, say, show, working
from .rows import read_rows

_SLICE = 50_000  # points between two steps of the progress bar
_TETRAHEDRA = (ElementType.TH4, ElementType.TH10)
_GMSH_TAGS = "gmsh:dim_tags"  # values on nodes that are a bookkeeping of meshio's


# ---- interpolate ----


@click.command("interpolate", short_help="Carry the values on nodes from one mesh to another.")
@click.argument("source")
@click.argument("target")
@click.argument("output")
@click.option(
    "--outside",
    type=click.Choice(OUTSIDE),
    default="nearest",
    show_default=True,
    help="What nodes of TARGET outside the tetrahedra of SOURCE get: the values at the nearest node, no number, or what"
    " they have in TARGET.",
)
def interpolate_command(source: str, target: str, output: str, outside: str) -> None:
    """Interpolate all real values on the nodes of SOURCE at the nodes of TARGET, and write TARGET with them to OUTPUT.

    SOURCE must have tetrahedra and no other solids. Inside a tetrahedron the values at its vertices are weighted, so
    that linear fields stay as they are; the mid-edge nodes of quadratic ones take no part. TARGET may be any mesh. It
    keeps its own values, except those whose names come from SOURCE.

    \b
    Examples:
      meldra3d interpolate coarse.vtu fine.msh fine.vtu
      meldra3d interpolate coarse.vtu fine.msh fine.vtu --outside nan
    """
    check_target(output)
    with working(f"reading {source}"):
        locator, mesh = _prepared(source)
    with working(f"reading {target}"):
        onto = read(target)
    fields = _fields(source, mesh)
    values = _initial(target, onto, fields, outside)
    outcome = _carry(locator, mesh, onto, fields, values, outside)
    carried = fitted(output, Mesh(onto.points, onto.blocks, {**onto.point_data, **values}, onto.cell_data))
    with working(f"writing {output}"):
        write(output, carried)
    remark = inverted(mesh)
    show(output, _rows(source, onto, values, outcome, outside), f"{source}: {remark}" if remark else "")


class _Outcome(NamedTuple):
    outside: int  # nodes that no tetrahedron holds
    farthest: float  # the largest distance of one of them from the nearest node
    node: int  # which that is


def _prepared(file: str) -> Tuple[Locator, Mesh]:
    """The tetrahedra of a file, ready to be searched, and the whole mesh."""
    mesh = read(file).split()
    solids = [(kind, cells) for kind, cells in mesh.blocks if SHAPES[kind].dimension == 3]
    for kind, _ in solids:
        if kind not in _TETRAHEDRA:
            raise click.ClickException(f"{file}: has {SHAPES[kind].name}; points are looked for in tetrahedra alone")
    if not solids:
        raise click.ClickException(f"{file}: has no tetrahedra")
    try:
        return Locator(mesh.points, np.concatenate([cells[:, :4] for _, cells in solids])), mesh
    except ValueError:  # the file has been checked: it is their orientation
        raise click.ClickException(f"{file}: most tetrahedra are inverted; meldra3d flip turns them round") from None


def _fields(file: str, mesh: Mesh) -> Dict[str, np.ndarray]:
    """The values to carry; others are named in a warning."""
    named = {name: values for name, values in mesh.point_data.items() if name != _GMSH_TAGS}
    fields = {name: values for name, values in named.items() if values.dtype.kind == "f"}
    if not fields:
        raise click.ClickException(f"{file}: has no real values on nodes")
    if len(fields) < len(named):
        others = ", ".join(name for name in named if name not in fields)
        say(f"warning: {file}: no real numbers, hence not carried: {others}")
    return fields


def _initial(file: str, mesh: Mesh, fields: Dict[str, np.ndarray], outside: str) -> Dict[str, np.ndarray]:
    """The values of nodes before they are interpolated: those that the target has, or none."""
    if outside != "keep":
        return {name: np.full((len(mesh.points), *f.shape[1:]), np.nan) for name, f in fields.items()}
    for name, field in fields.items():
        own = mesh.point_data.get(name)
        if own is None or own.dtype.kind not in "iuf" or own.shape[1:] != field.shape[1:]:
            raise click.ClickException(f"{file}: has no such values {name!r} on nodes to keep")
    return {name: mesh.point_data[name].astype(np.float64) for name in fields}


def _carry(
    locator: Locator,
    mesh: Mesh,
    onto: Mesh,
    fields: Dict[str, np.ndarray],
    values: Dict[str, np.ndarray],
    outside: str,
) -> _Outcome:
    """Interpolate all fields at the nodes of a mesh into `values`."""
    total, farthest, node = 0, 0.0, 0
    count = len(onto.points)
    with _progress("interpolating", count) as advance:
        for first in range(0, count, _SLICE):
            queries = onto.points[first : first + _SLICE]
            located = locator.locate(queries)
            found = first + np.flatnonzero(located.found)
            missed = first + np.flatnonzero(~located.found)
            closest = locator.nearest(onto.points[missed])
            for name, field in fields.items():
                values[name][found] = locator.values_at(located, field)[located.found]
                if outside == "nearest":
                    values[name][missed] = field[closest]
            if len(missed):
                away = np.linalg.norm(onto.points[missed] - mesh.points[closest], axis=1)
                if total == 0 or away.max() > farthest:
                    farthest, node = float(away.max()), int(missed[away.argmax()])
                total += len(missed)
            advance(len(queries))
    return _Outcome(total, farthest, node)


def _rows(
    source: str, onto: Mesh, values: Dict[str, np.ndarray], outcome: _Outcome, outside: str
) -> List[Tuple[str, str, str]]:
    count = len(onto.points)
    gets = {"nearest": "with the values at the nearest node", "nan": "without a value", "keep": "as they were"}[outside]
    rows = [
        ("nodes", f"{count:,}", ""),
        ("found", f"{count - outcome.outside:,}", f"in tetrahedra of {source}"),
        ("outside", f"{outcome.outside:,}", gets if outcome.outside else ""),
    ]
    if outcome.outside:
        place = " ".join(f"{x:.6g}" for x in onto.points[outcome.node])
        rows.append(
            ("farthest outside", f"{outcome.farthest:.6g}", f"from a node of {source}: node {outcome.node} at {place}")
        )
    for name, field in values.items():
        finite = field[np.isfinite(field)]
        spread = f"from {finite.min():.6g} to {finite.max():.6g}" if finite.size else "no numbers"
        columns = math.prod(field.shape[1:])
        rows.append(("values", "1 number" if columns == 1 else f"{columns} numbers", f"{name}, {spread}"))
    return rows


# ---- locate ----


@click.command("locate", short_help="Find the tetrahedra that hold points.")
@click.argument("file")
@click.argument("points")
@click.option("--output", metavar="CSV", help="Write the table to this file instead of the standard output.")
@click.option(
    "--tolerance",
    type=float,
    default=1e-6,
    show_default=True,
    help="A tetrahedron holds a point when none of its weights there is below minus this.",
)
def locate_command(file: str, points: str, output: Optional[str], tolerance: float) -> None:
    """Find the tetrahedra of FILE that hold the points in the text file POINTS, and print a table of them as CSV.

    POINTS has three numbers a row, apart by spaces or commas; # begins a comment, and the first row may be a heading.

    The columns are: x, y, z; the element, counted from 0 through all elements of FILE in their order; its vertices, and
    the weights of these at the point, whose sum is 1. For a point outside only x, y, z are filled. Quadratic tetrahedra
    count by their vertices.

    \b
    Examples:
      meldra3d locate part.msh probes.txt
      meldra3d locate part.vtu probes.csv --output found.csv
    """
    if not tolerance >= 0:
        raise click.UsageError("--tolerance: must not be negative")
    if output is not None:
        check_target(output, (".csv",))
    queries = read_rows(points, (3,), heading=True)
    with working(f"reading {file}"):
        locator, mesh = _prepared(file)
    parts = []
    with _progress("searching", len(queries)) as advance:
        for first in range(0, len(queries), _SLICE):
            parts.append(locator.locate(queries[first : first + _SLICE], tolerance=tolerance))
            advance(len(parts[-1].found))
    located = Located(*(np.concatenate(columns) for columns in zip(*parts))) if parts else locator.locate([])
    if output is None:
        _write_table(sys.stdout, mesh, queries, located)
        return
    with replaced_when_complete(output) as path, open(path, "w", encoding="utf-8", newline="") as table:
        _write_table(table, mesh, queries, located)
    rows = [("points", f"{len(queries):,}", ""), ("found", f"{int(located.found.sum()):,}", f"in tetrahedra of {file}")]
    rows.append(("outside", f"{int((~located.found).sum()):,}", ""))
    remark = inverted(mesh)
    show(output, rows, f"{file}: {remark}" if remark else "")


def _write_table(file: TextIO, mesh: Mesh, queries: np.ndarray, located: Located) -> None:
    numbers, vertices = _numbered(mesh)
    table = csv.writer(file, lineterminator="\n")
    table.writerow(["x", "y", "z", "element", "n0", "n1", "n2", "n3", "w0", "w1", "w2", "w3"])
    for query, element, weights in zip(queries.tolist(), located.elements.tolist(), located.weights.tolist()):
        if element == NO_NODE:
            table.writerow(query + [""] * 9)
        else:
            table.writerow([*query, numbers[element], *vertices[element].tolist(), *weights])


def _numbered(mesh: Mesh) -> Tuple[np.ndarray, np.ndarray]:
    """The number of each tetrahedron among all elements, and its vertices."""
    first, numbers, vertices = 0, [], []
    for kind, cells in mesh.blocks:
        if kind in _TETRAHEDRA:
            numbers.append(np.arange(first, first + len(cells)))
            vertices.append(cells[:, :4])
        first += len(cells)
    return np.concatenate(numbers), np.concatenate(vertices)


@contextlib.contextmanager
def _progress(what: str, total: int) -> Iterator[Callable[[int], None]]:
    """Show a bar while something lasts, if somebody is looking; gives what to call with the number of points done."""
    if not sys.stderr.isatty():
        yield lambda done: None
        return
    from rich.console import Console
    from rich.progress import BarColumn, MofNCompleteColumn, Progress, TextColumn, TimeRemainingColumn

    columns = (TextColumn(what), BarColumn(), MofNCompleteColumn(), TimeRemainingColumn())
    with Progress(*columns, console=Console(stderr=True), transient=True) as bar:
        task = bar.add_task(what, total=total)
        yield lambda done: bar.advance(task, done)
