/* Single pixels and alpha planes. Pixels are addressed by stored row and
 * column (ViewPerspective is not applied), on every memory kind.
 *
 * The colour word: top byte 0 is a COLORREF (0x00BBGGRR, red in the low
 * byte); top byte 1 a palette index in the low bits; top byte 4 a 16-bit
 * gray level in the low word. 0x80000000 is the invalid colour. */
#ifndef KEST_PIXELS_H
#define KEST_PIXELS_H

#include "kest/bitmap.h"

#define K_INVALID_COLOR 0x80000000u

/* The colour of a pixel: a COLORREF from the palette or the colour bytes, or
 * a gray level (top byte 4) for 12- and 16-bit gray without a level table.
 * K_INVALID_COLOR for a bad record or a position outside the bitmap. */
KEST_API uint32_t K_GetPixelColor(RASTERBITMAP *bitmap, int32_t row, int32_t column);
/* Writes a colour word into a pixel, matching it to the palette or the gray
 * window as the depth needs; the alpha of 32- and 64-bit pixels stays.
 * 1, -2, -789, -1360 signed data, -11 outside the bitmap. */
KEST_API int32_t K_PutPixelColor(RASTERBITMAP *bitmap, int32_t row, uint32_t column,
                                 uint32_t color);
/* The stored bytes that hold a pixel, unmasked (neighbours in a shared
 * byte travel along). 1, -2 bad record or null buffer, -789, -13 buffer
 * too small, -1 a short row transfer. */
KEST_API int32_t K_GetPixelData(RASTERBITMAP *bitmap, void *buffer, int32_t row, uint32_t column,
                                int32_t bufferSize);
KEST_API int32_t K_PutPixelData(RASTERBITMAP *bitmap, void *buffer, int32_t row, uint32_t column,
                                int32_t bufferSize);
/* Makes alpha a new gray bitmap of the alpha plane: 16 bits from a 64-bit
 * bitmap, else 8 bits (blank for depths without alpha). 1, -13, -789,
 * -1360, -1. */
KEST_API int32_t K_GetBitmapAlpha(RASTERBITMAP *bitmap, RASTERBITMAP *alpha, int32_t recordSize);
/* Writes a gray bitmap into the alpha plane of bitmap over the rectangle
 * both cover. A bitmap without alpha room becomes 32 bits (64 from 48)
 * first. 1, -13, -789, -1360, -1, -16 when alpha's view perspective
 * differs from the bitmap's (turning it waits for the geometry layer). */
KEST_API int32_t K_SetBitmapAlpha(RASTERBITMAP *bitmap, RASTERBITMAP *alpha);

#endif /* KEST_PIXELS_H */
