"""Sweeps the surface of a file, writes the solids into another and draws them."""

import sys

import meldra3d as m

mesh = m.read(sys.argv[1])  # examples/data/flange.msh
surface, _ = mesh.surface()
swept = m.extrude_translate(mesh.points, surface, (0, 0, 20), sizes=(1, 4))
print(f"volume {m.volume(swept.points, swept.solids):.1f}")

part = m.Mesh(swept.points, [(m.ElementType.SOLID_MIX, swept.solids)])
m.write("flange.vtu", part)
m.draw(part, "flange.png")
# prints: volume 539770.3
