/* Memory settings and the layout of a live bitmap.
 *
 * The thresholds steer K_AllocateBitmap's choice between conventional,
 * tiled and disk memory. They are kept per thread: an allocation obeys the
 * values of the thread that makes it. */
#ifndef KEST_STORAGE_H
#define KEST_STORAGE_H

#include "kest/bitmap.h"

/* Bits of the mask of K_SetMemoryThresholds, one per field, in the order
 * of the arguments. A negative value of the four percentage fields is a
 * percentage of the quantity that the allocation names. */
#define MEMORY_TILED_THRESHOLD  1  /* memory to keep free, bytes; default 0; lowest -100 */
#define MEMORY_MAX_CONV_SIZE    2  /* largest conventional bitmap; default 0x7FFFFFFF; lowest -100 */
#define MEMORY_TILE_SIZE        4  /* target tile size, bytes; 0 (default) means 16 MiB; lowest 0 */
#define MEMORY_CONV_TILES       8  /* tiles held in memory; default -100 (all); lowest -100 */
#define MEMORY_CONV_BUFFERS    16  /* views kept on disk tiles; default 1; lowest -100 */
#define MEMORY_ALL             31

/* Bits of the mask of K_SetBitmapMemoryInfo. SET_MEMORYINFO_TILEVIEWS is
 * published as 31, while the view count is set by bit 32: both numbers
 * stand, so the published constant does not reach the view count. */
#define SET_MEMORYINFO_MEMORY        1
#define SET_MEMORYINFO_TILESIZE      2
#define SET_MEMORYINFO_TOTALTILES    4
#define SET_MEMORYINFO_CONVTILES     8
#define SET_MEMORYINFO_MAXTILEVIEWS 16
#define SET_MEMORYINFO_TILEVIEWS    31
#define SET_MEMORYINFO_VIEWCOUNT    32 /* this library's name for the bit that sets the view count */

/* Stores the fields whose mask bit is set, checked and stored one by one in
 * the order of the arguments. 1, or -13 for a value under its lowest, with
 * the fields before it written. Mask 0 checks nothing. */
KEST_API int32_t K_SetMemoryThresholds(int32_t tiledThreshold, int32_t maxConventionalSize,
                                       int32_t tileSize, int32_t conventionalTiles,
                                       int32_t conventionalBuffers, uint8_t mask);
/* Reads the five thresholds; a null pointer skips its field. */
KEST_API void K_GetMemoryThresholds(int32_t *tiledThreshold, int32_t *maxConventionalSize,
                                    int32_t *tileSize, int32_t *conventionalTiles,
                                    int32_t *conventionalBuffers);
/* Keeps a default type that only K_GetDefaultMemoryType reads back:
 * MEMORY_TYPE_CONV or MEMORY_TYPE_DISK, else -13. */
KEST_API int32_t K_SetDefaultMemoryType(uint32_t memoryType);
/* 1, or -13 for null. */
KEST_API int32_t K_GetDefaultMemoryType(uint32_t *memoryType);
/* The directory of the temporary files of tiles and disk bitmaps. 1, or -13
 * for null, a path that is not a directory, or one of MAX_PATH characters
 * or more. */
KEST_API int32_t K_SetTempDirectory(const char *path);
/* strncpy of at most length bytes (no terminator when the path fills
 * them). 1, or -13 for null. */
KEST_API int32_t K_GetTempDirectory(char *buffer, uint32_t length);

/* The memory type of a bitmap: 512 compressed, 1024 super-compressed,
 * 4 tiled, 1 other memory (user memory too), 128 disk. Only a tiled bitmap
 * fills the other fields, each when not null: tile size in bytes, tiles,
 * tiles in memory, the bound on views and the views now; give them an
 * initial value. 1, -2 null or not allocated, -789, -13 null memoryType. */
KEST_API int32_t K_GetBitmapMemoryInfo(RASTERBITMAP *bitmap, uint32_t *memoryType,
                                       uint32_t *tileSize, uint32_t *totalTiles,
                                       uint32_t *convTiles, uint32_t *maxTileViews,
                                       uint32_t *tileViews);
/* Changes the layout of a live bitmap, for the fields whose mask bit is set.
 * A tiled bitmap keeping its tile size moves tiles between memory and disk
 * in place and sets its view bound and views. Another memory type rebuilds
 * the bitmap in that type with its pixels; a rebuild into tiles, which is
 * what a change of tile size is, gives -2 and leaves the bitmap as it was.
 * Tile fields of a bitmap that is not tiled do nothing. 1, -814 null,
 * -789, -2, -1, -295, or what the rebuild met. */
KEST_API int32_t K_SetBitmapMemoryInfo(RASTERBITMAP *bitmap, uint32_t memoryType,
                                       uint32_t tileSize, uint32_t totalTiles, uint32_t convTiles,
                                       uint32_t maxTileViews, uint32_t tileViews, uint8_t mask);

#endif /* KEST_STORAGE_H */
