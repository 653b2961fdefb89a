/* Row access. Rows are addressed as stored (ViewPerspective plays no part)
 * and carry the bitmap's own bits and colour order. A caller brackets a run
 * of row calls with K_LockBitmap and K_UnlockBitmap. */
#ifndef KEST_ROWS_H
#define KEST_ROWS_H

#include "kest/bitmap.h"

/* Move byteCount bytes between buffer and a row (from a pixel column for the
 * Col forms; a column inside a byte starts at that byte). A count past the
 * row's end goes on into the next row. Returns the bytes moved, or -13 null
 * record or buffer (or a negative count), -789 size, -2 no pixels, -4 seek,
 * -5 write, -7 read, -11 a transfer past the end of the pixels. */
KEST_API int32_t K_GetBitmapRow(RASTERBITMAP *bitmap, void *buffer, uint32_t row, uint32_t byteCount);
KEST_API int32_t K_PutBitmapRow(RASTERBITMAP *bitmap, void *buffer, uint32_t row, uint32_t byteCount);
KEST_API int32_t K_GetBitmapRowCol(RASTERBITMAP *bitmap, void *buffer, uint32_t row, uint32_t column,
                                   int32_t byteCount);
KEST_API int32_t K_PutBitmapRowCol(RASTERBITMAP *bitmap, void *buffer, uint32_t row, uint32_t column,
                                   int32_t byteCount);

/* Writes the spans of rowBuffer (a whole row) that segments lists into a row:
 * segments holds pairs start, end (end exclusive), segmentWords counts the
 * words. Span [start, end) of the buffer goes to pixels column + start on;
 * column must keep the buffer's bit phase. keepAlpha leaves bit 15 of 16-bit
 * colour pixels, the fourth byte of 32-bit and the last two of 64-bit pixels.
 * 1, -13 null pointer, -789 size, -11 a row or span outside the bitmap, -2,
 * -4, -5, -7, -1. */
KEST_API int32_t K_PutBitmapRowSegments(RASTERBITMAP *bitmap, void *rowBuffer, uint32_t row,
                                        uint32_t column, uint32_t *segments, uint32_t segmentWords,
                                        uint32_t keepAlpha);

#endif /* KEST_ROWS_H */
