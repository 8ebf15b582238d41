"""What the command tells: tables, warnings, progress."""

import contextlib
import sys
from typing import Any, Iterator, List, Tuple

from .elements import SHAPES
from .measures import signed_volumes, volume
from .mesh import Mesh


def say(text: str) -> None:
    print("meldra3d: " + " ".join(text.split()), file=sys.stderr)


@contextlib.contextmanager
def working(what: str) -> Iterator[None]:
    """Tell what is being done while it lasts, if somebody is looking."""
    if not sys.stderr.isatty():
        yield
        return
    from rich.console import Console

    with Console(stderr=True).status(what):
        yield


def show(title: str, rows: List[Tuple[str, str, str]], remark: str) -> None:
    """Print a table of (name, number, note) and a warning below it."""
    from rich.console import Console
    from rich.table import Table
    from rich.text import Text

    console = Console(highlight=False, soft_wrap=True)
    console.print(Text(title, style="bold"))
    table = Table(box=None, show_header=False, pad_edge=False, padding=(0, 2, 0, 0))
    table.add_column(style="cyan", no_wrap=True)
    table.add_column(justify="right", no_wrap=True)
    table.add_column(style="dim", overflow="fold")
    for row in rows:
        table.add_row(*(Text(item) for item in row))
    console.print(table, soft_wrap=False)
    _warn(console, remark)


def _warn(console: Any, remark: str) -> None:
    from rich.text import Text

    if remark:
        console.print(Text(f"warning: {remark}", style="yellow"))


def show_columns(
    title: str, headings: List[str], rows: List[List[str]], names: int, note: str = "", remark: str = ""
) -> None:
    """Print a table with headings, and a note and a warning below it.

    The first `names` columns hold words, the others numbers.
    """
    from rich.console import Console
    from rich.table import Table
    from rich.text import Text

    console = Console(highlight=False, soft_wrap=True)
    console.print(Text(title, style="bold"))
    table = Table(box=None, pad_edge=False, padding=(0, 2, 0, 0), header_style="dim")
    for k, heading in enumerate(headings):
        is_name = k < names
        table.add_column(
            heading, style="cyan" if is_name else None, justify="left" if is_name else "right", no_wrap=True
        )
    for row in rows:
        table.add_row(*(Text(item) for item in row))
    console.print(table, soft_wrap=False)
    if note:
        console.print(Text(note, style="dim"))
    _warn(console, remark)


def solid_volume(flat: Mesh) -> float:
    """Volume of the solids of a mesh without mixed blocks."""
    solids = [(kind, cells) for kind, cells in flat.blocks if SHAPES[kind].dimension == 3]
    return sum(volume(flat.points, cells[:, : SHAPES[kind].vertices]) for kind, cells in solids)


def inverted(flat: Mesh) -> str:
    """A warning about inverted solids, or nothing."""
    parts = []
    for kind, total in flat.counts().items():
        if SHAPES[kind].dimension == 3:
            blocks = [cells for other, cells in flat.blocks if other is kind]
            count = sum(int((signed_volumes(flat.points, kind, cells) < 0).sum()) for cells in blocks)
            if count:
                parts.append(f"{count:,} of {total:,} {SHAPES[kind].name}")
    return f"inverted, with negative volume: {', '.join(parts)}" if parts else ""
