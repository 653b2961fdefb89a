/* Bitmap lists: ordered arrays of bitmap records behind a handle, the
 * frames of an animation or the pages of a document.
 *
 * Records in a list are plain copies, and the pixels have one owner: a
 * record inserted goes over to the list; K_GetBitmapListItem gives out a
 * handle copy that must not be freed while the list holds the item. */
#ifndef KEST_LISTS_H
#define KEST_LISTS_H

#include "kest/bitmap.h"

/* An opaque handle; null is the invalid list. */
typedef struct KESTBITMAPLIST__ *HBITMAPLIST;

/* *list becomes a new empty list. 1, -13 null, -1 out of memory. */
KEST_API int32_t K_CreateBitmapList(HBITMAPLIST *list);
/* Frees every item with K_FreeBitmap, then the list. 1, -13 null. */
KEST_API int32_t K_DestroyBitmapList(HBITMAPLIST list);
/* The number of items. 1, -13 for a null list or count. */
KEST_API int32_t K_GetBitmapListCount(HBITMAPLIST list, uint32_t *count);
/* The same entry under a second name: reads the first word behind a
 * handle, which for a playback is its current index. */
KEST_API int32_t K_GetPlaybackIndex(HBITMAPLIST list, uint32_t *count);
/* Inserts a copy of item before index (an index past the end, such as
 * 0xFFFFFFFF, appends); the list now owns its pixels. 1, -13, -789, -1. */
KEST_API int32_t K_InsertBitmapListItem(HBITMAPLIST list, uint32_t index, RASTERBITMAP *item);
/* Takes an item out, copying it to item when that is not null (the caller
 * then owns its pixels; with a null item they are not freed). 1, -13 bad
 * list or index, -789 the stored record's size is wrong (list unchanged). */
KEST_API int32_t K_RemoveBitmapListItem(HBITMAPLIST list, uint32_t index, RASTERBITMAP *item);
/* Removes and frees up to count items from index on. 1, -13. */
KEST_API int32_t K_DeleteBitmapListItems(HBITMAPLIST list, uint32_t index, uint32_t count);
/* A handle copy of an item. 1, -13 bad list, index or null item, -789. */
KEST_API int32_t K_GetBitmapListItem(HBITMAPLIST list, uint32_t index, RASTERBITMAP *item,
                                     int32_t recordSize);
/* Overwrites an item without freeing what it held; null item zeroes it.
 * 1, -13 bad list or index, -789. */
KEST_API int32_t K_SetBitmapListItem(HBITMAPLIST list, uint32_t index, RASTERBITMAP *item);
/* A new list of deep copies of up to count items from index. 1, -13, or
 * the status of the failing copy (no list is made then). */
KEST_API int32_t K_CopyBitmapListItems(HBITMAPLIST *newList, HBITMAPLIST list, uint32_t index,
                                       uint32_t count);
/* Moves up to count items from index to a new list; no pixels are touched.
 * 1, -13, -1 (the source list as it was). */
KEST_API int32_t K_MoveBitmapListItems(HBITMAPLIST *newList, HBITMAPLIST list, uint32_t index,
                                       uint32_t count);

#endif /* KEST_LISTS_H */
