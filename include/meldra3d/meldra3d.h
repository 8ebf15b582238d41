#pragma once

/// Tools for three-dimensional finite-element meshes on dense column-major arrays.
///
/// Every function that returns an int gives 0 for success (also when its main input is empty), -k when its k-th
/// argument is invalid (nothing is changed then but what the function's own comment says) and -199 when memory ran
/// out. Nothing throws, prints or keeps state; concurrent calls on distinct matrices are safe. IDs count from zero.

#include <lapack/lapack.h>
#include <meldra/meldra.h>
#include <meldra2d/meldra2d.h>
#include <meldra3d/convert.h>
#include <meldra3d/duplicate.h>
#include <meldra3d/extrude.h>
#include <meldra3d/flip.h>
#include <meldra3d/locate.h>
#include <meldra3d/measure.h>
#include <meldra3d/split.h>
#include <meldra3d/version.h>
#include <numcore/numcore.h>
