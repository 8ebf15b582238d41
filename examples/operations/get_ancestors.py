"""An element of each node of a hexahedron, a pyramid and a wedge: the first that holds it."""

import meldra3d as m

n = m.NO_NODE
solids = [[0, 1, 2, 3, 4, 5, 6, 7], [4, 5, 6, 7, 8, n, n, n], [1, 5, 9, 2, 6, 10, n, n]]

ancestors = m.ancestors(solids)
print(*ancestors, f"hold nodes 0 to {len(ancestors) - 1}")
# prints: 0 0 0 0 0 0 0 0 1 2 2 hold nodes 0 to 10
