/* The raster kernel: everything a caller needs, in one header.
 *
 * Every exported function has the prefix K_ and returns a signed 32-bit
 * status where it reports one: 1 is success, a negative number a failure
 * (kest/status.h). No function throws. The header compiles as C99 and as
 * C++. */
#ifndef KESTRASTER_H
#define KESTRASTER_H

#include "kest/platform.h"
#include "kest/status.h"
#include "kest/status_text.h"
#include "kest/callbacks.h"
#include "kest/version.h"
#include "kest/memory.h"
#include "kest/bitmap.h"
#include "kest/palette.h"
#include "kest/rows.h"
#include "kest/copy.h"
#include "kest/lists.h"

#include "kest/storage.h"
#include "kest/compressed.h"

#include "kest/convert.h"
#include "kest/gray.h"
#include "kest/pixels.h"

#endif /* KESTRASTER_H */
