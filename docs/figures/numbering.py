#!/usr/bin/python3
"""Draws the local numberings and writes the tables of docs/numbering.md.

    docs/figures/numbering.py            writes the drawings and the tables
    docs/figures/numbering.py --check    fails when one of them is not up to date

All numbers come from src/frame/element_tables.h, through the small program numbering_tables.cpp beside this script. What
is known here are the coordinates of one direct element of each shape and where the centres of faces stand: behind the
mid-edge nodes, those of the quadrangles in the order of the faces, then that of the body.
"""

import json
import math
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]

# One direct element of each shape, right-handed axes.
COORDINATES = {
    "triangle": [(0, 0, 0), (1, 0, 0), (0.5, 0.86, 0)],
    "quadrangle": [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0)],
    "tetrahedron": [(0, 0, 0), (0.55, 0.9, 0), (1, 0.1, 0), (0.4, 0.3, 1)],
    "pyramid": [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0.5, 0.5, 0.95)],
    "wedge": [(0, 0, 0), (1, 0, 0), (0.45, 1, 0), (0, 0, 1), (1, 0, 1), (0.45, 1, 1)],
    "hexahedron": [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1)],
}
# The kinds of each shape, by rising number of nodes.
KINDS = {
    "triangle": ("T3", "T6"),
    "quadrangle": ("Q4", "Q8", "Q9"),
    "tetrahedron": ("TH4", "TH10"),
    "pyramid": ("PY5", "PY13", "PY14"),
    "wedge": ("W6", "W15", "W18"),
    "hexahedron": ("H8", "H20", "H27"),
}
SURFACES = ("triangle", "quadrangle")
# Where the solids are seen from, in degrees to the right of the front and above it: no number hides another.
VIEWS = {"tetrahedron": (36, 42), "pyramid": (33, 31), "wedge": (-40, 24), "hexahedron": (14, 26)}


def read_types():
    """(value, enumerator, meaning) of each element type, from the comments of the header."""
    text = (ROOT / "companions/meldra/include/meldra/element_type.h").read_text()
    return [(int(value), name, meaning) for name, value, meaning in re.findall(r"(ET_\w+) = (\d+),? +///< (.*)", text)]


def read_tables():
    """What numbering_tables.cpp prints."""
    with tempfile.TemporaryDirectory() as folder:
        program = f"{folder}/tables"
        subprocess.run(
            ["c++", "-std=c++20", f"-I{ROOT}/src", f"-I{ROOT}/companions/meldra/include",
             HERE / "numbering_tables.cpp", "-o", program], check=True)
        return json.loads(subprocess.run([program], check=True, capture_output=True, text=True).stdout)


# ---- Geometry ----

def subtract(a, b):
    return tuple(x - y for x, y in zip(a, b))


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def dot(a, b):
    return sum(x * y for x, y in zip(a, b))


def centre(points):
    return tuple(sum(x) / len(points) for x in zip(*points))


def outward_normal(face, body):
    """Normal of a face of a solid away from its centre, and +1 when the face turns counter-clockwise about it."""
    normal = cross(subtract(face[1], face[0]), subtract(face[2], face[0]))
    turn = 1 if dot(normal, subtract(centre(face), body)) > 0 else -1
    return tuple(turn * x for x in normal), turn


def check_orientation(shape, record):
    """All faces of a direct solid turn the same way: counter-clockwise seen from inside."""
    points = COORDINATES[shape]
    for face in record["faces"]:
        assert outward_normal([points[n] for n in face], centre(points))[1] == -1, (shape, face)


def nodes_of(shape, record, rows):
    """(coordinates, kind of place, what it lies on) of the first `rows` nodes."""
    points = COORDINATES[shape]
    nodes = [(p, "vertex", (n,)) for n, p in enumerate(points)]
    nodes += [(centre([points[n] for n in edge]), "edge", tuple(edge)) for edge in record["edges"]]
    quadrangles = [tuple(range(4))] if shape == "quadrangle" else [f for f in record["faces"] if len(f) == 4]
    nodes += [(centre([points[n] for n in face]), "face", tuple(face)) for face in quadrangles]
    nodes.append((centre(points), "body", tuple(range(len(points)))))
    return nodes[:rows]


# ---- Drawing ----

PANEL = 360
COLOURS = {"vertex": "#1f3a5f", "edge": "#b4540a", "face": "#2e7d32", "body": "#7b1fa2"}


class View:
    """Parallel projection of a shape; surfaces are seen from +z."""

    def __init__(self, shape):
        points = COORDINATES[shape]
        azimuth, elevation = map(math.radians, VIEWS.get(shape, (0, 90)))
        self.right = (math.cos(azimuth), math.sin(azimuth), 0)
        self.towards = (math.sin(azimuth) * math.cos(elevation), -math.cos(azimuth) * math.cos(elevation),
                        math.sin(elevation))
        self.up = cross(self.towards, self.right)
        flat_points = [(dot(p, self.right), dot(p, self.up)) for p in points]
        low = [min(p[k] for p in flat_points) for k in (0, 1)]
        high = [max(p[k] for p in flat_points) for k in (0, 1)]
        self.scale = 0.74 * PANEL / max(high[0] - low[0], high[1] - low[1])
        self.middle = [(low[k] + high[k]) / 2 for k in (0, 1)]

    def __call__(self, point):
        x = PANEL / 2 + self.scale * (dot(point, self.right) - self.middle[0])
        y = PANEL / 2 - self.scale * (dot(point, self.up) - self.middle[1])
        return x, y


def line(a, b, style):
    return f'<line x1="{a[0]:.1f}" y1="{a[1]:.1f}" x2="{b[0]:.1f}" y2="{b[1]:.1f}" {style}/>'


def text(at, content, size, colour, anchor="middle"):
    return (f'<text x="{at[0]:.1f}" y="{at[1] + 0.35 * size:.1f}" font-size="{size}" fill="{colour}" '
            f'text-anchor="{anchor}">{content}</text>')


def disc(at, number, colour, hidden):
    fill, ink = ("#ffffff", colour) if hidden else (colour, "#ffffff")
    return (f'<circle cx="{at[0]:.1f}" cy="{at[1]:.1f}" r="11" fill="{fill}" stroke="{colour}" stroke-width="1.4"/>'
            + text(at, number, 12, ink))


def badge(at, number, hidden):
    fill, ink = ("#ffffff", "#555555") if hidden else ("#f2d16b", "#333333")
    return (f'<rect x="{at[0] - 10:.1f}" y="{at[1] - 9:.1f}" width="20" height="18" fill="{fill}" stroke="#8a7a3a"/>'
            + text(at, number, 12, ink))


def turn(ring):
    """An arrow along the cycle of a face that is seen, from its first node to its last."""
    middle = centre(ring)
    inner = [tuple(m + 0.45 * (x - m) for x, m in zip(place, middle)) for place in ring]
    path = " L".join(f"{x:.1f} {y:.1f}" for x, y in inner)
    return f'<path d="M{path}" fill="none" stroke="#b8a14e" stroke-width="1.6" marker-end="url(#tip)"/>'


def axes(view, flat):
    origin = (16, PANEL - 14) if flat else (34, PANEL - 30)
    parts = []
    for name, axis in zip("xy" if flat else "xyz", ((1, 0, 0), (0, 1, 0), (0, 0, 1))):
        step = (dot(axis, view.right), -dot(axis, view.up))
        end = (origin[0] + 24 * step[0], origin[1] + 24 * step[1])
        parts.append(line(origin, end, 'stroke="#555555" stroke-width="1.3"'))
        parts.append(text((origin[0] + 33 * step[0], origin[1] + 33 * step[1]), name, 12, "#555555"))
    return parts


def panel(shape, record, kind, rows, left):
    """One element: edges, nodes and, for a linear kind, the numbers of its faces (a surface's edges)."""
    flat = shape in SURFACES
    points = COORDINATES[shape]
    body = centre(points)
    view = View(shape)
    faces = [[points[n] for n in face] for face in record["faces"]]
    seen = [flat or dot(outward_normal(face, body)[0], view.towards) > 0 for face in faces]

    def is_seen(nodes):
        """A place is seen when a face that holds all its nodes is."""
        return flat or any(s and set(nodes) <= set(f) for s, f in zip(seen, record["faces"]))

    parts = [f'<g transform="translate({left} 0)">', text((PANEL / 2, 16), kind, 15, "#222222")]
    for edge in record["edges"]:
        dash = "" if is_seen(edge) else ' stroke-dasharray="5 4"'
        parts.append(line(view(points[edge[0]]), view(points[edge[1]]), f'stroke="#777777" stroke-width="1.5"{dash}'))
    if rows == len(points):
        parts += [turn([view(p) for p in face]) for face, front in zip(faces, seen) if front and not flat]
        for number, face in enumerate(faces):
            parts.append(badge(view(centre(face)), number, not seen[number]))
    discs = [(is_seen(nodes), disc(view(point), number, COLOURS[place], not is_seen(nodes)))
             for number, (point, place, nodes) in enumerate(nodes_of(shape, record, rows))]
    parts += [drawn for front in (False, True) for in_front, drawn in discs if in_front == front]
    return parts + axes(view, flat) + ["</g>"]


def drawing(shape, record, rows):
    """All kinds of a shape side by side."""
    width = PANEL * len(KINDS[shape])
    title = f"Local numbering of the {shape}: {', '.join(KINDS[shape])}"
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{PANEL}" '
             f'viewBox="0 0 {width} {PANEL}" font-family="sans-serif">', f"<title>{title}</title>",
             '<defs><marker id="tip" viewBox="0 0 8 8" refX="5" refY="4" markerWidth="6" markerHeight="6" orient="auto">'
             '<path d="M0 0 L8 4 L0 8 z" fill="#b8a14e"/></marker></defs>',
             f'<rect width="{width}" height="{PANEL}" fill="#ffffff"/>']
    for k, kind in enumerate(KINDS[shape]):
        parts += panel(shape, record, kind, rows[kind], k * PANEL)
    return "\n".join(parts + ["</svg>", ""])


# ---- Tables ----

def table(head, body):
    rows = [head, ["---"] * len(head)] + body
    return "\n".join("| " + " | ".join(str(cell) for cell in row) + " |" for row in rows)


def joined(nodes):
    return ", ".join(str(n) for n in nodes)


def shape_tables(shape, record, rows):
    full = KINDS[shape][-1]
    nodes = list(enumerate(nodes_of(shape, record, rows[full])))
    row_of = {place: {frozenset(on): row for row, (_, what, on) in nodes if what == place} for place in COLOURS}
    edges = table(["edge", "nodes", f"mid-edge row ({', '.join(KINDS[shape][1:])})"],
                  [[e, joined(edge), row_of["edge"][frozenset(edge)]] for e, edge in enumerate(record["edges"])])
    if shape in SURFACES:
        return edges
    head, centres = ["face", "nodes, as a cycle", "its nodes in higher order along"], row_of["face"]
    if centres:
        head.append(f"centre row ({full})")
    faces = [[f, joined(face), joined(record["face_nodes"][f])] + ([centres.get(frozenset(face), "")] if centres else [])
             for f, face in enumerate(record["faces"])]
    return table(head, faces) + "\n\n" + edges


def types_table(tables):
    return table(["value", "name", "rows", "rows of neighbours", "meaning"],
                 [[value, f"`{name}`", tables["rows"][value], tables["neighbours"][value], re.sub(r", \d+ rows?", "", meaning)]
                  for value, name, meaning in read_types()])


def with_tables(page, contents):
    """The page with what stands between `<!-- table: name -->` and `<!-- end -->` replaced."""
    for name, content in contents.items():
        page, count = re.subn(rf"(<!-- table: {name} -->\n).*?(<!-- end -->)", lambda m: m[1] + "\n" + content + "\n\n" + m[2],
                              page, flags=re.DOTALL)
        assert count == 1, f"docs/numbering.md has no place for the table of the {name}"
    return page


def main():
    tables = read_tables()
    rows = {name.removeprefix("ET_"): tables["rows"][value] for value, name, _ in read_types()}
    page = ROOT / "docs/numbering.md"
    contents = {"types": types_table(tables)}
    results = {}
    for shape, record in tables["shapes"].items():
        if shape not in SURFACES:
            check_orientation(shape, record)
        results[HERE / f"numbering_{shape}.svg"] = drawing(shape, record, rows)
        contents[shape] = shape_tables(shape, record, rows)
    results[page] = with_tables(page.read_text(), contents)

    if sys.argv[1:] == ["--check"]:
        stale = [str(path.relative_to(ROOT)) for path, content in results.items()
                 if not path.exists() or path.read_text() != content]
        if stale:
            sys.exit(f"not up to date (run docs/figures/numbering.py): {', '.join(stale)}")
        return
    for path, content in results.items():
        path.write_text(content)


if __name__ == "__main__":
    main()
