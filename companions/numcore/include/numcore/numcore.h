#pragma once

/// The dense arrays that carry meshes: shared, column-major, without exceptions.

#include <numcore/dense1D.h>
#include <numcore/dense2D.h>
#include <numcore/fixed.h>
#include <numcore/memory.h>
#include <numcore/ptr.h>
#include <numcore/ref_counted.h>
#include <numcore/vector_num.h>
