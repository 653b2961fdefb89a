/* Palettes: the fixed palettes, gray ramps, palette arrays and handles, the
 * gray classification and colour matching.
 *
 * A palette array is a contiguous array of 1 to 256 RGBQUAD entries. One that
 * a record owns (Palette, ColorsCount) comes from K_OsAlloc or
 * K_CreateNewPalette and goes back with K_OsFree. A palette handle
 * (HPALETTE) is a system object, made only where a device context needs
 * one; the reserved byte of an entry travels as its peFlags. */
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

/* ---- Fixed palettes ---- */

/* Copies the fixed palette of bits 1 to 8 (2^bits entries) into out, which
 * the caller sizes; bits 0 writes a 256-entry gray ramp. 1, or -13 for a
 * null out or bits above 8. */
KEST_API int32_t K_GetFixedPalette(RGBQUAD *out, uint32_t bits);
/* A new palette array of the fixed palette: bits 0 and 1 give the 2-entry
 * palette, 2 to 8 their table. Null above 8 or when out of memory. */
KEST_API RGBQUAD *K_CreateFixedPalette(uint32_t bits);

/* ---- Palette handles ---- */

/* A new handle with count entries (0 to 256) of source, the reserved bytes
 * as peFlags. Null for a null source, a count above 256 or a system
 * failure. Release with K_OsDeletePalette (or DeleteObject on Windows). */
KEST_API HPALETTE K_CreatePalette(const RGBQUAD *source, uint32_t count);
/* Deletes a palette handle through the platform: DeleteObject on Windows,
 * the stand-alone palette object elsewhere. 1, or 0 for a null or bad
 * handle. */
KEST_API int32_t K_OsDeletePalette(HPALETTE palette);
/* The number of entries of a handle's palette; 0 for a null or bad handle. */
KEST_API uint32_t K_GetPaletteSize(HPALETTE palette);
/* Reads up to count entries from first on into out, peFlags into the
 * reserved byte. Returns the number read: clipped to the palette's end, 0
 * for a null out, a count of 0 or a bad handle. */
KEST_API uint32_t K_GetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                                      RGBQUAD *out);
/* Writes up to count entries of source from first on, the reserved byte as
 * peFlags. Returns the number written, clipped as above; 0 for a null
 * source. */
KEST_API uint32_t K_SetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                                      const RGBQUAD *source);
/* A new handle with the entries of palette. Null if it has none or on
 * failure. */
KEST_API HPALETTE K_DupPalette(HPALETTE palette);
/* A handle of the screen's system palette, all its entries. Null where the
 * screen has no palette (no RC_PALETTE), as on the stand-alone device. */
KEST_API HPALETTE K_CreateSystemPalette(void);

/* ---- A record's palette ---- */

/* Copies entries first to min(first + count, ColorsCount) - 1 into out and
 * returns how many. 0 for a null record, out or palette, or first at or
 * past the colour count. The record's size is not checked. */
KEST_API uint32_t K_GetBitmapPaletteEntries(const RASTERBITMAP *bitmap, uint32_t first,
                                            uint32_t count, RGBQUAD *out);
/* Reads exactly count entries from first on. 1; -2 null record; -789
 * record size; -13 count 0, more than 8 bits per pixel or fewer entries
 * than asked. */
KEST_API int32_t K_GetBitmapColors(const RASTERBITMAP *bitmap, uint32_t first, uint32_t count,
                                   RGBQUAD *out);
/* Writes count entries from first on into the record's palette, first
 * making a zeroed one of ColorsCount entries if it has none. 1; -2 null
 * record or RBF_ALLOCATED clear; -789; -13 null source, first below 0,
 * first + count above ColorsCount or more than 8 bits per pixel; -1. */
KEST_API int32_t K_PutBitmapColors(RASTERBITMAP *bitmap, int32_t first, uint32_t count,
                                   const RGBQUAD *source);
/* Frees the record's palette, then gives it a copy of count entries of
 * source and that count. A null source leaves it without palette and the
 * count as it was. 1, or 0 if the copy failed (the record then has no
 * palette) or the record is null. The record's size is not checked. */
KEST_API int32_t K_SetBitmapNewPalette(RASTERBITMAP *bitmap, const RGBQUAD *source,
                                       uint32_t count);
/* Gives target a copy of source's palette and colour count, freeing its
 * own; a source without palette leaves target with none and count 0.
 * 1; 0 if the copy failed; -13 either null; -789 either record size. */
KEST_API int32_t K_CopyBitmapPalette(RASTERBITMAP *target, const RASTERBITMAP *source);
/* A new handle of the record's palette; null for a null record, a wrong
 * record size or no palette. */
KEST_API HPALETTE K_DupBitmapPalette(const RASTERBITMAP *bitmap);
/* Replaces the record's palette by the entries of a handle and sets the
 * colour count. 1; -2 null record; -789; -13 null handle or a palette of
 * fewer than 2 or more than 256 entries (the record untouched); -1 out of
 * memory, after the old palette was freed. */
KEST_API int32_t K_SetBitmapPalette(RASTERBITMAP *bitmap, HPALETTE palette);

/* ---- Gray classification ---- */

/* A GRAY_ value: GRAY_NO unless every entry has equal red, green and blue;
 * ordered only for a full ramp from 0 up or from 255 down in steps of
 * 255/(count - 1), truncated, which only 2, 4, 16 and 256 entries among the
 * powers of two can be. GRAY_NO for count 0; -13 for a null palette. */
KEST_API int32_t K_IsGrayScalePalette(const RGBQUAD *palette, uint32_t count);
/* A GRAY_ value for a record: by its palette at up to 8 bits (a palette of
 * other than 2^bits entries is at best GRAY_NOTORDERED), by its gray look-up
 * table in gray order. -13 null record; -789 record size. */
KEST_API int32_t K_IsGrayScaleBitmap(const RASTERBITMAP *bitmap);
/* 1 if the entries the record's palette has among the first count match
 * palette in red, green and blue (the reserved byte is ignored), also when
 * it has none; 0 at a difference, for a null record or a null palette. */
KEST_API int32_t K_CompareBitmapToPalette(const RASTERBITMAP *bitmap, const RGBQUAD *palette,
                                          uint32_t count);

/* ---- Matching ---- */

/* The index of the palette entry nearest to (red, green, blue) by the sum
 * of squared differences. Black and white have short cuts: black is index
 * 0 before the last index, white the last index before 0, where the
 * palette holds them there. Of equally near entries the first wins, unless
 * a later one has its channels in the same order as the target, and then
 * the last such. -1 for count 0; 0 for a null palette. */
KEST_API int32_t K_FindPaletteIndex(const RGBQUAD *palette, uint32_t count, int32_t red,
                                    int32_t green, int32_t blue);
/* The system's nearest index of color (COLORREF, red in the low byte) in the
 * record's palette, through a temporary handle. A record without a palette,
 * or with more than 256 colours, asks with a null handle and gets the
 * system's answer to that. 0 for a null record. */
KEST_API uint32_t K_GetNearestPaletteIndex(const RASTERBITMAP *bitmap, COLORREF color);

/* A user match table: 32,768 cells, one per colour of five bits a channel
 * (red in bits 14 to 10, green 9 to 5, blue 4 to 0), each holding
 * K_FindPaletteIndex of the colour (r5 << 3, g5 << 3, b5 << 3) plus one, so
 * that 0 can mean "not yet known" to the dithering engine. Callers need not
 * look inside. Null for a null palette or out of memory. */
KEST_API uint32_t *K_CreateUserMatchTable(const RGBQUAD *palette, uint32_t count);
/* Frees a table of K_CreateUserMatchTable; null is accepted. Always 1. */
KEST_API int32_t K_FreeUserMatchTable(uint32_t *table);

#endif /* KEST_PALETTE_H */
