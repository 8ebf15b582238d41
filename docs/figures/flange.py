#!/usr/bin/python3
"""Makes docs/figures/flange.png of the picture that scripts/demo.sh leaves in out: smaller, and of few colours."""

import pathlib

from PIL import Image

root = pathlib.Path(__file__).resolve().parents[2]
picture = Image.open(root / "out/flange.png").convert("RGB")
picture = picture.resize((1100, picture.height * 1100 // picture.width), Image.LANCZOS)
picture.quantize(48).save(root / "docs/figures/flange.png", optimize=True)
