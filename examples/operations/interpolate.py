"""Carries a field on the nodes of a mesh to two points: one inside, one outside."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1], [1, 1, 1]]
cells = [[1, 0, 3, 7], [0, 1, 5, 7], [0, 2, 3, 7], [2, 0, 6, 7], [4, 0, 5, 7], [0, 4, 6, 7]]  # a cube
field = [x + 10 * y + 100 * z for x, y, z in points]

values = m.interpolate(points, cells, field, [[0.75, 0.5, 0.25], [1.5, 1.5, 1.5]])
print(f"{values[0]:.2f} inside; outside the value of the nearest node, {values[1]:.2f}")
# prints: 30.75 inside; outside the value of the nearest node, 111.00
