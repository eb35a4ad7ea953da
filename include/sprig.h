/** @file
 * sprig: every exported interface of the library. */
#ifndef SPRIG_H
#define SPRIG_H

#include "sprig/blend.h"
#include "sprig/coregraphics.h"
#include "sprig/engine.h"
#include "sprig/fingerprints.h"
#include "sprig/foundation.h"
#include "sprig/images.h"
#include "sprig/packing.h"
#include "sprig/paint.h"
#include "sprig/platform.h"
#include "sprig/transfer.h"
#include "sprig/types.h"

#endif
