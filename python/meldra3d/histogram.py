"""Histograms of the measures of a mesh."""

from typing import Any, List

import numpy as np

from .draw import DPI, INK, PICTURES, colour_of
from .elements import SHAPES
from .files import PathLike, check_target, replaced_when_complete
from .quality import MEASURES, Measured

_BINS = 50
_MANY = 100.0  # largest positive value over the smallest from which on a scale of powers shows more


def draw_histograms(measured: List[Measured], picture: PathLike) -> None:
    """Draw how many solids have which volume and angles, a panel for each measure, kinds stacked in their colours.

    Volumes that differ much, and are all positive, lie on a logarithmic scale.

    Parameters
    ----------
    measured : list of Measured
        What `measure_mesh` gives.
    picture : str or path
        File to write; the extension (one of `draw.PICTURES`) chooses its type.

    Raises
    ------
    ValueError
        When there are no solids.
    MeshFileError
        When the picture cannot be written.
    """
    from matplotlib.figure import Figure
    from matplotlib.patches import Patch

    check_target(picture, PICTURES)
    if not measured:
        raise ValueError("there are no solids whose measures could be drawn")
    figure = Figure(figsize=(9.6, 5.2), layout="constrained")
    panels = figure.subplots(2, 3).T.ravel()  # column by column: volume above the legend, then each pair of angles
    legend, panels = panels[1], [panels[0], *panels[2:]]
    for column, (name, unit) in enumerate(MEASURES.items()):
        _draw_panel(panels[column], [each.values[:, column] for each in measured], measured)
        panels[column].set_title(name, fontsize=10, color=INK)
        panels[column].set_xlabel(unit, fontsize=8, color=INK)
    legend.set_axis_off()
    handles = [
        Patch(facecolor=colour_of(kind), edgecolor=INK, linewidth=0.4, label=f"{SHAPES[kind].name} ({len(numbers):,})")
        for kind, numbers, _ in measured
    ]
    legend.legend(handles=handles, loc="center", frameon=False, fontsize=10, labelcolor=INK)
    with replaced_when_complete(picture) as temporary:
        figure.savefig(temporary, dpi=DPI, facecolor="white")


def _draw_panel(panel: Any, values: List[np.ndarray], measured: List[Measured]) -> None:
    from matplotlib.ticker import MaxNLocator

    finite = [each[np.isfinite(each)] for each in values]
    edges = _bin_edges(np.concatenate(finite))
    bottom = np.zeros(_BINS)
    for numbers, (kind, _, _) in zip(finite, measured):
        counts, _ = np.histogram(numbers, edges)
        panel.bar(edges[:-1], counts, np.diff(edges), bottom, align="edge", color=colour_of(kind))
        bottom += counts
    if edges[0] > 0 and edges[-1] > _MANY * edges[0]:
        panel.set_xscale("log")
    else:
        panel.xaxis.set_major_locator(MaxNLocator(5))
    panel.set_xlim(edges[0], edges[-1])
    panel.set_ylim(0, 1.05 * max(bottom.max(), 1))
    panel.yaxis.set_major_locator(MaxNLocator(5, integer=True))
    panel.tick_params(labelsize=8, colors=INK, width=0.4)
    for side, line in panel.spines.items():
        line.set_visible(side in ("left", "bottom"))
        line.set_linewidth(0.4)


def _bin_edges(values: np.ndarray) -> np.ndarray:
    """The edges of bins that hold all values: even steps, or even quotients where positive values differ much."""
    low, high = (values.min(), values.max()) if len(values) else (0.0, 1.0)
    if low > 0 and high > _MANY * low:
        return np.asarray(np.geomspace(low, high, _BINS + 1))
    least = 0.05 * max(abs(low), abs(high)) or 1.0  # of values that are all but equal, a bar in the middle
    if high - low < least:
        low, high = (low + high - least) / 2, (low + high + least) / 2
    return np.linspace(low, high, _BINS + 1)
