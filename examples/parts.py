"""What the examples share: a part with its figures, the checks on it, its files, and the table of parts."""

import math
import pathlib
import sys
import time
from typing import Callable, List, NamedTuple, Optional, Sequence, Tuple

import numpy as np
from rich import box
from rich.console import Console
from rich.table import Table

import meldra3d
from meldra3d import ElementType, Mesh, Sweep
from meldra3d.measures import signed_volumes

TOLERANCE = 1e-12  # of the volume against a formula, relative


class Part(NamedTuple):
    """Solids that one of the examples makes."""

    name: str  #: of the part and of its files
    faces: int
    layers: int
    mesh: Mesh  #: the solids, with values to colour them by
    colours: str  #: the name of these values, or "kind"
    view: Optional[Tuple[float, float]]  #: azimuth and elevation of the viewer, in degrees
    unit: str  #: of length
    volume: float
    expected: float  #: the volume by a formula that knows nothing of the solids
    formula: str
    seconds: float  #: for the sweep and the volume, or for the opening
    checks: Sequence[Tuple[str, float, float]] = ()  #: more figures: what, as found, by formula
    shown: Optional[Mesh] = None  #: what is drawn of the mesh, if not all of it


def timed(sweep: Callable[[], Sweep]) -> Tuple[Sweep, float, float]:
    """A sweep, its volume, and how long both took."""
    start = time.perf_counter()
    swept = sweep()
    volume = meldra3d.volume(swept.points, swept.solids)
    return swept, volume, time.perf_counter() - start


def solids_of(swept: Sweep, **values: np.ndarray) -> Mesh:
    """The solids of a sweep as a mesh of wedges and hexahedra, with values on them."""
    kind = ElementType.W6 if swept.solids.shape[1] == 6 else ElementType.SOLID_MIX
    return Mesh(swept.points, [(kind, swept.solids)], cell_data={name: [v] for name, v in values.items()}).split()


def annulus(radii: np.ndarray, around: int) -> Tuple[np.ndarray, np.ndarray]:
    """A plane ring of quadrangles about the origin, counter-clockwise, and its nodes `(n, 2)`."""
    angle = np.arange(around) * 2 * math.pi / around
    points = np.multiply.outer(radii, np.column_stack([np.cos(angle), np.sin(angle)])).reshape(-1, 2)
    inner = np.arange((len(radii) - 1) * around).reshape(-1, around)
    ahead = np.roll(inner, -1, axis=1)
    return points, np.stack([inner, inner + around, ahead + around, ahead], axis=-1).reshape(-1, 4)


def polygon_area(radius: float, edges: int) -> float:
    """Area of the regular polygon in a circle."""
    return 0.5 * edges * math.sin(2 * math.pi / edges) * radius**2


def faults(part: Part) -> str:
    """What is wrong with a part, or nothing."""
    inverted = sum(int((~(signed_volumes(part.mesh.points, *block) > 0)).sum()) for block in part.mesh.blocks)
    if inverted:
        return f"{part.name}: {inverted} elements have no positive volume"
    for finding in meldra3d.check_mesh(part.mesh):
        if finding.total:
            return f"{part.name}: {finding.total} {finding.what}"
    for what, found, expected in (("the volume", part.volume, part.expected), *part.checks):
        if not abs(found / expected - 1) <= TOLERANCE:
            return f"{part.name}: {what} is off by more than {TOLERANCE:g}"
    return ""


def save(part: Part, folder: pathlib.Path) -> None:
    """Write a part for a viewer, and draw it."""
    folder.mkdir(parents=True, exist_ok=True)
    meldra3d.write(folder / f"{part.name}.vtu", part.mesh)
    meldra3d.draw(part.shown or part.mesh, folder / f"{part.name}.png", by=part.colours, view=part.view)


def table(parts: Sequence[Part]) -> Table:
    """The figures of parts side by side."""
    rows = {
        "faces": lambda part: f"{part.faces:,}",
        "layers": lambda part: f"{part.layers:,}",
        "nodes": lambda part: f"{len(part.mesh.points):,}",
        "wedges": lambda part: f"{part.mesh.counts().get(ElementType.W6, 0):,}",
        "hexahedra": lambda part: f"{part.mesh.counts().get(ElementType.H8, 0):,}",
        "volume": lambda part: f"{part.volume:,.7g}",
        "by formula": lambda part: f"{part.expected:,.7g}",
        "unit": lambda part: f"{part.unit}³",
        "deviation": lambda part: f"{abs(part.volume / part.expected - 1):.1e}",
        "time": lambda part: f"{1e3 * part.seconds:.1f} ms",
    }
    shown = Table("", *(part.name for part in parts), box=box.SIMPLE_HEAD, pad_edge=False, padding=(0, 1, 0, 0))
    for column in shown.columns[1:]:
        column.justify = "right"
    for name, show in rows.items():
        shown.add_row(name, *(show(part) for part in parts))
    return shown


def run(*makes: Callable[[], Part]) -> Tuple[pathlib.Path, List[Part]]:
    """Make parts, write and draw them into the folder named on the command line, print their table and check them.

    Gives the folder and the parts; the process ends with an error when one of them has a fault.
    """
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "out")
    parts = [make() for make in makes]
    console = Console(highlight=False)
    console.print("The parts, and the time for the sweep and the volume, or the opening", style="bold")
    console.print(table(parts))
    for part in parts:
        console.print(f"{part.name}: {part.formula}")
        for what, found, expected in part.checks:
            console.print(f"  {what}: {found:,.10g}, by formula {expected:,.10g}")
        save(part, folder)
    wrong = [fault for fault in map(faults, parts) if fault]
    if wrong:
        sys.exit("\n".join(wrong))
    return folder, parts
