#!/usr/bin/python3
"""Makes docs/figures/gallery.png of the sheet that scripts/demo.sh leaves in out: smaller, and of fewer colours."""

import pathlib

from PIL import Image

root = pathlib.Path(__file__).resolve().parents[2]
sheet = Image.open(root / "out/gallery.png").convert("RGB")
sheet = sheet.resize((1200, sheet.height * 1200 // sheet.width), Image.LANCZOS)
sheet = sheet.point(lambda value: value // 4 * 4 + value // 64)  # 64 steps from 0 to 255 take half the room of 256
sheet.save(root / "docs/figures/gallery.png", optimize=True)
