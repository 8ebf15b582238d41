"""Meshes of other projects, which are not part of this one: a test is skipped where its file is not at hand."""

from pathlib import Path

import numpy as np
import pytest
from matplotlib.image import imread
from reference_elements import OURS

from meldra3d import (
    Locator,
    Mesh,
    check_mesh,
    draw,
    extrude_translate,
    flip_TH4,
    interpolate,
    measure_mesh,
    neighbors,
    read,
    volume,
    write,
)
from meldra3d.elements import NO_NODE, SHAPES
from meldra3d.elements import ElementType as K
from meldra3d.measures import areas, signed_volumes
from meldra3d.opening import faces_at, inner_border, open_mesh
from meldra3d.refine import QUADRATIC, cut_into_hexahedra, lower_order, raise_order

FOLDER = Path(__file__).resolve().parents[2] / "../shared/meshes"


def real(name):
    path = FOLDER / name
    if not path.exists():
        pytest.skip(f"{name} is not at hand")
    return read(path)


# nodes, elements by kind, volume (None: curved) and how many solids are inverted
MESHES = {
    "tet_cube_cylinder_2regions.mesh": (10_490, {K.TH4: 54_517}, 1, 0),
    "tet_elbow.mesh": (1_823, {K.TH4: 8_161}, -0.00087736231121, 8_161),
    "tet10_can.vtk": (14_119, {K.TH10: 7_236}, 44_308_790_416.3, 0),
    "hex_matrix_fiber_2regions.mesh": (2_421, {K.H8: 1_952}, 1, 0),
    "mixed_tet_pyr_hex.vtk": (646, {K.TH4: 1_326, K.PY5: 48, K.H8: 128}, 5e6, 0),
    "mixed_quadratic_fichera.vtk": (116, {K.TH10: 5, K.W18: 6, K.H27: 3}, None, 6),
    "surf_quad_wingbox_nonmanifold.vtk": (2_673, {K.Q4: 2_464}, 0, 0),
    "surf_square_triquad_planar.mesh": (470, {K.T3: 458, K.Q4: 200}, 0, 0),
}


@pytest.mark.parametrize("name", MESHES)
def test_a_real_mesh_has_its_known_counts_volume_and_orientation(name):
    nodes, counts, expected, inverted = MESHES[name]
    mesh = real(name)
    assert len(mesh.points) == nodes and mesh.counts() == counts
    solids = [(kind, cells) for kind, cells in mesh.blocks if SHAPES[kind].dimension == 3]
    total = sum(volume(mesh.points, cells[:, : SHAPES[kind].vertices]) for kind, cells in solids)
    if expected is not None:
        assert total == pytest.approx(expected, rel=1e-10)
    assert sum(int((signed_volumes(mesh.points, kind, cells) < 0).sum()) for kind, cells in solids) == inverted


def test_mid_edge_nodes_of_a_real_mesh_lie_at_the_middle_of_their_edges():
    mesh = real("tet10_can.vtk")
    ((_, cells),) = mesh.blocks
    for node, (a, b) in enumerate(SHAPES[K.TH10].edges, start=4):
        middle = (mesh.points[cells[:, a]] + mesh.points[cells[:, b]]) / 2
        assert np.abs(mesh.points[cells[:, node]] - middle).max() < 1e-7 * np.abs(mesh.points).max()


@pytest.mark.parametrize("name", MESHES)
def test_a_real_mesh_survives_writing_and_reading(tmp_path, name):
    mesh = real(name)
    for extension in ("vtu", "vtk", "msh"):
        write(tmp_path / f"m.{extension}", mesh)
        again = read(tmp_path / f"m.{extension}")
        np.testing.assert_array_equal(again.points, mesh.points)
        assert again.counts() == mesh.counts()
        for kind in mesh.counts():
            theirs, ours = (np.concatenate([c for k, c in m.blocks if k is kind]) for m in (again, mesh))
            np.testing.assert_array_equal(theirs, ours)


LINEAR_SOLIDS = ["tet_cube_cylinder_2regions.mesh", "tet_elbow.mesh", "hex_matrix_fiber_2regions.mesh",
                 "mixed_tet_pyr_hex.vtk"]  # fmt: skip


@pytest.mark.parametrize("name", LINEAR_SOLIDS)
def test_a_real_mesh_is_the_same_after_it_was_quadratic_in_a_file(tmp_path, name):
    mesh = real(name)
    write(tmp_path / "m.msh", raise_order(mesh, QUADRATIC))
    quadratic = read(tmp_path / "m.msh")
    for kind, cells in quadratic.blocks:
        middles = [quadratic.points[cells[:, list(amid)]].mean(axis=1) for amid in OURS[kind]]
        np.testing.assert_allclose(quadratic.points[cells], np.stack(middles, axis=1), rtol=0, atol=1e-9)
    again = lower_order(quadratic)
    np.testing.assert_array_equal(again.points, mesh.points)
    for (kind, cells), (other, others) in zip(again.blocks, mesh.blocks):
        assert kind is other
        np.testing.assert_array_equal(cells, others)


@pytest.mark.parametrize("name", LINEAR_SOLIDS[:3])
def test_a_real_mesh_of_hexahedra_has_the_same_volume_and_no_gaps(name):
    mesh = real(name)
    cut = cut_into_hexahedra(mesh)
    assert set(cut.counts()) == {K.H8}
    total = sum(volume(m.points, cells) * sign for m, sign in ((cut, 1), (mesh, -1)) for _, cells in m.blocks)
    assert total == pytest.approx(0, abs=1e-9 * abs(MESHES[name][2]))
    outer = [sum(int((neighbors(cells, kind) == NO_NODE).sum()) for kind, cells in m.blocks) for m in (mesh, cut)]
    assert outer[1] == outer[0] * len(SHAPES[mesh.blocks[0][0]].faces[0])


@pytest.mark.parametrize("name", MESHES)
def test_a_real_mesh_can_be_drawn(tmp_path, name):
    mesh = real(name)
    draw(mesh, tmp_path / "m.png", by=next(iter(mesh.cell_data)))
    pixels = imread(tmp_path / "m.png")[..., :3]
    assert (pixels.min(axis=2) < 0.9).mean() > 0.2


def test_the_outer_faces_of_a_real_mesh_are_those_without_a_neighbour():
    mesh = real("hex_matrix_fiber_2regions.mesh")
    ((_, cells),) = mesh.blocks
    outside = neighbors(cells, K.H8, strict=True) == NO_NODE
    total = 0.0
    for f, face in enumerate(SHAPES[K.H8].faces):
        total += areas(mesh.points, K.Q4, cells[outside[:, f]][:, list(face)]).sum()
    assert total == pytest.approx(6, rel=1e-12)  # the unit cube


def test_the_plane_square_sweeps_into_its_area_times_the_length():
    mesh = real("surf_square_triquad_planar.mesh")
    surface, data = mesh.surface()
    swept = extrude_translate(mesh.points, surface, (0.3, -0.2, 2), sizes=(0.05, 0.4))
    assert volume(swept.points, swept.solids) == pytest.approx(2, rel=1e-12)
    assert len(data["medit:ref"]) == len(surface) == 658


@pytest.mark.parametrize("name", MESHES)
def test_nothing_but_orientation_is_found_wrong_with_a_real_mesh(name):
    inverted = MESHES[name][3]
    found = {finding.what: finding.total for finding in check_mesh(real(name)) if finding.total}
    assert found == ({"inverted solids": inverted} if inverted else {})


@pytest.mark.parametrize("name", ["tet_cube_cylinder_2regions.mesh", "mixed_tet_pyr_hex.vtk", "tet10_can.vtk"])
def test_dihedral_angles_of_a_real_mesh_are_those_between_its_faces(name):
    mesh = real(name)
    kind, elements, values = measure_mesh(mesh)[0]
    cells = np.concatenate([c for k, c in mesh.split().blocks if k is kind])[:, :4]
    expected = []
    for a, b in ((0, 1), (0, 2), (0, 3), (1, 2), (1, 3), (2, 3)):
        c, d = (k for k in range(4) if k not in (a, b))
        along, first, second = (mesh.points[cells[:, k]] - mesh.points[cells[:, a]] for k in (b, c, d))
        along /= np.linalg.norm(along, axis=1)[:, None]
        across = [v - np.einsum("ij,ij->i", v, along)[:, None] * along for v in (first, second)]
        sine = np.linalg.norm(np.cross(*across), axis=1)
        expected.append(np.degrees(np.arctan2(sine, np.einsum("ij,ij->i", *across))))
    np.testing.assert_allclose(values[:, 3], np.min(expected, axis=0), rtol=1e-10)
    np.testing.assert_allclose(values[:, 4], np.max(expected, axis=0), rtol=1e-10)


@pytest.mark.parametrize(
    "name,kind,faces,nodes",
    [("tet_cube_cylinder_2regions.mesh", K.TH4, 1_472, 768), ("hex_matrix_fiber_2regions.mesh", K.H8, 192, 216)],
)
def test_two_regions_of_a_real_mesh_are_parted_along_their_interface(name, kind, faces, nodes):
    mesh = real(name)
    block = next(b for b, (k, _) in enumerate(mesh.blocks) if k is kind)
    cells, region = mesh.blocks[block][1], mesh.cell_data["medit:ref"][block]
    across = neighbors(cells, kind)
    cycles = []
    for f, face in enumerate(SHAPES[kind].faces):
        other = np.where(across[:, f] == NO_NODE, 0, across[:, f])
        between = (across[:, f] != NO_NODE) & (region == region.min()) & (region[other] != region.min())
        cycles.append(cells[between][:, list(face)])
    interface = np.concatenate(cycles)
    assert len(interface) == faces and len(np.unique(interface)) == nodes
    surface, missing = faces_at(mesh, mesh.points, interface)
    assert missing == 0 and len(surface) == faces
    assert len(inner_border(mesh, surface)) == 0
    opened, pairs = open_mesh(mesh, surface, keep_border=True)
    assert len(pairs) == nodes and sorted(pairs[:, 0]) == np.unique(interface).tolist()
    first, second = (np.unique(opened.blocks[block][1][region == number]) for number in np.unique(region))
    assert len(np.intersect1d(first, second)) == 0
    assert all(finding.total == 0 for finding in check_mesh(Mesh(opened.points, [opened.blocks[block]])))


def linear(x):
    return x @ [3.0, -2.0, 0.5] + 7


def points_in(points, cells, count):
    """Points inside elements taken at random."""
    random = np.random.default_rng(0)
    weights = random.dirichlet(np.ones(4), count)
    return np.einsum("qk,qkd->qd", weights, points[cells[random.integers(len(cells), size=count), :4]])


@pytest.mark.parametrize("name", ["tet_cube_cylinder_2regions.mesh", "tet_elbow.mesh", "tet10_can.vtk"])
def test_points_in_the_elements_of_a_real_mesh_are_found(name):
    mesh = real(name)
    ((_, cells),) = [block for block in mesh.blocks if SHAPES[block[0]].dimension == 3]
    if MESHES[name][3]:
        with pytest.raises(ValueError, match="^cells: have a negative volume altogether"):
            Locator(mesh.points, cells)
        cells = flip_TH4(cells)
    queries = points_in(mesh.points, cells, 20_000)
    size = np.abs(mesh.points).max()
    elements, weights, found = Locator(mesh.points, cells).locate(queries)
    assert found.all() and weights.min() >= -1e-6
    back = np.einsum("qk,qkd->qd", weights, mesh.points[cells[elements, :4]])
    np.testing.assert_allclose(back, queries, rtol=0, atol=1e-12 * size)
    values = interpolate(mesh.points, cells, linear(mesh.points), queries)
    np.testing.assert_allclose(values, linear(queries), rtol=0, atol=1e-12 * max(size, 7))


def test_points_around_a_real_cube_are_told_from_those_inside():
    mesh = real("tet_cube_cylinder_2regions.mesh")
    ((_, cells),) = [block for block in mesh.blocks if block[0] is K.TH4]
    queries = np.random.default_rng(1).uniform(-0.2, 1.2, (20_000, 3))
    inside = ((queries > 0) & (queries < 1)).all(axis=1)
    np.testing.assert_array_equal(Locator(mesh.points, cells).locate(queries).found, inside)
