"""Looks for faults of a mesh, measures it and finds its worst element."""

import numpy as np

import meldra3d as m

points = [[0, 0], [1, 0], [2, 0], [0, 1], [1, 1], [2, 1], [0.5, 1.8]]
section = [[0, 1, 4, 3], [1, 2, 5, 4], [3, 4, 6, m.NO_NODE]]
points, solids, _, _ = m.extrude_rotate(points, section, (3.5, 0, 0), (0, 3, 0), layers=6)
mesh = m.Mesh(points, [(m.ElementType.SOLID_MIX, solids)])

faults = [finding for finding in m.check_mesh(mesh) if finding.total]
least, most = m.dihedral_angles(points, solids)
worst = int(np.argmin(least))
print(f"{len(faults)} faults; element {worst} has an angle of {np.degrees(least[worst]):.1f} degrees")
# prints: 0 faults; element 16 has an angle of 58.8 degrees
