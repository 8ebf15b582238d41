"""The command ``meldra3d open``: a mesh of solids opened along faces between them."""

import csv
from typing import Optional, Tuple

import click
import numpy as np

from .command_extrude import check_vector, vector_option
from .elements import SHAPES
from .files import check_target, fitted, read, replaced_when_complete, write
from .mesh import Mesh
from .opening import check_linear, faces_at, faces_in_plane, inner_border, open_mesh
from .report import inverted, show, solid_volume, working

Vector = Tuple[float, float, float]


@click.command("open", short_help="Open solids along a surface or a plane.")
@click.argument("mesh")
@click.argument("output")
@click.option("--surface", metavar="FILE", help="Open along the triangles and quadrangles of this file.")
@vector_option("--plane", "Open along the faces in the plane across this vector, of any length.")
@vector_option("--point", "With --plane: a point of it.  [default: the origin]")
@click.option("--both", is_flag=True, help="Copy each node for both sides, in place of the plus side alone.")
@click.option("--keep-border", is_flag=True, help="Keep the border of the surface inside the mesh closed.")
@click.option("--pairs", "table", metavar="TABLE", help="Write each copied node and its copy to a .csv file.")
def open_command(
    mesh: str,
    output: str,
    surface: Optional[str],
    plane: Optional[Vector],
    point: Optional[Vector],
    both: bool,
    keep_border: bool,
    table: Optional[str],
) -> None:
    """Open the linear solids of MESH along faces between them, and write them to OUTPUT.

    Each node of the surface gets a copy at the same place, which the solids on its plus side take: the side that the
    normal of the plane points to, or from which the faces of FILE turn counter-clockwise. (If the solids are inverted,
    it is the other.) Faces and edges in MESH go with the solids that they bound; those in the surface stay. With --both
    the nodes themselves are left to no solid, but keep their numbers.

    The faces of FILE must be faces between two solids of MESH. They are compared by the places of their nodes, so FILE
    may number them in any way; places within 1e-8 of the size of MESH are the same. A face lies in a plane that all its
    nodes are as near to.

    Where the surface ends inside MESH, its two sides meet. Without --keep-border the nodes there are copied, too, and
    solids of either side may take the copies.

    TABLE has a row for each copy: node, copy, and plus or minus for the side.

    \b
    Examples:
      meldra3d open block.vtu cracked.vtu --surface crack.vtu --keep-border --pairs pairs.csv
      meldra3d open block.vtu halves.vtu --plane 0 0 1 --point 0 0 5 --both
    """
    if (surface is None) == (plane is None):
        raise click.UsageError("give either --surface or --plane")
    if point is not None and plane is None:
        raise click.UsageError("--point goes with --plane")
    if plane is not None:
        check_vector("--plane", plane, 0)
        point = point or (0.0, 0.0, 0.0)
        check_vector("--point", point)
    check_target(output)
    if table is not None:
        check_target(table, (".csv",))
    with working(f"reading {mesh}"):
        solids = read(mesh).split()
    try:
        check_linear(solids)
    except ValueError as error:
        raise click.ClickException(f"{mesh}: {error}") from None
    with working("looking for faces"):
        if plane is not None and point is not None:
            faces = _faces_in_plane(mesh, solids, plane, point)
        else:
            faces = _faces_in_file(mesh, solids, str(surface))
    with working("opening"):
        opened, pairs = open_mesh(solids, faces, both=both, keep_border=keep_border)
    opened = fitted(output, opened)
    with working(f"writing {output}"):
        write(output, opened)
    if table is not None:
        with working(f"writing {table}"):
            _write_pairs(table, pairs, both)
    rows = [("nodes", f"{len(opened.points):,}", f"{len(pairs):,} of them copies")]
    rows += [(SHAPES[kind].name, f"{count:,}", "") for kind, count in opened.counts().items()]
    rows.append(("opened faces", f"{len(faces):,}", ""))
    if keep_border:
        rows.append(("kept nodes", f"{len(inner_border(solids, faces)):,}", "on the border of the opening"))
    rows.append(("volume", f"{solid_volume(opened):.9g}", "of the solids"))
    show(output, rows, inverted(opened))


def _faces_in_file(mesh: str, solids: Mesh, surface: str) -> np.ndarray:
    given = read(surface)
    faces, _ = given.surface()
    if len(faces) == 0:
        raise click.ClickException(f"{surface}: has no linear triangles or quadrangles to open along")
    found, missing = faces_at(solids, given.points, faces)
    if missing:
        raise click.ClickException(
            f"{surface}: {missing:,} of {len(faces):,} faces lie between no two solids of {mesh}"
        )
    return found


def _faces_in_plane(mesh: str, solids: Mesh, plane: Vector, point: Vector) -> np.ndarray:
    faces = faces_in_plane(solids, plane, point)
    if len(faces) == 0:
        raise click.ClickException(f"{mesh}: no face between two solids lies in this plane")
    return faces


def _write_pairs(path: str, pairs: np.ndarray, both: bool) -> None:
    plus = len(pairs) // 2 if both else len(pairs)
    with replaced_when_complete(path) as temporary, open(temporary, "w", newline="", encoding="utf-8") as file:
        rows = csv.writer(file, lineterminator="\n")
        rows.writerow(["node", "copy", "side"])
        rows.writerows([*pair, "plus" if k < plus else "minus"] for k, pair in enumerate(pairs.tolist()))
