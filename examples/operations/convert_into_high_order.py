"""Gives a hexahedron, a pyramid and a wedge two nodes on each edge and those of cubic elements inside."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
points += [[0.5, 0.5, 1.7], [2, 0, 0], [2, 1, 0]]
n = m.NO_NODE
solids = [[0, 1, 2, 3, 4, 5, 6, 7], [4, 5, 6, 7, 8, n, n, n], [1, 5, 9, 2, 6, 10, n, n]]

points, solids = m.convert_into_high_order(points, solids, 2)  # the other counts follow: complete elements
print(f"{len(points)} nodes, {len(solids)} solids in {solids.shape[1]} rows")
# prints: 102 nodes, 3 solids in 64 rows
