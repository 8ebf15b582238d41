"""Sweeps a surface three quarters of a turn about an axis, in 18 equal layers."""

import math

import meldra3d as m

points = [[0, 0], [1, 0], [2, 0], [0, 1], [1, 1], [2, 1], [0.5, 1.8]]
section = [[0, 1, 4, 3], [1, 2, 5, 4], [3, 4, 6, m.NO_NODE]]  # two quadrangles and a triangle

# The rotation is a vector along the axis, as long as the angle in radians.
points, solids, _, _ = m.extrude_rotate(points, section, (3.5, 0, 0), (0, 1.5 * math.pi, 0), layers=18)
print(f"{len(points)} nodes, {len(solids)} solids, volume {m.volume(points, solids):.3f}")
# prints: 133 nodes, 54 solids, volume 28.884
