"""The checks that the examples make: that they see faults, and that their formulas hold."""

import math
import pathlib
import sys

import numpy as np
import pytest

import meldra3d
from meldra3d import NO_NODE, Locator, Mesh, flip_H8, flip_TH4
from meldra3d.elements import ElementType as K
from meldra3d.measures import areas, signed_volumes

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "examples"))
import crack  # noqa: E402
import elbow  # noqa: E402
import fields  # noqa: E402
import manifold  # noqa: E402
import parts  # noqa: E402
import spring  # noqa: E402
import threads  # noqa: E402


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


def test_what_the_check_of_a_mesh_finds_is_a_fault(sound):
    mesh = Mesh(np.concatenate([sound.mesh.points, [[0.0, 0, 0]]]), sound.mesh.blocks)
    assert parts.faults(sound._replace(mesh=mesh)) == "elbow: 1 nodes in no element"


def test_each_further_figure_must_be_that_of_its_formula(sound):
    checks = [("copies", 7, 7), ("solids", 20, 20 * (1 + 2e-12))]
    assert parts.faults(sound._replace(checks=checks[:1])) == ""
    assert parts.faults(sound._replace(checks=checks)) == "elbow: solids is off by more than 1e-12"


def test_a_fault_ends_the_process_with_its_name(sound, tmp_path, monkeypatch, capsys):
    monkeypatch.setattr(sys, "argv", ["elbow.py", str(tmp_path)])
    monkeypatch.setattr(parts, "save", lambda *_: None)
    assert parts.run(lambda: sound) == (tmp_path, [sound])
    assert "510,039.3" in capsys.readouterr().out
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


def test_the_gap_of_the_crack_is_an_ellipsoid_where_the_mesh_is_fine(monkeypatch):
    monkeypatch.setattr(crack, "AROUND", 2000)
    monkeypatch.setattr(crack, "INSIDE", 500)
    ellipsoid = 4 / 3 * math.pi * crack.RADIUS**2 * crack.OPENING
    assert crack.opening_volume() == pytest.approx(ellipsoid, rel=1e-5)


def test_cohesive_elements_have_no_thickness_before_the_faces_move():
    surface = np.array([[0, 1, 2, NO_NODE], [1, 3, 4, 2], [3, 5, 6, 4]], dtype=np.uint32)
    points = np.array([[0.0, 0, 0], [1, -1, 0], [1, 1, 0], [2, -1, 0], [2, 1, 0], [3, -1, 0], [3, 1, 0]])
    pairs = np.array([[0, 7], [1, 8], [2, 9], [3, 10], [4, 11]], dtype=np.uint32)  # 5 and 6 are the front
    closed = np.concatenate([points, points[:5]])
    opened = closed + np.outer(np.arange(12) > 6, [0, 0, 1])
    wedges, hexahedra = crack.cohesive(surface, pairs)
    assert (len(wedges), len(hexahedra)) == (2, 1)
    for kind, cells, expected in ((K.W6, wedges, [1.0, 1.0]), (K.H8, hexahedra, [2.0])):
        np.testing.assert_array_equal(signed_volumes(closed, kind, cells), 0)
        np.testing.assert_allclose(signed_volumes(opened, kind, cells), expected, rtol=1e-14)


def test_only_the_inside_of_the_block_moves():
    block = crack.block()
    x = block.points
    moved = crack.pulled(x, np.empty(0, dtype=int)) - x
    outside = (np.abs(x[:, :2]).max(axis=1) > crack.WIDTH - 1e-9) | (np.abs(x[:, 2]) > crack.HEIGHT - 1e-9)
    assert np.abs(moved[outside]).max() == 0
    assert np.abs(moved[:, :2]).max() == 0
    assert np.abs(moved[:, 2]).max() == pytest.approx(crack.OPENING)


# ---- a field carried from mesh to mesh ----


@pytest.fixture(scope="module")
def carried():
    return fields.make()


def test_a_difference_beyond_its_bound_is_a_fault(carried):
    assert fields.faults(carried) == []
    errors = carried.errors.copy()
    inside, outside = np.flatnonzero(carried.located.found)[7], np.flatnonzero(~carried.located.found)[7]
    errors[inside], errors[outside] = 1.01 * carried.bounds[[inside, outside]] + 1e-9
    wrong = fields.faults(carried._replace(errors=errors))
    assert wrong == ["the difference is larger than its bound at 2 nodes"]
    errors[inside] = math.nan
    assert fields.faults(carried._replace(errors=errors)) == wrong


def test_an_inverted_tetrahedron_is_a_fault(carried):
    ((kind, cells),) = carried.coarse.blocks
    changed = cells.copy()
    changed[5:6] = flip_TH4(cells[5:6])
    coarse = Mesh(carried.coarse.points, [(kind, changed)])
    assert fields.faults(carried._replace(coarse=coarse)) == ["coarse: 1 elements have no positive volume"]


def test_the_bounds_of_slope_and_curvature_hold_and_are_not_idle():
    x = np.random.default_rng(1).uniform(-1, 1, (20000, 3))
    step = 1e-4 * np.random.default_rng(2).normal(size=x.shape)
    step *= 1e-4 / np.linalg.norm(step, axis=1)[:, None]
    before, here, after = (fields.field_at(x + k * step) for k in (-1, 0, 1))
    slope = np.abs(after - before).max() / 2e-4
    curvature = np.abs(after - 2 * here + before).max() / 1e-8
    assert 0.3 * fields.SLOPE < slope < fields.SLOPE * (1 + 1e-6)
    assert 0.3 * fields.CURVATURE < curvature < fields.CURVATURE * (1 + 1e-6)


def test_the_ball_without_an_octant_has_about_the_volume_of_the_formula():
    points, cells = fields.ball(20)
    assert meldra3d.volume(points, cells) == pytest.approx(7 / 8 * 4 / 3 * math.pi, rel=0.02)
    assert len(np.unique(cells)) == len(points)


def test_threads_give_what_one_gives():
    points, cells = fields.ball(6)
    queries = np.random.default_rng(3).uniform(-1, 1, (3001, 3))
    locator = Locator(points, cells)
    expected = locator.interpolate(fields.field_at(points), queries)
    for number in (1, 3):
        got = threads.interpolate_in_threads(locator, fields.field_at(points), queries, number)
        np.testing.assert_array_equal(got, expected)
