"""The commands ``meldra3d extrude ...``: sweeps of the faces of a file into solids."""

from typing import Any, Callable, Dict, Optional, Tuple

import click
import numpy as np

from .elements import NO_NODE, SHAPES, ElementType
from .extrude import Sweep, extrude_line, extrude_normal, extrude_rotate, extrude_spiral, extrude_translate
from .files import check_target, read, write
from .mesh import Mesh
from .report import inverted, show, solid_volume, working
from .rows import read_rows

Vector = Tuple[float, float, float]


@click.group(short_help="Sweep a surface mesh into solids.")
def extrude() -> None:
    """Sweep the faces of a surface mesh through space and fill the way with layers of solids.

    Triangles become wedges, quadrangles hexahedra. The nodes of FILE keep their numbers, and values on its faces are
    passed on to the solids that come from them. The solids have positive volume when the way leaves the faces on the
    side from which they turn counter-clockwise. An existing OUTPUT is replaced once the new one is complete.

    \b
    Examples:
      meldra3d extrude translate section.msh part.vtu --direction 0 0 20 --layers 10
      meldra3d extrude rotate section.msh elbow.vtu --axis 0 0 1 --angle 90 --layers 24
      meldra3d extrude normal wing.msh layers.vtu --thickness 0.08 --sizes 0.0005 0.014
    """


# ---- options that several sweeps have ----


def _layer_options(command: Any) -> Any:
    """Give a command the options that divide its way into layers."""
    for option in (  # the last decorator comes first
        click.option("--even", is_flag=True, help="With --sizes: make the number of layers even."),
        click.option(
            "--sizes",
            nargs=2,
            type=float,
            metavar="A B",
            help="Thickness of the first and of the last layer; those between are graded.",
        ),
        click.option("--layers", type=click.IntRange(min=1), metavar="N", help="Number of equal layers."),
    ):
        command = option(command)
    return command


def _axis_options(command: Any) -> Any:
    """Give a command the options of a turn."""
    for option in (
        click.option(
            "--angle", type=float, required=True, metavar="DEGREES", help="The whole turn, by the right-hand rule."
        ),
        vector_option("--point", "A point of the axis.", default=(0, 0, 0), show_default="the origin"),
        vector_option("--axis", "Direction of the axis; its length does not matter.", required=True),
    ):
        command = option(command)
    return command


def vector_option(name: str, text: str, **more: Any) -> Any:
    return click.option(name, nargs=3, type=float, metavar="X Y Z", help=text, **more)


def check_vector(name: str, vector: Vector, least: float = -1.0) -> None:
    if not np.isfinite(vector).all():
        raise click.UsageError(f"{name}: must be three finite numbers")
    if not np.linalg.norm(vector) > least:
        raise click.UsageError(f"{name}: must have a length greater than 0")


def _spacing(layers: Optional[int], sizes: Optional[Tuple[float, float]], even: bool) -> Dict[str, Any]:
    """The arguments of a sweep that the options ask for."""
    if (layers is None) == (sizes is None):
        raise click.UsageError("give either --layers or --sizes")
    if sizes is not None and not all(0 < size < np.inf for size in sizes):
        raise click.UsageError("--sizes: both must be greater than 0, and finite")
    if even and sizes is None:
        raise click.UsageError("--even goes with --sizes")
    return {"layers": layers, "sizes": sizes, "even_layers": even}


# ---- the sweeps ----


@extrude.command(short_help="Sweep along a straight vector.")
@click.argument("file")
@click.argument("output")
@vector_option("--direction", "The whole translation, length included.", required=True)
@_layer_options
def translate(file: str, output: str, direction: Vector, **layers: Any) -> None:
    """Sweep the triangles and quadrangles of FILE along a straight vector and write the solids to OUTPUT.

    Give the number of layers (--layers), or the thickness that the first and the last layer should have (--sizes).

    \b
    Examples:
      meldra3d extrude translate section.msh part.vtu --direction 0 0 20 --layers 10
      meldra3d extrude translate section.msh part.vtu --direction 0 0 20 --sizes 0.5 4 --even
      meldra3d extrude translate plate.obj plate.mesh --direction 0 -1e-3 0 --layers 2
    """
    check_vector("--direction", direction, 0)
    spacing = _spacing(**layers)
    _sweep(
        file,
        output,
        lambda mesh, surface: extrude_translate(mesh.points, surface, direction, **spacing),
        "the direction points to the back of the faces",
    )


@extrude.command(short_help="Sweep about an axis.")
@click.argument("file")
@click.argument("output")
@_axis_options
@_layer_options
def rotate(file: str, output: str, axis: Vector, point: Vector, angle: float, **layers: Any) -> None:
    """Turn the triangles and quadrangles of FILE about an axis and write the solids to OUTPUT.

    Give the number of layers (--layers), or the thickness that the first and the last layer should have (--sizes),
    measured at the first node of the first face. After a full turn the last level lies on the faces of FILE, but has
    nodes of its own.

    \b
    Examples:
      meldra3d extrude rotate section.msh elbow.vtu --axis 0 0 1 --angle 90 --layers 24
      meldra3d extrude rotate section.msh ring.vtu --axis 0 1 0 --point -150 0 0 --angle -360 --sizes 5 5
    """
    rotation = _rotation(axis, point, angle)
    spacing = _spacing(**layers)

    def turn(mesh: Mesh, surface: np.ndarray) -> Sweep:
        centre = _axis_point(mesh.points[surface[0, 0]], np.array(point), rotation, spacing["sizes"] is not None)
        return extrude_rotate(mesh.points, surface, centre, rotation, **spacing)

    _sweep(file, output, turn, "the turn starts towards the back of the faces")


@extrude.command(short_help="Sweep about an axis and along a vector at once.")
@click.argument("file")
@click.argument("output")
@_axis_options
@vector_option("--shift", "The whole translation, length included.", required=True)
@_layer_options
def spiral(file: str, output: str, axis: Vector, point: Vector, angle: float, shift: Vector, **layers: Any) -> None:
    """Turn and move the triangles and quadrangles of FILE at the same time and write the solids to OUTPUT.

    Give the number of layers (--layers), or the thickness that the first and the last layer should have (--sizes),
    measured along the shift alone.

    \b
    Examples:
      meldra3d extrude spiral wire.msh spring.vtu --axis 0 0 1 --angle 1800 --shift 0 0 50 --layers 180
      meldra3d extrude spiral plate.msh twisted.vtu --axis 0 0 1 --angle 90 --shift 0 0 20 --sizes 0.5 0.5
    """
    rotation = _rotation(axis, point, angle)
    check_vector("--shift", shift, 0)
    spacing = _spacing(**layers)
    _sweep(
        file,
        output,
        lambda mesh, surface: extrude_spiral(mesh.points, surface, point, rotation, shift, **spacing),
        "the sweep starts towards the back of the faces",
    )


@extrude.command(short_help="Grow layers along the normals.")
@click.argument("file")
@click.argument("output")
@click.option("--thickness", type=float, metavar="T", help="Of all layers together.")
@click.option(
    "--shifts",
    metavar="NAME",
    help="In place of --thickness, with --layers: values on the nodes of FILE, three each, the whole way of each node.",
)
@_layer_options
def normal(file: str, output: str, thickness: Optional[float], shifts: Optional[str], **layers: Any) -> None:
    """Thicken the triangles and quadrangles of FILE along their normals and write the solids to OUTPUT.

    Give the number of layers (--layers), or the thickness that the first and the last layer should have (--sizes), as
    for a boundary layer. The normal at a node is the mean of the faces there, weighted by their angles.

    \b
    Examples:
      meldra3d extrude normal shell.msh solid.vtu --thickness 2 --layers 3
      meldra3d extrude normal wing.msh layers.vtu --thickness 0.08 --sizes 0.0005 0.014
      meldra3d extrude normal bed.vtu rock.vtu --shifts depth --layers 10
    """
    if (thickness is None) == (shifts is None):
        raise click.UsageError("give either --thickness or --shifts")
    if thickness is not None and not 0 < thickness < np.inf:
        raise click.UsageError("--thickness: must be greater than 0, and finite")
    spacing = _spacing(**layers)
    if shifts is not None and spacing["layers"] is None:
        raise click.UsageError("--shifts goes with --layers")

    def thicken(mesh: Mesh, surface: np.ndarray) -> Sweep:
        if shifts is None:
            return extrude_normal(mesh.points, surface, thickness, **spacing)
        return extrude_normal(mesh.points, surface, node_shifts=_shifts(file, mesh, shifts), layers=spacing["layers"])

    _sweep(file, output, thicken, "the nodes move to the back of the faces, or too far where the surface is hollow")


@extrude.command("line", short_help="Sweep along a polyline.")
@click.argument("file")
@click.argument("output")
@vector_option("--through", "A point of the line; give two or more, in order.", multiple=True)
@click.option("--size", "sizes", type=float, multiple=True, metavar="S", help="With --through: the size at each point.")
@click.option("--line", "path", metavar="TEXTFILE", help="In place of --through: the points, one in each row.")
@vector_option(
    "--start", "Direction in which the faces look before the line begins; by default that of its first segment."
)
def line_command(
    file: str,
    output: str,
    through: Tuple[Vector, ...],
    sizes: Tuple[float, ...],
    path: Optional[str],
    start: Optional[Vector],
) -> None:
    """Sweep the triangles and quadrangles of FILE along a polyline, a layer for each segment, and write the solids to
    OUTPUT.

    The faces move with the line from its first point, turn as it turns, and grow with the sizes: from one point to the
    next by the quotient of the sizes there. The line is given by --through, or as the rows of a text file: three
    numbers x y z, or four, x y z and the size, or nine, x y z and the metric m11 m12 m22 m13 m23 m33, which gives a size
    1/sqrt(e M e) in each direction e, but at the first point always 1. When the line begins at a node of the faces, its points are nodes of the solids.

    \b
    Examples:
      meldra3d extrude line pipe.msh bent.vtu --through 0 0 0 --through 0 0 50 --through 10 0 80
      meldra3d extrude line pipe.msh cone.vtu --through 0 0 0 --size 1 --through 0 0 50 --size 0.5
      meldra3d extrude line pipe.msh manifold.vtu --line centre.txt --start 0 0 1
    """
    if bool(through) == (path is not None):
        raise click.UsageError("give either --through or --line")
    if sizes and len(sizes) != len(through):
        raise click.UsageError("--size: must be given once for each --through")
    if not all(0 < size < np.inf for size in sizes):
        raise click.UsageError("--size: must be greater than 0, and finite")
    if start is not None:
        check_vector("--start", start, 0)
    rows = np.column_stack([through, sizes] if sizes else [through]) if path is None else read_rows(path, (3, 4, 9))
    if len(rows) < 2:
        raise click.UsageError(f"{'--through' if path is None else path}: a line needs two points or more")
    if not np.isfinite(rows).all():
        raise click.UsageError(f"{'--through' if path is None else path}: all numbers must be finite")
    _sweep(
        file,
        output,
        lambda mesh, surface: _along(mesh, surface, rows, start),
        "the line leaves towards the back of the faces, or bends too sharply",
    )


def _along(mesh: Mesh, surface: np.ndarray, rows: np.ndarray, start: Optional[Vector]) -> Sweep:
    """Sweep along a line that is not in the mesh yet."""
    line, nodes = rows[:, :3], np.unique(surface[surface != NO_NODE])
    away = np.linalg.norm(mesh.points[nodes] - line[0], axis=1)
    begins_on_surface = away.min() <= 1e-9 * np.ptp(mesh.points[nodes], axis=0).max()
    added = line[1:] if begins_on_surface else line
    count = len(mesh.points)
    numbers = np.arange(count, count + len(added))
    if begins_on_surface:
        numbers = np.concatenate([nodes[[away.argmin()]], numbers])
    swept = extrude_line(
        np.concatenate([mesh.points, added]),
        surface,
        numbers,
        start,
        sizes=rows[:, 3] if rows.shape[1] == 4 else None,
        metrics=rows[:, 3:] if rows.shape[1] == 9 else None,
    )
    if begins_on_surface:
        return swept
    # No element has a node of the line.
    new = (swept.solids >= count) & (swept.solids != NO_NODE)
    solids = np.where(new, swept.solids - np.uint32(len(line)), swept.solids)
    return swept._replace(points=np.delete(swept.points, numbers, axis=0), solids=solids)


def _shifts(file: str, mesh: Mesh, name: str) -> np.ndarray:
    """The values of that name as vectors of the nodes."""
    if name not in mesh.point_data:
        raise click.ClickException(f"{file}: there are no values {name!r} on nodes")
    values = mesh.point_data[name]
    if values.ndim != 2 or values.shape[1] != 3 or values.dtype.kind not in "iuf" or not np.isfinite(values).all():
        raise click.ClickException(f"{file}: the values {name!r} are not three finite numbers for each node")
    return values


def _rotation(axis: Vector, point: Vector, angle: float) -> np.ndarray:
    """The rotation vector that the options ask for."""
    check_vector("--axis", axis, 0)
    check_vector("--point", point)
    if not np.isfinite(angle) or angle == 0:
        raise click.UsageError("--angle: must be a finite number other than 0")
    rotation: np.ndarray = np.radians(angle) * np.array(axis) / np.linalg.norm(axis)
    return rotation


def _axis_point(first: np.ndarray, point: np.ndarray, rotation: np.ndarray, by_sizes: bool) -> np.ndarray:
    """The point of the axis that the library measures sizes from: on the level of the first node of the faces.

    It refuses that node itself where the layers are counted, but then any other point of the axis does.
    """
    direction = rotation / np.linalg.norm(rotation)
    foot: np.ndarray = point + direction * ((first - point) @ direction)
    radius = np.linalg.norm(first - foot)
    if by_sizes and not radius > 1e-12 * np.abs([first, foot]).max():
        raise click.UsageError("--sizes: are measured at the first node of the faces, which lies on the axis")
    return foot if radius > 0 else foot + direction


def _sweep(file: str, output: str, run: Callable[[Mesh, np.ndarray], Sweep], reason: str) -> None:
    """Read a file, sweep its faces by `run(mesh, surface)`, write the solids, and tell of them.

    `reason` is why solids may be inverted.
    """
    check_target(output)
    with working(f"reading {file}"):
        mesh = read(file)
        surface, data = mesh.surface()
    if len(surface) == 0:
        raise click.ClickException(f"{file}: has no linear triangles or quadrangles to sweep")
    with working("sweeping"):
        swept = run(mesh, surface)
    count = len(swept.solids) // len(surface)
    kind = ElementType.W6 if swept.solids.shape[1] == 6 else ElementType.SOLID_MIX
    on_solids = {name: [np.repeat(values, count, axis=0)] for name, values in data.items()}
    solids = Mesh(swept.points, [(kind, swept.solids)], cell_data=on_solids).split()
    with working(f"writing {output}"):
        write(output, solids)
    rows = [("nodes", f"{len(solids.points):,}", "")]
    rows += [(SHAPES[kind].name, f"{number:,}", "") for kind, number in solids.counts().items()]
    rows += [("layers", f"{count:,}", ""), ("swept volume", f"{solid_volume(solids):.9g}", "")]
    remark = inverted(solids)
    show(output, rows, f"{remark}; {reason}" if remark else "")
