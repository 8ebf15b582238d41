"""The command ``meldra3d``.

Every failure ends in one line on the standard error stream and exit status 2. Results go to the standard output;
progress and warnings do not. A command that gives a number ends the process with that status.
"""

import contextlib
import warnings
from typing import Any, Callable, Dict, List, Optional, Sequence, Tuple, Union

import click
import numpy as np

from . import ElementType, Mesh, MeshFileWarning, draw, read, version, write
from .command_extrude import extrude
from .command_interpolate import interpolate_command, locate_command
from .command_open import open_command
from .command_quality import check, measure
from .convert import NodeCounts
from .draw import PICTURES, VIEWS
from .elements import SHAPES
from .files import check_target, fitted
from .flip import reverse
from .measures import areas
from .refine import QUADRATIC, cut_into_hexahedra, is_linear, lower_order, raise_order
from .report import inverted, say, show, solid_volume, working
from .split import cut_quadrangles

_FAILURE = 2
_GMSH_TAGS = "gmsh:dim_tags"  # values on nodes that are a bookkeeping of meshio's


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """Run the command.

    Parameters
    ----------
    arguments : sequence of str, optional
        What follows the command's name; by default that of this process.

    Returns
    -------
    int
        Exit status: 0, or 2 after a failure; 1 where ``check`` finds something wrong with a mesh.
    """
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        warnings.simplefilter("always", MeshFileWarning)
        warnings.showwarning = lambda message, *_, **__: say(f"warning: {message}")
        try:
            return _commands.main(args=arguments, prog_name="meldra3d", standalone_mode=False) or 0
        except click.UsageError as error:
            path = error.ctx.command_path if error.ctx else "meldra3d"
            say(f"{error.format_message()} (see {path} --help)")
        except click.ClickException as error:
            say(error.format_message())
        except (click.Abort, KeyboardInterrupt):
            say("interrupted")
        except MemoryError as error:
            say(str(error) or "not enough memory")
        except ValueError as error:
            say(str(error))
        except Exception as error:  # a fault of this program, but that is no reason for a screenful
            say(f"unexpected {type(error).__name__}: {error}")
    return _FAILURE


@click.group(context_settings={"help_option_names": ["-h", "--help"], "max_content_width": 100})
@click.version_option(version(), "--version", message="meldra3d %(version)s")
def _commands() -> None:
    """Tools for three-dimensional finite-element meshes.

    Files of many formats are read and written; the extension tells which: .vtu and .vtk (ParaView), .msh (Gmsh),
    .mesh (Medit), .inp (Abaqus), .bdf (Nastran, reading only), and for surfaces .obj, .ply, .stl and .off.

    \b
    Examples:
      meldra3d info part.msh
      meldra3d check part.msh
      meldra3d extrude translate section.msh part.vtu --direction 0 0 20 --layers 10
      meldra3d draw part.vtu part.png
    """


for command in (check, measure, extrude, interpolate_command, locate_command, open_command):
    _commands.add_command(command)


# ---- info ----


@_commands.command(short_help="Show what is in a mesh file.")
@click.argument("file")
def info(file: str) -> None:
    """Show what is in a mesh FILE: nodes, elements by kind, bounding box, area and volume.

    The volume counts inverted elements as negative, and says so when there are any. Quadratic elements are measured
    by their vertices, as if their edges were straight.

    \b
    Example:
      meldra3d info part.vtu
    """
    with working(f"reading {file}"):
        mesh = read(file)
    rows = [("nodes", f"{len(mesh.points):,}", _unused_nodes(mesh))]
    rows += [(SHAPES[kind].name, f"{count:,}", "") for kind, count in mesh.counts().items()]
    low, high = mesh.points.min(axis=0), mesh.points.max(axis=0)
    rows += [
        (f"size in {axis}", f"{high[k] - low[k]:.9g}", f"from {low[k]:.9g} to {high[k]:.9g}")
        for k, axis in enumerate("xyz")
    ]
    flat = mesh.split()
    faces = [areas(mesh.points, kind, cells).sum() for kind, cells in flat.blocks if SHAPES[kind].dimension == 2]
    if faces:
        rows.append(("area", f"{sum(faces):.9g}", "of the triangles and quadrangles"))
    rows += _volume_rows(flat)
    if mesh.cell_data:
        rows.append(("values", "", "on elements: " + ", ".join(mesh.cell_data)))
    on_nodes = [name for name in mesh.point_data if name != _GMSH_TAGS]
    if on_nodes:
        rows.append(("values", "", "on nodes: " + ", ".join(on_nodes)))
    show(file, rows, inverted(flat))


def _unused_nodes(mesh: Mesh) -> str:
    unused = int((~mesh.used_nodes()).sum())
    return f"{unused:,} in no element" if unused else ""


# ---- flip ----


@_commands.command("flip", short_help="Turn solids round.")
@click.argument("file")
@click.argument("output")
@click.option(
    "--kind",
    "names",
    type=click.Choice([kind.name for kind in SHAPES], case_sensitive=False),
    multiple=True,
    metavar="KIND",
    help="Turn round the solids of this kind alone, such as TH4, PY13, W6 or H20; may be given again. Without it all"
    " solids are.",
)
def flip_command(file: str, output: str, names: Tuple[str, ...]) -> None:
    """Turn the solids of FILE round, so that their volumes change sign, and write the mesh to OUTPUT.

    Vertices change places within each element, and the nodes on its edges and faces move along with them. All the
    rest goes to OUTPUT as it is: nodes, values, faces, edges and solids of other kinds. Only solids can be turned round.

    \b
    Examples:
      meldra3d flip inverted.vtu direct.vtu
      meldra3d flip part.msh part.msh --kind TH10 --kind PY14
    """
    check_target(output)
    with working(f"reading {file}"):
        mesh = read(file).split()
    chosen = _solids_to_flip(file, mesh, [ElementType[name.upper()] for name in names])
    turned = [(kind, reverse(kind, cells) if kind in chosen else cells) for kind, cells in mesh.blocks]
    flipped = Mesh(mesh.points, turned, mesh.point_data, mesh.cell_data)
    with working(f"writing {output}"):
        write(output, flipped)
    rows = [
        (SHAPES[kind].name, f"{count:,}", "turned round" if kind in chosen else "as they were")
        for kind, count in flipped.counts().items()
    ]
    rows.append(("volume", f"{solid_volume(flipped):.9g}", "of the solids"))
    show(output, rows, inverted(flipped))


def _solids_to_flip(file: str, mesh: Mesh, named: List[ElementType]) -> List[ElementType]:
    """The kinds to turn round: those named, or all solids. What is not there or is no solid is refused."""
    present = mesh.counts()
    for kind in named:
        if SHAPES[kind].dimension != 3:
            raise click.UsageError(f"--kind: {SHAPES[kind].name} cannot be turned round, only solids can")
        if kind not in present:
            raise click.ClickException(f"{file}: has no {SHAPES[kind].name}")
    chosen = named or [kind for kind in present if SHAPES[kind].dimension == 3]
    if not chosen:
        raise click.ClickException(f"{file}: has no solids to turn round")
    return chosen


# ---- convert ----


def _count_options(command: Any) -> Any:
    """Give a command an option for each of the node counts of a conversion."""
    admitted = {
        "edge": "any number",
        "quadrangle": "a square",
        "triangle": "0, 1 or 3",
        "hexahedron": "0, 1, 8 or 27",
        "tetrahedron": "0 or 1",
        "wedge": "any number",
        "pyramid": "0 or 1",
    }
    for name in reversed(NodeCounts._fields):  # the last decorator comes first
        help_text = f"With --to order: nodes inside each {name}, {admitted[name]}."
        least = 1 if name == "edge" else 0
        command = click.option(f"--{name}-nodes", type=click.IntRange(min=least), metavar="N", help=help_text)(command)
    return command


@_commands.command(short_help="Change the order of elements.")
@click.argument("file")
@click.argument("output")
@click.option(
    "--to", "order", type=click.Choice(["linear", "quadratic", "order"]), required=True, help="What elements become."
)
@_count_options
def convert(file: str, output: str, order: str, **given: Optional[int]) -> None:
    """Make the elements of FILE linear or quadratic and write the mesh to OUTPUT.

    \b
    linear      drops all nodes but the vertices
    quadratic   makes linear elements those of 10 (tetrahedra), 14 (pyramids), 18 (wedges) and 27 nodes (hexahedra)
    order       gives linear elements as many nodes as the options say; --edge-nodes is needed, and the counts
                not given are those of complete elements, whose nodes form a full grid

    Edges and faces in FILE become what the solids become, with the nodes of these. Where they are of the new order
    already, the solids take their nodes: so a curved surface bends the solids at it.

    Nodes that stay keep their order and values. On new nodes real values are interpolated, and others are 0. Values on
    elements stay with them. Elements with more than one node on an edge cannot be written, and are refused.

    \b
    Examples:
      meldra3d convert part.msh quadratic.vtu --to quadratic
      meldra3d convert quadratic.vtu linear.vtu --to linear
      meldra3d convert part.msh part.inp --to order --edge-nodes 1 --quadrangle-nodes 0 --hexahedron-nodes 0
    """
    counts = _counts_of(order, {name: given[f"{name}_nodes"] for name in NodeCounts._fields})
    check_target(output)
    with working(f"reading {file}"):
        mesh = read(file).split()
    if counts is None and all(is_linear(kind) for kind, _ in mesh.blocks):
        raise click.ClickException(f"{file}: has linear elements only")
    with working("converting"):
        converted = lower_order(mesh) if counts is None else _changed(file, raise_order, mesh, counts)
    converted = fitted(output, converted)
    with working(f"writing {output}"):
        write(output, converted)
    _tell_of_new_values(output, mesh, converted)
    rows = [_nodes_row(mesh, converted), *_source_rows(mesh, converted), *_volume_rows(converted)]
    show(output, rows, inverted(converted))


def _counts_of(order: str, given: Dict[str, Optional[int]]) -> Optional[NodeCounts]:
    """The node counts that the options ask for; none for linear elements."""
    chosen = {name: count for name, count in given.items() if count is not None}
    if order != "order":
        if chosen:
            raise click.UsageError(f"--{next(iter(chosen))}-nodes goes with --to order")
        return QUADRATIC if order == "quadratic" else None
    if "edge" not in chosen:
        raise click.UsageError("--to order needs --edge-nodes")
    return NodeCounts.of_complete_elements(chosen["edge"])._replace(**chosen)


def _changed(file: str, change: Callable[..., Mesh], *arguments: Any) -> Mesh:
    """A change of the mesh in `file`; what is wrong with it is told with the name of the file, or of the option."""
    try:
        return change(*arguments)
    except ValueError as error:
        name, _, _ = str(error).partition("_nodes: ")
        if name in NodeCounts._fields:
            raise click.UsageError("--" + str(error).replace("_", "-", 1)) from None
        raise click.ClickException(f"{file}: {error}") from None


def _nodes_row(before: Mesh, after: Mesh) -> Tuple[str, str, str]:
    new = len(after.points) - len(before.points)
    note = f"{new:,} of them new" if new >= 0 else f"{-new:,} left out"
    return "nodes", f"{len(after.points):,}", note


def _source_rows(before: Mesh, after: Mesh) -> List[Tuple[str, str, str]]:
    """The kinds of a mesh, and of which kind before they are, block by block."""
    notes: Dict[ElementType, List[str]] = {}
    for (old, _), (new, _) in zip(before.blocks, after.blocks):
        note = "as they were" if old is new else f"from {SHAPES[old].name}"
        if note not in notes.setdefault(new, []):
            notes[new].append(note)
    return [(SHAPES[kind].name, f"{number:,}", ", ".join(notes[kind])) for kind, number in after.counts().items()]


def _volume_rows(mesh: Mesh) -> List[Tuple[str, str, str]]:
    if any(SHAPES[kind].dimension == 3 for kind, _ in mesh.blocks):
        return [("volume", f"{solid_volume(mesh):.9g}", "of the solids")]
    return []


def _tell_of_new_values(output: str, before: Mesh, after: Mesh) -> None:
    """Name the values on nodes that could not be interpolated on new ones."""
    names = [name for name, values in before.point_data.items() if values.dtype.kind != "f" and name != _GMSH_TAGS]
    if names and len(after.points) > len(before.points):
        say(f"warning: {output}: no real numbers, hence 0 on new nodes: {', '.join(names)}")


# ---- split ----


@_commands.group(short_help="Cut elements into smaller ones.")
def split() -> None:
    """Cut elements into smaller ones.

    \b
    Examples:
      meldra3d split hex part.vtu hexahedra.vtu
      meldra3d split diagonals part.vtu cut.vtu
    """


@split.command("hex", short_help="Cut solids into hexahedra.")
@click.argument("file")
@click.argument("output")
def hex_command(file: str, output: str) -> None:
    """Cut the linear solids of FILE into hexahedra, one around each vertex, and write the mesh to OUTPUT.

    A tetrahedron becomes 4, a wedge 6 and a hexahedron 8. Pyramids cannot be cut, nor tetrahedra beside other solids.
    Linear edges and faces in FILE are cut along: a triangle into 3 quadrangles, a quadrangle into 4, an edge into 2.

    Nodes keep their numbers and values. New ones lie at the middles of edges and the centres of faces and solids; on
    these real values are interpolated, and others are 0. Values on elements pass to their pieces.

    \b
    Example:
      meldra3d split hex part.msh hexahedra.vtu
    """
    check_target(output)
    with working(f"reading {file}"):
        mesh = read(file).split()
    with working("cutting"):
        cut = _changed(file, cut_into_hexahedra, mesh)
    cut = fitted(output, cut)
    with working(f"writing {output}"):
        write(output, cut)
    _tell_of_new_values(output, mesh, cut)
    rows = [_nodes_row(mesh, cut)]
    parts = [(kind, number) for kind, number in mesh.counts().items() if SHAPES[kind].dimension == 3]
    for kind, number in cut.counts().items():
        note = "from " + ", ".join(f"{n:,} {SHAPES[k].name}" for k, n in parts) if kind is ElementType.H8 else ""
        rows.append((SHAPES[kind].name, f"{number:,}", note))
    show(output, rows + _volume_rows(cut), inverted(cut))


@split.command("diagonals", short_help="Cut quadrangles in two, and the solids beside them.")
@click.argument("file")
@click.argument("output")
@click.option(
    "--by",
    metavar="NAME",
    help="Values on the quadrangles that choose the diagonal: 0 from the first node to the third, 1 from the second to"
    " the fourth. Without it each takes its shorter one.",
)
@click.option(
    "--min-volume",
    type=float,
    default=0.0,
    show_default=True,
    metavar="V",
    help="Every piece of a solid must have a larger volume.",
)
def diagonals_command(file: str, output: str, by: Optional[str], min_volume: float) -> None:
    """Cut each quadrangle of FILE in two triangles, and the linear solids beside it so that they fit.

    The solids on both sides of a quadrangle are cut along the same diagonal; their other faces stay as they are, and so
    do all other elements. Values on elements pass to their pieces. Where solids are cut around a new node, it takes the
    mean of the values on the nodes around it. Nothing is written when a solid cannot be cut.

    \b
    Examples:
      meldra3d split diagonals part.vtu cut.vtu
      meldra3d split diagonals part.msh cut.msh --by diagonal --min-volume 1e-9
    """
    if np.isnan(min_volume):
        raise click.UsageError("--min-volume: must be a number")
    check_target(output)
    with working(f"reading {file}"):
        mesh = read(file).split()
    quadrangles = [b for b, (kind, _) in enumerate(mesh.blocks) if kind is ElementType.Q4]
    if not quadrangles:
        raise click.ClickException(f"{file}: has no quadrangles to cut")
    diagonals = _chosen_diagonals(file, mesh, quadrangles, by)
    with working("cutting"):
        cut = _changed(file, cut_quadrangles, mesh, diagonals, min_volume)
    with working(f"writing {output}"):
        write(output, cut)
    rows = [_nodes_row(mesh, cut)]
    rows += [(SHAPES[kind].name, f"{number:,}", "") for kind, number in cut.counts().items()]
    rows.append(("cut quadrangles", f"{len(diagonals):,}", ""))
    show(output, rows + _volume_rows(cut), inverted(cut))


def _chosen_diagonals(file: str, mesh: Mesh, quadrangles: List[int], by: Optional[str]) -> np.ndarray:
    """The diagonal of each quadrangle: by values on them, or the shorter one."""
    if by is None:
        corners = mesh.points[np.concatenate([mesh.blocks[b][1] for b in quadrangles])]
        first = np.linalg.norm(corners[:, 2] - corners[:, 0], axis=1)
        return np.asarray(np.linalg.norm(corners[:, 3] - corners[:, 1], axis=1) < first, dtype=np.intp)
    if by not in mesh.cell_data:
        raise click.ClickException(f"{file}: there are no values {by!r} on elements")
    values = np.concatenate([mesh.cell_data[by][b] for b in quadrangles])
    if values.ndim != 1 or not np.isin(values, (0, 1)).all():
        raise click.ClickException(f"{file}: the values {by!r} on quadrangles must be 0 or 1")
    return values.astype(np.intp)


# ---- draw ----


class _View(click.ParamType):
    """The name of a view, or two angles."""

    name = "view"

    def convert(self, value: Any, param: Any, ctx: Any) -> Union[str, Tuple[float, float]]:
        if value in VIEWS:
            return str(value)
        with contextlib.suppress(ValueError):
            azimuth, elevation = (float(angle) for angle in value.split(","))
            if np.isfinite([azimuth, elevation]).all():
                return azimuth, elevation
        self.fail(f"{value!r} is neither one of {', '.join(VIEWS)} nor two angles A,E", param, ctx)


@_commands.command("draw", short_help="Draw the outside of a mesh.")
@click.argument("file")
@click.argument("picture")
@click.option(
    "--by",
    default="kind",
    metavar="kind|NAME",
    show_default=True,
    help="Colour by kind of element, or by the values of that name (meldra3d info lists them).",
)
@click.option(
    "--view",
    type=_View(),
    metavar="VIEW",
    help=f"Where to look from: {', '.join(VIEWS)}, or azimuth,elevation in degrees."
    " Without it flat meshes are seen face on, others as with iso.",
)
@click.option("--edges/--no-edges", default=True, help="Draw the edges of elements, or not.")
@click.option("--legend/--no-legend", default=True, help="Explain the colours and show the axes, or not.")
def draw_command(
    file: str, picture: str, by: str, view: Optional[Union[str, Tuple[float, float]]], edges: bool, legend: bool
) -> None:
    """Draw the outside of a mesh FILE into PICTURE (.png, .jpg, .pdf or .svg).

    \b
    Examples:
      meldra3d draw part.vtu part.png
      meldra3d draw part.vtu part.png --by region --view top
      meldra3d draw part.vtu part.pdf --view -60,15 --no-edges
    """
    check_target(picture, PICTURES)
    with working(f"reading {file}"):
        mesh = read(file)
    with working(f"drawing {picture}"):
        try:
            draw(mesh, picture, by=by, view=view, edges=edges, legend=legend)
        except ValueError as error:
            raise click.ClickException(str(error) if str(picture) in str(error) else f"{file}: {error}") from None
