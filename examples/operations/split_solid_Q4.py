"""Cuts the top of a cube along a diagonal, and the cube so that it fits: tetrahedra and pyramids around its centre."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
cube = [[0, 1, 2, 3, 4, 5, 6, 7]]
top = [[4, 7, 6, 5]]

points, pieces, failed = m.split_solid_Q4(points, cube, top, [0])  # 0: from the first node of the face to its third
print(f"{len(points)} nodes, {len(pieces)} pieces, {len(failed)} failed")
# prints: 9 nodes, 7 pieces, 0 failed
