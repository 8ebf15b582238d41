"""Brings quadratic tetrahedra in the node order of VTK into the order and orientation of this library."""

import numpy as np

import meldra3d as m
from meldra3d.conventions import VTK, from_theirs

K = m.ElementType
points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]  # vertices, then the middles of 01 12 20 03 13 23
points += [[0.5, 0, 0], [0.5, 0.5, 0], [0, 0.5, 0], [0, 0, 0.5], [0.5, 0, 0.5], [0, 0.5, 0.5]]
theirs = np.arange(10)[None, :]

ours = from_theirs(theirs, VTK[K.TH10])  # meshio's arrays: the table MESHIO
volume = m.volume(points, m.convert_into_linear(ours))
print("nodes {} {} {} {}, volume {:.3f}".format(*ours[0, :4], volume))
# prints: nodes 0 2 1 3, volume 0.167
