#!/usr/bin/python3
"""Copies the programs of examples into the pages that show them.

    docs/shown.py            writes the programs into the pages
    docs/shown.py --check    fails when a page shows one that is not up to date, or shows code that is no example

A line `<!-- shown: examples/FILE -->` in a page stands before the code block that shows the file. Every block of C++ and
Python needs one, so that all code in the pages is compiled and run by the tests.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
PAGES = [ROOT / "README.md", ROOT / "python/README.md", *sorted((ROOT / "docs").glob("*.md"))]
BLOCK = re.compile(r"^(?:<!-- shown: (\S+) -->\n)?```(cpp|python)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def with_programs(page):
    """The text of a page with each of its programs as it is in its file."""

    def shown(match):
        file, language, _ = match.groups()
        if file is None:
            sys.exit(f"{page.relative_to(ROOT)} has a block of {language} without the file that it shows:\n{match[3]}")
        return f"<!-- shown: {file} -->\n```{language}\n{(ROOT / file).read_text()}```"

    return BLOCK.sub(shown, page.read_text())


def main():
    stale = []
    for page in PAGES:
        text = with_programs(page)
        if text == page.read_text():
            continue
        stale.append(str(page.relative_to(ROOT)))
        if sys.argv[1:] != ["--check"]:
            page.write_text(text)
    if stale and sys.argv[1:] == ["--check"]:
        sys.exit(f"not up to date (run docs/shown.py): {', '.join(stale)}")


if __name__ == "__main__":
    main()
