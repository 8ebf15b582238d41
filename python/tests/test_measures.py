"""Volumes and areas of single elements against the library and against closed forms."""

import numpy as np
import pytest
from reference_elements import OURS, SHAPE_OF, raw_element, six_volumes

from meldra3d import volume
from meldra3d.elements import SHAPES
from meldra3d.measures import areas, signed_volumes

SOLIDS = [kind for kind in OURS if SHAPES[kind].dimension == 3]


@pytest.mark.parametrize("kind", SOLIDS, ids=lambda kind: kind.name)
def test_the_volume_of_an_element_is_the_librarys(kind):
    x = raw_element(kind, "ours")
    cells = np.arange(len(x))[None, :]
    one = signed_volumes(x, kind, cells)
    assert one[0] == pytest.approx(six_volumes(kind, x) / 6, rel=1e-14)
    assert one.sum() == pytest.approx(volume(x, cells[:, : SHAPES[kind].vertices]), rel=1e-14)


@pytest.mark.parametrize("kind", SOLIDS, ids=lambda kind: kind.name)
def test_a_mirrored_element_has_the_negative_volume(kind):
    x = raw_element(kind, "ours")
    mirrored = x * [1, 1, -1]
    points, count = np.concatenate([x, mirrored]), len(x)
    first, second = signed_volumes(points, kind, np.arange(2 * count).reshape(2, count))
    assert first > 0 and second == pytest.approx(-first, rel=1e-14)


@pytest.mark.parametrize("kind", [k for k in OURS if SHAPE_OF[k] in ("triangle", "quadrangle")], ids=lambda k: k.name)
def test_the_area_of_a_plane_element_is_that_of_its_polygon(kind):
    x = raw_element(kind, "ours") * [1, 1, 0]
    corners = x[: SHAPES[kind].vertices]
    shoelace = 0.5 * np.cross(corners, np.roll(corners, -1, axis=0))[:, 2].sum()
    tilt = np.array([[1, 0, 0], [0, 0.6, -0.8], [0, 0.8, 0.6]])
    assert areas(x @ tilt.T, kind, np.arange(len(x))[None, :])[0] == pytest.approx(shoelace, rel=1e-14)


@pytest.mark.parametrize(
    "points,expected",
    [
        ([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], -1 / 6),
        ([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0.5, 0.5, 1]], 1 / 3),
        ([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1]], 1 / 2),
        ([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]], 1),
    ],
)
def test_plain_elements_have_the_volumes_of_the_school_book(points, expected):
    assert volume(points, [list(range(len(points)))]) == pytest.approx(expected, rel=1e-15)


def test_no_elements_have_no_volume():
    assert volume([[0.0, 0]], []) == 0.0
