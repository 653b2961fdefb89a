/* Compressed rows: 1-bit rows as run lists, run-compressed bitmaps
 * (MEMORY_TYPE_COMPRESSED) and super-compressed bitmaps
 * (MEMORY_TYPE_SUPERCOMPRESSED), and the change between kinds.
 *
 * A run list describes one row of 1-bit pixels as unsigned 16-bit lengths,
 * little-endian: run 0 counts the 0 pixels at the start of the row (0 when
 * the row starts with a 1), run 1 the 1 pixels that follow, and so on,
 * alternating. A run longer than 65,535 goes on after a zero-length run of
 * the other colour: a row of 70,000 zeros is 65535, 0, 4465. A list may end
 * on either colour. A pixel of 1 is a set bit of the row byte (most
 * significant bit first), whatever the palette says.
 *
 * A packed row is a 32-bit little-endian RunCount followed by RunCount
 * runs; packed rows follow one another without padding, the next one
 * starting 4 + 2 * RunCount bytes further on. Buffers need no alignment.
 *
 * What a caller of the buffer functions guarantees (they do not check):
 * - A buffer that receives runs has room for 4 + 2 * (pixels + 1) bytes
 *   per packed row, pixels being the row's pixel count: that is the longest
 *   list a row can need (every pixel a run of its own, after an empty run 0).
 * - A run list handed in describes exactly the pixels that the call names;
 *   its lengths add up to the row's width. A list whose lengths add up to
 *   less, or a RunCount that runs past the end of the list, is not detected:
 *   the functions read RunCount runs and trust their sum.
 * - A row has at least one pixel. A zero-length row (RunCount 0, or a
 *   width or pixel count of 0) gives results that mean nothing.
 * - Source and destination of the mirror and flip functions do not
 *   overlap. */
#ifndef KEST_COMPRESSED_H
#define KEST_COMPRESSED_H

#include "kest/bitmap.h"

/* BitmapCompressionConstants. */
#define COMP_NONE  0 /* conventional or disk memory */
#define COMP_RLE   1 /* 1-bit rows as run lists in a row heap */
#define COMP_SUPER 2 /* bands of 16 rows packed by the band filters (1, 8, 24 bits) */

/* Compresses pixelCount pixels of row into one packed row at runs. The
 * first startBit & 7 bits of the first byte are left out; row points at the
 * byte that holds the first pixel. Returns pixelCount, -13 for a null
 * pointer. */
KEST_API int32_t K_CompressRow(void *runs, uint8_t *row, uint32_t startBit, uint32_t pixelCount);
/* Compresses rowCount rows of width pixels, row stride
 * ((width + 31) >> 3) & ~3, into packed rows one after another.
 * 1, -13 for a null pointer. */
KEST_API int32_t K_CompressRows(void *runs, uint8_t *rows, uint32_t width, uint32_t rowCount);
/* Expands pixelCount pixels of the packed row at runs from startColumn on
 * into row, from its bit 7 of byte 0; (pixelCount + 7) / 8 bytes are
 * written. 1, -13 for a null pointer. */
KEST_API int32_t K_ExpandRow(void *runs, uint8_t *row, uint32_t startColumn, int32_t pixelCount);
/* Expands rowCount packed rows of width pixels into rows, stride as for
 * K_CompressRows. 1, -13 for a null pointer. */
KEST_API int32_t K_ExpandRows(void *runs, uint8_t *rows, uint32_t width, int32_t rowCount);
/* Reverses each of rowCount packed rows left to right into destination.
 * 1, -13 for a null pointer. */
KEST_API int32_t K_MirrorCompressedBuffer(void *source, void *destination, uint32_t rowCount);
/* Reverses the order of rowCount packed rows into destination.
 * 1, -13 for a null pointer. */
KEST_API int32_t K_FlipCompressedBuffer(void *source, void *destination, int32_t rowCount);

/* Packed rows from any bitmap: rowCount rows from row on, cut at the bottom.
 * workBuffer (BitmapBytesPerLine bytes) may be null; one is then allocated
 * for the call. A blank row of a run-compressed bitmap reads as RunCount 1
 * and one run of BitmapWidth taken as a 16-bit value, so exact up to 65,535
 * pixels. 1, -13 null, -789 size, -1 no memory, -5 a short row read. */
KEST_API int32_t K_GetBitmapRowCompressed(RASTERBITMAP *bitmap, void *workBuffer, void *runs,
                                          uint32_t row, uint32_t rowCount);
/* Writes rowCount packed rows from row on, cut at the bottom; 1 with
 * nothing to do. 1, -13, -789, -1 no memory (the rows before stay
 * written), -5 a short row write. */
KEST_API int32_t K_PutBitmapRowCompressed(RASTERBITMAP *bitmap, void *workBuffer, void *runs,
                                          uint32_t row, uint32_t rowCount);
/* pixelCount pixels from column on as packed rows; a count past the end of
 * the row goes on at column 0 of the next rows, one packed row for each.
 * A blank stored row is given as one run below 32,768 pixels, and above as
 * 32767-long runs with the remainder last, which alternate in colour as all
 * runs do. Returns pixelCount, -13 null or column at or past the width,
 * -789, -1, -5. */
KEST_API int32_t K_GetBitmapRowColCompressed(RASTERBITMAP *bitmap, void *workBuffer, void *runs,
                                             uint32_t row, int32_t column, uint32_t pixelCount);
/* Writes one packed row of pixelCount pixels into row from column on.
 * On other kinds than run-compressed, column should be a multiple of 8:
 * whole bytes are written there. The record's size is not checked.
 * Returns pixelCount, -13 null or column at or past the width, -1, -5. */
KEST_API int32_t K_PutBitmapRowColCompressed(RASTERBITMAP *bitmap, void *workBuffer, void *runs,
                                             uint32_t row, int32_t column, uint32_t pixelCount);

/* Moves the pixels into another kind: COMP_NONE, COMP_RLE (1 bit only;
 * other depths get conventional memory) or COMP_SUPER (1, 8, 24 bits).
 * -2 null or not allocated, -789, -13 unknown compression; otherwise 1,
 * even when the new kind could not be made: the record then holds what
 * the attempt left, which may be a record without pixels. */
KEST_API int32_t K_ChangeBitmapCompression(RASTERBITMAP *bitmap, int32_t compression);
/* Switches a 1-bit bitmap between run-compressed and uncompressed.
 * -2 null, not allocated or not 1 bit, -789, -1360 signed data. */
KEST_API int32_t K_ToggleBitmapCompression(RASTERBITMAP *bitmap);

/* The row heap of a run-compressed bitmap. Trim gives back all but 128
 * bytes of a free block at its end: 1 trimmed, 0 nothing to gain. Grow adds
 * room for extraBytes: 1, or 0 when it could not. Both -13 for a record
 * that is null, not allocated or not run-compressed; -789 size. */
KEST_API int32_t K_TrimBitmapHeap(RASTERBITMAP *bitmap);
KEST_API int32_t K_GrowBitmapHeap(RASTERBITMAP *bitmap, uint32_t extraBytes);

#endif /* KEST_COMPRESSED_H */
