#pragma once

/// Marks what the shared library exports. Everything else is compiled with hidden visibility.
#if defined(__GNUC__)
#define MELDRA3D_API __attribute__((visibility("default")))
#else
#define MELDRA3D_API
#endif
