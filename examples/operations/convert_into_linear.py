"""Drops the high-order nodes of quadratic solids."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
points += [[0.5, 0.5, 1.7], [2, 0, 0], [2, 1, 0]]
n = m.NO_NODE
solids = [[0, 1, 2, 3, 4, 5, 6, 7], [4, 5, 6, 7, 8, n, n, n], [1, 5, 9, 2, 6, 10, n, n]]

points, quadratic = m.convert_into_quadratic(points, solids)
linear = m.convert_into_linear(quadratic)  # the coordinates stay
print(f"{quadratic.shape[1]} rows become {linear.shape[1]}, {len(points)} nodes stay")
# prints: 27 rows become 8, 41 nodes stay
