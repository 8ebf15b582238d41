"""The element across each face of a hexahedron, a pyramid and a wedge."""

import meldra3d as m

n = m.NO_NODE
solids = [[0, 1, 2, 3, 4, 5, 6, 7], [4, 5, 6, 7, 8, n, n, n], [1, 5, 9, 2, 6, 10, n, n]]

neighbors = m.neighbors(solids, m.ElementType.SOLID_MIX)
print(*("-" if e == n else e for e in neighbors[0]), "across the faces of the hexahedron")
# prints: - 2 - - - 1 across the faces of the hexahedron
