#!/usr/bin/python3
"""Fails when a function that the library exports is not in the reference, in each of its forms.

    docs/reference/exports.py SYMBOLS TAGFILE     the list of exported names, and what Doxygen says is documented
"""

import collections
import re
import sys
import xml.etree.ElementTree as ElementTree


def exported(path):
    """How many forms each exported function has."""
    names = re.findall(r"^([\w:]+)\(", open(path).read(), re.MULTILINE)
    return collections.Counter(name for name in names if not name.startswith("quorl::numcore::"))  # not for callers


def documented(path):
    forms = collections.Counter()
    for compound in ElementTree.parse(path).getroot().iter("compound"):
        if compound.get("kind") in ("namespace", "class"):
            place = compound.findtext("name")
            forms.update(f"{place}::{m.findtext('name')}" for m in compound.iter("member") if m.get("kind") == "function")
    return forms


if __name__ == "__main__":
    wanted, found = exported(sys.argv[1]), documented(sys.argv[2])
    missing = [f"{name}: {found[name]} of {forms} forms" for name, forms in wanted.items() if found[name] < forms]
    if missing or not wanted:
        sys.exit("not in the reference:\n" + "\n".join(missing))
    print(f"the reference has all {sum(wanted.values())} exported functions")
