/* sprig: every exported interface of the library. */
#ifndef SPRIG_H
#define SPRIG_H

#include "sprig/foundation.h"
#include "sprig/platform.h"
#include "sprig/types.h"

#endif
