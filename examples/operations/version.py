"""The version of the library in use."""

import meldra3d as m

print(m.version())
# prints: 5.6.0.0
