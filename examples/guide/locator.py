"""Searches and interpolates with a locator, which keeps what all searches in a mesh need."""

import meldra3d as m

points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1], [1, 1, 1]]
tetrahedra = [[1, 0, 3, 7], [0, 1, 5, 7], [0, 2, 3, 7], [2, 0, 6, 7], [4, 0, 5, 7], [0, 4, 6, 7]]
heat_on_nodes = [0, 0, 0, 0, 8, 8, 8, 8]
probes = [[0.75, 0.5, 0.25], [1.5, 1.5, 1.5]]

locator = m.Locator(points, tetrahedra)  # neighbours, ancestors and a detector of the nodes, made once
elements, weights, found = locator.locate(probes)  # outside: NO_NODE, NaN, False
heat = locator.interpolate(heat_on_nodes, probes, outside="nan")
print(found, heat)
# prints: [ True False] [ 2. nan]
