"""Finds the node of a mesh that is nearest to a point."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1], [1, 1, 1]]
cells = [[1, 0, 3, 7], [0, 1, 5, 7], [0, 2, 3, 7], [2, 0, 6, 7], [4, 0, 5, 7], [0, 4, 6, 7]]  # a cube

nearest = m.Locator(points, cells).nearest([[0.9, 0.2, 0.7], [1.8, 1.3, -0.3]])
print(f"nodes {nearest[0]} and {nearest[1]}")
# prints: nodes 5 and 3
