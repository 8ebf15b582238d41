"""Pictures of meshes.

The faces are projected by hand and painted from the farthest to the nearest, as flat polygons. For what a picture of
a mesh is asked to show this is exact enough, it is quick (10^5 faces in a few seconds), and the aspect ratio is true.
"""

from typing import Any, Dict, List, NamedTuple, Optional, Tuple, Union

import numpy as np

from .boundary import Faces, boundary
from .elements import SHAPES, ElementType
from .files import PathLike, check_target, replaced_when_complete
from .mesh import Mesh

View = Union[str, Tuple[float, float]]

#: Directions from the mesh to the viewer, as azimuth (from x towards y) and elevation (towards z), in degrees.
VIEWS: Dict[str, Tuple[float, float]] = {
    "iso": (-55.0, 25.0),
    "front": (-90.0, 0.0),
    "back": (90.0, 0.0),
    "left": (180.0, 0.0),
    "right": (0.0, 0.0),
    "top": (-90.0, 90.0),
    "bottom": (-90.0, -90.0),
}

#: File types of pictures.
PICTURES = (".png", ".jpg", ".jpeg", ".pdf", ".svg")

_LIGHT = np.array([-0.35, 0.50, 0.79])  # from above the viewer's left shoulder: right, up, towards the viewer
DPI = 200
INK = "#333333"

_COLOURS = {
    "triangles": "#e8b04b",
    "quadrangles": "#5b9bd0",
    "tetrahedra": "#e0805f",
    "pyramids": "#9a78bd",
    "wedges": "#74b08a",
    "hexahedra": "#5b8fc7",
}
_CATEGORIES = "#5b8fc7 #e0805f #74b08a #e8b04b #9a78bd #68b6bd #c7749b #a1a754 #8d7b6c #9aa5b1".split()


class _Painting(NamedTuple):
    """Colours of faces before the light falls on them, and what explains them."""

    colours: np.ndarray  # (faces, 3)
    legend: List[Tuple[str, Any]]  # label and colour of each category; empty with a colour bar
    scale: Optional[Tuple[Any, Any]]  # matplotlib's norm and colour map; None with a legend
    whole: bool  # whether all values are whole numbers
    title: str


def draw(
    mesh: Mesh,
    picture: PathLike,
    *,
    by: str = "kind",
    view: Optional[View] = None,
    edges: bool = True,
    legend: bool = True,
) -> None:
    """Draw the outside of a mesh.

    Of solids the faces that bound only one element are drawn; a mesh without solids is drawn as its triangles and
    quadrangles, their back (from where they turn clockwise) in a darker tone. The edges of quadratic elements run
    through their mid-edge nodes.

    Parameters
    ----------
    mesh : Mesh
        What to draw.
    picture : str or path
        File to write; the extension (one of `PICTURES`) chooses its type.
    by : str
        ``"kind"`` colours by kind of element; any other name is that of values in ``mesh.cell_data`` or, failing
        that, ``mesh.point_data``. Few different whole numbers give a legend, other values a colour bar.
    view : str or (float, float), optional
        One of `VIEWS`, or azimuth and elevation of the viewer in degrees. Without it, a flat mesh is seen face on
        and any other from the front, the right and above ("iso").
    edges : bool
        Whether to draw the edges of elements.
    legend : bool
        Whether to explain the colours and show the directions of the axes, in a strip to the right.

    Raises
    ------
    ValueError
        When the mesh has no faces, there are no values of that name, they are not one number an element, or the view
        is unknown.
    MeshFileError
        When the picture cannot be written.

    Examples
    --------
    >>> import os, tempfile
    >>> square = Mesh([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]], [(ElementType.Q4, [[0, 1, 2, 3]])])
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     draw(square, os.path.join(folder, "square.png"))
    ...     os.listdir(folder)
    ['square.png']
    """
    check_target(picture, PICTURES)
    faces = boundary(mesh)
    if len(faces.rings) == 0:
        raise ValueError("the mesh has no faces to draw")
    painting = _paint(mesh, faces, by)
    axes = _viewing_axes(mesh.points[faces.rings], view)
    figure = _compose(mesh.points, faces, painting, axes, edges, legend)
    with replaced_when_complete(picture) as temporary:
        figure.savefig(temporary, dpi=DPI, facecolor="white", bbox_inches="tight", pad_inches=0.1)


# ---- colours ----


def colour_of(kind: ElementType) -> str:
    """The colour that pictures give a kind of surface element or solid."""
    return _COLOURS[SHAPES[kind].name.split()[-1]]


def _paint(mesh: Mesh, faces: Faces, by: str) -> _Painting:
    if by == "kind":
        return _paint_by_kind(mesh, faces)
    values = _values_on_faces(mesh, faces, by)
    distinct = np.unique(values)
    if values.dtype.kind in "iu" and len(distinct) <= len(_CATEGORIES):
        return _paint_categories(values, [(str(value), value) for value in distinct], _CATEGORIES, by)
    return _paint_on_scale(values, by)


def _paint_by_kind(mesh: Mesh, faces: Faces) -> _Painting:
    totals = mesh.counts()
    seen = [ElementType(kind) for kind in np.unique(faces.kinds)]
    labels = [(f"{SHAPES[kind].name} ({totals[kind]:,})", kind) for kind in seen]
    colours = [colour_of(kind) for kind in seen]
    return _paint_categories(faces.kinds, labels, colours, "")


def _paint_categories(values: np.ndarray, labels: List[Tuple[str, Any]], colours: Any, title: str) -> _Painting:
    from matplotlib.colors import to_rgb

    painted = np.empty((len(values), 3))
    for (_, value), colour in zip(labels, colours):
        painted[values == value] = to_rgb(colour)
    return _Painting(painted, [(label, colour) for (label, _), colour in zip(labels, colours)], None, True, title)


def _paint_on_scale(values: np.ndarray, title: str) -> _Painting:
    import matplotlib
    from matplotlib.colors import Normalize

    whole = values.dtype.kind in "iu"
    known = np.isfinite(values)
    if not known.any():
        raise ValueError(f"none of the values {title!r} is a finite number")
    norm = Normalize(values[known].min(), values[known].max())
    colour_map = matplotlib.colormaps["viridis"]
    painted = colour_map(norm(np.where(known, values, 0.0)))[:, :3]
    painted[~known] = 0.8
    return _Painting(painted, [], (norm, colour_map), whole, title)


def _values_on_faces(mesh: Mesh, faces: Faces, name: str) -> np.ndarray:
    if name in mesh.cell_data:
        by_block = [values.reshape(len(values), -1) for values in mesh.split().cell_data[name]]
        values = np.concatenate(by_block)[faces.elements]
    elif name in mesh.point_data:
        values = mesh.point_data[name]
        values = _means(values.reshape(len(values), -1)[faces.rings], faces.rings)
    else:
        known = ", ".join(["kind", *mesh.cell_data, *mesh.point_data])
        raise ValueError(f"there are no values {name!r} to colour by, but these: {known}")
    if values.shape[1] != 1 or values.dtype.kind not in "biuf":
        raise ValueError(f"the values {name!r} are not one number for each element")
    numbers: np.ndarray = values[:, 0]
    return numbers.astype(int) if numbers.dtype.kind == "b" else numbers


# ---- geometry ----


def _viewing_axes(corners: np.ndarray, view: Optional[View]) -> np.ndarray:
    """Unit vectors to the right, up and towards the viewer, as rows."""
    if view is None:
        towards = _normal_if_flat(corners.reshape(-1, 3))
        if towards is None:
            return _viewing_axes(corners, "iso")
    else:
        if isinstance(view, str) and view not in VIEWS:
            raise ValueError(f"there is no view {view!r}, but these: {', '.join(VIEWS)}")
        azimuth, elevation = np.radians(VIEWS[view] if isinstance(view, str) else view)
        towards = np.array(
            [np.cos(elevation) * np.cos(azimuth), np.cos(elevation) * np.sin(azimuth), np.sin(elevation)]
        )
    up = np.array([0.0, 0.0, 1.0]) if abs(towards[2]) < 0.999 else np.array([0.0, 1.0, 0.0])
    right = np.cross(up, towards)
    right /= np.linalg.norm(right)
    return np.array([right, np.cross(towards, right), towards])


def _normal_if_flat(points: np.ndarray) -> Optional[np.ndarray]:
    """The direction in which a flat mesh is seen face on, from above or in front; None when it is not flat."""
    _, sizes, directions = np.linalg.svd(np.cov((points - points.mean(axis=0)).T))
    if sizes[2] > 1e-6 * sizes[0]:
        return None
    normal: np.ndarray = directions[2]
    towards_usual_side = normal @ (0.5, -0.8, 1.0)
    return normal if towards_usual_side > 0 else -normal


def _means(values: np.ndarray, rings: np.ndarray) -> np.ndarray:
    """Means ``(m, c)`` of values ``(m, k, c)`` at the nodes of rings, each node counted once."""
    weights = np.ones(rings.shape)
    weights[:, 1:] = rings[:, 1:] != rings[:, :-1]  # a short ring repeats its last node
    means: np.ndarray = np.einsum("mk,mkc->mc", weights, values) / weights.sum(axis=1, keepdims=True)
    return means


def _normals(rings: np.ndarray) -> np.ndarray:
    """Unit normals of polygons, ``(m, k, 3)``, by the vector area of each."""
    area: np.ndarray = np.cross(rings, np.roll(rings, -1, axis=1)).sum(axis=1)
    length = np.linalg.norm(area, axis=1, keepdims=True)
    area /= np.where(length > 0, length, 1)
    return area


# ---- the picture ----


def _compose(points: np.ndarray, faces: Faces, painting: _Painting, axes: np.ndarray, edges: bool, legend: bool) -> Any:
    """The finished matplotlib figure."""
    centre = points[faces.rings].reshape(-1, 3).mean(axis=0)  # large coordinates would cost the cross products digits
    rings = (points[faces.rings] - centre) @ axes.T
    low, high = rings[..., :2].min(axis=(0, 1)), rings[..., :2].max(axis=(0, 1))
    normals = _normals(rings)
    depths = _means(rings[..., 2:], faces.rings)[:, 0]
    colours = painting.colours
    if faces.closed:
        front = normals[:, 2] > 0
        rings, depths, normals, colours = rings[front], depths[front], normals[front], colours[front]
    back = normals[:, 2] < 0  # of surfaces both sides are seen, the back in a darker tone
    normals[back] *= -1
    facing = np.clip((normals @ (_LIGHT / np.linalg.norm(_LIGHT)) + 0.7) / 1.7, 0, 1)  # reaches round the shape
    colours = np.clip(colours * ((0.5 + 0.6 * facing) * np.where(back, 0.75, 1))[:, None], 0, 1)
    order = np.argsort(depths, kind="stable")
    size = np.maximum(high - low, 1e-3 * max((high - low).max(), 1e-300))
    return _lay_out(rings[order, :, :2], colours[order], low, size, painting, axes, edges, legend)


def _lay_out(
    polygons: np.ndarray,
    colours: np.ndarray,
    low: np.ndarray,
    size: np.ndarray,
    painting: _Painting,
    axes: np.ndarray,
    edges: bool,
    legend: bool,
) -> Any:
    """The mesh as large as fits 8 by 6 inches, and beside it a strip with the legend and the directions of the axes."""
    from matplotlib.collections import PolyCollection
    from matplotlib.figure import Figure

    pad, strip, least = 0.12, *((2.0, 2.6) if legend else (0.0, 0.0))
    scale = min(8.0 / size[0], 6.0 / size[1])  # inches for a unit of length
    width, height = scale * size
    total = (width + 3 * pad + strip, max(height, least) + 2 * pad)
    figure = Figure(figsize=total)
    bottom = (total[1] - height) / 2
    drawing = figure.add_axes((pad / total[0], bottom / total[1], width / total[0], height / total[1]))
    drawing.set_xlim(low[0], low[0] + size[0])
    drawing.set_ylim(low[1], low[1] + size[1])
    drawing.set_axis_off()
    line = _line_width(polygons, scale) if edges else 0.0
    collection = PolyCollection(
        polygons,
        facecolors=colours,
        edgecolors=colours * 0.45 if line > 0 else colours,
        linewidths=line if line > 0 else 0.4,  # without edges: just enough to close the seams between faces
        joinstyle="round",
        clip_on=False,
    )
    drawing.add_collection(collection, autolim=False)
    if legend:
        left = (width + 2 * pad) / total[0]
        _explain(figure, painting, left, total)
        _draw_axes(figure, axes, left, total)
    return figure


def _line_width(polygons: np.ndarray, scale: float) -> float:
    """Width of element edges in points: finer for smaller elements, none when they would cover the faces."""
    steps = np.linalg.norm(polygons - np.roll(polygons, 1, axis=1), axis=2)
    typical = np.median(steps[steps > 0]) * scale * 72 if (steps > 0).any() else 72.0
    return 0.0 if typical < 0.9 else float(np.clip(0.035 * typical, 0.12, 0.7))


def _explain(figure: Any, painting: _Painting, left: float, total: Tuple[float, float]) -> None:
    """The legend or the colour bar."""
    top = 1 - 0.2 / total[1]
    title = painting.title.replace("$", r"\$")  # which would begin a formula
    if painting.scale is None:
        from matplotlib.patches import Patch

        handles = [
            Patch(facecolor=colour, edgecolor=INK, linewidth=0.4, label=text) for text, colour in painting.legend
        ]
        figure.legend(
            handles=handles,
            title=title or None,
            loc="upper left",
            bbox_to_anchor=(left, top),
            frameon=False,
            fontsize=9,
            title_fontsize=9,
            labelcolor=INK,
            alignment="left",
            borderpad=0,
            handlelength=1.2,
        )
        return
    from matplotlib.cm import ScalarMappable
    from matplotlib.ticker import MaxNLocator

    norm, colour_map = painting.scale
    height = min(0.5 * total[1], total[1] - 1.6)
    axis = figure.add_axes((left, 1 - (height + 0.45) / total[1], 0.16 / total[0], height / total[1]))
    ticks = MaxNLocator("auto", steps=[1, 2, 5, 10], integer=True) if painting.whole else None
    bar = figure.colorbar(ScalarMappable(norm, colour_map), cax=axis, ticks=ticks)
    bar.outline.set_linewidth(0.4)
    bar.ax.tick_params(labelsize=8, colors=INK, width=0.4)
    bar.ax.set_title(title, fontsize=9, color=INK, loc="left")


def _draw_axes(figure: Any, axes: np.ndarray, left: float, total: Tuple[float, float]) -> None:
    """Where x, y and z point in the picture."""
    side = 0.9
    corner = figure.add_axes((left, 0.1 / total[1], side / total[0], side / total[1]))
    corner.set_xlim(-1.35, 1.35)
    corner.set_ylim(-1.35, 1.35)
    corner.set_axis_off()
    for k in np.argsort(axes[2]):  # the one that points away first
        tip = axes[:2, k]
        if np.linalg.norm(tip) < 0.08:
            continue
        corner.annotate("", tip, (0, 0), arrowprops={"arrowstyle": "-|>", "color": INK, "linewidth": 0.8})
        corner.text(*(1.22 * tip), "xyz"[k], fontsize=8, color=INK, ha="center", va="center")
