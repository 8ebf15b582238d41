"""Finds the tetrahedra that hold three points, one of which lies outside, and the local coordinates there."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1], [1, 1, 1]]
cells = [[1, 0, 3, 7], [0, 1, 5, 7], [0, 2, 3, 7], [2, 0, 6, 7], [4, 0, 5, 7], [0, 4, 6, 7]]  # a cube

locator = m.Locator(points, cells)  # neighbours, ancestors and a detector of the nodes, made once
elements, weights, found = locator.locate([[0.75, 0.5, 0.25], [0.25, 0.5, 0.75], [1.5, 1.5, 1.5]])
third = "inside" if found[2] else "outside"
print(f"elements {elements[0]} and {elements[1]}, the third is {third}; ", end="")
print(f"weight of node 0 in the first: {weights[0, 0]:.2f}")
# prints: elements 0 and 5, the third is outside; weight of node 0 in the first: 0.25
