"""Sweeps two squares upwards into layers of hexahedra, measures them and writes a file."""

import meldra3d

points = [[0, 0], [1, 0], [2, 0], [0, 1], [1, 1], [2, 1]]
faces = [[0, 1, 4, 3], [1, 2, 5, 4]]

# One unit along z, in layers about 0.1 thick at the surface and 0.4 at the end.
points, solids, _, _ = meldra3d.extrude_translate(points, faces, (0, 0, 1), sizes=(0.1, 0.4))
print(f"{len(solids)} hexahedra, volume {meldra3d.volume(points, solids):g}")

meldra3d.write("sweep.vtu", meldra3d.Mesh(points, [(meldra3d.ElementType.SOLID_MIX, solids)]))
# prints: 10 hexahedra, volume 2
