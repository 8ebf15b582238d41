"""Smallest and largest solid angle at the corners of each element, as parts of the sphere."""

import numpy as np

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
points += [[0.5, 0.5, 1.7], [2, 0, 0], [2, 1, 0]]
n = m.NO_NODE
solids = [[0, 1, 2, 3, 4, 5, 6, 7], [4, 5, 6, 7, 8, n, n, n], [1, 5, 9, 2, 6, 10, n, n]]

least, most = m.solid_angles(points, solids)
for a, b in zip(least / (4 * np.pi), most / (4 * np.pi)):
    print(f"{a:.3f} to {b:.3f}, ", end="")
print("of the sphere")
# prints: 0.125 to 0.125, 0.000 to 0.110, 0.000 to 0.125, of the sphere
