// A record's palette array: reading, writing, replacing and copying it.
#include <gtest/gtest.h>

#include "color/palette_support.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::test::Colors;
using kest::test::FailingAllocation;
using kest::test::Palette;
using kest::test::Quad;
using kest::test::TestBitmap;
using Rgb = std::vector<uint32_t>;

const std::vector<RGBQUAD> kFour = Palette({0x000000, 0x111111, 0x222222, 0x333333});

TEST(BitmapPaletteEntries, ClipToTheColourCount) {
  TestBitmap bitmap(2, 4, kFour);
  struct Case {
    uint32_t first, count, read;
  };
  const Case cases[] = {{0, 4, 4}, {1, 2, 2}, {2, 9, 2}, {3, 0xFFFFFFFFu, 1}, {4, 1, 0}, {9, 1, 0}};
  for (const Case &c : cases) {
    std::vector<RGBQUAD> out(4, Quad(0xEEEEEE));
    EXPECT_EQ(K_GetBitmapPaletteEntries(bitmap.get(), c.first, c.count, out.data()), c.read)
        << c.first << "+" << c.count;
    for (uint32_t i = 0; i < c.read; ++i) EXPECT_EQ(out[i].rgbRed, 0x11 * (c.first + i));
    if (c.read < 4) {
      EXPECT_EQ(out[c.read].rgbRed, 0xEE);  // nothing past what was read
    }
  }
  RGBQUAD out[4];
  EXPECT_EQ(K_GetBitmapPaletteEntries(bitmap.get(), 0, 4, nullptr), 0u);
  EXPECT_EQ(K_GetBitmapPaletteEntries(nullptr, 0, 4, out), 0u);
  TestBitmap none(2, 4);
  EXPECT_EQ(K_GetBitmapPaletteEntries(none.get(), 0, 4, out), 0u);
}

TEST(BitmapColors, StatusesInTheirOrder) {
  TestBitmap bitmap(2, 4, kFour);
  RGBQUAD out[4];
  EXPECT_EQ(K_GetBitmapColors(bitmap.get(), 1, 3, out), K_SUCCESS);
  EXPECT_EQ(Colors(out, 3), (Rgb{0x111111, 0x222222, 0x333333}));
  EXPECT_EQ(K_GetBitmapColors(bitmap.get(), 1, 4, out), K_ERR_PARAMETER);  // short read
  EXPECT_EQ(K_GetBitmapColors(bitmap.get(), 0, 0, out), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetBitmapColors(nullptr, 0, 1, out), K_ERR_BITMAP);
  bitmap->BitmapBits = 9;
  EXPECT_EQ(K_GetBitmapColors(bitmap.get(), 0, 1, out), K_ERR_PARAMETER);
  bitmap->RecordSize = 0;
  EXPECT_EQ(K_GetBitmapColors(bitmap.get(), 0, 0, out), K_ERR_RECORD_SIZE);
}

TEST(PutBitmapColors, MakesAZeroedPaletteOfTheColourCountFirst) {
  TestBitmap bitmap(4, 16);
  const std::vector<RGBQUAD> two = Palette({0xABCDEF, 0x123456});
  ASSERT_EQ(K_PutBitmapColors(bitmap.get(), 14, 2, two.data()), K_SUCCESS);
  ASSERT_NE(bitmap->Palette, nullptr);
  for (int i = 0; i < 14; ++i) EXPECT_EQ(kest::test::Rrggbb(bitmap->Palette[i]), 0u) << i;
  EXPECT_EQ(Colors(bitmap->Palette + 14, 2), (Rgb{0xABCDEF, 0x123456}));

  struct Case {
    const char *name;
    int32_t first;
    uint32_t count;
    int32_t expected;
  };
  const Case cases[] = {{"past the end", 15, 2, K_ERR_PARAMETER},
                        {"negative first", -1, 1, K_ERR_PARAMETER},
                        {"count with its top bit set", 1, 0x80000000u, K_ERR_PARAMETER},
                        {"last entry", 15, 1, K_SUCCESS}};
  for (const Case &c : cases) {
    EXPECT_EQ(K_PutBitmapColors(bitmap.get(), c.first, c.count, two.data()), c.expected) << c.name;
  }
  EXPECT_EQ(K_PutBitmapColors(nullptr, 0, 1, two.data()), K_ERR_BITMAP);
  bitmap->BitmapBits = 16;
  EXPECT_EQ(K_PutBitmapColors(bitmap.get(), 0, 1, two.data()), K_ERR_PARAMETER);
  bitmap->RecordSize = 1;
  EXPECT_EQ(K_PutBitmapColors(bitmap.get(), 0, 1, two.data()), K_ERR_RECORD_SIZE);
  bitmap->BitmapFlags &= ~RBF_ALLOCATED;
  EXPECT_EQ(K_PutBitmapColors(bitmap.get(), 0, 1, two.data()), K_ERR_BITMAP);

  TestBitmap starved(4, 16);
  {
    FailingAllocation fail(1);
    EXPECT_EQ(K_PutBitmapColors(starved.get(), 0, 2, two.data()), K_ERR_NOMEMORY);
  }
  EXPECT_EQ(starved->Palette, nullptr);
}

TEST(ReplacePalette, NewPaletteAndCopyFreeTheOldOneFirst) {
  TestBitmap bitmap(2, 4, kFour);
  const std::vector<RGBQUAD> two = Palette({0xFF0000, 0x00FF00});
  EXPECT_EQ(K_SetBitmapNewPalette(bitmap.get(), nullptr, 2), K_SUCCESS);
  EXPECT_EQ(bitmap->Palette, nullptr);
  EXPECT_EQ(bitmap->ColorsCount, 4);  // the count is left alone
  EXPECT_EQ(K_SetBitmapNewPalette(bitmap.get(), two.data(), 2), K_SUCCESS);
  EXPECT_EQ(bitmap->ColorsCount, 2);
  EXPECT_EQ(Colors(bitmap->Palette, 2), (Rgb{0xFF0000, 0x00FF00}));
  {
    FailingAllocation fail(1);
    EXPECT_EQ(K_SetBitmapNewPalette(bitmap.get(), kFour.data(), 4), K_FAILURE);
  }
  EXPECT_EQ(bitmap->Palette, nullptr);  // a failure leaves no palette

  TestBitmap source(2, 4, kFour);
  TestBitmap target(1, 2, two);
  ASSERT_EQ(K_CopyBitmapPalette(target.get(), source.get()), K_SUCCESS);
  EXPECT_EQ(target->ColorsCount, 4);
  EXPECT_EQ(Colors(target->Palette, 4), Colors(kFour.data(), 4));
  EXPECT_NE(target->Palette, source->Palette);
  ASSERT_EQ(K_CopyBitmapPalette(source.get(), source.get()), K_SUCCESS);
  EXPECT_EQ(Colors(source->Palette, 4), Colors(kFour.data(), 4));

  TestBitmap bare(8, 256);
  ASSERT_EQ(K_CopyBitmapPalette(target.get(), bare.get()), K_SUCCESS);
  EXPECT_EQ(target->Palette, nullptr);
  EXPECT_EQ(target->ColorsCount, 0);
  {
    FailingAllocation fail(1);
    EXPECT_EQ(K_CopyBitmapPalette(bitmap.get(), source.get()), K_FAILURE);
  }
  EXPECT_EQ(bitmap->Palette, nullptr);
  EXPECT_EQ(K_CopyBitmapPalette(nullptr, source.get()), K_ERR_PARAMETER);
  source->RecordSize = 0;
  EXPECT_EQ(K_CopyBitmapPalette(target.get(), source.get()), K_ERR_RECORD_SIZE);
}

}  // namespace
