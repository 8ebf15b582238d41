"""The checks that the examples make: that they see faults, and that their formulas hold."""

import math
import pathlib
import sys

import numpy as np
import pytest

from meldra3d import Mesh, flip_H8
from meldra3d.elements import ElementType as K
from meldra3d.measures import areas

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "examples"))
import elbow  # noqa: E402
import manifold  # noqa: E402
import parts  # noqa: E402
import spring  # noqa: E402


@pytest.fixture(scope="module")
def sound():
    return elbow.make()


def test_a_volume_off_by_little_is_a_fault(sound):
    assert parts.faults(sound) == ""
    for expected in (sound.expected * (1 + 2e-12), sound.expected * (1 - 2e-12), math.nan):
        assert parts.faults(sound._replace(expected=expected)) == "elbow: the volume is off by more than 1e-12"


def test_a_single_inverted_element_is_a_fault(sound):
    ((kind, cells),) = sound.mesh.blocks
    changed = cells.copy()
    changed[7:8] = flip_H8(cells[7:8])
    mesh = Mesh(sound.mesh.points, [(kind, changed)])
    assert parts.faults(sound._replace(mesh=mesh)) == "elbow: 1 elements have no positive volume"


def test_a_fault_ends_the_process_with_its_name(sound, tmp_path, monkeypatch, capsys):
    monkeypatch.setattr(sys, "argv", ["elbow.py", str(tmp_path)])
    monkeypatch.setattr(parts, "save", lambda *_: None)
    assert parts.run(lambda: sound) == (tmp_path, [sound])
    assert "510,039.29" in capsys.readouterr().out
    with pytest.raises(SystemExit, match="^elbow: the volume is off"):
        parts.run(lambda: sound._replace(expected=1.0))


@pytest.mark.parametrize("make", [lambda: parts.annulus(np.linspace(3, 5, 3), 20), lambda: spring.disc(5, 6, 3)])
def test_sections_are_as_large_as_their_polygons_and_lie_about_the_origin(make):
    points, faces = make()
    flat = np.column_stack([points, np.zeros(len(points))])
    expected = {20: parts.polygon_area(5, 20) - parts.polygon_area(3, 20), 24: parts.polygon_area(5, 24)}
    around = 20 if len(faces) == 40 else 24
    assert areas(flat, K.Q4, faces).sum() == pytest.approx(expected[around], rel=1e-13)
    cross = np.cross(points[faces[:, 2]] - points[faces[:, 0]], points[faces[:, 3]] - points[faces[:, 1]])
    assert (cross > 0).all()
    np.testing.assert_allclose(points.mean(axis=0), 0, atol=1e-14)


def test_bends_of_the_manifold_are_arcs_between_straight_pieces():
    for corners in manifold.LINES:
        line = manifold.rounded(corners)
        assert (line[0] == corners[0]).all() and np.allclose(line[-1], corners[-1])
        steps = np.diff(line, axis=0)
        lengths = np.linalg.norm(steps, axis=1)
        assert lengths.max() <= manifold.STEP * (1 + 1e-12) and lengths.min() > 0.3 * manifold.STEP
        cosines = (steps[1:] * steps[:-1]).sum(axis=1) / (lengths[1:] * lengths[:-1])
        assert np.degrees(np.arccos(np.clip(cosines, -1, 1))).max() < 9


def test_the_volume_of_a_narrowing_bend_is_what_its_section_sweeps_through_step_by_step():
    line = manifold.rounded(manifold.LINES[0])
    sizes = manifold.sizes_along(line)
    steps = np.diff(line, axis=0)
    directions = [step / np.linalg.norm(step) for step in (steps[0], *steps)]
    slices = 200
    total = 0.0
    for k, step in enumerate(steps):
        axis = np.cross(directions[k], directions[k + 1])
        if np.linalg.norm(axis) < 1e-9:  # straight on: any axis across
            axis = np.cross(directions[k], [1, 2, 3])
        axis /= np.linalg.norm(axis)
        first, second = (sizes[i] * np.array([np.cross(axis, directions[i]), axis]) for i in (k, k + 1))
        for t in (np.arange(slices) + 0.5) / slices:
            u, v = (1 - t) * first + t * second  # two sides of a section of area 1 at the port
            total += np.cross(u, v) @ step / slices
    assert manifold.exact_volume(line, 1.0) == pytest.approx(abs(total), rel=1e-5)
