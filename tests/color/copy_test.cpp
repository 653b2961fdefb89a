// Copying bitmaps whole and by rectangle, duplicates, trimming, colour
// translation and frame fields.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "core/settings.h"
#include "kestraster.h"
#include "support/pixel_reference.h"
#include "support/test_support.h"

namespace {

using kest::test::FailingAllocation;
using kest::test::PixelAt;
using kest::test::TempDirectorySetting;
using kest::test::TempFolder;

const int32_t kAllDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

// A bitmap of random rows, its rows kept for comparison.
struct Filled {
  RASTERBITMAP bitmap{};
  std::vector<std::vector<uint8_t>> rows;
  Filled(uint32_t type, int32_t width, int32_t height, int32_t bits, std::mt19937 &random) {
    EXPECT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, type, width, height, bits, 1, nullptr, 0,
                             nullptr, 0), K_SUCCESS);
    for (int32_t r = 0; r < height; ++r) {
      std::vector<uint8_t> row(bitmap.BitmapBytesPerLine);
      for (auto &byte : row) byte = static_cast<uint8_t>(random());
      K_PutBitmapRow(&bitmap, row.data(), r, bitmap.BitmapBytesPerLine);
      rows.push_back(row);
    }
  }
  ~Filled() { K_FreeBitmap(&bitmap); }
};

std::vector<uint8_t> Row(RASTERBITMAP &bitmap, int32_t r) {
  std::vector<uint8_t> row(bitmap.BitmapBytesPerLine);
  K_GetBitmapRow(&bitmap, row.data(), r, bitmap.BitmapBytesPerLine);
  return row;
}

TEST(CopyBitmap, DeepCopyOwnsItsPixelsAndPalette) {
  std::mt19937 random(3);
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  for (uint32_t type : {MEMORY_TYPE_CONV, MEMORY_TYPE_DISK}) {
    Filled source(type, 45, 13, 4, random);
    source.bitmap.BitmapDelay = 70;
    RASTERBITMAP copy;
    ASSERT_EQ(K_CopyBitmap(&copy, &source.bitmap, RASTERBITMAP_SIZE), K_SUCCESS);
    EXPECT_EQ(copy.BitmapFlags & (RBF_CONVENTIONAL | RBF_DISK),
              source.bitmap.BitmapFlags & (RBF_CONVENTIONAL | RBF_DISK)) << "the same kind";
    EXPECT_NE(copy.Palette, source.bitmap.Palette);
    EXPECT_EQ(std::memcmp(copy.Palette, source.bitmap.Palette, 16 * sizeof(RGBQUAD)), 0);
    EXPECT_EQ(copy.BitmapDelay, 70u);
    for (int32_t r = 0; r < 13; ++r) ASSERT_EQ(Row(copy, r), source.rows[r]) << r;
    std::vector<uint8_t> zero(copy.BitmapBytesPerLine, 0);
    K_PutBitmapRow(&copy, zero.data(), 0, copy.BitmapBytesPerLine);
    EXPECT_EQ(Row(source.bitmap, 0), source.rows[0]) << "the source is untouched";
    K_FreeBitmap(&copy);
  }
  std::mt19937 again(3);
  Filled source(MEMORY_TYPE_CONV, 8, 8, 24, again);
  EXPECT_EQ(K_CopyBitmap(&source.bitmap, &source.bitmap, RASTERBITMAP_SIZE), K_SUCCESS);
  EXPECT_EQ(K_CopyBitmap(nullptr, &source.bitmap, RASTERBITMAP_SIZE), K_ERR_PARAMETER);
  RASTERBITMAP copy;
  EXPECT_EQ(K_CopyBitmap(&copy, &source.bitmap, 12), K_ERR_RECORD_SIZE);
  ASSERT_EQ(K_CopyBitmap2(&copy, &source.bitmap, MEMORY_TYPE_DISK, RASTERBITMAP_SIZE), K_SUCCESS);
  EXPECT_NE(copy.BitmapFlags & RBF_DISK, 0u);
  for (int32_t r = 0; r < 8; ++r) ASSERT_EQ(Row(copy, r), source.rows[r]);
  K_FreeBitmap(&copy);
}

TEST(CopyBitmap, EveryAllocationFailureFreesTheDestination) {
  std::mt19937 random(5);
  Filled source(MEMORY_TYPE_CONV, 20, 6, 8, random);
  kest::GetThreadSettings();
  for (int failAt = 1;; ++failAt) {
    RASTERBITMAP copy;
    int32_t status;
    int counted;
    {
      FailingAllocation fail(failAt);
      status = K_CopyBitmap(&copy, &source.bitmap, RASTERBITMAP_SIZE);
      counted = kest::testing::AllocationsCounted();
    }
    if (status == K_SUCCESS) {
      for (int32_t r = 0; r < 6; ++r) ASSERT_EQ(Row(copy, r), source.rows[r]);
      K_FreeBitmap(&copy);
    } else {
      EXPECT_EQ(status, K_ERR_NOMEMORY) << failAt;
      EXPECT_EQ(copy.BitmapFlags & RBF_ALLOCATED, 0u);
    }
    if (counted < failAt) break;
  }
}

int32_t g_rowsAllowed = 0;
int32_t StopAfter(int32_t percent, void *) { return g_rowsAllowed-- > 0 ? 1 : 0; }

TEST(CopyBitmapData, TheCopyCallbackStopsTheCopy) {
  std::mt19937 random(9);
  Filled source(MEMORY_TYPE_CONV, 10, 10, 8, random);
  RASTERBITMAP target;
  K_CreateBitmap(&target, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 10, 10, 8, 0, nullptr, 0, nullptr, 0);
  K_SetCopyStatusCallBack(StopAfter, nullptr, nullptr, nullptr);
  g_rowsAllowed = 3;  // the start report and two rows
  EXPECT_EQ(K_CopyBitmapData(&target, &source.bitmap), 0);
  K_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(Row(target, 1), source.rows[1]) << "rows already copied stay";
  EXPECT_EQ(Row(target, 5), std::vector<uint8_t>(target.BitmapBytesPerLine, 0));
  EXPECT_EQ(K_CopyBitmapData(&target, nullptr), K_ERR_BITMAP);
  EXPECT_EQ(K_CopyBitmapData(&target, &target), K_SUCCESS);
  K_FreeBitmap(&target);
}

TEST(CopyBitmapRect, EveryDepthMatchesThePixelReference) {
  std::mt19937 random(21);
  for (int32_t bits : kAllDepths) {
    for (int trial = 0; trial < 10; ++trial) {
      const int32_t width = 20 + static_cast<int32_t>(random() % 40), height = 9;
      Filled source(MEMORY_TYPE_CONV, width, height, bits, random);
      const int32_t left = static_cast<int32_t>(random() % (width + 10)) - 8;
      const int32_t top = static_cast<int32_t>(random() % 12) - 4;
      const int32_t w = 1 + static_cast<int32_t>(random() % width), h = 1 + static_cast<int32_t>(random() % 8);
      RASTERBITMAP copy;
      ASSERT_EQ(K_CopyBitmapRect(&copy, &source.bitmap, RASTERBITMAP_SIZE, left, top, w, h), K_SUCCESS);
      ASSERT_EQ(copy.BitmapWidth, w);
      for (int32_t y = 0; y < h; ++y) {
        const std::vector<uint8_t> got = Row(copy, y);
        const int32_t sy = y + top;
        for (int32_t x = 0; x < w; ++x) {
          const int32_t sx = x + left;
          const bool inside = sx >= 0 && sx < width && sy >= 0 && sy < height;
          if (inside) {
            ASSERT_EQ(PixelAt(got.data(), bits, x), PixelAt(source.rows[sy].data(), bits, sx))
                << bits << " bits, trial " << trial << " at " << x << "," << y;
          } else if (sx < 0 || sy < 0 || sy >= height) {
            ASSERT_EQ(PixelAt(got.data(), bits, x), 0u)
                << "left as allocated: " << bits << " bits, trial " << trial << " at " << x << "," << y
                << " rect " << left << "," << top << " " << w << "x" << h << " of " << width;
          }
        }
      }
      K_FreeBitmap(&copy);
    }
  }
}

TEST(CopyBitmapRect, OneBitFromColumnThreeShiftsLeftByThreeBits) {
  RASTERBITMAP source;
  K_CreateBitmap(&source, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 32, 1, 1, 0, nullptr, 0, nullptr, 0);
  uint8_t row[4] = {0x1F, 0x80, 0x00, 0x01};
  K_PutBitmapRow(&source, row, 0, 4);
  RASTERBITMAP copy;
  ASSERT_EQ(K_CopyBitmapRect(&copy, &source, RASTERBITMAP_SIZE, 3, 0, 29, 1), K_SUCCESS);
  uint8_t got[4];
  K_GetBitmapRow(&copy, got, 0, 4);
  EXPECT_EQ(got[0], 0xFC);
  EXPECT_EQ(got[3] & 0xF8, 0x08);
  K_FreeBitmap(&copy);
  K_FreeBitmap(&source);
}

TEST(TrimBitmap, CropsInPlaceAndRefusesWhatLiesOutside) {
  std::mt19937 random(4);
  Filled source(MEMORY_TYPE_CONV, 30, 20, 24, random);
  EXPECT_EQ(K_TrimBitmap(&source.bitmap, 40, 0, 5, 5), K_ERR_WIDTH_HEIGHT);
  EXPECT_EQ(K_TrimBitmap(nullptr, 0, 0, 5, 5), K_ERR_PARAMETER);
  ASSERT_EQ(K_TrimBitmap(&source.bitmap, 25, -3, 50, 10), K_SUCCESS);
  EXPECT_EQ(source.bitmap.BitmapWidth, 5);
  EXPECT_EQ(source.bitmap.BitmapHeight, 7);
  const std::vector<uint8_t> got = Row(source.bitmap, 2);
  EXPECT_EQ(std::memcmp(got.data(), source.rows[2].data() + 75, 15), 0);
}

TEST(DupBitmapNewDim, OptionsShareOrOwnThePalette) {
  std::mt19937 random(8);
  Filled source(MEMORY_TYPE_CONV, 10, 10, 8, random);
  RASTERBITMAP shell;
  ASSERT_EQ(K_DupBitmapNewDim(&shell, &source.bitmap, RASTERBITMAP_SIZE, 4, 4, 8, 0), K_SUCCESS);
  EXPECT_EQ(shell.Palette, source.bitmap.Palette);
  EXPECT_EQ(shell.BitmapFlags & RBF_ALLOCATED, 0u);
  EXPECT_EQ(K_FreeDuplicateBitmap(&shell, 0), K_SUCCESS);
  EXPECT_EQ(shell.Palette, nullptr);
  EXPECT_EQ(source.bitmap.Palette[255].rgbRed, 0xFF) << "the shared palette was not freed";

  RASTERBITMAP own;
  ASSERT_EQ(K_DupBitmapNewDim(&own, &source.bitmap, RASTERBITMAP_SIZE, 4, 4, 8, 3), K_SUCCESS);
  EXPECT_NE(own.Palette, source.bitmap.Palette);
  EXPECT_NE(own.BitmapFlags & RBF_ALLOCATED, 0u);
  EXPECT_EQ(K_FreeDuplicateBitmap(&own, 3), K_SUCCESS);
  EXPECT_EQ(K_FreeDuplicateBitmap(nullptr, 0), K_ERR_PARAMETER);
  EXPECT_EQ(K_DupBitmapNewDim(&own, nullptr, RASTERBITMAP_SIZE, 4, 4, 8, 0), K_ERR_BITMAP);
}

TEST(TranslateBitmapColor, BetweenIndexedDirectAndGray) {
  RASTERBITMAP indexed, direct;
  K_CreateBitmap(&indexed, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 2, 2, 8, 0, nullptr, 0, nullptr, 0);
  K_CreateBitmap(&direct, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 2, 2, 24, 1, nullptr, 0, nullptr, 0);
  EXPECT_EQ(K_TranslateBitmapColor(nullptr, &indexed, 0x123456), 0x123456u);
  EXPECT_EQ(K_TranslateBitmapColor(&direct, nullptr, 0x123456), 0x123456u);
  // The fixed 8-bit palette: entry 0xFF is white, 0xE0 pure red.
  EXPECT_EQ(K_TranslateBitmapColor(&direct, &indexed, 0x010000FF), 0xFFFFFFu);
  EXPECT_EQ(K_TranslateBitmapColor(&indexed, &indexed, 0x010000E0), 0x010000E0u) << "same entry";
  EXPECT_EQ(K_TranslateBitmapColor(&indexed, nullptr, 0x0000FF), 0x010000E0u) << "nearest to red";
  EXPECT_EQ(K_TranslateBitmapColor(&direct, nullptr, 0x04008000), 0x808080u) << "gray to direct";
  K_FreeBitmap(&indexed);
  K_FreeBitmap(&direct);
}

TEST(CopyPlaybackParms, CopiesTheFrameFields) {
  RASTERBITMAP from, to;
  K_InitBitmap(&from, RASTERBITMAP_SIZE, 2, 2, 24);
  K_InitBitmap(&to, RASTERBITMAP_SIZE, 2, 2, 24);
  from.BitmapFlags = RBF_WAIT_INPUT | RBF_SIGNED;
  to.BitmapFlags = RBF_TRANSPARENT;
  from.BitmapLeft = 3;
  from.BitmapTop = 4;
  from.BitmapDelay = 100;
  from.BitmapBackground = 0x112233;
  from.BitmapDisposalMethod = 2;
  ASSERT_EQ(K_CopyPlaybackParms(&to, &from), K_SUCCESS);
  EXPECT_EQ(to.BitmapFlags, uint32_t{RBF_WAIT_INPUT});
  EXPECT_EQ(to.BitmapLeft, 3);
  EXPECT_EQ(to.BitmapTop, 4);
  EXPECT_EQ(to.BitmapDelay, 100u);
  EXPECT_EQ(to.BitmapBackground, 0x112233u);
  EXPECT_EQ(to.BitmapDisposalMethod, 2u);
  EXPECT_EQ(K_CopyPlaybackParms(nullptr, &from), K_ERR_PARAMETER);
}

}  // namespace
