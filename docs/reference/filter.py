#!/usr/bin/python3
"""Shows Doxygen the comments of a header as they are meant.

    docs/reference/filter.py FILE     prints the file; Doxygen calls it (INPUT_FILTER)

The comments are written for readers of the header: arguments in columns (name, direction, meaning), the statuses as one
sentence, the frame that a family shares as a plain comment behind its namespace. Here the columns become arguments, the
sentence a list, a sentence on the cost a paragraph of its own, and the frame the text of the family's page. Each function
gets a note on threads, and its first form the picture and the program of the same name in docs/figures/operations and
examples/operations.

In pages, links out of docs lead from the place of the HTML pages to the files of the repository.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
DIRECTIONS = {"in": "[in]", "out": "[out]", "in/out": "[in,out]", "appended": "[in,out]", "written": "[out]"}
ARGUMENT = re.compile(rf"  +(\S.*?)  +({'|'.join(DIRECTIONS)}) +(.*)")
COST = re.compile(
    "(Linear in|Time is|Logarithmic|One pass|Goes down|Cost:|Method:|Works in place|Edges and faces are found|The checks are"
    "|Each point is searched|The nodes of the mesh are sorted|The search and its cost)"
)
# What a program shows besides the function of its name.
SHOWN_BY = {"flip_H8": "flip", "flip_TH4": "flip", "flip_W6": "flip"}
FAMILIES = {
    "extrude": "sweeps", "convert": "order", "split": "cuts", "flip": "flips", "locate": "location", "measure": "measures",
    "duplicate": "opening", "version": "version", "meldra": "tools", "element_type": "types", "meldra2d": "surfaces",
    "lapack": "eigenvalues", "dense1D": "arrays", "dense2D": "arrays", "fixed": "arrays",
    "meldra3d_mpi": "parts",
}  # fmt: skip
# Members of the arrays that need no comment in the header.
OBVIOUS = {
    "value_type": "Type of the elements.",
    "dense1D": "Copies are views of the same storage.",
    "dense2D": "Copies are views of the same storage.",
    "operator=": "Takes the view of the other; the storage is shared.",
    "rows": "Number of rows.", "cols": "Number of columns.", "ld": "Distance of columns, in elements.",
    "size": "Number of elements.", "empty": "True when there is no element.",
    "operator[]": "Element k; not checked.", "operator()": "Element (i, j); not checked.", "values": "The values in their order.",
    "data": "Address of the first element; null when there is no storage.", "col": "Address of column j.",
    "begin": "Address of the first element.", "end": "Address behind the last element.",
    "push_back": "One more element at the end, which may be one of this very list; amortised O(1).",
}  # fmt: skip
MEMBER = re.compile(r" {4}(?:using (value_type) =|[\w:&*<>, ]*?\b(operator(?:\(\)|\[\]|=)|\w+)\(|T (values)\[)")
PROCESSES = "@par Processes\nCollective: all ranks of `comm` call it."
THREADS = "@par Threads\nMay run in several threads at once, as long as none writes what another one uses."


# ---- the parts of a comment ----


def is_indented(line):
    return line.startswith("  ")


def paragraphs(lines):
    """Lists of lines: rows of arguments and other columns apart from text; a sentence on status or cost begins a new one."""
    parts = [[]]
    for line in lines:
        last = parts[-1][-1] if parts[-1] else ""
        ends = not last or last.rstrip().endswith((".", ":", ")")) or is_indented(last)
        begins = ends and (line.startswith(("Returns", "Always returns")) or COST.match(line))
        if not line or begins or (last and is_indented(line) != is_indented(last)):
            parts.append([])
        if line:
            parts[-1].append(line)
    return [part for part in parts if part]


def rows_of(lines):
    """(name, direction, meaning) of rows in columns, or nothing when they are something else."""
    rows = []
    for line in lines:
        match = ARGUMENT.fullmatch(line)
        if match:
            rows.append([match[1], match[2], match[3]])
        elif rows:
            rows[-1][2] += " " + line.strip()
        else:
            return []
    return rows


def as_arguments(rows):
    lines = []
    for name, direction, meaning in rows:
        note = f"*{direction}:* " if direction in ("appended", "written") else ""
        lines += [f"@param{DIRECTIONS[direction]} {one.strip()} {note}{meaning}" for one in [name.replace(", ", ",")]]
    return lines


def as_table(rows):
    cells = [[f"`{name}`", direction, meaning.replace("|", "\\|")] for name, direction, meaning in rows]
    return ["", *("| " + " | ".join(row) + " |" for row in [["argument", "", "meaning"], ["---"] * 3, *cells]), ""]


def as_statuses(text):
    """A sentence on the status, as a list where it has several parts; sentences behind it stay text."""
    sentence, _, after = text.partition(". ")
    sentence = re.sub(r"^(Always r|R)eturns,? ", "", sentence).rstrip(".")
    lead, _, rest = sentence.rpartition("in the order tested: ")
    items = re.split(r"; (?=-?\d)", rest)
    if len(items) == 1:
        items = re.split(r", (?:or )?(?=-\d+,? (?:when|with)\b)", rest)
    if len(items) == 1:
        return [f"@returns {sentence}", "", after, ""]
    return [f"@returns {lead}in the order tested:" if lead or rest != sentence else "@returns", "",
            *(f"- {item}" for item in items), "", after, ""]  # fmt: skip


def as_cost(text):
    title, colon, rest = text.partition(": ")
    return [f"@par {title}", rest, ""] if colon and title in ("Method", "Cost") else ["@par Cost", text, ""]


def as_doxygen(lines, arguments=as_arguments):
    """The text of a comment with Doxygen's commands."""
    out = []
    for part in paragraphs(lines):
        text, cost = " ".join(part), ""
        sentence = re.search(rf"(?<=\. ){COST.pattern}", text)
        if sentence and not is_indented(part[0]):
            text, cost = text[: sentence.start()], text[sentence.start():]
        if is_indented(part[0]):
            rows = rows_of(part)
            out += [*arguments(rows), ""] if rows else ["@verbatim", *part, "@endverbatim"]
        elif part[0].startswith(("Returns", "Always returns")):
            out += as_statuses(text)
        elif COST.match(text):
            out += as_cost(text)
        else:
            out += [text, ""]
        if cost:
            out += as_cost(cost)
    return re.sub(r"\bdocs/numbering\.md\b", '@ref page-numbering "docs/numbering.md"', "\n".join(out)).split("\n")


# ---- files ----


def extras(name, family, shown):
    """The note on threads or processes, and once for each name its picture and program."""
    lines = ["", PROCESSES if family == "parts" else THREADS, ""]
    program = SHOWN_BY.get(name, name)
    if family == "parts" or name in shown or not (ROOT / f"examples/operations/{program}.cpp").exists():
        return lines
    shown.add(name)
    lines += ["@par Example", f"@include {program}.cpp", ""]
    if (ROOT / f"docs/figures/operations/{program}.png").exists():
        lines += [f"@image html {program}.png"]
    return lines


def declared(line):
    """The name of the function or class that a line of an export declares, or None."""
    match = re.match(r"\s*(?:MELDRA3D_API [^(=]*?[ *&](\w+)\(|class (\w+) \{)", line)
    return match and (match[1] or match[2])


def comment(lines):
    return ["/**", *lines, "*/"]


def header(path):
    family = FAMILIES.get(path.stem)
    out, block, frame, shown, inside = [], [], [], set(), False
    for line in path.read_text().splitlines():
        text = re.fullmatch(r"\s*///(?: (.*)|)", line)
        plain = re.fullmatch(r"//(?: (.*)|)", line)
        if text:
            block.append(text[1] or "")
            continue
        if plain and inside and not block:
            frame.append(plain[1] or "")
            continue
        if frame:
            out += ["/** @} */", *comment([f"@addtogroup {family}", *as_doxygen(frame, as_table), "@{"])]
            frame = []
        if block:
            name = declared(line)
            lines = as_doxygen(block)
            out += comment(lines + extras(name, family, shown) if name else lines)
            block = []
        elif family == "arrays" and (member := MEMBER.match(line)):
            name = next(filter(None, member.groups()))
            out += comment([OBVIOUS[name]]) if name in OBVIOUS else []
        if family and line.startswith("} // namespace quorl") and inside:
            out.append("/** @} */")
            inside = False
        out.append(line)
        if family and re.fullmatch(r"namespace quorl(::\w+)* \{", line) and not inside:
            out.append(f"/** @addtogroup {family}\n@{{ */")
            inside = True
    return "\n".join(out)


def anchor(title):
    """The name that a heading has in links."""
    return re.sub(r"[^a-z0-9 _-]", "", title.lower()).replace(" ", "-")


def page(path):
    """A page whose headings have names that are unique on the whole site."""

    def heading(match):
        marks, title = match.groups()
        if marks == "#":
            return match[0] if path.stem == "README" else f"# {title} {{#page-{path.stem}}}"
        return f"{marks} {title} {{#{path.stem}-{anchor(title)}}}"

    def link(match):
        file, place = match.groups()
        if file and not (ROOT / "docs" / file).exists():
            return match[0]
        return f"](@ref {pathlib.Path(file).stem if file else path.stem}-{place})"

    parts = re.split(r"(^```.*?^```$)", path.read_text(), flags=re.MULTILINE | re.DOTALL)
    for k in range(0, len(parts), 2):  # what stands between blocks of code
        text = re.sub(r"^<!-- .*? -->\n", "", parts[k], flags=re.MULTILINE)
        text = re.sub(r"\[[^]]*\]\(", lambda match: " ".join(match[0].split()), text)  # Doxygen loses broken links
        text = re.sub(r"^(#+) (.*)$", heading, text, flags=re.MULTILINE)
        text = re.sub(r"\]\(([\w/]+\.md)?#([^)]+)\)", link, text)
        parts[k] = re.sub(r"\[([^]]*)\]\((\.\./[^)]*)\)", r'<a href="../../\2">\1</a>', text)
    return "".join(parts)


if __name__ == "__main__":
    file = pathlib.Path(sys.argv[1])
    print({".md": page, ".h": header}.get(file.suffix, pathlib.Path.read_text)(file))
