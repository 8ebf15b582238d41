"""Turns a tetrahedron of another tool round, and with it the sign of its volume; then elements of other types."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]
tetrahedron = [[0, 1, 2, 3]]

flipped = m.flip_TH4(tetrahedron)  # nodes 0 and 1 change places; flip(tetrahedron, TH4): 0 and 2
wedge = m.flip_W6([[0, 1, 2, 3, 4, 5]])
hexahedron = m.flip(m.flip_H8([[0, 1, 2, 3, 4, 5, 6, 7]]), m.ElementType.H8)
before, after = m.volume(points, tetrahedron), m.volume(points, flipped)
print(f"volume {before:.3f} becomes {after:.3f}; the wedge begins with node {wedge[0, 0]}")
# prints: volume -0.167 becomes 0.167; the wedge begins with node 3
