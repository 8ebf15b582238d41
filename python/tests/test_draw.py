"""The outside of meshes, and pictures of it judged by their pixels."""

import os

import numpy as np
import pytest
from matplotlib.colors import to_rgb
from matplotlib.image import imread
from reference_elements import OURS, SHAPE_OF, raw_element

from meldra3d import Mesh, MeshFileError, draw, extrude_translate
from meldra3d.boundary import boundary
from meldra3d.draw import _CATEGORIES, VIEWS, _values_on_faces
from meldra3d.elements import SHAPES
from meldra3d.elements import ElementType as K

SOLIDS = [kind for kind in OURS if SHAPES[kind].dimension == 3]
FACES = [kind for kind in OURS if SHAPES[kind].dimension == 2]


def grid(nx, ny, lengths=(1.0, 1.0), z=0.0):
    """A rectangle of quadrangles that turn counter-clockwise seen from +z."""
    x, y = np.meshgrid(np.linspace(0, lengths[0], nx + 1), np.linspace(0, lengths[1], ny + 1))
    points = np.column_stack([x.ravel(), y.ravel(), np.full(x.size, z)])
    first = (np.arange(ny)[:, None] * (nx + 1) + np.arange(nx)).ravel()
    return points, np.column_stack([first, first + 1, first + nx + 2, first + nx + 1])


def box(n=2):
    points, faces = grid(n, n)
    swept = extrude_translate(points, faces, (0, 0, 1), layers=n)
    return Mesh(swept.points, [(K.H8, swept.solids)])


def enclosed_volume(mesh):
    """By the divergence theorem; positive when the rings turn counter-clockwise seen from outside."""
    rings = mesh.points[boundary(mesh).rings]
    total = 0.0
    for k in range(1, rings.shape[1] - 1):
        total += np.einsum("ij,ij->", rings[:, 0], np.cross(rings[:, k], rings[:, k + 1])) / 6
    return total


# ---- the outside ----


@pytest.mark.parametrize("kind", SOLIDS, ids=lambda kind: kind.name)
@pytest.mark.parametrize("mirror", [1, -1], ids=["direct", "inverted"])
def test_the_faces_of_a_single_solid_enclose_it_turning_outwards(kind, mirror):
    # plane faces: the divergence theorem over polygons must give the volume of the element
    x = raw_element(kind, "ours")
    if SHAPE_OF[kind] != "tetrahedron":
        lattice = np.round(x[: SHAPES[kind].vertices] * 2) / 2
        x = np.array([lattice[list(amid)].mean(axis=0) for amid in OURS[kind]])
    mesh = Mesh(x * [1, 1, mirror], [(kind, np.arange(len(x))[None, :])])
    faces = boundary(mesh)
    assert faces.closed and len(faces.rings) == len(SHAPES[kind].faces)
    volume = {"tetrahedron": None, "pyramid": 1 / 3, "wedge": 1 / 2, "hexahedron": 1}[SHAPE_OF[kind]]
    assert enclosed_volume(mesh) == pytest.approx(volume, rel=1e-12) if volume else enclosed_volume(mesh) > 0


@pytest.mark.parametrize("kind", FACES, ids=lambda kind: kind.name)
def test_the_ring_of_a_surface_element_visits_mid_edge_nodes_between_their_vertices(kind):
    x = raw_element(kind, "ours")
    faces = boundary(Mesh(x, [(kind, np.arange(len(x))[None, :])]))
    ring = faces.rings[0].tolist()
    assert not faces.closed
    if SHAPES[kind].edges:
        assert len(ring) == 2 * SHAPES[kind].vertices
        for k in range(1, len(ring), 2):
            middle = (x[ring[k - 1]] + x[ring[(k + 1) % len(ring)]]) / 2
            np.testing.assert_allclose(x[ring[k]], middle, atol=1e-15)
    else:
        assert ring == list(range(SHAPES[kind].vertices))


def test_faces_between_two_solids_are_inside():
    mesh = box(3)
    faces = boundary(mesh)
    assert len(faces.rings) == 6 * 9
    centres = mesh.points[faces.rings].mean(axis=1)
    assert (np.isclose(centres, 0) | np.isclose(centres, 1)).any(axis=1).all()
    assert enclosed_volume(mesh) == pytest.approx(1, rel=1e-13)


def test_faces_between_different_kinds_in_different_blocks_are_inside():
    cube = box(1)
    points = np.vstack([cube.points, [0.5, 0.5, 1.5], [2, 0.5, 1.0]])
    top = [k for k in range(8) if points[k, 2] == 1]
    pyramid = [top[0], top[1], top[3], top[2], 8] if (points[top[2], :2] == (0, 1)).all() else [*top, 8]
    mesh = Mesh(points, [cube.blocks[0], (K.PY5, [pyramid])], cell_data={"p": [[1], [2]]})
    faces = boundary(mesh)
    assert len(faces.rings) == 5 + 4
    assert sorted(np.unique(faces.elements).tolist()) == [0, 1]
    assert (faces.kinds[faces.elements == 1] == K.PY5).all()
    assert enclosed_volume(mesh) == pytest.approx(1 + 1 / 6, rel=1e-13)


def test_surface_elements_are_ignored_beside_solids_and_edges_always():
    cube = box(1)
    mesh = Mesh(cube.points, [(K.Q4, [[0, 1, 3, 2]]), (K.EDGE2, [[0, 1]]), *cube.blocks])
    faces = boundary(mesh)
    assert len(faces.rings) == 6 and set(faces.elements.tolist()) == {2}
    assert len(boundary(Mesh(cube.points, [(K.EDGE2, [[0, 1]])])).rings) == 0


# ---- pictures ----


def picture(tmp_path, mesh, **options):
    draw(mesh, tmp_path / "p.png", **options)
    return imread(tmp_path / "p.png")[..., :3]


def coloured(pixels):
    """Pixels of faces: those with a hue. Text, axes and edges of the legend are grey."""
    return pixels.max(axis=2) - pixels.min(axis=2) > 0.15


def mesh_area(pixels):
    """The box of coloured pixels left of the strip with the legend: rows and columns."""
    filled = coloured(pixels)
    columns = np.flatnonzero(filled.any(axis=0))
    gap = np.flatnonzero(np.diff(columns) > 10)
    columns = columns[: gap[0] + 1] if len(gap) else columns
    rows = np.flatnonzero(filled[:, columns[0] : columns[-1] + 1].any(axis=1))
    return rows[0], rows[-1] + 1, columns[0], columns[-1] + 1


@pytest.mark.parametrize("lengths", [(3.0, 1.0), (1.0, 1.0), (1.0, 2.0), (5e-7, 2e-7), (6e5, 2e5)])
def test_the_aspect_ratio_is_true_and_the_margins_are_narrow(tmp_path, lengths):
    points, faces = grid(6, 4, lengths)
    pixels = picture(tmp_path, Mesh(points, [(K.Q4, faces)]))
    top, bottom, left, right = mesh_area(pixels)
    assert (right - left) / (bottom - top) == pytest.approx(lengths[0] / lengths[1], rel=0.01)
    assert left < 40 and (top < 40 and pixels.shape[0] - bottom < 40 or lengths[0] >= 3 * lengths[1])
    inside = coloured(pixels)[top + 2 : bottom - 2, left + 2 : right - 2]
    assert inside.mean() > 0.9


def test_far_from_the_origin_the_picture_is_the_same(tmp_path):
    mesh = box(3)
    near = picture(tmp_path, mesh)
    far = picture(tmp_path, Mesh(mesh.points + [1e6, -2e6, 3e6], mesh.blocks))
    rows, columns, _ = np.minimum(near.shape, far.shape)
    assert np.abs(np.subtract(near.shape, far.shape)).max() <= 1
    assert np.abs(near[:rows, :columns] - far[:rows, :columns]).mean() < 0.02


@pytest.mark.parametrize("view,nearest", [("top", 2), ("bottom", 0), ((20, 80), 2)])
def test_what_is_nearer_hides_what_is_farther(tmp_path, view, nearest):
    low, faces = grid(2, 2)
    heights = (0.01, 0.02, 0.0)  # neither rising nor falling
    points = np.concatenate([low + [0, 0, z] for z in heights])
    blocks = [(K.Q4, faces + len(low) * k) for k in range(3)]
    mesh = Mesh(points, blocks, cell_data={"level": [[1] * 4, [2] * 4, [0] * 4]})
    pixels = picture(tmp_path, mesh, by="level", view=view)
    top, bottom, left, right = mesh_area(pixels)
    row, column = (top + bottom) // 2 + 40, (left + right) // 2 + 40  # off the edge in the middle
    hue = pixels[row - 5 : row + 5, column - 5 : column + 5].mean(axis=(0, 1))
    bases = np.array([to_rgb(colour) for colour in _CATEGORIES[:3]])
    likeness = (bases @ hue) / np.linalg.norm(bases, axis=1) / np.linalg.norm(hue)
    assert likeness.argmax() == nearest


def test_of_a_solid_the_far_side_does_not_show_through(tmp_path):
    mesh = box(1)
    bottom_view = picture(tmp_path, mesh, view="bottom", edges=False)
    area = mesh_area(bottom_view)
    shades = bottom_view[area[0] + 5 : area[1] - 5, area[2] + 5 : area[3] - 5].reshape(-1, 3)
    assert np.ptp(shades, axis=0).max() < 0.02


def test_a_flat_mesh_is_seen_face_on_whichever_way_it_lies(tmp_path):
    points, faces = grid(4, 2, (2.0, 1.0))
    tilt = np.linalg.qr(np.random.default_rng(3).normal(size=(3, 3)))[0]
    pixels = picture(tmp_path, Mesh(points @ tilt.T, [(K.Q4, faces)]))
    top, bottom, left, right = mesh_area(pixels)
    filled = coloured(pixels)[top:bottom, left:right].sum()
    scale = np.sqrt(filled / 2.0)  # pixels for a unit of length, if the whole area of 2 is seen
    diagonal = np.hypot(right - left, bottom - top)
    assert diagonal >= np.sqrt(5) * scale * 0.97


@pytest.mark.parametrize("view", [*VIEWS, (30.0, 60.0), (0, 90), (0, -90)])
def test_every_view_shows_something(tmp_path, view):
    assert coloured(picture(tmp_path, box(2), view=view)).mean() > 0.1


@pytest.mark.parametrize(
    "extension,start", [("png", b"\x89PNG"), ("jpg", b"\xff\xd8"), ("pdf", b"%PDF"), ("svg", b"<?xml")]
)
def test_the_extension_chooses_the_kind_of_picture(tmp_path, extension, start):
    draw(box(1), tmp_path / f"p.{extension}")
    assert (tmp_path / f"p.{extension}").read_bytes().startswith(start)
    assert os.listdir(tmp_path) == [f"p.{extension}"]


def text_of(tmp_path, mesh, **options):
    """What is written in a picture: matplotlib keeps the text of an SVG as comments."""
    draw(mesh, tmp_path / "p.svg", **options)
    svg = (tmp_path / "p.svg").read_text()
    return [line.strip()[5:-4] for line in svg.splitlines() if line.strip().startswith("<!-- ")]


def test_the_legend_names_the_kinds_with_their_numbers(tmp_path):
    points, faces = grid(2, 1)
    swept = extrude_translate(points, [[*faces[0]], [*faces[1][:3], 0xFFFFFFFF]], (0, 0, 1), layers=600)
    words = text_of(tmp_path, Mesh(swept.points, [(K.SOLID_MIX, swept.solids)]))
    assert "wedges (600)" in words and "hexahedra (600)" in words


def test_few_whole_numbers_get_a_legend_and_other_values_a_colour_bar(tmp_path):
    points, faces = grid(4, 4)
    values = {"region": [np.arange(16) % 3 + 5], "many": [np.arange(16) * 100], "heat": [np.linspace(0, 1, 16)]}
    mesh = Mesh(points, [(K.Q4, faces)], {"height": points[:, 0]}, values)
    assert {"region", "5", "6", "7"} <= set(text_of(tmp_path, mesh, by="region"))
    for name in ("many", "heat", "height"):
        words = text_of(tmp_path, mesh, by=name)
        assert name in words and len(words) > 6
    pixels = picture(tmp_path, mesh, by="height")
    top, bottom, left, right = mesh_area(pixels)
    assert pixels[top + 20 : bottom - 20, left + 5 : left + 40, 0].mean() < 0.35  # dark violet where low
    assert pixels[top + 20 : bottom - 20, right - 40 : right - 5, 0].mean() > 0.5  # towards yellow where high


def test_the_bar_of_whole_numbers_has_whole_marks(tmp_path):
    points, faces = grid(4, 4)
    for values, whole in ((np.linspace(1, 20, 16).astype(int), True), (np.linspace(1, 20, 16), False)):
        words = text_of(tmp_path, Mesh(points, [(K.Q4, faces)], cell_data={"v": [values]}), by="v")
        assert whole is not any("." in word for word in words) and len(words) > 6


def test_values_on_nodes_count_each_node_of_a_face_once(tmp_path):
    points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [2, 0, 0], [2, 1, 0]]
    blocks = [(K.T3, [[0, 1, 2]]), (K.Q4, [[1, 4, 5, 3]])]
    mesh = Mesh(points, blocks, {"t": [0.0, 0, 9, 1, 2, 4]}, {"price in $ or $$": [[1.0], [2.0]]})
    np.testing.assert_allclose(_values_on_faces(mesh, boundary(mesh), "t"), [3, 1.75])
    assert any("price" in word for word in text_of(tmp_path, mesh, by="price in $ or $$"))


def test_values_that_are_not_known_are_grey_and_constant_values_draw(tmp_path):
    points, faces = grid(2, 1)
    mesh = Mesh(points, [(K.Q4, faces)], cell_data={"v": [[np.nan, 1.0]], "none": [[np.nan, np.nan]]})
    pixels = picture(tmp_path, mesh, by="v")
    quarter = pixels[pixels.shape[0] // 2, 100]
    assert quarter.max() - quarter.min() < 0.02
    with pytest.raises(ValueError, match="none of the values 'none' is a finite number"):
        picture(tmp_path, mesh, by="none")


def test_without_a_legend_there_is_the_mesh_alone(tmp_path):
    points, faces = grid(4, 2, (2.0, 1.0))
    mesh = Mesh(points, [(K.Q4, faces)])
    assert {"x", "y"} < set(text_of(tmp_path, mesh)) and text_of(tmp_path, mesh, legend=False) == []
    pixels = picture(tmp_path, mesh, legend=False)
    top, bottom, left, right = mesh_area(pixels)
    margins = [top, left, pixels.shape[0] - bottom, pixels.shape[1] - right]
    assert max(margins) < 0.05 * pixels.shape[1] and (right - left) / (bottom - top) == pytest.approx(2, rel=0.01)


@pytest.mark.parametrize(
    "options,message",
    [
        ({"by": "nothing"}, "no values 'nothing' to colour by, but these: kind, part, flow, t"),
        ({"by": "flow"}, "'flow' are not one number"),
        ({"view": "above"}, "no view 'above', but these: iso, front"),
    ],
)
def test_what_cannot_be_drawn_is_refused_and_nothing_written(tmp_path, options, message):
    points, faces = grid(1, 1)
    mesh = Mesh(points, [(K.Q4, faces)], {"t": [1, 2, 3, 4]}, {"part": [[1]], "flow": [[[1, 2, 3]]]})
    with pytest.raises(ValueError, match=message):
        draw(mesh, tmp_path / "p.png", **options)
    assert os.listdir(tmp_path) == []


def test_a_mesh_without_faces_an_unknown_picture_and_a_missing_folder_are_refused(tmp_path):
    lines = Mesh([[0, 0, 0], [1, 0, 0]], [(K.EDGE2, [[0, 1]])])
    with pytest.raises(ValueError, match="no faces to draw"):
        draw(lines, tmp_path / "p.png")
    with pytest.raises(MeshFileError, match="cannot write files of kind '.gif', but these: .png"):
        draw(box(1), tmp_path / "p.gif")
    with pytest.raises(MeshFileError, match="there is no folder"):
        draw(box(1), tmp_path / "no" / "p.png")


def test_a_full_disk_leaves_the_old_picture(tmp_path, monkeypatch):
    def fails(*_, **__):
        raise OSError(28, "No space left on device")

    (tmp_path / "p.png").write_text("old")
    monkeypatch.setattr("matplotlib.figure.Figure.savefig", fails)
    with pytest.raises(MeshFileError, match=r"p.png: cannot be written \(no space left on device\)"):
        draw(box(1), tmp_path / "p.png")
    assert os.listdir(tmp_path) == ["p.png"] and (tmp_path / "p.png").read_text() == "old"


def test_a_degenerate_mesh_still_draws(tmp_path):
    point = Mesh(np.zeros((4, 3)), [(K.Q4, [[0, 1, 2, 3]])])
    line = Mesh([[0, 0, 0], [1, 0, 0], [2, 0, 0]], [(K.T3, [[0, 1, 2]])])
    for mesh in (point, line):
        draw(mesh, tmp_path / "p.png")
        assert (tmp_path / "p.png").stat().st_size > 0


def test_elements_too_small_to_be_outlined_do_not_blacken_the_picture(tmp_path):
    points, faces = grid(1200, 60, (1.0, 0.05))
    pixels = picture(tmp_path, Mesh(points, [(K.Q4, faces)]))
    top, bottom, left, right = mesh_area(pixels)
    assert coloured(pixels)[top:bottom, left:right].mean() > 0.98
