"""Faults of meshes, one at a time, and measures of their solids."""

import numpy as np
import pytest
from grids import bricks, mixed, tetrahedra
from reference_elements import OURS, raw_element, six_volumes

from meldra3d import (
    MEASURES,
    Mesh,
    MeshFileError,
    check_mesh,
    dihedral_angles,
    duplicate_surface_nodes,
    flip,
    measure_mesh,
    solid_angles,
    split_into_H8,
)
from meldra3d.elements import SHAPES
from meldra3d.elements import ElementType as K
from meldra3d.histogram import draw_histograms

CHECKS = [
    "inverted solids",
    "solids with an inverted corner",
    "flat elements",
    "elements that have a node twice",
    "faces that more than two solids share",
    "edges at which the boundary is not closed",
    "nodes in no element",
]
BLOCK, BRICKS = bricks(4, 3, 2)
SOUND = {
    "hexahedra": Mesh(BLOCK, [(K.H8, BRICKS)]),
    "tetrahedra": Mesh(BLOCK, [(K.TH4, tetrahedra(BRICKS))]),
    "mixed solids": Mesh(BLOCK, [(K.SOLID_MIX, mixed(BRICKS))]),
    "solids with faces and edges": Mesh(BLOCK, [(K.EDGE2, [[0, 1]]), (K.H8, BRICKS), (K.Q4, BRICKS[:, :4])]),
    "an open surface": Mesh(BLOCK, [(K.Q4, BRICKS[:, :4]), (K.NODE, np.arange(60)[:, None])]),
    **{kind.name: Mesh(raw_element(kind, "ours"), [(kind, [range(len(OURS[kind]))])]) for kind in OURS},
}


def faults(mesh):
    """What is wrong, and where."""
    findings = check_mesh(mesh)
    assert [finding.what for finding in findings] == CHECKS
    assert all((finding.total == 0) == (len(finding.places) == 0) for finding in findings)
    return {finding.what: (finding.total, finding.places.tolist()) for finding in findings if finding.total}


@pytest.mark.parametrize("name", SOUND)
def test_nothing_is_found_wrong_with_sound_meshes(name):
    assert faults(SOUND[name]) == {}


def test_opened_meshes_are_sound():
    points, cells = bricks(4, 4, 2)
    disc = np.array([row[4:] for row in cells[:16] if row[0] in (6, 7, 11, 12)])
    assert len(disc) == 4
    nodes, counts = np.unique(disc, return_counts=True)
    opened = duplicate_surface_nodes(points, cells, disc, K.H8, excluded=nodes[counts < 4])
    assert len(opened.pairs) == 1
    assert faults(Mesh(opened.points, [(K.H8, opened.cells)])) == {}


def test_cut_meshes_are_sound():
    cut = split_into_H8(BLOCK, BRICKS)
    assert faults(Mesh(cut.points, [(K.H8, cut.cells)])) == {}


@pytest.mark.parametrize("kind", [K.TH4, K.H8])
def test_inverted_solids_are_found_with_their_numbers(kind):
    cells = {K.TH4: tetrahedra(BRICKS), K.H8: BRICKS}[kind].copy()
    cells[[3, 17]] = flip(cells[[3, 17]], kind)
    mesh = Mesh(BLOCK, [(K.T3, [[0, 1, 5], [0, 5, 4]]), (kind, cells)])
    assert faults(mesh) == {"inverted solids": (2, [5, 19])}


def test_a_hexahedron_that_is_dented_at_a_corner_is_found_though_its_volume_is_positive():
    points, cells = bricks(1, 1, 1)
    points[6] = [0.2, 0.2, 0.2]
    assert faults(Mesh(points, [(K.H8, cells)])) == {"solids with an inverted corner": (1, [0])}


def test_a_corner_of_180_degrees_is_no_fault():
    points, cells = bricks(1, 1, 1)
    points[2], points[6] = [0.5, 0.5, 0], [0.5, 0.5, 1]
    for turn in (1, 0.3, 1e-3):
        tilt = np.array([[np.cos(turn), -np.sin(turn), 0], [np.sin(turn), np.cos(turn), 0], [0, 0, 1]])
        assert faults(Mesh(points @ tilt.T, [(K.H8, cells)])) == {}


@pytest.mark.parametrize("scale", [1e-8, 1.0, 1e8])
def test_flat_elements_are_found_whatever_the_unit_of_length(scale):
    points = scale * np.array([[0, 0, 0], [0, 1, 0], [1, 0, 0], [1, 1, 0], [0, 0, 1], [2, 0, 0], [1, 0, 0]])
    mesh = Mesh(points, [(K.TH4, [[0, 1, 2, 3], [0, 1, 2, 4]]), (K.T3, [[0, 2, 5]]), (K.EDGE2, [[2, 6], [0, 2]])])
    assert faults(mesh) == {"flat elements": (3, [0, 2, 3])}


def test_thin_layers_are_not_flat():
    points = BLOCK * [1, 1, 1e-7]
    assert faults(Mesh(points, [(K.H8, BRICKS)])) == {}


@pytest.mark.parametrize("kind", [K.H20, K.T6])
def test_nodes_that_an_element_has_twice_are_found(kind):
    x = raw_element(kind, "ours")
    nodes = np.arange(len(x))
    nodes[-1] = nodes[-2]
    found = faults(Mesh(x, [(kind, [nodes, range(len(x))])]))
    assert found["elements that have a node twice"] == (1, [0])


def test_faces_of_three_solids_are_found():
    points, cells = bricks(2, 1, 1)
    points = np.concatenate([points, [[2.0, y, z] for z in (3, 4) for y in (3, 4)]])
    more = [1, 12, 13, 4, 7, 14, 15, 10]  # at the face between the two bricks
    found = faults(Mesh(points, [(K.H8, [*cells, more])]))
    assert found["faces that more than two solids share"] == (1, [0, 1, 2])
    # all edges of that face are left to an odd number of other faces: three
    assert found["edges at which the boundary is not closed"] == (4, [1, 4, 7, 10])


def test_nodes_in_no_element_are_found():
    points = np.concatenate([BLOCK, [[9, 9, 9], [9, 9, 9]]])
    assert faults(Mesh(points, SOUND["hexahedra"].blocks)) == {"nodes in no element": (2, [60, 61])}


def test_a_mesh_without_elements_has_but_unused_nodes():
    assert faults(Mesh(BLOCK[:2], [])) == {"nodes in no element": (2, [0, 1])}


# ---- measures ----


def test_measures_of_a_mesh_are_those_of_its_elements():
    mesh = Mesh(BLOCK, [(K.Q4, BRICKS[:2, :4]), (K.SOLID_MIX, mixed(BRICKS)), (K.H8, BRICKS[:1])])
    wedges, hexahedra = measure_mesh(mesh)
    assert (wedges.kind, hexahedra.kind) == (K.W6, K.H8)
    np.testing.assert_array_equal(wedges.elements, np.arange(2, 26))
    np.testing.assert_array_equal(hexahedra.elements, [*range(26, 38), 38])
    # half a square: corners of 45 degrees at the regular 60, of 90 at most; no padding takes part
    np.testing.assert_allclose(wedges.values, np.tile([0.5, 0.75, 1.5, 45, 90], (24, 1)), rtol=1e-12)
    np.testing.assert_allclose(hexahedra.values, np.tile([1, 1, 1, 90, 90], (13, 1)), rtol=1e-12)
    assert len(MEASURES) == 5


@pytest.mark.parametrize("kind", [kind for kind in OURS if SHAPES[kind].dimension == 3], ids=lambda kind: kind.name)
def test_quadratic_solids_are_measured_by_their_vertices(kind):
    x = raw_element(kind, "ours")
    (measured,) = measure_mesh(Mesh(x, [(kind, [range(len(x))])]))
    vertices = [range(SHAPES[kind].vertices)]
    expected = [six_volumes(kind, x) / 6]
    expected += [angle[0] for angle in solid_angles(x, vertices, True)]
    expected += [np.degrees(angle[0]) for angle in dihedral_angles(x, vertices)]
    np.testing.assert_allclose(measured.values[0], expected, rtol=1e-12)


def test_a_surface_has_no_measures():
    assert measure_mesh(SOUND["an open surface"]) == []


# ---- histograms ----


def bars(monkeypatch, tmp_path, mesh):
    """The bars of each panel, as (left, width, height), and whether its scale is logarithmic."""
    from matplotlib.figure import Figure

    drawn = {}

    def kept(figure, path, **_):
        for panel in figure.axes:
            patches = [(p.get_x(), p.get_width(), p.get_height()) for p in panel.patches]
            drawn[panel.get_title()] = np.array(patches), panel.get_xscale()
        path.write_text("drawn")

    monkeypatch.setattr(Figure, "savefig", kept)
    draw_histograms(measure_mesh(mesh), tmp_path / "h.png")
    return drawn


def test_histograms_hold_every_solid_where_its_value_is(monkeypatch, tmp_path):
    mesh = SOUND["mixed solids"]
    drawn = bars(monkeypatch, tmp_path, mesh)
    assert set(MEASURES) <= set(drawn)
    for column, name in enumerate(MEASURES):
        patches, scale = drawn[name]
        assert scale == "linear" and patches[:, 2].sum() == 36
        for left, width, height in patches[patches[:, 2] > 0]:
            values = np.concatenate([each.values[:, column] for each in measure_mesh(mesh)])
            assert height <= ((values >= left - 1e-9) & (values <= left + width + 1e-9)).sum()


def test_volumes_that_differ_much_lie_on_a_logarithmic_scale(monkeypatch, tmp_path):
    graded = Mesh(np.column_stack([10.0 ** BLOCK[:, 0], BLOCK[:, 1:]]), SOUND["hexahedra"].blocks)
    drawn = bars(monkeypatch, tmp_path, graded)
    patches, scale = drawn["volume"]
    assert scale == "log" and patches[:, 2].sum() == 24
    assert drawn["least dihedral angle"][1] == "linear"


def test_histograms_are_pictures(tmp_path):
    from matplotlib.image import imread

    draw_histograms(measure_mesh(SOUND["tetrahedra"]), tmp_path / "h.png")
    picture = imread(tmp_path / "h.png")
    assert picture.shape[1] == 1920
    # where the bars are, the colour of tetrahedra
    orange = np.abs(picture[..., :3] - np.array([0xE0, 0x80, 0x5F]) / 255).max(axis=2) < 0.02
    assert orange.sum() > 5000


def test_histograms_of_nothing_are_refused(tmp_path):
    with pytest.raises(ValueError, match="^there are no solids"):
        draw_histograms([], tmp_path / "h.png")
    with pytest.raises(MeshFileError, match="cannot write files of kind '.gif'"):
        draw_histograms(measure_mesh(SOUND["tetrahedra"]), tmp_path / "h.gif")
    assert list(tmp_path.iterdir()) == []
