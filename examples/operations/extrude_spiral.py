"""Sweeps a surface two turns about an axis while it moves along it, in 48 equal layers."""

import math

import meldra3d as m

points = [[0, 0], [1, 0], [2, 0], [0, 1], [1, 1], [2, 1], [0.5, 1.8]]
section = [[0, 1, 4, 3], [1, 2, 5, 4], [3, 4, 6, m.NO_NODE]]  # two quadrangles and a triangle

points, solids, _, _ = m.extrude_spiral(points, section, (4, 0, 0), (0, 4 * math.pi, 0), (0, 6, 0), layers=48)
print(f"{len(points)} nodes, {len(solids)} solids, volume {m.volume(points, solids):.3f}")
# prints: 343 nodes, 144 solids, volume 92.321
