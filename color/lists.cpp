// Bitmap lists: K_CreateBitmapList, K_DestroyBitmapList,
// K_GetBitmapListCount (and K_GetPlaybackIndex), K_InsertBitmapListItem,
// K_RemoveBitmapListItem, K_DeleteBitmapListItems, K_GetBitmapListItem,
// K_SetBitmapListItem, K_CopyBitmapListItems, K_MoveBitmapListItems.
//
// A list is a zeroed global block {count, items}; the handle is the block's
// global handle. The items are one K_OsAlloc array of records by value, so
// reading an item is one block copy. The lists sit beside copying because
// copying a list copies bitmaps.
#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/os/os.h"
#include "kest/copy.h"
#include "kest/lists.h"
#include "kest/memory.h"
#include "kest/status.h"

namespace kest {
namespace {

struct ListBlock {
  uint32_t ListCount;
  RASTERBITMAP *ListItems;
};

// The block behind a handle. Global blocks of the library stay locked for
// their whole life, so the pointer stays valid after the unlock.
ListBlock *Reach(HBITMAPLIST list) {
  if (list == nullptr) return nullptr;
  auto *block = static_cast<ListBlock *>(os::GlobalLock(reinterpret_cast<HGLOBAL>(list)));
  if (block != nullptr) os::GlobalUnlock(reinterpret_cast<HGLOBAL>(list));
  return block;
}

// Resizes the item array to count records; null count frees it. False on
// failure, with the array as it was.
bool ResizeItems(ListBlock &block, uint32_t count) {
  if (count == 0) {
    K_OsFree(block.ListItems);
    block.ListItems = nullptr;
    return true;
  }
  const size_t bytes = size_t{count} * sizeof(RASTERBITMAP);
  if (bytes > UINT32_MAX) return false;
  void *items = K_OsReAlloc(block.ListItems, static_cast<uint32_t>(bytes));
  if (items == nullptr) return false;
  block.ListItems = static_cast<RASTERBITMAP *>(items);
  return true;
}

// Takes the item at index out of the array, closing the gap. A failed
// shrink leaves a larger array, which does no harm.
void TakeOut(ListBlock &block, uint32_t index, uint32_t count) {
  RASTERBITMAP *items = block.ListItems;
  std::memmove(items + index, items + index + count,
               sizeof(RASTERBITMAP) * (block.ListCount - index - count));
  block.ListCount -= count;
  ResizeItems(block, block.ListCount);
}

int32_t CheckRange(ListBlock *block, uint32_t index, uint32_t count) {
  if (block == nullptr || index >= block->ListCount || count == 0) return K_ERR_PARAMETER;
  return K_SUCCESS;
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API int32_t K_CreateBitmapList(HBITMAPLIST *list) {
  if (list == nullptr) return K_ERR_PARAMETER;
  *list = nullptr;
  void *block = K_OsAllocInit(sizeof(ListBlock), 1);
  if (block == nullptr) return K_ERR_NOMEMORY;
  *list = reinterpret_cast<HBITMAPLIST>(os::GlobalHandle(block));
  return K_SUCCESS;
}

KEST_API int32_t K_DestroyBitmapList(HBITMAPLIST list) {
  ListBlock *block = Reach(list);
  if (block == nullptr) return K_ERR_PARAMETER;
  for (uint32_t i = 0; i < block->ListCount; ++i) K_FreeBitmap(&block->ListItems[i]);
  K_OsFree(block->ListItems);
  K_OsFree(block);
  return K_SUCCESS;
}

KEST_API int32_t K_GetBitmapListCount(HBITMAPLIST list, uint32_t *count) {
  ListBlock *block = Reach(list);
  if (block == nullptr || count == nullptr) return K_ERR_PARAMETER;
  *count = block->ListCount;
  return K_SUCCESS;
}

KEST_API int32_t K_GetPlaybackIndex(HBITMAPLIST list, uint32_t *count) {
  return K_GetBitmapListCount(list, count);
}

KEST_API int32_t K_InsertBitmapListItem(HBITMAPLIST list, uint32_t index, RASTERBITMAP *item) {
  ListBlock *block = Reach(list);
  if (block == nullptr || item == nullptr) return K_ERR_PARAMETER;
  if (!HasSize(*item)) return K_ERR_RECORD_SIZE;
  if (!ResizeItems(*block, block->ListCount + 1)) return K_ERR_NOMEMORY;
  index = std::min(index, block->ListCount);
  RASTERBITMAP *items = block->ListItems;
  std::memmove(items + index + 1, items + index,
               sizeof(RASTERBITMAP) * (block->ListCount - index));
  items[index] = *item;
  ++block->ListCount;
  return K_SUCCESS;
}

KEST_API int32_t K_RemoveBitmapListItem(HBITMAPLIST list, uint32_t index, RASTERBITMAP *item) {
  ListBlock *block = Reach(list);
  if (CheckRange(block, index, 1) != K_SUCCESS) return K_ERR_PARAMETER;
  if (item != nullptr) {
    *item = block->ListItems[index];
    if (!HasSize(*item)) return K_ERR_RECORD_SIZE;
  }
  TakeOut(*block, index, 1);
  return K_SUCCESS;
}

KEST_API int32_t K_DeleteBitmapListItems(HBITMAPLIST list, uint32_t index, uint32_t count) {
  ListBlock *block = Reach(list);
  if (CheckRange(block, index, count) != K_SUCCESS) return K_ERR_PARAMETER;
  const uint32_t remove = std::min(count, block->ListCount - index);
  for (uint32_t i = 0; i < remove; ++i) {
    RASTERBITMAP item = block->ListItems[index];
    TakeOut(*block, index, 1);
    K_FreeBitmap(&item);  // a zeroed record is passed over harmlessly
  }
  return K_SUCCESS;
}

KEST_API int32_t K_GetBitmapListItem(HBITMAPLIST list, uint32_t index, RASTERBITMAP *item,
                                     int32_t recordSize) {
  ListBlock *block = Reach(list);
  if (CheckRange(block, index, 1) != K_SUCCESS || item == nullptr) return K_ERR_PARAMETER;
  if (recordSize != RASTERBITMAP_SIZE) return K_ERR_RECORD_SIZE;
  *item = block->ListItems[index];
  return K_SUCCESS;
}

KEST_API int32_t K_SetBitmapListItem(HBITMAPLIST list, uint32_t index, RASTERBITMAP *item) {
  ListBlock *block = Reach(list);
  if (CheckRange(block, index, 1) != K_SUCCESS) return K_ERR_PARAMETER;
  if (item == nullptr) {
    std::memset(&block->ListItems[index], 0, sizeof(RASTERBITMAP));
    return K_SUCCESS;
  }
  if (!HasSize(*item)) return K_ERR_RECORD_SIZE;
  block->ListItems[index] = *item;
  return K_SUCCESS;
}

KEST_API int32_t K_CopyBitmapListItems(HBITMAPLIST *newList, HBITMAPLIST list, uint32_t index,
                                       uint32_t count) {
  ListBlock *block = Reach(list);
  if (CheckRange(block, index, count) != K_SUCCESS || newList == nullptr) return K_ERR_PARAMETER;
  HBITMAPLIST copy = nullptr;
  int32_t status = K_CreateBitmapList(&copy);
  if (status != K_SUCCESS) return status;
  const uint32_t take = std::min(count, block->ListCount - index);
  for (uint32_t i = 0; i < take && status == K_SUCCESS; ++i) {
    RASTERBITMAP source = block->ListItems[index + i];
    RASTERBITMAP duplicate;
    status = K_CopyBitmap(&duplicate, &source, RASTERBITMAP_SIZE);
    if (status == K_SUCCESS) {
      status = K_InsertBitmapListItem(copy, UINT32_MAX, &duplicate);
      if (status != K_SUCCESS) K_FreeBitmap(&duplicate);
    }
  }
  if (status != K_SUCCESS) {
    K_DestroyBitmapList(copy);
    return status;
  }
  *newList = copy;
  return K_SUCCESS;
}

KEST_API int32_t K_MoveBitmapListItems(HBITMAPLIST *newList, HBITMAPLIST list, uint32_t index,
                                       uint32_t count) {
  ListBlock *block = Reach(list);
  if (CheckRange(block, index, count) != K_SUCCESS || newList == nullptr) return K_ERR_PARAMETER;
  const uint32_t take = std::min(count, block->ListCount - index);
  HBITMAPLIST moved = nullptr;
  if (K_CreateBitmapList(&moved) != K_SUCCESS) return K_ERR_NOMEMORY;
  ListBlock *target = Reach(moved);
  if (!ResizeItems(*target, take)) {
    K_DestroyBitmapList(moved);
    return K_ERR_NOMEMORY;
  }
  std::memcpy(target->ListItems, block->ListItems + index, sizeof(RASTERBITMAP) * take);
  target->ListCount = take;
  TakeOut(*block, index, take);
  *newList = moved;
  return K_SUCCESS;
}
