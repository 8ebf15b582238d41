"""Mesh files as text, written without the package or meshio, and a reader of binary ones.

Each writer takes the parts of a file: a list of (kind, points of one element in the raw order of the tool). Every
element gets nodes of its own, so what a reader makes of one cannot hide behind another.
"""

import base64
import re
import zlib
from xml.etree import ElementTree

import numpy as np
from reference_elements import GMSH_NUMBER, GMSH_RAW, VTK_NUMBER, VTK_RAW, raw_element


def elements_of(tool, kinds=None):
    """One element of each kind in the raw order of `tool`, moved apart along x."""
    raw = {"vtk": VTK_RAW, "gmsh": GMSH_RAW}[tool]
    kinds = list(raw if kinds is None else kinds)
    return [(kind, raw_element(kind, tool) + [3.0 * place, 0, 0]) for place, kind in enumerate(kinds)]


def _all_points(elements):
    return np.concatenate([x for _, x in elements])


def _numbered(elements):
    """(kind, node numbers from 0) of each element."""
    first = 0
    for kind, x in elements:
        yield kind, list(range(first, first + len(x)))
        first += len(x)


def _line(*items):
    return " ".join(repr(float(i)) if isinstance(i, float) else str(i) for i in items)


def gmsh22(elements):
    points = _all_points(elements)
    lines = ["$MeshFormat", "2.2 0 8", "$EndMeshFormat", "$Nodes", str(len(points))]
    lines += [_line(k + 1, *x) for k, x in enumerate(points.tolist())]
    lines += ["$EndNodes", "$Elements", str(len(elements))]
    for number, (kind, nodes) in enumerate(_numbered(elements)):
        lines.append(_line(number + 1, GMSH_NUMBER[kind], 2, 40 + number, 1, *[k + 1 for k in nodes]))
    return "\n".join(lines + ["$EndElements", ""])


def gmsh41(elements):
    """All nodes in one entity of dimension 3; the node tags have gaps and come in falling order."""
    points = _all_points(elements)
    count = len(points)
    tags = [3 * (count - k) for k in range(count)]
    lines = ["$MeshFormat", "4.1 0 8", "$EndMeshFormat", "$Entities", "0 0 0 1"]
    lines += ["1 0 0 0 1 1 1 1 7 0", "$EndEntities"]
    lines += ["$Nodes", f"1 {count} 3 {3 * count}", f"3 1 0 {count}"]
    lines += [str(tag) for tag in tags] + [_line(*x) for x in points.tolist()]
    lines += ["$EndNodes", "$Elements", f"{len(elements)} {len(elements)} 1 {len(elements)}"]
    for number, (kind, nodes) in enumerate(_numbered(elements)):
        lines += [f"3 1 {GMSH_NUMBER[kind]} 1", _line(number + 1, *[tags[k] for k in nodes])]
    return "\n".join(lines + ["$EndElements", ""])


def vtk_legacy(elements, version="3.0"):
    points = _all_points(elements)
    lines = [f"# vtk DataFile Version {version}", "one of each", "ASCII", "DATASET UNSTRUCTURED_GRID"]
    lines += [f"POINTS {len(points)} double"] + [_line(*x) for x in points.tolist()]
    if version == "5.1":
        ends = np.cumsum([0] + [len(x) for _, x in elements])
        lines += [f"CELLS {len(elements) + 1} {len(points)}", "OFFSETS vtktypeint64", _line(*ends)]
        lines += ["CONNECTIVITY vtktypeint64"] + [_line(*nodes) for _, nodes in _numbered(elements)]
    else:
        lines += [f"CELLS {len(elements)} {len(points) + len(elements)}"]
        lines += [_line(len(nodes), *nodes) for _, nodes in _numbered(elements)]
    lines += [f"CELL_TYPES {len(elements)}"] + [str(VTK_NUMBER[kind]) for kind, _ in elements]
    lines += [f"CELL_DATA {len(elements)}", "SCALARS part int 1", "LOOKUP_TABLE default"]
    lines += [str(40 + k) for k in range(len(elements))]
    return "\n".join(lines + [""])


def vtu(elements):
    points = _all_points(elements)

    def array(kind, name, values, components=1):
        text = _line(*values)
        return (
            f'<DataArray type="{kind}" Name="{name}" NumberOfComponents="{components}" format="ascii">'
            f"{text}</DataArray>"
        )

    ends = np.cumsum([len(x) for _, x in elements])
    return "\n".join(
        [
            '<VTKFile type="UnstructuredGrid" version="0.1" byte_order="LittleEndian"><UnstructuredGrid>',
            f'<Piece NumberOfPoints="{len(points)}" NumberOfCells="{len(elements)}">',
            "<Points>" + array("Float64", "Points", points.ravel().tolist(), 3) + "</Points>",
            "<Cells>" + array("Int64", "connectivity", [k for _, nodes in _numbered(elements) for k in nodes]),
            array("Int64", "offsets", ends),
            array("UInt8", "types", [VTK_NUMBER[kind] for kind, _ in elements]) + "</Cells>",
            "<CellData>" + array("Int32", "part", [40 + k for k in range(len(elements))]) + "</CellData>",
            "</Piece></UnstructuredGrid></VTKFile>",
        ]
    )


MEDIT_NAMES = {
    "EDGE2": "Edges", "T3": "Triangles", "Q4": "Quadrilaterals", "TH4": "Tetrahedra", "PY5": "Pyramids",
    "W6": "Prisms", "H8": "Hexahedra",
}  # fmt: skip


def medit(elements):
    points = _all_points(elements)
    lines = ["MeshVersionFormatted 2", "Dimension 3", "Vertices", str(len(points))]
    lines += [_line(*x, 0) for x in points.tolist()]
    for number, (kind, nodes) in enumerate(_numbered(elements)):
        lines += [MEDIT_NAMES[kind.name], "1", _line(*[k + 1 for k in nodes], 40 + number)]
    return "\n".join(lines + ["End", ""])


ABAQUS_NAMES = {
    "EDGE2": "T3D2", "T3": "S3", "Q4": "S4R", "T6": "STRI65", "Q8": "S8R", "Q9": "S9R5", "TH4": "C3D4",
    "TH10": "C3D10", "W6": "C3D6", "W15": "C3D15", "H8": "C3D8R", "H20": "C3D20R",
}  # fmt: skip


def abaqus(elements):
    """Node numbers have gaps."""
    lines = ["*HEADING", "one of each", "*NODE"]
    lines += [", ".join([str(5 * k + 3)] + [repr(c) for c in x]) for k, x in enumerate(_all_points(elements).tolist())]
    for number, (kind, nodes) in enumerate(_numbered(elements)):
        lines.append(f"*ELEMENT, TYPE={ABAQUS_NAMES[kind.name]}")
        row = [str(i) for i in [number + 1, *[5 * k + 3 for k in nodes]]]
        for start in range(0, len(row), 16):  # a record has at most 16 numbers and goes on after a comma
            lines.append(", ".join(row[start : start + 16]) + ("," if start + 16 < len(row) else ""))
    return "\n".join(lines + [""])


NASTRAN_NAMES = {
    "T3": "CTRIA3", "Q4": "CQUAD4", "T6": "CTRIA6", "Q8": "CQUAD8", "TH4": "CTETRA", "TH10": "CTETRA", "PY5": "CPYRAM",
    "PY13": "CPYRAM", "W6": "CPENTA", "W15": "CPENTA", "H8": "CHEXA", "H20": "CHEXA",
}  # fmt: skip


def nastran(elements):
    """Free fields. The order is VTK's but for CPENTA and CHEXA: there vertical edges come before those of the top."""
    lines = ["BEGIN BULK"]
    lines += [",".join(["GRID", str(k + 1), ""] + [f"{c:.9g}" if "e" not in f"{c:.9g}" else "0." for c in x])
              for k, x in enumerate((_all_points(elements) + 0.0).tolist())]  # fmt: skip
    for number, (kind, nodes) in enumerate(_numbered(elements)):
        if kind.name == "W15":
            nodes = nodes[:9] + nodes[12:] + nodes[9:12]
        if kind.name == "H20":
            nodes = nodes[:12] + nodes[16:] + nodes[12:16]
        fields = [NASTRAN_NAMES[kind.name], str(number + 1), "1"] + [str(k + 1) for k in nodes]
        lines.append(",".join(fields[:9]) + (",+" if len(fields) > 9 else ""))
        for start in range(9, len(fields), 8):
            lines.append(",".join(["+"] + fields[start : start + 8]) + (",+" if start + 8 < len(fields) else ""))
    return "\n".join(lines + ["ENDDATA", ""])


# ---- what the package has written, taken apart without it ----


def read_vtk42(path):
    """Points and (VTK number, nodes) of each cell of a binary legacy file."""
    data = path.read_bytes()
    start = re.search(rb"POINTS (\d+) double\n", data)
    count = int(start.group(1))
    points = np.frombuffer(data, ">f8", 3 * count, start.end()).reshape(count, 3)
    start = re.search(rb"CELLS (\d+) (\d+)\n", data)
    cells, size = int(start.group(1)), int(start.group(2))
    flat = np.frombuffer(data, ">i4", size, start.end()).tolist()
    start = re.search(rb"CELL_TYPES \d+\n", data)
    types = np.frombuffer(data, ">i4", cells, start.end()).tolist()
    found, place = [], 0
    for number in types:
        found.append((number, flat[place + 1 : place + 1 + flat[place]]))
        place += 1 + flat[place]
    return points, found


def read_vtu(path):
    """The same of a compressed XML file."""
    root = ElementTree.parse(path).getroot()
    arrays = {}
    for item in root.iter("DataArray"):
        text = item.text.strip()
        blocks = int(np.frombuffer(base64.b64decode(text[:8])[:4], "<u4")[0])
        header_length = 4 * -(-4 * (3 + blocks) // 3)
        sizes = np.frombuffer(base64.b64decode(text[:header_length]), "<u4")[3 : 3 + blocks]
        packed = base64.b64decode(text[header_length:])
        ends = np.cumsum([0, *sizes])
        raw = b"".join(zlib.decompress(packed[a:b]) for a, b in zip(ends[:-1], ends[1:]))
        arrays[item.get("Name")] = np.frombuffer(raw, {"Float64": "f8", "Int32": "i4", "Int64": "i8"}[item.get("type")])
    ends = arrays["offsets"].tolist()
    nodes = arrays["connectivity"].tolist()
    cells = [nodes[a:b] for a, b in zip([0] + ends, ends)]
    return arrays["Points"].reshape(-1, 3), list(zip(arrays["types"].tolist(), cells))


def read_gmsh22(path):
    """Points and (Gmsh number, nodes) of each element of a binary file of version 2.2."""
    data = path.read_bytes()
    start = re.search(rb"\$Nodes\n(\d+)\n", data)
    count = int(start.group(1))
    nodes = np.frombuffer(data, [("tag", "<i4"), ("x", "<f8", 3)], count, start.end())
    assert nodes["tag"].tolist() == list(range(1, count + 1))
    start = re.search(rb"\$Elements\n(\d+)\n", data)
    total, place, found = int(start.group(1)), start.end(), []
    widths = {GMSH_NUMBER[kind]: len(nodes) for kind, nodes in GMSH_RAW.items()}
    while len(found) < total:
        number, many, tags = np.frombuffer(data, "<i4", 3, place).tolist()
        width = 1 + tags + widths[number]
        rows = np.frombuffer(data, "<i4", many * width, place + 12).reshape(many, width)
        found += [(number, (row[1 + tags :] - 1).tolist()) for row in rows]
        place += 12 + 4 * many * width
    return nodes["x"], found
