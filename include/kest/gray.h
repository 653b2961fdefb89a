/* Gray data and window levelling: the gray parameters of a record, the
 * resolution of a bit window into width, mask and shift, conversion of any
 * bitmap to gray, and the look-up tables that map gray values to colours.
 *
 * A look-up table (LevelLUT) is an array of RGBQUAD. An unsigned table maps
 * value v to entry v; a signed table of length L covers -(L/2) to (L-1)/2
 * and keeps a negative value i at entry i + L. */
#ifndef KEST_GRAY_H
#define KEST_GRAY_H

#include "kest/bitmap.h"
#include "kest/platform.h"

/* Flags of K_WindowLevelFillLUT and K_WindowLevelFillLUT2: one of the first
 * two, one ramp, and signed or unsigned. */
#define FILLLUT_INSIDE       0x0001 /* the ramp runs from start to end colour inside the range */
#define FILLLUT_OUTSIDE      0x0002 /* the colours lie outside; a monotone ramp inside */
#define FILLLUT_LINEAR       0x0010
#define FILLLUT_EXPONENTIAL  0x0020
#define FILLLUT_LOGARITHMIC  0x0030
#define FILLLUT_SIGMOID      0x0040
#define FILLLUT_UNSIGNED     0x0000
#define FILLLUT_SIGNED       0x0100
#define FILLLUT_KEEPRANGE    0x1000 /* K_WindowLevelFillLUT: colours' ramp, keep what is outside */

/* Resolves a window of significant bits of a word of totalBits: a negative
 * low bit counts as 0, a negative high bit as totalBits - 1, and a window
 * wider than maxWidth keeps its top maxWidth bits. Writes the width (if
 * width is not null), mask 2^width - 1 and shift; nothing if mask or shift
 * is null. */
KEST_API void K_GetGrayParams(int32_t totalBits, int32_t maxWidth, int32_t lowBit,
                              int32_t highBit, int32_t *width, uint32_t *mask, int32_t *shift);
/* The gray parameters of a fresh bitmap: windows of all BitmapBits, level
 * range 0 to 2^bits - 1, no LevelLUT (freed). A null record is ignored. */
KEST_API void K_InitGrayParams(RASTERBITMAP *bitmap);
/* Copies windows, level range, RBF_USE_LUT and a copy of LevelLUT (none if
 * the source has none) from source to target, freeing the target's table.
 * 1; -13 either null; -1 out of memory (the target is left as it was). */
KEST_API int32_t K_CopyGrayParams(RASTERBITMAP *target, const RASTERBITMAP *source);
/* Frees LevelLUT and PaintLUT and nulls both. 1, or -13 for null. */
KEST_API int32_t K_FreeGrayParams(RASTERBITMAP *bitmap);
/* Sets the level window (LevelLowBit, LevelHighBit; negative means 0 and
 * BitmapBits - 1) and the look-up table (a copy of length entries unless it
 * is the record's own; null clears it). Mode 1 also sets the data window
 * and RBF_USE_LUT, mode 0 clears RBF_USE_LUT. 1; -2 null record; -789;
 * -13 low above high, a positive length with a null table, a mode other
 * than 0 or 1; -1 out of memory. */
KEST_API int32_t K_WindowLevel(RASTERBITMAP *bitmap, int32_t lowBit, int32_t highBit,
                               const RGBQUAD *table, uint32_t length, uint32_t mode);
/* Fills a look-up table of length entries for the gray values low to high
 * (clipped to minimum to maximum, all shifted right by lowBit) with a ramp
 * between the start and end COLORREF; factor tenths shape the exponential,
 * logarithmic and sigmoid ramps (0 makes them linear). Entries outside the
 * range get black and white, or the colours, as the flags say. 1, or -13
 * for a null table, zero length or any argument out of its range; the
 * table is untouched then. */
KEST_API int32_t K_WindowLevelFillLUT(RGBQUAD *table, uint32_t length, COLORREF start,
                                      COLORREF end, int32_t low, int32_t high, int32_t lowBit,
                                      int32_t highBit, int32_t minimum, int32_t maximum,
                                      int32_t factor, uint32_t flags);
/* The same with simpler rules outside the range: FILLLUT_INSIDE writes only
 * the ramp, FILLLUT_OUTSIDE puts the colours beyond it and the ramp between;
 * FILLLUT_KEEPRANGE plays no part. */
KEST_API int32_t K_WindowLevelFillLUT2(RGBQUAD *table, uint32_t length, COLORREF start,
                                       COLORREF end, int32_t low, int32_t high, int32_t lowBit,
                                       int32_t highBit, int32_t minimum, int32_t maximum,
                                       int32_t factor, uint32_t flags);
/* Replaces the bitmap by a gray one of bits 8 (with a gray palette), 12 or
 * 16 (gray order), reading colours, palettes, windows and a look-up table
 * in use. Reports progress per row. 1; -2 null or unallocated; -789;
 * -1360 signed without a table in use; -27 bits above 16; -13 other bits;
 * -1 out of memory; a row error; the callback's stop value. On failure the
 * bitmap is as it was. */
KEST_API int32_t K_GrayScaleBitmap(RASTERBITMAP *bitmap, int32_t bits);
/* Makes a signed bitmap unsigned, negative values becoming 0: palette
 * entries up to 8 bits, bytes of 24 and 32 bits and words of 48 and 64 bits
 * with the top bit set, and negative 12- and 16-bit gray values. Reports
 * progress per row. 1; -2 null or unallocated; -789; -1; a row error; the
 * callback's stop value. */
KEST_API int32_t K_ClearNegativePixels(RASTERBITMAP *bitmap);

#endif /* KEST_GRAY_H */
