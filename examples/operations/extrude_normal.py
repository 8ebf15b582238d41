"""Thickens half a tube outwards, in layers that grow from about 0.05 to about 0.2."""

import numpy as np

import meldra3d as m

angle = np.repeat(np.arange(9) * np.pi / 8, 2)  # two nodes at each of nine angles
points = np.column_stack([np.cos(angle), np.tile([0, 2], 9), np.sin(angle)])
tube = 2 * np.arange(8)[:, None] + [0, 1, 3, 2]  # counter-clockwise seen from outside: the normals point there

points, solids, _, _ = m.extrude_normal(points, tube, 0.5, sizes=(0.05, 0.2))
print(f"{len(points)} nodes, {len(solids)} solids, volume {m.volume(points, solids):.3f}")
# prints: 108 nodes, 40 solids, volume 3.741
