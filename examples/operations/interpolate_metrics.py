"""Interpolates wanted element sizes: 1 at the bottom of a cube, 3 at its top."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1], [1, 1, 1]]
cells = [[1, 0, 3, 7], [0, 1, 5, 7], [0, 2, 3, 7], [2, 0, 6, 7], [4, 0, 5, 7], [0, 4, 6, 7]]  # a cube
sizes = [1, 1, 1, 1, 3, 3, 3, 3]
metrics = [[1 / h**2, 0, 1 / h**2, 0, 0, 1 / h**2] for h in sizes]  # m11 m12 m22 m13 m23 m33

found = m.interpolate_metrics(points, cells, metrics, [[0.6, 0.5, 0.25]])
print(f"m11 is {found[0, 0]:.4f}: a size of {found[0, 0] ** -0.5:.1f}")
# prints: m11 is 0.4444: a size of 1.5
