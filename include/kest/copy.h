/* Copying bitmaps, whole or by rectangle, and the colour translation and
 * frame fields that go with a copy. */
#ifndef KEST_COPY_H
#define KEST_COPY_H

#include "kest/bitmap.h"

/* Option bits of K_DupBitmapNewDim and K_FreeDuplicateBitmap. */
#define DUP_PIXELS   0x1 /* allocate (free) the pixels */
#define DUP_PALETTE  0x2 /* own copy of the palette; else the source's is shared */
#define DUP_REGION   0x4 /* own copy of the region */
#define DUP_OVERLAYS 0x8 /* own copy of the overlays */

/* Copies the record only: both then share pixels and everything else.
 * 1; -789 bad sizes. A null destination does nothing and gives 1. */
KEST_API int32_t K_CopyBitmapHandle(RASTERBITMAP *destination, const RASTERBITMAP *source,
                                    int32_t recordSize);
/* Copies the pixels of source into an allocated destination row by row
 * (runs between two compressed bitmaps), reporting to the thread's copy
 * callback. Sizes and depths are not compared. 1, -2, -789, -1, or the
 * callback's result. */
KEST_API int32_t K_CopyBitmapData(RASTERBITMAP *destination, RASTERBITMAP *source);
/* A new record of the given size and depth that owns or shares the
 * source's palette, region and overlays as the DUP_ options say, with
 * pixels when DUP_PIXELS is set. 1, -2, -789, or the allocation's status. */
KEST_API int32_t K_DupBitmapNewDim(RASTERBITMAP *destination, RASTERBITMAP *source,
                                   int32_t recordSize, uint32_t width, uint32_t height,
                                   uint32_t bits, uint32_t options);
/* Undoes K_DupBitmapNewDim: the parts whose option bit is clear were
 * shared and are nulled without being freed. 1, -13 null. */
KEST_API int32_t K_FreeDuplicateBitmap(RASTERBITMAP *bitmap, uint8_t options);
/* A deep copy in the source's memory kind (K_CopyBitmap) or in memoryType
 * (K_CopyBitmap2). The same record gives 1. 1, -13, -789, or the status of
 * the failing step, with nothing left allocated. */
KEST_API int32_t K_CopyBitmap(RASTERBITMAP *destination, RASTERBITMAP *source, int32_t recordSize);
KEST_API int32_t K_CopyBitmap2(RASTERBITMAP *destination, RASTERBITMAP *source,
                               uint32_t memoryType, int32_t recordSize);
/* A new bitmap of width x height holding the source's pixels from (left,
 * top); the rectangle may stand partly outside the source, and the rest
 * keeps what allocation left. A null destination, or the source itself,
 * crops the source in place. 1, -13, -789, -1. */
KEST_API int32_t K_CopyBitmapRect(RASTERBITMAP *destination, RASTERBITMAP *source,
                                  int32_t recordSize, int32_t left, int32_t top, int32_t width,
                                  int32_t height);
KEST_API int32_t K_CopyBitmapRect2(RASTERBITMAP *destination, RASTERBITMAP *source,
                                   int32_t recordSize, int32_t left, int32_t top, int32_t width,
                                   int32_t height, uint32_t memoryType);
/* Crops in place to the part of the rectangle inside the bitmap. 1, -13,
 * -789, -11 when nothing of it is inside. */
KEST_API int32_t K_TrimBitmap(RASTERBITMAP *bitmap, int32_t left, int32_t top, int32_t width,
                              int32_t height);

/* The colour value color (COLORREF, index with top byte 1, or gray with top
 * byte 4) of source, in target's terms: an index for a palette target, a
 * COLORREF otherwise. A null target gives the colour as given. */
KEST_API uint32_t K_TranslateBitmapColor(RASTERBITMAP *target, const RASTERBITMAP *source,
                                         uint32_t color);
/* Copies the frame fields of an animation (wait and transparency flags,
 * position, delay, disposal, and the background and transparent colours
 * translated to the destination). 1, -13 null. */
KEST_API int32_t K_CopyPlaybackParms(RASTERBITMAP *destination, const RASTERBITMAP *source);

#endif /* KEST_COPY_H */
