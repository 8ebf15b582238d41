"""Opens four cubes along two faces between them; two nodes, the front of the crack, stay as they are."""

import meldra3d as m

points = [[k % 3, k // 3 % 2, k // 6] for k in range(18)]  # 3 x 2 x 3 nodes
cells = [[0, 1, 4, 3, 6, 7, 10, 9], [1, 2, 5, 4, 7, 8, 11, 10]]  # two cubes below
cells += [[6, 7, 10, 9, 12, 13, 16, 15], [7, 8, 11, 10, 13, 14, 17, 16]]
surface = [[6, 7, 10, 9], [7, 8, 11, 10]]  # the normal points up: the cubes above take the copies

opened = m.duplicate_surface_nodes(points, cells, surface, m.ElementType.H8, excluded=[8, 11])
print(f"{len(opened.pairs)} copies, {len(opened.points)} nodes")
# prints: 4 copies, 22 nodes
