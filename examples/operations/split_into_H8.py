"""Cuts a hexahedron and a wedge into hexahedra, one around each vertex."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
points += [[2, 0, 0], [2, 1, 0]]
solids = [[0, 1, 2, 3, 4, 5, 6, 7], [1, 5, 8, 2, 6, 9, m.NO_NODE, m.NO_NODE]]

points, hexahedra = m.split_into_H8(points, solids)
print(f"{len(points)} nodes, {len(hexahedra)} hexahedra, volume {m.volume(points, hexahedra):.3f}")
# prints: 39 nodes, 14 hexahedra, volume 1.500
