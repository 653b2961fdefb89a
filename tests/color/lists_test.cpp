// Bitmap lists: order of items, ownership of pixels, copies and moves.
#include <gtest/gtest.h>

#include <cstring>

#include "core/settings.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::test::FailingAllocation;

// A small bitmap whose first byte tells it apart.
RASTERBITMAP Tagged(uint8_t tag) {
  RASTERBITMAP bitmap;
  K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 4, 2, 8, 0, nullptr, 0, nullptr, 0);
  uint8_t row[4] = {tag, tag, tag, tag};
  K_PutBitmapRow(&bitmap, row, 0, 4);
  return bitmap;
}

uint8_t TagOf(HBITMAPLIST list, uint32_t index) {
  RASTERBITMAP item;
  if (K_GetBitmapListItem(list, index, &item, RASTERBITMAP_SIZE) != K_SUCCESS) return 0;
  uint8_t row[4] = {};
  K_GetBitmapRow(&item, row, 0, 4);
  return row[0];
}

uint32_t Count(HBITMAPLIST list) {
  uint32_t count = 0xDEAD;
  K_GetBitmapListCount(list, &count);
  return count;
}

TEST(BitmapList, InsertOrderRemoveAndDelete) {
  HBITMAPLIST list = nullptr;
  ASSERT_EQ(K_CreateBitmapList(&list), K_SUCCESS);
  EXPECT_EQ(Count(list), 0u);
  for (uint8_t tag : {1, 2, 3}) {
    RASTERBITMAP item = Tagged(tag);
    ASSERT_EQ(K_InsertBitmapListItem(list, 0xFFFFFFFF, &item), K_SUCCESS) << "far index appends";
  }
  RASTERBITMAP first = Tagged(9);
  ASSERT_EQ(K_InsertBitmapListItem(list, 0, &first), K_SUCCESS);
  EXPECT_EQ(Count(list), 4u);
  EXPECT_EQ(TagOf(list, 0), 9);
  EXPECT_EQ(TagOf(list, 3), 3);
  uint32_t index = 0;
  EXPECT_EQ(K_GetPlaybackIndex(list, &index), K_SUCCESS);
  EXPECT_EQ(index, 4u) << "the same entry under its second name";

  RASTERBITMAP taken;
  ASSERT_EQ(K_RemoveBitmapListItem(list, 1, &taken), K_SUCCESS);
  EXPECT_EQ(Count(list), 3u);
  EXPECT_EQ(TagOf(list, 1), 2);
  K_FreeBitmap(&taken);  // the caller owns it now

  RASTERBITMAP held;
  K_GetBitmapListItem(list, 2, &held, RASTERBITMAP_SIZE);
  K_FreeBitmap(&held);  // setting does not free what the slot held
  ASSERT_EQ(K_SetBitmapListItem(list, 2, nullptr), K_SUCCESS);
  RASTERBITMAP zeroed;
  K_GetBitmapListItem(list, 2, &zeroed, RASTERBITMAP_SIZE);
  EXPECT_EQ(zeroed.RecordSize, 0u);
  // Deleting over the zeroed record and freeing the rest is harmless.
  ASSERT_EQ(K_DeleteBitmapListItems(list, 1, 10), K_SUCCESS);
  EXPECT_EQ(Count(list), 1u);
  EXPECT_EQ(K_DestroyBitmapList(list), K_SUCCESS);
}

TEST(BitmapList, RefusalsInTheirOrder) {
  HBITMAPLIST list = nullptr;
  uint32_t count;
  RASTERBITMAP item = Tagged(1);
  EXPECT_EQ(K_CreateBitmapList(nullptr), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetBitmapListCount(nullptr, &count), K_ERR_PARAMETER);
  EXPECT_EQ(K_DestroyBitmapList(nullptr), K_ERR_PARAMETER);
  EXPECT_EQ(K_InsertBitmapListItem(nullptr, 0, &item), K_ERR_PARAMETER);
  ASSERT_EQ(K_CreateBitmapList(&list), K_SUCCESS);
  EXPECT_EQ(K_RemoveBitmapListItem(list, 0, nullptr), K_ERR_PARAMETER) << "empty list";
  item.RecordSize = 3;
  EXPECT_EQ(K_InsertBitmapListItem(list, 0, &item), K_ERR_RECORD_SIZE);
  item.RecordSize = RASTERBITMAP_SIZE;
  ASSERT_EQ(K_InsertBitmapListItem(list, 0, &item), K_SUCCESS);
  RASTERBITMAP out;
  EXPECT_EQ(K_GetBitmapListItem(list, 1, &out, RASTERBITMAP_SIZE), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetBitmapListItem(list, 0, nullptr, RASTERBITMAP_SIZE), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetBitmapListItem(list, 0, &out, 5), K_ERR_RECORD_SIZE);
  EXPECT_EQ(K_DeleteBitmapListItems(list, 0, 0), K_ERR_PARAMETER);
  HBITMAPLIST other = nullptr;
  EXPECT_EQ(K_CopyBitmapListItems(nullptr, list, 0, 1), K_ERR_PARAMETER);
  EXPECT_EQ(K_MoveBitmapListItems(&other, list, 1, 1), K_ERR_PARAMETER);
  {
    FailingAllocation fail(1);
    RASTERBITMAP second = item;
    EXPECT_EQ(K_InsertBitmapListItem(list, 0, &second), K_ERR_NOMEMORY);
  }
  EXPECT_EQ(Count(list), 1u);
  K_DestroyBitmapList(list);
}

TEST(BitmapList, CopiesAreDeepAndMovesTakeTheRecords) {
  HBITMAPLIST list = nullptr;
  K_CreateBitmapList(&list);
  for (uint8_t tag : {5, 6, 7, 8}) {
    RASTERBITMAP item = Tagged(tag);
    K_InsertBitmapListItem(list, 0xFFFFFFFF, &item);
  }
  HBITMAPLIST copy = nullptr;
  ASSERT_EQ(K_CopyBitmapListItems(&copy, list, 1, 2), K_SUCCESS);
  EXPECT_EQ(Count(copy), 2u);
  EXPECT_EQ(TagOf(copy, 0), 6);
  RASTERBITMAP original, duplicate;
  K_GetBitmapListItem(list, 1, &original, RASTERBITMAP_SIZE);
  K_GetBitmapListItem(copy, 0, &duplicate, RASTERBITMAP_SIZE);
  EXPECT_NE(original.BitmapData, duplicate.BitmapData);

  HBITMAPLIST moved = nullptr;
  ASSERT_EQ(K_MoveBitmapListItems(&moved, list, 2, 10), K_SUCCESS);
  EXPECT_EQ(Count(moved), 2u);
  EXPECT_EQ(Count(list), 2u);
  EXPECT_EQ(TagOf(moved, 1), 8);
  EXPECT_EQ(TagOf(list, 1), 6);

  // A copy that fails part-way leaves no list behind.
  kest::GetThreadSettings();
  for (int failAt = 1; failAt < 12; ++failAt) {
    HBITMAPLIST partial = nullptr;
    FailingAllocation fail(failAt);
    const int32_t status = K_CopyBitmapListItems(&partial, list, 0, 2);
    if (status == K_SUCCESS) {
      K_DestroyBitmapList(partial);
    } else {
      EXPECT_EQ(partial, nullptr) << failAt;
    }
  }
  K_DestroyBitmapList(copy);
  K_DestroyBitmapList(moved);
  K_DestroyBitmapList(list);
}

}  // namespace
