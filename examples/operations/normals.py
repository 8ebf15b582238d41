"""The normal at the node where three rectangles of different sizes meet."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [1, 2, 0], [0, 2, 0], [0, 0, 3], [1, 0, 3], [0, 2, 3]]
faces = [[0, 1, 2, 3], [0, 4, 5, 1], [0, 3, 6, 4]]

normals = m.normals(points, faces)
print("({:.3f}, {:.3f}, {:.3f}) at node 0".format(*normals[0]))
# prints: (0.577, 0.577, 0.577) at node 0
