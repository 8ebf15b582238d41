"""``python3 -m meldra3d`` is the command ``meldra3d``."""

import sys

from .command import main

sys.exit(main())
