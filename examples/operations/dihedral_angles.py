"""Smallest and largest angle between two faces of each element, in degrees."""

import numpy as np

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
points += [[0.5, 0.5, 1.7], [2, 0, 0], [2, 1, 0]]
n = m.NO_NODE
solids = [[0, 1, 2, 3, 4, 5, 6, 7], [4, 5, 6, 7, 8, n, n, n], [1, 5, 9, 2, 6, 10, n, n]]

least, most = m.dihedral_angles(points, solids)
for a, b in zip(least * 180 / np.pi, most * 180 / np.pi):
    print(f"{a:.3f} to {b:.3f}, ", end="")
print("degrees")
# prints: 90.000 to 90.000, 54.462 to 109.745, 45.000 to 90.000, degrees
