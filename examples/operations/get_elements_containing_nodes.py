"""Finds the tetrahedra that hold nodes of no element. What the search needs is made inside."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1], [1, 1, 1]]
points += [[0.75, 0.5, 0.25], [0.25, 0.5, 0.75]]
cells = [[1, 0, 3, 7], [0, 1, 5, 7], [0, 2, 3, 7], [2, 0, 6, 7], [4, 0, 5, 7], [0, 4, 6, 7]]  # a cube

elements, weights, found = m.locate(points, cells, [points[8], points[9]])
print(f"node 8 in element {elements[0]}, node 9 in element {elements[1]}")
# prints: node 8 in element 0, node 9 in element 5
