"""Reading and writing mesh files.

The formats are meshio's. What is added here is the numbering (every element arrives in the order and orientation of
this library), the checks (a file that cannot be used is refused with one line that says why), and that a file being
written takes the place of an older one only when it is complete.
"""

import contextlib
import io
import os
import shutil
import tempfile
import warnings
from pathlib import Path
from typing import Any, Dict, Iterable, Iterator, List, NamedTuple, Optional, Tuple, Union

import numpy as np

from .conventions import MESHIO, MESHIO_FROM_GMSH, NodeOrder, from_theirs, to_theirs
from .elements import SHAPES, ElementType
from .mesh import Block, Mesh

PathLike = Union[str, "os.PathLike[str]"]

_K = ElementType


class MeshFileError(ValueError):
    """A mesh file cannot be read or written; the message is one line that begins with the file's name."""


class MeshFileWarning(UserWarning):
    """A file was read or written, but not all of it."""


#: meshio's names of the kinds.
MESHIO_NAMES: Dict[ElementType, str] = {
    _K.NODE: "vertex", _K.EDGE2: "line", _K.EDGE3: "line3",
    _K.T3: "triangle", _K.T6: "triangle6", _K.Q4: "quad", _K.Q8: "quad8", _K.Q9: "quad9",
    _K.TH4: "tetra", _K.TH10: "tetra10", _K.PY5: "pyramid", _K.PY13: "pyramid13", _K.PY14: "pyramid14",
    _K.W6: "wedge", _K.W15: "wedge15", _K.W18: "wedge18",
    _K.H8: "hexahedron", _K.H20: "hexahedron20", _K.H27: "hexahedron27",
}  # fmt: skip
_KINDS = {name: kind for kind, name in MESHIO_NAMES.items()}


def _only(*kinds: ElementType) -> NodeOrder:
    return {kind: MESHIO[kind] for kind in kinds}


_FACES = _only(_K.T3, _K.Q4)
_LINEAR = {**_only(_K.NODE, _K.EDGE2, _K.TH4, _K.PY5, _K.W6, _K.H8), **_FACES}

# The node orders that meshio's arrays have after reading a format, for the kinds whose order is settled. The manuals of
# Abaqus and Nastran number mid-edge nodes as VTK does, or differ in the way that meshio evens out. Of other formats
# the linear kinds are taken as meshio gives them; the quadratic ones, whose orders are not established, are refused.
READ_ORDERS: Dict[str, NodeOrder] = {
    "gmsh": MESHIO_FROM_GMSH,
    "vtk": MESHIO,
    "vtu": MESHIO,
    "abaqus": {**_LINEAR, **_only(_K.T6, _K.Q8, _K.Q9, _K.TH10, _K.W15, _K.H20)},
    "nastran": {**_LINEAR, **_only(_K.T6, _K.Q8, _K.Q9, _K.TH10, _K.PY13, _K.W15, _K.H20)},
}

# Elements of general use by which meshio's kinds go into an Abaqus file; its own choice is for special purposes.
_ABAQUS_NAMES = {
    "line": "T3D2", "triangle": "S3", "quad": "S4", "triangle6": "STRI65", "quad8": "S8R", "quad9": "S9R5",
    "tetra": "C3D4", "tetra10": "C3D10", "wedge": "C3D6", "wedge15": "C3D15",
    "hexahedron": "C3D8", "hexahedron20": "C3D20",
}  # fmt: skip


class _Writer(NamedTuple):
    format: str  # meshio's name of the writer
    orders: NodeOrder  # node order that the writer expects, for the kinds it can write
    data: str  # what it can store: "all", "tags" (also Gmsh's two), "label" (one whole number an element), "none"


_WRITERS: Dict[str, _Writer] = {
    ".vtu": _Writer("vtu", MESHIO, "all"),
    ".vtk": _Writer("vtk42", MESHIO, "all"),  # version 4.2, which old and new viewers read
    ".msh": _Writer("gmsh22", MESHIO_FROM_GMSH, "tags"),  # meshio writes mixed meshes in version 2.2 alone
    ".mesh": _Writer("medit", {k: v for k, v in _LINEAR.items() if k is not _K.NODE}, "label"),
    ".inp": _Writer("abaqus", {k: MESHIO[k] for k in _KINDS.values() if MESHIO_NAMES[k] in _ABAQUS_NAMES}, "none"),
    ".obj": _Writer("obj", _FACES, "none"),
    ".ply": _Writer("ply", _FACES, "none"),
    ".stl": _Writer("stl", _only(_K.T3), "none"),
    ".off": _Writer("off", _only(_K.T3), "none"),
}


def read(path: PathLike) -> Mesh:
    """Read a mesh from a file of any format that meshio reads.

    Parameters
    ----------
    path : str or path
        The format is told by the extension: Gmsh ``.msh``, VTK ``.vtk`` and ``.vtu``, Medit ``.mesh``, Abaqus
        ``.inp``, Nastran ``.bdf``, Wavefront ``.obj``, ``.stl``, ``.ply``, ``.off``; of others that meshio knows, linear
        elements only.

    Returns
    -------
    Mesh
        Blocks as in the file, in the node order and orientation of this library. Points of a plane file have z = 0.

    Raises
    ------
    MeshFileError
        When the file is missing, is of an unknown format, is damaged, has no points or no elements, has a coordinate
        that is not finite, names a node that does not exist, or holds elements this library has no kind for.

    Warns
    -----
    MeshFileWarning
        When the format's reader left something out.

    Examples
    --------
    >>> import os, tempfile
    >>> triangle = Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [(ElementType.T3, [[0, 1, 2]])])
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     write(os.path.join(folder, "one.vtu"), triangle)
    ...     mesh = read(os.path.join(folder, "one.vtu"))
    >>> mesh.points.shape, mesh.counts()
    ((3, 3), {<ElementType.T3: 7>: 1})
    """
    path = Path(path)
    try:
        with open(path, "rb") as file:
            start = file.read(1)
    except OSError as error:
        raise MeshFileError(f"{path}: {_described(error)}") from None
    if not start:
        raise MeshFileError(f"{path}: is empty")
    format_name = _format_of(path, start)
    meshio = _load_meshio()
    with _meshio_at_work(path, f"cannot be read as a {format_name} file"):
        theirs = meshio.read(path, file_format=format_name)
    if len(theirs.points) == 0:
        raise MeshFileError(f"{path}: has no points")
    orders = READ_ORDERS.get(format_name, _LINEAR)
    blocks = [_our_block(path, format_name, orders, block) for block in theirs.cells]
    if sum(len(cells) for _, cells in blocks) == 0:
        raise MeshFileError(f"{path}: has no elements")
    try:
        return Mesh(
            theirs.points,
            blocks,
            {name: _slim(values) for name, values in theirs.point_data.items()},
            {name: [_slim(values) for values in arrays] for name, arrays in theirs.cell_data.items()},
        )
    except ValueError as error:
        raise MeshFileError(f"{path}: {error}") from None


def write(path: PathLike, mesh: Mesh) -> None:
    """Write a mesh to a file.

    Parameters
    ----------
    path : str or path
        The extension chooses the format: ``.vtu``, ``.vtk``, ``.msh`` (Gmsh 2.2), ``.mesh`` (Medit), ``.inp``
        (Abaqus), and for surfaces ``.obj``, ``.ply``, ``.stl``, ``.off``. An existing file is replaced when the new
        one is complete, and left alone when something fails.
    mesh : Mesh
        Mixed blocks are written as one block for each kind. Pyramids of 14 nodes go out as such of 13 where the format
        has no others, as those of VTK.

    Raises
    ------
    MeshFileError
        When the extension is unknown, the format cannot hold a kind of element of the mesh, or the file cannot be
        written.

    Warns
    -----
    MeshFileWarning
        When the format has no place for some nodes, or some values on nodes or elements; they are left out.
    """
    path = Path(path)
    mesh = fitted(path, mesh)
    writer = _WRITERS[path.suffix.lower()]
    meshio = _load_meshio()
    theirs = _their_mesh(path, writer, mesh)
    options: Dict[str, Any] = {"translate_cell_names": False} if writer.format == "abaqus" else {}
    with replaced_when_complete(path) as temporary, _meshio_at_work(path, "cannot be written"):
        meshio.write(temporary, theirs, file_format=writer.format, **options)


def fitted(path: PathLike, mesh: Mesh) -> Mesh:
    """What a file of this name can hold of a mesh.

    Parameters
    ----------
    path : str or path
        The file to be; only its name is looked at.
    mesh : Mesh
        What is to be written.

    Returns
    -------
    Mesh
        Without mixed blocks. Where the format has no pyramids of 14 nodes but such of 13, the centres of their bases
        are left out, and are gone where no other element has them.

    Raises
    ------
    MeshFileError
        As `write` does, when the mesh cannot be written to such a file.

    Warns
    -----
    MeshFileWarning
        When nodes are left out.
    """
    path = Path(path)
    check_target(path)
    orders = _WRITERS[path.suffix.lower()].orders
    try:
        mesh = mesh.split()
    except ValueError as error:
        raise MeshFileError(f"{path}: {error}") from None
    if not mesh.blocks:
        raise MeshFileError(f"{path}: there are no elements to write")
    pyramids = 0
    blocks = []
    for kind, cells in mesh.blocks:
        if kind is _K.PY14 and kind not in orders and _K.PY13 in orders:
            kind, cells = _K.PY13, cells[:, : SHAPES[_K.PY13].nodes]
            pyramids += len(cells)
        if kind not in orders:
            raise MeshFileError(f"{path}: a {path.suffix} file cannot hold {SHAPES[kind].name}")
        blocks.append((kind, cells))
    if pyramids == 0:
        return mesh
    message = f"{path}: {pyramids:,} pyramids of 14 nodes go out with 13, the only quadratic ones of the format"
    warnings.warn(MeshFileWarning(message), stacklevel=3)
    return mesh.with_blocks(blocks)


def check_target(path: PathLike, extensions: Iterable[str] = ()) -> None:
    """Check that a file can be written, as far as its name tells: before long work, and without touching anything.

    Parameters
    ----------
    path : str or path
        The file to be.
    extensions : iterable of str
        The extensions that can be written; those of mesh files when none are given.

    Raises
    ------
    MeshFileError
        When the extension is none of these, the folder does not exist, or ``path`` is a folder itself.
    """
    path = Path(path)
    known = list(extensions) or list(_WRITERS)
    if path.suffix.lower() not in known:
        raise MeshFileError(f"{path}: cannot write files of kind {path.suffix!r}, but these: {' '.join(known)}")
    if path.is_dir():
        raise MeshFileError(f"{path}: is a folder")
    if not Path(os.path.realpath(path)).parent.is_dir():
        raise MeshFileError(f"{path}: there is no folder {path.parent}")


@contextlib.contextmanager
def replaced_when_complete(path: PathLike) -> Iterator[Path]:
    """Give the name of a file to write in place of `path`, and put it there when the ``with`` block succeeds.

    The new file is built in a folder beside the old one, which therefore is never seen half-written.

    Raises
    ------
    MeshFileError
        When the folder takes no files, or the disk is full.
    """
    target = Path(os.path.realpath(path))
    try:
        with tempfile.TemporaryDirectory(prefix=".meldra3d-", dir=target.parent) as folder:
            temporary = Path(folder) / target.name
            yield temporary
            if target.exists():
                shutil.copymode(target, temporary)
            os.replace(temporary, target)
    except OSError as error:
        raise MeshFileError(f"{path}: cannot be written ({_described(error)})") from None


def _load_meshio() -> Any:
    """Import meshio, only where a file is read or written, since it takes a while to load.

    Two faults of version 5.0 are mended: its table of dimensions misses two kinds that its readers and writers know,
    without which it cannot hold such elements at all; and its reader of Gmsh 2.2 gives each block two of the values
    on elements instead of as many as the block has.
    """
    import meshio
    from meshio import _mesh
    from meshio.gmsh import _gmsh22

    _mesh.topological_dimension.setdefault("wedge15", 3)
    _mesh.topological_dimension.setdefault("pyramid13", 3)
    _gmsh22.cell_data_from_raw = _values_by_block
    return meshio


def _values_by_block(cells: List[Tuple[str, np.ndarray]], values: Dict[str, np.ndarray]) -> Dict[str, List[np.ndarray]]:
    """Values on all elements of a file as values on the elements of each block."""
    ends = np.cumsum([len(nodes) for _, nodes in cells])[:-1]
    return {name: np.split(array, ends) for name, array in values.items()}


def _format_of(path: Path, start: bytes) -> str:
    """meshio's name of the format of a file that begins with the byte `start`."""
    if path.suffix.lower() == ".msh":  # two programs share this extension
        return "gmsh" if start == b"$" else "ansys"
    meshio = _load_meshio()
    suffixes = [suffix.lower() for suffix in path.suffixes]
    for first in range(len(suffixes)):  # the longest extension first: .vol.gz before .gz
        formats = meshio.extension_to_filetypes.get("".join(suffixes[first:]))
        if formats and formats[0] != "svg":  # which meshio writes, but does not read
            return str(formats[0])
    raise MeshFileError(f"{path}: unknown kind of file {path.suffix or '(no extension)'!r}")


@contextlib.contextmanager
def _meshio_at_work(path: Path, trouble: str) -> Iterator[None]:
    """Turn the many ways in which meshio fails into one, and what it prints into warnings.

    A reader of meshio may raise its own error, whatever the damaged file leads to (KeyError, IndexError, assert ...),
    or print its complaint and leave the program.
    """
    said = io.StringIO()
    try:
        with contextlib.redirect_stdout(said), contextlib.redirect_stderr(said), warnings.catch_warnings():
            # numpy's sign that a file ended or went wrong in the middle of numbers
            warnings.filterwarnings("error", message="string or file could not be read")
            yield
    except MemoryError:
        raise
    except ImportError as error:
        raise MeshFileError(f"{path}: {trouble} without the Python package {error.name}") from None
    except (Exception, SystemExit) as error:
        reason = said.getvalue() or _described(error)
        raise MeshFileError(f"{path}: {trouble} ({_one_line(reason)})") from None
    remark = _one_line(said.getvalue())
    if remark:
        warnings.warn(MeshFileWarning(f"{path}: {remark}"), stacklevel=4)


def _described(error: BaseException) -> str:
    if isinstance(error, OSError) and error.strerror:
        return error.strerror.lower()
    text = str(error)
    return text if " " in text else f"{type(error).__name__} {text}"


def _one_line(text: str) -> str:
    return " ".join(text.replace("Warning:", "").replace("Error:", "").split())


def _our_block(path: Path, format_name: str, orders: NodeOrder, block: Any) -> Block:
    """One block of meshio's as one of ours."""
    cells = np.asarray(block.data)
    name = block.type
    if name == "polygon" and cells.ndim == 2:
        name = {3: "triangle", 4: "quad"}.get(cells.shape[1], name)
    kind = _KINDS.get(name)
    if kind is None:
        raise MeshFileError(f"{path}: holds elements of kind {name!r}, which this library does not have")
    if kind not in orders:
        raise MeshFileError(
            f"{path}: holds {SHAPES[kind].name}, whose node order in {format_name} files is not settled;"
            " convert it to .vtu or .msh with the program that made it"
        )
    if len(cells) == 0:
        return kind, np.empty((0, SHAPES[kind].nodes), dtype=np.uint32)
    return kind, from_theirs(cells, orders[kind])


def _their_mesh(path: Path, writer: _Writer, mesh: Mesh) -> Any:
    """A mesh of single kinds as one of meshio's, with the values that the format can store."""
    meshio = _load_meshio()
    size = max(len(mesh.points), sum(cells.size for _, cells in mesh.blocks))
    integer = np.int32 if size < 2**31 else np.int64
    cells = [(MESHIO_NAMES[kind], to_theirs(cells, writer.orders[kind]).astype(integer)) for kind, cells in mesh.blocks]
    point_data, cell_data = _storable(path, writer, mesh)
    theirs = meshio.Mesh(mesh.points, cells, point_data=point_data, cell_data=cell_data)
    if writer.format == "abaqus":
        for block in theirs.cells:
            block.type = _ABAQUS_NAMES[block.type]
    return theirs


def _storable(path: Path, writer: _Writer, mesh: Mesh) -> Tuple[Dict[str, np.ndarray], Dict[str, List[np.ndarray]]]:
    """The values that a format can store, and a warning about the others."""
    tags = ("gmsh:physical", "gmsh:geometrical")
    point_data: Dict[str, np.ndarray] = {}
    cell_data: Dict[str, List[np.ndarray]] = {}
    dropped = []
    on_points = {name: values for name, values in mesh.point_data.items() if name != "gmsh:dim_tags"}  # of Gmsh's CAD
    if writer.data in ("all", "tags"):
        for name, values in on_points.items():
            stored = _plain(values)
            if stored is None:
                dropped.append(name)
            else:
                point_data[name.replace(" ", "_")] = stored
        for name, arrays in mesh.cell_data.items():
            kept = [_plain(values) for values in arrays]
            if any(values is None for values in kept):
                dropped.append(name)
            else:
                cell_data[name.replace(" ", "_")] = [values for values in kept if values is not None]
    elif writer.data == "label":
        label = _label(mesh.cell_data)
        cell_data = {label: mesh.cell_data[label]} if label else {}
        dropped = [name for name in [*on_points, *mesh.cell_data] if name != label]
    else:
        dropped = [*on_points, *mesh.cell_data]
    if writer.data == "tags":
        for tag, default in zip(tags, (0, 1)):
            cell_data.setdefault(tag, [np.full(len(cells), default) for _, cells in mesh.blocks])
    if dropped:
        warnings.warn(MeshFileWarning(f"{path}: the format has no place for {', '.join(dropped)}"), stacklevel=4)
    return point_data, cell_data


def _slim(values: Any) -> np.ndarray:
    """Values without a second dimension when it holds but one number."""
    array = np.asarray(values)
    return array[:, 0] if array.ndim == 2 and array.shape[1] == 1 else array


def _plain(values: np.ndarray) -> Optional[np.ndarray]:
    """Numbers in a shape and type that every format with values can store, or None."""
    values = _slim(values.reshape(len(values), -1))
    components = 1 if values.ndim == 1 else values.shape[1]
    if values.dtype.kind == "b":
        values = values.astype(np.int8)
    if values.dtype.kind not in "iuf" or components not in (1, 3, 9):
        return None
    return values.astype(values.dtype.newbyteorder("=") if values.dtype != np.float16 else np.float32)


def _label(cell_data: Dict[str, List[np.ndarray]]) -> Optional[str]:
    """The values that serve as the reference number of each element: those named so, or the first whole numbers."""
    whole = [name for name, arrays in cell_data.items() if all(v.ndim == 1 and v.dtype.kind in "iu" for v in arrays)]
    return "medit:ref" if "medit:ref" in whole else (whole[0] if whole else None)
