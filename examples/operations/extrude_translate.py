"""Sweeps a surface along a vector, in layers that grow from about 0.2 to about 1."""

import meldra3d as m

points = [[0, 0], [1, 0], [2, 0], [0, 1], [1, 1], [2, 1], [0.5, 1.8]]
section = [[0, 1, 4, 3], [1, 2, 5, 4], [3, 4, 6, m.NO_NODE]]  # two quadrangles and a triangle

points, solids, _, _ = m.extrude_translate(points, section, (0, 0, 4), sizes=(0.2, 1.0))
print(f"{len(points)} nodes, {len(solids)} solids, volume {m.volume(points, solids):.3f}")
# prints: 63 nodes, 24 solids, volume 9.600
