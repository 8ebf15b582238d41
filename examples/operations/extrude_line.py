"""Sweeps a surface along a polyline, a layer for each segment, while it becomes smaller."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [2, 0, 0], [0, 1, 0], [1, 1, 0], [2, 1, 0], [0.5, 1.8, 0]]
section = [[0, 1, 4, 3], [1, 2, 5, 4], [3, 4, 6, m.NO_NODE]]
points += [[1, 0, 0], [1, 0, 2], [1.2, 0, 3], [1.8, 0, 3.9], [2.7, 0, 4.5], [3.7, 0, 4.7], [5.5, 0, 4.7]]
line = range(7, 14)  # nodes of the line

points, solids, _, _ = m.extrude_line(points, section, line, (0, 0, 1), sizes=[1, 1, 0.9, 0.8, 0.7, 0.6, 0.5])
print(f"{len(points)} nodes, {len(solids)} solids, volume {m.volume(points, solids):.3f}")
# prints: 56 nodes, 18 solids, volume 12.626
