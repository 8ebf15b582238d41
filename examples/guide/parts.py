"""Sweeps the two parts of a surface by themselves, as two processes would, and compares them with the whole."""

import numpy as np

import meldra3d as m

x, y = np.meshgrid(np.linspace(0, 3, 7), np.linspace(0, 2, 5))
points = np.column_stack([x.ravel(), y.ravel(), np.sin(x + y).ravel()])
first = (7 * np.arange(4)[:, None] + np.arange(6)).ravel()
faces = first[:, None] + [0, 1, 8, 7]
shifts = 0.3 * m.normals(points, faces)  # of the whole surface: at the border of a part its own would differ
whole = m.extrude_normal(points, faces, node_shifts=shifts, layers=4)

for part in (faces[:13], faces[13:]):
    nodes, numbered = np.unique(part, return_inverse=True)  # the number here is the place among its nodes
    swept = m.extrude_normal(points[nodes], numbered.reshape(-1, 4), node_shifts=shifts[nodes], layers=4)

    # On each level the copies come in the order in which the faces first name their nodes.
    order = nodes[list(dict.fromkeys(numbered.ravel()))]
    everywhere = list(dict.fromkeys(faces.ravel()))
    same = [everywhere.index(node) for node in order]
    copies = swept.points[len(nodes) :].reshape(4, -1, 3)
    expected = whole.points[len(points) :].reshape(4, -1, 3)[:, same]
    assert (copies == expected).all()
print(f"{len(whole.solids)} hexahedra, the same in parts")
# prints: 96 hexahedra, the same in parts
