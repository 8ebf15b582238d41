"""Sweeps the surface of a file, makes the solids quadratic, carries a field to them, writes and draws them."""

import sys

import numpy as np
from tetrahedra import into_tetrahedra

import meldra3d as m

surface = m.read(sys.argv[1])
faces, _ = surface.surface()

# 1. Sweep 40 units along z, in layers about 1.5 thick at first and 6 at last; then a node on each edge.
fine = m.extrude_translate(surface.points, faces, (0, 0, 40), sizes=(1.5, 6))
points, quadratic = m.convert_into_quadratic(fine.points, fine.solids)

# 2. A field on tetrahedra: here those of a sweep of fewer layers, with values that stand for a computed result.
coarse = m.extrude_translate(surface.points, faces, (0, 0, 40), layers=4)
corners, tetrahedra = into_tetrahedra(coarse.points, coarse.solids)
heat = np.exp(-corners[:, 2] / 20)

# 3. Interpolate it at all nodes of the quadratic mesh.
carried = m.interpolate(corners, tetrahedra, heat, points)

mesh = m.Mesh(points, [(m.ElementType.SOLID_MIX_Q, quadratic)], {"heat": carried})
m.write("first_steps.vtu", mesh)
m.draw(mesh, "first_steps.png", by="heat")
print(f"{len(quadratic)} solids on {len(points)} nodes, heat from {carried.min():.2f} to {carried.max():.2f}")
# prints: 46848 solids on 265400 nodes, heat from 0.14 to 1.00
