"""Cuts swept solids into tetrahedra that fit together: each quadrangle along the diagonal at its lowest node."""

import numpy as np

import meldra3d as m
from meldra3d.elements import SHAPES, split_mixed


def into_tetrahedra(points, solids):
    """The points, with a new one amid each element, and tetrahedra in place of wedges and hexahedra."""
    quadrangles = np.concatenate(
        [
            solids[rows][:, face]
            for kind, rows in split_mixed(m.ElementType.SOLID_MIX, solids)
            for face in SHAPES[kind].faces
            if len(face) == 4
        ]
    )
    diagonals = quadrangles.argmin(axis=1) % 2  # 0: from the first node to the third
    points, pieces, failed = m.split_solid_Q4(points, solids, quadrangles, diagonals)
    if len(failed):
        raise ValueError(f"{len(failed)} solids cannot be cut: inverted, or without volume")
    return points, pieces[:, :4]


if __name__ == "__main__":
    points = [[0, 0], [1, 0], [2, 0], [0, 1], [1, 1], [2, 1], [0.5, 1.8]]
    section = [[0, 1, 4, 3], [1, 2, 5, 4], [3, 4, 6, m.NO_NODE]]
    points, solids, _, _ = m.extrude_translate(points, section, (0, 0, 2), layers=3)

    points, tetrahedra = into_tetrahedra(points, solids)
    inner = (m.neighbors(tetrahedra, m.ElementType.TH4, strict=True) != m.NO_NODE).sum() // 2
    print(f"{len(tetrahedra)} tetrahedra, {inner} faces between them, volume {m.volume(points, tetrahedra):.3f}")
# prints: 96 tetrahedra, 166 faces between them, volume 4.800
