"""The volume of a hexahedron, a pyramid and a wedge together."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
points += [[0.5, 0.5, 1.7], [2, 0, 0], [2, 1, 0]]
n = m.NO_NODE
solids = [[0, 1, 2, 3, 4, 5, 6, 7], [4, 5, 6, 7, 8, n, n, n], [1, 5, 9, 2, 6, 10, n, n]]

print(f"volume {m.volume(points, solids):.4f}")
# prints: volume 1.7333
