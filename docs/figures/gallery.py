#!/usr/bin/python3
"""Makes docs/figures/NAME.png of the sheets that scripts/demo.sh and examples/distributed/run.sh leave in out: smaller, and
of fewer colours.

    docs/figures/gallery.py [NAME...]     the sheets named, or both: gallery, distributed
"""

import pathlib
import sys

from PIL import Image

root = pathlib.Path(__file__).resolve().parents[2]
for name in sys.argv[1:] or ("gallery", "distributed"):
    sheet = Image.open(root / f"out/{name}.png").convert("RGB")
    sheet = sheet.resize((1200, sheet.height * 1200 // sheet.width), Image.LANCZOS)
    sheet = sheet.point(lambda value: value // 4 * 4 + value // 64)  # 64 steps from 0 to 255 take half the room of 256
    sheet.save(root / f"docs/figures/{name}.png", optimize=True)
