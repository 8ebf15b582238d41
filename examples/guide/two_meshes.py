"""Raises the order of three meshes one after another, so that they share the nodes of their common face and edge."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]  # a cube
points += [[2, 0, 0], [2, 1, 0]]  # a wedge beside it
points += [[-1, 1, 0], [0, 2, 0], [-1, 2, 0], [-1, 1, 1], [0, 2, 1], [-1, 2, 1]]  # a cube at an edge

points, cube = m.convert_into_quadratic(points, [[0, 1, 2, 3, 4, 5, 6, 7]])

# Of the cube's 27 columns: its face 1 as a quadrangle of nine nodes, and its edge from node 3 to node 7.
faces = cube[:, [1, 2, 6, 5, 9, 18, 13, 17, 21]]
edges = cube[:, [3, 7, 19]]
points, wedge = m.convert_into_quadratic(points, [[1, 5, 8, 2, 6, 9]], faces=faces)
points, other = m.convert_into_quadratic(points, [[10, 3, 11, 12, 13, 7, 14, 15]], edges=edges)
print(f"{len(points)} nodes; cube and wedge share node {wedge[0, 15]}, the cubes node {other[0, 17]}")
# prints: 60 nodes; cube and wedge share node 40, the cubes node 27
