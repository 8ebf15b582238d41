"""Finds the tetrahedron that holds a point, and the local coordinates of the point there."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1], [1, 1, 1]]
cells = [[1, 0, 3, 7], [0, 1, 5, 7], [0, 2, 3, 7], [2, 0, 6, 7], [4, 0, 5, 7], [0, 4, 6, 7]]  # a cube

elements, weights, found = m.locate(points, cells, [[0.75, 0.5, 0.25]])
print("element {}, weights {:.2f} {:.2f} {:.2f}".format(elements[0], *weights[0, :3]))
# prints: element 0, weights 0.25 0.25 0.25
