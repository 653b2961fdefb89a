/* Palettes: the fixed palettes, gray ramps and palette arrays.
 *
 * A palette array is a contiguous array of 1 to 256 RGBQUAD entries. One that
 * a record owns (Palette, ColorsCount) comes from K_OsAlloc or
 * K_CreateNewPalette and goes back with K_OsFree. */
#ifndef KEST_PALETTE_H
#define KEST_PALETTE_H

#include "kest/bitmap.h"
#include "kest/platform.h"

/* GrayscaleTypes: how a palette or bitmap is gray. */
#define GRAY_NO             0 /* not gray */
#define GRAY_ORDEREDNORMAL  1 /* gray, dark to light */
#define GRAY_ORDEREDREVERSE 2 /* gray, light to dark */
#define GRAY_ORDEREDINVERSE 2 /* the same as GRAY_ORDEREDREVERSE */
#define GRAY_NOTORDERED     3 /* gray levels in no order */

/* The constant fixed palette for 1 to 8 bits (2 to 256 entries); null for
 * any other value. Not to be freed. */
KEST_API const RGBQUAD *K_IntGetFixedPalette(uint32_t bits);
/* A new zero-filled global copy of count entries (1 to 256), null for a null
 * source or a bad count. Release with K_OsFree. */
KEST_API RGBQUAD *K_CreateNewPalette(const RGBQUAD *source, uint32_t count);
/* A new ramp of 2^bits grays (bits 0 means 8): entry i is i*255/(2^n - 1). */
KEST_API RGBQUAD *K_CreateGrayPalette(uint32_t bits);
/* Gives the record the fixed palette of its ColorsCount (2, 4, 8 ... 256);
 * any other count makes none and returns 0. The old palette is not freed.
 * 1, -1 out of memory, -13 null record. */
KEST_API int32_t K_CreateBitmapFixedPalette(RASTERBITMAP *bitmap);
/* Gives the record a gray ramp of 2^BitmapBits entries and that count. The
 * old palette is not freed. 1, -1, -13 null record, -27 bits not 1 to 8. */
KEST_API int32_t K_CreateBitmapGrayPalette(RASTERBITMAP *bitmap);

#endif /* KEST_PALETTE_H */
