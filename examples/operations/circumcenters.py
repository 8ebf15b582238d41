"""Centres of the spheres around the tetrahedra of a cube: they all have the same."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1], [1, 1, 1]]
cells = [[1, 0, 3, 7], [0, 1, 5, 7], [0, 2, 3, 7], [2, 0, 6, 7], [4, 0, 5, 7], [0, 4, 6, 7]]  # a cube

centers = m.circumcenters(points, cells)
print("{} centres, the first ({:g}, {:g}, {:g})".format(len(centers), *centers[0]))
# prints: 6 centres, the first (0.5, 0.5, 0.5)
